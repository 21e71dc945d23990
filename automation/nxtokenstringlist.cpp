#include "automation/nxtokenstringlist.h"

std::span<const CNXMember> CNXTokenStringList::Members() noexcept {
    static constexpr CNXMember members[] = {
        NXGet<&CNXTokenStringList::get_Item>(0x60020000, L"Item", L"index"),
        NXPut<&CNXTokenStringList::put_Item>(0x60020000, L"Item", L"index"),
        NXMethod<&CNXTokenStringList::Remove>(0x60020002, L"Remove", L"index"),
        NXGet<&CNXTokenStringList::get_New>(0x60020003, L"New"),
        NXPut<&CNXTokenStringList::put_New>(0x60020003, L"New"),
        NXMethod<&CNXTokenStringList::Add>(0x60020005, L"Add", L"newVal"),
        NXGet<&CNXTokenStringList::get_Count>(0x60020006, L"Count"),
        NXGet<&CNXTokenStringList::GetItemWithoutErrorInfo>(DISPID_VALUE, L"_Item", L"n"),
        NXGet<&CNXTokenStringList::get__NewEnum>(DISPID_NEWENUM, L"_NewEnum"),
        NXMethod<&CNXTokenStringList::AppendNew>(0x60020009, L"AddNew"), // the vtable's lends its result
    };
    return members;
}

HRESULT CNXTokenStringList::put_Item(long index, INXTokenString* newVal) {
    return index == static_cast<long>(m_entries.size()) ? Add(newVal) : CNXObjectList::put_Item(index, newVal);
}

HRESULT CNXTokenStringList::Remove(long index) {
    return RemoveAt(index);
}

HRESULT CNXTokenStringList::get__Item(long n, INXTokenString** pVal) {
    return IsIndexOf(n, m_entries) ? get_Item(n, pVal) : E_FAIL;
}

HRESULT CNXTokenStringList::GetItemWithoutErrorInfo(long n, INXTokenString** pVal) {
    const HRESULT hr = get__Item(n, pVal);
    if (FAILED(hr)) {
        SetErrorInfo(0, nullptr);
    }
    return hr;
}

HRESULT CNXTokenStringList::AddNew(INXTokenString** pVal) {
    INXTokenString* unwanted = nullptr;
    INXTokenString*& created = pVal != nullptr ? *pVal : unwanted;
    const HRESULT hr = AppendNew(&created);
    if (SUCCEEDED(hr)) {
        created->Release(); // the list's reference keeps the object alive
    }
    return hr;
}
