/// The automation class NXTokenStringList.
#pragma once

#include "automation/nxobjectlist.h"
#include "automation/nxtokenstring.h"

/// An ordered, 0-based list of token string objects; CNXObjectList tells the rest.
class CNXTokenStringList : public CNXObjectList<CNXTokenStringList, INXTokenStringList, &CLSID_NXTokenStringList,
                                                &IID_INXTokenStringList, CNXTokenString, INXTokenString> {
  public:
    // clang-format off
    BEGIN_COM_MAP(CNXTokenStringList)
        COM_INTERFACE_ENTRY(IDispatch)
        COM_INTERFACE_ENTRY(INXTokenStringList)
        COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()
    // clang-format on

    /// Replaces entry `index`. Index Count appends.
    HRESULT STDMETHODCALLTYPE put_Item(long index, INXTokenString* newVal) override;
    /// Removes entry `index`; the later ones move down by one.
    HRESULT STDMETHODCALLTYPE Remove(long index) override;

    /// As get_Item, but a bad index leaves no error record.
    HRESULT STDMETHODCALLTYPE get__Item(long n, INXTokenString** pVal) override;

    /// Creates a token string and appends it. Through the vtable *pVal receives a pointer without a reference of its
    /// own, good as long as the entry is there; a late-bound caller releases whatever it is given and so gets a
    /// reference. pVal may be null. If the object cannot be created, *pVal is null and the list unchanged.
    HRESULT STDMETHODCALLTYPE AddNew(INXTokenString** pVal) override;
};
