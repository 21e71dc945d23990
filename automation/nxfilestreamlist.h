/// The automation class NXFileStreamList.
#pragma once

#include "automation/nxfilestream.h"
#include "automation/nxobjectlist.h"

/// An ordered, 0-based list of file stream objects; CNXObjectList tells the rest.
class CNXFileStreamList : public CNXObjectList<CNXFileStreamList, INXFileStreamList, &CLSID_NXFileStreamList,
                                               &IID_INXFileStreamList, CNXFileStream, INXFileStream> {
  public:
    // clang-format off
    BEGIN_COM_MAP(CNXFileStreamList)
        COM_INTERFACE_ENTRY(INXFileStreamList)
        COM_INTERFACE_ENTRY(IDispatch)
        COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()
    // clang-format on

    /// Replaces entry `index`, which must be there: nothing is appended.
    HRESULT STDMETHODCALLTYPE put_Item(long index, INXFileStream* newVal) override;
    /// Removes entry `index`; the later ones move down by one.
    HRESULT STDMETHODCALLTYPE Remove(int index) override;

    /// As get_Item.
    HRESULT STDMETHODCALLTYPE get__Item(long n, INXFileStream** pVal) override;

    /// Creates a file stream, appends it and gives the caller a reference. If it cannot be created, *pVal is null and
    /// the list unchanged. E_POINTER for a null pVal.
    HRESULT STDMETHODCALLTYPE AddNew(INXFileStream** pVal) override;
};
