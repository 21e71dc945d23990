/// Program files: their machine and their version resource.
#pragma once

#include <string>
#include <string_view>

#include "doctor/facts.h"

namespace doctor {

/// Whether a path leads everybody to the same file: it has a drive or a share, and an extension. The loader searches
/// for other paths in several folders, and appends an extension to those without one.
[[nodiscard]] bool IsFullPath(std::wstring_view path) noexcept;

/// Reads the headers and the version resource of a file. Runs none of its code.
[[nodiscard]] FileFacts ReadFile(const std::wstring& path);

/// Whether two paths lead to the same file. False if one of them cannot be opened.
[[nodiscard]] bool IsSameFile(const std::wstring& left, const std::wstring& right);

/// The full path of a module of this process; null for the program itself.
[[nodiscard]] std::wstring PathOfModule(HMODULE module);

} // namespace doctor
