#include "automation/nxtokenstring.h"

#include "automation/nxenum.h"

HRESULT CNXTokenString::get_Value(BSTR* pVal) {
    return RunMember([&] { return HandOver(m_tokens.GetValue(), pVal); });
}

HRESULT CNXTokenString::put_Value(BSTR newVal) {
    return RunMember([&] {
        m_tokens.SetValue(newVal);
        return S_OK;
    });
}

HRESULT CNXTokenString::get_Separator(BSTR* pVal) {
    return CopyText(m_tokens.GetSeparator(), pVal);
}

HRESULT CNXTokenString::put_Separator(BSTR newVal) {
    return RunMember([&] {
        m_tokens.SetSeparator(newVal, false);
        return S_OK;
    });
}

HRESULT CNXTokenString::get_MultiCharacter(VARIANT_BOOL* pVal) {
    *pVal = m_tokens.GetMultiCharacter() ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT CNXTokenString::put_MultiCharacter(VARIANT_BOOL newVal) {
    return RunMember([&] {
        m_tokens.SetMultiCharacter(newVal == VARIANT_TRUE);
        return S_OK;
    });
}

HRESULT CNXTokenString::Add(BSTR Item) {
    return RunMember([&] {
        m_tokens.Add(Item);
        return S_OK;
    });
}

HRESULT CNXTokenString::get_Count(long* pVal) {
    *pVal = static_cast<long>(m_tokens.GetCount());
    return S_OK;
}

HRESULT CNXTokenString::get_Token(long n, BSTR* pVal) {
    if (!IsIndexOf(n, m_tokens)) {
        return ReportIndexError();
    }
    return CopyText(m_tokens.GetToken(static_cast<std::size_t>(n)), pVal);
}

HRESULT CNXTokenString::get__NewEnum(IUnknown** ppEnum) {
    return CreateEnum<CNXStringEnum<CNKTokenString>>(GetUnknown(), m_tokens, ppEnum);
}
