/// What a benchmark is made of, and how it is measured.
#pragma once

#include <cstddef>
#include <functional>
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

/// Wall time. Thread times would leave out what other programs take, but they advance in steps of 10 ms and more.
[[nodiscard]] Nanoseconds Now();
inline constexpr const char* clockName = "QueryPerformanceCounter (wall time)";

/// How long `work` takes.
template <class Work> [[nodiscard]] Nanoseconds Time(Work&& work) {
    const Nanoseconds start = Now();
    std::forward<Work>(work)();
    return Now() - start;
}

/// Does its work once, checks what came of it, and returns how long the work alone took.
using Round = std::function<Nanoseconds()>;
/// Gets ready for rounds of that many elements.
using Side = std::function<Round(std::size_t elements)>;

/// Ours against a peer on the same work.
struct Case {
    std::string_view name;
    std::string_view peer; ///< what we are measured against, in words
    double mark;           ///< the ratio to reach
    std::size_t elements;  ///< in a round
    Side ours;
    Side theirs;
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
    Nanoseconds ours = 0; ///< median, per element
    Nanoseconds peer = 0; ///< likewise
    double ratio = 0;     ///< median of the rounds' ratios; below 1 ours is faster
    double spread = 0;    ///< half of what the middle half of these ratios spans
    std::size_t rounds = 0;
};

/// Measures turn by turn, so that whatever else the machine does hits both sides alike.
[[nodiscard]] Measurement Measure(const Round& ours, const Round& theirs, std::size_t elements, const Effort& effort);

// The benchmarks, by subject.
[[nodiscard]] std::vector<Case> TextCases();
[[nodiscard]] std::vector<Growth> TextGrowths();

} // namespace bench
