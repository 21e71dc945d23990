// CNKFileStream: the forms of paths, and the stored file name.

#include "core/nkfilestream.h"

#include "tests/core/nkfilestream_fixture.h"
#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

using namespace std::literals;
using support::Bstr;
using support::Exists;
using support::Extended;
using support::Make;
using support::NamesIn;
using support::ReadAll;
using support::ReadBytes;
using support::textMode;
using support::TextOf;
using support::WriteBytes;

namespace {

using NKFileStreamPath = support::NKFileStreamTest;
using NKFileStreamName = support::NKFileStreamTest;

// Paths

TEST_F(NKFileStreamPath, NonAsciiName_Works) {
    const std::wstring names[] = {L"\x00e4\x20ac.txt", L"\x3042\x0416.txt", L"\xd83d\xde00.txt"};
    for (const std::wstring& name : names) {
        CNKFileStream stream;
        EXPECT_TRUE(stream.Create(Make(folder / name), true));
        EXPECT_TRUE(stream.Reopen(textMode));
        EXPECT_TRUE(stream.WriteLine(L"a"));
        stream.Close();
        EXPECT_EQ(ReadBytes(folder / name), "a\r\n");
        EXPECT_BSTR(Bstr(stream.GetFileName()), folder / name);
    }
    EXPECT_EQ(NamesIn(folder.Path()).size(), 3u);
}

TEST_F(NKFileStreamPath, NameWithBlanksAndPunctuation_Works) {
    const std::wstring odd = folder / L" a, b; 'c' & %d% #e (f) {g} [h]!.txt";
    CNKFileStream stream;
    EXPECT_TRUE(stream.Create(Make(odd), true));
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_TRUE(Exists(odd));
}

TEST_F(NKFileStreamPath, LengthAroundMaxPath_Works) {
    std::wstring deep = folder.Path() + L'\\' + std::wstring(100, L'd');
    ASSERT_LT(deep.size(), 240u);
    ASSERT_TRUE(CreateDirectoryW(Extended(deep).c_str(), nullptr));
    deep += L'\\';
    for (std::size_t length = 255; length < 265; ++length) {
        const std::wstring file = deep + std::wstring(length - deep.size(), L'f');
        CNKFileStream stream;
        EXPECT_FALSE(stream.Open(Make(file), textMode)) << length;
        EXPECT_TRUE(stream.Create(Make(file), true));
        EXPECT_TRUE(stream.Reopen(textMode)) << length;
        EXPECT_TRUE(stream.WriteLine(L"a"));
        stream.Close();
        EXPECT_EQ(ReadBytes(Extended(file)), "a\r\n");
        EXPECT_BSTR(Bstr(stream.GetFileName()), file);
        stream.Clear();
        EXPECT_EQ(ReadBytes(Extended(file)), "");
    }
}

TEST_F(NKFileStreamPath, VeryLongPath_WorksInEachForm) {
    const std::wstring first = folder / std::wstring(200, L'd');
    const std::wstring second = first + L'\\' + std::wstring(200, L'e');
    ASSERT_TRUE(CreateDirectoryW(Extended(first).c_str(), nullptr));
    ASSERT_TRUE(CreateDirectoryW(Extended(second).c_str(), nullptr));
    WriteBytes(Extended(second + L"\\lines.txt"), "a");
    std::wstring slashes = second + L"/lines.txt";
    std::replace(slashes.begin(), slashes.end(), L'\\', L'/');
    for (const std::wstring& form :
         {second + L"\\lines.txt", Extended(second + L"\\lines.txt"),
          second + L"\\.\\..\\.\\" + std::wstring(200, L'e') + L"\\lines.txt", second + L"\\\\lines.txt", slashes}) {
        CNKFileStream stream;
        EXPECT_TRUE(stream.Open(Make(form), textMode)) << support::Printed(form);
        EXPECT_TEXTS(ReadAll(stream), L"a");
        EXPECT_BSTR(Bstr(stream.GetFileName()), form);
    }
}

TEST_F(NKFileStreamPath, LongFormOfAShortPath_Works) {
    WriteBytes(path, "a");
    std::wstring form = folder.Path();
    for (int count = 0; count < 200; ++count) {
        form += L"\\.";
    }
    CNKFileStream stream;
    EXPECT_TRUE(stream.Open(Make(form + L"\\lines.txt"), textMode));
    EXPECT_TEXTS(ReadAll(stream), L"a");
}

TEST_F(NKFileStreamPath, RelativePath_Works) {
    wchar_t before[MAX_PATH] = {};
    ASSERT_NE(GetCurrentDirectoryW(MAX_PATH, before), 0u);
    ASSERT_TRUE(SetCurrentDirectoryW(folder.Path().c_str()));
    const std::wstring first(150, L'd');
    const std::wstring second = first + L'\\' + std::wstring(150, L'e');
    EXPECT_TRUE(CreateDirectoryW(Extended(folder / first).c_str(), nullptr));
    EXPECT_TRUE(CreateDirectoryW(Extended(folder / second).c_str(), nullptr));
    for (const std::wstring& name : {L"lines.txt"s, L".\\lines.txt"s, second + L"\\lines.txt"}) {
        CNKFileStream stream;
        EXPECT_TRUE(stream.Create(Make(name), true));
        EXPECT_TRUE(stream.Reopen(textMode));
        EXPECT_TRUE(stream.WriteLine(L"a"));
        stream.Close();
        EXPECT_EQ(ReadBytes(Extended(folder / (name[0] == L'.' ? L"lines.txt" : name))), "a\r\n");
        EXPECT_BSTR(Bstr(stream.GetFileName()), name);
    }
    EXPECT_TRUE(SetCurrentDirectoryW(before));
}

TEST_F(NKFileStreamPath, InvalidName_FailsAndChangesNoFile) {
    WriteBytes(path, "a\r\n");
    WriteBytes(folder / L"line", "b\r\n");
    const std::vector<std::wstring> names = NamesIn(folder.Path());
    for (const wchar_t* const invalid :
         {L"*", L"*.txt", L"line?.txt", L"lines.tx?", L"lines.txt*", L"<", L"lines>txt", L"lines|txt", L"\"lines.txt\"",
          L"lines.txt\\x", L"none\\lines.txt", L"lines.txt\\..\\none\\x", L"\\\\?\\lines.txt", L"lines.txt\n"}) {
        CNKFileStream stream;
        const CNKString name = Make(folder / invalid);
        EXPECT_FALSE(stream.Open(name, textMode)) << support::Printed(invalid);
        EXPECT_FALSE(stream.IsOpen());
        stream.Clear();
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_TRUE(stream.Create(name, true));
        EXPECT_TRUE(stream.Create(name, false)) << support::Printed(invalid);
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_BSTR(Bstr(stream.GetFileName()), folder / invalid);
        EXPECT_EQ(NamesIn(folder.Path()), names) << support::Printed(invalid);
        EXPECT_EQ(ReadBytes(path), "a\r\n") << support::Printed(invalid);
        EXPECT_EQ(ReadBytes(folder / L"line"), "b\r\n") << support::Printed(invalid);
    }
}

// File name

TEST_F(NKFileStreamName, NeverStored_IsNull) {
    const CNKFileStream stream;
    EXPECT_NULL_BSTR(Bstr(stream.GetFileName()));
    EXPECT_NULL_BSTR(stream.FileName());
}

TEST_F(NKFileStreamName, SetFileName_StoresAnyText) {
    CNKFileStream stream;
    stream.SetFileName(L"x.txt");
    EXPECT_BSTR(Bstr(stream.GetFileName()), L"x.txt");
    EXPECT_BSTR(stream.FileName(), L"x.txt");
    stream.SetFileName(L"");
    EXPECT_BSTR(Bstr(stream.GetFileName()), L"");
    stream.SetFileName(Make(L"a\0b"sv));
    EXPECT_BSTR(Bstr(stream.GetFileName()), L"a\0b"sv);
    stream.SetFileName(CNKString());
    EXPECT_NULL_BSTR(Bstr(stream.GetFileName()));
    EXPECT_FALSE(stream.IsOpen());
}

TEST_F(NKFileStreamName, GetFileName_GivesANewCopyEachTime) {
    CNKFileStream stream;
    stream.SetFileName(L"x.txt");
    const Bstr first(stream.GetFileName());
    const Bstr second(stream.GetFileName());
    EXPECT_NE(static_cast<BSTR>(first), static_cast<BSTR>(second));
    EXPECT_NE(static_cast<BSTR>(first), TextOf(stream.FileName()));
    stream.SetFileName(CNKString());
    EXPECT_BSTR(first, L"x.txt");
}

TEST_F(NKFileStreamName, SetFileName_LeavesTheOpenFileUnchanged) {
    CNKFileStream stream;
    Open(stream, "a\r\nb\r\n");
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
    stream.SetFileName(Make(folder / L"other.txt"));
    EXPECT_TRUE(stream.IsOpen());
    EXPECT_EQ(stream.TellRead(), 3);
    EXPECT_BSTR(stream.ReadNextLine(), L"b");
    EXPECT_TRUE(stream.WriteLine(L"c"));
    EXPECT_EQ(ReadBytes(path), "a\r\nb\r\nc\r\n");
    EXPECT_FALSE(Exists(folder / L"other.txt"));
    stream.Clear();
    EXPECT_EQ(BytesAfterClose(), "a\r\nb\r\nc\r\n");
    EXPECT_EQ(ReadBytes(folder / L"other.txt"), "");
}

TEST_F(NKFileStreamName, CloseAndClear_KeepTheName) {
    CNKFileStream stream;
    Open(stream, "a");
    stream.Close();
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
    stream.Clear();
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
}

} // namespace
