// CNKFileStream: seeks, the flags that seeks depend on, and large files.

#include "core/nkfilestream.h"

#include "tests/core/nkfilestream_fixture.h"
#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include <windows.h>
#include <winioctl.h>

using support::FileHandle;
using support::fromBeginning;
using support::fromCurrent;
using support::fromEnd;
using support::Line;
using support::Make;
using support::null;
using support::OpenFile;
using support::ReadAll;
using support::ReadBytes;
using support::TakeFailure;
using support::textMode;

namespace {

using NKFileStreamSeek = support::NKFileStreamTest;
using NKFileStreamSeekInEachMode = support::NKFileStreamModeTest;
using NKFileStreamLarge = support::NKFileStreamTest;

INSTANTIATE_BOTH_MODES(NKFileStreamSeekInEachMode);

// Seeks

/// A seek in a file of 10 bytes, from position 4.
struct SeekRow : support::Row {
    int offset;
    unsigned int origin;
    std::optional<std::int64_t> position; ///< nothing: refused
};

class NKFileStreamSeekTable : public support::NKFileStreamTest, public ::testing::WithParamInterface<SeekRow> {};

constexpr int maxOffset = (std::numeric_limits<int>::max)();
constexpr int minOffset = (std::numeric_limits<int>::min)();

const SeekRow seekRows[] = {
    {{"ToTheBeginning"}, 0, fromBeginning, 0},
    {{"FromTheBeginning"}, 3, fromBeginning, 3},
    {{"FromTheBeginningToTheEnd"}, 10, fromBeginning, 10},
    {{"FromTheBeginningPastTheEnd"}, 11, fromBeginning, 11},
    {{"FromTheBeginningByTheGreatestOffset"}, maxOffset, fromBeginning, 2'147'483'647},
    {{"BeforeTheBeginning_IsRefused"}, -1, fromBeginning, null},
    {{"FromTheBeginningByTheSmallestOffset_IsRefused"}, minOffset, fromBeginning, null},
    {{"ToTheCurrentPosition"}, 0, fromCurrent, 4},
    {{"Forwards"}, 3, fromCurrent, 7},
    {{"BackwardsToTheBeginning"}, -4, fromCurrent, 0},
    {{"ForwardsPastTheEnd"}, 100, fromCurrent, 104},
    {{"ForwardsByTheGreatestOffset"}, maxOffset, fromCurrent, 2'147'483'651},
    {{"BackwardsPastTheBeginning_IsRefused"}, -5, fromCurrent, null},
    {{"BackwardsByTheSmallestOffset_IsRefused"}, minOffset, fromCurrent, null},
    {{"ToTheEnd"}, 0, fromEnd, 10},
    {{"FromTheEndToTheBeginning"}, -10, fromEnd, 0},
    {{"ToTheLastByte"}, -1, fromEnd, 9},
    {{"FromTheEndPastIt"}, 5, fromEnd, 15},
    {{"FromTheEndByTheGreatestOffset"}, maxOffset, fromEnd, 2'147'483'657},
    {{"FromTheEndPastTheBeginning_IsRefused"}, -11, fromEnd, null},
    {{"UnknownOrigin_IsRefused"}, 0, 3, null},
    {{"GreatestOrigin_IsRefused"}, 1, 0xFFFFFFFF, null},
};

INSTANTIATE_TEST_SUITE_P(, NKFileStreamSeekTable, ::testing::ValuesIn(seekRows), support::RowName());

TEST_P(NKFileStreamSeekTable, Seek_MovesThePositionOrIsRefused) {
    const SeekRow& row = GetParam();
    for (const bool mode : support::bothModes) {
        for (const auto seek : {&CNKFileStream::SeekRead, &CNKFileStream::SeekWrite}) {
            SCOPED_TRACE(mode == textMode ? "text mode" : "binary mode");
            SCOPED_TRACE(seek == &CNKFileStream::SeekRead ? "SeekRead" : "SeekWrite");
            CNKFileStream stream;
            Open(stream, "ab\ncd\nef\ng", mode);
            ASSERT_TRUE(stream.SeekRead(4, fromBeginning));
            EXPECT_EQ((stream.*seek)(row.offset, row.origin), row.position.has_value());
            EXPECT_EQ(stream.TellRead(), row.position.value_or(4));
            EXPECT_FALSE(TakeFailure(stream));
            EXPECT_EQ(ReadBytes(path).size(), 10u);
        }
    }
}

TEST_F(NKFileStreamSeek, IntoALine_ReadsTheRestOfIt) {
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

TEST_P(NKFileStreamSeekInEachMode, PastTheEnd_ReadsAnEmptyLine) {
    CNKFileStream stream;
    Open(stream, "ab", GetParam());
    EXPECT_TRUE(stream.SeekRead(100, fromBeginning));
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 100);
    EXPECT_EQ(ReadBytes(path), "ab");
}

TEST_F(NKFileStreamSeek, ToTheEnd_ReadsAnEmptyLineAndAppends) {
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

TEST_F(NKFileStreamSeek, Rewind_MovesToTheBeginning) {
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

/// How a stream of the file "ab\r\ncd" followed by `tail` gets its flags.
struct FlagRow : support::Row {
    std::string tail;
    bool endOfFile;
    bool failed;
};

const FlagRow flagRows[] = {
    {{"LastLineWithoutLineEnd"}, "", true, false},
    {{"ExtraEmptyLine"}, "\r\n", true, true},
    {{"CutLine"}, Line(200), false, true},
};

class NKFileStreamFlagTable : public support::NKFileStreamTest, public ::testing::WithParamInterface<FlagRow> {
  protected:
    /// Opens the file and reads until a flag is set. Returns the position.
    std::int64_t OpenAndRaise(CNKFileStream& stream, const FlagRow& flags) const {
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

INSTANTIATE_TEST_SUITE_P(, NKFileStreamFlagTable, ::testing::ValuesIn(flagRows), support::RowName());

TEST_P(NKFileStreamFlagTable, SeekRead_IsRefusedOnceAfterAFailure) {
    const FlagRow& flags = GetParam();
    CNKFileStream stream;
    const std::int64_t position = OpenAndRaise(stream, flags);
    EXPECT_EQ(stream.SeekRead(1, fromBeginning), !flags.failed);
    EXPECT_EQ(stream.TellRead(), flags.failed ? position : 1);
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_TRUE(stream.SeekRead(1, fromBeginning));
    EXPECT_BSTR(stream.ReadNextLine(), L"b");
}

TEST_P(NKFileStreamFlagTable, SeekWrite_KeepsEndOfFileUnlessRefused) {
    const FlagRow& flags = GetParam();
    CNKFileStream stream;
    const std::int64_t position = OpenAndRaise(stream, flags);
    EXPECT_EQ(stream.SeekWrite(1, fromBeginning), !flags.failed);
    EXPECT_EQ(stream.TellRead(), flags.failed ? position : 1);
    EXPECT_EQ(stream.IsEOF(), !flags.failed);
    EXPECT_TRUE(stream.SeekWrite(0, fromBeginning));
    EXPECT_TRUE(stream.WriteLine(L"xy"));
    EXPECT_EQ(ReadBytes(path), "xy\r\ncd" + flags.tail);
}

TEST_P(NKFileStreamFlagTable, InvalidSeek_ResetsTheFlags) {
    for (const auto seek : {&CNKFileStream::SeekRead, &CNKFileStream::SeekWrite}) {
        for (const unsigned int origin : {0u, 1u, 2u, 3u}) {
            CNKFileStream stream;
            const std::int64_t position = OpenAndRaise(stream, GetParam());
            EXPECT_FALSE((stream.*seek)(-1000, origin));
            EXPECT_EQ(stream.TellRead(), position);
            EXPECT_FALSE(stream.IsEOF());
            EXPECT_FALSE(TakeFailure(stream));
        }
    }
}

TEST_P(NKFileStreamFlagTable, SeekReadEnd_IsTrueAndResetsTheFlags) {
    const FlagRow& flags = GetParam();
    CNKFileStream stream;
    const std::int64_t position = OpenAndRaise(stream, flags);
    EXPECT_TRUE(stream.SeekReadEnd());
    EXPECT_EQ(stream.TellRead(), position); // at the end already, or refused
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_TRUE(stream.SeekReadEnd());
    EXPECT_EQ(stream.TellRead(), static_cast<std::int64_t>(6 + flags.tail.size()));
}

TEST_P(NKFileStreamFlagTable, SeekWriteEnd_IsTrueAndKeepsEndOfFileUnlessRefused) {
    const FlagRow& flags = GetParam();
    CNKFileStream stream;
    const std::int64_t position = OpenAndRaise(stream, flags);
    EXPECT_TRUE(stream.SeekWriteEnd());
    EXPECT_EQ(stream.TellRead(), position);
    EXPECT_EQ(stream.IsEOF(), !flags.failed);
    EXPECT_TRUE(stream.SeekWriteEnd());
    EXPECT_TRUE(stream.WriteLine(L"xy"));
    EXPECT_EQ(ReadBytes(path), "ab\r\ncd" + flags.tail + "xy\r\n");
}

TEST_P(NKFileStreamFlagTable, Rewind_IsTrueAndResetsTheFlagsAndMovesUnlessFailed) {
    const FlagRow& flags = GetParam();
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

TEST_P(NKFileStreamFlagTable, WriteFlushAndRead_KeepTheFlags) {
    const FlagRow& flags = GetParam();
    CNKFileStream stream;
    OpenAndRaise(stream, flags);
    EXPECT_TRUE(stream.WriteLine(L"xy"));
    EXPECT_TRUE(stream.Flush());
    stream.ReadNextLine();
    EXPECT_EQ(stream.IsEOF(), flags.endOfFile);
    EXPECT_EQ(TakeFailure(stream), flags.failed);
    EXPECT_EQ(ReadBytes(path), "ab\r\ncd" + flags.tail + (flags.endOfFile ? "xy\r\n" : ""));
}

TEST_P(NKFileStreamFlagTable, CloseReopenCreateAndClear_ResetTheFlags) {
    const FlagRow& flags = GetParam();
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

// Large files

TEST_F(NKFileStreamLarge, PositionsBeyondFourGigabytes_Work) {
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

    // The same position in steps of less than 2^31.
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

} // namespace
