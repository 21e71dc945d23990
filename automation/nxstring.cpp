#include "automation/nxstring.h"

namespace {

/// Widens an automation length or position as the core takes it: by sign extension, so that a negative one becomes
/// greater than any length.
std::size_t Extent(int value) noexcept {
    return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(value));
}

} // namespace

template <auto trim> HRESULT CNXString::TrimWith(int* pnCount) {
    return RunMember([&] {
        const std::size_t before = m_text.GetLength();
        (m_text.*trim)();
        *pnCount = static_cast<int>(before - m_text.GetLength());
        return S_OK;
    });
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
    return RunMember([&] {
        *pbsPart = m_text.CopyMid(0, Extent(nLength));
        return S_OK;
    });
}

HRESULT CNXString::Right(int nLength, BSTR* pbsPart) {
    return RunMember([&] {
        // Of fewer units than that, the difference wraps round to a start beyond the end.
        *pbsPart = m_text.CopyMid(m_text.GetLength() - Extent(nLength), Extent(nLength));
        return S_OK;
    });
}

HRESULT CNXString::Mid(int nStart, int nLength, BSTR* pbsPart) {
    return RunMember([&] {
        *pbsPart = m_text.CopyMid(Extent(nStart), Extent(nLength));
        return S_OK;
    });
}

HRESULT CNXString::Clear() {
    m_text.Clear();
    return S_OK;
}

HRESULT CNXString::get_Value(BSTR* pVal) {
    return CopyText(m_text, pVal);
}

HRESULT CNXString::put_Value(BSTR newVal) {
    return RunMember([&] {
        m_text = newVal;
        return S_OK;
    });
}

HRESULT CNXString::get_Length(long* pVal) {
    *pVal = static_cast<long>(m_text.GetLength());
    return S_OK;
}
