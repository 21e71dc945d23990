#include "tests/support/handles.h"

#include <chrono>
#include <cstdlib>
#include <string>

#include <windows.h>

#include <gtest/gtest.h>

#include "tests/core/textfiles.h"

namespace {

/// The exit code of the client below. Google Test has others, also if it finds no test.
constexpr int clientSucceeded = 42;

/// Not a test of its own: the process whose handles the test below counts.
TEST(OpenHandlesClient, DISABLED_OpensAFileExclusively) {
    {
        const support::TemporaryFolder folder;
        const std::wstring path = folder / L"file";
        support::WriteBytes(path, "a");
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
        while (std::chrono::steady_clock::now() < end) {
            ASSERT_TRUE(support::IsClosed(path));
        }
    }
    std::exit(clientSucceeded);
}

TEST(OpenHandles, OfAnotherProcess_DoNotKeepItsFilesOpen) {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring commandLine =
        L"\"" + std::wstring(program) + L"\" --gtest_also_run_disabled_tests --gtest_filter=OpenHandlesClient.*";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION client = {};
    ASSERT_TRUE(
        CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &client));
    while (WaitForSingleObject(client.hProcess, 2) == WAIT_TIMEOUT) {
        static_cast<void>(support::OpenHandles(client.hProcess));
    }
    DWORD exitCode = 0;
    GetExitCodeProcess(client.hProcess, &exitCode);
    EXPECT_EQ(exitCode, DWORD{clientSucceeded});
    CloseHandle(client.hThread);
    CloseHandle(client.hProcess);
}

} // namespace
