/// The automation class NXStringList.
#pragma once

#include "automation/nxobject.h"
#include "core/nkstringlist.h"

/// A 0-based list of strings.
///
/// An invalid index returns E_FAIL with the error record "Index out of bounds!" and changes nothing. Members do not
/// check out-pointers. If out of memory, reading a string returns E_OUTOFMEMORY and the others raise an exception
/// (late-bound, Invoke returns its HRESULT).
class CNXStringList : public CNXObject<CNXStringList, INXStringList, &CLSID_NXStringList, &IID_INXStringList> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// A copy of string `index`, which the caller owns; null for a null string.
    HRESULT STDMETHODCALLTYPE get_Item(int index, BSTR* pVal) override;
    /// Replaces string `index` with a copy of newVal up to its first NUL, or with null. Appends if `index` equals
    /// Count.
    HRESULT STDMETHODCALLTYPE put_Item(int index, BSTR newVal) override;

    /// Always null. The property exists to be written.
    HRESULT STDMETHODCALLTYPE get_New(BSTR* pVal) override;
    /// The same as Add.
    HRESULT STDMETHODCALLTYPE put_New(BSTR newVal) override;

    /// Removes string `index`.
    HRESULT STDMETHODCALLTYPE Remove(int index) override;

    HRESULT STDMETHODCALLTYPE get_Count(long* pVal) override;

    /// The same as get_Item.
    HRESULT STDMETHODCALLTYPE get__Item(long n, BSTR* pVal) override;
    /// An IEnumVARIANT over the live list, as VT_BSTR. The caller owns it.
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override;

    /// Appends a copy of `String` up to its first NUL, or a null string.
    HRESULT STDMETHODCALLTYPE Add(BSTR String) override;

  private:
    CNKStringList m_strings;
};
