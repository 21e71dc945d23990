#include "automation/nxvariantcollection.h"

HRESULT CNXVariantCollection::Add(VARIANT Item, long Position) {
    const bool lateBound = IsCalledLateBound();
    return RunMember([&] {
        CNXVariantElement element(Item);
        if (lateBound) {
            const HRESULT hr = element.MakeOwn();
            if (FAILED(hr)) {
                return hr;
            }
        }
        // Only now: what the copy ran may have changed the collection.
        if (Position != 0 && !IsNumber(Position)) {
            return Error(L"Position invalid!", IID_INXVariantCollection, E_FAIL);
        }
        m_elements.insert(Position == 0 ? m_elements.end() : Place(Position), std::move(element));
        return S_OK;
    });
}

HRESULT CNXVariantCollection::Remove(long index) {
    if (index == 0) {
        if (m_elements.empty()) {
            return S_OK;
        }
        index = static_cast<long>(m_elements.size());
    }
    if (!IsNumber(index)) {
        return ReportIndexError();
    }
    return RunMember([&] {
        // Its destruction may call back, so it ends when the collection is in order again.
        const CNXVariantElement removed = std::move(*Place(index));
        m_elements.erase(Place(index));
        return S_OK;
    });
}

HRESULT CNXVariantCollection::get_Count(long* pVal) {
    *pVal = static_cast<long>(m_elements.size());
    return S_OK;
}

HRESULT CNXVariantCollection::get_Item(long index, VARIANT* pVal) {
    if (!IsNumber(index)) {
        return ReportIndexError();
    }
    // The copy comes first: what *pVal holds may be the very value stored here, or call back when it is released.
    VARIANT copy;
    VariantInit(&copy);
    VariantCopy(&copy, &*Place(index));
    VariantClear(pVal);
    *pVal = copy;
    return S_OK;
}

HRESULT CNXVariantCollection::get__NewEnum(IUnknown** ppEnum) {
    return CreateEnum<CNXVariantEnum<Elements>>(GetUnknown(), m_elements, ppEnum);
}
