// Runs the test programs and scripts of the test kit: testrunner FOLDER [NAME...]
//
// FOLDER has tests.txt: a title after "# ", then a line for each test, with tabs between its fields:
//
//     NAME  KIND  PLACE  SECONDS  NUMBER  COMMAND  VARIABLE=VALUE...
//
// KIND is "gtest" for a GoogleTest program, "script" for a script that prints how many checks passed (NUMBER is the
// minimum), "example" for a script or batch file whose output must equal COMMAND.expected. PLACE is "anywhere" for a
// test that needs no administrator rights, "clean" for one that changes the machine's registry and needs nothing
// registered, or "registered"; those come last. "@" at the start of COMMAND or a value is FOLDER. After SECONDS, a test
// is terminated with its child processes.

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <windows.h>

#include <objbase.h>

#include "package/testkit/machine.h"
#include "package/testkit/outcome.h"
#include "package/testkit/process.h"
#include "package/testkit/redaction.h"
#include "package/testkit/text.h"

namespace {

namespace fs = std::filesystem;

/// A line of tests.txt.
struct Test {
    std::string name;
    std::string kind;
    std::string place;
    DWORD seconds = 0;
    int leastChecks = 0;
    fs::path command;
    std::map<std::wstring, std::wstring> variables;
};

/// Set by Ctrl+C: the tests stop, and the DLL is unregistered.
volatile LONG interrupted = 0;

BOOL WINAPI OnControl(DWORD /*event*/) {
    InterlockedExchange(&interrupted, 1);
    return TRUE;
}

std::string Slurp(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    std::erase(text, '\r');
    return text;
}

/// `text` with a leading "@" replaced by `folder`.
std::wstring Expanded(const fs::path& folder, const std::string& text) {
    return text.starts_with('@') ? (folder / fs::path(Widen(text.substr(2)))).make_preferred().wstring() : Widen(text);
}

/// The kit's folder as seen by tests, which run two levels below. Relative, since test programs read variables as
/// narrow strings, which may be unable to represent the absolute path.
const fs::path kitOfTests = L"..\\..";

Test ParsedLine(const fs::path& kit, const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, '\t');) {
        fields.push_back(field);
    }
    if (fields.size() < 6) {
        throw std::runtime_error("tests.txt has an invalid line: " + line);
    }
    Test test = {fields[0],
                 fields[1],
                 fields[2],
                 static_cast<DWORD>(std::stoul(fields[3])),
                 std::stoi(fields[4]),
                 Expanded(kit, fields[5]),
                 {}};
    for (std::size_t i = 6; i < fields.size(); ++i) {
        const std::size_t sign = fields[i].find('=');
        test.variables[Widen(fields[i].substr(0, sign))] = Expanded(kitOfTests, fields[i].substr(sign + 1));
    }
    return test;
}

std::string TitleOf(const fs::path& kit) {
    std::ifstream list(kit / "tests.txt");
    std::string line;
    std::getline(list, line);
    return line.substr(std::min<std::size_t>(line.size(), 2));
}

/// The tests with these names, or all if none are given.
std::vector<Test> ReadTests(const fs::path& kit, const std::set<std::string>& names) {
    std::vector<Test> tests;
    std::set<std::string> unknown = names;
    std::istringstream list(Slurp(kit / "tests.txt"));
    std::string line;
    std::getline(list, line); // the title
    while (std::getline(list, line)) {
        Test test = ParsedLine(kit, line);
        unknown.erase(test.name);
        if (names.empty() || names.contains(test.name)) {
            tests.push_back(std::move(test));
        }
    }
    if (!unknown.empty()) {
        throw std::runtime_error("no such test: " + *unknown.begin());
    }
    if (tests.empty()) {
        throw std::runtime_error("tests.txt is missing or empty");
    }
    return tests;
}

/// Sets environment variables for its lifetime.
class Variables {
  public:
    explicit Variables(const std::map<std::wstring, std::wstring>& variables) : m_variables(variables) {
        for (const auto& [name, value] : m_variables) {
            SetEnvironmentVariableW(name.c_str(), value.c_str());
        }
    }
    Variables(const Variables&) = delete;
    Variables& operator=(const Variables&) = delete;
    ~Variables() {
        for (const auto& [name, value] : m_variables) {
            SetEnvironmentVariableW(name.c_str(), nullptr);
        }
    }

