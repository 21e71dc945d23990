/// Measures the registered library against alternatives: nuvolex_bench [--quick] [--json FILE] [NAME...]
///
/// Runs the benchmarks whose names start with a NAME, or all. Exit code 1 means that a benchmark failed, not that one
/// was slow.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <io.h>

#include <objbase.h>

#include "bench/automation.h"
#include "bench/measure.h"
#include "bench/process.h"
#include "bench/report.h"

namespace bench {

namespace {

constexpr Effort fullEffort = {.time = 3e9, .minRounds = 5, .maxRounds = 301};
/// Longer, since the time to start a process varies.
constexpr Effort scriptEffort = {.time = 9e9, .minRounds = 5, .maxRounds = 301};
constexpr Effort quickEffort = {.time = 1e8, .minRounds = 1, .maxRounds = 301};

struct Options {
    bool quick = false;
    std::string json;
    std::vector<std::string_view> names;
};

Options ParseOptions(const std::vector<std::string_view>& arguments) {
    Options options;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (*argument == "--quick") {
            options.quick = true;
        } else if (*argument == "--json" && argument + 1 != arguments.end()) {
            options.json = *++argument;
        } else if (argument->starts_with("-")) {
            throw std::runtime_error("no such option: " + std::string(*argument));
        } else {
            options.names.push_back(*argument);
        }
    }
    return options;
}

std::vector<Case> AllCases() {
    std::vector<Case> all;
    for (const auto& ofSubject : {LateBoundCases(), FileCases(), TextCases(), ModuleCases()}) {
        all.insert(all.end(), ofSubject.begin(), ofSubject.end());
    }
    return all;
}

std::vector<Growth> AllGrowths() {
    std::vector<Growth> all = TextGrowths();
    std::ranges::copy(FileGrowths(), std::back_inserter(all));
    return all;
}

const Side& SideOf(const Growth& growth, bool ours) {
    return ours ? growth.ours : growth.floor;
}

/// Run as a child process: prints the peak memory of one round.
void PrintPeak(std::string_view name, bool ours, std::size_t elements) {
    for (const Growth& growth : AllGrowths()) {
        if (growth.name == name) {
            const std::size_t before = MemoryOfThisProcess().now;
            SideOf(growth, ours)(elements)();
            std::printf("%zu\n", MemoryOfThisProcess().peak - before);
        }
    }
}

/// Run as a child process: prints the time of the first use of a class: loading its DLL, creating an object, looking up
/// the name of a member and calling it.
void PrintFirstObjectTime(const std::string& progId) {
    const CLSID clsid = ClassOf(_bstr_t(progId.c_str()));
    CComPtr<IDispatch> object; // outlives the measurement, like a script's
    _variant_t count;
    std::printf("%.0f\n", Time(wallClock, [&] {
                    object = Create<IDispatch>(clsid);
                    count = Call(object, L"Count", valueFlags).Value();
                }));
    Check(AreEqual(count, 0L));
}

double PeakBytes(const Growth& growth, bool ours) {
    const std::size_t elements = growthSizes.back();
    const std::wstring name(growth.name.begin(), growth.name.end());
    return AskChild(L"--peak " + name + (ours ? L" ours " : L" floor ") + std::to_wstring(elements)) /
           static_cast<double>(elements);
}

GrowthResult MeasureGrowth(const Growth& growth, const Effort& effort) {
    GrowthResult result = {.name = growth.name};
    for (std::size_t i = 0; i < growthSizes.size(); ++i) {
        const std::size_t elements = growthSizes[i];
        result.measured[i] = Measure(growth.ours(elements), growth.floor(elements), elements, effort);
    }
    result.ourBytes = PeakBytes(growth, true);
    result.floorBytes = PeakBytes(growth, false);
    return result;
}

CaseResult MeasureCase(const Case& what, std::size_t elements, const Effort& effort) {
    return {what, Measure(what.ours(elements), what.theirs(elements), elements, effort)};
}

/// Selects the benchmarks whose names start with a given one; all if none is given.
class Selection {
  public:
    explicit Selection(std::vector<std::string_view> wanted) : m_wanted(std::move(wanted)), m_unknown(m_wanted) {}

