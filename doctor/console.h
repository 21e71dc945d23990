/// Output of text that may have any letter in it.
#pragma once

#include <string_view>

#include <windows.h>

namespace doctor {

/// Writes to a console as it is, and to a file or pipe as UTF-8; LF becomes CR LF. Returns whether all was written.
bool Write(HANDLE output, std::wstring_view text);

} // namespace doctor
