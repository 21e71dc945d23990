#include "core/nkfilestream.h"

#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/handles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <winioctl.h>

using namespace std::literals;
using support::Bstr;
using support::CountRequests;
using support::Exists;
using support::ExpectNoLeaks;
using support::Extended;
using support::FileHandle;
using support::Held;
using support::IsClosed;
using support::Make;
using support::MakeList;
using support::NamesIn;
using support::OpenFile;
using support::ReadBytes;
using support::TemporaryFolder;
using support::TextOf;
using support::WriteBytes;

namespace {

constexpr std::nullopt_t null = std::nullopt;

// The two modes.
constexpr bool textMode = false;
constexpr bool binaryMode = true;
constexpr bool bothModes[] = {textMode, binaryMode};

constexpr CNKFileStream::Origin fromBeginning = CNKFileStream::FromBeginning;
constexpr CNKFileStream::Origin fromCurrent = CNKFileStream::FromCurrent;
constexpr CNKFileStream::Origin fromEnd = CNKFileStream::FromEnd;

/// The text of ASCII bytes.
std::wstring Wide(std::string_view bytes) {
    return {bytes.begin(), bytes.end()};
}

/// The lines up to the end of the file, but at most `most`.
CNKStringList ReadAll(CNKFileStream& stream, std::size_t most = 100) {
    CNKStringList lines;
    while (!stream.IsEOF() && lines.size() < most) {
        lines.push_back(stream.ReadNextLine());
    }
    return lines;
}

/// Whether the stream has failed, as a seek to where it is tells. Resets the flags.
bool TakeFailure(CNKFileStream& stream) {
    return !stream.SeekRead(0, fromCurrent);
}

// Every test leaves as much allocated as it found, and no file open.
class NKFileStreamTest : public ::testing::Test {
    const ExpectNoLeaks m_noLeaks;

  protected:
    const TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";

    /// Makes the file at `path` of these bytes, and opens it.
    void Open(CNKFileStream& stream, std::string_view bytes, bool mode = textMode) const {
        WriteBytes(path, bytes);
        ASSERT_TRUE(stream.Open(Make(path), mode));
    }

    /// The lines of a file of these bytes.
    CNKStringList LinesOf(std::string_view bytes, bool mode = textMode) const {
        CNKFileStream stream;
        Open(stream, bytes, mode);
        return ReadAll(stream);
    }

    /// What is in the file at `path`, once it is known that nobody has it open.
    std::string BytesAfterClose() const {
        EXPECT_TRUE(IsClosed(path));
        return ReadBytes(path);
    }
};

using NKFileStreamConstruction = NKFileStreamTest;
using NKFileStreamClosed = NKFileStreamTest;
using NKFileStreamOpen = NKFileStreamTest;
using NKFileStreamPath = NKFileStreamTest;
using NKFileStreamName = NKFileStreamTest;
using NKFileStreamClear = NKFileStreamTest;
using NKFileStreamCreate = NKFileStreamTest;
using NKFileStreamRead = NKFileStreamTest;
using NKFileStreamPiece = NKFileStreamTest;
using NKFileStreamLastLine = NKFileStreamTest;
using NKFileStreamUnget = NKFileStreamTest;
using NKFileStreamWrite = NKFileStreamTest;
using NKFileStreamTokens = NKFileStreamTest;
using NKFileStreamMixed = NKFileStreamTest;
using NKFileStreamSeek = NKFileStreamTest;
using NKFileStreamAlias = NKFileStreamTest;
using NKFileStreamLarge = NKFileStreamTest;
using NKFileStreamShared = NKFileStreamTest;

// The class

static_assert(std::has_virtual_destructor_v<CNKFileStream>);
static_assert(std::is_nothrow_default_constructible_v<CNKFileStream>);
static_assert(!std::is_copy_constructible_v<CNKFileStream> && !std::is_copy_assignable_v<CNKFileStream>);
static_assert(std::is_same_v<decltype(std::declval<CNKFileStream&>().ReadNextLine()), const CNKString&>);
static_assert(std::is_same_v<decltype(std::declval<CNKFileStream&>().TellRead()), std::int64_t>);

// Construction and destruction

TEST_F(NKFileStreamConstruction, Default_IsClosedWithoutNameAndLine) {
    CNKFileStream stream;
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_NULL_BSTR(stream.ReadNextLine());
    EXPECT_NULL_BSTR(stream.FileName());
    EXPECT_NULL_BSTR(Bstr(stream.GetFileName()));
}

TEST_F(NKFileStreamConstruction, Default_AllocatesNothing) {
    EXPECT_EQ(CountRequests([] { static_cast<void>(CNKFileStream()); }), 0u);
}

TEST_F(NKFileStreamConstruction, FromName_StoresItAndOpensNothing) {
    for (const bool flag : {false, true}) {
        WriteBytes(path, "a");
        CNKFileStream stream(Make(path), flag);
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_TRUE(IsClosed(path));
        EXPECT_BSTR(Bstr(stream.GetFileName()), path);
        EXPECT_NULL_BSTR(stream.ReadNextLine());
        EXPECT_TRUE(stream.Reopen(textMode));
        EXPECT_TEXTS(ReadAll(stream), L"a");
    }
}

TEST_F(NKFileStreamConstruction, FromName_CreatesNothing) {
    for (const bool flag : {false, true}) {
        const CNKFileStream stream(Make(path), flag);
        EXPECT_FALSE(Exists(path));
    }
}

TEST_F(NKFileStreamConstruction, FromName_FlagDoesNotChooseTheMode) {
    for (const bool flag : {false, true}) {
        WriteBytes(path, "a\r\n");
        CNKFileStream stream(Make(path), flag);
        ASSERT_TRUE(stream.Reopen(textMode));
        EXPECT_BSTR(stream.ReadNextLine(), L"a");
        ASSERT_TRUE(stream.Reopen(binaryMode));
        EXPECT_BSTR(stream.ReadNextLine(), L"a\r");
    }
}

TEST_F(NKFileStreamConstruction, Destructor_ClosesTheFile) {
    {
        CNKFileStream stream;
        Open(stream, "a\r\n");
        EXPECT_BSTR(stream.ReadNextLine(), L"a");
        EXPECT_FALSE(IsClosed(path));
    }
    EXPECT_TRUE(IsClosed(path));
}

TEST_F(NKFileStreamConstruction, DestructorOfABasePointer_DestroysTheWholeObject) {
    struct Derived : CNKFileStream {
        explicit Derived(bool& destroyed) : m_destroyed(destroyed) {}
        ~Derived() override { m_destroyed = true; }
        bool& m_destroyed;
    };
    bool destroyed = false;
    std::unique_ptr<CNKFileStream> stream = std::make_unique<Derived>(destroyed);
    Open(*stream, "a");
    stream.reset();
    EXPECT_TRUE(destroyed);
    EXPECT_TRUE(IsClosed(path));
}

// Closed

/// What every closed stream answers, whose file, if it has one, is not touched.
void ExpectClosed(CNKFileStream& stream, support::Text lastLine) {
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_TRUE(stream.IsEOF());
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(Held(stream.ReadNextLine()), lastLine);
    }
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_FALSE(stream.WriteLine(L"x"));
    EXPECT_FALSE(stream.WriteLine(CNKTokenString(L"x;y", L";", false)));
    EXPECT_FALSE(stream.Flush());
    EXPECT_FALSE(stream.SeekRead(0, fromBeginning));
    EXPECT_FALSE(stream.SeekWrite(0, fromBeginning));
    EXPECT_FALSE(stream.SeekRead(0, fromEnd));
    EXPECT_FALSE(stream.SeekWrite(0, fromCurrent));
    EXPECT_FALSE(stream.SeekReadEnd());
    EXPECT_FALSE(stream.SeekWriteEnd());
    EXPECT_FALSE(stream.RewindRead());
    EXPECT_FALSE(stream.RewindWrite());
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_EQ(Held(stream.ReadNextLine()), lastLine);
    EXPECT_TRUE(stream.IsEOF());
    stream.Close();
    EXPECT_FALSE(stream.IsOpen());
}

TEST_F(NKFileStreamClosed, NeverOpened) {
    CNKFileStream stream;
    ExpectClosed(stream, null);
    stream.SetFileName(Make(path));
    ExpectClosed(stream, null);
    EXPECT_FALSE(Exists(path));
}

TEST_F(NKFileStreamClosed, AfterClose_KeepsTheLastLine) {
    CNKFileStream stream;
    Open(stream, "abc\r\nd\r\n");
    EXPECT_BSTR(stream.ReadNextLine(), L"abc");
    stream.Close();
    ExpectClosed(stream, L"abc");
    EXPECT_EQ(BytesAfterClose(), "abc\r\nd\r\n");
}

TEST_F(NKFileStreamClosed, AfterCloseBeforeAnyLine_LastLineIsNull) {
    CNKFileStream stream;
    Open(stream, "abc\r\n");
    stream.Close();
    ExpectClosed(stream, null);
    EXPECT_EQ(BytesAfterClose(), "abc\r\n");
}

TEST_F(NKFileStreamClosed, AfterFailedOpen) {
    CNKFileStream stream;
    Open(stream, "abc\r\n");
    stream.ReadNextLine();
    EXPECT_FALSE(stream.Open(Make(folder / L"missing.txt"), textMode));
    ExpectClosed(stream, null);
    EXPECT_EQ(BytesAfterClose(), "abc\r\n");
}

TEST_F(NKFileStreamClosed, AfterClear) {
    CNKFileStream stream;
    Open(stream, "abc\r\n");
    stream.ReadNextLine();
    stream.Clear();
    ExpectClosed(stream, null);
    EXPECT_EQ(BytesAfterClose(), "");
}

TEST_F(NKFileStreamClosed, AfterCreate) {
    CNKFileStream stream;
    EXPECT_TRUE(stream.Create(Make(path), true));
    ExpectClosed(stream, null);
    EXPECT_EQ(BytesAfterClose(), "");
}

// Open

TEST_F(NKFileStreamOpen, ExistingFile_IsOpenAtItsBeginning) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "a\r\nb", mode);
        EXPECT_TRUE(stream.IsOpen());
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_EQ(stream.TellRead(), 0);
        EXPECT_EQ(ReadBytes(path), "a\r\nb");
    }
}

TEST_F(NKFileStreamOpen, MissingFile_FailsAndIsNotCreatedButNamed) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        EXPECT_FALSE(stream.Open(Make(path), mode));
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_FALSE(Exists(path));
        EXPECT_BSTR(Bstr(stream.GetFileName()), path);
    }
}

TEST_F(NKFileStreamOpen, WhileOpen_ClosesTheOtherFile) {
    const std::wstring other = folder / L"other.txt";
    WriteBytes(other, "x\r\ny");
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    stream.ReadNextLine();
    EXPECT_TRUE(stream.Open(Make(other), textMode));
    EXPECT_TRUE(IsClosed(path));
    EXPECT_FALSE(IsClosed(other));
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_TEXTS(ReadAll(stream), L"x", L"y");
}