  private:
    const std::map<std::wstring, std::wstring>& m_variables;
};

/// An empty folder in the kit, removed in the end with all that is in it.
class WorkFolder {
  public:
    explicit WorkFolder(const fs::path& kit) : m_path(kit / ("work-" + std::to_string(GetCurrentProcessId()))) {
        fs::create_directory(m_path);
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    ~WorkFolder() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    [[nodiscard]] const fs::path& Path() const noexcept { return m_path; }

  private:
    const fs::path m_path;
};

/// The script engine that a script or a batch file needs, or nothing for a program.
std::wstring EngineOf(const Test& test) {
    if (test.kind == "gtest") {
        return L"";
    }
    return test.command.extension() == L".js" ? L"JScript" : L"VBScript";
}

bool HasEngine(const std::wstring& engine) noexcept {
    CLSID clsid = {};
    return engine.empty() || SUCCEEDED(CLSIDFromProgID(engine.c_str(), &clsid));
}

/// The command line of a test. For a script the engine is named, because the extension may belong to another program;
/// Wine 8 has no such option.
std::wstring CommandLineOf(const Test& test) {
    const std::wstring engine = EngineOf(test);
    const std::wstring file = L"\"" + test.command.wstring() + L"\"";
    if (test.command.extension() == L".cmd") {
        return L"cmd.exe /d /s /c \"" + file + L"\"";
    }
    return engine.empty() ? file : L"cscript.exe //nologo " + (IsWine() ? L"" : L"//E:" + engine + L" ") + file;
}

/// Runs a test and returns its output in `output`.
Outcome RunTest(const Test& test, const fs::path& kit, std::string& output) {
    const WorkFolder work(kit);
    const fs::path folder = work.Path() / "work";
    fs::create_directory(folder);
    const Variables variables(test.variables);
    const auto exitCode = Run(CommandLineOf(test), folder, work.Path() / "output", test.seconds);
    output = Slurp(work.Path() / "output");
    Outcome outcome;
    if (!exitCode.has_value()) {
        outcome.reason = "ended after " + std::to_string(test.seconds) + " seconds";
        return outcome;
    }
    outcome.exitCode = *exitCode;
    if (test.kind == "gtest") {
        JudgeProgram(output, outcome);
    } else if (test.kind == "script") {
        JudgeScript(output, test.leastChecks, outcome);
    } else {
        JudgeExample(output, Slurp(fs::path(test.command) += ".expected"), outcome);
    }
    outcome.verdict = outcome.reason.empty() ? Verdict::Passed : Verdict::Failed;
    return outcome;
}

/// Registers the kit's DLL for the machine for its lifetime.
class Registration {
  public:
    explicit Registration(const fs::path& dll) : m_dll(LoadLibraryW(dll.c_str())) {
        if (m_dll == nullptr || FAILED(Call("DllRegisterServer"))) {
            throw std::runtime_error("cannot register the DLL");
        }
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration() {
        if (FAILED(Call("DllUnregisterServer"))) {
            std::puts("The DLL could not be unregistered: run regsvr32 /u bin\\nuvolex.dll");
        }
        FreeLibrary(m_dll);
    }

  private:
    HRESULT Call(const char* name) const {
        using Function = HRESULT STDAPICALLTYPE();
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(m_dll, name)))();
    }

    const HMODULE m_dll;
};

/// Prints to the console and to the log.
class Report {
  public:
    /// The log is in the kit's folder, with separate names for runs with and without administrator rights.
    explicit Report(const fs::path& kit)
        : m_redaction(kit),
          m_log(kit / (IsElevated() ? "nuvolex-tests.log" : "nuvolex-tests-user.log"), std::ios::binary) {
        if (!m_log) {
            throw std::runtime_error("cannot write the log to the kit's folder");
        }
    }

