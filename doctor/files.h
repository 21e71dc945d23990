/// Program files: their machine and their version resource.
#pragma once

#include <string>

#include "doctor/facts.h"

namespace doctor {

/// Reads the headers and the version resource of a file. Runs none of its code.
[[nodiscard]] FileFacts ReadFile(const std::wstring& path);

/// Whether two paths lead to the same file. False if one of them cannot be opened.
[[nodiscard]] bool IsSameFile(const std::wstring& left, const std::wstring& right);

/// The full path of a module of this process; null for the program itself.
[[nodiscard]] std::wstring PathOfModule(HMODULE module);

} // namespace doctor