TEST_F(NKFileStreamOpen, WhileOpen_FailureClosesTheOtherFileToo) {
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    EXPECT_FALSE(stream.Open(Make(folder / L"missing.txt"), textMode));
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_TRUE(IsClosed(path));
}

TEST_F(NKFileStreamOpen, SameFileAgain_StartsAnew) {
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    ReadAll(stream);
    EXPECT_TRUE(stream.Open(Make(path), textMode));
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_TEXTS(ReadAll(stream), L"a", L"b");
}

TEST_F(NKFileStreamOpen, Reopen_TakesTheStoredNameAndTheGivenMode) {
    CNKFileStream stream;
    Open(stream, "a\r\n");
    EXPECT_TEXTS(ReadAll(stream), L"a", L"");
    EXPECT_TRUE(stream.Reopen(binaryMode));
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
    EXPECT_TEXTS(ReadAll(stream), L"a\r", L"");
    stream.Close();
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_TEXTS(ReadAll(stream), L"a", L"");
}

TEST_F(NKFileStreamOpen, ReopenWithoutName_Fails) {
    CNKFileStream stream;
    EXPECT_FALSE(stream.Reopen(textMode));
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_NULL_BSTR(Bstr(stream.GetFileName()));
}

TEST_F(NKFileStreamOpen, NewFile_TakesClearAndReopen) {
    CNKFileStream stream;
    EXPECT_FALSE(stream.Open(Make(path), textMode));
    stream.Clear();
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_TRUE(stream.WriteLine(L"a"));
    stream.Close();
    EXPECT_EQ(BytesAfterClose(), "a\r\n");
}

TEST_F(NKFileStreamOpen, NullAndEmptyNames_Fail) {
    for (const support::Text name : {support::Text(), support::Text(L"")}) {
        CNKFileStream stream;
        Open(stream, "a");
        EXPECT_FALSE(stream.Open(Make(name), textMode));
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_EQ(Held(CNKString(Bstr(stream.GetFileName()), true)), name);
        EXPECT_TRUE(IsClosed(path));
    }
}

TEST_F(NKFileStreamOpen, Folder_Fails) {
    CNKFileStream stream;
    EXPECT_FALSE(stream.Open(Make(folder.Path()), textMode));
    EXPECT_FALSE(stream.IsOpen());
}

TEST_F(NKFileStreamOpen, MissingFolder_FailsAndIsNotCreated) {
    CNKFileStream stream;
    EXPECT_FALSE(stream.Open(Make(folder / L"none\\lines.txt"), textMode));
    EXPECT_TRUE(NamesIn(folder.Path()).empty());
}

TEST_F(NKFileStreamOpen, FileThatSomebodyHoldsExclusively_Fails) {
    WriteBytes(path, "a\r\n");
    CNKFileStream stream;
    {
        const FileHandle holder = OpenFile(path, GENERIC_READ, 0);
        EXPECT_FALSE(stream.Open(Make(path), textMode));
        EXPECT_FALSE(stream.IsOpen());
    }
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
}

TEST_F(NKFileStreamOpen, FileThatMayNotBeWritten_Fails) {
    WriteBytes(path, "a\r\n");
    ASSERT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
    const bool writable = OpenFile(path, GENERIC_WRITE, FILE_SHARE_READ) != nullptr;
    CNKFileStream stream;
    const bool opened = stream.Open(Make(path), textMode);
    stream.Close();
    EXPECT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL));
    if (writable) {
        GTEST_SKIP() << "this user may write files that are read-only";
    }
    EXPECT_FALSE(opened);
}

TEST_F(NKFileStreamOpen, ManyTimes_LeavesNoHandleBehind) {
    CNKFileStream stream;
    Open(stream, "a\r\n");
    const std::size_t before = support::OpenHandles();
    for (int time = 0; time < 100; ++time) {
        stream.Open(Make(folder.Path()), textMode);
        stream.Create(Make(folder.Path()), true);
        stream.Create(Make(path), time % 2 == 0);
        stream.Clear();
        stream.Reopen(textMode);
    }
    EXPECT_EQ(support::OpenHandles(), before);
}

// Paths

TEST_F(NKFileStreamPath, NotAscii) {
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

TEST_F(NKFileStreamPath, BlanksAndPunctuation) {
    const std::wstring odd = folder / L" a, b; 'c' & %d% #e (f) {g} [h]!.txt";
    CNKFileStream stream;
    EXPECT_TRUE(stream.Create(Make(odd), true));
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_TRUE(Exists(odd));
}

TEST_F(NKFileStreamPath, LengthsAroundTheSystemsLimit) {
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

TEST_F(NKFileStreamPath, VeryLong_InEveryForm) {
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

TEST_F(NKFileStreamPath, LongFormThatResolvesToAShortPath) {
    WriteBytes(path, "a");
    std::wstring form = folder.Path();
    for (int count = 0; count < 200; ++count) {
        form += L"\\.";
    }
    CNKFileStream stream;
    EXPECT_TRUE(stream.Open(Make(form + L"\\lines.txt"), textMode));
    EXPECT_TEXTS(ReadAll(stream), L"a");
}

TEST_F(NKFileStreamPath, Relative) {
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

TEST_F(NKFileStreamPath, NamesThatNoFileCanHave_TouchNoFile) {
    WriteBytes(path, "a\r\n");
    WriteBytes(folder / L"line", "b\r\n");
    const std::vector<std::wstring> names = NamesIn(folder.Path());
    for (const wchar_t* const bad :
         {L"*", L"*.txt", L"line?.txt", L"lines.tx?", L"lines.txt*", L"<", L"lines>txt", L"lines|txt", L"\"lines.txt\"",
          L"lines.txt\\x", L"none\\lines.txt", L"lines.txt\\..\\none\\x", L"\\\\?\\lines.txt", L"lines.txt\n"}) {
        CNKFileStream stream;
        const CNKString name = Make(folder / bad);
        EXPECT_FALSE(stream.Open(name, textMode)) << support::Printed(bad);
        EXPECT_FALSE(stream.IsOpen());
        stream.Clear();
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_TRUE(stream.Create(name, true));
        EXPECT_TRUE(stream.Create(name, false)) << support::Printed(bad);
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_BSTR(Bstr(stream.GetFileName()), folder / bad);
        EXPECT_EQ(NamesIn(folder.Path()), names) << support::Printed(bad);
        EXPECT_EQ(ReadBytes(path), "a\r\n") << support::Printed(bad);
        EXPECT_EQ(ReadBytes(folder / L"line"), "b\r\n") << support::Printed(bad);
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

TEST_F(NKFileStreamName, GetFileName_IsACopyOfItsOwn) {
    CNKFileStream stream;
    stream.SetFileName(L"x.txt");
    const Bstr first(stream.GetFileName());
    const Bstr second(stream.GetFileName());
    EXPECT_NE(static_cast<BSTR>(first), static_cast<BSTR>(second));
    EXPECT_NE(static_cast<BSTR>(first), TextOf(stream.FileName()));
    stream.SetFileName(CNKString());
    EXPECT_BSTR(first, L"x.txt");
}

TEST_F(NKFileStreamName, SetFileName_LeavesTheOpenFileAlone) {
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

TEST_F(NKFileStreamName, StaysThroughCloseAndClear) {
    CNKFileStream stream;
    Open(stream, "a");
    stream.Close();
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
    stream.Clear();
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
}

// Clear

TEST_F(NKFileStreamClear, OpenFile_IsEmptiedAndClosed) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "a\r\nb\r\n", mode);
        stream.ReadNextLine();
        stream.Clear();
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_NULL_BSTR(stream.ReadNextLine());
        EXPECT_EQ(BytesAfterClose(), "");
        EXPECT_TRUE(stream.Reopen(mode));
        EXPECT_TEXTS(ReadAll(stream), L"");
    }
}

TEST_F(NKFileStreamClear, ClosedStream_EmptiesTheNamedFile) {
    WriteBytes(path, "a\r\n");
    CNKFileStream stream(Make(path), false);
    stream.Clear();
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(BytesAfterClose(), "");
}

TEST_F(NKFileStreamClear, MissingFile_IsCreated) {
    CNKFileStream stream(Make(path), false);
    stream.Clear();
    EXPECT_EQ(BytesAfterClose(), "");
    EXPECT_FALSE(stream.IsOpen());
}

TEST_F(NKFileStreamClear, WithoutName_DoesNothing) {
    for (const support::Text name : {support::Text(), support::Text(L"")}) {
        CNKFileStream stream(Make(name), false);
        stream.Clear();
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_TRUE(NamesIn(folder.Path()).empty());
    }
}

TEST_F(NKFileStreamClear, FileThatSomebodyHolds_StaysAsItIs) {
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
    stream.Close();
    {
        const FileHandle holder = OpenFile(path, GENERIC_READ, FILE_SHARE_READ);
        stream.Clear();
    }
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_NULL_BSTR(stream.ReadNextLine());
    EXPECT_EQ(BytesAfterClose(), "a\r\nb");
}

// Create

TEST_F(NKFileStreamCreate, NewFile_IsEmptyAndTheResultIsTheFlag) {
    for (const bool overwrite : {false, true}) {
        const TemporaryFolder own;
        CNKFileStream stream;
        EXPECT_EQ(stream.Create(Make(own / L"new.txt"), overwrite), overwrite);
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_TRUE(IsClosed(own / L"new.txt"));
        EXPECT_EQ(ReadBytes(own / L"new.txt"), "");
        EXPECT_BSTR(Bstr(stream.GetFileName()), own / L"new.txt");
    }
}

TEST_F(NKFileStreamCreate, ExistingFile_IsEmptiedEitherWay) {
    for (const bool overwrite : {false, true}) {
        WriteBytes(path, "a\r\nb\r\n");
        CNKFileStream stream;
        EXPECT_EQ(stream.Create(Make(path), overwrite), overwrite);
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_EQ(BytesAfterClose(), "");
    }
}

TEST_F(NKFileStreamCreate, WhileOpen_ClosesThatFileAndLeavesItAlone) {
    for (const bool overwrite : {false, true}) {
        CNKFileStream stream;
        Open(stream, "a\r\nb");
        EXPECT_EQ(stream.Create(Make(folder / L"new.txt"), overwrite), overwrite);
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_EQ(BytesAfterClose(), "a\r\nb");
        EXPECT_EQ(ReadBytes(folder / L"new.txt"), "");
    }
}

TEST_F(NKFileStreamCreate, TheOpenFileItself_IsEmptied) {
    for (const bool overwrite : {false, true}) {
        CNKFileStream stream;
        Open(stream, "a\r\nb");
        EXPECT_EQ(stream.Create(Make(path), overwrite), overwrite);
        EXPECT_EQ(BytesAfterClose(), "");
    }
}

TEST_F(NKFileStreamCreate, NameThatCannotBeOpened_IsStoredAndGivesTrue) {
    for (const bool overwrite : {false, true}) {
        for (const std::wstring& name : {folder.Path(), folder / L"none\\lines.txt", folder / L"a*", L""s}) {
            CNKFileStream stream;
            Open(stream, "a\r\nb");
            EXPECT_TRUE(stream.Create(Make(name), overwrite));
            EXPECT_FALSE(stream.IsOpen());
            EXPECT_BSTR(Bstr(stream.GetFileName()), name);
            EXPECT_EQ(BytesAfterClose(), "a\r\nb");
            EXPECT_EQ(NamesIn(folder.Path()).size(), 1u);
        }
    }
}

TEST_F(NKFileStreamCreate, NullName_GivesTrue) {
    for (const bool overwrite : {false, true}) {
        CNKFileStream stream(Make(path), false);
        EXPECT_TRUE(stream.Create(CNKString(), overwrite));
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_NULL_BSTR(Bstr(stream.GetFileName()));
        EXPECT_FALSE(Exists(path));
    }
}

TEST_F(NKFileStreamCreate, FileThatSomebodyHolds_StaysAsItIsAndGivesTrue) {
    for (const bool overwrite : {false, true}) {
        WriteBytes(path, "a\r\n");
        CNKFileStream stream;
        {
            const FileHandle holder = OpenFile(path, GENERIC_READ, 0);
            EXPECT_TRUE(stream.Create(Make(path), overwrite));
        }
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_EQ(BytesAfterClose(), "a\r\n");
    }
}

TEST_F(NKFileStreamCreate, LastLine_GoesOnlyWithTheFlagAndSuccess) {
    const auto lastLineAfter = [this](const std::wstring& name, bool overwrite) {
        CNKFileStream stream;
        Open(stream, "abc\r\nb");
        stream.ReadNextLine();
        stream.Create(Make(name), overwrite);
        return stream.ReadNextLine();
    };
    EXPECT_NULL_BSTR(lastLineAfter(folder / L"new.txt", true));
    EXPECT_BSTR(lastLineAfter(folder / L"new.txt", false), L"abc");
    EXPECT_BSTR(lastLineAfter(folder / L"none\\new.txt", true), L"abc");
    EXPECT_BSTR(lastLineAfter(folder / L"none\\new.txt", false), L"abc");
}

// ReadNextLine: line ends

TEST_F(NKFileStreamRead, CrLf) {
    EXPECT_TEXTS(LinesOf("a\r\nb\r\n"), L"a", L"b", L"");
    EXPECT_TEXTS(LinesOf("a\r\nb\r\n", binaryMode), L"a\r", L"b\r", L"");
}

TEST_F(NKFileStreamRead, Lf) {
    EXPECT_TEXTS(LinesOf("a\nb\n"), L"a", L"b", L"");
    EXPECT_TEXTS(LinesOf("a\nb\n", binaryMode), L"a", L"b", L"");
}

TEST_F(NKFileStreamRead, LoneCr_IsACharacter) {
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(LinesOf("a\rb\r", mode), L"a\rb\r");
        EXPECT_TEXTS(LinesOf("\r", mode), L"\r");
    }
}

TEST_F(NKFileStreamRead, CrsBeforeCrLf_AreCharacters) {
    EXPECT_TEXTS(LinesOf("a\r\r\nb\r\r\r\nc"), L"a\r", L"b\r\r", L"c");
    EXPECT_TEXTS(LinesOf("a\r\r\nb\r\r\r\nc", binaryMode), L"a\r\r", L"b\r\r\r", L"c");
}

TEST_F(NKFileStreamRead, LfBeforeCr) {
    EXPECT_TEXTS(LinesOf("a\n\rb\n\r"), L"a", L"\rb", L"\r");
    EXPECT_TEXTS(LinesOf("a\n\r\nb", binaryMode), L"a", L"\r", L"b");
}

TEST_F(NKFileStreamRead, MixedEnds) {
    EXPECT_TEXTS(LinesOf("a\r\nb\nc\rd\r\n\ne"), L"a", L"b", L"c\rd", L"", L"e");
    EXPECT_TEXTS(LinesOf("a\r\nb\nc\rd\r\n\ne", binaryMode), L"a\r", L"b", L"c\rd\r", L"", L"e");
}

TEST_F(NKFileStreamRead, LastLineWithoutEnd_ComesWholeAndSetsEndOfFileAtOnce) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "a\nbc", mode);
        EXPECT_BSTR(stream.ReadNextLine(), L"a");
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_BSTR(stream.ReadNextLine(), L"bc");
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_EQ(stream.TellRead(), 4);
        EXPECT_FALSE(TakeFailure(stream));
    }
}

