/// What a benchmark is made of, and how it is measured.
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

/// Throws std::runtime_error with the place in the source.
[[noreturn]] void Fail(const std::string& what, const char* file, int line);
[[noreturn]] void Fail(HRESULT hr, const char* file, int line);

/// Fails unless the result is right: figures of wrong work are worthless.
inline void Check(bool right, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (!right) {
        Fail("wrong result", file, line);
    }
}
/// The same for a call that has to end with S_OK. Costs nothing worth measuring.
inline void Check(HRESULT hr, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (hr != S_OK) {
        Fail(hr, file, line);
    }
}

using Nanoseconds = double;

/// A clock, and what a report calls it.
struct Clock {
    Nanoseconds (*now)();
    const char* name;
};

/// For work that other processes do or take part in, such as Wine's server in that with files.
extern const Clock wallClock;
/// For work of this thread: its processor time, so that it does not matter what else the machine does.
[[nodiscard]] const Clock& ThreadClock();

/// How long `work` takes.
template <class Work> [[nodiscard]] Nanoseconds Time(const Clock& clock, Work&& work) {
    const Nanoseconds start = clock.now();
    std::forward<Work>(work)();
    return clock.now() - start;
}
template <class Work> [[nodiscard]] Nanoseconds Time(Work&& work) {
    return Time(ThreadClock(), std::forward<Work>(work));
}

/// Does its work once, checks what came of it, and returns what the work alone took, in the benchmark's unit.
using Round = std::function<double()>;
/// Gets ready for rounds of that many elements.
using Side = std::function<Round(std::size_t elements)>;

/// Ours against a peer on the same work.
struct Case {
    std::string_view name;
    std::string_view peer; ///< what we are measured against, in words
    Side ours;
    Side theirs;
    std::optional<double> mark = std::nullopt; ///< the ratio to reach
    std::size_t elements = 1;                  ///< in a round
    std::string_view unit = "ns";
};

/// Work whose time per element is to grow no faster than that of the plainest way to do it, the floor.
struct Growth {
    std::string_view name;
    Side ours;
    Side floor;
};

/// How long to measure: as many rounds as fit into the time, but no fewer and no more than these.
struct Effort {
    Nanoseconds time;
    std::size_t minRounds;
    std::size_t maxRounds;
};

struct Measurement {
    double ours = 0;   ///< median, per element
    double peer = 0;   ///< likewise
    double ratio = 0;  ///< median of the rounds' ratios; below 1 ours is faster
    double spread = 0; ///< half of what the middle half of these ratios spans
    std::size_t rounds = 0;
};

/// Measures turn by turn, so that whatever else the machine does hits both sides alike.
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
