// The forms of paths that go to the system (opening long ones proves nothing here: Wine takes them without the prefix),
// and what the system may answer that it never does for a file on a disk.

#include "core/nkfile.h"

#include "tests/core/textfiles.h"
#include "tests/support/imports.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// `length` characters that end a path: folders with names of 50, and a file.
std::wstring Tail(std::size_t length) {
    std::wstring tail;
    for (std::size_t i = 1; i <= length; ++i) {
        tail += i % 51 == 0 && i < length ? L'\\' : L'd';
    }
    return tail;
}

/// A path as long as that.
std::wstring PathOf(const std::wstring& beginning, std::size_t length) {
    return beginning + Tail(length - beginning.size());
}

void ExpectForm(const std::wstring& path, const std::wstring& form) {
    EXPECT_EQ(ToExtendedLengthPath(path.c_str()), form);
}

TEST(AnyLengthPathTest, ShortPaths_StayAsTheyAre) {
    for (const std::wstring& path : {std::wstring(L"lines.txt"), std::wstring(L"c:/folder/./lines.txt"), std::wstring(),
                                     std::wstring(L"\\\\server\\share\\lines.txt"), PathOf(L"C:\\", MAX_PATH - 1)}) {
        ExpectForm(path, path);
    }
}

TEST(AnyLengthPathTest, LongPaths_GetThePrefix) {
    const std::wstring path = PathOf(L"C:\\", MAX_PATH);
    ExpectForm(path, L"\\\\?\\" + path);
}

TEST(AnyLengthPathTest, LongPathsOfAServer_GetItsPrefix) {
    const std::wstring path = PathOf(L"\\\\server\\share\\", MAX_PATH);
    ExpectForm(path, L"\\\\?\\UNC" + path.substr(1));
}

TEST(AnyLengthPathTest, LongPaths_AreResolvedFirst) {
    const std::wstring tail = Tail(300);
    ExpectForm(L"C:/folder/../other/./" + tail, L"\\\\?\\C:\\other\\" + tail);
    wchar_t current[MAX_PATH];
    ASSERT_NE(GetCurrentDirectoryW(MAX_PATH, current), 0u);
    ExpectForm(tail, L"\\\\?\\" + std::wstring(current) + L"\\" + tail);
}

TEST(AnyLengthPathTest, LongFormsOfShortPaths_StayAsTheyAre) {
    std::wstring path = L"C:";
    for (int i = 0; i < 200; ++i) {
        path += L"\\.";
    }
    ExpectForm(path + L"\\lines.txt", path + L"\\lines.txt");
}

TEST(AnyLengthPathTest, PathsWithThePrefix_StayAsTheyAre) {
    for (const std::wstring prefix : {L"\\\\?\\C:\\", L"\\\\.\\C:\\", L"\\\\?\\UNC\\server\\share\\"}) {
        const std::wstring path = PathOf(prefix, 400);
        ExpectForm(path, path);
    }
    const std::wstring tail = Tail(300);
    ExpectForm(L"//?/C:/" + tail, L"\\\\?\\C:\\" + tail);
}

// What the system may answer

BOOL WINAPI CloseAndReportFailure(HANDLE handle) {
    static const auto close = reinterpret_cast<BOOL(WINAPI*)(HANDLE)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CloseHandle")));
    close(handle);
    return FALSE;
}

BOOL WINAPI WriteNothing(HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED) {
    *written = 0;
    return TRUE;
}

TEST(CNKFileTest, MakeEmpty_OfAFileThatCannotBeClosed_Fails) {
    const support::TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";
    EXPECT_TRUE(CNKFile::CreateEmpty(path.c_str()));
    const support::RedirectedImport failing(GetModuleHandleW(nullptr), "CloseHandle", &CloseAndReportFailure);
    EXPECT_FALSE(CNKFile::CreateEmpty(path.c_str()));
}

/// Trying again would go on for ever.
TEST(CNKFileTest, Write_ThatMakesNoProgress_Fails) {
    const support::TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";
    support::WriteBytes(path, "ab");
    CNKFile file;
    ASSERT_TRUE(file.Open(path.c_str()));
    {
        const support::RedirectedImport full(GetModuleHandleW(nullptr), "WriteFile", &WriteNothing);
        EXPECT_FALSE(file.Write("x"));
    }
    EXPECT_EQ(file.GetPosition(), 0);
    EXPECT_TRUE(file.Write("x"));
    EXPECT_EQ(support::ReadBytes(path), "xb");
}

} // namespace
