// CNKFile: extended-length paths, and failures that files on a disk do not have. The form of long paths is tested, not
// opening them: Wine opens them without the prefix, too.

#include "core/nkfile.h"

#include "tests/core/textfiles.h"
#include "tests/support/imports.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// The end of a path, of `length` characters: folders with names of 50 characters, and a file.
std::wstring Tail(std::size_t length) {
    std::wstring tail;
    for (std::size_t i = 1; i <= length; ++i) {
        tail += i % 51 == 0 && i < length ? L'\\' : L'd';
    }
    return tail;
}

/// A path of `length` characters.
std::wstring PathOf(const std::wstring& beginning, std::size_t length) {
    return beginning + Tail(length - beginning.size());
}

void ExpectForm(const std::wstring& path, const std::wstring& form) {
    EXPECT_EQ(ToExtendedLengthPath(path.c_str()), form);
}

TEST(ToExtendedLengthPathTest, ShortPaths_StayUnchanged) {
    for (const std::wstring& path : {std::wstring(L"lines.txt"), std::wstring(L"c:/folder/./lines.txt"), std::wstring(),
                                     std::wstring(L"\\\\server\\share\\lines.txt"), PathOf(L"C:\\", MAX_PATH - 1)}) {
        ExpectForm(path, path);
    }
}

TEST(ToExtendedLengthPathTest, LongPaths_GetThePrefix) {
    const std::wstring path = PathOf(L"C:\\", MAX_PATH);
    ExpectForm(path, L"\\\\?\\" + path);
}

TEST(ToExtendedLengthPathTest, LongServerPaths_GetTheUncPrefix) {
    const std::wstring path = PathOf(L"\\\\server\\share\\", MAX_PATH);
    ExpectForm(path, L"\\\\?\\UNC" + path.substr(1));
}

TEST(ToExtendedLengthPathTest, LongPaths_AreResolvedBeforeThePrefix) {
    const std::wstring tail = Tail(300);
    ExpectForm(L"C:/folder/../other/./" + tail, L"\\\\?\\C:\\other\\" + tail);
    wchar_t current[MAX_PATH];
    ASSERT_NE(GetCurrentDirectoryW(MAX_PATH, current), 0u);
    ExpectForm(tail, L"\\\\?\\" + std::wstring(current) + L"\\" + tail);
}

TEST(ToExtendedLengthPathTest, LongFormsOfShortPaths_StayUnchanged) {
    std::wstring path = L"C:";
    for (int i = 0; i < 200; ++i) {
        path += L"\\.";
    }
    ExpectForm(path + L"\\lines.txt", path + L"\\lines.txt");
}

TEST(ToExtendedLengthPathTest, PathsWithAPrefix_StayUnchanged) {
    for (const std::wstring prefix : {L"\\\\?\\C:\\", L"\\\\.\\C:\\", L"\\\\?\\UNC\\server\\share\\"}) {
        const std::wstring path = PathOf(prefix, 400);
        ExpectForm(path, path);
    }
    const std::wstring tail = Tail(300);
    ExpectForm(L"//?/C:/" + tail, L"\\\\?\\C:\\" + tail);
}

// Failures of the system

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

TEST(CNKFileTest, CreateEmpty_OfAFileThatCannotBeClosed_Fails) {
    const support::TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";
    EXPECT_TRUE(CNKFile::CreateEmpty(path.c_str()));
    const support::RedirectedImport failing(GetModuleHandleW(nullptr), "CloseHandle", &CloseAndReportFailure);
    EXPECT_FALSE(CNKFile::CreateEmpty(path.c_str()));
}

/// Repeating the write would never end.
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
