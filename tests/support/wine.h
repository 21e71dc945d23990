/// The one place where tests ask whether they run under Wine: `grep RunningUnderWine tests` finds each test whose
/// expectation is different there. Everything else expects what Microsoft documents for Windows.
#pragma once

#include <windows.h>

namespace support {

/// Whether this is Wine, which adds a function to ntdll.dll to say so.
inline bool RunningUnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

} // namespace support
