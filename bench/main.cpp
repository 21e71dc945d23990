/// Measures the registered library against what a user would pick instead:
///
///     nuvolex_bench [--quick] [--json FILE] [NAME...]
///
/// runs the benchmarks whose names begin so, or all. A benchmark that does not work ends the program with 1; a slow one
/// does not.
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
/// Starting a process takes a varying time, so scripts are measured for longer.
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

/// In a process of its own: prints how much memory one round takes at the most.
void PrintPeak(std::string_view name, bool ours, std::size_t elements) {
    for (const Growth& growth : AllGrowths()) {
        if (growth.name == name) {
            const std::size_t before = MemoryOfThisProcess().now;
            SideOf(growth, ours)(elements)();
            std::printf("%zu\n", MemoryOfThisProcess().peak - before);
        }
    }
}

/// In a process of its own: prints how long the first use of a class takes: loading its DLL, creating an object,
/// looking up the name of a member and calling it.
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

CaseResult MeasureCase(const Case& what, const Effort& effort) {
    return {what, Measure(what.ours(what.elements), what.theirs(what.elements), what.elements, effort)};
}

/// The benchmarks whose names begin with one of those asked for; all when nothing was asked for.
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

    /// Throws when one of the names wanted has not selected anything.
    void CheckNames() const {
        if (!m_unknown.empty()) {
            throw std::runtime_error("no benchmark's name begins with " + std::string(m_unknown.front()));
        }
    }

  private:
    std::vector<std::string_view> m_wanted;
    std::vector<std::string_view> m_unknown;
};

/// Runs benchmarks and tells on stderr how far it has come.
class Runner {
  public:
    explicit Runner(std::size_t total) : m_total(total) {}

    /// Returns what `measure` makes of each benchmark that works.
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
        .cases = runner.Run(cases, [&](const Case& what) { return MeasureCase(what, effort); }),
        .growths = runner.Run(growths, [&](const Growth& growth) { return MeasureGrowth(growth, effort); }),
        .scripts = runner.Run(
            scripts, [&](const Case& what) { return MeasureCase(what, options.quick ? quickEffort : scriptEffort); }),
    };
    Print(results);
    if (!options.json.empty()) {
        WriteJson(results, options.json);
    }
    if (runner.Failed() != 0) {
        std::fprintf(stderr, "nuvolex_bench: %zu of the benchmarks did not work, see above\n", runner.Failed());
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
