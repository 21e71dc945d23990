/// Child processes, for what needs a new process.
#pragma once

#include <cstddef>
#include <string>

#include "bench/measure.h"

namespace bench {

/// A process that has ended with exit code 0.
struct Ended {
    std::string output; ///< what it printed
    Nanoseconds time;   ///< from its start to its end
};

/// Runs a program to its end. Throws std::runtime_error if it cannot be started or fails.
[[nodiscard]] Ended Run(std::wstring commandLine);

/// Runs this program with other arguments and returns the number that it prints.
[[nodiscard]] double AskChild(const std::wstring& arguments);

/// The peak and current working set of this process, in bytes. (Private bytes would be better, but not every system
/// counts them.)
struct Memory {
    std::size_t peak;
    std::size_t now;
};
[[nodiscard]] Memory MemoryOfThisProcess();

} // namespace bench
