/// Scripts for the same job, with our classes and with the engine's own means: bench/scripts/JOB_ours.vbs and
/// JOB_engine.vbs, or .js. The current directory is the repository's root.
///
/// Each takes the number of rounds as its first argument, and finally prints the milliseconds they took and the result.
/// Both scripts of a pair declare their common variables first and in the same order, since Wine's VBScript searches
/// variables linearly.
#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "bench/measure.h"
#include "bench/process.h"
#include "bench/textfile.h"

namespace bench {

namespace {

std::wstring Widen(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

/// Runs bench/scripts/`file` with arguments. The engine does not report a failed script, so the last line must be the
/// job's result.
Ended RunScript(const std::string& file, const std::wstring& arguments, std::string_view result) {
    Ended ended = Run(L"cscript //nologo bench\\scripts\\" + Widen(file) + L' ' + arguments);
    Check(ended.output.ends_with("Done: " + std::string(result) + "\r\n"));
    return ended;
}

/// Milliseconds of a whole run, including the start of the engine.
Side WholeRun(const std::string& file, std::string_view result) {
    return
        [=](std::size_t rounds) { return [=] { return RunScript(file, std::to_wstring(rounds), result).time / 1e6; }; };
}

/// The milliseconds that a script measured for its rounds.
double TimeTold(const std::string& output) {
    constexpr std::string_view label = "Time: ";
    const std::size_t found = output.find(label);
    Check(found != std::string::npos);
    return std::stod(output.substr(found + label.size()));
}

Side Inside(const std::string& file, std::string_view result) {
    return [=](std::size_t rounds) {
        return [=] { return TimeTold(RunScript(file, std::to_wstring(rounds), result).output); };
    };
}

struct Job {
    std::string_view name;     ///< of the benchmark: "script." and the name of the scripts
    std::string_view loopName; ///< the same with ".loop"; empty if there is no loop
    std::string_view peer;
    std::string_view result;
    std::size_t rounds; ///< of the loop; about half a second
};

constexpr std::array jobs = {
    Job{"script.start", "", "create a Dictionary, and end", "0", 1},
    Job{"script.split", "script.split.loop", "Split, For Each", "327680", 20},
    Job{"script.trim", "script.trim.loop", "Mid(Trim(text), ...)", "80000", 20},
    Job{"script.list", "script.list.loop", "Dictionary: Add, Item, For Each", "320000", 10},
    Job{"script.lines", "script.lines.loop", "TextStream: WriteLine, ReadLine", "34000", 40},
};

// A table of orders, one per line, and a report of three of its six columns.

constexpr std::array<std::string_view, 4> regions = {"north", "east", "south", "west"};

std::size_t Quantity(std::size_t order) {
    return 1 + order % 97;
}

std::string TableLine(std::size_t order) {
    return std::to_string(100'000 + order) + ",article " + std::to_string(order % 1000) + ',' +
           std::string(regions[order % regions.size()]) + ",2026-05-17," + std::to_string(Quantity(order)) +
           ",delivered";
}

std::size_t TotalQuantity(std::size_t orders) {
    std::size_t total = 0;
    for (std::size_t order = 0; order < orders; ++order) {
        total += Quantity(order);
    }
    return total;
}

/// Reads a table of `orders` lines and writes the report, once per element.
Side Report(const std::string& file, std::size_t orders) {
    return [=](std::size_t rounds) {
        return [=, table = std::make_shared<const TextFile>(orders, TableLine), report = std::make_shared<TextFile>()] {
            const Ended ended = RunScript(file,
                                          std::to_wstring(rounds) + L" \"" + table->Path().wstring() + L"\" \"" +
                                              report->Path().wstring() + L'"',
                                          std::to_string(TotalQuantity(orders)));
            Check(report->Size() > orders * regions.front().size());
            return TimeTold(ended.output);
        };
    };
}

Case ReportCase(std::string_view name, const std::string& language, std::string_view peer, std::size_t orders,
                std::size_t rounds) {
    return {.name = name,
            .peer = peer,
            .ours = Report("csv_ours." + language, orders),
            .theirs = Report("csv_engine." + language, orders),
            .mark = 0.85,
            .elements = rounds,
            .unit = "ms"};
}

} // namespace

std::vector<Case> ScriptCases() {
    std::vector<Case> cases;
    for (const Job& job : jobs) {
        const std::string scripts(job.name.substr(job.name.find('.') + 1));
        const std::string ours = scripts + "_ours.vbs";
        const std::string engine = scripts + "_engine.vbs";
        cases.push_back({.name = job.name,
                         .peer = job.peer,
                         .ours = WholeRun(ours, job.result),
                         .theirs = WholeRun(engine, job.result),
                         .mark = 1.0,
                         .unit = "ms"});
        if (!job.loopName.empty()) {
            cases.push_back({.name = job.loopName,
                             .peer = "the same without starting the engine",
                             .ours = Inside(ours, job.result),
                             .theirs = Inside(engine, job.result),
                             .mark = 1.0,
                             .elements = job.rounds,
                             .unit = "ms"});
        }
    }
    constexpr std::string_view split = "TextStream, Split";
    constexpr std::string_view splitMethod = "TextStream, split()";
    cases.push_back(ReportCase("csv.1000.vbs", "vbs", split, 1'000, 30));
    cases.push_back(ReportCase("csv.100000.vbs", "vbs", split, 100'000, 1));
    cases.push_back(ReportCase("csv.1000.js", "js", splitMethod, 1'000, 30));
    cases.push_back(ReportCase("csv.100000.js", "js", splitMethod, 100'000, 1));
    return cases;
}

} // namespace bench
