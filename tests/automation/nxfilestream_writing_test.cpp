// NXFileStream through the vtable and late-bound: writing lines.

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

using NXFileStreamWritingTest = support::FileStreamTest;

INSTANTIATE_TEST_SUITE_P(ByBinding, NXFileStreamWritingTest, ::testing::Values(Binding::Vtable, Binding::LateBound),
                         support::NameOfBinding);

/// Characters in the code page of the process, as they are written to a file.
std::string Narrow(std::wstring_view wide) {
    std::string narrow(2 * wide.size(), '\0');
    narrow.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()),
                                                               narrow.data(), static_cast<int>(narrow.size()), nullptr,
                                                               nullptr)));
    return narrow;
}

TEST_P(NXFileStreamWritingTest, WriteLine_WritesTheLineAndALineEnd) {
    struct Row {
        const char* name;
        std::wstring_view line;
        std::string inTextMode;
        std::string inBinaryMode;
    };
    const std::wstring_view letters = L"\x00A7\x4E2D\xFF67";
    const Row rows[] = {
        {"Text", L"one", "one\r\n", "one\n"},
        {"Empty", L"", "\r\n", "\n"},
        {"LF inside", L"one\ntwo", "one\r\ntwo\r\n", "one\ntwo\n"},
        {"CR and CR LF inside", L"one\rtwo\r\n", "one\rtwo\r\r\n\r\n", "one\rtwo\r\n\n"},
        {"NUL inside", L"one\0two"sv, "one\r\n", "one\n"},
        {"Letters of the code page", letters, Narrow(letters) + "\r\n", Narrow(letters) + "\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        OpenWith("", FileStream::textMode);
        EXPECT_EQ(stream.WriteLine(row.line), VARIANT_TRUE);
        EXPECT_EQ(ReadBytes(path), row.inTextMode);
        OpenWith("", FileStream::binaryMode);
        EXPECT_EQ(stream.WriteLine(row.line), VARIANT_TRUE);
        EXPECT_EQ(ReadBytes(path), row.inBinaryMode);
    }
}

TEST_P(NXFileStreamWritingTest, WriteLine_OfNull_WritesALineEnd) {
    OpenWith("");
    EXPECT_EQ(stream.WriteLine(Bstr()), VARIANT_TRUE);
    EXPECT_EQ(ReadBytes(path), "\r\n");
}

TEST_P(NXFileStreamWritingTest, WriteLine_LongLines_AreWrittenWhole) {
    OpenWith("");
    const Bstr line(std::wstring(100000, L'x'));
    EXPECT_EQ(stream.WriteLine(line), VARIANT_TRUE);
    EXPECT_EQ(ReadBytes(path), std::string(100000, 'x') + "\r\n");
    EXPECT_BSTR(line, std::wstring(100000, L'x')) << "still the caller's";
}

TEST_P(NXFileStreamWritingTest, WriteLine_AfterReading_OverwritesTheNextLine) {
    OpenWith("one\r\ntwo\r\nthree\r\n");
    stream.ReadNextLine();
    EXPECT_EQ(stream.WriteLine(L"TWO"), VARIANT_TRUE);
    EXPECT_EQ(ReadBytes(path), "one\r\nTWO\r\nthree\r\n");
    EXPECT_EQ(stream.Rest(), (Lines{L"three", L""}));
}

TEST_P(NXFileStreamWritingTest, WriteLine_AtTheEnd_Appends) {
    for (const std::string bytes : {"one\r\n", "one\r\ntwo"}) {
        OpenWith(bytes);
        EXPECT_EQ(stream.Rest().size(), 2u);
        EXPECT_EQ(stream.WriteLine(L"last"), VARIANT_TRUE);
        EXPECT_EQ(stream.WriteLine(L"really"), VARIANT_TRUE);
        EXPECT_EQ(ReadBytes(path), bytes + "last\r\nreally\r\n");
        EXPECT_EQ(stream.IsEOF(), VARIANT_TRUE);
    }
}

TEST_P(NXFileStreamWritingTest, WriteLine_LeavesTheLastLineRead) {
    OpenWith("one\r\n");
    stream.ReadNextLine();
    EXPECT_EQ(stream.WriteLine(L"two"), VARIANT_TRUE);
    stream.Close();
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
}

} // namespace
