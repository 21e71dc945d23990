// CNKFileStream: reading lines, in pieces of up to 127 characters; the last line; comment lines.

#include "core/nkfilestream.h"

#include "tests/core/nkfilestream_fixture.h"
#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

using namespace std::literals;
using support::binaryMode;
using support::bothModes;
using support::fromBeginning;
using support::Line;
using support::Make;
using support::null;
using support::TakeFailure;
using support::TemporaryFolder;
using support::Text;
using support::textMode;
using support::TextOf;
using support::Wide;
using support::WriteBytes;

namespace {

using NKFileStreamRead = support::NKFileStreamTest;
using NKFileStreamReadInEachMode = support::NKFileStreamModeTest;
using NKFileStreamPiece = support::NKFileStreamTest;
using NKFileStreamPieceInEachMode = support::NKFileStreamModeTest;
using NKFileStreamLastLine = support::NKFileStreamTest;

INSTANTIATE_BOTH_MODES(NKFileStreamReadInEachMode);
INSTANTIATE_BOTH_MODES(NKFileStreamPieceInEachMode);

// Line ends

struct LinesRow : support::Row {
    std::string_view bytes;
    std::vector<Text> text;   ///< the lines in text mode
    std::vector<Text> binary; ///< the lines in binary mode
};

class NKFileStreamLinesTable : public support::NKFileStreamTest, public ::testing::WithParamInterface<LinesRow> {};

const LinesRow linesRows[] = {
    {{"CrLf_EndsALine"}, "a\r\nb\r\n", {L"a", L"b", L""}, {L"a\r", L"b\r", L""}},
    {{"Lf_EndsALine"}, "a\nb\n", {L"a", L"b", L""}, {L"a", L"b", L""}},
    {{"LoneCr_IsACharacter"}, "a\rb\r", {L"a\rb\r"}, {L"a\rb\r"}},
    {{"LoneCrAlone_IsALine"}, "\r", {L"\r"}, {L"\r"}},
    {{"CrsBeforeCrLf_AreCharacters"}, "a\r\r\nb\r\r\r\nc", {L"a\r", L"b\r\r", L"c"}, {L"a\r\r", L"b\r\r\r", L"c"}},
    {{"CrAfterLf_IsACharacter"}, "a\n\rb\n\r", {L"a", L"\rb", L"\r"}, {L"a", L"\rb", L"\r"}},
    {{"CrLfAfterLf_EndsAnEmptyLine"}, "a\n\r\nb", {L"a", L"", L"b"}, {L"a", L"\r", L"b"}},
    {{"MixedEnds_AllEndLines"},
     "a\r\nb\nc\rd\r\n\ne",
     {L"a", L"b", L"c\rd", L"", L"e"},
     {L"a\r", L"b", L"c\rd\r", L"", L"e"}},
    {{"EmptyFile_HasOneEmptyLine"}, "", {L""}, {L""}},
    {{"OneLineEnd_GivesTwoLines"}, "\r\n", {L"", L""}, {L"\r", L""}},
    {{"OnlyLineEnds_GiveOneLineMore"}, "\n\r\n\n", {L"", L"", L"", L""}, {L"", L"\r", L"", L""}},
    {{"CtrlZ_IsACharacter"},
     "a\x1a"
     "b\n\x1a\nc\x1a",
     {L"a\x1a"
      L"b",
      L"\x1a", L"c\x1a"},
     {L"a\x1a"
      L"b",
      L"\x1a", L"c\x1a"}},
};

INSTANTIATE_TEST_SUITE_P(, NKFileStreamLinesTable, ::testing::ValuesIn(linesRows), support::RowName());

TEST_P(NKFileStreamLinesTable, TextMode_HasTheLines) {
    EXPECT_TEXT_LIST(LinesOf(GetParam().bytes, textMode), GetParam().text);
}

TEST_P(NKFileStreamLinesTable, BinaryMode_HasTheLines) {
    EXPECT_TEXT_LIST(LinesOf(GetParam().bytes, binaryMode), GetParam().binary);
}

TEST_P(NKFileStreamReadInEachMode, LastLineWithoutEnd_SetsEndOfFileAtOnce) {
    CNKFileStream stream;
    Open(stream, "a\nbc", GetParam());
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_BSTR(stream.ReadNextLine(), L"bc");
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 4);
    EXPECT_FALSE(TakeFailure(stream));
}

