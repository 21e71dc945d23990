#include "automation/nxtokenstring.h"

#include "automation/nxenum.h"

std::span<const CNXMember> CNXTokenString::Members() noexcept {
    static constexpr CNXMember members[] = {
        NXGet<&CNXTokenString::get_Value>(0x60020000, L"Value"),
        NXPut<&CNXTokenString::put_Value>(0x60020000, L"Value"),
        NXGet<&CNXTokenString::get_Separator>(0x60020002, L"Separator"),
        NXPut<&CNXTokenString::put_Separator>(0x60020002, L"Separator"),
        NXGet<&CNXTokenString::get_MultiCharacter>(0x60020004, L"MultiCharacter"),
        NXPut<&CNXTokenString::put_MultiCharacter>(0x60020004, L"MultiCharacter"),
        NXMethod<&CNXTokenString::Add>(0x60020006, L"Add", L"Item"),
        NXGet<&CNXTokenString::get_Count>(0x60020007, L"Count"),
        NXGet<&CNXTokenString::get_Token>(DISPID_VALUE, L"Token", L"n"),
        NXGet<&CNXTokenString::get__NewEnum>(DISPID_NEWENUM, L"_NewEnum"),
    };
    return members;
}

HRESULT CNXTokenString::get_Value(BSTR* pVal) {
    *pVal = m_tokens.CopyValue();
    return S_OK;
}

HRESULT CNXTokenString::put_Value(BSTR newVal) {
    m_tokens.SetValue(newVal);
    return S_OK;
}

HRESULT CNXTokenString::get_Separator(BSTR* pVal) {
    return CopyToBstr(m_tokens.GetSeparator(), pVal);
}

HRESULT CNXTokenString::put_Separator(BSTR newVal) {
    m_tokens.SetSeparator(newVal, false);
    return S_OK;
}

HRESULT CNXTokenString::get_MultiCharacter(VARIANT_BOOL* pVal) {
    *pVal = VariantBool(m_tokens.GetMultiCharacter());
    return S_OK;
}

HRESULT CNXTokenString::put_MultiCharacter(VARIANT_BOOL newVal) {
    m_tokens.SetMultiCharacter(newVal == VARIANT_TRUE);
    return S_OK;
}

HRESULT CNXTokenString::Add(BSTR Item) {
    m_tokens.Add(Item);
    return S_OK;
}

HRESULT CNXTokenString::get_Count(long* pVal) {
    *pVal = static_cast<long>(m_tokens.GetCount());
    return S_OK;
}

HRESULT CNXTokenString::get_Token(long n, BSTR* pVal) {
    if (!IsIndexOf(n, m_tokens)) {
        return ReportIndexError();
    }
    return CopyToBstr(m_tokens.GetToken(static_cast<std::size_t>(n)), pVal);
}

HRESULT CNXTokenString::get__NewEnum(IUnknown** ppEnum) {
    return CreateEnum<CNXStringEnum<CNKTokenString>>(GetUnknown(), m_tokens, ppEnum);
}