TEST_F(NKFileStreamRead, LastLineWithEnd_IsFollowedByAnEmptyOne) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "a\n", mode);
        EXPECT_BSTR(stream.ReadNextLine(), L"a");
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_BSTR(stream.ReadNextLine(), L"");
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_EQ(stream.TellRead(), 2);
        EXPECT_TRUE(TakeFailure(stream));
    }
}

TEST_F(NKFileStreamRead, EmptyFile_HasOneEmptyLine) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "", mode);
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_BSTR(stream.ReadNextLine(), L"");
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_EQ(stream.TellRead(), 0);
    }
}

TEST_F(NKFileStreamRead, OnlyLineEnds) {
    EXPECT_TEXTS(LinesOf("\r\n"), L"", L"");
    EXPECT_TEXTS(LinesOf("\n\r\n\n"), L"", L"", L"", L"");
    EXPECT_TEXTS(LinesOf("\n\r\n\n", binaryMode), L"", L"\r", L"", L"");
}

TEST_F(NKFileStreamRead, AtTheEnd_GivesTheLastLineAgain) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "a\nbc", mode);
        stream.ReadNextLine();
        const CNKString& last = stream.ReadNextLine();
        const wchar_t* const place = TextOf(last);
        for (int time = 0; time < 3; ++time) {
            EXPECT_EQ(&stream.ReadNextLine(), &last);
            EXPECT_EQ(TextOf(last), place);
            EXPECT_BSTR(last, L"bc");
        }
        EXPECT_EQ(stream.TellRead(), 4);
    }
}

TEST_F(NKFileStreamRead, Position_IsThatOfTheNextByteInTheFile) {
    CNKFileStream stream;
    Open(stream, "a\r\nbc\nd\re\r\n\r\nf");
    for (const std::int64_t position : {3, 6, 11, 13, 14}) {
        stream.ReadNextLine();
        EXPECT_EQ(stream.TellRead(), position);
    }
    EXPECT_TRUE(stream.IsEOF());
}

TEST_F(NKFileStreamRead, CtrlZ_IsACharacter) {
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(LinesOf("a\x1a"
                             "b\n\x1a\nc\x1a",
                             mode),
                     L"a\x1a"
                     L"b",
                     L"\x1a", L"c\x1a");
    }
}

TEST_F(NKFileStreamRead, Nul_EndsTheTextButNotTheLine) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "ab\0cd\n\0\nef\0"sv, mode);
        EXPECT_BSTR(stream.ReadNextLine(), L"ab");
        EXPECT_EQ(stream.TellRead(), 6);
        EXPECT_BSTR(stream.ReadNextLine(), L"");
        EXPECT_EQ(stream.TellRead(), 8);
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_BSTR(stream.ReadNextLine(), L"ef");
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_FALSE(TakeFailure(stream));
    }
}

TEST_F(NKFileStreamRead, ByteOrderMark_IsText) {
    CNKFileStream stream;
    Open(stream, "\xef\xbb\xbf"
                 "a\r\n");
    EXPECT_EQ(stream.ReadNextLine().GetLength(), 4u);
}

/// The lines of a file that takes several reads of the disk, from every place of a line on: so every place of a line
/// comes to lie at the end of a read.
TEST_F(NKFileStreamRead, LinesAcrossTheBlocksOfTheFile) {
    std::string bytes;
    for (int number = 1000; bytes.size() < 70'000; ++number) {
        bytes += std::to_string(number) + std::string(96, 'x') + "\r\n";
    }
    CNKFileStream stream;
    Open(stream, bytes);
    for (int start = 0; start < 102; ++start) {
        ASSERT_TRUE(stream.Reopen(textMode));
        ASSERT_TRUE(stream.SeekRead(start, fromBeginning));
        std::size_t place = static_cast<std::size_t>(start);
        while (place < bytes.size()) {
            const std::size_t end = bytes.find('\r', place);
            const std::wstring wanted = Wide(std::string_view(bytes).substr(place, end - place));
            // In the middle of a line end there is an empty line.
            const bool inLineEnd = bytes[place] == '\n';
            ASSERT_EQ(Held(stream.ReadNextLine()), inLineEnd ? L"" : wanted) << start << ", " << place;
            place = inLineEnd ? place + 1 : end + 2;
            ASSERT_EQ(stream.TellRead(), static_cast<std::int64_t>(place));
        }
    }
}

// ReadNextLine: pieces of 127 characters

/// The first `length` characters of a line in which every one differs from its neighbours.
std::string Line(std::size_t length) {
    std::string line;
    for (std::size_t i = 0; i < length; ++i) {
        line += static_cast<char>('a' + i % 26);
    }
    return line;
}

TEST_F(NKFileStreamPiece, Of126_IsALineOfItsOwn) {
    EXPECT_TEXTS(LinesOf(Line(126) + "\r\nb\r\n"), Wide(Line(126)), L"b", L"");
    EXPECT_TEXTS(LinesOf(Line(126) + "\nb\n", binaryMode), Wide(Line(126)), L"b", L"");
}

TEST_F(NKFileStreamPiece, Of127_IsJoinedWithTheNextLine) {
    EXPECT_TEXTS(LinesOf(Line(127) + "\r\nb\r\nc"), Wide(Line(127) + "b"), L"c");
    EXPECT_TEXTS(LinesOf(Line(127) + "\nb\nc"), Wide(Line(127) + "b"), L"c");
    EXPECT_TEXTS(LinesOf(Line(127) + "\nb\nc", binaryMode), Wide(Line(127) + "b"), L"c");
    EXPECT_TEXTS(LinesOf(Line(127) + "\r\n\r\nc"), Wide(Line(127)), L"c");
}

TEST_F(NKFileStreamPiece, SeveralOf127_AreAllJoined) {
    const std::string piece = Line(127);
    EXPECT_TEXTS(LinesOf(piece + "\r\n" + piece + "\n" + piece + "\r\nb\r\nc"), Wide(piece + piece + piece + "b"),
                 L"c");
}

