/// The base class of the lists of automation objects.
#pragma once

#include "automation/nxenum.h"
#include "automation/nxobject.h"

/// Base of an automation class that is a 0-based list of objects of the class `Element`. It holds references: an object
/// may be in several lists or several times in one. Entries may be null.
///
/// An invalid index returns E_FAIL with the error record "Index out of bounds!" and changes nothing. Out-pointers are
/// not checked. Out of memory raises std::bad_alloc (late-bound, Invoke returns E_OUTOFMEMORY).
///
/// AddRef, Release and QueryInterface of an entry run its own code, which may change the list. So members finish
/// changing the list, and hold a reference to the entry, before they call it.
///
/// The derived class adds what differs: the type of Remove's index, where put_Item appends, and who owns the result of
/// AddNew.
template <class Class, class Interface, const CLSID* pclsid, const IID* piid, class Element, class ElementInterface>
class CNXObjectList : public CNXObject<Class, Interface, pclsid, piid> {
  public:
    void FinalRelease() noexcept { this->ReleaseAll(m_entries); }

    /// Creates and appends an object, with a reference for the caller. If it cannot be created, appends null and
    /// returns the error.
    HRESULT STDMETHODCALLTYPE get_New(ElementInterface** pVal) override {
        CComPtr<ElementInterface> created;
        *pVal = nullptr;
        const HRESULT hr = Create(&created);
        m_entries.push_back(created);
        *pVal = created.Detach();
        return hr;
    }
    /// The same as Add.
    HRESULT STDMETHODCALLTYPE put_New(ElementInterface* newVal) override { return Add(newVal); }

    /// Entry `index` with a reference for the caller; null for a null entry and for one that refuses
    /// the interface.
    HRESULT STDMETHODCALLTYPE get_Item(long index, ElementInterface** pVal) override {
        if (!this->IsIndexOf(index, m_entries)) {
            return this->ReportIndexError();
        }
        const CComPtr<ElementInterface> entry = EntryAt(index); // its QueryInterface may remove it from the list
        *pVal = nullptr;
        if (entry != nullptr) {
            entry->QueryInterface(__uuidof(ElementInterface), reinterpret_cast<void**>(pVal));
        }
        return S_OK;
    }
    /// Replaces entry `index`.
    HRESULT STDMETHODCALLTYPE put_Item(long index, ElementInterface* newVal) override {
        CComPtr<ElementInterface> entry(newVal);
        if (!this->IsIndexOf(index, m_entries)) {
            return this->ReportIndexError();
        }
        std::swap(EntryAt(index).p, entry.p);
        return S_OK;
    }
    /// The same as get_Item.
    HRESULT STDMETHODCALLTYPE get__Item(long n, ElementInterface** pVal) override { return get_Item(n, pVal); }

    HRESULT STDMETHODCALLTYPE get_Count(long* pVal) override {
        *pVal = static_cast<long>(m_entries.size());
        return S_OK;
    }

    /// An IEnumVARIANT over the live list, as VT_DISPATCH. The caller owns it.
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override {
        return CreateEnum<CNXInterfaceEnum<ElementInterface>>(static_cast<Class*>(this)->GetUnknown(), m_entries,
                                                              ppEnum);
    }

    /// Appends an object or null.
    HRESULT STDMETHODCALLTYPE Add(ElementInterface* object) override {
        CComPtr<ElementInterface> entry(object); // first, since AddRef may run foreign code that uses the list
        m_entries.emplace_back(std::move(entry));
        return S_OK;
    }

  protected:
    /// Removes entry `index`.
    HRESULT RemoveAt(long index) {
        if (!this->IsIndexOf(index, m_entries)) {
            return this->ReportIndexError();
        }
        const CComPtr<ElementInterface> removed = std::move(EntryAt(index));
        m_entries.erase(m_entries.begin() + index);
        return S_OK;
    }

    /// Creates and appends an object, with a reference for the caller. On failure *ppCreated is null and the list
    /// unchanged.
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

    /// Creates an object without going through COM.
    static HRESULT Create(ElementInterface** ppCreated) noexcept {
        return Element::_CreatorClass::CreateInstance(nullptr, __uuidof(ElementInterface),
                                                      reinterpret_cast<void**>(ppCreated));
    }
};
