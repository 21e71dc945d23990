/// The automation class NXVariantCollection.
#pragma once

#include <cstring>
#include <utility>
#include <vector>

#include "automation/nxenum.h"
#include "automation/nxobject.h"

/// A value in a variant collection: the caller's, as it was passed, or an own copy, which is cleared with the element.
class CNXVariantElement : public VARIANT {
  public:
    /// Holds `value` bit for bit. What it refers to stays the caller's.
    explicit CNXVariantElement(const VARIANT& value) noexcept : VARIANT(value) {}
    CNXVariantElement(CNXVariantElement&& other) noexcept
        : VARIANT(other), m_owned(std::exchange(other.m_owned, false)) {}
    CNXVariantElement& operator=(CNXVariantElement&& other) noexcept {
        std::swap(static_cast<VARIANT&>(*this), static_cast<VARIANT&>(other));
        std::swap(m_owned, other.m_owned);
        return *this;
    }
    ~CNXVariantElement() {
        if (m_owned) {
            VariantClear(this);
        }
    }

    /// Replaces the caller's value by an own copy, a reference by what it refers to now. On failure nothing changes.
    HRESULT MakeOwn() noexcept {
        // The platform follows a reference to a VARIANT and, in that, one more; neither does it test. (Script engines
        // may keep their variables at odd addresses.)
        VARIANT value = static_cast<const VARIANT&>(*this);
        if (V_VT(&value) == (VT_BYREF | VT_VARIANT) && V_BYREF(&value) != nullptr) {
            std::memcpy(&value, V_BYREF(this), sizeof(value));
        }
        if (V_ISBYREF(&value) && V_BYREF(&value) == nullptr) {
            return E_INVALIDARG;
        }
        VARIANT copy;
        VariantInit(&copy);
        const HRESULT hr = VariantCopyInd(&copy, this);
        if (SUCCEEDED(hr)) {
            static_cast<VARIANT&>(*this) = copy;
            m_owned = true;
        }
        return hr;
    }

  private:
    bool m_owned = false;
};

/// An ordered collection of VARIANTs, numbered from 1; for Add and Remove, 0 means the end.
///
/// Values added through the vtable are stored bit for bit and never cleared: a string or an object in them must outlive
/// its stay here. A late-bound caller cannot know that, so the collection keeps a copy of its own for it, references
/// resolved, and clears that in the end. Both kinds may sit in one collection.
///
/// A number outside the collection is refused with E_FAIL and an error record; the collection is then unchanged. No
/// member tests its out-pointer. When memory runs out, std::bad_alloc is raised (called late-bound, Invoke returns
/// E_OUTOFMEMORY).
class CNXVariantCollection : public CNXObject<CNXVariantCollection, INXVariantCollection, &CLSID_NXVariantCollection,
                                              &IID_INXVariantCollection> {
  public:
    // clang-format off
    BEGIN_COM_MAP(CNXVariantCollection)
        COM_INTERFACE_ENTRY(INXVariantCollection)
        COM_INTERFACE_ENTRY(IDispatch)
        COM_INTERFACE_ENTRY(ISupportErrorInfo)
    END_COM_MAP()
    // clang-format on

    void FinalRelease() noexcept { LetGo(m_elements); }

    /// Inserts Item before element number Position; 0 appends. Any other Position: "Position invalid!".
    HRESULT STDMETHODCALLTYPE Add(VARIANT Item, long Position) override;
    /// Removes element number `index`; 0 removes the last one, if any. Any other: "Index out of bounds!".
    HRESULT STDMETHODCALLTYPE Remove(long index) override;
    HRESULT STDMETHODCALLTYPE get_Count(long* pVal) override;
    /// A copy of element number `index`, which the caller owns; what *pVal held is cleared. Any other index, 0 too:
    /// "Index out of bounds!".
    HRESULT STDMETHODCALLTYPE get_Item(long index, VARIANT* pVal) override;
    /// An IEnumVARIANT over the elements as they are while it walks; it hands out copies. The caller owns it.
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override;

  private:
    using Elements = std::vector<CNXVariantElement>;

    /// Whether there is an element of that number.
    [[nodiscard]] bool IsNumber(long number) const noexcept { return number > 0 && IsIndexOf(number - 1, m_elements); }
    /// Where the element of that number, which exists, is.
    [[nodiscard]] Elements::iterator Place(long number) noexcept { return m_elements.begin() + (number - 1); }

    Elements m_elements;
};