    template <class Benchmark> [[nodiscard]] std::vector<Benchmark> Of(std::vector<Benchmark> all) {
        for (const Benchmark& benchmark : all) {
            std::erase_if(m_unknown, [&](std::string_view name) { return benchmark.name.starts_with(name); });
        }
        std::erase_if(all, [&](const Benchmark& benchmark) {
            return !m_wanted.empty() && std::ranges::none_of(m_wanted, [&](std::string_view name) {
                return benchmark.name.starts_with(name);
            });
        });
        return all;
    }

    /// Throws if a given name has selected nothing.
    void CheckNames() const {
        if (!m_unknown.empty()) {
            throw std::runtime_error("no benchmark's name starts with " + std::string(m_unknown.front()));
        }
    }

  private:
    std::vector<std::string_view> m_wanted;
    std::vector<std::string_view> m_unknown;
};

/// Runs benchmarks and reports progress on stderr.
class Runner {
  public:
    explicit Runner(std::size_t total) : m_total(total) {}

    /// Returns the results of `measure` for the benchmarks that work.
    template <class Benchmark, class MeasureOne>
    auto Run(const std::vector<Benchmark>& benchmarks, MeasureOne measure) {
        std::vector<decltype(measure(benchmarks.front()))> results;
        for (const Benchmark& benchmark : benchmarks) {
            std::fprintf(stderr, "[%2zu/%zu] %s\n", ++m_started, m_total, benchmark.name.data());
            try {
                results.push_back(measure(benchmark));
            } catch (const std::exception& error) {
                ++m_failed;
                std::fprintf(stderr, "FAILED: %s\n", error.what());
            }
        }
        return results;
    }

    [[nodiscard]] std::size_t Failed() const { return m_failed; }

  private:
    std::size_t m_total;
    std::size_t m_started = 0;
    std::size_t m_failed = 0;
};

/// Returns whether all of them worked.
bool MeasureAll(const Options& options) {
    const Effort& effort = options.quick ? quickEffort : fullEffort;
    Selection selection(options.names);
    const std::vector<Case> cases = selection.Of(AllCases());
    const std::vector<Growth> growths = selection.Of(AllGrowths());
    const std::vector<Case> scripts = selection.Of(ScriptCases());
    selection.CheckNames();
    Runner runner(cases.size() + growths.size() + scripts.size());
    const Results results = {
        .quick = options.quick,
        .cases = runner.Run(cases, [&](const Case& what) { return MeasureCase(what, what.elements, effort); }),
        .growths = runner.Run(growths, [&](const Growth& growth) { return MeasureGrowth(growth, effort); }),
        .scripts = runner.Run(scripts,
                              [&](const Case& what) {
                                  return options.quick ? MeasureCase(what, 1, quickEffort)
                                                       : MeasureCase(what, what.elements, scriptEffort);
                              }),
    };
    Print(results);
    if (!options.json.empty()) {
        WriteJson(results, options.json);
    }
    if (runner.Failed() != 0) {
        std::fprintf(stderr, "nuvolex_bench: %zu benchmarks failed, see above\n", runner.Failed());
    }
    return runner.Failed() == 0;
}

} // namespace

} // namespace bench

int main(int argc, char** argv) {
    _setmode(_fileno(stdout), _O_BINARY);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    try {
        const std::vector<std::string_view> arguments(argv + 1, argv + argc);
        if (arguments.size() == 4 && arguments[0] == "--peak") {
            bench::PrintPeak(arguments[1], arguments[2] == "ours", std::stoul(std::string(arguments[3])));
            return 0;
        }
        if (arguments.size() == 2 && arguments[0] == "--first-object") {
            bench::PrintFirstObjectTime(std::string(arguments[1]));
            return 0;
        }
        return bench::MeasureAll(bench::ParseOptions(arguments)) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "nuvolex_bench: %s\n", error.what());
        return 1;
    }
}