/// Joining would not end within the test's time limit if each piece copied what there is already.
TEST_F(NKFileStreamPiece, ManyOf127_AreJoinedInLinearTime) {
    constexpr std::size_t count = 60'000;
    const std::string piece = Line(127);
    std::string bytes;
    std::string joined;
    for (std::size_t i = 0; i < count; ++i) {
        bytes += piece + "\r\n";
        joined += piece;
    }
    EXPECT_TEXTS(LinesOf(bytes + "\r\nb"), Wide(joined), L"b");
}

TEST_F(NKFileStreamPiece, Of127InBinaryMode_CountsTheCr) {
    EXPECT_TEXTS(LinesOf(Line(126) + "\r\nb\r\nc", binaryMode), Wide(Line(126) + "\rb\r"), L"c");
}

TEST_F(NKFileStreamPiece, Of127AtTheEndWithoutLineEnd_SetsEndOfFileAndFails) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, Line(127), mode);
        EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_EQ(stream.TellRead(), 127);
        EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
        EXPECT_TRUE(TakeFailure(stream));
        EXPECT_FALSE(stream.IsEOF());
    }
}

TEST_F(NKFileStreamPiece, Of127AtTheEndWithLineEnd_IsJoinedWithTheEmptyLine) {
    for (const char* const lineEnd : {"\r\n", "\n"}) {
        CNKFileStream stream;
        Open(stream, Line(127) + lineEnd);
        EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_EQ(stream.TellRead(), static_cast<std::int64_t>(127 + std::strlen(lineEnd)));
        EXPECT_TRUE(TakeFailure(stream));
    }
}

TEST_F(NKFileStreamPiece, MoreThan127_IsCutAndTheRestIsNotRead) {
    for (const bool mode : bothModes) {
        for (const std::size_t length : {128u, 129u, 130u, 200u, 254u, 255u, 1000u}) {
            CNKFileStream stream;
            Open(stream, Line(length) + "\r\nb\r\n", mode);
            EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
            EXPECT_FALSE(stream.IsEOF());
            for (int time = 0; time < 3; ++time) {
                EXPECT_BSTR(stream.ReadNextLine(), L"");
                EXPECT_FALSE(stream.IsEOF());
                EXPECT_EQ(stream.TellRead(), 127);
            }
        }
    }
}

TEST_F(NKFileStreamPiece, MoreThan127AtTheEndWithoutLineEnd_IsCut) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, Line(128), mode);
        EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_TRUE(TakeFailure(stream));
        EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(128).substr(127)));
        EXPECT_TRUE(stream.IsEOF());
    }
}

TEST_F(NKFileStreamPiece, CutAfterAJoin) {
    CNKFileStream stream;
    Open(stream, Line(127) + "\r\n" + Line(200) + "\r\nb");
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127) + Line(127)));
    EXPECT_EQ(stream.TellRead(), 127 + 2 + 127);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_TRUE(TakeFailure(stream));
}

TEST_F(NKFileStreamPiece, AfterRewind_ReadingResumesBehindTheCut) {
    for (const auto rewind : {&CNKFileStream::RewindRead, &CNKFileStream::RewindWrite}) {
        CNKFileStream stream;
        Open(stream, Line(200) + "\r\nb");
        stream.ReadNextLine();
        EXPECT_TRUE((stream.*rewind)());
        EXPECT_EQ(stream.TellRead(), 127);
        EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(200).substr(127)));
        EXPECT_BSTR(stream.ReadNextLine(), L"b");
        EXPECT_TRUE((stream.*rewind)());
        EXPECT_EQ(stream.TellRead(), 0);
        EXPECT_FALSE(stream.IsEOF());
    }
}

TEST_F(NKFileStreamPiece, AfterClose_ReadingStartsAnew) {
    CNKFileStream stream;
    Open(stream, Line(200) + "\r\nb");
    stream.ReadNextLine();
    stream.Close();
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
}

TEST_F(NKFileStreamPiece, LongLine_ComesPieceByPieceWhenTheFlagsAreReset) {
    CNKFileStream stream;
    Open(stream, Line(1000) + "\r\nb");
    std::wstring whole;
    for (int piece = 0; piece < 7; ++piece) {
        whole += stream.ReadNextLine();
        EXPECT_TRUE(stream.RewindRead());
    }
    whole += stream.ReadNextLine();
    EXPECT_EQ(whole, Wide(Line(1000)));
    EXPECT_BSTR(stream.ReadNextLine(), L"b");
    EXPECT_TRUE(stream.IsEOF());
}

TEST_F(NKFileStreamPiece, CrBehind127Characters) {
    // At a line end it belongs to that in text mode, and is one character too many in binary mode.
    EXPECT_TEXTS(LinesOf(Line(127) + "\r\nb"), Wide(Line(127) + "b"));
    CNKFileStream stream;
    Open(stream, Line(127) + "\r\nb", binaryMode);
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
    EXPECT_EQ(stream.TellRead(), 127);
    EXPECT_TRUE(TakeFailure(stream));
    EXPECT_BSTR(stream.ReadNextLine(), L"\r");
    EXPECT_BSTR(stream.ReadNextLine(), L"b");

    // Elsewhere it is one character too many.
    for (const bool mode : bothModes) {
        for (const std::string& behind : {"\r"s, "\rb\r\n"s, "\r\r\n"s}) {
            Open(stream, Line(127) + behind, mode);
            EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
            EXPECT_FALSE(stream.IsEOF());
            EXPECT_EQ(stream.TellRead(), 127);
            EXPECT_TRUE(TakeFailure(stream));
            EXPECT_EQ(stream.ReadNextLine().First(), L'\r');
        }
    }
}

TEST_F(NKFileStreamPiece, CrAsThe127thCharacter) {
    EXPECT_TEXTS(LinesOf(Line(126) + "\r\r\nb"), Wide(Line(126) + "\rb"));
    EXPECT_TEXTS(LinesOf(Line(126) + "\r"), Wide(Line(126) + "\r"));
    EXPECT_TEXTS(LinesOf(Line(125) + "\r\r\nb"), Wide(Line(125) + "\r"), L"b");
}

TEST_F(NKFileStreamPiece, Nul_MakesAPieceShort) {
    // Not joined, though it has 127 characters.
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(LinesOf("ab\0"s + Line(124) + "\nc", mode), L"ab", L"c");
    }
    // Cut, though the text is short.
    CNKFileStream stream;
    Open(stream, "ab\0"s + Line(125) + "\r\nc");
    EXPECT_BSTR(stream.ReadNextLine(), L"ab");
    EXPECT_EQ(stream.TellRead(), 127);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_TRUE(TakeFailure(stream));
    // In a second piece, the text of the first one stays.
    EXPECT_TEXTS(LinesOf(Line(127) + "\nab\0cd\ne"s), Wide(Line(127) + "ab"), L"e");
}

// The last line

TEST_F(NKFileStreamLastLine, IsNullAfterOpenUntilALineIsRead) {
    // Only a closed stream, or one at its end, shows the last line without reading another.
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    stream.ReadNextLine();
    EXPECT_TRUE(stream.Reopen(textMode));
    stream.Close();
    EXPECT_NULL_BSTR(stream.ReadNextLine());
}

TEST_F(NKFileStreamLastLine, EmptyLine_IsOfLengthZero) {
    CNKFileStream stream;
    Open(stream, "\r\na");
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    stream.Close();
    EXPECT_BSTR(stream.ReadNextLine(), L"");
}

TEST_F(NKFileStreamLastLine, LineThatComesEmptyAfterACut_IsOfLengthZero) {
    CNKFileStream stream;
    Open(stream, Line(200));
    stream.ReadNextLine();
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    stream.Close();
    EXPECT_BSTR(stream.ReadNextLine(), L"");
}

TEST_F(NKFileStreamLastLine, IsKeptByAllButReadingOpeningAndClearing) {
    CNKFileStream stream;
    Open(stream, "abc\r\nd\r\n");
    const CNKString& last = stream.ReadNextLine();
    const wchar_t* const place = TextOf(last);
    stream.UngetLine();
    stream.WriteLine(L"xyz");
    EXPECT_TRUE(stream.Flush());
    stream.SeekRead(1, fromBeginning);
    stream.SeekReadEnd();
    stream.RewindRead();
    stream.SetFileName(L"x");
    stream.Close();
    EXPECT_EQ(TextOf(last), place);
    EXPECT_BSTR(last, L"abc");
    EXPECT_EQ(&stream.ReadNextLine(), &last);
}

// UngetLine

TEST_F(NKFileStreamUnget, ReadsTheLineAgain) {
    CNKFileStream stream;
    Open(stream, "a\r\nbcd\r\ne\r\n");
    stream.ReadNextLine();
    for (int time = 0; time < 3; ++time) {
        EXPECT_BSTR(stream.ReadNextLine(), L"bcd");
        EXPECT_EQ(stream.TellRead(), 8);
        EXPECT_TRUE(stream.UngetLine());
        EXPECT_EQ(stream.TellRead(), 3);
        EXPECT_FALSE(stream.IsEOF());
    }
    EXPECT_TEXTS(ReadAll(stream), L"bcd", L"e", L"");
}

TEST_F(NKFileStreamUnget, FirstLine) {
    CNKFileStream stream;
    Open(stream, "abc\r\nd");
    stream.ReadNextLine();
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_BSTR(stream.ReadNextLine(), L"abc");
}

TEST_F(NKFileStreamUnget, Twice_GoesBackTheSameWayAgain) {
    CNKFileStream stream;
    Open(stream, "abcdefgh\r\nij\r\nkl");
    stream.ReadNextLine();
    stream.ReadNextLine();
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 10);
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 6);
    EXPECT_BSTR(stream.ReadNextLine(), L"gh");
}

TEST_F(NKFileStreamUnget, BeforeTheBeginning_IsRefusedAndMovesNothing) {
    CNKFileStream stream;
    Open(stream, "abc\r\nd");
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_BSTR(stream.ReadNextLine(), L"abc");
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_BSTR(stream.ReadNextLine(), L"abc");
}

TEST_F(NKFileStreamUnget, WithoutALineRead_GoesBackTwoBytes) {
    CNKFileStream stream;
    Open(stream, "abc\r\nd");
    EXPECT_TRUE(stream.SeekRead(4, fromBeginning));
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 2);
}

TEST_F(NKFileStreamUnget, EmptyLine_GoesBackTwoBytes) {
    CNKFileStream stream;
    Open(stream, "a\r\n\r\nb");
    stream.ReadNextLine();
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 3);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_BSTR(stream.ReadNextLine(), L"b");
}

TEST_F(NKFileStreamUnget, LineEndOfOneByte_CountsAsTwo) {
    CNKFileStream stream;
    Open(stream, "abc\ndef\nghi");
    EXPECT_BSTR(stream.ReadNextLine(), L"abc");
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 4);
    EXPECT_BSTR(stream.ReadNextLine(), L"def");
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 3);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_BSTR(stream.ReadNextLine(), L"def");
}

