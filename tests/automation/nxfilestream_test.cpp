// NXFileStream, the object in the registered DLL: every member through the vtable and late-bound, then what is special
// to either way to call.

#include <algorithm>
#include <cwctype>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/core/textfiles.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::Bstr;
using support::Create;
using support::DispatchObject;
using support::Exists;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::IsClosed;
using support::ReadBytes;
using support::Require;
using support::Variant;
using support::Way;
using support::WriteBytes;

using Lines = std::vector<std::wstring>;

// The members' DISPIDs, which compiled scripts contain.
constexpr DISPID idClear = 0x60020000;
constexpr DISPID idClose = 0x60020001;
constexpr DISPID idFlush = 0x60020002;
constexpr DISPID idIsCommentLine = 0x60020003;
constexpr DISPID idIsEOF = 0x60020004;
constexpr DISPID idIsOpen = 0x60020005;
constexpr DISPID idReadNextLine = 0x60020006;
constexpr DISPID idOpen = 0x60020007;
constexpr DISPID idUngetLine = 0x60020008;
constexpr DISPID idWriteLine = 0x60020009;
constexpr DISPID idFileName = 0x6002000A;

constexpr VARIANT_BOOL textMode = VARIANT_FALSE;
constexpr VARIANT_BOOL binaryMode = VARIANT_TRUE;

void WarmUp() {
    support::WarmUp(CLSID_NXFileStream, {.member = idOpen}, {.member = idIsCommentLine, .arguments = {L"x"}});
}

Bstr CopyOf(BSTR original) {
    return original == nullptr ? Bstr() : Bstr(std::wstring_view(original, SysStringLen(original)));
}

/// A text as it is written to a file, and the other way round.
std::string Narrow(std::wstring_view wide) {
    std::string narrow(2 * wide.size(), '\0');
    narrow.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()),
                                                               narrow.data(), static_cast<int>(narrow.size()), nullptr,
                                                               nullptr)));
    return narrow;
}
std::wstring Wide(std::string_view narrow) {
    std::wstring wide(narrow.size(), L'\0');
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, narrow.data(), static_cast<int>(narrow.size()),
                                                             wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

class FileStream : public support::Client<INXFileStream> {
  public:
    explicit FileStream(Way way) : Client(way, CLSID_NXFileStream) {}

    void Clear() const { Call(L"Clear", &INXFileStream::Clear); }
    void Close() const { Call(L"Close", &INXFileStream::Close); }
    VARIANT_BOOL Flush() const { return CallFor<VARIANT_BOOL>(L"Flush", &INXFileStream::Flush); }
    VARIANT_BOOL IsCommentLine(const Bstr& line) const {
        return CallFor<VARIANT_BOOL>(L"IsCommentLine", &INXFileStream::IsCommentLine, static_cast<BSTR>(line));
    }
    VARIANT_BOOL IsCommentLine(std::wstring_view line) const { return IsCommentLine(Bstr(line)); }
    VARIANT_BOOL IsEOF() const { return CallFor<VARIANT_BOOL>(L"IsEOF", &INXFileStream::IsEOF); }
    VARIANT_BOOL IsOpen() const { return CallFor<VARIANT_BOOL>(L"IsOpen", &INXFileStream::IsOpen); }
    /// A copy that the caller owns, either way.
    Bstr ReadNextLine() const {
        if (WayToCall() == Way::LateBound) {
            return CallFor<BSTR>(L"ReadNextLine", &INXFileStream::ReadNextLine);
        }
        return CopyOf(LentLine());
    }
    VARIANT_BOOL Open(const Bstr& fileName, VARIANT_BOOL mode = textMode) const {
        return CallFor<VARIANT_BOOL>(L"Open", &INXFileStream::Open, static_cast<BSTR>(fileName), mode);
    }
    VARIANT_BOOL Open(std::wstring_view fileName, VARIANT_BOOL mode = textMode) const {
        return Open(Bstr(fileName), mode);
    }
    VARIANT_BOOL UngetLine() const { return CallFor<VARIANT_BOOL>(L"UngetLine", &INXFileStream::UngetLine); }
    VARIANT_BOOL WriteLine(const Bstr& line) const {
        return CallFor<VARIANT_BOOL>(L"WriteLine", &INXFileStream::WriteLine, static_cast<BSTR>(line));
    }
    VARIANT_BOOL WriteLine(std::wstring_view line) const { return WriteLine(Bstr(line)); }
    Bstr FileName() const { return Get<BSTR>(L"fileName", &INXFileStream::get_fileName); }

    /// What ReadNextLine gives through the vtable: the stream's own string.
    BSTR LentLine() const {
        OLECHAR garbage[] = L"not a BSTR";
        BSTR line = garbage;
        Require(Raw()->ReadNextLine(&line), "ReadNextLine");
        return line;
    }

    /// The lines up to the end of the file, which must come.
    [[nodiscard]] Lines Rest() const {
        Lines lines;
        while (IsEOF() == VARIANT_FALSE && lines.size() < 100) {
            const Bstr line = ReadNextLine();
            EXPECT_NE(static_cast<BSTR>(line), nullptr) << "A line that was read is not null.";
            lines.emplace_back(line == nullptr ? L"" : static_cast<BSTR>(line), SysStringLen(line));
        }
        return lines;
    }
};

/// A folder, and a file in it.
class Files : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    const support::TemporaryFolder folder;
    const std::wstring path = folder / L"file.txt";
};

