/// The automation class NXTokenStringList.
#pragma once

#include "automation/nxobjectlist.h"
#include "automation/nxtokenstring.h"

/// A 0-based list of token string objects. See CNXObjectList.
class CNXTokenStringList : public CNXObjectList<CNXTokenStringList, INXTokenStringList, &CLSID_NXTokenStringList,
                                                &IID_INXTokenStringList, CNXTokenString, INXTokenString> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// Replaces entry `index`, or appends if it equals Count.
    HRESULT STDMETHODCALLTYPE put_Item(long index, INXTokenString* newVal) override;
    /// Removes entry `index`.
    HRESULT STDMETHODCALLTYPE Remove(long index) override;

    /// The same as get_Item, but an invalid index sets no error record.
    HRESULT STDMETHODCALLTYPE get__Item(long n, INXTokenString** pVal) override;
    /// get__Item for late-bound callers. On failure clears the error record, since Invoke would report an older one.
    HRESULT GetItemWithoutErrorInfo(long n, INXTokenString** pVal);

    /// Creates and appends a token string. *pVal has no reference of its own and is valid while the list has the entry;
    /// pVal may be null. On failure *pVal is null and the list unchanged. Late-bound callers, which release results,
    /// call AppendNew instead.
    HRESULT STDMETHODCALLTYPE AddNew(INXTokenString** pVal) override;
};