TEST_F(NKFileStreamUnget, BinaryMode_CountsTheCrInTheLine) {
    CNKFileStream stream;
    Open(stream, "a\r\nbcd\r\ne", binaryMode);
    stream.ReadNextLine();
    EXPECT_BSTR(stream.ReadNextLine(), L"bcd\r");
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 2);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
}

TEST_F(NKFileStreamUnget, JoinedLine_CountsOneLineEnd) {
    CNKFileStream stream;
    Open(stream, "x\r\n" + Line(127) + "\r\nb\r\n");
    stream.ReadNextLine();
    stream.ReadNextLine();
    EXPECT_EQ(stream.TellRead(), 3 + 127 + 2 + 3);
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 3 + 2);
}

TEST_F(NKFileStreamUnget, LineWithNul_CountsItsTextOnly) {
    CNKFileStream stream;
    Open(stream, "ab\0cd\r\ne"sv);
    stream.ReadNextLine();
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 3);
    EXPECT_BSTR(stream.ReadNextLine(), L"cd");
}

TEST_F(NKFileStreamUnget, AtTheEndWithoutLineEnd_GoesBackTwoBytesAndResetsEndOfFile) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "a\nbcd", mode);
        EXPECT_TEXTS(ReadAll(stream), L"a", L"bcd");
        EXPECT_TRUE(stream.UngetLine());
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_EQ(stream.TellRead(), 3);
        EXPECT_BSTR(stream.ReadNextLine(), L"cd");
        EXPECT_TRUE(stream.IsEOF());
    }
}

TEST_F(NKFileStreamUnget, AtTheEndTwice_GoesBackTwoBytesAndThenTheWholeLine) {
    CNKFileStream stream;
    Open(stream, "a\r\nbcd");
    ReadAll(stream);
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 4);
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 4);
}

TEST_F(NKFileStreamUnget, AtTheEndOfAFileTooShort_IsRefused) {
    CNKFileStream stream;
    Open(stream, "a");
    stream.ReadNextLine();
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 1);
}

TEST_F(NKFileStreamUnget, AfterTheExtraEmptyLine_IsRefusedAndResetsTheFlags) {
    CNKFileStream stream;
    Open(stream, "a\r\nbcd\r\n");
    ReadAll(stream);
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 8);
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 6);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_TRUE(stream.IsEOF());
}

TEST_F(NKFileStreamUnget, AfterACutLine_IsRefusedAndResetsTheFlags) {
    CNKFileStream stream;
    Open(stream, Line(200) + "\r\nb");
    stream.ReadNextLine();
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 127);
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(200).substr(127)));
}

TEST_F(NKFileStreamUnget, AfterAWrite_CountsTheLineReadLast) {
    CNKFileStream stream;
    Open(stream, "abc\r\nd\r\ne\r\n");
    stream.ReadNextLine();
    EXPECT_TRUE(stream.WriteLine(L"x"));
    EXPECT_EQ(stream.TellRead(), 8);
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 3);
}

TEST_F(NKFileStreamUnget, DeepInAFileOfSeveralMegabytes) {
    constexpr int lineLength = 8;
    constexpr int lineCount = 500'000;
    std::string bytes;
    for (int number = 0; number < lineCount; ++number) {
        bytes += std::to_string(100'000 + number) + "\r\n";
    }
    ASSERT_EQ(bytes.size(), std::size_t{lineLength} * lineCount);
    CNKFileStream stream;
    Open(stream, bytes);
    int line = 0;
    const auto expectLine = [&] {
        ASSERT_EQ(Held(stream.ReadNextLine()), std::to_wstring(100'000 + line));
        ++line;
        ASSERT_EQ(stream.TellRead(), std::int64_t{line} * lineLength);
    };
    // To and fro, also over several blocks of what is read at once.
    for (line = 0; line < lineCount; line += 20'011) {
        ASSERT_TRUE(stream.SeekRead(line * lineLength, fromBeginning));
        for (int time = 0; time < 50; ++time) {
            expectLine();
            expectLine();
            ASSERT_TRUE(stream.UngetLine());
            --line;
            ASSERT_EQ(stream.TellRead(), std::int64_t{line} * lineLength);
        }
    }
    line = 400'000;
    ASSERT_TRUE(stream.SeekRead(line * lineLength, fromBeginning));
    expectLine();
    for (; line > 300'000; --line) {
        ASSERT_TRUE(stream.UngetLine());
    }
    expectLine();
}

// WriteLine

TEST_F(NKFileStreamWrite, Text_EndsLinesWithCrLf) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(L"abc"));
    EXPECT_EQ(stream.TellRead(), 5);
    EXPECT_TRUE(stream.WriteLine(L"d"));
    EXPECT_EQ(stream.TellRead(), 8);
    stream.Close();
    EXPECT_EQ(BytesAfterClose(), "abc\r\nd\r\n");
}

TEST_F(NKFileStreamWrite, Binary_EndsLinesWithLf) {
    CNKFileStream stream;
    Open(stream, "", binaryMode);
    EXPECT_TRUE(stream.WriteLine(L"abc"));
    EXPECT_TRUE(stream.WriteLine(L"d\r"));
    EXPECT_EQ(stream.TellRead(), 7);
    stream.Close();
    EXPECT_EQ(BytesAfterClose(), "abc\nd\r\n");
}

TEST_F(NKFileStreamWrite, IsInTheFileAtOnce) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(L"abc"));
    EXPECT_EQ(ReadBytes(path), "abc\r\n");
    EXPECT_TRUE(stream.Flush());
    EXPECT_EQ(ReadBytes(path), "abc\r\n");
}

TEST_F(NKFileStreamWrite, NullAndEmpty_AreLoneLineEnds) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(CNKString()));
    EXPECT_TRUE(stream.WriteLine(L""));
    EXPECT_EQ(ReadBytes(path), "\r\n\r\n");
    Open(stream, "", binaryMode);
    EXPECT_TRUE(stream.WriteLine(CNKString()));
    EXPECT_TRUE(stream.WriteLine(L""));
    EXPECT_EQ(ReadBytes(path), "\n\n");
}

TEST_F(NKFileStreamWrite, EndsAtTheFirstNul) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(Make(L"ab\0cd"sv)));
    EXPECT_TRUE(stream.WriteLine(Make(L"\0"sv)));
    EXPECT_EQ(ReadBytes(path), "ab\r\n\r\n");
}

TEST_F(NKFileStreamWrite, LfInTheLine_IsALineEndInTextMode) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(L"a\nb\n"));
    EXPECT_TRUE(stream.WriteLine(L"c\r\nd\re"));
    EXPECT_EQ(ReadBytes(path), "a\r\nb\r\n\r\nc\r\r\nd\re\r\n");
    EXPECT_EQ(stream.TellRead(), 17);
    Open(stream, "", binaryMode);
    EXPECT_TRUE(stream.WriteLine(L"a\nb\n"));
    EXPECT_TRUE(stream.WriteLine(L"c\r\nd\re"));
    EXPECT_EQ(ReadBytes(path), "a\nb\n\nc\r\nd\re\n");
}

TEST_F(NKFileStreamWrite, CtrlZ_IsACharacter) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(L"a\x1a"));
    EXPECT_TRUE(stream.WriteLine(L"b"));
    EXPECT_EQ(ReadBytes(path), "a\x1a\r\nb\r\n");
}

TEST_F(NKFileStreamWrite, LineOfAnyLength_IsWrittenWhole) {
    for (const bool mode : bothModes) {
        for (const std::size_t length : {126u, 127u, 128u, 1000u, 65'535u, 65'536u, 1'000'000u}) {
            CNKFileStream stream;
            Open(stream, "", mode);
            EXPECT_TRUE(stream.WriteLine(Make(Wide(Line(length)))));
            EXPECT_TRUE(ReadBytes(path) == Line(length) + (mode == textMode ? "\r\n" : "\n")) << length;
        }
    }
}

TEST_F(NKFileStreamWrite, AtTheBeginning_OverwritesAndLeavesTheRest) {
    CNKFileStream stream;
    Open(stream, "abcdefgh\r\nij\r\n");
    EXPECT_TRUE(stream.WriteLine(L"xy"));
    EXPECT_EQ(ReadBytes(path), "xy\r\nefgh\r\nij\r\n");
    EXPECT_BSTR(stream.ReadNextLine(), L"efgh");
}

TEST_F(NKFileStreamWrite, AcrossTheEnd_MakesTheFileLonger) {
    CNKFileStream stream;
    Open(stream, "ab\r\nc");
    stream.ReadNextLine();
    EXPECT_TRUE(stream.WriteLine(L"defg"));
    EXPECT_EQ(ReadBytes(path), "ab\r\ndefg\r\n");
}

TEST_F(NKFileStreamWrite, AtTheEndOfFileWithoutLineEnd_Appends) {
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    ReadAll(stream);
    EXPECT_TRUE(stream.WriteLine(L"c"));
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_BSTR(stream.ReadNextLine(), L"b");
    EXPECT_TRUE(stream.WriteLine(L"d"));
    EXPECT_EQ(ReadBytes(path), "a\r\nbc\r\nd\r\n");
    EXPECT_EQ(stream.TellRead(), 10);
    EXPECT_FALSE(TakeFailure(stream));
}

TEST_F(NKFileStreamWrite, AfterTheExtraEmptyLine_Appends) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "a\nb\n", mode);
        ReadAll(stream);
        EXPECT_TRUE(stream.WriteLine(L"c"));
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_BSTR(stream.ReadNextLine(), L"");
        EXPECT_TRUE(stream.WriteLine(L"d"));
        EXPECT_EQ(ReadBytes(path), mode == textMode ? "a\nb\nc\r\nd\r\n" : "a\nb\nc\nd\n");
        EXPECT_TRUE(TakeFailure(stream));
        EXPECT_FALSE(stream.IsEOF());
    }
}

TEST_F(NKFileStreamWrite, AfterALineOf127AtTheEnd_Appends) {
    CNKFileStream stream;
    Open(stream, Line(127));
    stream.ReadNextLine();
    EXPECT_TRUE(stream.WriteLine(L"b"));
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_EQ(ReadBytes(path), Line(127) + "b\r\n");
}

TEST_F(NKFileStreamWrite, AfterACutLine_WritesNothingUntilTheFlagsAreReset) {
    const std::string bytes = Line(200) + "\r\nb\r\n";
    CNKFileStream stream;
    Open(stream, bytes);
    stream.ReadNextLine();
    EXPECT_TRUE(stream.WriteLine(L"x"));
    EXPECT_TRUE(stream.WriteLine(CNKTokenString(L"x;y", L";", false)));
    EXPECT_TRUE(stream.Flush());
    EXPECT_EQ(stream.TellRead(), 127);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_EQ(ReadBytes(path), bytes);
    EXPECT_TRUE(stream.RewindWrite());
    EXPECT_TRUE(stream.WriteLine(L"x"));
    EXPECT_EQ(ReadBytes(path), Line(127) + "x\r\n" + bytes.substr(130));
}

