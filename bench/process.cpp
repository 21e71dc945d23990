#include "bench/process.h"

#include <memory>
#include <stdexcept>

#include <windows.h>

#include <psapi.h>

namespace bench {

namespace {

struct Closer {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, Closer>;

} // namespace

Ended Run(std::wstring commandLine) {
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    Check(CreatePipe(&read, &write, &inherited, 0) != FALSE);
    const Handle output(read);
    Handle input(write);

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = write;
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started = {};
    Ended ended;
    DWORD exitCode = 0;
    ended.time = Time(wallClock, [&] {
        Check(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                             &started) != FALSE);
        const Handle process(started.hProcess);
        const Handle thread(started.hThread);
        input.reset(); // the process has its own; the pipe ends with it
        char bytes[4096];
        for (DWORD count = 0; ReadFile(read, bytes, sizeof(bytes), &count, nullptr) != FALSE && count != 0;) {
            ended.output.append(bytes, count);
        }
        WaitForSingleObject(started.hProcess, INFINITE);
        GetExitCodeProcess(started.hProcess, &exitCode);
    });
    if (exitCode != 0) {
        throw std::runtime_error("a child process ended with exit code " + std::to_string(exitCode));
    }
    return ended;
}

double AskChild(const std::wstring& arguments) {
    wchar_t program[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, program, MAX_PATH);
    Check(length != 0 && length < MAX_PATH);
    return std::stod(Run(L'"' + std::wstring(program, length) + L"\" " + arguments).output);
}

Memory MemoryOfThisProcess() {
    PROCESS_MEMORY_COUNTERS counters = {};
    Check(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) != FALSE);
    return {counters.PeakWorkingSetSize, counters.WorkingSetSize};
}

} // namespace bench
