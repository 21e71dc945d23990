/// Benchmarks and their measurement.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <windows.h>

namespace bench {

/// Throws std::runtime_error with the source location.
[[noreturn]] void Fail(const std::string& what, const char* file, int line);
[[noreturn]] void Fail(HRESULT hr, const char* file, int line);

/// Fails unless the result is right: the time of wrong work is meaningless.
inline void Check(bool right, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (!right) {
        Fail("wrong result", file, line);
    }
}
/// The same for a call that must return S_OK. The cost is not measurable.
inline void Check(HRESULT hr, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (hr != S_OK) {
        Fail(hr, file, line);
    }
}

using Nanoseconds = double;

/// A clock and its name in reports.
struct Clock {
    Nanoseconds (*now)();
    const char* name;
};

/// For work in which other processes take part, such as Wine's server for files.
extern const Clock wallClock;
/// For work of this thread: its processor time, which does not depend on the load of the machine.
[[nodiscard]] const Clock& ThreadClock();

/// The time that `work` takes.
template <class Work> [[nodiscard]] Nanoseconds Time(const Clock& clock, Work&& work) {
    const Nanoseconds start = clock.now();
    std::forward<Work>(work)();
    return clock.now() - start;
}
template <class Work> [[nodiscard]] Nanoseconds Time(Work&& work) {
    return Time(ThreadClock(), std::forward<Work>(work));
}

/// Does the work once, checks the result, and returns the time of the work alone, in the benchmark's unit.
using Round = std::function<double()>;
/// Prepares rounds of that many elements.
using Side = std::function<Round(std::size_t elements)>;

/// The same work done by us and by a peer.
struct Case {
    std::string_view name;
    std::string_view peer; ///< description of the peer
    Side ours;
    Side theirs;
    std::optional<double> mark = std::nullopt; ///< the ratio to reach
    std::size_t elements = 1;                  ///< in a round
    std::string_view unit = "ns";
};

/// Work whose time per element should grow no faster than that of the simplest implementation, the floor.
struct Growth {
    std::string_view name;
    Side ours;
    Side floor;
};

/// How long to measure: as many rounds as fit into the time, within these limits.
struct Effort {
    Nanoseconds time;
    std::size_t minRounds;
    std::size_t maxRounds;
};

struct Measurement {
    double ours = 0;   ///< median, per element
    double peer = 0;   ///< the same
    double ratio = 0;  ///< median of the rounds' ratios; below 1 ours is faster
    double spread = 0; ///< half of the interquartile range of these ratios
    std::size_t rounds = 0;
};

/// Alternates between the two sides, so that other load on the machine affects both.
[[nodiscard]] Measurement Measure(const Round& ours, const Round& theirs, std::size_t elements, const Effort& effort);

// The benchmarks, by subject.
[[nodiscard]] std::vector<Case> FileCases();
[[nodiscard]] std::vector<Growth> FileGrowths();
[[nodiscard]] std::vector<Case> LateBoundCases();
[[nodiscard]] std::vector<Case> ModuleCases();
[[nodiscard]] std::vector<Case> ScriptCases();
[[nodiscard]] std::vector<Case> TextCases();
[[nodiscard]] std::vector<Growth> TextGrowths();

} // namespace bench