TEST_P(NKFileStreamReadInEachMode, LastLineWithEnd_IsFollowedByAnEmptyOne) {
    CNKFileStream stream;
    Open(stream, "a\n", GetParam());
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 2);
    EXPECT_TRUE(TakeFailure(stream));
}

TEST_P(NKFileStreamReadInEachMode, EmptyFile_HasOneEmptyLine) {
    CNKFileStream stream;
    Open(stream, "", GetParam());
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 0);
}

TEST_P(NKFileStreamReadInEachMode, AtTheEnd_GivesTheLastLineAgain) {
    CNKFileStream stream;
    Open(stream, "a\nbc", GetParam());
    stream.ReadNextLine();
    const CNKString& last = stream.ReadNextLine();
    const wchar_t* const address = TextOf(last);
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(&stream.ReadNextLine(), &last);
        EXPECT_EQ(TextOf(last), address);
        EXPECT_BSTR(last, L"bc");
    }
    EXPECT_EQ(stream.TellRead(), 4);
}

TEST_F(NKFileStreamRead, Position_IsThatOfTheNextByte) {
    CNKFileStream stream;
    Open(stream, "a\r\nbc\nd\re\r\n\r\nf");
    for (const std::int64_t position : {3, 6, 11, 13, 14}) {
        stream.ReadNextLine();
        EXPECT_EQ(stream.TellRead(), position);
    }
    EXPECT_TRUE(stream.IsEOF());
}

TEST_P(NKFileStreamReadInEachMode, Nul_EndsTheTextButNotTheLine) {
    CNKFileStream stream;
    Open(stream, "ab\0cd\n\0\nef\0"sv, GetParam());
    EXPECT_BSTR(stream.ReadNextLine(), L"ab");
    EXPECT_EQ(stream.TellRead(), 6);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_EQ(stream.TellRead(), 8);
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_BSTR(stream.ReadNextLine(), L"ef");
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_FALSE(TakeFailure(stream));
}

TEST_F(NKFileStreamRead, ByteOrderMark_IsText) {
    CNKFileStream stream;
    Open(stream, "\xef\xbb\xbf"
                 "a\r\n");
    EXPECT_EQ(stream.ReadNextLine().GetLength(), 4u);
}

/// Reads a file of several blocks from each position in its first line, so that blocks end at each position of a line.
TEST_F(NKFileStreamRead, LinesAcrossReadBlocks_AreWhole) {
    std::string bytes;
    for (int number = 1000; bytes.size() < 70'000; ++number) {
        bytes += std::to_string(number) + std::string(96, 'x') + "\r\n";
    }
    CNKFileStream stream;
    Open(stream, bytes);
    for (int start = 0; start < 102; ++start) {
        ASSERT_TRUE(stream.Reopen(textMode));
        ASSERT_TRUE(stream.SeekRead(start, fromBeginning));
        std::size_t position = static_cast<std::size_t>(start);
        while (position < bytes.size()) {
            const std::size_t end = bytes.find('\r', position);
            const std::wstring wanted = Wide(std::string_view(bytes).substr(position, end - position));
            // In the middle of a line end there is an empty line.
            const bool inLineEnd = bytes[position] == '\n';
            ASSERT_EQ(support::Held(stream.ReadNextLine()), inLineEnd ? L"" : wanted) << start << ", " << position;
            position = inLineEnd ? position + 1 : end + 2;
            ASSERT_EQ(stream.TellRead(), static_cast<std::int64_t>(position));
        }
    }
}