TEST_F(NKFileStreamWrite, BehindTheEnd_LeavesZerosInBetween) {
    CNKFileStream stream;
    Open(stream, "a");
    EXPECT_TRUE(stream.SeekWrite(4, fromBeginning));
    EXPECT_TRUE(stream.WriteLine(L"b"));
    EXPECT_EQ(ReadBytes(path), "a\0\0\0b\r\n"sv);
}

TEST_F(NKFileStreamWrite, SeveralStreamsOfOneFile) {
    CNKFileStream first;
    CNKFileStream second;
    Open(first, "");
    EXPECT_TRUE(second.Open(Make(path), textMode));
    EXPECT_TRUE(first.WriteLine(L"a"));
    EXPECT_TRUE(second.SeekWriteEnd());
    EXPECT_TRUE(second.WriteLine(L"b"));
    EXPECT_TRUE(first.SeekWriteEnd());
    EXPECT_TRUE(first.WriteLine(L"c"));
    first.Close();
    second.Close();
    EXPECT_EQ(BytesAfterClose(), "a\r\nb\r\nc\r\n");
}

// WriteLine of tokens

TEST_F(NKFileStreamTokens, AreJoinedWithSemicolons) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(CNKTokenString(L"a,b,,c,", L",", false)));
    EXPECT_TRUE(stream.WriteLine(CNKTokenString(L"a", L",", false)));
    EXPECT_EQ(ReadBytes(path), "a;b;;c;\r\na\r\n");
    EXPECT_EQ(stream.TellRead(), 12);
}

TEST_F(NKFileStreamTokens, WithoutTokens_ALoneLineEnd) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(CNKTokenString()));
    EXPECT_TRUE(stream.WriteLine(CNKTokenString(L"", L";", false)));
    EXPECT_EQ(ReadBytes(path), "\r\n\r\n");
}

TEST_F(NKFileStreamTokens, AreTakenAsTheyAre) {
    CNKTokenString tokens;
    tokens = MakeList({null, L"", L"a;b", L"c\0d"sv, L"\ne", null});
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(tokens));
    EXPECT_EQ(ReadBytes(path), ";;a;b;c;\r\ne;\r\n");
    Open(stream, "", binaryMode);
    EXPECT_TRUE(stream.WriteLine(tokens));
    EXPECT_EQ(ReadBytes(path), ";;a;b;c;\ne;\n");
    EXPECT_EQ(tokens.GetCount(), 6u);
}

TEST_F(NKFileStreamTokens, Many) {
    CNKTokenString tokens;
    std::string line;
    for (int number = 0; number < 10'000; ++number) {
        tokens.Add(Make(std::to_wstring(number)));
        line += (number == 0 ? "" : ";") + std::to_string(number);
    }
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(tokens));
    EXPECT_TRUE(ReadBytes(path) == line + "\r\n");
}

// Reading and writing in turn

TEST_F(NKFileStreamMixed, WriteAfterRead_LandsOnTheFirstByteNotRead) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "a\nbcdef\ng\n", mode);
        EXPECT_BSTR(stream.ReadNextLine(), L"a");
        EXPECT_TRUE(stream.WriteLine(L"x"));
        EXPECT_EQ(ReadBytes(path), mode == textMode ? "a\nx\r\nef\ng\n" : "a\nx\ndef\ng\n");
        EXPECT_BSTR(stream.ReadNextLine(), mode == textMode ? L"ef" : L"def");
        EXPECT_BSTR(stream.ReadNextLine(), L"g");
    }
}

TEST_F(NKFileStreamMixed, ReadAfterWrite_GoesOnBehindIt) {
    CNKFileStream stream;
    Open(stream, "a\r\nb\r\nc\r\nd\r\n");
    EXPECT_TRUE(stream.WriteLine(L"1"));
    EXPECT_BSTR(stream.ReadNextLine(), L"b");
    EXPECT_TRUE(stream.WriteLine(L"3"));
    EXPECT_BSTR(stream.ReadNextLine(), L"d");
    EXPECT_EQ(ReadBytes(path), "1\r\nb\r\n3\r\nd\r\n");
    EXPECT_TRUE(stream.RewindRead());
    EXPECT_TEXTS(ReadAll(stream), L"1", L"b", L"3", L"d", L"");
}

TEST_F(NKFileStreamMixed, LineJustWritten_CanBeReadAndUngot) {
    CNKFileStream stream;
    Open(stream, "a\r\nb\r\nc\r\n");
    stream.ReadNextLine();
    EXPECT_TRUE(stream.WriteLine(L"x"));
    EXPECT_TRUE(stream.SeekRead(-3, fromCurrent));
    EXPECT_BSTR(stream.ReadNextLine(), L"x");
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_TRUE(stream.WriteLine(L"y"));
    EXPECT_TRUE(stream.RewindRead());
    EXPECT_TEXTS(ReadAll(stream), L"a", L"y", L"c", L"");
}

TEST_F(NKFileStreamMixed, EveryOtherLine_DeepInTheFile) {
    std::string bytes;
    std::string wanted;
    for (int number = 1000; number < 5000; ++number) {
        bytes += std::to_string(number) + "-some-more-text\r\n";
        wanted += (number % 2 == 0 ? std::to_string(number) : "xxxx"s) + "-some-more-text\r\n";
    }
    CNKFileStream stream;
    Open(stream, bytes);
    for (int number = 1000; number < 5000; number += 2) {
        ASSERT_EQ(Held(stream.ReadNextLine()), std::to_wstring(number) + L"-some-more-text");
        ASSERT_TRUE(stream.WriteLine(L"xxxx-some-more-text"));
    }
    stream.Close();
    EXPECT_TRUE(BytesAfterClose() == wanted);
}

TEST_F(NKFileStreamMixed, SeekToRead_IsTheSeekToWrite) {
    CNKFileStream stream;
    Open(stream, "abcdef\r\n");
    EXPECT_TRUE(stream.SeekWrite(2, fromBeginning));
    EXPECT_EQ(stream.TellRead(), 2);
    EXPECT_BSTR(stream.ReadNextLine(), L"cdef");
    EXPECT_TRUE(stream.SeekRead(1, fromBeginning));
    EXPECT_TRUE(stream.WriteLine(L"x"));
    EXPECT_EQ(ReadBytes(path), "ax\r\nef\r\n");
}

// Seeks

struct SeekCase {
    int offset;
    unsigned int origin;
    std::optional<std::int64_t> wanted; ///< nothing: refused
};

// In a file of 10 bytes, from position 4.
constexpr SeekCase seekCases[] = {
    {0, fromBeginning, 0},
    {3, fromBeginning, 3},
    {10, fromBeginning, 10},
    {11, fromBeginning, 11},
    {2'147'483'647, fromBeginning, 2'147'483'647},
    {-1, fromBeginning, null},
    {-2'147'483'647 - 1, fromBeginning, null},
    {0, fromCurrent, 4},
    {3, fromCurrent, 7},
    {-4, fromCurrent, 0},
    {100, fromCurrent, 104},
    {2'147'483'647, fromCurrent, 2'147'483'651},
    {-5, fromCurrent, null},
    {-2'147'483'647 - 1, fromCurrent, null},
    {0, fromEnd, 10},
    {-10, fromEnd, 0},
    {-1, fromEnd, 9},
    {5, fromEnd, 15},
    {2'147'483'647, fromEnd, 2'147'483'657},
    {-11, fromEnd, null},
    {0, 3, null},
    {1, 0xFFFFFFFF, null},
};

TEST_F(NKFileStreamSeek, OffsetsAndOrigins) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "ab\ncd\nef\ng", mode);
        for (const auto seek : {&CNKFileStream::SeekRead, &CNKFileStream::SeekWrite}) {
            for (const SeekCase& example : seekCases) {
                ASSERT_TRUE(stream.SeekRead(4, fromBeginning));
                EXPECT_EQ((stream.*seek)(example.offset, example.origin), example.wanted.has_value())
                    << example.offset << ", " << example.origin;
                EXPECT_EQ(stream.TellRead(), example.wanted.value_or(4)) << example.offset << ", " << example.origin;
                EXPECT_FALSE(TakeFailure(stream));
            }
        }
        EXPECT_EQ(ReadBytes(path).size(), 10u);
    }
}

TEST_F(NKFileStreamSeek, ToAPlace_ReadsFromThere) {
    CNKFileStream stream;
    Open(stream, "ab\r\ncd\r\nef");
    EXPECT_TRUE(stream.SeekRead(5, fromBeginning));
    EXPECT_BSTR(stream.ReadNextLine(), L"d");
    EXPECT_TRUE(stream.SeekRead(-2, fromEnd));
    EXPECT_BSTR(stream.ReadNextLine(), L"ef");
    EXPECT_TRUE(stream.SeekRead(3, fromBeginning)); // at the LF of a line end
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_BSTR(stream.ReadNextLine(), L"cd");
}

TEST_F(NKFileStreamSeek, BehindTheEnd_ReadsAnEmptyLine) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "ab", mode);
        EXPECT_TRUE(stream.SeekRead(100, fromBeginning));
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_BSTR(stream.ReadNextLine(), L"");
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_EQ(stream.TellRead(), 100);
        EXPECT_EQ(ReadBytes(path), "ab");
    }
}

TEST_F(NKFileStreamSeek, ToTheEnd) {
    CNKFileStream stream;
    Open(stream, "ab\r\ncd");
    EXPECT_TRUE(stream.SeekReadEnd());
    EXPECT_EQ(stream.TellRead(), 6);
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_TRUE(stream.SeekWriteEnd());
    EXPECT_EQ(stream.TellRead(), 6);
    EXPECT_TRUE(stream.WriteLine(L"ef"));
    EXPECT_EQ(ReadBytes(path), "ab\r\ncdef\r\n");
}

TEST_F(NKFileStreamSeek, Rewind) {
    CNKFileStream stream;
    Open(stream, "ab\r\ncd");
    for (const auto rewind : {&CNKFileStream::RewindRead, &CNKFileStream::RewindWrite}) {
        EXPECT_BSTR(stream.ReadNextLine(), L"ab");
        EXPECT_TRUE((stream.*rewind)());
        EXPECT_EQ(stream.TellRead(), 0);
    }
    EXPECT_TRUE(stream.WriteLine(L"xy"));
    EXPECT_EQ(ReadBytes(path), "xy\r\ncd");
}

TEST_F(NKFileStreamSeek, TellRead_ChangesNothing) {
    CNKFileStream stream;
    Open(stream, "ab\r\ncd\r\n");
    ReadAll(stream);
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(stream.TellRead(), 8);
        EXPECT_TRUE(stream.IsEOF());
    }
    EXPECT_TRUE(TakeFailure(stream));
}

// Flags

