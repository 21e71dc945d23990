/// The frame that the lists of automation objects share.
#pragma once

#include "automation/nxenum.h"
#include "automation/nxobject.h"

/// Base of an automation class that is an ordered, 0-based list of objects of the class `Element`. It holds references,
/// not copies: an object may be in several lists or several times in one, and null entries are allowed.
///
/// An index outside the list is refused with E_FAIL and the error record "Index out of bounds!"; the list is then
/// unchanged. No member here tests its out-pointer. When memory for an entry runs out, std::bad_alloc is raised (called
/// late-bound, Invoke returns E_OUTOFMEMORY).
///
/// To take, release or query a reference runs the object's own code, which may change the list again. So every member
/// finishes changing the list, and holds a reference to the object, before it calls the object.
///
/// What the contracts of the lists do not share (the type of Remove's index, what may be put where, who owns what
/// AddNew creates) is left to the class.
template <class Class, class Interface, const CLSID* pclsid, const IID* piid, class Element, class ElementInterface>
class CNXObjectList : public CNXObject<Class, Interface, pclsid, piid> {
  public:
    void FinalRelease() noexcept { this->ReleaseAll(m_entries); }

    /// Creates an object, appends it and gives the caller a reference. If it cannot be created, the result says so, and
    /// a null entry is appended all the same.
    HRESULT STDMETHODCALLTYPE get_New(ElementInterface** pVal) override {
        CComPtr<ElementInterface> created;
        *pVal = nullptr;
        const HRESULT hr = Create(&created);
        m_entries.push_back(created);
        *pVal = created.Detach();
        return hr;
    }
    /// Appends, as Add does.
    HRESULT STDMETHODCALLTYPE put_New(ElementInterface* newVal) override { return Add(newVal); }

    /// Entry `index` with a reference for the caller; null for a null entry.
    HRESULT STDMETHODCALLTYPE get_Item(long index, ElementInterface** pVal) override {
        if (!this->IsIndexOf(index, m_entries)) {
            return this->ReportIndexError();
        }
        const CComPtr<ElementInterface> entry = EntryAt(index); // asking it for an interface runs its code
        *pVal = nullptr;
        if (entry != nullptr) {
            entry->QueryInterface(__uuidof(ElementInterface), reinterpret_cast<void**>(pVal));
        }
        return S_OK;
    }
    /// Replaces entry `index`, which must be there.
    HRESULT STDMETHODCALLTYPE put_Item(long index, ElementInterface* newVal) override {
        CComPtr<ElementInterface> entry(newVal);
        if (!this->IsIndexOf(index, m_entries)) {
            return this->ReportIndexError();
        }
        std::swap(EntryAt(index).p, entry.p);
        return S_OK;
    }
    /// As get_Item.
    HRESULT STDMETHODCALLTYPE get__Item(long n, ElementInterface** pVal) override { return get_Item(n, pVal); }

    HRESULT STDMETHODCALLTYPE get_Count(long* pVal) override {
        *pVal = static_cast<long>(m_entries.size());
        return S_OK;
    }

    /// An IEnumVARIANT over the entries as they are while it walks, each a VT_DISPATCH. The caller owns it.
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override {
        return CreateEnum<CNXInterfaceEnum<ElementInterface>>(static_cast<Class*>(this)->GetUnknown(), m_entries,
                                                              ppEnum);
    }

    /// Appends an object, null too.
    HRESULT STDMETHODCALLTYPE Add(ElementInterface* object) override {
        CComPtr<ElementInterface> entry(object); // first: AddRef may be foreign code, which may use the list
        m_entries.emplace_back(std::move(entry));
        return S_OK;
    }

  protected:
    /// Removes entry `index`; the later ones move down by one.
    HRESULT RemoveAt(long index) {
        if (!this->IsIndexOf(index, m_entries)) {
            return this->ReportIndexError();
        }
        const CComPtr<ElementInterface> removed = std::move(EntryAt(index));
        m_entries.erase(m_entries.begin() + index);
        return S_OK;
    }

    /// Creates an object and appends it. On failure *ppCreated is null and the list unchanged.
    HRESULT AppendNew(ElementInterface** ppCreated) {
        CComPtr<ElementInterface> created;
        *ppCreated = nullptr;
        const HRESULT hr = Create(&created);
        if (SUCCEEDED(hr)) {
            m_entries.push_back(created);
            *ppCreated = created.Detach();
        }
        return hr;
    }

    CNXInterfaceList<ElementInterface> m_entries;

  private:
    CComPtr<ElementInterface>& EntryAt(long index) noexcept { return m_entries[static_cast<std::size_t>(index)].m_T; }

    /// Creates an object in this module, without a round trip through COM.
    static HRESULT Create(ElementInterface** ppCreated) noexcept {
        return Element::_CreatorClass::CreateInstance(nullptr, __uuidof(ElementInterface),
                                                      reinterpret_cast<void**>(ppCreated));
    }
};