// Pieces of 127 characters

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

/// In quadratic time the test would exceed its time limit.
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

TEST_P(NKFileStreamPieceInEachMode, Of127AtTheEndWithoutLineEnd_SetsEndOfFileAndFails) {
    CNKFileStream stream;
    Open(stream, Line(127), GetParam());
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 127);
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
    EXPECT_TRUE(TakeFailure(stream));
    EXPECT_FALSE(stream.IsEOF());
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

TEST_P(NKFileStreamPieceInEachMode, MoreThan127_IsCutAndTheRestIsNotRead) {
    for (const std::size_t length : {128u, 129u, 130u, 200u, 254u, 255u, 1000u}) {
        CNKFileStream stream;
        Open(stream, Line(length) + "\r\nb\r\n", GetParam());
        EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
        EXPECT_FALSE(stream.IsEOF());
        for (int time = 0; time < 3; ++time) {
            EXPECT_BSTR(stream.ReadNextLine(), L"");
            EXPECT_FALSE(stream.IsEOF());
            EXPECT_EQ(stream.TellRead(), 127);
        }
    }
}

TEST_P(NKFileStreamPieceInEachMode, MoreThan127AtTheEndWithoutLineEnd_IsCut) {
    CNKFileStream stream;
    Open(stream, Line(128), GetParam());
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_TRUE(TakeFailure(stream));
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(128).substr(127)));
    EXPECT_TRUE(stream.IsEOF());
}

TEST_F(NKFileStreamPiece, MoreThan127AfterAJoin_IsCut) {
    CNKFileStream stream;
    Open(stream, Line(127) + "\r\n" + Line(200) + "\r\nb");
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127) + Line(127)));
    EXPECT_EQ(stream.TellRead(), 127 + 2 + 127);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_TRUE(TakeFailure(stream));
}

TEST_F(NKFileStreamPiece, RewindAfterACut_ReadsOnAfterTheCut) {
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

TEST_F(NKFileStreamPiece, CloseAfterACut_ReadsFromTheBeginning) {
    CNKFileStream stream;
    Open(stream, Line(200) + "\r\nb");
    stream.ReadNextLine();
    stream.Close();
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
    EXPECT_TRUE(stream.Reopen(textMode));
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
}

TEST_F(NKFileStreamPiece, LongLine_WithFlagsResetEachTime_IsReadPieceByPiece) {
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

TEST_F(NKFileStreamPiece, CrAfter127Characters_IsCutUnlessItEndsTheLine) {
    // In text mode it is part of the line end, in binary mode it is one character too many.
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
        for (const std::string& tail : {"\r"s, "\rb\r\n"s, "\r\r\n"s}) {
            Open(stream, Line(127) + tail, mode);
            EXPECT_BSTR(stream.ReadNextLine(), Wide(Line(127)));
            EXPECT_FALSE(stream.IsEOF());
            EXPECT_EQ(stream.TellRead(), 127);
            EXPECT_TRUE(TakeFailure(stream));
            EXPECT_EQ(stream.ReadNextLine().First(), L'\r');
        }
    }
}

TEST_F(NKFileStreamPiece, CrAsThe127thCharacter_IsACharacter) {
    EXPECT_TEXTS(LinesOf(Line(126) + "\r\r\nb"), Wide(Line(126) + "\rb"));
    EXPECT_TEXTS(LinesOf(Line(126) + "\r"), Wide(Line(126) + "\r"));
    EXPECT_TEXTS(LinesOf(Line(125) + "\r\r\nb"), Wide(Line(125) + "\r"), L"b");
}

TEST_F(NKFileStreamPiece, Nul_EndsThePiece) {
    // 127 characters are not joined.
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(LinesOf("ab\0"s + Line(124) + "\nc", mode), L"ab", L"c");
    }
    // 128 characters are cut.
    CNKFileStream stream;
    Open(stream, "ab\0"s + Line(125) + "\r\nc");
    EXPECT_BSTR(stream.ReadNextLine(), L"ab");
    EXPECT_EQ(stream.TellRead(), 127);
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_TRUE(TakeFailure(stream));
    // In a second piece it does not affect the first.
    EXPECT_TEXTS(LinesOf(Line(127) + "\nab\0cd\ne"s), Wide(Line(127) + "ab"), L"e");
}

