/// Runs the programs of the test kit.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <windows.h>

/// Runs a command line in `folder` with the file `output` as its output. Returns its exit code, or nothing if it was
/// terminated after `seconds`. Its child processes end with it. Throws std::runtime_error if it cannot be started.
[[nodiscard]] std::optional<DWORD> Run(std::wstring command, const std::filesystem::path& folder,
                                       const std::filesystem::path& output, DWORD seconds);
