/// Conversions between Windows' text and bytes.
#pragma once

#include <string>
#include <string_view>

#include <windows.h>

/// `text` in a code page. If that lacks characters, the result has "?" for each (`lossy`) or is empty.
[[nodiscard]] inline std::string Narrow(std::wstring_view text, UINT codePage, bool lossy = false) {
    const int size = static_cast<int>(text.size());
    BOOL isIncomplete = FALSE;
    BOOL* const flag = codePage == CP_UTF8 ? nullptr : &isIncomplete; // must be null with UTF-8
    std::string narrow(text.size() * 4, '\0');                        // the maximum of all code pages
    const int written = text.empty() ? 0
                                     : WideCharToMultiByte(codePage, 0, text.data(), size, narrow.data(),
                                                           static_cast<int>(narrow.size()), nullptr, flag);
    narrow.resize((isIncomplete != FALSE && !lossy) || written < 0 ? 0 : static_cast<std::size_t>(written));
    return narrow;
}

/// UTF-8 as wide text.
[[nodiscard]] inline std::wstring Widen(std::string_view text) {
    std::wstring wide(text.size(), L'\0');
    const int size = static_cast<int>(text.size());
    wide.resize(static_cast<std::size_t>(
        size == 0 ? 0 : MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
    return wide;
}
