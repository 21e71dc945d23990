// CNKFileStream: text that is not ASCII, with two code pages.

#include "core/nkfilestream.h"

#include "tests/core/codepage_fixture.h"
#include "tests/core/nkfilestream_fixture.h"
#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <string>

using support::binaryMode;
using support::bothModes;
using support::Make;
using support::MakeList;
using support::ReadBytes;
using support::TakeFailure;

namespace {

using NKFileStreamCodePage1252 = support::CodePageTest<1252, support::NKFileStreamTest>;
using NKFileStreamCodePage932 = support::CodePageTest<932, support::NKFileStreamTest>;

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

TEST_F(NKFileStreamCodePage1252, CharactersOutsideTheCodePage_BecomeQuestionMarks) {
    CNKFileStream stream;
    Open(stream, "");
    EXPECT_TRUE(stream.WriteLine(L"a\x3042z\x00e4\x20ac"));
    CNKTokenString tokens;
    tokens = MakeList({L"\x3042", L"\x00e4"});
    EXPECT_TRUE(stream.WriteLine(tokens));
    EXPECT_EQ(ReadBytes(path), "a?z\xe4\x80\r\n?;\xe4\r\n");
}

TEST_F(NKFileStreamCodePage1252, EveryByte_IsReadAndWrittenUnchanged) {
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

TEST_F(NKFileStreamCodePage932, Pieces_AreCutByBytes) {
    std::string bytes;
    for (int count = 0; count < 63; ++count) {
        bytes += "\x82\xa0";
    }
    const std::wstring wide(63, L'\x3042');
    EXPECT_TEXTS(LinesOf(bytes + "\r\nb"), wide, L"b");
    EXPECT_TEXTS(LinesOf(bytes + "x\r\nb\r\nc"), wide + L"xb", L"c");

    // Cut between the two bytes of a character, of which neither is a character by itself.
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

TEST_F(NKFileStreamCodePage932, FirstByteWithoutASecond_LeavesTheLineEnd) {
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
