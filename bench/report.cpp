#include "bench/report.h"

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace bench {

namespace {

/// One decimal for small figures, none for large ones.
std::string Figure(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), value < 1000 ? "%.1f" : "%.0f", value);
    return text;
}

const char* Met(double value, double mark) {
    return value <= mark ? "yes" : "NO";
}

void PrintCases(const char* title, const std::vector<CaseResult>& cases) {
    if (cases.empty()) {
        return;
    }
    std::printf("\n%-20s %-5s %10s %10s %7s %7s %6s %4s  %s\n", title, "unit", "ours", "peer", "ratio", "spread",
                "mark", "met", "peer");
    for (const auto& [what, measured] : cases) {
        std::printf("%-20s %-5s %10s %10s %7.2f %7.2f", what.name.data(), what.unit.data(),
                    Figure(measured.ours).c_str(), Figure(measured.peer).c_str(), measured.ratio, measured.spread);
        if (what.mark) {
            std::printf(" %6.2f %4s", *what.mark, Met(measured.ratio, *what.mark));
        } else {
            std::printf(" %6s %4s", "-", "-");
        }
        std::printf("  %s\n", what.peer.data());
    }
}

/// A line of the growth table.
template <class Side> void PrintGrowthSide(const char* name, const GrowthResult& result, Side side) {
    std::printf("%-20s", name);
    for (const Measurement& measured : result.measured) {
        std::printf(" %9s", Figure(measured.*side).c_str());
    }
}

void PrintGrowths(const std::vector<GrowthResult>& growths) {
    if (growths.empty()) {
        return;
    }
    std::printf("\nGrowth: the time per element at %zu against that at %zu; the ratio is ours against the floor's.\n",
                growthSizes.back(), growthSizes[1]);
    std::printf("%-20s", "ns an element of");
    for (const std::size_t size : growthSizes) {
        std::printf(" %9zu", size);
    }
    std::printf("  %6s %6s %6s %4s  %s\n", "growth", "ratio", "mark", "met", "peak bytes an element");
    for (const GrowthResult& result : growths) {
        PrintGrowthSide(result.name.data(), result, &Measurement::ours);
        std::printf("  %6.2f %6.2f %6.2f %4s  %.0f\n", result.Ours(), result.Ratio(), growthMark,
                    Met(result.Ratio(), growthMark), result.ourBytes);
        PrintGrowthSide("  its floor", result, &Measurement::peer);
        std::printf("  %6.2f %20s %.0f\n", result.Floor(), "", result.floorBytes);
    }
}

// Our names need no escapes in JSON.

void WriteMeasurement(std::FILE* out, const Measurement& measured, std::string_view unit = "ns") {
    std::fprintf(out, R"("ours_%s": %.2f, "peer_%s": %.2f, "ratio": %.4f, "spread": %.4f, "rounds": %zu)", unit.data(),
                 measured.ours, unit.data(), measured.peer, measured.ratio, measured.spread, measured.rounds);
}

void WriteMark(std::FILE* out, double value, double mark) {
    std::fprintf(out, R"(, "mark": %.2f, "met": %s)", mark, value <= mark ? "true" : "false");
}

void WriteCase(std::FILE* out, const CaseResult& result) {
    std::fprintf(out, R"({"name": "%s", "peer": "%s", )", result.what.name.data(), result.what.peer.data());
    WriteMeasurement(out, result.measured, result.what.unit);
    if (result.what.mark) {
        WriteMark(out, result.measured.ratio, *result.what.mark);
    }
    std::fputs("}", out);
}

void WriteGrowth(std::FILE* out, const GrowthResult& result) {
    std::fprintf(out, R"({"name": "%s", "sizes": [)", result.name.data());
    for (std::size_t i = 0; i < growthSizes.size(); ++i) {
        std::fprintf(out, R"(%s{"elements": %zu, )", i == 0 ? "" : ", ", growthSizes[i]);
        WriteMeasurement(out, result.measured[i]);
        std::fputs("}", out);
    }
    std::fprintf(out, R"(], "ours_growth": %.3f, "peer_growth": %.3f, "ratio": %.3f, )", result.Ours(), result.Floor(),
                 result.Ratio());
    std::fprintf(out, R"("ours_peak_bytes": %.1f, "peer_peak_bytes": %.1f)", result.ourBytes, result.floorBytes);
    WriteMark(out, result.Ratio(), growthMark);
    std::fputs("}", out);
}

/// Writes an array, one row per line.
template <class Row>
void WriteRows(std::FILE* out, const char* name, const std::vector<Row>& rows,
               void (*write)(std::FILE* out, const Row& row)) {
    std::fprintf(out, ",\n  \"%s\": [", name);
    const char* between = "\n    ";
    for (const Row& row : rows) {
        std::fputs(between, out);
        write(out, row);
        between = ",\n    ";
    }
    std::fputs("\n  ]", out);
}

} // namespace

void Print(const Results& results) {
    std::printf("Clock: %s; %s for file, dll and script. Ratios below 1: ours is faster.\n", ThreadClock().name,
                wallClock.name);
    PrintCases("work", results.cases);
    PrintGrowths(results.growths);
    PrintCases("script", results.scripts);
}

void WriteJson(const Results& results, const std::string& path) {
    const auto close = [](std::FILE* file) { std::fclose(file); };
    const std::unique_ptr<std::FILE, decltype(close)> file(std::fopen(path.c_str(), "wb"), close);
    if (file == nullptr) {
        throw std::runtime_error("cannot write " + path);
    }
    std::FILE* const out = file.get();

    std::fprintf(out, "{\n  \"clock\": \"%s\",\n  \"process_clock\": \"%s\",\n  \"quick\": %s", ThreadClock().name,
                 wallClock.name, results.quick ? "true" : "false");
    WriteRows(out, "cases", results.cases, WriteCase);
    WriteRows(out, "growth", results.growths, WriteGrowth);
    WriteRows(out, "scripts", results.scripts, WriteCase);
    std::fputs("\n}\n", out);
    if (std::ferror(out) != 0) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace bench
