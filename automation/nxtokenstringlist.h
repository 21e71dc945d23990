/// The automation class NXTokenStringList.
#pragma once

#include "automation/nxenum.h"
#include "automation/nxobject.h"

/// An ordered, 0-based list of token string objects. It holds references, not copies: an object may be in several lists
/// or several times in one, and null entries are allowed.
///
/// An index outside the list is refused with E_FAIL and, but for _Item, the error record "Index out of bounds!"; the
/// list is then unchanged. Only AddNew tests its out-pointer. When memory for an entry runs out, std::bad_alloc is
/// raised (called late-bound, Invoke returns E_OUTOFMEMORY).
class CNXTokenStringList
    : public CNXObject<CNXTokenStringList, INXTokenStringList, &CLSID_NXTokenStringList, &IID_INXTokenStringList> {
  public:
    // clang-format off
    BEGIN_COM_MAP(CNXTokenStringList)
        COM_INTERFACE_ENTRY(IDispatch)
        COM_INTERFACE_ENTRY(INXTokenStringList)
        COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()
    // clang-format on

    /// Entry `index` with a reference for the caller; null for a null entry.
    HRESULT STDMETHODCALLTYPE get_Item(long index, INXTokenString** pVal) override;
    /// Replaces entry `index`. Index Count appends.
    HRESULT STDMETHODCALLTYPE put_Item(long index, INXTokenString* newVal) override;
    /// Removes entry `index`; the later ones move down by one.
    HRESULT STDMETHODCALLTYPE Remove(long index) override;

    /// Creates a token string, appends it and gives the caller a reference. If it cannot be created, the result says
    /// so and a null entry is appended all the same.
    HRESULT STDMETHODCALLTYPE get_New(INXTokenString** pVal) override;
    /// Appends, as Add does.
    HRESULT STDMETHODCALLTYPE put_New(INXTokenString* newVal) override;
    /// Appends newVal, null too.
    HRESULT STDMETHODCALLTYPE Add(INXTokenString* newVal) override;

    HRESULT STDMETHODCALLTYPE get_Count(long* pVal) override;

    /// As get_Item, but a bad index leaves no error record.
    HRESULT STDMETHODCALLTYPE get__Item(long n, INXTokenString** pVal) override;
    /// An IEnumVARIANT over the entries as they are while it walks, each a VT_DISPATCH. The caller owns it.
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override;

    /// Creates a token string and appends it. Through the vtable *pVal receives a pointer without a reference of its
    /// own, good as long as the entry is there; a late-bound caller releases whatever it is given and so gets a
    /// reference. pVal may be null. If the object cannot be created, *pVal is null and the list unchanged.
    HRESULT STDMETHODCALLTYPE AddNew(INXTokenString** pVal) override;

  private:
    CNXInterfaceList<INXTokenString> m_entries;
};
