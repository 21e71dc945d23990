/// Describes the computer for the test log, without names of computer or user.
#pragma once

#include <string>
#include <vector>

/// Whether this is Wine instead of Windows.
[[nodiscard]] bool IsWine() noexcept;

/// Whether this process has administrator rights.
[[nodiscard]] bool IsElevated() noexcept;

/// Lines with time, version of Windows, locale, code pages and rights.
[[nodiscard]] std::vector<std::string> DescribeMachine();
