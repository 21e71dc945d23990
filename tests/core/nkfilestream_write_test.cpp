// CNKFileStream: writing lines and tokens, also alternating with reading.

#include "core/nkfilestream.h"

#include "tests/core/nkfilestream_fixture.h"
#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using namespace std::literals;
using support::binaryMode;
using support::fromBeginning;
using support::fromCurrent;
using support::Line;
using support::Make;
using support::MakeList;
using support::null;
using support::ReadAll;
using support::ReadBytes;
using support::TakeFailure;
using support::Text;
using support::textMode;
using support::Wide;

namespace {

using NKFileStreamWrite = support::NKFileStreamTest;
using NKFileStreamWriteInEachMode = support::NKFileStreamModeTest;
using NKFileStreamTokens = support::NKFileStreamTest;
using NKFileStreamMixed = support::NKFileStreamTest;
using NKFileStreamMixedInEachMode = support::NKFileStreamModeTest;

INSTANTIATE_BOTH_MODES(NKFileStreamWriteInEachMode);
INSTANTIATE_BOTH_MODES(NKFileStreamMixedInEachMode);

// Lines

struct WriteRow : support::Row {
    std::vector<Text> lines;
    std::string_view text;   ///< the bytes written in text mode
    std::string_view binary; ///< the bytes written in binary mode
};

class NKFileStreamWriteTable : public support::NKFileStreamTest, public ::testing::WithParamInterface<WriteRow> {
  protected:
    void ExpectWritten(bool mode, std::string_view bytes) const {
        CNKFileStream stream;
        Open(stream, "", mode);
        for (const Text& line : GetParam().lines) {
            EXPECT_TRUE(stream.WriteLine(Make(line)));
            EXPECT_EQ(stream.TellRead(), static_cast<std::int64_t>(ReadBytes(path).size()));
        }
        EXPECT_EQ(ReadBytes(path), bytes);
        stream.Close();
        EXPECT_EQ(BytesAfterClose(), bytes);
    }
};

const WriteRow writeRows[] = {
    {{"Lines_GetTheModesLineEnd"}, {L"abc", L"d"}, "abc\r\nd\r\n", "abc\nd\n"},
    {{"CrAtTheEnd_IsACharacter"}, {L"abc", L"d\r"}, "abc\r\nd\r\r\n", "abc\nd\r\n"},
    {{"NullAndZeroLength_AreLineEndsOnly"}, {null, L""}, "\r\n\r\n", "\n\n"},
    {{"LineWithNul_EndsThere"}, {L"ab\0cd"sv, L"\0"sv}, "ab\r\n\r\n", "ab\n\n"},
    {{"LfInTheLine_IsALineEnd"}, {L"a\nb\n", L"c\r\nd\re"}, "a\r\nb\r\n\r\nc\r\r\nd\re\r\n", "a\nb\n\nc\r\nd\re\n"},
    {{"CtrlZ_IsACharacter"}, {L"a\x1a", L"b"}, "a\x1a\r\nb\r\n", "a\x1a\nb\n"},
};

INSTANTIATE_TEST_SUITE_P(, NKFileStreamWriteTable, ::testing::ValuesIn(writeRows), support::RowName());

TEST_P(NKFileStreamWriteTable, TextMode_WritesTheBytes) {
    ExpectWritten(textMode, GetParam().text);
}

TEST_P(NKFileStreamWriteTable, BinaryMode_WritesTheBytes) {
    ExpectWritten(binaryMode, GetParam().binary);
}

TEST_F(NKFileStreamWrite, Line_IsInTheFileAtOnce) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(L"abc"));
    EXPECT_EQ(ReadBytes(path), "abc\r\n");
    EXPECT_TRUE(stream.Flush());
    EXPECT_EQ(ReadBytes(path), "abc\r\n");
}

