#include "package/testkit/process.h"

#include <memory>
#include <stdexcept>
#include <utility>

namespace {

struct HandleCloser {
    void operator()(void* handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

[[noreturn]] void ThrowLastError(const std::string& what) {
    throw std::runtime_error(what + ": error " + std::to_string(GetLastError()));
}

/// A job whose processes end when it is closed.
Handle MakeJob() {
    Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (job == nullptr ||
        SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits)) == FALSE) {
        ThrowLastError("cannot create a job object");
    }
    return job;
}

/// Starts a process in the job with `file` as its output.
Handle Start(std::wstring command, const std::filesystem::path& folder, HANDLE file, HANDLE job) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = file;
    startup.hStdError = file;
    PROCESS_INFORMATION information = {};
    // Suspended until it is in the job, so that its children are in the job too.
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, folder.c_str(),
                       &startup, &information) == FALSE) {
        ThrowLastError("cannot be started");
    }
    Handle process(information.hProcess);
    const Handle thread(information.hThread);
    if (AssignProcessToJobObject(job, process.get()) == FALSE) {
        const DWORD error = GetLastError();
        TerminateProcess(process.get(), 1);
        SetLastError(error);
        ThrowLastError("cannot be put into a job");
    }
    ResumeThread(thread.get());
    return process;
}

} // namespace

std::optional<DWORD> Run(std::wstring command, const std::filesystem::path& folder, const std::filesystem::path& output,
                         DWORD seconds) {
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    HANDLE const opened =
        CreateFileW(output.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        ThrowLastError("cannot write its output");
    }
    const Handle file(opened);
    const Handle job = MakeJob();
    const Handle process = Start(std::move(command), folder, file.get(), job.get());
    if (WaitForSingleObject(process.get(), seconds * 1000) != WAIT_OBJECT_0) {
        TerminateJobObject(job.get(), 1);
        WaitForSingleObject(process.get(), INFINITE);
        return std::nullopt;
    }
    DWORD exitCode = 0;
    GetExitCodeProcess(process.get(), &exitCode);
    return exitCode;
}