class NXFileStreamTest : public Files, public ::testing::WithParamInterface<Way> {
  protected:
    /// Opens a new file of these bytes.
    void OpenWith(std::string_view bytes, VARIANT_BOOL mode = textMode) const {
        WriteBytes(path, bytes);
        EXPECT_EQ(stream.Open(path, mode), VARIANT_TRUE);
    }

    FileStream stream{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(ByWayToCall, NXFileStreamTest, ::testing::Values(Way::Vtable, Way::LateBound),
                         support::NameOfWay);

// Opening and closing

TEST_P(NXFileStreamTest, New_IsClosedWithoutAName) {
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_TRUE);
    EXPECT_NULL_BSTR(stream.FileName());
    EXPECT_NULL_BSTR(stream.ReadNextLine());
}

TEST_P(NXFileStreamTest, Closed_DoesNothing) {
    EXPECT_EQ(stream.Flush(), VARIANT_FALSE);
    EXPECT_EQ(stream.UngetLine(), VARIANT_FALSE);
    EXPECT_EQ(stream.WriteLine(L"line"), VARIANT_FALSE);
    stream.Close();
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
}

TEST_P(NXFileStreamTest, Open_OpensAnExistingFileAtItsBeginning) {
    OpenWith("one\r\ntwo");
    EXPECT_EQ(stream.IsOpen(), VARIANT_TRUE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_EQ(stream.Flush(), VARIANT_TRUE);
    EXPECT_BSTR(stream.FileName(), path);
    EXPECT_EQ(stream.Rest(), (Lines{L"one", L"two"}));
    EXPECT_EQ(ReadBytes(path), "one\r\ntwo");
}

TEST_P(NXFileStreamTest, Open_OfAMissingFile_FailsAndKeepsTheName) {
    EXPECT_EQ(stream.Open(path), VARIANT_FALSE);
    EXPECT_FALSE(Exists(path));
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_TRUE);
    EXPECT_BSTR(stream.FileName(), path);
}

TEST_P(NXFileStreamTest, Open_OfNoFile_FailsAndKeepsTheName) {
    WriteBytes(path, "untouched");
    const std::wstring names[] = {L"",
                                  folder.Path(),
                                  folder / L"no such folder\\file.txt",
                                  folder / L"*.txt",
                                  folder / L"f?le.txt",
                                  folder / L"<>",
                                  folder / L"a|b",
                                  L"\\\\?\\",
                                  L" "};
    for (const std::wstring& name : names) {
        SCOPED_TRACE(support::Printed(name));
        EXPECT_EQ(stream.Open(name), VARIANT_FALSE);
        EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
        EXPECT_BSTR(stream.FileName(), name);
    }
    EXPECT_EQ(support::NamesIn(folder.Path()), Lines{L"file.txt"});
    EXPECT_EQ(ReadBytes(path), "untouched");
}

TEST_P(NXFileStreamTest, Open_OfNull_FailsAndForgetsTheName) {
    OpenWith("one");
    EXPECT_EQ(stream.Open(Bstr()), VARIANT_FALSE);
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_NULL_BSTR(stream.FileName());
    EXPECT_TRUE(IsClosed(path));
}

TEST_P(NXFileStreamTest, Open_OfAFileThatNobodyMayOpen_Fails) {
    WriteBytes(path, "untouched");
    const support::FileHandle exclusive = support::OpenFile(path, GENERIC_READ, 0);
    EXPECT_EQ(stream.Open(path), VARIANT_FALSE);
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
}

TEST_P(NXFileStreamTest, Open_WhileOpen_ClosesTheOtherFile) {
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

TEST_P(NXFileStreamTest, Open_Again_StartsAtTheBeginning) {
    OpenWith("one\r\ntwo");
    EXPECT_EQ(stream.Rest().size(), 2u);
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
}

TEST_P(NXFileStreamTest, Open_AnyNonZeroMode_IsBinary) {
    for (const VARIANT_BOOL mode : {short{-1}, short{1}, short{2}, short{-2}, short{0x100}, short{0x7FFF}}) {
        SCOPED_TRACE(mode);
        OpenWith("a\r\nb", mode);
        EXPECT_EQ(stream.Rest(), (Lines{L"a\r", L"b"}));
    }
    OpenWith("a\r\nb", 0);
    EXPECT_EQ(stream.Rest(), (Lines{L"a", L"b"}));
}

TEST_P(NXFileStreamTest, Open_OfANameWithLettersFromAnywhere_Opens) {
    const std::wstring name = folder / L"\x00e4\x4e2d.txt";
    if (_wgetenv(L"NUVOLEX_LOCALE") != nullptr && support::OpenFile(name, GENERIC_WRITE, 0, CREATE_ALWAYS) == nullptr) {
        GTEST_SKIP() << "This locale is not installed, and so Wine takes only ASCII names.";
    }
    WriteBytes(name, "line");
    EXPECT_EQ(stream.Open(name), VARIANT_TRUE);
    EXPECT_BSTR(stream.FileName(), name);
    EXPECT_EQ(stream.Rest(), Lines{L"line"});
}

TEST_P(NXFileStreamTest, Open_OfANameWithANul_OpensWhatIsBeforeIt) {
    WriteBytes(path, "line");
    EXPECT_EQ(stream.Open(path + std::wstring(L"\0.bak"sv)), VARIANT_TRUE);
    EXPECT_BSTR(stream.FileName(), path);
}

TEST_P(NXFileStreamTest, Name_IsTheCallersAndACopy) {
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

TEST_P(NXFileStreamTest, Close_KeepsTheNameAndTheLineReadLast) {
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

TEST_P(NXFileStreamTest, Clear_EmptiesTheFileAndCloses) {
    OpenWith("one\r\ntwo");
    stream.ReadNextLine();
    stream.Clear();
    EXPECT_EQ(ReadBytes(path), "");
    EXPECT_TRUE(IsClosed(path));
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_BSTR(stream.FileName(), path);
    EXPECT_NULL_BSTR(stream.ReadNextLine());
}

TEST_P(NXFileStreamTest, Clear_AfterClose_EmptiesTheFileToo) {
    OpenWith("one");
    stream.Close();
    stream.Clear();
    EXPECT_EQ(ReadBytes(path), "");
}

TEST_P(NXFileStreamTest, Clear_AfterAFailedOpen_CreatesTheFile) {
    EXPECT_EQ(stream.Open(path), VARIANT_FALSE);
    stream.Clear();
    EXPECT_EQ(ReadBytes(path), "");
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_EQ(stream.WriteLine(L"first"), VARIANT_TRUE);
    EXPECT_EQ(ReadBytes(path), "first\r\n");
}

TEST_P(NXFileStreamTest, Clear_WithoutAName_DoesNothing) {
    stream.Clear();
    EXPECT_EQ(stream.IsOpen(), VARIANT_FALSE);
    EXPECT_NULL_BSTR(stream.FileName());
    EXPECT_EQ(support::NamesIn(folder.Path()), Lines{});
}

TEST_P(NXFileStreamTest, Clear_OfAFileThatNobodyMayOpen_ChangesNothing) {
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

// Reading

TEST_P(NXFileStreamTest, ReadNextLine_EndsLinesByMode) {
    struct Row {
        std::string_view bytes;
        Lines asText;
        Lines asBinary;
    };
    const Row rows[] = {
        {"", {L""}, {L""}},
        {"a", {L"a"}, {L"a"}},
        {"a\r\nb\r\n", {L"a", L"b", L""}, {L"a\r", L"b\r", L""}},
        {"a\nb\n", {L"a", L"b", L""}, {L"a", L"b", L""}},
        {"a\r\nb", {L"a", L"b"}, {L"a\r", L"b"}},
        {"a\rb\r\nc\r", {L"a\rb", L"c\r"}, {L"a\rb\r", L"c\r"}},
        {"\r\n\r\nx\r\n", {L"", L"", L"x", L""}, {L"\r", L"\r", L"x\r", L""}},
        {"a\x1a\r\nb", {L"a\x1a", L"b"}, {L"a\x1a\r", L"b"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.bytes));
        OpenWith(row.bytes, textMode);
        EXPECT_EQ(stream.Rest(), row.asText);
        OpenWith(row.bytes, binaryMode);
        EXPECT_EQ(stream.Rest(), row.asBinary);
    }
}

TEST_P(NXFileStreamTest, ReadNextLine_AtTheEnd_RepeatsTheLastLine) {
    OpenWith("one\r\ntwo");
    EXPECT_EQ(stream.Rest(), (Lines{L"one", L"two"}));
    EXPECT_BSTR(stream.ReadNextLine(), L"two");
    EXPECT_BSTR(stream.ReadNextLine(), L"two");
    EXPECT_EQ(stream.IsEOF(), VARIANT_TRUE);
    EXPECT_EQ(stream.IsOpen(), VARIANT_TRUE);
}

TEST_P(NXFileStreamTest, ReadNextLine_OfLongLines_ReadsPieces) {
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
        EXPECT_EQ(stream.UngetLine(), VARIANT_FALSE) << "refused once";
        EXPECT_BSTR(stream.ReadNextLine(), std::wstring(std::min<std::size_t>(length - 127, 127), L'x'));
    }
}

TEST_P(NXFileStreamTest, ReadNextLine_ReadsTheCodePage) {
    const std::string bytes = "\xA7\xB6";
    OpenWith(bytes);
    EXPECT_EQ(stream.Rest(), Lines{Wide(bytes)});
}

TEST_P(NXFileStreamTest, UngetLine_StepsBackOverTheLineReadLast) {
    OpenWith("one\r\ntwo\r\nthree\r\n");
    stream.ReadNextLine();
    EXPECT_BSTR(stream.ReadNextLine(), L"two");
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE);
    EXPECT_BSTR(stream.ReadNextLine(), L"two");
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE);
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE) << "by as much again";
    EXPECT_EQ(stream.Rest(), (Lines{L"one", L"two", L"three", L""}));
}

TEST_P(NXFileStreamTest, UngetLine_BeforeTheBeginning_IsRefused) {
    OpenWith("one\r\ntwo");
    EXPECT_EQ(stream.UngetLine(), VARIANT_FALSE);
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
}

TEST_P(NXFileStreamTest, UngetLine_AtTheEnd_StepsBackTwoBytesOrIsRefused) {
    OpenWith("one\r\nthree");
    EXPECT_EQ(stream.Rest().size(), 2u);
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE);
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_EQ(stream.Rest(), Lines{L"ee"});

