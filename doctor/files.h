/// Program files: machine and version resource.
#pragma once

#include <string>
#include <string_view>

#include "doctor/facts.h"

namespace doctor {

/// Whether a path has a drive or a share, and an extension. For other paths the loader searches several folders, and it
/// appends an extension to those without one.
[[nodiscard]] bool IsFullPath(std::wstring_view path) noexcept;

/// Reads the headers and the version resource of a file, without running its code.
[[nodiscard]] FileFacts ReadFile(const std::wstring& path);

/// Whether two paths lead to the same file. False if one cannot be opened.
[[nodiscard]] bool IsSameFile(const std::wstring& left, const std::wstring& right);

/// The full path of a module of this process, or of the program if `module` is null.
[[nodiscard]] std::wstring PathOfModule(HMODULE module);

} // namespace doctor
