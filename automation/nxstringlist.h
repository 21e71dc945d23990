/// The automation class NXStringList.
#pragma once

#include "automation/nxobject.h"
#include "core/nkstringlist.h"

/// An ordered, 0-based list of strings that clients fill, index, shrink and walk.
///
/// An index outside the list is refused with E_FAIL and the error record "Index out of bounds!"; the list is then
/// unchanged. No member tests its out-pointer. When memory runs out, reading a string returns E_OUTOFMEMORY; every
/// other member raises the exception (late-bound, Invoke returns its HRESULT).
class CNXStringList : public CNXObject<CNXStringList, INXStringList, &CLSID_NXStringList, &IID_INXStringList> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// A copy of string `index`, which the caller owns; null for a null string.
    HRESULT STDMETHODCALLTYPE get_Item(int index, BSTR* pVal) override;
    /// Replaces string `index` by a copy of newVal up to its first NUL; null makes it null. Index Count appends.
    HRESULT STDMETHODCALLTYPE put_Item(int index, BSTR newVal) override;

    /// Always null: only writing means something.
    HRESULT STDMETHODCALLTYPE get_New(BSTR* pVal) override;
    /// Appends, as Add does.
    HRESULT STDMETHODCALLTYPE put_New(BSTR newVal) override;

    /// Removes string `index`; the later ones move down by one.
    HRESULT STDMETHODCALLTYPE Remove(int index) override;

    HRESULT STDMETHODCALLTYPE get_Count(long* pVal) override;

    /// As get_Item.
    HRESULT STDMETHODCALLTYPE get__Item(long n, BSTR* pVal) override;
    /// An IEnumVARIANT over the strings as they are while it walks, each a VT_BSTR. The caller owns it.
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override;

    /// Appends a copy of `String` up to its first NUL; null appends a null string.
    HRESULT STDMETHODCALLTYPE Add(BSTR String) override;

  private:
    CNKStringList m_strings;
};