    OpenWith("one\r\n");
    EXPECT_EQ(stream.Rest(), (Lines{L"one", L""}));
    EXPECT_EQ(stream.UngetLine(), VARIANT_FALSE) << "after the empty line behind the last line end";
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_EQ(stream.Rest(), Lines{L""});
}

TEST_P(NXFileStreamTest, IsCommentLine_IsTrueOfBlankLinesAndMarkers) {
    const std::pair<std::wstring_view, bool> lines[] = {
        {L"", true},      {L"   ", true}, {L"\t", true},     {L"\r", true},     {L"\xA0", std::iswspace(0xA0) != 0},
        {L";", true},     {L"#", true},   {L"; text", true}, {L"#text", true},  {L" ;", false},
        {L"  ;x", false}, {L" #", false}, {L"x;", false},    {L"x", false},     {L"//", false},
        {L"'x", false},   {L"-", false},  {L"\0x"sv, true},  {L";\0x"sv, true},
    };
    for (const auto& [line, expected] : lines) {
        EXPECT_EQ(stream.IsCommentLine(line), expected ? VARIANT_TRUE : VARIANT_FALSE) << support::Printed(line);
    }
    EXPECT_EQ(stream.IsCommentLine(Bstr()), VARIANT_TRUE);
}

TEST_P(NXFileStreamTest, IsCommentLine_LeavesTheFileAlone) {
    OpenWith("one\r\ntwo");
    stream.ReadNextLine();
    const Bstr line(L"; text");
    EXPECT_EQ(stream.IsCommentLine(line), VARIANT_TRUE);
    EXPECT_BSTR(line, L"; text");
    EXPECT_EQ(stream.Rest(), Lines{L"two"});
}