// The last line

TEST_F(NKFileStreamLastLine, AfterReopen_IsNull) {
    // Only a closed stream or one at the end of the file returns the last line without reading another.
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

TEST_F(NKFileStreamLastLine, EmptyLineAfterACut_IsOfLengthZero) {
    CNKFileStream stream;
    Open(stream, Line(200));
    stream.ReadNextLine();
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    stream.Close();
    EXPECT_BSTR(stream.ReadNextLine(), L"");
}

TEST_F(NKFileStreamLastLine, OtherOperations_KeepIt) {
    CNKFileStream stream;
    Open(stream, "abc\r\nd\r\n");
    const CNKString& last = stream.ReadNextLine();
    const wchar_t* const address = TextOf(last);
    stream.UngetLine();
    stream.WriteLine(L"xyz");
    EXPECT_TRUE(stream.Flush());
    stream.SeekRead(1, fromBeginning);
    stream.SeekReadEnd();
    stream.RewindRead();
    stream.SetFileName(L"x");
    stream.Close();
    EXPECT_EQ(TextOf(last), address);
    EXPECT_BSTR(last, L"abc");
    EXPECT_EQ(&stream.ReadNextLine(), &last);
}

// Comment lines

struct CommentRow : support::Row {
    Text line;
    bool isComment;
};

class NKFileStreamCommentTable : public ::testing::TestWithParam<CommentRow> {};

const CommentRow commentRows[] = {
    {{"Null"}, null, true},
    {{"ZeroLength"}, L"", true},
    {{"OneBlank"}, L" ", true},
    {{"ThreeBlanks"}, L"   ", true},
    {{"Tab"}, L"\t", true},
    {{"AllWhiteSpace"}, L" \t\r\n\v\f", true},
    {{"NonBreakingSpace"}, L"\x00a0", true},
    {{"Semicolon"}, L";", true},
    {{"Hash"}, L"#", true},
    {{"TextAfterSemicolon"}, L";a", true},
    {{"TextAfterHash"}, L"#a", true},
    {{"BlankAfterSemicolon"}, L"; a", true},
    {{"HashAndSemicolon"}, L"#;", true},
    {{"TabAfterSemicolon"}, L";\t", true},

    {{"SemicolonAfterBlank"}, L" ;", false},
    {{"SemicolonAfterTwoBlanks"}, L"  ;a", false},
    {{"HashAfterTab"}, L"\t#", false},
    {{"SemicolonAfterText"}, L"a;", false},
    {{"Letter"}, L"a", false},
    {{"HashAfterText"}, L"a #", false},
    {{"TwoSlashes"}, L"//", false},
    {{"Apostrophe"}, L"'", false},
    {{"SemicolonAfterCr"}, L"\r;", false},
    {{"FullWidthSemicolon"}, L"\xff1b", false},
    {{"Nul"}, L"\0"sv, false},
};

INSTANTIATE_TEST_SUITE_P(, NKFileStreamCommentTable, ::testing::ValuesIn(commentRows), support::RowName());

TEST_P(NKFileStreamCommentTable, IsCommentLine_IsTrueForBlankLinesAndMarks) {
    EXPECT_EQ(CNKFileStream::IsCommentLine(Make(GetParam().line)), GetParam().isComment);
}

TEST(NKFileStreamComment, ConfigurationFile_GivesTheOtherLines) {
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

} // namespace