TEST_P(NKFileStreamWriteInEachMode, LineOfAnyLength_IsWrittenWhole) {
    const bool mode = GetParam();
    for (const std::size_t length : {126u, 127u, 128u, 1000u, 65'535u, 65'536u, 1'000'000u}) {
        CNKFileStream stream;
        Open(stream, "", mode);
        EXPECT_TRUE(stream.WriteLine(Make(Wide(Line(length)))));
        EXPECT_TRUE(ReadBytes(path) == Line(length) + (mode == textMode ? "\r\n" : "\n")) << length;
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

TEST_P(NKFileStreamWriteInEachMode, AfterTheExtraEmptyLine_Appends) {
    const bool mode = GetParam();
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

TEST_F(NKFileStreamWrite, AfterTheEnd_FillsTheGapWithZeros) {
    CNKFileStream stream;
    Open(stream, "a");
    EXPECT_TRUE(stream.SeekWrite(4, fromBeginning));
    EXPECT_TRUE(stream.WriteLine(L"b"));
    EXPECT_EQ(ReadBytes(path), "a\0\0\0b\r\n"sv);
}

TEST_F(NKFileStreamWrite, TwoStreamsOfOneFile_WriteInTurn) {
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

TEST_F(NKFileStreamWrite, TheLastLine_IsWritten) {
    CNKFileStream stream;
    Open(stream, "ab\r\ncd\r\nef\r\n");
    EXPECT_TRUE(stream.WriteLine(stream.ReadNextLine()));
    EXPECT_EQ(ReadBytes(path), "ab\r\nab\r\nef\r\n");
}

// Tokens

TEST_F(NKFileStreamTokens, Tokens_AreSeparatedBySemicolons) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(CNKTokenString(L"a,b,,c,", L",", false)));
    EXPECT_TRUE(stream.WriteLine(CNKTokenString(L"a", L",", false)));
    EXPECT_EQ(ReadBytes(path), "a;b;;c;\r\na\r\n");
    EXPECT_EQ(stream.TellRead(), 12);
}

TEST_F(NKFileStreamTokens, WithoutTokens_WritesALineEndOnly) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(CNKTokenString()));
    EXPECT_TRUE(stream.WriteLine(CNKTokenString(L"", L";", false)));
    EXPECT_EQ(ReadBytes(path), "\r\n\r\n");
}

TEST_F(NKFileStreamTokens, Tokens_EndAtTheFirstNulAndAreNotQuoted) {
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

TEST_F(NKFileStreamTokens, ManyTokens_AreOneLine) {
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

TEST_P(NKFileStreamMixedInEachMode, WriteAfterRead_StartsAtTheFirstByteNotRead) {
    const bool mode = GetParam();
    CNKFileStream stream;
    Open(stream, "a\nbcdef\ng\n", mode);
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
    EXPECT_TRUE(stream.WriteLine(L"x"));
    EXPECT_EQ(ReadBytes(path), mode == textMode ? "a\nx\r\nef\ng\n" : "a\nx\ndef\ng\n");
    EXPECT_BSTR(stream.ReadNextLine(), mode == textMode ? L"ef" : L"def");
    EXPECT_BSTR(stream.ReadNextLine(), L"g");
}

TEST_F(NKFileStreamMixed, ReadAfterWrite_StartsAfterTheLineWritten) {
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

TEST_F(NKFileStreamMixed, LineJustWritten_IsReadAndUngot) {
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

TEST_F(NKFileStreamMixed, EveryOtherLine_IsReplacedAcrossReadBlocks) {
    std::string bytes;
    std::string wanted;
    for (int number = 1000; number < 5000; ++number) {
        bytes += std::to_string(number) + "-some-more-text\r\n";
        wanted += (number % 2 == 0 ? std::to_string(number) : "xxxx"s) + "-some-more-text\r\n";
    }
    CNKFileStream stream;
    Open(stream, bytes);
    for (int number = 1000; number < 5000; number += 2) {
        ASSERT_EQ(support::Held(stream.ReadNextLine()), std::to_wstring(number) + L"-some-more-text");
        ASSERT_TRUE(stream.WriteLine(L"xxxx-some-more-text"));
    }
    stream.Close();
    EXPECT_TRUE(BytesAfterClose() == wanted);
}

TEST_F(NKFileStreamMixed, SeekReadAndSeekWrite_MoveTheSamePosition) {
    CNKFileStream stream;
    Open(stream, "abcdef\r\n");
    EXPECT_TRUE(stream.SeekWrite(2, fromBeginning));
    EXPECT_EQ(stream.TellRead(), 2);
    EXPECT_BSTR(stream.ReadNextLine(), L"cdef");
    EXPECT_TRUE(stream.SeekRead(1, fromBeginning));
    EXPECT_TRUE(stream.WriteLine(L"x"));
    EXPECT_EQ(ReadBytes(path), "ax\r\nef\r\n");
}

} // namespace
