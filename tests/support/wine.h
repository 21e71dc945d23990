/// The only check for Wine in tests: `grep RunningUnderWine tests` finds each test that expects something else there.
/// All others expect what Microsoft documents for Windows.
#pragma once

#include <windows.h>

namespace support {

/// Whether this is Wine, whose ntdll.dll has a function of its own.
inline bool RunningUnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

} // namespace support
