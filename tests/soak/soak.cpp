// Long load: scripts and compiled clients use all classes concurrently, each in its own process. Their memory and
// handles are sampled and must not grow after the warm-up.
//
//     soak MINUTES SCRIPTS MODEL_TESTS APARTMENT_TESTS
//
// SCRIPTS is the folder of soak.vbs and soak.js, the others are test programs. Exit code 0: no client failed or grew.

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <windows.h>

#include <psapi.h>

#include "tests/support/handles.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::filesystem::path;

struct Closer {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, Closer>;

/// The median. Throws std::runtime_error if there are no values.
std::size_t Median(std::vector<std::size_t> values) {
    if (values.empty()) {
        throw std::runtime_error("too few samples");
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// The resources that a process uses.
struct Usage {
    std::size_t kibibytes; ///< of private memory
    std::size_t handles;
};

enum class Kind {
    Ending,    ///< ends when the time is over or the file "stop" is in its folder; prints how much it has done so far
    Repeating, ///< goes on until it is terminated; prints how much it did in each repetition
};

/// A process that uses the library.
class Client {
  public:
    /// Starts it in `folder`. Its output goes to a file there; a number before `unit` is the work done. Its memory may
    /// grow by `tolerance` KiB.
    Client(std::string name, std::wstring commandLine, const path& folder, std::string unit, Kind kind,
           std::size_t tolerance)
        : m_name(std::move(name)),
          m_output(folder / (m_name + ".output")),
          m_unit(std::move(unit)),
          m_kind(kind),
          m_tolerance(tolerance) {
        SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
        const Handle output(CreateFileW(m_output.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                        &inherited, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = output.get();
        startup.hStdError = output.get();
        PROCESS_INFORMATION started = {};
        if (CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, folder.c_str(), &startup,
                           &started) == FALSE) {
            throw std::runtime_error(m_name + " cannot be started, error " + std::to_string(GetLastError()));
        }
        CloseHandle(started.hThread);
        m_process.reset(started.hProcess);
    }

    [[nodiscard]] const std::string& Name() const noexcept { return m_name; }
    [[nodiscard]] bool IsRunning() const noexcept { return WaitForSingleObject(m_process.get(), 0) == WAIT_TIMEOUT; }

    void TakeSample(double time) {
        PROCESS_MEMORY_COUNTERS counters = {};
        GetProcessMemoryInfo(m_process.get(), &counters, sizeof(counters));
        m_samples.emplace_back(time, Usage{counters.PagefileUsage / 1024, support::OpenHandles(m_process.get())});
    }
    [[nodiscard]] const Usage& LastSample() const { return m_samples.back().second; }

    /// The median usage between two points in time, so that a few samples before the end of the warm-up do not count.
    [[nodiscard]] Usage TypicalUsage(double from, double to) const {
        std::vector<std::size_t> kibibytes;
        std::vector<std::size_t> handles;
        for (const auto& [time, usage] : m_samples) {
            if (time >= from && time <= to) {
                kibibytes.push_back(usage.kibibytes);
                handles.push_back(usage.handles);
            }
        }
        return {Median(kibibytes), Median(handles)};
    }

    /// The work done.
    [[nodiscard]] std::size_t Work() const {
        std::size_t work = 0;
        std::ifstream output(m_output);
        for (std::string line; std::getline(output, line);) {
            const std::size_t end = line.find(' ' + m_unit);
            if (end == std::string::npos) {
                continue;
            }
            const std::size_t start = line.find_last_not_of("0123456789", end - 1) + 1;
            const std::size_t number = std::strtoull(line.c_str() + start, nullptr, 10);
            work = m_kind == Kind::Repeating ? work + number : number;
        }
        return work;
    }
    [[nodiscard]] const std::string& Unit() const noexcept { return m_unit; }
    [[nodiscard]] std::size_t Tolerance() const noexcept { return m_tolerance; }

    /// Whether its output reports a failed check.
    [[nodiscard]] bool HasFailed() const { return Output().find("FAILED") != std::string::npos; }

    /// Waits for its end, or terminates it. Returns the failure, if any.
    [[nodiscard]] std::string Finish() {
        constexpr DWORD patience = 120'000; // ms; scripts seldom check for the end, and test programs clean up
        if (m_kind == Kind::Repeating && IsRunning()) {
            TerminateProcess(m_process.get(), 0);
        }
        if (WaitForSingleObject(m_process.get(), patience) != WAIT_OBJECT_0) {
            TerminateProcess(m_process.get(), 1);
            return "did not end";
        }
        DWORD exitCode = 0;
        GetExitCodeProcess(m_process.get(), &exitCode);
        if (exitCode != 0) {
            return "ended with exit code " + std::to_string(exitCode);
        }
        return HasFailed() ? "failed" : "";
    }

    /// Its output.
    [[nodiscard]] std::string Output() const {
        std::ifstream output(m_output, std::ios::binary);
        return {std::istreambuf_iterator<char>(output), {}};
    }

  private:
    std::string m_name;
    path m_output;
    std::string m_unit;
    Kind m_kind;
    std::size_t m_tolerance;
    Handle m_process;
    std::vector<std::pair<double, Usage>> m_samples; // with the time in seconds
};

/// A temporary folder, removed with its content.
class Folder {
  public:
    Folder()
        : m_path(std::filesystem::temp_directory_path() / ("nuvolex-soak-" + std::to_string(GetCurrentProcessId()))) {
        std::filesystem::create_directories(m_path);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    [[nodiscard]] const path& Path() const noexcept { return m_path; }

  private:
    path m_path;
};

std::wstring Quoted(const path& file) {
    return L'"' + std::filesystem::absolute(file).make_preferred().wstring() + L'"';
}

void PrintRow(double time, const std::vector<std::unique_ptr<Client>>& clients) {
    std::printf("%6.0f s", time);
    for (const auto& client : clients) {
        const Usage usage = client->LastSample();
        std::printf("  | %9zu %-6s %6zu KiB %4zu", client->Work(), client->Unit().c_str(), usage.kibibytes,
                    usage.handles);
    }
    std::printf("\n");
    std::fflush(stdout);
}

/// Lets the clients work for some seconds. Returns false, with a message, if one fails or ends early.
bool Watch(const std::vector<std::unique_ptr<Client>>& clients, double seconds) {
    constexpr auto sampleInterval = std::chrono::milliseconds(250);
    const double rowInterval = std::max(5.0, seconds / 30);
    const Clock::time_point start = Clock::now();
    double nextRow = rowInterval;
    for (double time = 0; time < seconds;) {
        std::this_thread::sleep_for(sampleInterval);
        time = std::chrono::duration<double>(Clock::now() - start).count();
        for (const auto& client : clients) {
            if (!client->IsRunning()) {
                std::printf("%s ended after %.0f s\n", client->Name().c_str(), time);
                return false;
            }
            client->TakeSample(time);
        }
        if (time >= nextRow) {
            PrintRow(time, clients);
            nextRow += rowInterval;
            if (std::any_of(clients.begin(), clients.end(), [](const auto& client) { return client->HasFailed(); })) {
                return false;
            }
        }
    }
    return true;
}

/// Whether the client's usage in the last fifth of the time exceeds that in the second fifth by no more than its
/// tolerance. Prints both.
bool IsFlat(const Client& client, double seconds) {
    constexpr std::size_t handlesTolerated = 8; // for threads that start and end
    const Usage before = client.TypicalUsage(seconds * 0.2, seconds * 0.4);
    const Usage after = client.TypicalUsage(seconds * 0.8, seconds + 1);
    const bool flat =
        after.kibibytes <= before.kibibytes + client.Tolerance() && after.handles <= before.handles + handlesTolerated;
    std::printf("%-16s %10zu %-6s  %7zu -> %7zu KiB  %4zu -> %4zu handles  %s\n", client.Name().c_str(), client.Work(),
                client.Unit().c_str(), before.kibibytes, after.kibibytes, before.handles, after.handles,
                flat ? "flat" : "GROWS");
    return flat;
}

/// Returns whether all clients passed.
bool Soak(double seconds, const path& scripts, const path& modelTests, const path& apartmentTests) {
    const Folder folder;
    const std::wstring cscript = L"cscript //nologo ";
    const std::wstring time = std::to_wstring(static_cast<unsigned>(seconds) + 1);
    const struct {
        const char* name;
        std::wstring commandLine;
        const char* unit;
        Kind kind;
        std::size_t tolerance; ///< in KiB: a heap's pages come and go, most of all with threads
    } rows[] = {
        {"VBScript", cscript + Quoted(scripts / "soak.vbs"), "rounds", Kind::Ending, 64},
        {"JScript", cscript + Quoted(scripts / "soak.js"), "rounds", Kind::Ending, 64},
        {"random calls", Quoted(modelTests) + L" --gtest_filter=Model.* --seconds " + time, "calls", Kind::Ending, 128},
        {"apartments", Quoted(apartmentTests) + L" --gtest_filter=Apartments.* --gtest_repeat=-1", "rounds",
         Kind::Repeating, 512},
    };
    std::vector<std::unique_ptr<Client>> clients;
    for (const auto& row : rows) {
        clients.push_back(
            std::make_unique<Client>(row.name, row.commandLine, folder.Path(), row.unit, row.kind, row.tolerance));
    }
    std::printf(
        "Clients, each with work done, private memory, handles: VBScript | JScript | random calls of a compiled "
        "client | 8 threads of another\n");
    const bool lasted = Watch(clients, seconds);

    std::ofstream(folder.Path() / "stop").close();
    bool good = true;
    for (const auto& client : clients) {
        if (const std::string fault = client->Finish(); !fault.empty()) {
            constexpr std::size_t mostPrinted = 4000;
            std::printf("%s %s:\n%s\n", client->Name().c_str(), fault.c_str(),
                        client->Output().substr(0, mostPrinted).c_str());
            good = false;
        }
    }
    if (!lasted) {
        return false;
    }
    std::printf("\nWork done; private memory and handles after the warm-up and at the end\n");
    for (const auto& client : clients) {
        good = IsFlat(*client, seconds) && good;
    }
    return good;
}

} // namespace

int main(int argc, char** argv) {
    const double minutes = argc == 5 ? std::strtod(argv[1], nullptr) : 0;
    if (minutes < 0.5) { // less is too short for the warm-up
        std::printf("soak MINUTES SCRIPTS MODEL_TESTS APARTMENT_TESTS, with at least 0.5 minutes\n");
        return 2;
    }
    try {
        return Soak(minutes * 60, argv[2], argv[3], argv[4]) ? 0 : 1;
    } catch (const std::exception& error) {
        std::printf("%s\n", error.what());
        return 1;
    }
}
