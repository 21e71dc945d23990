// CNKFileStream: out of memory, whichever allocation fails, and failed reads and writes.

#include "core/nkfilestream.h"

#include "tests/core/nkfilestream_fixture.h"
#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>

using support::binaryMode;
using support::Bstr;
using support::CountRequests;
using support::Exists;
using support::ExpectNoLeaks;
using support::FileHandle;
using support::ForEachAllocationFailure;
using support::fromBeginning;
using support::fromCurrent;
using support::IsClosed;
using support::Make;
using support::OpenFile;
using support::OutOfMemory;
using support::ReadBytes;
using support::TemporaryFolder;
using support::textMode;
using support::WriteBytes;

namespace {

class NKFileStreamFailure : public ::testing::Test {
  protected:
    const TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";
};

using NKFileStreamMemory = NKFileStreamFailure;
using NKFileStreamIo = NKFileStreamFailure;

// Out of memory

/// A file of three lines, a stream that has it open and has read some of them, and arguments for its operations.
struct World {
    static constexpr const char* bytes = "ab\r\ncde\r\nf";
    static constexpr std::array<std::int64_t, 4> starts = {0, 4, 9, 10}; ///< the positions of the lines, and the end

    World(const std::wstring& file, std::size_t linesRead) : path(file) {
        WriteBytes(path, bytes);
        EXPECT_TRUE(stream.Open(name, textMode));
        for (std::size_t count = 0; count < linesRead; ++count) {
            stream.ReadNextLine();
        }
    }

