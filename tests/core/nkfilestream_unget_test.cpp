// CNKFileStream::UngetLine.

#include "core/nkfilestream.h"

#include "tests/core/nkfilestream_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

using namespace std::literals;
using support::binaryMode;
using support::fromBeginning;
using support::Line;
using support::ReadAll;
using support::Wide;

namespace {

using NKFileStreamUnget = support::NKFileStreamTest;
using NKFileStreamUngetInEachMode = support::NKFileStreamModeTest;

INSTANTIATE_BOTH_MODES(NKFileStreamUngetInEachMode);

TEST_F(NKFileStreamUnget, Line_IsReadAgain) {
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

TEST_F(NKFileStreamUnget, FirstLine_IsReadAgain) {
    CNKFileStream stream;
    Open(stream, "abc\r\nd");
    stream.ReadNextLine();
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 0);
    EXPECT_BSTR(stream.ReadNextLine(), L"abc");
}

TEST_F(NKFileStreamUnget, Twice_MovesBackByTheSameNumberOfBytes) {
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

TEST_F(NKFileStreamUnget, PastTheBeginning_IsRefusedAndMovesNothing) {
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

TEST_F(NKFileStreamUnget, WithoutALineRead_MovesBackTwoBytes) {
    CNKFileStream stream;
    Open(stream, "abc\r\nd");
    EXPECT_TRUE(stream.SeekRead(4, fromBeginning));
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 2);
}

TEST_F(NKFileStreamUnget, EmptyLine_MovesBackTwoBytes) {
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

TEST_F(NKFileStreamUnget, LineWithNul_CountsOnlyItsText) {
    CNKFileStream stream;
    Open(stream, "ab\0cd\r\ne"sv);
    stream.ReadNextLine();
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 3);
    EXPECT_BSTR(stream.ReadNextLine(), L"cd");
}

TEST_P(NKFileStreamUngetInEachMode, AtTheEndWithoutLineEnd_MovesBackTwoBytesAndResetsEndOfFile) {
    CNKFileStream stream;
    Open(stream, "a\nbcd", GetParam());
    EXPECT_TEXTS(ReadAll(stream), L"a", L"bcd");
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 3);
    EXPECT_BSTR(stream.ReadNextLine(), L"cd");
    EXPECT_TRUE(stream.IsEOF());
}

TEST_F(NKFileStreamUnget, AtTheEndTwice_MovesBackTwoBytesAndThenIsRefused) {
    CNKFileStream stream;
    Open(stream, "a\r\nbcd");
    ReadAll(stream);
    EXPECT_TRUE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 4);
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_EQ(stream.TellRead(), 4);
}

TEST_F(NKFileStreamUnget, AtTheEndOfAOneByteFile_IsRefused) {
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

TEST_F(NKFileStreamUnget, InAFileOfSeveralMegabytes_WorksAcrossReadBlocks) {
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
        ASSERT_EQ(support::Held(stream.ReadNextLine()), std::to_wstring(100'000 + line));
        ++line;
        ASSERT_EQ(stream.TellRead(), std::int64_t{line} * lineLength);
    };
    // Back and forth, across several read blocks.
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

} // namespace