// Writing

TEST_P(NXFileStreamTest, WriteLine_WritesTheLineAndALineEnd) {
    struct Row {
        std::wstring_view line;
        std::string asText;
        std::string asBinary;
    };
    const std::wstring_view letters = L"\x00A7\x4E2D\xFF67";
    const Row rows[] = {
        {L"one", "one\r\n", "one\n"},
        {L"", "\r\n", "\n"},
        {L"one\ntwo", "one\r\ntwo\r\n", "one\ntwo\n"},
        {L"one\rtwo\r\n", "one\rtwo\r\r\n\r\n", "one\rtwo\r\n\n"},
        {L"one\0two"sv, "one\r\n", "one\n"},
        {letters, Narrow(letters) + "\r\n", Narrow(letters) + "\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(support::Printed(row.line));
        OpenWith("", textMode);
        EXPECT_EQ(stream.WriteLine(row.line), VARIANT_TRUE);
        EXPECT_EQ(ReadBytes(path), row.asText);
        OpenWith("", binaryMode);
        EXPECT_EQ(stream.WriteLine(row.line), VARIANT_TRUE);
        EXPECT_EQ(ReadBytes(path), row.asBinary);
    }
}

TEST_P(NXFileStreamTest, WriteLine_OfNull_WritesALineEnd) {
    OpenWith("");
    EXPECT_EQ(stream.WriteLine(Bstr()), VARIANT_TRUE);
    EXPECT_EQ(ReadBytes(path), "\r\n");
}

TEST_P(NXFileStreamTest, WriteLine_LongLines_AreWrittenWhole) {
    OpenWith("");
    const Bstr line(std::wstring(100000, L'x'));
    EXPECT_EQ(stream.WriteLine(line), VARIANT_TRUE);
    EXPECT_EQ(ReadBytes(path), std::string(100000, 'x') + "\r\n");
    EXPECT_BSTR(line, std::wstring(100000, L'x')) << "still the caller's";
}

TEST_P(NXFileStreamTest, WriteLine_AfterReading_WritesBehindTheLineRead) {
    OpenWith("one\r\ntwo\r\nthree\r\n");
    stream.ReadNextLine();
    EXPECT_EQ(stream.WriteLine(L"TWO"), VARIANT_TRUE);
    EXPECT_EQ(ReadBytes(path), "one\r\nTWO\r\nthree\r\n");
    EXPECT_EQ(stream.Rest(), (Lines{L"three", L""}));
}

TEST_P(NXFileStreamTest, WriteLine_AtTheEnd_Appends) {
    for (const std::string bytes : {"one\r\n", "one\r\ntwo"}) {
        OpenWith(bytes);
        EXPECT_EQ(stream.Rest().size(), 2u);
        EXPECT_EQ(stream.WriteLine(L"last"), VARIANT_TRUE);
        EXPECT_EQ(stream.WriteLine(L"really"), VARIANT_TRUE);
        EXPECT_EQ(ReadBytes(path), bytes + "last\r\nreally\r\n");
        EXPECT_EQ(stream.IsEOF(), VARIANT_TRUE);
    }
}

TEST_P(NXFileStreamTest, WriteLine_LeavesTheLineReadLast) {
    OpenWith("one\r\n");
    stream.ReadNextLine();
    EXPECT_EQ(stream.WriteLine(L"two"), VARIANT_TRUE);
    stream.Close();
    EXPECT_BSTR(stream.ReadNextLine(), L"one");
}

TEST_P(NXFileStreamTest, Streams_ShareAFile) {
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

// Lifetimes

TEST_P(NXFileStreamTest, LastReference_ClosesTheFile) {
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

TEST_P(NXFileStreamTest, ManyStreams_AreOpenAtATime) {
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

// ---------------------------------------------------------------------------------------------------------------------
// What is special to the vtable

class NXFileStreamVtableTest : public Files {
  protected:
    NXFileStreamVtableTest() { WriteBytes(path, "one\r\ntwo\r\nthree"); }

    FileStream stream{Way::Vtable};
};

TEST_F(NXFileStreamVtableTest, ReadNextLine_BeforeTheFirstRead_IsNull) {
    EXPECT_NULL_BSTR(stream.LentLine());
    stream.Open(folder / L"missing.txt");
    EXPECT_NULL_BSTR(stream.LentLine());
}

TEST_F(NXFileStreamVtableTest, FileName_WithoutAName_IsNull) {
    Bstr name(L"something");
    EXPECT_HR(stream.Raw()->get_fileName(name.Out()), S_OK);
    EXPECT_NULL_BSTR(name);
    EXPECT_EQ(stream.Open(L""), VARIANT_FALSE);
    EXPECT_BSTR(stream.FileName(), L"");
}

TEST_F(NXFileStreamVtableTest, ReadNextLine_LendsTheStreamsOwnString) {
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    BSTR lent = stream.LentLine();
    EXPECT_EQ(stream.IsEOF(), VARIANT_FALSE);
    EXPECT_EQ(stream.UngetLine(), VARIANT_TRUE);
    EXPECT_EQ(stream.WriteLine(L"TWO"), VARIANT_TRUE);
    EXPECT_EQ(stream.Flush(), VARIANT_TRUE);
    EXPECT_EQ(stream.IsCommentLine(L"x"), VARIANT_FALSE);
    EXPECT_BSTR(stream.FileName(), path);
    EXPECT_BSTR(lent, L"two") << "nothing has touched it yet";

    lent = stream.LentLine();
    EXPECT_BSTR(lent, L"three");
    EXPECT_EQ(stream.LentLine(), lent) << "at the end";
    EXPECT_EQ(stream.LentLine(), lent);
    stream.Close();
    EXPECT_EQ(stream.LentLine(), lent) << "when closed";
    EXPECT_BSTR(lent, L"three");
    // The stream frees it: the fixture looks for leaks.
}

TEST_F(NXFileStreamVtableTest, ReadNextLine_AfterOpenOrClear_IsNull) {
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    stream.Close();
    EXPECT_NULL_BSTR(stream.LentLine());
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    EXPECT_EQ(stream.Open(folder / L"missing.txt"), VARIANT_FALSE);
    EXPECT_NULL_BSTR(stream.LentLine());
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    stream.Clear();
    EXPECT_NULL_BSTR(stream.LentLine());
}

TEST_F(NXFileStreamVtableTest, ReadNextLine_ALateBoundCopy_IsNotTheStreamsOwn) {
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    const BSTR lent = stream.LentLine();
    stream.Close();
    {
        const Variant copy = stream.LateBound().Call(L"ReadNextLine").value;
        EXPECT_BSTR(copy.Text(), L"one");
        EXPECT_NE(copy.Text(), lent);
        copy.Text()[0] = L'X';
    }
    EXPECT_EQ(stream.LentLine(), lent) << "lends again";
    EXPECT_BSTR(lent, L"one");
}

/// What every member does in the stream's present state, all results thrown away.
void CallEveryMember(INXFileStream* stream, const std::wstring& fileName) {
    VARIANT_BOOL result = VARIANT_FALSE;
    BSTR lent = nullptr;
    Bstr name;
    EXPECT_HR(stream->Open(Bstr(fileName), VARIANT_FALSE, &result), S_OK);
    EXPECT_HR(stream->ReadNextLine(&lent), S_OK);
    EXPECT_HR(stream->UngetLine(&result), S_OK);
    EXPECT_HR(stream->UngetLine(&result), S_OK);
    EXPECT_HR(stream->WriteLine(nullptr, &result), S_OK);
    EXPECT_HR(stream->Flush(&result), S_OK);
    EXPECT_HR(stream->IsEOF(&result), S_OK);
    EXPECT_HR(stream->IsOpen(&result), S_OK);
    EXPECT_HR(stream->IsCommentLine(nullptr, &result), S_OK);
    EXPECT_HR(stream->get_fileName(name.Out()), S_OK);
    EXPECT_HR(stream->Close(), S_OK);
    EXPECT_HR(stream->Clear(), S_OK);
    EXPECT_HR(stream->ReadNextLine(&lent), S_OK);
}

TEST_F(NXFileStreamVtableTest, NoMember_TouchesTheErrorRecord) {
    CComPtr<ICreateErrorInfo> created;
    ASSERT_HR(CreateErrorInfo(&created), S_OK);
    CComPtr<IErrorInfo> earlier;
    created->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&earlier));
    for (const std::wstring& name : {path, folder.Path(), folder / L"no such folder\\x", std::wstring()}) {
        SCOPED_TRACE(support::Printed(name));
        SetErrorInfo(0, nullptr);
        CallEveryMember(stream.Raw(), name);
        CComPtr<IErrorInfo> record;
        EXPECT_HR(GetErrorInfo(0, &record), S_FALSE);
        SetErrorInfo(0, earlier);
        CallEveryMember(stream.Raw(), name);
        EXPECT_HR(GetErrorInfo(0, &record), S_OK);
        EXPECT_EQ(record.p, earlier.p);
    }
}

TEST_F(NXFileStreamVtableTest, Questions_AllocateNothing) {
    EXPECT_EQ(stream.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(stream.LentLine(), L"one");
    EXPECT_EQ(support::CountRequests([&] {
                  VARIANT_BOOL result = VARIANT_FALSE;
                  BSTR lent = nullptr;
                  stream.Raw()->IsOpen(&result);
                  stream.Raw()->IsEOF(&result);
                  stream.Raw()->Flush(&result);
                  stream.Raw()->UngetLine(&result);
                  stream.Raw()->Close();
                  stream.Raw()->ReadNextLine(&lent);
              }),
              0u);
}

/// Makes the object that a test of failing allocations wants, with one line read of three.
FileStream StreamWithOneLineRead(Way way, const std::wstring& path) {
    FileStream made(way);
    EXPECT_EQ(made.Open(path), VARIANT_TRUE);
    EXPECT_BSTR(made.ReadNextLine(), L"one");
    return made;
}

TEST_F(NXFileStreamVtableTest, OutOfMemory_IsRaisedAndTheFileStaysWhole) {
    struct World {
        FileStream stream;
        Bstr argument;
        VARIANT_BOOL result = VARIANT_FALSE;
        BSTR lent = nullptr;
    };
    const auto members = {
        +[](World& world) { Require(world.stream.Raw()->Open(world.argument, textMode, &world.result), "Open"); },
        +[](World& world) { Require(world.stream.Raw()->WriteLine(world.argument, &world.result), "WriteLine"); },
        +[](World& world) { Require(world.stream.Raw()->ReadNextLine(&world.lent), "ReadNextLine"); },
        +[](World& world) { Require(world.stream.Raw()->Clear(), "Clear"); },
    };
    for (const auto member : members) {
        ForEachAllocationFailure(
            [&] {
                WriteBytes(path, "one\r\ntwo\r\nthree");
                return World{StreamWithOneLineRead(Way::Vtable, path), Bstr(path)};
            },
            member,
            [&](World& world) {
                EXPECT_EQ(ReadBytes(path), "one\r\ntwo\r\nthree");
                EXPECT_BSTR(world.argument, path);
                EXPECT_EQ(world.result, VARIANT_FALSE);
                EXPECT_EQ(world.lent, nullptr);
                EXPECT_EQ(world.stream.Open(path), VARIANT_TRUE) << "with memory again";
                EXPECT_EQ(world.stream.Rest(), (Lines{L"one", L"two", L"three"}));
            },
            support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

TEST_F(NXFileStreamVtableTest, FileName_OutOfMemory_IsReturned) {
    OLECHAR untouched[] = L"not a BSTR";
    struct World {
        FileStream stream;
        BSTR result;
        HRESULT hr = E_UNEXPECTED; ///< stays when the call raises an exception
    };
    ForEachAllocationFailure(
        [&] {
            return World{StreamWithOneLineRead(Way::Vtable, path), untouched};
        },
        [](World& world) {
            world.hr = world.stream.Raw()->get_fileName(&world.result);
            if (SUCCEEDED(world.hr)) {
                SysFreeString(world.result);
            }
            return world.hr;
        },
        [&](const World& world) {
            EXPECT_HR(world.hr, E_OUTOFMEMORY);
            EXPECT_EQ(world.result, untouched);
        });
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to late-bound calls

class NXFileStreamLateBoundTest : public Files {
  protected:
    NXFileStreamLateBoundTest() { WriteBytes(path, "one\r\ntwo\r\nthree"); }

    const FileStream file{Way::LateBound};
    const DispatchObject stream = file.LateBound();
};

TEST_F(NXFileStreamLateBoundTest, GetIDsOfNames_KnowsEveryMember) {
    const std::pair<const wchar_t*, DISPID> members[] = {
        {L"Clear", idClear},
        {L"Close", idClose},
        {L"Flush", idFlush},
        {L"IsEOF", idIsEOF},
        {L"IsCommentLine", idIsCommentLine},
        {L"IsOpen", idIsOpen},
        {L"Open", idOpen},
        {L"ReadNextLine", idReadNextLine},
        {L"UngetLine", idUngetLine},
        {L"WriteLine", idWriteLine},
        {L"fileName", idFileName},
        {L"FileName", idFileName},
        {L"FILENAME", idFileName},
    };
    for (const auto& [name, expected] : members) {
        DISPID id = 0x7777;
        EXPECT_HR(support::Member(name).Resolve(stream.Raw(), id), S_OK);
        EXPECT_EQ(id, expected);
    }
    for (const wchar_t* const name : {L"Create", L"Reopen", L"SeekRead", L"TellRead", L"RewindRead", L"_NewEnum"}) {
        DISPID id = 0;
        EXPECT_HR(support::Member(name).Resolve(stream.Raw(), id), DISP_E_UNKNOWNNAME);
    }
}

TEST_F(NXFileStreamLateBoundTest, Members_AreReachedByDispid) {
    const auto isTrue = [&](auto... call) {
        const Variant result = stream.Call(call...).value;
        EXPECT_EQ(result.Type(), VT_BOOL);
        return V_BOOL(result.Raw()) == VARIANT_TRUE;
    };
    EXPECT_TRUE(isTrue(idOpen, path.c_str(), false));
    EXPECT_TRUE(isTrue(idIsOpen));
    EXPECT_FALSE(isTrue(idIsEOF));
    EXPECT_BSTR(stream.Call(idReadNextLine).value.Text(), L"one");
    EXPECT_TRUE(isTrue(idUngetLine));
    EXPECT_TRUE(isTrue(idWriteLine, L"ONE"));
    EXPECT_TRUE(isTrue(idFlush));
    EXPECT_TRUE(isTrue(idIsCommentLine, L"#"));
    EXPECT_BSTR(stream.Get(idFileName).value.Text(), path);
    EXPECT_HR(stream.Call(idClose).hr, S_OK);
    EXPECT_FALSE(isTrue(idIsOpen));
    EXPECT_EQ(ReadBytes(path), "ONE\r\ntwo\r\nthree");
    EXPECT_HR(stream.Call(idClear).hr, S_OK);
    EXPECT_EQ(ReadBytes(path), "");
}

TEST_F(NXFileStreamLateBoundTest, ReadNextLine_TenThousandCopies_LeaveNothingBehind) {
    const FileStream one = StreamWithOneLineRead(Way::LateBound, path);
    {
        const ExpectNoLeaks noLeaks;
        for (int count = 0; count < 10000; ++count) {
            EXPECT_EQ(one.UngetLine(), VARIANT_TRUE);
            EXPECT_BSTR(one.ReadNextLine(), L"one");
        }
        one.Close();
        for (int count = 0; count < 10000; ++count) {
            EXPECT_BSTR(one.ReadNextLine(), L"one");
        }
    }
    EXPECT_BSTR(one.LentLine(), L"one") << "not freed with the copies";
}

/// What a script engine does for `stream.ReadNextLine` as a statement, with and without a place for the result.
TEST_F(NXFileStreamLateBoundTest, ReadNextLine_AsAStatement_LeavesNothingBehind) {
    const FileStream one = StreamWithOneLineRead(Way::LateBound, path);
    one.Close();
    for (const bool wantsValue : {false, true}) {
        SCOPED_TRACE(wantsValue ? "result thrown away" : "no place for the result");
        const ExpectNoLeaks noLeaks;
        for (int count = 0; count < 10000; ++count) {
            ASSERT_HR(one.LateBound().Invoke({.member = idReadNextLine, .wantsValue = wantsValue}).hr, S_OK);
        }
    }
    EXPECT_BSTR(one.LentLine(), L"one");
}

TEST_F(NXFileStreamLateBoundTest, ReadNextLine_OutlivesTheStream) {
    FileStream one = StreamWithOneLineRead(Way::LateBound, path);
    const Bstr line = one.ReadNextLine();
    one.Release();
    EXPECT_BSTR(line, L"two");
}

TEST_F(NXFileStreamLateBoundTest, Methods_AsStatements_Work) {
    const auto statement = [&](DISPID member, std::vector<Variant> arguments) {
        EXPECT_HR(stream.Invoke({.member = member, .arguments = std::move(arguments), .wantsValue = false}).hr, S_OK);
    };
    statement(idOpen, {path.c_str(), false});
    statement(idReadNextLine, {});
    statement(idUngetLine, {});
    statement(idWriteLine, {L"ONE"});
    statement(idFlush, {});
    statement(idClose, {});
    EXPECT_EQ(ReadBytes(path), "ONE\r\ntwo\r\nthree");
}

TEST_F(NXFileStreamLateBoundTest, FileName_CalledAsAMethod_IsRead) {
    file.Open(path);
    EXPECT_BSTR(stream.Call(L"fileName").value.Text(), path);
}

TEST_F(NXFileStreamLateBoundTest, Arguments_AreConverted) {
    for (const Variant& mode : {Variant(1), Variant(5), Variant(-3), Variant(2.0), Variant(true)}) {
        EXPECT_HR(stream.Call(L"Open", path.c_str(), mode).hr, S_OK);
        EXPECT_BSTR(stream.Call(L"ReadNextLine").value.Text(), L"one\r");
    }
    for (const Variant& mode : {Variant(0), Variant(0.0), Variant(), Variant(false)}) {
        EXPECT_HR(stream.Call(L"Open", path.c_str(), mode).hr, S_OK);
        EXPECT_BSTR(stream.Call(L"ReadNextLine").value.Text(), L"one");
    }
    WriteBytes(path, "");
    Variant inVariant(L"by reference");
    file.Open(path);
    EXPECT_HR(stream.Call(L"WriteLine", 42).hr, S_OK);
    EXPECT_HR(stream.Call(L"WriteLine", Variant()).hr, S_OK);
    EXPECT_HR(stream.Call(L"WriteLine", Variant::NullText()).hr, S_OK);
    EXPECT_HR(stream.Call(L"WriteLine", Variant::To(inVariant)).hr, S_OK);
    EXPECT_EQ(ReadBytes(path), "42\r\n\r\n\r\nby reference\r\n");
    EXPECT_BSTR(inVariant.Text(), L"by reference");
}

TEST_F(NXFileStreamLateBoundTest, Arguments_ThatDoNotFit_ChangeNothing) {
    file.Open(path);
    EXPECT_HR(stream.Call(L"Open").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_TRUE(FAILED(stream.Call(L"Open", path.c_str()).hr));
    EXPECT_HR(stream.Call(L"Open", path.c_str(), L"neither").hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(stream.Call(L"Open", Variant::Null(), false).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(stream.Call(L"WriteLine").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(stream.Call(L"WriteLine", L"x", L"y").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(stream.Call(L"WriteLine", Variant::Null()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(stream.Call(L"Clear", 1).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_TRUE(FAILED(stream.Put(L"fileName", L"x").hr));
    EXPECT_BSTR(file.FileName(), path);
    EXPECT_EQ(file.Rest(), (Lines{L"one", L"two", L"three"}));
    EXPECT_EQ(ReadBytes(path), "one\r\ntwo\r\nthree");
}

TEST_F(NXFileStreamLateBoundTest, OutOfMemory_IsAnHresultAndTheFileStaysWhole) {
    const std::pair<const char*, Invocation> calls[] = {
        {"Open", {.member = idOpen, .arguments = {path.c_str(), false}, .wantsValue = false}},
        {"WriteLine",
         {.member = idWriteLine, .arguments = {L"more than a string holds in itself"}, .wantsValue = false}},
        {"ReadNextLine", {.member = idReadNextLine, .wantsValue = false}},
        {"fileName", {.member = idFileName, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}},
        {"Clear", {.member = idClear, .wantsValue = false}},
    };
    for (const auto& [name, call] : calls) {
        SCOPED_TRACE(name);
        ForEachAllocationFailure(
            [&] {
                WriteBytes(path, "one\r\ntwo\r\nthree");
                return StreamWithOneLineRead(Way::LateBound, path);
            },
            [&call = call](const FileStream& made) { return made.LateBound().Invoke(call).Failure(); },
            [&](const FileStream& made) {
                EXPECT_EQ(ReadBytes(path), "one\r\ntwo\r\nthree");
                EXPECT_EQ(made.Open(path), VARIANT_TRUE) << "with memory again";
                EXPECT_EQ(made.Rest(), (Lines{L"one", L"two", L"three"}));
            });
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The object

class NXFileStreamObjectTest : public Files {};

TEST_F(NXFileStreamObjectTest, Interfaces_AreItsOwnAndTheGeneralOnes) {
    support::ExpectInterfacesOfObject<INXFileStream>(CLSID_NXFileStream);
}

TEST_F(NXFileStreamObjectTest, BothWaysToCall_ReachTheSameFile) {
    WriteBytes(path, "one\r\ntwo\r\n");
    const DispatchObject lateBound = Create(CLSID_NXFileStream);
    const CComPtr<INXFileStream> vtable = lateBound.As<INXFileStream>();
    EXPECT_HR(lateBound.Call(L"Open", path.c_str(), false).hr, S_OK);
    BSTR lent = nullptr;
    EXPECT_HR(vtable->ReadNextLine(&lent), S_OK);
    EXPECT_BSTR(lent, L"one");
    EXPECT_BSTR(lateBound.Call(L"ReadNextLine").value.Text(), L"two");
    EXPECT_HR(vtable->Close(), S_OK);
    EXPECT_BSTR(lateBound.Call(L"ReadNextLine").value.Text(), L"two");
}

TEST_F(NXFileStreamObjectTest, LivingObject_KeepsTheDllLoaded) {
    ASSERT_FALSE(support::DllHoldsObjects());
    FileStream stream(Way::Vtable);
    EXPECT_TRUE(support::DllHoldsObjects());
    stream.Release();
    EXPECT_FALSE(support::DllHoldsObjects());
}

} // namespace
