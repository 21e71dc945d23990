#include "doctor/text.h"

#include <array>
#include <cwchar>

#include <objbase.h>

namespace doctor {

namespace {

struct ResultText {
    HRESULT result;
    const wchar_t* text;
};

constexpr std::array<ResultText, 9> resultTexts = {{
    {REGDB_E_CLASSNOTREG, L"class not registered"},
    {CO_E_CLASSSTRING, L"class name not registered"},
    {E_ACCESSDENIED, L"access denied"},
    {TYPE_E_LIBNOTREGISTERED, L"type library not registered"},
    {TYPE_E_CANTLOADLIBRARY, L"type library cannot be loaded"},
    {HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), L"file not found"},
    {HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND), L"file, or one that it needs, not found"},
    {HRESULT_FROM_WIN32(ERROR_BAD_EXE_FORMAT), L"not a program file of this bitness"},
    {CO_E_DLLNOTFOUND, L"registered file not found"},
}};

} // namespace

std::string ToUtf8(std::wstring_view text) {
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8.data(), size, nullptr, nullptr);
    return utf8;
}

std::wstring FormatGuid(REFGUID guid) {
    std::array<wchar_t, 39> text = {};
    StringFromGUID2(guid, text.data(), static_cast<int>(text.size()));
    return text.data();
}

std::wstring FormatResult(HRESULT result) {
    std::array<wchar_t, 11> text = {};
    swprintf_s(text.data(), text.size(), L"0x%08lX", static_cast<unsigned long>(result));
    return text.data();
}

std::wstring DescribeResult(HRESULT result) {
    for (const ResultText& row : resultTexts) {
        if (row.result == result) {
            return FormatResult(result) + L" (" + row.text + L")";
        }
    }
    return FormatResult(result);
}

std::wstring Join(const std::vector<std::wstring>& parts, std::wstring_view separator) {
    std::wstring joined;
    for (const std::wstring& part : parts) {
        if (!joined.empty()) {
            joined += separator;
        }
        joined += part;
    }
    return joined;
}

bool EqualNoCase(std::wstring_view left, std::wstring_view right) noexcept {
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

} // namespace doctor