    void Say(const std::string& line) {
        std::printf("%s\n", line.c_str());
        std::fflush(stdout);
        m_log << line << '\n' << std::flush;
    }
    /// Writes a test's output to the log only.
    void Note(const std::string& output) { m_log << m_redaction.Apply(output) << '\n' << std::flush; }

    void Add(const Test& test, const Outcome& outcome) {
        static constexpr const char* words[] = {"passed", "FAILED", "skipped"};
        m_counts.at(static_cast<std::size_t>(outcome.verdict))++;
        m_cases.at(0) += outcome.passed;
        m_cases.at(1) += outcome.failed;
        m_cases.at(2) += outcome.skipped;
        char line[256];
        std::snprintf(line, sizeof(line), "%-40s %-8s exit code %lu: %d passed, %d failed, %d skipped",
                      test.name.c_str(), words[static_cast<std::size_t>(outcome.verdict)], outcome.exitCode,
                      outcome.passed, outcome.failed, outcome.skipped);
        Say(outcome.reason.empty() ? line : std::string(line) + " (" + m_redaction.Apply(outcome.reason) + ")");
    }

    /// Prints the summary and returns the program's exit code.
    int Finish() {
        Say("");
        Say("Cases and checks within them: " + Summary(m_cases));
        Say(Summary(m_counts));
        return m_counts.at(1) == 0 ? 0 : 1;
    }

  private:
    using Counts = std::array<int, 3>; // passed, failed, skipped

    static std::string Summary(const Counts& counts) {
        return std::to_string(counts[0]) + " passed, " + std::to_string(counts[1]) + " failed, " +
               std::to_string(counts[2]) + " skipped";
    }

    const Redaction m_redaction;
    std::ofstream m_log;
    Counts m_counts = {}; // test programs and scripts
    Counts m_cases = {};
};

/// Runs a test and reports it. Registers the DLL before the first test that needs it.
void RunAndReport(const Test& test, const fs::path& kit, std::unique_ptr<Registration>& registration, Report& report) {
    Outcome outcome;
    std::string output;
    if (test.place != "anywhere" && !IsElevated()) {
        outcome.verdict = Verdict::Skipped;
        outcome.reason = "NOT RUN: needs administrator rights";
    } else if (const std::wstring engine = EngineOf(test); !HasEngine(engine)) {
        outcome.verdict = Verdict::Skipped;
        outcome.reason = "NOT RUN: " + Narrow(engine, CP_UTF8) + " is not installed";
    } else {
        try {
            if (test.place == "registered" && registration == nullptr) {
                registration = std::make_unique<Registration>(kit / "bin" / "nuvolex.dll");
            }
            outcome = RunTest(test, kit, output);
        } catch (const std::exception& error) {
            outcome.reason = error.what();
        }
    }
    report.Add(test, outcome);
    report.Note(output);
}

int RunAll(const fs::path& kit, const std::set<std::string>& names) {
    const std::vector<Test> tests = ReadTests(kit, names);
    CLSID clsid = {};
    if (SUCCEEDED(CLSIDFromProgID(L"Nuvolex.NXString", &clsid))) {
        throw std::runtime_error("Nuvolex is installed or registered on this computer. Remove it first.");
    }
    Report report(kit);
    report.Say(TitleOf(kit));
    for (const std::string& line : DescribeMachine()) {
        report.Say(line);
    }
    report.Say("");
    std::unique_ptr<Registration> registration;
    for (const Test& test : tests) {
        if (interrupted != 0) {
            throw std::runtime_error("interrupted");
        }
        RunAndReport(test, kit, registration, report);
    }
    registration.reset();
    return report.Finish();
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    constexpr int cannotRun = 2;
    SetConsoleCtrlHandler(&OnControl, TRUE);
    try {
        if (count < 2) {
            throw std::runtime_error("the folder of the kit is missing");
        }
        if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
            throw std::runtime_error("COM is not available");
        }
        std::set<std::string> names;
        std::transform(arguments + 2, arguments + count, std::inserter(names, names.end()),
                       [](const wchar_t* name) { return Narrow(name, CP_UTF8); });
        return RunAll(fs::canonical(arguments[1]), names);
    } catch (const std::exception& error) {
        std::printf("run-tests: %s\n", error.what());
        return cannotRun;
    }
}
