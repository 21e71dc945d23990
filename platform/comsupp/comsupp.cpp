// Conversions between ANSI text and BSTRs, which the toolchain's <comutil.h> declares and none of its libraries
// defines. Both raise _com_error: E_OUTOFMEMORY, or the system's error for text that it cannot convert.

#include <comdef.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

namespace {

/// ASCII is a subset of every ANSI code page and needs no conversion.
template <class Character> bool IsAscii(const Character* text, std::size_t length) noexcept {
    return std::all_of(text, text + length, [](Character c) { return c >= 0 && c < 0x80; });
}

/// Checks the size that a conversion function returned.
int ThrowIfZero(int size) {
    if (size == 0) {
        _com_issue_error(HRESULT_FROM_WIN32(GetLastError()));
    }
    return size;
}

BSTR NewBstr(std::size_t length) {
    const BSTR text = SysAllocStringLen(nullptr, static_cast<UINT>(length));
    if (text == nullptr) {
        _com_issue_error(E_OUTOFMEMORY);
    }
    return text;
}

/// A buffer for `length` characters, with a NUL after them; to be freed with delete[].
char* NewNarrow(std::size_t length) {
    char* const text = new (std::nothrow) char[length + 1];
    if (text == nullptr) {
        _com_issue_error(E_OUTOFMEMORY);
    } else {
        text[length] = '\0';
    }
    return text;
}

} // namespace

namespace _com_util {

/// Converts `pSrc` to a BSTR, which the caller frees; null to null.
BSTR WINAPI ConvertStringToBSTR(const char* pSrc) {
    if (pSrc == nullptr) {
        return nullptr;
    }
    const std::size_t length = std::strlen(pSrc);
    if (length > static_cast<std::size_t>((std::numeric_limits<int>::max)())) {
        _com_issue_error(E_OUTOFMEMORY);
    }
    if (IsAscii(pSrc, length)) {
        const BSTR text = NewBstr(length);
        std::copy_n(pSrc, length, text);
        return text;
    }
    const int bytes = static_cast<int>(length);
    const int units = ThrowIfZero(MultiByteToWideChar(CP_ACP, 0, pSrc, bytes, nullptr, 0));
    const BSTR text = NewBstr(static_cast<std::size_t>(units));
    MultiByteToWideChar(CP_ACP, 0, pSrc, bytes, text, units);
    return text;
}

/// Converts `pSrc`, NULs included, to ANSI text, which the caller frees with delete[]; null to null.
char* WINAPI ConvertBSTRToString(BSTR pSrc) {
    if (pSrc == nullptr) {
        return nullptr;
    }
    const std::size_t length = SysStringLen(pSrc);
    if (IsAscii(pSrc, length)) {
        char* const text = NewNarrow(length);
        std::transform(pSrc, pSrc + length, text, [](wchar_t unit) { return static_cast<char>(unit); });
        return text;
    }
    const int units = static_cast<int>(length);
    const int bytes = ThrowIfZero(WideCharToMultiByte(CP_ACP, 0, pSrc, units, nullptr, 0, nullptr, nullptr));
    char* const text = NewNarrow(static_cast<std::size_t>(bytes));
    WideCharToMultiByte(CP_ACP, 0, pSrc, units, text, bytes, nullptr, nullptr);
    return text;
}

} // namespace _com_util
