#include "automation/nxstringlist.h"

#include "automation/nxenum.h"

std::span<const CNXMember> CNXStringList::Members() noexcept {
    static constexpr CNXMember members[] = {
        NXGet<&CNXStringList::get_Item>(0x60020000, L"Item", L"index"),
        NXPut<&CNXStringList::put_Item>(0x60020000, L"Item", L"index"),
        NXGet<&CNXStringList::get_New>(0x60020002, L"New"),
        NXPut<&CNXStringList::put_New>(0x60020002, L"New"),
        NXMethod<&CNXStringList::Remove>(0x60020004, L"Remove", L"index"),
        NXGet<&CNXStringList::get_Count>(0x60020005, L"Count"),
        NXGet<&CNXStringList::get__Item>(DISPID_VALUE, L"_Item", L"n"),
        NXGet<&CNXStringList::get__NewEnum>(DISPID_NEWENUM, L"_NewEnum"),
        NXMethod<&CNXStringList::Add>(1, L"Add", L"String"),
    };
    return members;
}

HRESULT CNXStringList::get_Item(int index, BSTR* pVal) {
    if (!IsIndexOf(index, m_strings)) {
        return ReportIndexError();
    }
    return CopyToBstr(m_strings[static_cast<std::size_t>(index)], pVal);
}

HRESULT CNXStringList::put_Item(int index, BSTR newVal) {
    if (index == static_cast<int>(m_strings.size())) {
        return Add(newVal);
    }
    if (!IsIndexOf(index, m_strings)) {
        return ReportIndexError();
    }
    m_strings[static_cast<std::size_t>(index)] = newVal;
    return S_OK;
}

HRESULT CNXStringList::get_New(BSTR* pVal) {
    *pVal = nullptr;
    return S_OK;
}

HRESULT CNXStringList::put_New(BSTR newVal) {
    return Add(newVal);
}

HRESULT CNXStringList::Remove(int index) {
    if (!IsIndexOf(index, m_strings)) {
        return ReportIndexError();
    }
    m_strings.erase(m_strings.begin() + index);
    return S_OK;
}

HRESULT CNXStringList::get_Count(long* pVal) {
    *pVal = static_cast<long>(m_strings.size());
    return S_OK;
}

HRESULT CNXStringList::get__Item(long n, BSTR* pVal) {
    return get_Item(n, pVal);
}

HRESULT CNXStringList::get__NewEnum(IUnknown** ppEnum) {
    return CreateEnum<CNXStringEnum<CNKStringList>>(GetUnknown(), m_strings, ppEnum);
}

HRESULT CNXStringList::Add(BSTR String) {
    m_strings.emplace_back(static_cast<const wchar_t*>(String));
    return S_OK;
}
