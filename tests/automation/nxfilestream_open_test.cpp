// NXFileStream through the vtable and late-bound: opening, closing, clearing, and file names.

#include <string>
#include <string_view>
#include <vector>

#include <atlbase.h>
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
using support::Exists;
using support::FileStream;
using support::IsClosed;
using support::Lines;
using support::ReadBytes;
using support::WriteBytes;

using NXFileStreamOpenTest = support::FileStreamTest;

INSTANTIATE_TEST_SUITE_P(ByBinding, NXFileStreamOpenTest, ::testing::Values(Binding::Vtable, Binding::LateBound),
                         support::NameOfBinding);

TEST_P(NXFileStreamOpenTest, New_IsClosedWithoutAName) {
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_TRUE);
    EXPECT_NULL_BSTR(stream.FileName());
    EXPECT_NULL_BSTR(stream.ReadNextLine());
}

TEST_P(NXFileStreamOpenTest, Closed_DoesNothing) {
    EXPECT_EQ(stream.Flush(), VARIANT_FALSE);
    EXPECT_EQ(stream.UngetLine(), VARIANT_FALSE);
    EXPECT_EQ(stream.WriteLine(L"line"), VARIANT_FALSE);
    stream.Close();
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
}

TEST_P(NXFileStreamOpenTest, Open_OpensAnExistingFileAtItsBeginning) {
    OpenWith("one\r\ntwo");
    EXPECT_EQ(stream.IsOpen(), VARIANT_TRUE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_EQ(stream.Flush(), VARIANT_TRUE);
    EXPECT_BSTR(stream.FileName(), path);
    EXPECT_EQ(stream.Rest(), (Lines{L"one", L"two"}));
    EXPECT_EQ(ReadBytes(path), "one\r\ntwo");
}

TEST_P(NXFileStreamOpenTest, Open_OfAMissingFile_FailsAndKeepsTheName) {
    EXPECT_EQ(stream.Open(path), VARIANT_FALSE);
    EXPECT_FALSE(Exists(path));
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_TRUE);
    EXPECT_BSTR(stream.FileName(), path);
}

TEST_P(NXFileStreamOpenTest, Open_OfNoFile_FailsAndKeepsTheName) {
    WriteBytes(path, "untouched");
    const struct {
        const char* name;
        std::wstring fileName;
    } rows[] = {
        {"Empty", L""},
        {"Blank", L" "},
        {"Folder", folder.Path()},
        {"File in a missing folder", folder / L"no such folder\\file.txt"},
        {"Wildcard *", folder / L"*.txt"},
        {"Wildcard ?", folder / L"f?le.txt"},
        {"Characters < and >", folder / L"<>"},
        {"Character |", folder / L"a|b"},
        {"Prefix of long paths", L"\\\\?\\"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(stream.Open(row.fileName), VARIANT_FALSE);
        EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
        EXPECT_BSTR(stream.FileName(), row.fileName);
    }
    EXPECT_EQ(support::NamesIn(folder.Path()), Lines{L"file.txt"});
    EXPECT_EQ(ReadBytes(path), "untouched");
}

TEST_P(NXFileStreamOpenTest, Open_OfNull_FailsAndClearsTheName) {
    OpenWith("one");
    EXPECT_EQ(stream.Open(Bstr()), VARIANT_FALSE);
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_NULL_BSTR(stream.FileName());
    EXPECT_TRUE(IsClosed(path));
}

TEST_P(NXFileStreamOpenTest, Open_OfAFileInExclusiveUse_Fails) {
    WriteBytes(path, "untouched");
    const support::FileHandle exclusive = support::OpenFile(path, GENERIC_READ, 0);
    EXPECT_EQ(stream.Open(path), VARIANT_FALSE);
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
}

TEST_P(NXFileStreamOpenTest, Open_WhileOpen_ClosesTheOtherFile) {
    const std::wstring second = folder / L"second.txt";
    WriteBytes(second, "second");
    OpenWith("first");
    stream.ReadNextLine();
    EXPECT_EQ(stream.Open(second), VARIANT_TRUE);
    EXPECT_TRUE(IsClosed(path));
    EXPECT_BSTR(stream.FileName(), second);
    EXPECT_EQ(stream.Rest(), Lines{L"second"});
    EXPECT_EQ(stream.Open(folder / L"missing.txt"), VARIANT_FALSE);
    EXPECT_TRUE(IsClosed(second));
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
}

TEST_P(NXFileStreamOpenTest, Open_Again_StartsAtTheBeginning) {
    OpenWith("one\r\ntwo");
    EXPECT_EQ(stream.Rest().size(), 2u);
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
}

TEST_P(NXFileStreamOpenTest, Open_AnyNonZeroMode_IsBinary) {
    for (const VARIANT_BOOL mode : {short{-1}, short{1}, short{2}, short{-2}, short{0x100}, short{0x7FFF}}) {
        SCOPED_TRACE(mode);
        OpenWith("a\r\nb", mode);
        EXPECT_EQ(stream.Rest(), (Lines{L"a\r", L"b"}));
    }
    OpenWith("a\r\nb", 0);
    EXPECT_EQ(stream.Rest(), (Lines{L"a", L"b"}));
}

TEST_P(NXFileStreamOpenTest, Open_OfANameWithLettersOfSeveralScripts_Opens) {
    const std::wstring name = folder / L"\x00e4\x4e2d.txt";
    if (_wgetenv(L"NUVOLEX_LOCALE") != nullptr && support::OpenFile(name, GENERIC_WRITE, 0, CREATE_ALWAYS) == nullptr) {
        GTEST_SKIP() << "This locale is not installed, and so Wine takes only ASCII names.";
    }
    WriteBytes(name, "line");
    EXPECT_EQ(stream.Open(name), VARIANT_TRUE);
    EXPECT_BSTR(stream.FileName(), name);
    EXPECT_EQ(stream.Rest(), Lines{L"line"});
}

TEST_P(NXFileStreamOpenTest, Open_OfANameWithANul_UsesTheNameUpToIt) {
    WriteBytes(path, "line");
    EXPECT_EQ(stream.Open(path + std::wstring(L"\0.bak"sv)), VARIANT_TRUE);
    EXPECT_BSTR(stream.FileName(), path);
}

TEST_P(NXFileStreamOpenTest, Name_IsCopied) {
    WriteBytes(path, "");
    const Bstr given(path);
    EXPECT_EQ(stream.Open(given), VARIANT_TRUE);
    EXPECT_BSTR(given, path);
    given[0] = L'?';
    const Bstr first = stream.FileName();
    const Bstr second = stream.FileName();
    EXPECT_BSTR(first, path);
    EXPECT_NE(static_cast<BSTR>(first), static_cast<BSTR>(second));
    first[0] = L'?';
    EXPECT_BSTR(second, path);
    EXPECT_BSTR(stream.FileName(), path);
}

TEST_P(NXFileStreamOpenTest, Close_KeepsTheNameAndTheLastLine) {
    OpenWith("one\r\ntwo\r\n");
    stream.ReadNextLine();
    stream.Close();
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_TRUE);
    EXPECT_TRUE(IsClosed(path));
    EXPECT_BSTR(stream.FileName(), path);
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
    stream.Close();
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
    EXPECT_EQ(stream.Flush(), VARIANT_FALSE);
    EXPECT_EQ(stream.UngetLine(), VARIANT_FALSE);
    EXPECT_EQ(stream.WriteLine(L"three"), VARIANT_FALSE);
    EXPECT_EQ(ReadBytes(path), "one\r\ntwo\r\n");
}

