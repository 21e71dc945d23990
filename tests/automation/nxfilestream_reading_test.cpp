// NXFileStream through the vtable and late-bound: reading lines, stepping back, and comment lines.

#include <algorithm>
#include <cstddef>
#include <cwctype>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/filestreamtest.h"
#include "tests/core/textfiles.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::Binding;
using support::Bstr;
using support::FileStream;
using support::Lines;
using support::ReadBytes;

using NXFileStreamReadingTest = support::FileStreamTest;

INSTANTIATE_TEST_SUITE_P(ByBinding, NXFileStreamReadingTest, ::testing::Values(Binding::Vtable, Binding::LateBound),
                         support::NameOfBinding);

/// The characters of a file in the code page of the process.
std::wstring Wide(std::string_view narrow) {
    std::wstring wide(narrow.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, narrow.data(), static_cast<int>(narrow.size()),
                                                             wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

TEST_P(NXFileStreamReadingTest, ReadNextLine_EndsLinesByMode) {
    struct Row {
        const char* name;
        std::string_view bytes;
        Lines inTextMode;
        Lines inBinaryMode;
    };
    const Row rows[] = {
        {"Empty file", "", {L""}, {L""}},
        {"One line without an end", "a", {L"a"}, {L"a"}},
        {"CR LF", "a\r\nb\r\n", {L"a", L"b", L""}, {L"a\r", L"b\r", L""}},
        {"LF", "a\nb\n", {L"a", L"b", L""}, {L"a", L"b", L""}},
        {"Last line without an end", "a\r\nb", {L"a", L"b"}, {L"a\r", L"b"}},
        {"CR ends no line", "a\rb\r\nc\r", {L"a\rb", L"c\r"}, {L"a\rb\r", L"c\r"}},
        {"Empty lines", "\r\n\r\nx\r\n", {L"", L"", L"x", L""}, {L"\r", L"\r", L"x\r", L""}},
        {"Ctrl+Z does not end the file", "a\x1a\r\nb", {L"a\x1a", L"b"}, {L"a\x1a\r", L"b"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        OpenWith(row.bytes, FileStream::textMode);
        EXPECT_EQ(stream.Rest(), row.inTextMode);
        OpenWith(row.bytes, FileStream::binaryMode);
        EXPECT_EQ(stream.Rest(), row.inBinaryMode);
    }
}

TEST_P(NXFileStreamReadingTest, ReadNextLine_AtTheEnd_RepeatsTheLastLine) {
    OpenWith("one\r\ntwo");
    EXPECT_EQ(stream.Rest(), (Lines{L"one", L"two"}));
    EXPECT_BSTR(stream.ReadNextLine(), L"two");
    EXPECT_BSTR(stream.ReadNextLine(), L"two");
    EXPECT_EQ(stream.IsEOF(), VARIANT_TRUE);
    EXPECT_EQ(stream.IsOpen(), VARIANT_TRUE);
}

TEST_P(NXFileStreamReadingTest, ReadNextLine_OfLongLines_ReadsPieces) {
    const std::string next = "\r\nnext\r\n";
    const std::wstring longest(127, L'x');
    OpenWith(std::string(126, 'x') + next);
    EXPECT_EQ(stream.Rest(), (Lines{std::wstring(126, L'x'), L"next", L""}));
    OpenWith(std::string(127, 'x') + next);
    EXPECT_EQ(stream.Rest(), (Lines{longest + L"next", L""})) << "joined";
    for (const std::size_t length : {128u, 200u, 1000u}) {
        SCOPED_TRACE(length);
        OpenWith(std::string(length, 'x') + next);
        EXPECT_BSTR(stream.ReadNextLine(), longest);
        EXPECT_BSTR(stream.ReadNextLine(), L"");
        EXPECT_BSTR(stream.ReadNextLine(), L"");
        EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
        EXPECT_EQ(stream.WriteLine(L"not here"), VARIANT_TRUE);
        EXPECT_EQ(ReadBytes(path), std::string(length, 'x') + next);
        EXPECT_EQ(stream.UngetLine(), VARIANT_FALSE) << "fails once";
        EXPECT_BSTR(stream.ReadNextLine(), std::wstring(std::min<std::size_t>(length - 127, 127), L'x'));
    }
}

TEST_P(NXFileStreamReadingTest, ReadNextLine_ConvertsFromTheCodePage) {
    const std::string bytes = "\xA7\xB6";
    OpenWith(bytes);
    EXPECT_EQ(stream.Rest(), Lines{Wide(bytes)});
}

TEST_P(NXFileStreamReadingTest, UngetLine_StepsBackOverTheLastLine) {
    OpenWith("one\r\ntwo\r\nthree\r\n");
    stream.ReadNextLine();
    EXPECT_BSTR(stream.ReadNextLine(), L"two");
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE);
    EXPECT_BSTR(stream.ReadNextLine(), L"two");
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE);
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE) << "by as much again";
    EXPECT_EQ(stream.Rest(), (Lines{L"one", L"two", L"three", L""}));
}

TEST_P(NXFileStreamReadingTest, UngetLine_AtTheBeginning_Fails) {
    OpenWith("one\r\ntwo");
    EXPECT_EQ(stream.UngetLine(), VARIANT_FALSE);
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
}

TEST_P(NXFileStreamReadingTest, UngetLine_AtTheEnd_StepsBackTwoBytesOrFails) {
    OpenWith("one\r\nthree");
    EXPECT_EQ(stream.Rest().size(), 2u);
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_EQ(stream.Rest(), Lines{L"ee"});

    OpenWith("one\r\n");
    EXPECT_EQ(stream.Rest(), (Lines{L"one", L""}));
    EXPECT_EQ(stream.UngetLine(), VARIANT_FALSE) << "after the empty line that follows the last line end";
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_EQ(stream.Rest(), Lines{L""});
}

TEST_P(NXFileStreamReadingTest, IsCommentLine_IsTrueOfBlankLinesAndMarkers) {
    struct Row {
        const char* name;
        std::wstring_view line;
        bool isComment;
    };
    const Row rows[] = {
        {"Empty", L"", true},
        {"Blanks", L"   ", true},
        {"Tab", L"\t", true},
        {"CR", L"\r", true},
        {"No-break space", L"\xA0", std::iswspace(0xA0) != 0},
        {"Semicolon", L";", true},
        {"Number sign", L"#", true},
        {"Semicolon and text", L"; text", true},
        {"Number sign and text", L"#text", true},
        {"Blank before the semicolon", L" ;", false},
        {"Blanks before the semicolon", L"  ;x", false},
        {"Blank before the number sign", L" #", false},
        {"Semicolon after text", L"x;", false},
        {"Text", L"x", false},
        {"Slashes", L"//", false},
        {"Apostrophe", L"'x", false},
        {"Hyphen", L"-", false},
        {"NUL first: an empty line", L"\0x"sv, true},
        {"Semicolon and NUL", L";\0x"sv, true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(stream.IsCommentLine(row.line), row.isComment ? VARIANT_TRUE : VARIANT_FALSE) << row.name;
    }
    EXPECT_EQ(stream.IsCommentLine(Bstr()), VARIANT_TRUE) << "Null";
}

TEST_P(NXFileStreamReadingTest, IsCommentLine_DoesNotMoveThePosition) {
    OpenWith("one\r\ntwo");
    stream.ReadNextLine();
    const Bstr line(L"; text");
    EXPECT_EQ(stream.IsCommentLine(line), VARIANT_TRUE);
    EXPECT_BSTR(line, L"; text");
    EXPECT_EQ(stream.Rest(), Lines{L"two"});
}

} // namespace
