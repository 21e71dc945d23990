// The whole system against a plain model: random calls of all classes, through the vtable and late-bound:
// model_tests [--calls N] [--seconds N] [--seed N]
//
// Makes N calls (100,000), or runs for N seconds. For a difference, prints the shortest sequence of calls that shows
// it.

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "nuvolex.h"

#include "tests/automation/client.h"
#include "tests/model/random.h"
#include "tests/model/shrink.h"
#include "tests/model/world.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/module_faults.h"

namespace model {
namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::size_t calls = 100000;
    std::optional<unsigned> seconds;
    unsigned seed = 1;
};

Options options;

/// Random calls in one world.
constexpr int callsInWorld = 400;

/// Printed if the process crashes or hangs.
struct Progress {
    unsigned seed = 0;
    const std::vector<Call>* calls = nullptr;
};
Progress progress;
std::atomic<unsigned> callsBegun = 0;

/// Makes and records random calls until there is a difference.
std::string Explore(const support::TemporaryFolder& folder, unsigned seed, std::vector<Call>& calls,
                    std::size_t& callsMade) {
    progress = {seed, &calls};
    calls.reserve(callsInWorld);
    World world(folder);
    RandomCalls random(seed);
    std::string difference;
    for (int i = 0; i < callsInWorld && difference.empty(); ++i) {
        calls.push_back(random.Next(world));
        ++callsBegun;
        difference = world.Make(calls.back());
    }
    callsMade += world.CallsMade();
    return difference.empty() ? world.End() : difference;
}

/// Makes the calls again, with new objects.
std::string Replay(const support::TemporaryFolder& folder, const std::vector<Call>& calls) {
    World world(folder);
    std::string difference;
    for (std::size_t i = 0; i < calls.size() && difference.empty(); ++i) {
        difference = world.Make(calls[i]);
    }
    return difference.empty() ? world.End() : difference;
}

/// The same, and also reports memory leaks.
std::string ReplayAndCount(const support::TemporaryFolder& folder, const std::vector<Call>& calls) {
    const support::LiveAllocations before = support::CountLiveAllocations();
    std::string difference = Replay(folder, calls);
    if (difference.empty()) {
        const support::LiveAllocations now = support::CountLiveAllocations();
        if (now != before) {
            difference = "live allocations changed: objects by " + std::to_string(now.objects - before.objects) +
                         ", BSTRs by " + std::to_string(now.bstrs - before.bstrs);
        }
    }
    return difference;
}

/// Shrinks the calls that show a difference and prints them.
void Report(const support::TemporaryFolder& folder, unsigned seed, const std::vector<Call>& calls,
            const std::string& difference) {
    const auto shows = [&](const std::vector<Call>& some) { return !ReplayAndCount(folder, some).empty(); };
    if (!shows(calls)) {
        ADD_FAILURE() << "seed " << seed << ", " << calls.size() << " calls: " << difference
                      << "\nNot reproduced by making the calls again.";
        return;
    }
    const std::vector<Call> fewest = Shrink(calls, shows);
    ADD_FAILURE() << "seed " << seed << "; " << fewest.size() << " of " << calls.size() << " calls show it:\n"
                  << Printed(fewest) << ReplayAndCount(folder, fewest);
}

/// Makes random calls in a new world and checks for leaks. Returns false for a difference.
bool ExploreWorld(const support::TemporaryFolder& folder, unsigned seed, std::size_t& callsMade) {
    const support::LiveAllocations before = support::CountLiveAllocations();
    {
        std::vector<Call> calls;
        const std::string difference = Explore(folder, seed, calls, callsMade);
        progress = {};
        if (!difference.empty()) {
            Report(folder, seed, calls, difference);
            return false;
        }
    }
    if (support::CountLiveAllocations() == before) {
        return true;
    }
    std::vector<Call> calls;
    std::size_t uncounted = 0;
    Explore(folder, seed, calls, uncounted);
    progress = {};
    Report(folder, seed, calls, "live allocations changed");
    return false;
}

