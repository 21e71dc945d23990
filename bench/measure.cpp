#include "bench/measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <string>

namespace bench {

void Fail(const std::string& what, const char* file, int line) {
    throw std::runtime_error(std::string(file) + ":" + std::to_string(line) + ": " + what);
}

void Fail(HRESULT hr, const char* file, int line) {
    char code[16];
    std::snprintf(code, sizeof(code), "0x%08lX", static_cast<unsigned long>(hr));
    Fail(code, file, line);
}

namespace {

Nanoseconds WallTime() {
    LARGE_INTEGER ticks = {};
    LARGE_INTEGER frequency = {};
    QueryPerformanceCounter(&ticks);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(ticks.QuadPart) * 1e9 / static_cast<double>(frequency.QuadPart);
}

/// The processor time of this thread, from a Linux system call; 0 if that fails. GetThreadTimes has a resolution of 10
/// ms, too coarse for a round, and Wine has no QueryThreadCycleTime.
Nanoseconds LinuxThreadTime() {
    constexpr long long clockGettime = 228;
    constexpr long long threadCpuTime = 3;
    struct {
        long long seconds;
        long long nanoseconds;
    } time = {};
    long long result = 0;
    __asm__ volatile("syscall"
                     : "=a"(result)
                     : "a"(clockGettime), "D"(threadCpuTime), "S"(&time)
                     : "rcx", "r11", "memory");
    return result == 0 ? static_cast<double>(time.seconds) * 1e9 + static_cast<double>(time.nanoseconds) : 0;
}

/// A quantile of a sorted sample.
double Quantile(const std::vector<double>& sorted, double part) {
    return sorted[static_cast<std::size_t>(std::lround(part * static_cast<double>(sorted.size() - 1)))];
}

} // namespace

const Clock wallClock = {WallTime, "wall time (QueryPerformanceCounter)"};

const Clock& ThreadClock() {
    static const Clock threadClock = {LinuxThreadTime, "processor time of the thread (the Linux kernel's clock)"};
    static const bool underWine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    static const bool works = underWine && LinuxThreadTime() > 0;
    return works ? threadClock : wallClock;
}

Measurement Measure(const Round& ours, const Round& theirs, std::size_t elements, const Effort& effort) {
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    std::vector<double> ratios;
    const Nanoseconds start = wallClock.now();
    while (ratios.size() < effort.minRounds ||
           (ratios.size() < effort.maxRounds && wallClock.now() - start < effort.time)) {
        // Alternate the order, so that neither side always finds the caches warm.
        const bool oursFirst = ratios.size() % 2 == 0;
        const double first = (oursFirst ? ours : theirs)();
        const double second = (oursFirst ? theirs : ours)();
        ourTimes.push_back(oursFirst ? first : second);
        theirTimes.push_back(oursFirst ? second : first);
        ratios.push_back(ourTimes.back() / theirTimes.back());
    }

    for (auto* const sample : {&ourTimes, &theirTimes, &ratios}) {
        std::ranges::sort(*sample);
    }
    const auto count = static_cast<double>(elements);
    return {
        .ours = Quantile(ourTimes, 0.5) / count,
        .peer = Quantile(theirTimes, 0.5) / count,
        .ratio = Quantile(ratios, 0.5),
        .spread = (Quantile(ratios, 0.75) - Quantile(ratios, 0.25)) / 2,
        .rounds = ratios.size(),
    };
}

} // namespace bench
