/// The automation class NXTokenStringList.
#pragma once

#include "automation/nxobjectlist.h"
#include "automation/nxtokenstring.h"

/// An ordered, 0-based list of token string objects; CNXObjectList tells the rest.
class CNXTokenStringList : public CNXObjectList<CNXTokenStringList, INXTokenStringList, &CLSID_NXTokenStringList,
                                                &IID_INXTokenStringList, CNXTokenString, INXTokenString> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// Replaces entry `index`. Index Count appends.
    HRESULT STDMETHODCALLTYPE put_Item(long index, INXTokenString* newVal) override;
    /// Removes entry `index`; the later ones move down by one.
    HRESULT STDMETHODCALLTYPE Remove(long index) override;

    /// As get_Item, but a bad index leaves no error record.
    HRESULT STDMETHODCALLTYPE get__Item(long n, INXTokenString** pVal) override;
    /// get__Item for late-bound callers. On failure clears the thread's error record, which Invoke would report.
    HRESULT GetItemWithoutErrorInfo(long n, INXTokenString** pVal);

    /// Creates a token string and appends it. *pVal receives a pointer without a reference of its own, valid as long as
    /// the entry is there; pVal may be null. If the object cannot be created, *pVal is null and the list unchanged.
    /// Late-bound callers, which release what they receive, get a reference: AppendNew.
    HRESULT STDMETHODCALLTYPE AddNew(INXTokenString** pVal) override;
};
