/// The automation class NXVariantCollection.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "automation/nxenum.h"
#include "automation/nxobject.h"

/// An element of a variant collection: a VARIANT that the collection owns or has borrowed.
class CNXVariantElement : public CNXVariant {
  public:
    /// Borrows `value`: copies it bit for bit and never clears it.
    explicit CNXVariantElement(const VARIANT& value) noexcept : m_skipClear(true) {
        static_cast<VARIANT&>(*this) = value;
    }
    /// Takes ownership of `value`. May throw std::bad_alloc.
    explicit CNXVariantElement(CNXVariant&& value);
    CNXVariantElement(CNXVariantElement&&) noexcept = default;
    CNXVariantElement& operator=(CNXVariantElement&& other) noexcept {
        std::swap(static_cast<VARIANT&>(*this), static_cast<VARIANT&>(other));
        std::swap(m_skipClear, other.m_skipClear);
        std::swap(m_array, other.m_array);
        return *this;
    }
    ~CNXVariantElement() {
        if (m_skipClear) {
            V_VT(this) = VT_EMPTY;
        }
    }

    /// Copies the value to `copy`, which must be empty and is owned by the caller. This may run an object's code, which
    /// may remove the element.
    HRESULT CopyTo(VARIANT& copy) const noexcept;

  private:
    bool m_skipClear = false; ///< the VARIANT is borrowed, or m_array owns what it refers to
    /// Owns the array, if it is one. Shared, so that the array survives if it is removed while it is being copied.
    std::shared_ptr<SAFEARRAY> m_array;
};

template <> class _Copy<CNXVariantElement> : public _Copy<VARIANT> {
  public:
    static HRESULT copy(VARIANT* to, const CNXVariantElement* from) noexcept { return from->CopyTo(*to); }
};

/// A collection of VARIANTs, numbered from 1. For Add and Remove, 0 means the end.
///
/// A VARIANT added through the vtable is borrowed: it is never cleared, so its string or object must outlive the
/// element. Late-bound callers cannot know this rule, so the collection owns a copy of what they add. A collection may
/// have elements of both kinds.
///
/// An invalid number returns E_FAIL with an error record and changes nothing. Members do not check out-pointers. Out of
/// memory raises std::bad_alloc (late-bound, Invoke returns E_OUTOFMEMORY).
class CNXVariantCollection : public CNXObject<CNXVariantCollection, INXVariantCollection, &CLSID_NXVariantCollection,
                                              &IID_INXVariantCollection> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    void FinalRelease() noexcept { ReleaseAll(m_elements); }

    /// Inserts Item before element number Position; 0 appends. Fails with "Position invalid!" if there is no
    /// such element.
    HRESULT STDMETHODCALLTYPE Add(VARIANT Item, long Position) override;
    /// Add for late-bound callers: takes ownership of Item.
    HRESULT AddOwned(CNXVariant&& Item, long Position);
    /// Removes element number `index`; 0 removes the last one, if any. Fails with "Index out of
    /// bounds!" if there is no such element.
    HRESULT STDMETHODCALLTYPE Remove(long index) override;
    HRESULT STDMETHODCALLTYPE get_Count(long* pVal) override;
    /// Clears *pVal and stores a copy of element number `index`, which the caller owns. Fails with "Index out of
    /// bounds!" if there is no such element; 0 is not valid here.
    HRESULT STDMETHODCALLTYPE get_Item(long index, VARIANT* pVal) override;
    /// An IEnumVARIANT over the live collection, as copies. The caller owns it.
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override;

  private:
    using Elements = std::vector<CNXVariantElement>;

    /// Inserts `element` like Add.
    HRESULT Insert(CNXVariantElement&& element, long position);
    /// Whether there is an element with that number.
    [[nodiscard]] bool HasElement(long number) const noexcept {
        return number > 0 && IsIndexOf(number - 1, m_elements);
    }
    /// The element with that number, which must exist.
    [[nodiscard]] Elements::iterator IteratorAt(long number) noexcept { return m_elements.begin() + (number - 1); }

    Elements m_elements;
};
