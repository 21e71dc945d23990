#include "package/testkit/machine.h"

#include <cstdio>

#include <windows.h>

#include "package/testkit/text.h"

namespace {

/// A function of ntdll.dll, or null.
template <class Function> Function* FunctionOfNtdll(const char* name) noexcept {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

/// Wine's function for its version; null on Windows.
auto* VersionOfWine() noexcept {
    return FunctionOfNtdll<const char*()>("wine_get_version");
}

/// The real version. GetVersionEx returns an older one to a program without a manifest.
std::string SystemVersion() {
    RTL_OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    if (auto* const get = FunctionOfNtdll<LONG WINAPI(RTL_OSVERSIONINFOW*)>("RtlGetVersion"); get != nullptr) {
        get(&version);
    }
    std::string text = "Windows " + std::to_string(version.dwMajorVersion) + '.' +
                       std::to_string(version.dwMinorVersion) + " build " + std::to_string(version.dwBuildNumber);
    if (auto* const wine = VersionOfWine(); wine != nullptr) {
        text += std::string(" (Wine ") + wine() + ')';
    }
    return text;
}

std::string Time() {
    SYSTEMTIME now = {};
    GetSystemTime(&now);
    char text[64];
    std::snprintf(text, sizeof(text), "%04u-%02u-%02u %02u:%02u UTC", now.wYear, now.wMonth, now.wDay, now.wHour,
                  now.wMinute);
    return text;
}

} // namespace

bool IsWine() noexcept {
    return VersionOfWine() != nullptr;
}

bool IsElevated() noexcept {
    HANDLE raw = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &raw) == FALSE) {
        return false;
    }
    TOKEN_ELEVATION elevation = {};
    DWORD size = sizeof(elevation);
    const bool isKnown = GetTokenInformation(raw, TokenElevation, &elevation, size, &size) != FALSE;
    CloseHandle(raw);
    return isKnown && elevation.TokenIsElevated != 0;
}

std::vector<std::string> DescribeMachine() {
    wchar_t locale[LOCALE_NAME_MAX_LENGTH] = {};
    GetUserDefaultLocaleName(locale, LOCALE_NAME_MAX_LENGTH);
    return {
        Time(),
        SystemVersion(),
        "Locale " + Narrow(locale, CP_UTF8) + ", code page " + std::to_string(GetACP()) + ", of the console " +
            std::to_string(GetConsoleOutputCP()),
        IsElevated() ? "With administrator rights" : "Without administrator rights",
    };
}
