/// Reports the results as tables and as JSON.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "bench/measure.h"

namespace bench {

struct CaseResult {
    Case what;
    Measurement measured;
};

inline constexpr std::array<std::size_t, 4> growthSizes = {1'000, 10'000, 100'000, 1'000'000};
/// How much faster than its floor the time per element may grow from the second of these sizes to the last.
inline constexpr double growthMark = 1.3;

struct GrowthResult {
    std::string_view name;
    std::array<Measurement, growthSizes.size()> measured = {};
    double ourBytes = 0;   ///< peak memory per element at the last size, including input and result
    double floorBytes = 0; ///< the same

    [[nodiscard]] double Ours() const { return measured.back().ours / measured[1].ours; }
    [[nodiscard]] double Floor() const { return measured.back().peer / measured[1].peer; }
    /// Our growth divided by the floor's.
    [[nodiscard]] double Ratio() const { return measured.back().ratio / measured[1].ratio; }
};

struct Results {
    bool quick = false;
    std::vector<CaseResult> cases = {};
    std::vector<GrowthResult> growths = {};
    std::vector<CaseResult> scripts = {};
};

/// Prints a table for each kind of results.
void Print(const Results& results);
/// Throws std::runtime_error if the file cannot be written.
void WriteJson(const Results& results, const std::string& path);

} // namespace bench
