// CNKFileStream: construction, opening, closing, clearing and creating.

#include "core/nkfilestream.h"

#include "tests/core/nkfilestream_fixture.h"
#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/handles.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

using namespace std::literals;
using support::binaryMode;
using support::Bstr;
using support::CountRequests;
using support::Exists;
using support::FileHandle;
using support::fromBeginning;
using support::fromCurrent;
using support::fromEnd;
using support::IsClosed;
using support::Make;
using support::NamesIn;
using support::null;
using support::OpenFile;
using support::ReadAll;
using support::ReadBytes;
using support::TemporaryFolder;
using support::Text;
using support::textMode;
using support::WriteBytes;

namespace {

using NKFileStreamConstruction = support::NKFileStreamTest;
using NKFileStreamClosed = support::NKFileStreamTest;
using NKFileStreamOpen = support::NKFileStreamTest;
using NKFileStreamOpenInEachMode = support::NKFileStreamModeTest;
using NKFileStreamClear = support::NKFileStreamTest;
using NKFileStreamClearInEachMode = support::NKFileStreamModeTest;
using NKFileStreamAlias = support::NKFileStreamTest;

INSTANTIATE_BOTH_MODES(NKFileStreamOpenInEachMode);
INSTANTIATE_BOTH_MODES(NKFileStreamClearInEachMode);

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

/// The parameter is the constructor's flag, which has no effect.
class NKFileStreamFromName : public support::NKFileStreamTest, public ::testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(, NKFileStreamFromName, ::testing::Bool(), support::FlagName("FlagFalse", "FlagTrue"));

TEST_P(NKFileStreamFromName, Construction_StoresItAndOpensNothing) {
    WriteBytes(path, "a");
    CNKFileStream stream(Make(path), GetParam());
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_TRUE(IsClosed(path));
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
    EXPECT_NULL_BSTR(stream.ReadNextLine());
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_TEXTS(ReadAll(stream), L"a");
}

TEST_P(NKFileStreamFromName, Construction_CreatesNothing) {
    const CNKFileStream stream(Make(path), GetParam());
    EXPECT_FALSE(Exists(path));
}

TEST_P(NKFileStreamFromName, Flag_DoesNotSetTheMode) {
    WriteBytes(path, "a\r\n");
    CNKFileStream stream(Make(path), GetParam());
    ASSERT_TRUE(stream.Reopen(textMode));
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
    ASSERT_TRUE(stream.Reopen(binaryMode));
    EXPECT_BSTR(stream.ReadNextLine(), L"a\r");
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

TEST_F(NKFileStreamConstruction, DeletionThroughABasePointer_DestroysTheWholeObject) {
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

/// The state and the results of a closed stream. Its file, if it has one, stays unchanged.
void ExpectClosed(CNKFileStream& stream, Text lastLine) {
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_TRUE(stream.IsEOF());
    for (int time = 0; time < 2; ++time) {
        EXPECT_TEXT(stream.ReadNextLine(), lastLine);
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
    EXPECT_TEXT(stream.ReadNextLine(), lastLine);
    EXPECT_TRUE(stream.IsEOF());
    stream.Close();
    EXPECT_FALSE(stream.IsOpen());
}

TEST_F(NKFileStreamClosed, NeverOpened_IsClosedAndCreatesNothing) {
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

TEST_F(NKFileStreamClosed, AfterFailedOpen_LastLineIsNull) {
    CNKFileStream stream;
    Open(stream, "abc\r\n");
    stream.ReadNextLine();
    EXPECT_FALSE(stream.Open(Make(folder / L"missing.txt"), textMode));
    ExpectClosed(stream, null);
    EXPECT_EQ(BytesAfterClose(), "abc\r\n");
}

TEST_F(NKFileStreamClosed, AfterClear_LastLineIsNull) {
    CNKFileStream stream;
    Open(stream, "abc\r\n");
    stream.ReadNextLine();
    stream.Clear();
    ExpectClosed(stream, null);
    EXPECT_EQ(BytesAfterClose(), "");
}

TEST_F(NKFileStreamClosed, AfterCreate_LastLineIsNull) {
    CNKFileStream stream;
    EXPECT_TRUE(stream.Create(Make(path), true));
    ExpectClosed(stream, null);
    EXPECT_EQ(BytesAfterClose(), "");
}

// Open

TEST_P(NKFileStreamOpenInEachMode, ExistingFile_IsOpenAtItsBeginning) {
    CNKFileStream stream;
    Open(stream, "a\r\nb", GetParam());
    EXPECT_TRUE(stream.IsOpen());
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_EQ(ReadBytes(path), "a\r\nb");
}

TEST_P(NKFileStreamOpenInEachMode, MissingFile_FailsAndStoresTheName) {
    CNKFileStream stream;
    EXPECT_FALSE(stream.Open(Make(path), GetParam()));
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_FALSE(Exists(path));
    EXPECT_BSTR(Bstr(stream.GetFileName()), path);
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

TEST_F(NKFileStreamOpen, FailureWhileOpen_ClosesTheOtherFile) {
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    EXPECT_FALSE(stream.Open(Make(folder / L"missing.txt"), textMode));
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_TRUE(IsClosed(path));
}

TEST_F(NKFileStreamOpen, SameFileAgain_StartsAtItsBeginning) {
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    ReadAll(stream);
    EXPECT_TRUE(stream.Open(Make(path), textMode));
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_TEXTS(ReadAll(stream), L"a", L"b");
}

TEST_F(NKFileStreamOpen, Reopen_UsesTheStoredNameAndTheGivenMode) {
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

TEST_F(NKFileStreamOpen, NewFile_IsCreatedByClearAndOpenedByReopen) {
    CNKFileStream stream;
    EXPECT_FALSE(stream.Open(Make(path), textMode));
    stream.Clear();
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_TRUE(stream.WriteLine(L"a"));
    stream.Close();
    EXPECT_EQ(BytesAfterClose(), "a\r\n");
}

TEST_F(NKFileStreamOpen, NullOrZeroLengthName_Fails) {
    for (const Text name : {Text(), Text(L"")}) {
        CNKFileStream stream;
        Open(stream, "a");
        EXPECT_FALSE(stream.Open(Make(name), textMode));
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_TEXT(Bstr(stream.GetFileName()), name);
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

TEST_F(NKFileStreamOpen, FileOpenedExclusivelyElsewhere_Fails) {
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

TEST_F(NKFileStreamOpen, ReadOnlyFile_Fails) {
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

TEST_F(NKFileStreamOpen, ManyTimes_LeaksNoHandle) {
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

// Clear

TEST_P(NKFileStreamClearInEachMode, OpenFile_IsEmptiedAndClosed) {
    const bool mode = GetParam();
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

TEST_F(NKFileStreamClear, NullOrZeroLengthName_CreatesNothing) {
    for (const Text name : {Text(), Text(L"")}) {
        CNKFileStream stream(Make(name), false);
        stream.Clear();
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_TRUE(NamesIn(folder.Path()).empty());
    }
}

TEST_F(NKFileStreamClear, FileOpenedElsewhere_StaysUnchanged) {
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

/// The parameter is the flag `overwrite`.
class NKFileStreamCreate : public support::NKFileStreamTest, public ::testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(, NKFileStreamCreate, ::testing::Bool(), support::FlagName("NoOverwrite", "Overwrite"));

TEST_P(NKFileStreamCreate, NewFile_IsEmptyAndTheResultIsTheFlag) {
    const bool overwrite = GetParam();
    const TemporaryFolder own;
    CNKFileStream stream;
    EXPECT_EQ(stream.Create(Make(own / L"new.txt"), overwrite), overwrite);
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_TRUE(IsClosed(own / L"new.txt"));
    EXPECT_EQ(ReadBytes(own / L"new.txt"), "");
    EXPECT_BSTR(Bstr(stream.GetFileName()), own / L"new.txt");
}

TEST_P(NKFileStreamCreate, ExistingFile_IsEmptied) {
    const bool overwrite = GetParam();
    WriteBytes(path, "a\r\nb\r\n");
    CNKFileStream stream;
    EXPECT_EQ(stream.Create(Make(path), overwrite), overwrite);
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(BytesAfterClose(), "");
}

TEST_P(NKFileStreamCreate, WhileOpen_ClosesTheOtherFileUnchanged) {
    const bool overwrite = GetParam();
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    EXPECT_EQ(stream.Create(Make(folder / L"new.txt"), overwrite), overwrite);
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(BytesAfterClose(), "a\r\nb");
    EXPECT_EQ(ReadBytes(folder / L"new.txt"), "");
}

TEST_P(NKFileStreamCreate, TheOpenFileItself_IsEmptied) {
    const bool overwrite = GetParam();
    CNKFileStream stream;
    Open(stream, "a\r\nb");
    EXPECT_EQ(stream.Create(Make(path), overwrite), overwrite);
    EXPECT_EQ(BytesAfterClose(), "");
}

TEST_P(NKFileStreamCreate, NameThatCannotBeOpened_IsStoredAndGivesTrue) {
    for (const std::wstring& name : {folder.Path(), folder / L"none\\lines.txt", folder / L"a*", L""s}) {
        CNKFileStream stream;
        Open(stream, "a\r\nb");
        EXPECT_TRUE(stream.Create(Make(name), GetParam()));
        EXPECT_FALSE(stream.IsOpen());
        EXPECT_BSTR(Bstr(stream.GetFileName()), name);
        EXPECT_EQ(BytesAfterClose(), "a\r\nb");
        EXPECT_EQ(NamesIn(folder.Path()).size(), 1u);
    }
}

TEST_P(NKFileStreamCreate, NullName_GivesTrue) {
    CNKFileStream stream(Make(path), false);
    EXPECT_TRUE(stream.Create(CNKString(), GetParam()));
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_NULL_BSTR(Bstr(stream.GetFileName()));
    EXPECT_FALSE(Exists(path));
}

TEST_P(NKFileStreamCreate, FileOpenedElsewhere_StaysUnchangedAndGivesTrue) {
    WriteBytes(path, "a\r\n");
    CNKFileStream stream;
    {
        const FileHandle holder = OpenFile(path, GENERIC_READ, 0);
        EXPECT_TRUE(stream.Create(Make(path), GetParam()));
    }
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(BytesAfterClose(), "a\r\n");
}

TEST_F(NKFileStreamClosed, AfterCreate_LastLineIsNullOnlyWithOverwriteAndSuccess) {
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

// Arguments that are parts of the stream itself

TEST_F(NKFileStreamAlias, OpenTheLastLine_OpensTheNamedFile) {
    const std::wstring other = folder / L"other.txt";
    WriteBytes(other, "x");
    CNKFileStream stream;
    Open(stream, std::string(other.begin(), other.end()) + "\r\nb");
    EXPECT_TRUE(stream.Open(stream.ReadNextLine(), textMode));
    EXPECT_BSTR(Bstr(stream.GetFileName()), other);
    EXPECT_TRUE(IsClosed(path));
    EXPECT_TEXTS(ReadAll(stream), L"x");
}

TEST_F(NKFileStreamAlias, OpenTheLastLineThatNamesNoFile_FailsAndStoresTheName) {
    CNKFileStream stream;
    Open(stream, "none\\none\r\nb");
    EXPECT_FALSE(stream.Open(stream.ReadNextLine(), textMode));
    EXPECT_BSTR(Bstr(stream.GetFileName()), L"none\\none");
    EXPECT_NULL_BSTR(stream.ReadNextLine());
}

TEST_P(NKFileStreamCreate, TheLastLine_CreatesTheNamedFile) {
    const bool overwrite = GetParam();
    const std::wstring other = folder / L"other.txt";
    CNKFileStream stream;
    Open(stream, std::string(other.begin(), other.end()) + "\r\nb");
    EXPECT_EQ(stream.Create(stream.ReadNextLine(), overwrite), overwrite);
    EXPECT_BSTR(Bstr(stream.GetFileName()), other);
    EXPECT_EQ(ReadBytes(other), "");
}

TEST_F(NKFileStreamAlias, OwnName_IsKept) {
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

} // namespace
