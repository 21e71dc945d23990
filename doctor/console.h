/// Output of Unicode text.
#pragma once

#include <string_view>

#include <windows.h>

namespace doctor {

/// Writes UTF-16 to a console, UTF-8 to a file or pipe. LF becomes CR LF. Returns whether everything was written.
bool Write(HANDLE output, std::wstring_view text);

} // namespace doctor
