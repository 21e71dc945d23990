#include "doctor/console.h"

#include <string>

#include "doctor/text.h"

namespace doctor {

namespace {

std::wstring WithCrLf(std::wstring_view text) {
    std::wstring lines;
    for (const wchar_t unit : text) {
        if (unit == L'\n') {
            lines += L'\r';
        }
        lines += unit;
    }
    return lines;
}

bool WriteToConsole(HANDLE console, std::wstring_view text) {
    constexpr std::size_t maxBlock = 8192; // consoles refuse large blocks
    while (!text.empty()) {
        const std::wstring_view block = text.substr(0, maxBlock);
        DWORD count = 0;
        if (WriteConsoleW(console, block.data(), static_cast<DWORD>(block.size()), &count, nullptr) == FALSE ||
            count == 0) {
            return false;
        }
        text.remove_prefix(count);
    }
    return true;
}

bool WriteToFile(HANDLE file, std::string_view bytes) {
    while (!bytes.empty()) {
        DWORD count = 0;
        if (WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) == FALSE || count == 0) {
            return false;
        }
        bytes.remove_prefix(count);
    }
    return true;
}

} // namespace

bool Write(HANDLE output, std::wstring_view text) {
    const std::wstring lines = WithCrLf(text);
    DWORD mode = 0;
    return GetConsoleMode(output, &mode) != FALSE ? WriteToConsole(output, lines) : WriteToFile(output, ToUtf8(lines));
}

} // namespace doctor
