#include "automation/nxfilestreamlist.h"

std::span<const CNXMember> CNXFileStreamList::Members() noexcept {
    static constexpr CNXMember members[] = {
        NXGet<&CNXFileStreamList::get_New>(0x60020000, L"New"),
        NXPut<&CNXFileStreamList::put_New>(0x60020000, L"New"),
        NXGet<&CNXFileStreamList::get_Item>(0x60020002, L"Item", L"index"),
        NXPut<&CNXFileStreamList::put_Item>(0x60020002, L"Item", L"index"),
        NXMethod<&CNXFileStreamList::Remove>(0x60020004, L"Remove", L"index"),
        NXGet<&CNXFileStreamList::get_Count>(0x60020005, L"Count"),
        NXGet<&CNXFileStreamList::get__Item>(DISPID_VALUE, L"_Item", L"n"),
        NXGet<&CNXFileStreamList::get__NewEnum>(DISPID_NEWENUM, L"_NewEnum"),
        NXMethod<&CNXFileStreamList::Add>(0x60020008, L"Add", L"FileStream"),
        NXMethod<&CNXFileStreamList::AddNew>(0x60020009, L"AddNew"),
    };
    return members;
}

HRESULT CNXFileStreamList::Remove(int index) {
    return RemoveAt(index);
}

HRESULT CNXFileStreamList::AddNew(INXFileStream** pVal) {
    return pVal != nullptr ? AppendNew(pVal) : E_POINTER;
}
