#include "automation/nxstring.h"

namespace {

/// Converts an automation length or position to that of the core. A negative one becomes greater than any length.
std::size_t SignExtend(int value) noexcept {
    return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(value));
}

} // namespace

std::span<const CNXMember> CNXString::Members() noexcept {
    static constexpr CNXMember members[] = {
        NXMethod<&CNXString::TrimLeft>(0x60020000, L"TrimLeft"),
        NXMethod<&CNXString::TrimRight>(0x60020001, L"TrimRight"),
        NXMethod<&CNXString::Trim>(0x60020002, L"Trim"),
        NXMethod<&CNXString::Left>(0x60020003, L"Left", L"nLength"),
        NXMethod<&CNXString::Right>(0x60020004, L"Right", L"nLength"),
        NXMethod<&CNXString::Mid>(0x60020005, L"Mid", L"nStart", L"nLength"),
        NXMethod<&CNXString::Clear>(0x60020006, L"Clear"),
        NXGet<&CNXString::get_Value>(0x60020007, L"Value"),
        NXPut<&CNXString::put_Value>(0x60020007, L"Value"),
        NXGet<&CNXString::get_Length>(0x60020009, L"Length"),
    };
    return members;
}

template <auto trim> HRESULT CNXString::TrimWith(int* pnCount) {
    const std::size_t before = m_text.GetLength();
    (m_text.*trim)();
    *pnCount = static_cast<int>(before - m_text.GetLength());
    return S_OK;
}

HRESULT CNXString::TrimLeft(int* pnCount) {
    return TrimWith<&CNKString::TrimLeft>(pnCount);
}

HRESULT CNXString::TrimRight(int* pnCount) {
    return TrimWith<&CNKString::TrimRight>(pnCount);
}

HRESULT CNXString::Trim(int* pnCount) {
    return TrimWith<&CNKString::Trim>(pnCount);
}

HRESULT CNXString::Left(int nLength, BSTR* pbsPart) {
    *pbsPart = m_text.CopyMid(0, SignExtend(nLength));
    return S_OK;
}

HRESULT CNXString::Right(int nLength, BSTR* pbsPart) {
    *pbsPart = m_text.CopyRight(SignExtend(nLength));
    return S_OK;
}

HRESULT CNXString::Mid(int nStart, int nLength, BSTR* pbsPart) {
    *pbsPart = m_text.CopyMid(SignExtend(nStart), SignExtend(nLength));
    return S_OK;
}

HRESULT CNXString::Clear() {
    m_text.Clear();
    return S_OK;
}

HRESULT CNXString::get_Value(BSTR* pVal) {
    return CopyToBstr(m_text, pVal);
}

HRESULT CNXString::put_Value(BSTR newVal) {
    m_text = newVal;
    return S_OK;
}

HRESULT CNXString::get_Length(long* pVal) {
    *pVal = static_cast<long>(m_text.GetLength());
    return S_OK;
}
