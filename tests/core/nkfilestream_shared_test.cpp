// CNKFileStream: files that others have open too.

#include "core/nkfilestream.h"

#include "tests/core/nkfilestream_fixture.h"
#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

#include <windows.h>

using namespace std::literals;
using support::Exists;
using support::Make;
using support::OpenFile;
using support::ReadAll;
using support::ReadBytes;
using support::TakeFailure;
using support::textMode;
using support::WriteBytes;

namespace {

using NKFileStreamShared = support::NKFileStreamTest;

TEST_F(NKFileStreamShared, OpenFile_IsReadAndWrittenByOthers) {
    CNKFileStream stream;
    Open(stream, "a\r\nb\r\n");
    EXPECT_TRUE(OpenFile(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE) != nullptr);
    CNKFileStream other;
    EXPECT_TRUE(other.Open(Make(path), textMode));
    EXPECT_BSTR(other.ReadNextLine(), L"a");
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
}

TEST_F(NKFileStreamShared, AppendByAnother_IsReadAfterTheFlagsAreReset) {
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

TEST_F(NKFileStreamShared, ChangeByAnother_IsReadAfterARewind) {
    CNKFileStream reader;
    Open(reader, "a\r\nb\r\n");
    EXPECT_BSTR(reader.ReadNextLine(), L"a");
    CNKFileStream writer;
    EXPECT_TRUE(writer.Open(Make(path), textMode));
    EXPECT_TRUE(writer.WriteLine(L"x"));
    EXPECT_TRUE(reader.RewindRead());
    EXPECT_TEXTS(ReadAll(reader), L"x", L"b", L"");
}

TEST_F(NKFileStreamShared, OpenFile_CannotBeDeleted) {
    CNKFileStream stream;
    Open(stream, "a\r\nb\r\n");
    EXPECT_FALSE(DeleteFileW(path.c_str()));
    EXPECT_TEXTS(ReadAll(stream), L"a", L"b", L"");
    stream.Close();
    EXPECT_TRUE(DeleteFileW(path.c_str()));
    EXPECT_FALSE(stream.Reopen(textMode));
    EXPECT_FALSE(Exists(path));
}

TEST_F(NKFileStreamShared, FileTruncatedByAnother_EndsAndCanStillBeWritten) {
    std::string bytes;
    for (int number = 10'000; number < 60'000; ++number) {
        bytes += std::to_string(number) + "\r\n";
    }
    CNKFileStream stream;
    Open(stream, bytes);
    EXPECT_BSTR(stream.ReadNextLine(), L"10000");
    WriteBytes(path, "");
    int number = 10'000;
    // Lines that were read ahead are still returned; only the last line may be incomplete.
    while (!stream.IsEOF() && number < 60'000) {
        const CNKString& line = stream.ReadNextLine();
        if (!stream.IsEOF()) {
            ASSERT_EQ(support::Held(line), std::to_wstring(++number));
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

} // namespace