TEST_P(NXFileStreamOpenTest, Clear_EmptiesTheFileAndCloses) {
    OpenWith("one\r\ntwo");
    stream.ReadNextLine();
    stream.Clear();
    EXPECT_EQ(ReadBytes(path), "");
    EXPECT_TRUE(IsClosed(path));
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_BSTR(stream.FileName(), path);
    EXPECT_NULL_BSTR(stream.ReadNextLine());
}

TEST_P(NXFileStreamOpenTest, Clear_AfterClose_EmptiesTheFileToo) {
    OpenWith("one");
    stream.Close();
    stream.Clear();
    EXPECT_EQ(ReadBytes(path), "");
}

TEST_P(NXFileStreamOpenTest, Clear_AfterAFailedOpen_CreatesTheFile) {
    EXPECT_EQ(stream.Open(path), VARIANT_FALSE);
    stream.Clear();
    EXPECT_EQ(ReadBytes(path), "");
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_EQ(stream.WriteLine(L"first"), VARIANT_TRUE);
    EXPECT_EQ(ReadBytes(path), "first\r\n");
}

TEST_P(NXFileStreamOpenTest, Clear_WithoutAName_DoesNothing) {
    stream.Clear();
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_NULL_BSTR(stream.FileName());
    EXPECT_EQ(support::NamesIn(folder.Path()), Lines{});
}

TEST_P(NXFileStreamOpenTest, Clear_OfAFileInExclusiveUse_ChangesNothing) {
    WriteBytes(path, "untouched");
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    stream.Close();
    {
        const support::FileHandle exclusive = support::OpenFile(path, GENERIC_READ, 0);
        stream.Clear();
    }
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_EQ(ReadBytes(path), "untouched");
}

// Several streams

TEST_P(NXFileStreamOpenTest, Streams_ShareAFile) {
    OpenWith("one\r\n");
    const FileStream other(GetParam());
    EXPECT_EQ(other.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(other.ReadNextLine(), L"one");
    stream.ReadNextLine();
    EXPECT_EQ(stream.WriteLine(L"two"), VARIANT_TRUE);
    EXPECT_EQ(stream.Flush(), VARIANT_TRUE);
    EXPECT_BSTR(other.ReadNextLine(), L"two");
    other.Close();
    EXPECT_EQ(stream.IsOpen(), VARIANT_TRUE);
}

TEST_P(NXFileStreamOpenTest, LastReference_ClosesTheFile) {
    OpenWith("one\r\n");
    stream.ReadNextLine();
    EXPECT_EQ(stream.WriteLine(L"two"), VARIANT_TRUE);
    CComPtr<INXFileStream> another = stream.Raw();
    stream.Release();
    EXPECT_FALSE(IsClosed(path));
    another.Release();
    EXPECT_TRUE(IsClosed(path));
    EXPECT_EQ(ReadBytes(path), "one\r\ntwo\r\n");
}

TEST_P(NXFileStreamOpenTest, ManyStreams_MayBeOpenAtOnce) {
    WriteBytes(path, "line");
    std::vector<FileStream> streams;
    for (int count = 0; count < 300; ++count) {
        streams.emplace_back(GetParam());
        EXPECT_EQ(streams.back().Open(path), VARIANT_TRUE);
    }
    for (const FileStream& one : streams) {
        EXPECT_BSTR(one.ReadNextLine(), L"line");
    }
}

} // namespace