    std::wstring path;
    CNKString name = Make(path);
    CNKString missing = Make(path + L".none");
    CNKString line = L"x\x00e4z";
    CNKTokenString tokens = CNKTokenString(L"1,\x00e4", L",", false);
    CNKFileStream stream;
};

/// The stream works as if nothing had failed.
void ExpectUsable(World& world) {
    world.stream.Close();
    EXPECT_TRUE(IsClosed(world.path));
    WriteBytes(world.path, World::bytes);
    EXPECT_TRUE(world.stream.Open(world.name, textMode));
    EXPECT_BSTR(world.stream.ReadNextLine(), L"ab");
    EXPECT_TRUE(world.stream.WriteLine(world.line));
    EXPECT_BSTR(world.stream.ReadNextLine(), L"f");
    EXPECT_TRUE(world.stream.IsEOF());
    world.stream.Close();
    EXPECT_EQ(ReadBytes(world.path), "ab\r\nx\xe4z\r\nf");
}

TEST_F(NKFileStreamMemory, ReadNextLine_LosesAtMostThatLine) {
    for (const std::size_t linesRead : {0u, 1u, 2u}) {
        ForEachAllocationFailure(
            [&] { return World(path, linesRead); },
            [](World& world) { static_cast<void>(world.stream.ReadNextLine()); },
            [&](World& world) {
                const std::int64_t position = world.stream.TellRead();
                EXPECT_TRUE(position == World::starts[linesRead] || position == World::starts[linesRead + 1])
                    << position;
                EXPECT_EQ(world.stream.IsEOF(), position == World::starts.back());
                EXPECT_TRUE(world.stream.SeekRead(0, fromBeginning));
                EXPECT_BSTR(world.stream.ReadNextLine(), L"ab");
                EXPECT_BSTR(world.stream.ReadNextLine(), L"cde");
                EXPECT_BSTR(world.stream.ReadNextLine(), L"f");
                world.stream.Close();
                EXPECT_EQ(ReadBytes(world.path), World::bytes);
                ExpectUsable(world);
            },
            OutOfMemory::ComErrorOrBadAlloc);
    }
}

TEST_F(NKFileStreamMemory, ReadNextLine_LeavesTheLastLineNull) {
    ForEachAllocationFailure([&] { return World(path, 1); },
                             [](World& world) { static_cast<void>(world.stream.ReadNextLine()); },
                             [](World& world) {
                                 world.stream.Close();
                                 EXPECT_NULL_BSTR(world.stream.ReadNextLine());
                             });
}

/// A stream that has read the first line; the next one is read in three pieces.
struct BeforePieces {
    explicit BeforePieces(const std::wstring& path) {
        const std::string piece(127, 'p');
        WriteBytes(path, "a\r\n" + piece + "\r\n" + piece + "\r\nb");
        EXPECT_TRUE(stream.Open(Make(path), textMode));
        EXPECT_BSTR(stream.ReadNextLine(), L"a");
    }
    CNKFileStream stream;
};

void ReadPieces(BeforePieces& world) {
    EXPECT_EQ(world.stream.ReadNextLine().GetLength(), 127u + 127u + 1u);
}

TEST_F(NKFileStreamMemory, ReadNextLineOfSeveralPieces_KeepsTheStreamUsable) {
    ForEachAllocationFailure([this] { return BeforePieces(path); }, &ReadPieces,
                             [](BeforePieces& world) {
                                 EXPECT_TRUE(world.stream.SeekRead(3, fromBeginning));
                                 ReadPieces(world);
                                 EXPECT_TRUE(world.stream.IsEOF());
                             },
                             OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NKFileStreamMemory, ReadNextLineOfSeveralPieces_LeavesTheLastLineNull) {
    ForEachAllocationFailure([this] { return BeforePieces(path); }, &ReadPieces,
                             [](BeforePieces& world) {
                                 world.stream.Close();
                                 EXPECT_NULL_BSTR(world.stream.ReadNextLine());
                             },
                             OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NKFileStreamMemory, WriteLine_WritesNothing) {
    const auto check = [](World& world) {
        EXPECT_EQ(ReadBytes(world.path), World::bytes);
        EXPECT_EQ(world.stream.TellRead(), World::starts[1]);
        EXPECT_BSTR(world.stream.ReadNextLine(), L"cde");
        EXPECT_TRUE(world.stream.UngetLine());
        EXPECT_TRUE(world.stream.WriteLine(world.tokens));
        EXPECT_EQ(ReadBytes(world.path), "ab\r\n1;\xe4\r\nf");
        ExpectUsable(world);
    };
    ForEachAllocationFailure([this] { return World(path, 1); },
                             [](World& world) { world.stream.WriteLine(world.line); }, check,
                             OutOfMemory::ComErrorOrBadAlloc);
    ForEachAllocationFailure([this] { return World(path, 1); },
                             [](World& world) { world.stream.WriteLine(world.tokens); }, check,
                             OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NKFileStreamMemory, Open_LeavesTheStreamClosedWithTheName) {
    const auto check = [](World& world) {
        EXPECT_FALSE(world.stream.IsOpen());
        EXPECT_TRUE(IsClosed(world.path));
        EXPECT_BSTR(Bstr(world.stream.GetFileName()), world.path);
        EXPECT_NULL_BSTR(world.stream.ReadNextLine());
        EXPECT_EQ(ReadBytes(world.path), World::bytes);
        ExpectUsable(world);
    };
    ForEachAllocationFailure([this] { return World(path, 1); },
                             [](World& world) { world.stream.Open(world.name, binaryMode); }, check,
                             OutOfMemory::ComErrorOrBadAlloc);
    ForEachAllocationFailure([this] { return World(path, 1); }, [](World& world) { world.stream.Reopen(binaryMode); },
                             check, OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NKFileStreamMemory, OpenOfAMissingFile_CreatesNothing) {
    ForEachAllocationFailure([this] { return World(path, 1); },
                             [](World& world) { world.stream.Open(world.missing, textMode); },
                             [](World& world) {
                                 EXPECT_FALSE(world.stream.IsOpen());
                                 EXPECT_BSTR(Bstr(world.stream.GetFileName()), world.path + L".none");
                                 EXPECT_FALSE(Exists(world.path + L".none"));
                                 ExpectUsable(world);
                             },
                             OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NKFileStreamMemory, ClearAndCreate_LeaveTheStreamClosed) {
    const auto check = [](World& world) {
        EXPECT_FALSE(world.stream.IsOpen());
        EXPECT_TRUE(IsClosed(world.path));
        ExpectUsable(world);
    };
    ForEachAllocationFailure([this] { return World(path, 1); }, [](World& world) { world.stream.Clear(); }, check,
                             OutOfMemory::ComErrorOrBadAlloc);
    for (const bool overwrite : {false, true}) {
        ForEachAllocationFailure([this] { return World(path, 1); },
                                 [&](World& world) { world.stream.Create(world.name, overwrite); }, check,
                                 OutOfMemory::ComErrorOrBadAlloc);
    }
}

TEST_F(NKFileStreamMemory, GetFileName_ChangesNothing) {
    ForEachAllocationFailure([this] { return World(path, 1); },
                             [](World& world) { return Bstr(world.stream.GetFileName()); },
                             [](World& world) {
                                 EXPECT_BSTR(Bstr(world.stream.GetFileName()), world.path);
                                 EXPECT_TRUE(world.stream.IsOpen());
                                 ExpectUsable(world);
                             });
}

TEST_F(NKFileStreamMemory, OtherOperations_AllocateNothing) {
    const ExpectNoLeaks noLeaks;
    World world(path, 1);
    EXPECT_EQ(CountRequests([&] {
                  world.stream.UngetLine();
                  world.stream.SeekRead(1, fromCurrent);
                  world.stream.SeekWriteEnd();
                  world.stream.RewindRead();
                  static_cast<void>(world.stream.Flush());
                  static_cast<void>(world.stream.TellRead());
                  static_cast<void>(CNKFileStream::IsCommentLine(world.line));
                  world.stream.SetFileName(world.missing);
                  world.stream.Close();
              }),
              0u);
}

// Failed reads and writes

/// A pipe that a stream can open as a file. Once this end is closed, the stream can read what was sent before; after
/// that every read and write fails.
class Pipe {
  public:
    Pipe()
        : m_name(L"\\\\.\\pipe\\nuvolex-" + std::to_wstring(GetCurrentProcessId())),
          m_end(CreateNamedPipeW(m_name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 0x10000, 0x10000, 0, nullptr)) {
    }

    [[nodiscard]] const std::wstring& Name() const noexcept { return m_name; }
    void Send(std::string_view bytes) {
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(m_end.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
                    written == bytes.size());
    }
    /// The next bytes that the stream has written.
    std::string Receive(std::size_t count) {
        std::string bytes(count, '\0');
        DWORD read = 0;
        for (std::size_t received = 0; received < count; received += read) {
            if (!ReadFile(m_end.get(), &bytes[received], static_cast<DWORD>(count - received), &read, nullptr)) {
                ADD_FAILURE() << "nothing to receive";
                break;
            }
        }
        return bytes;
    }
    void Close() { m_end.reset(); }

  private:
    std::wstring m_name;
    FileHandle m_end;
};

TEST_F(NKFileStreamIo, FailedRead_IsTheEndOfTheFile) {
    const ExpectNoLeaks noLeaks;
    Pipe pipe;
    CNKFileStream stream;
    ASSERT_TRUE(stream.Open(Make(pipe.Name()), textMode));
    pipe.Send("a\r\nb\r\nc");
    pipe.Close();
    EXPECT_BSTR(stream.ReadNextLine(), L"a");
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_BSTR(stream.ReadNextLine(), L"b");
    EXPECT_BSTR(stream.ReadNextLine(), L"c");
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_BSTR(stream.ReadNextLine(), L"c");
    EXPECT_TRUE(stream.RewindRead());
    EXPECT_FALSE(stream.IsEOF());
}

TEST_F(NKFileStreamIo, FailedFirstRead_IsTheEndOfTheFile) {
    const ExpectNoLeaks noLeaks;
    Pipe pipe;
    CNKFileStream stream;
    ASSERT_TRUE(stream.Open(Make(pipe.Name()), textMode));
    pipe.Close();
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), 0);
}

TEST_F(NKFileStreamIo, IncompleteRead_IsNotTheEndOfTheFile) {
    Pipe pipe;
    CNKFileStream stream;
    ASSERT_TRUE(stream.Open(Make(pipe.Name()), textMode));
    pipe.Send("ab");
    std::thread sender([&pipe] {
        Sleep(50);
        pipe.Send("cd\r\ne");
        pipe.Close();
    });
    EXPECT_BSTR(stream.ReadNextLine(), L"abcd");
    EXPECT_BSTR(stream.ReadNextLine(), L"e");
    EXPECT_TRUE(stream.IsEOF());
    sender.join();
}

/// The state and the results of a stream after a failed write, which itself returned true. Its position is still
/// `position`.
void ExpectBroken(CNKFileStream& stream, std::int64_t position) {
    EXPECT_TRUE(stream.IsOpen());
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), position);
    EXPECT_TRUE(stream.WriteLine(L"lost"));
    EXPECT_TRUE(stream.WriteLine(CNKTokenString(L"lost", L";", false)));
    EXPECT_TRUE(stream.Flush());
    EXPECT_NULL_BSTR(stream.ReadNextLine());
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.TellRead(), position);
}

TEST_F(NKFileStreamIo, FailedWrite_StopsReadingAndWritingUntilTheFlagsAreReset) {
    const ExpectNoLeaks noLeaks;
    Pipe pipe;
    CNKFileStream stream;
    ASSERT_TRUE(stream.Open(Make(pipe.Name()), textMode));
    EXPECT_TRUE(stream.WriteLine(L"a"));
    EXPECT_TRUE(stream.WriteLine(L"b"));
    EXPECT_EQ(pipe.Receive(6), "a\r\nb\r\n");
    pipe.Close();
    EXPECT_TRUE(stream.WriteLine(L"c"));
    ExpectBroken(stream, 6);
    EXPECT_FALSE(stream.SeekRead(0, fromCurrent));
    EXPECT_EQ(stream.TellRead(), 6);
    EXPECT_TRUE(stream.SeekRead(0, fromCurrent));
    EXPECT_BSTR(stream.ReadNextLine(), L"");
    EXPECT_TRUE(stream.IsEOF());
}

TEST_F(NKFileStreamIo, FailedWrite_IsForgottenWhenTheFlagsAreReset) {
    const ExpectNoLeaks noLeaks;
    for (const auto reset : {&CNKFileStream::RewindRead, &CNKFileStream::RewindWrite, &CNKFileStream::SeekReadEnd,
                             &CNKFileStream::SeekWriteEnd}) {
        Pipe pipe;
        CNKFileStream stream;
        ASSERT_TRUE(stream.Open(Make(pipe.Name()), textMode));
        EXPECT_TRUE(stream.WriteLine(L"a"));
        EXPECT_EQ(pipe.Receive(3), "a\r\n");
        pipe.Close();
        EXPECT_TRUE(stream.WriteLine(L"b"));
        EXPECT_TRUE((stream.*reset)());
        EXPECT_EQ(stream.TellRead(), 3);
        EXPECT_TRUE(stream.SeekRead(0, fromCurrent));

        WriteBytes(path, "x");
        EXPECT_TRUE(stream.WriteLine(L"c"));
        EXPECT_TRUE(stream.Open(Make(path), textMode));
        EXPECT_BSTR(stream.ReadNextLine(), L"x");
    }
}

TEST_F(NKFileStreamIo, FullDisk_StopsReadingAndWriting) {
    const ExpectNoLeaks noLeaks;
    const std::wstring fullDisk = L"Z:\\dev\\full";
    if (OpenFile(fullDisk, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE) == nullptr) {
        GTEST_SKIP() << "needs a full device, such as Linux's /dev/full under Wine";
    }
    CNKFileStream stream;
    ASSERT_TRUE(stream.Open(Make(fullDisk), textMode));
    EXPECT_TRUE(stream.WriteLine(L"a"));
    ExpectBroken(stream, 0);
    EXPECT_FALSE(stream.UngetLine());
    EXPECT_FALSE(stream.IsEOF());
    stream.Close();
    EXPECT_FALSE(stream.IsOpen());
}

} // namespace