/// The three ways in which a stream of the file "ab\r\ncd" with `tail` behind it comes to have flags.
struct FlagCase {
    std::string tail;
    bool endOfFile;
    bool failed;
};

std::array<FlagCase, 3> FlagCases() {
    return {FlagCase{"", true, false}, FlagCase{"\r\n", true, true}, FlagCase{Line(200), false, true}};
}

class NKFileStreamFlagCases : public NKFileStreamTest {
  protected:
    /// Opens a file and reads until a flag is set; gives the position then.
    std::int64_t OpenAndRaise(CNKFileStream& stream, const FlagCase& flags) const {
        Open(stream, "ab\r\ncd" + flags.tail);
        stream.ReadNextLine();
        stream.ReadNextLine();
        if (flags.tail == "\r\n") {
            stream.ReadNextLine();
        }
        EXPECT_EQ(stream.IsEOF(), flags.endOfFile);
        return stream.TellRead();
    }
};

TEST_F(NKFileStreamFlagCases, SeekRead_IsRefusedOnceAfterAFailure) {
    for (const FlagCase& flags : FlagCases()) {
        CNKFileStream stream;
        const std::int64_t position = OpenAndRaise(stream, flags);
        EXPECT_EQ(stream.SeekRead(1, fromBeginning), !flags.failed);
        EXPECT_EQ(stream.TellRead(), flags.failed ? position : 1);
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_TRUE(stream.SeekRead(1, fromBeginning));
        EXPECT_BSTR(stream.ReadNextLine(), L"b");
    }
}

TEST_F(NKFileStreamFlagCases, SeekWrite_KeepsEndOfFileWhenItIsNotRefused) {
    for (const FlagCase& flags : FlagCases()) {
        CNKFileStream stream;
        const std::int64_t position = OpenAndRaise(stream, flags);
        EXPECT_EQ(stream.SeekWrite(1, fromBeginning), !flags.failed);
        EXPECT_EQ(stream.TellRead(), flags.failed ? position : 1);
        EXPECT_EQ(stream.IsEOF(), !flags.failed);
        EXPECT_TRUE(stream.SeekWrite(0, fromBeginning));
        EXPECT_TRUE(stream.WriteLine(L"xy"));
        EXPECT_EQ(ReadBytes(path), "xy\r\ncd" + flags.tail);
    }
}

TEST_F(NKFileStreamFlagCases, BadSeek_ResetsThem) {
    for (const FlagCase& flags : FlagCases()) {
        for (const auto seek : {&CNKFileStream::SeekRead, &CNKFileStream::SeekWrite}) {
            for (const unsigned int origin : {0u, 1u, 2u, 3u}) {
                CNKFileStream stream;
                const std::int64_t position = OpenAndRaise(stream, flags);
                EXPECT_FALSE((stream.*seek)(-1000, origin));
                EXPECT_EQ(stream.TellRead(), position);
                EXPECT_FALSE(stream.IsEOF());
                EXPECT_FALSE(TakeFailure(stream));
            }
        }
    }
}

TEST_F(NKFileStreamFlagCases, SeekReadEnd_IsTrueAndResetsThem) {
    for (const FlagCase& flags : FlagCases()) {
        CNKFileStream stream;
        const std::int64_t position = OpenAndRaise(stream, flags);
        EXPECT_TRUE(stream.SeekReadEnd());
        EXPECT_EQ(stream.TellRead(), position); // the end; or refused
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_TRUE(stream.SeekReadEnd());
        EXPECT_EQ(stream.TellRead(), static_cast<std::int64_t>(6 + flags.tail.size()));
    }
}

TEST_F(NKFileStreamFlagCases, SeekWriteEnd_IsTrueAndKeepsEndOfFileWhenItIsNotRefused) {
    for (const FlagCase& flags : FlagCases()) {
        CNKFileStream stream;
        const std::int64_t position = OpenAndRaise(stream, flags);
        EXPECT_TRUE(stream.SeekWriteEnd());
        EXPECT_EQ(stream.TellRead(), position);
        EXPECT_EQ(stream.IsEOF(), !flags.failed);
        EXPECT_TRUE(stream.SeekWriteEnd());
        EXPECT_TRUE(stream.WriteLine(L"xy"));
        EXPECT_EQ(ReadBytes(path), "ab\r\ncd" + flags.tail + "xy\r\n");
    }
}

TEST_F(NKFileStreamFlagCases, Rewind_IsTrueAndResetsThemButMovesOnlyWithoutFailure) {
    for (const FlagCase& flags : FlagCases()) {
        for (const auto rewind : {&CNKFileStream::RewindRead, &CNKFileStream::RewindWrite}) {
            CNKFileStream stream;
            const std::int64_t position = OpenAndRaise(stream, flags);
            EXPECT_TRUE((stream.*rewind)());
            EXPECT_FALSE(stream.IsEOF());
            EXPECT_EQ(stream.TellRead(), flags.failed ? position : 0);
            EXPECT_TRUE((stream.*rewind)());
            EXPECT_EQ(stream.TellRead(), 0);
            EXPECT_BSTR(stream.ReadNextLine(), L"ab");
        }
    }
}

TEST_F(NKFileStreamFlagCases, WriteFlushAndRead_KeepThem) {
    for (const FlagCase& flags : FlagCases()) {
        CNKFileStream stream;
        OpenAndRaise(stream, flags);
        EXPECT_TRUE(stream.WriteLine(L"xy"));
        EXPECT_TRUE(stream.Flush());
        stream.ReadNextLine();
        EXPECT_EQ(stream.IsEOF(), flags.endOfFile);
        EXPECT_EQ(TakeFailure(stream), flags.failed);
        EXPECT_EQ(ReadBytes(path), "ab\r\ncd" + flags.tail + (flags.endOfFile ? "xy\r\n" : ""));
    }
}

TEST_F(NKFileStreamFlagCases, Closing_ResetsThem) {
    for (const FlagCase& flags : FlagCases()) {
        CNKFileStream stream;
        OpenAndRaise(stream, flags);
        stream.Close();
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_TRUE(stream.Reopen(textMode));
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_FALSE(TakeFailure(stream));

        OpenAndRaise(stream, flags);
        EXPECT_TRUE(stream.Reopen(textMode));
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_FALSE(TakeFailure(stream));

        OpenAndRaise(stream, flags);
        EXPECT_TRUE(stream.Create(Make(path), true));
        EXPECT_TRUE(stream.Reopen(textMode));
        EXPECT_FALSE(TakeFailure(stream));

        OpenAndRaise(stream, flags);
        stream.Clear();
        EXPECT_TRUE(stream.Reopen(textMode));
        EXPECT_FALSE(TakeFailure(stream));
    }
}

// Comment lines

TEST(NKFileStreamComment, BlankLinesAndThoseThatBeginWithAMark) {
    for (const wchar_t* const line :
         {L"", L" ", L"   ", L"\t", L" \t\r\n\v\f", L"\x00a0", L";", L"#", L";a", L"#a", L"; a", L"#;", L";\t"}) {
        EXPECT_TRUE(CNKFileStream::IsCommentLine(line)) << support::Printed(line);
    }
    EXPECT_TRUE(CNKFileStream::IsCommentLine(CNKString()));
}

TEST(NKFileStreamComment, AllOthersAreNone) {
    for (const wchar_t* const line : {L" ;", L"  ;a", L"\t#", L"a;", L"a", L"a #", L"//", L"'", L"\r;", L"\xff1b"}) {
        EXPECT_FALSE(CNKFileStream::IsCommentLine(line)) << support::Printed(line);
    }
    EXPECT_FALSE(CNKFileStream::IsCommentLine(Make(L"\0"sv)));
}

TEST(NKFileStreamComment, ConfigurationFile_ReadAsAUserWould) {
    const TemporaryFolder folder;
    WriteBytes(folder / L"settings.ini", "; settings\r\n\r\n  \t\r\n#more\r\nname=value\r\n ;no comment\r\nlast=1");
    CNKFileStream settings;
    ASSERT_TRUE(settings.Open(Make(folder / L"settings.ini"), textMode));
    CNKStringList lines;
    while (!settings.IsEOF()) {
        const CNKString line = settings.ReadNextLine();
        if (!CNKFileStream::IsCommentLine(line)) {
            lines.push_back(line);
        }
    }
    EXPECT_TEXTS(lines, L"name=value", L" ;no comment", L"last=1");
}

// Arguments that are parts of the stream itself

TEST_F(NKFileStreamAlias, OpenTheLineJustRead) {
    const std::wstring other = folder / L"other.txt";
    WriteBytes(other, "x");
    CNKFileStream stream;
    Open(stream, std::string(other.begin(), other.end()) + "\r\nb");
    EXPECT_TRUE(stream.Open(stream.ReadNextLine(), textMode));
    EXPECT_BSTR(Bstr(stream.GetFileName()), other);
    EXPECT_TRUE(IsClosed(path));
    EXPECT_TEXTS(ReadAll(stream), L"x");
}

TEST_F(NKFileStreamAlias, OpenTheLineJustReadThatNamesNoFile) {
    CNKFileStream stream;
    Open(stream, "none\\none\r\nb");
    EXPECT_FALSE(stream.Open(stream.ReadNextLine(), textMode));
    EXPECT_BSTR(Bstr(stream.GetFileName()), L"none\\none");
    EXPECT_NULL_BSTR(stream.ReadNextLine());
}

TEST_F(NKFileStreamAlias, CreateTheLineJustRead) {
    for (const bool overwrite : {false, true}) {
        const std::wstring other = folder / L"other.txt";
        CNKFileStream stream;
        Open(stream, std::string(other.begin(), other.end()) + "\r\nb");
        EXPECT_EQ(stream.Create(stream.ReadNextLine(), overwrite), overwrite);
        EXPECT_BSTR(Bstr(stream.GetFileName()), other);
        EXPECT_EQ(ReadBytes(other), "");
    }
}

TEST_F(NKFileStreamAlias, OwnName) {
    CNKFileStream stream;
    Open(stream, "a");
    stream.SetFileName(stream.FileName());
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
    EXPECT_TRUE(stream.Open(stream.FileName(), textMode));
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
    EXPECT_TRUE(stream.Create(stream.FileName(), true));
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
}

TEST_F(NKFileStreamAlias, WriteTheLineJustRead) {
    CNKFileStream stream;
    Open(stream, "ab\r\ncd\r\nef\r\n");
    EXPECT_TRUE(stream.WriteLine(stream.ReadNextLine()));
    EXPECT_EQ(ReadBytes(path), "ab\r\nab\r\nef\r\n");
}

// Large files

