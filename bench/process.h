/// Child processes: for what only a new process can tell.
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

/// Runs a program to its end; throws std::runtime_error when it cannot be started or fails.
[[nodiscard]] Ended Run(std::wstring commandLine);

/// Runs this program with other arguments and returns the number that it prints.
[[nodiscard]] double AskChild(const std::wstring& arguments);

/// The most memory that this process has held so far, and what it holds now, in bytes of working set. (Its private
/// bytes would be the better word for it, but not every system counts them.)
struct Memory {
    std::size_t peak;
    std::size_t now;
};
[[nodiscard]] Memory MemoryOfThisProcess();

} // namespace bench
