/// The automation class NXVariantCollection.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "automation/nxenum.h"
#include "automation/nxobject.h"

/// A value in a variant collection: one that the collection owns, or one that is only lent to it.
class CNXVariantElement : public CNXVariant {
  public:
    /// Holds `value` bit for bit. What it refers to stays the caller's.
    explicit CNXVariantElement(const VARIANT& value) noexcept : m_borrowed(true) {
        static_cast<VARIANT&>(*this) = value;
    }
    /// Owns `value`. Raises std::bad_alloc.
    explicit CNXVariantElement(CNXVariant&& value);
    CNXVariantElement(CNXVariantElement&&) noexcept = default;
    CNXVariantElement& operator=(CNXVariantElement&& other) noexcept {
        std::swap(static_cast<VARIANT&>(*this), static_cast<VARIANT&>(other));
        std::swap(m_borrowed, other.m_borrowed);
        std::swap(m_array, other.m_array);
        return *this;
    }
    ~CNXVariantElement() {
        if (m_borrowed) {
            V_VT(this) = VT_EMPTY;
        }
    }

    /// Copies the value into `copy`, which must be empty and belongs to the caller. Objects run their code on the way,
    /// which may remove this element.
    HRESULT CopyTo(VARIANT& copy) const noexcept;

  private:
    bool m_borrowed = false;
    /// An array that the collection owns is held here, because it must outlive its removal while it is being copied.
    std::shared_ptr<SAFEARRAY> m_array;
};

template <> class _Copy<CNXVariantElement> : public _Copy<VARIANT> {
  public:
    static HRESULT copy(VARIANT* to, const CNXVariantElement* from) noexcept { return from->CopyTo(*to); }
};

/// An ordered collection of VARIANTs, numbered from 1; for Add and Remove, 0 means the end.
///
/// Values added through the vtable are stored bit for bit and never cleared: a string or an object in them must outlive
/// its stay here. A late-bound caller cannot know that: what it adds is a copy, which the collection owns. Both kinds
/// may be in one collection.
///
/// A number outside the collection is refused with E_FAIL and an error record; the collection is then unchanged. No
/// member tests its out-pointer. When memory runs out, std::bad_alloc is raised (called late-bound, Invoke returns
/// E_OUTOFMEMORY).
class CNXVariantCollection : public CNXObject<CNXVariantCollection, INXVariantCollection, &CLSID_NXVariantCollection,
                                              &IID_INXVariantCollection> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    void FinalRelease() noexcept { ReleaseAll(m_elements); }

    /// Inserts Item before element number Position; 0 appends. Any other Position: "Position invalid!".
    HRESULT STDMETHODCALLTYPE Add(VARIANT Item, long Position) override;
    /// Add for late-bound callers: the collection takes ownership of Item.
    HRESULT AddOwned(CNXVariant&& Item, long Position);
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

    /// Inserts `element` as Add does.
    HRESULT Insert(CNXVariantElement&& element, long position);
    /// Whether there is an element of that number.
    [[nodiscard]] bool HasElement(long number) const noexcept {
        return number > 0 && IsIndexOf(number - 1, m_elements);
    }
    /// Where the element of that number, which exists, is.
    [[nodiscard]] Elements::iterator IteratorAt(long number) noexcept { return m_elements.begin() + (number - 1); }

    Elements m_elements;
};
