/// What a test log says about the computer and the user: no names of either.
#pragma once

#include <string>
#include <vector>

/// Whether this is Wine instead of Windows.
[[nodiscard]] bool IsWine() noexcept;

/// Whether this process has administrator rights.
[[nodiscard]] bool IsElevated() noexcept;

/// One line each: time, version of Windows, locale, code pages, rights.
[[nodiscard]] std::vector<std::string> DescribeMachine();