TEST_F(NKFileStreamLarge, BeyondFourGigabytes) {
    constexpr std::int64_t size = 5'000'000'000;
    {
        const FileHandle file = OpenFile(path, GENERIC_WRITE, 0, CREATE_NEW);
        DWORD returned = 0;
        DeviceIoControl(file.get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
        const LARGE_INTEGER end = {.QuadPart = size};
        ASSERT_TRUE(SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) && SetEndOfFile(file.get()));
    }
    CNKFileStream stream;
    ASSERT_TRUE(stream.Open(Make(path), textMode));
    EXPECT_TRUE(stream.SeekWriteEnd());
    EXPECT_EQ(stream.TellRead(), size);
    EXPECT_TRUE(stream.WriteLine(L"ab"));
    EXPECT_TRUE(stream.WriteLine(L"cd"));
    EXPECT_EQ(stream.TellRead(), size + 8);

    EXPECT_TRUE(stream.SeekRead(-8, fromEnd));
    EXPECT_BSTR(stream.ReadNextLine(), L"ab");
    EXPECT_EQ(stream.TellRead(), size + 4);
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), size);
    EXPECT_TEXTS(ReadAll(stream), L"ab", L"cd", L"");
    EXPECT_EQ(stream.TellRead(), size + 8);

    // The same place by steps of 31 bits.
    EXPECT_TRUE(stream.RewindRead());
    EXPECT_TRUE(stream.RewindRead());
    EXPECT_TRUE(stream.SeekRead(2'000'000'000, fromBeginning));
    EXPECT_TRUE(stream.SeekRead(2'000'000'000, fromCurrent));
    EXPECT_TRUE(stream.SeekWrite(1'000'000'004, fromCurrent));
    EXPECT_EQ(stream.TellRead(), size + 4);
    EXPECT_BSTR(stream.ReadNextLine(), L"cd");
    EXPECT_TRUE(stream.SeekRead(0, fromBeginning));
    EXPECT_EQ(stream.ReadNextLine().GetLength(), 0u); // zeros
}

// Files that others have open too

TEST_F(NKFileStreamShared, OthersMayReadAndWriteMeanwhile) {
    CNKFileStream stream;
    Open(stream, "a\r\nb\r\n");
    EXPECT_TRUE(OpenFile(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE) != nullptr);
    CNKFileStream other;
    EXPECT_TRUE(other.Open(Make(path), textMode));
    EXPECT_BSTR(other.ReadNextLine(), L"a");
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
}

TEST_F(NKFileStreamShared, WhatOthersAppend_IsReadAfterTheFlagsAreReset) {
    CNKFileStream reader;
    Open(reader, "a\r\n");
    EXPECT_TEXTS(ReadAll(reader), L"a", L"");
    CNKFileStream writer;
    EXPECT_TRUE(writer.Open(Make(path), textMode));
    EXPECT_TRUE(writer.SeekWriteEnd());
    EXPECT_TRUE(writer.WriteLine(L"b"));
    EXPECT_TRUE(reader.IsEOF());
    EXPECT_BSTR(reader.ReadNextLine(), L"");
    EXPECT_TRUE(TakeFailure(reader));
    EXPECT_TEXTS(ReadAll(reader), L"b", L"");
}

TEST_F(NKFileStreamShared, WhatOthersChange_IsReadAfterARewind) {
    CNKFileStream reader;
    Open(reader, "a\r\nb\r\n");
    EXPECT_BSTR(reader.ReadNextLine(), L"a");
    CNKFileStream writer;
    EXPECT_TRUE(writer.Open(Make(path), textMode));
    EXPECT_TRUE(writer.WriteLine(L"x"));
    EXPECT_TRUE(reader.RewindRead());
    EXPECT_TEXTS(ReadAll(reader), L"x", L"b", L"");
}

TEST_F(NKFileStreamShared, FileThatIsOpen_CannotBeRemoved) {
    CNKFileStream stream;
    Open(stream, "a\r\nb\r\n");
    EXPECT_FALSE(DeleteFileW(path.c_str()));
    EXPECT_TEXTS(ReadAll(stream), L"a", L"b", L"");
    stream.Close();
    EXPECT_TRUE(DeleteFileW(path.c_str()));
    EXPECT_FALSE(stream.Reopen(textMode));
    EXPECT_FALSE(Exists(path));
}

TEST_F(NKFileStreamShared, FileThatIsCutMeanwhile_EndsAndCanStillBeWritten) {
    std::string bytes;
    for (int number = 10'000; number < 60'000; ++number) {
        bytes += std::to_string(number) + "\r\n";
    }
    CNKFileStream stream;
    Open(stream, bytes);
    EXPECT_BSTR(stream.ReadNextLine(), L"10000");
    WriteBytes(path, "");
    int number = 10'000;
    // Some lines may have been read ahead; all are lines that the file once had, except for the last.
    while (!stream.IsEOF() && number < 60'000) {
        const CNKString& line = stream.ReadNextLine();
        if (!stream.IsEOF()) {
            ASSERT_EQ(Held(line), std::to_wstring(++number));
        }
    }
    EXPECT_TRUE(stream.IsEOF());
    const auto position = static_cast<std::size_t>(stream.TellRead());
    EXPECT_EQ(ReadBytes(path), "");
    EXPECT_TRUE(stream.WriteLine(L"x"));
    EXPECT_TRUE(ReadBytes(path) == std::string(position, '\0') + "x\r\n");
    stream.RewindRead();
    EXPECT_TRUE(stream.RewindRead());
    EXPECT_TRUE(stream.WriteLine(L"y"));
    EXPECT_EQ(ReadBytes(path).substr(0, 4), "y\r\n\0"sv);
}

// Code pages: see nkstring_codepage_test.cpp

class NKFileStreamCodePage1252 : public NKFileStreamTest {
  protected:
    void SetUp() override {
        if (GetACP() != 1252) {
            GTEST_SKIP() << "needs ANSI code page 1252, has " << GetACP();
        }
    }
};

class NKFileStreamCodePage932 : public NKFileStreamTest {
  protected:
    void SetUp() override {
        if (GetACP() != 932) {
            GTEST_SKIP() << "needs ANSI code page 932, has " << GetACP();
        }
    }
};

TEST_F(NKFileStreamCodePage1252, BytesAboveAscii_AreOneCharacterEach) {
    EXPECT_TEXTS(LinesOf("\xe4\x80\xff\r\nz"), L"\x00e4\x20ac\x00ff", L"z");
    EXPECT_TEXTS(LinesOf("\xe4\x80\xff\r\nz", binaryMode), L"\x00e4\x20ac\x00ff\r", L"z");
    EXPECT_TEXTS(LinesOf(std::string(127, '\xe4') + "\r\n\xe4\nb"), std::wstring(128, L'\x00e4'), L"b");
}

TEST_F(NKFileStreamCodePage1252, UngetLine_CountsOneByteEach) {
    CNKFileStream stream;
    Open(stream, "a\r\n\xe4\x80\xff\r\nz");
    stream.ReadNextLine();
    stream.ReadNextLine();
    EXPECT_EQ(stream.TellRead(), 8);
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 3);
    EXPECT_BSTR(stream.ReadNextLine(), L"\x00e4\x20ac\x00ff");
}

TEST_F(NKFileStreamCodePage1252, CharactersOutside_BecomeQuestionMarks) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(L"a\x3042z\x00e4\x20ac"));
    CNKTokenString tokens;
    tokens = MakeList({L"\x3042", L"\x00e4"});
    EXPECT_TRUE(stream.WriteLine(tokens));
    EXPECT_EQ(ReadBytes(path), "a?z\xe4\x80\r\n?;\xe4\r\n");
}

TEST_F(NKFileStreamCodePage1252, EveryByte_SurvivesReadingAndWriting) {
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
        bytes += byte % 50 == 0 ? "\n" : "";
    }
    const std::wstring copy = folder / L"copy.txt";
    CNKFileStream reader;
    Open(reader, bytes, binaryMode);
    CNKFileStream writer;
    EXPECT_TRUE(writer.Create(Make(copy), true));
    EXPECT_TRUE(writer.Reopen(binaryMode));
    while (!reader.IsEOF()) {
        EXPECT_TRUE(writer.WriteLine(reader.ReadNextLine()));
    }
    EXPECT_EQ(ReadBytes(copy), bytes + "\n");
}

TEST_F(NKFileStreamCodePage932, TwoByteCharacters_AreReadAndWritten) {
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(LinesOf("a\x82\xa0\n\x83\x5c\xb1\nz", mode), L"a\x3042", L"\x30bd\xff71", L"z");
    }
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(L"a\x3042"));
    CNKTokenString tokens;
    tokens = MakeList({L"\x30bd", L"\xff71"});
    EXPECT_TRUE(stream.WriteLine(tokens));
    EXPECT_EQ(ReadBytes(path), "a\x82\xa0\r\n\x83\x5c;\xb1\r\n");
    EXPECT_EQ(stream.TellRead(), 11);
}

TEST_F(NKFileStreamCodePage932, UngetLine_CountsCharactersNotBytes) {
    CNKFileStream stream;
    Open(stream, "\x82\xa0\x82\xa2\r\nz\r\n");
    EXPECT_BSTR(stream.ReadNextLine(), L"\x3042\x3044");
    EXPECT_EQ(stream.TellRead(), 6);
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 2);
    EXPECT_BSTR(stream.ReadNextLine(), L"\x3044");
}

TEST_F(NKFileStreamCodePage932, PiecesCountBytes) {
    std::string bytes;
    for (int count = 0; count < 63; ++count) {
        bytes += "\x82\xa0";
    }
    const std::wstring wide(63, L'\x3042');
    EXPECT_TEXTS(LinesOf(bytes + "\r\nb"), wide, L"b");
    EXPECT_TEXTS(LinesOf(bytes + "x\r\nb\r\nc"), wide + L"xb", L"c");

    // Cut between the two bytes of a character, neither of which is one.
    CNKFileStream stream;
    Open(stream, bytes + "\x82\xa0\r\nb");
    const CNKString& cut = stream.ReadNextLine();
    EXPECT_EQ(cut.Left(63).GetLength(), 63u);
    EXPECT_BSTR(cut.Left(63), wide);
    EXPECT_LE(cut.GetLength(), 64u);
    EXPECT_EQ(stream.TellRead(), 127);
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_TRUE(TakeFailure(stream));
    EXPECT_EQ(stream.ReadNextLine().GetLength(), 1u);
    EXPECT_BSTR(stream.ReadNextLine(), L"b");
}

TEST_F(NKFileStreamCodePage932, FirstByteWithoutASecond_EndsNoLine) {
    for (const bool mode : bothModes) {
        CNKFileStream stream;
        Open(stream, "\x82\nb\x82\n\x82", mode);
        EXPECT_LE(stream.ReadNextLine().GetLength(), 1u);
        EXPECT_EQ(stream.TellRead(), 2);
        EXPECT_EQ(stream.ReadNextLine().First(), L'b');
        EXPECT_EQ(stream.TellRead(), 5);
        EXPECT_LE(stream.ReadNextLine().GetLength(), 1u);
        EXPECT_TRUE(stream.IsEOF());
    }
}

} // namespace