/// Prints what a crashing process was doing.
LONG CALLBACK SayWhere(EXCEPTION_POINTERS* exception) {
    std::printf("exception 0x%08lx at %p\n", exception->ExceptionRecord->ExceptionCode,
                exception->ExceptionRecord->ExceptionAddress);
    if (progress.calls != nullptr) {
        std::printf("seed %u, call %zu of its world (use --seed %u --calls 1):\n%s\n", progress.seed,
                    progress.calls->size(), progress.seed, Printed(progress.calls->back()).c_str());
    }
    std::fflush(stdout);
    return EXCEPTION_CONTINUE_SEARCH;
}

/// Ends the process if no call has started for a minute: a call that damages the heap may hang. Prints without
/// allocating.
void EndWhenNothingMoves() {
    unsigned last = callsBegun;
    for (;;) {
        std::this_thread::sleep_for(std::chrono::minutes(1));
        const unsigned now = callsBegun;
        if (now == last && progress.calls != nullptr) {
            std::array<char, 100> text = {};
            const int length =
                std::snprintf(text.data(), text.size(), "FAILED: a call hangs, seed %u (use --seed %u --calls 1)\n",
                              progress.seed, progress.seed);
            DWORD written = 0;
            WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text.data(), static_cast<DWORD>(length), &written, nullptr);
            TerminateProcess(GetCurrentProcess(), 1);
        }
        last = now;
    }
}

TEST(Model, RandomCalls_GiveWhatTheModelGives) {
    ASSERT_EQ(GetACP(), 1252u) << "The model assumes this code page for files.";
    ASSERT_HRESULT_SUCCEEDED(CoInitialize(nullptr));
    {
        const support::TemporaryFolder folder;
        static_cast<void>(support::CountLiveAllocations());
        std::size_t callsMade = 0;
        std::vector<Call> warmUp; // one-time allocations of a process are not counted
        Explore(folder, 4711, warmUp, callsMade);
        support::TrackAllocations(support::LoadedDll());
        callsMade = 0;

        const Clock::time_point start = Clock::now();
        const auto seconds = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
        unsigned seed = options.seed;
        double nextReport = 10;
        while (options.seconds ? seconds() < *options.seconds : callsMade < options.calls) {
            if (!ExploreWorld(folder, seed, callsMade)) {
                break;
            }
            ++seed;
            if (seconds() > nextReport) {
                std::printf("%zu calls, %.0f s\n", callsMade, seconds());
                std::fflush(stdout);
                nextReport += 10;
            }
        }
        std::printf("%zu calls in %u worlds, seeds from %u, %.1f s\n", callsMade, seed - options.seed, options.seed,
                    seconds());
    }
    CoUninitialize();
}

TEST(Shrink, OnlyWhatIsNeeded_IsLeft) {
    std::vector<int> numbers(1000);
    for (int i = 0; i < 1000; ++i) {
        numbers[static_cast<std::size_t>(i)] = i;
    }
    const auto shows = [](const std::vector<int>& some) {
        int found = 0;
        for (const int number : some) {
            found += number == 17 || number == 18 || number == 901;
        }
        return found == 3;
    };
    EXPECT_EQ(Shrink(numbers, shows), (std::vector<int>{17, 18, 901}));
}

TEST(Shrink, NothingNeeded_LeavesNothing) {
    EXPECT_EQ(Shrink(std::vector<int>{1, 2, 3}, [](const auto&) { return true; }), std::vector<int>());
}

/// Parses the options that are not GoogleTest's. Returns false if one is unknown or has no valid number.
bool ReadOptions(int argc, char** argv) {
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc) {
            return false;
        }
        char* end = nullptr;
        const unsigned long number = std::strtoul(argv[i + 1], &end, 10);
        if (end == argv[i + 1] || *end != '\0') {
            return false;
        }
        if (std::strcmp(argv[i], "--calls") == 0) {
            options.calls = number;
        } else if (std::strcmp(argv[i], "--seconds") == 0) {
            options.seconds = number;
        } else if (std::strcmp(argv[i], "--seed") == 0) {
            options.seed = number;
        } else {
            return false;
        }
    }
    return true;
}

} // namespace
} // namespace model

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!model::ReadOptions(argc, argv)) {
        std::printf("model_tests [--calls N] [--seconds N] [--seed N]\n");
        return 2;
    }
    SetUnhandledExceptionFilter(model::SayWhere);
    std::thread(model::EndWhenNothingMoves).detach();
    return RUN_ALL_TESTS();
}
