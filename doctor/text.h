/// Small conversions to text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

namespace doctor {

/// UTF-8. An unpaired surrogate, which a file name may contain, becomes U+FFFD.
[[nodiscard]] std::string ToUtf8(std::wstring_view text);

/// "{A715CD18-...}", as in the registry.
[[nodiscard]] std::wstring FormatGuid(REFGUID guid);

/// "0x80040154".
[[nodiscard]] std::wstring FormatResult(HRESULT result);

/// FormatResult and, for common results, the meaning: "0x80040154 (class not registered)".
[[nodiscard]] std::wstring DescribeResult(HRESULT result);

/// Join({L"a", L"b"}, L", ") is L"a, b".
[[nodiscard]] std::wstring Join(const std::vector<std::wstring>& parts, std::wstring_view separator);

/// Compares registry names, GUIDs or paths without regard to case.
[[nodiscard]] bool EqualNoCase(std::wstring_view left, std::wstring_view right) noexcept;

} // namespace doctor
