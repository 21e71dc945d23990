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
/// What the contracts of the lists do not share (the type of Remove's index, what may be put where, who owns what
/// AddNew creates) is left to the class.
template <class Class, class Interface, const CLSID* pclsid, const IID* piid, class Element, class ElementInterface>
class CNXObjectList : public CNXObject<Class, Interface, pclsid, piid> {
  public:
    void FinalRelease() noexcept { this->LetGo(m_entries); }

    /// Creates an object, appends it and gives the caller a reference. If it cannot be created, the result says so, and
    /// a null entry is appended all the same.
    HRESULT STDMETHODCALLTYPE get_New(ElementInterface** pVal) override {
        return this->RunMember([&] {
            CComPtr<ElementInterface> created;
            *pVal = nullptr;
            const HRESULT hr = Create(&created);
            m_entries.push_back(created);
            *pVal = created.Detach();
            return hr;
        });
    }
    /// Appends, as Add does.
    HRESULT STDMETHODCALLTYPE put_New(ElementInterface* newVal) override { return Add(newVal); }

    /// Entry `index` with a reference for the caller; null for a null entry.
    HRESULT STDMETHODCALLTYPE get_Item(long index, ElementInterface** pVal) override {
        if (!this->IsIndexOf(index, m_entries)) {
            return this->ReportIndexError();
        }
        return this->RunMember([&] {
            m_entries.HandOut(static_cast<std::size_t>(index), pVal);
            return S_OK;
        });
    }

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
        return this->RunMember([&] {
            CComPtr<ElementInterface> entry(object); // first: AddRef may be foreign code, which may use the list
            m_entries.emplace_back(std::move(entry));
            return S_OK;
        });
    }

  protected:
    /// Replaces entry `index`.
    HRESULT Replace(long index, ElementInterface* newVal) {
        if (!this->IsIndexOf(index, m_entries)) {
            return this->ReportIndexError();
        }
        return this->RunMember([&] {
            m_entries.Replace(static_cast<std::size_t>(index), newVal);
            return S_OK;
        });
    }

    /// Removes entry `index`; the later ones move down by one.
    HRESULT RemoveAt(long index) {
        if (!this->IsIndexOf(index, m_entries)) {
            return this->ReportIndexError();
        }
        return this->RunMember([&] {
            m_entries.Remove(static_cast<std::size_t>(index));
            return S_OK;
        });
    }

    /// Creates an object and appends it. On failure *ppCreated is null and the list unchanged.
    HRESULT AppendNew(ElementInterface** ppCreated) {
        return this->RunMember([&] {
            CComPtr<ElementInterface> created;
            *ppCreated = nullptr;
            const HRESULT hr = Create(&created);
            if (SUCCEEDED(hr)) {
                m_entries.push_back(created);
                *ppCreated = created.Detach();
            }
            return hr;
        });
    }

    CNXInterfaceList<ElementInterface> m_entries;

  private:
    /// Creates an object in this module, without a round trip through COM.
    static HRESULT Create(ElementInterface** ppCreated) noexcept {
        return Element::_CreatorClass::CreateInstance(nullptr, __uuidof(ElementInterface),
                                                      reinterpret_cast<void**>(ppCreated));
    }
};
