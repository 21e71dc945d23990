#include "automation/nxvariantcollection.h"

CNXVariantElement::CNXVariantElement(CNXVariant&& value) {
    if ((V_VT(&value) & VT_ARRAY) != 0) {
        const VARTYPE type = V_VT(&value);
        V_VT(&value) = VT_EMPTY; // m_array owns the array from now on, even if reset fails
        m_array.reset(V_ARRAY(&value), &SafeArrayDestroy);
        V_ARRAY(this) = m_array.get();
        V_VT(this) = type;
        m_skipClear = true;
    } else {
        std::swap(static_cast<VARIANT&>(*this), static_cast<VARIANT&>(value));
    }
}

HRESULT CNXVariantElement::CopyTo(VARIANT& copy) const noexcept {
    const std::shared_ptr<SAFEARRAY> array = m_array;
    VARIANT value = static_cast<const VARIANT&>(*this);
    return VariantCopy(&copy, &value);
}

std::span<const CNXMember> CNXVariantCollection::Members() noexcept {
    static constexpr CNXMember members[] = {
        // not &Add, which borrows its argument
        NXMethod<&CNXVariantCollection::AddOwned>(0x60020000, L"Add", L"Item", NXOptional(L"Position")),
        NXMethod<&CNXVariantCollection::Remove>(0x60020001, L"Remove", NXOptional(L"index")),
        NXGet<&CNXVariantCollection::get_Count>(0x60020002, L"Count"),
        NXGet<&CNXVariantCollection::get_Item>(DISPID_VALUE, L"Item", L"index"),
        NXGet<&CNXVariantCollection::get__NewEnum>(DISPID_NEWENUM, L"_NewEnum"),
    };
    return members;
}

HRESULT CNXVariantCollection::Add(VARIANT Item, long Position) {
    return Insert(CNXVariantElement(Item), Position);
}

HRESULT CNXVariantCollection::AddOwned(CNXVariant&& Item, long Position) {
    return Insert(CNXVariantElement(std::move(Item)), Position);
}

HRESULT CNXVariantCollection::Insert(CNXVariantElement&& element, long position) {
    if (position != 0 && !HasElement(position)) {
        return Error(L"Position invalid!", IID_INXVariantCollection, E_FAIL);
    }
    m_elements.insert(position == 0 ? m_elements.end() : IteratorAt(position), std::move(element));
    return S_OK;
}

HRESULT CNXVariantCollection::Remove(long index) {
    if (index == 0) {
        if (m_elements.empty()) {
            return S_OK;
        }
        index = static_cast<long>(m_elements.size());
    }
    if (!HasElement(index)) {
        return ReportIndexError();
    }
    // Destroyed last, since that may call back.
    const CNXVariantElement removed = std::move(*IteratorAt(index));
    m_elements.erase(IteratorAt(index));
    return S_OK;
}

HRESULT CNXVariantCollection::get_Count(long* pVal) {
    *pVal = static_cast<long>(m_elements.size());
    return S_OK;
}

HRESULT CNXVariantCollection::get_Item(long index, VARIANT* pVal) {
    if (!HasElement(index)) {
        return ReportIndexError();
    }
    // Copy first: *pVal may hold the stored value itself, and clearing it may call back.
    VARIANT copy;
    VariantInit(&copy);
    IteratorAt(index)->CopyTo(copy); // Item succeeds even if this fails
    VariantClear(pVal);
    *pVal = copy;
    return S_OK;
}

HRESULT CNXVariantCollection::get__NewEnum(IUnknown** ppEnum) {
    return CreateEnum<CNXVariantEnum<Elements>>(GetUnknown(), m_elements, ppEnum);
}
