// CNKFileStream compared with a model: random operations on both must give the same results.

#include "core/nkfilestream.h"

#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

using support::ExpectNoLeaks;
using support::Held;
using support::Make;
using support::Printed;
using support::ReadBytes;
using support::TemporaryFolder;
using support::WriteBytes;

namespace {

/// The text of bytes below 0x80 or above 0x9f, where code page 1252 equals the first 256 characters of Unicode.
std::wstring Wide(const std::string& bytes) {
    std::wstring wide;
    for (const char byte : bytes) {
        wide += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    }
    return wide;
}

/// A file with its stream, as simply as possible: bytes, position and flags, one character at a time.
struct Model {
    std::string bytes;
    bool binary = false;
    std::size_t position = 0;
    bool endOfFile = false;
    bool failed = false;
    std::optional<std::wstring> lastLine;

    void ResetFlags() {
        endOfFile = false;
        failed = false;
    }

    bool AtLineEndOfTwo() const { return !binary && bytes.compare(position, 2, "\r\n") == 0; }

    /// std::istream::getline with a buffer of 128.
    std::string GetLine() {
        std::string piece;
        if (endOfFile || failed) {
            failed = true;
            return piece;
        }
        bool gotSomething = false;
        for (;;) {
            if (position >= bytes.size()) {
                endOfFile = true;
                failed = !gotSomething;
                return piece;
            }
            gotSomething = true;
            if (AtLineEndOfTwo()) {
                position += 2;
                return piece;
            }
            if (bytes[position] == '\n') {
                position += 1;
                return piece;
            }
            if (piece.size() == 127) {
                failed = true;
                return piece;
            }
            piece += bytes[position];
            position += 1;
        }
    }

    void ReadNextLine() {
        if (endOfFile) {
            return;
        }
        std::string line;
        std::size_t length = 0;
        do {
            const std::string piece = GetLine();
            length = std::strlen(piece.c_str());
            line += piece.substr(0, length);
        } while (length == 127);
        lastLine = Wide(line);
    }

    bool Seek(std::int64_t target, bool forWriting) {
        const bool moved = !failed && target >= 0;
        if (moved) {
            position = static_cast<std::size_t>(target);
            endOfFile = endOfFile && forWriting;
        } else {
            ResetFlags();
        }
        return moved;
    }

    bool Seek(int offset, unsigned int origin, bool forWriting) {
        if (origin > 2) {
            return Seek(-1, forWriting);
        }
        const std::size_t start = origin == 0 ? 0 : origin == 1 ? position : bytes.size();
        return Seek(static_cast<std::int64_t>(start) + offset, forWriting);
    }

    bool UngetLine() {
        const std::size_t back = 2 + (endOfFile || !lastLine ? 0 : lastLine->size());
        return Seek(static_cast<std::int64_t>(position) - static_cast<std::int64_t>(back), false);
    }

    void Rewind() {
        Seek(0, false);
        ResetFlags();
    }

    void Put(char byte) {
        if (position >= bytes.size()) {
            bytes.resize(position + 1, '\0');
        }
        bytes[position] = byte;
        position += 1;
    }

    /// Writes a character with the mode's line end.
    void Write(char character) {
        if (character == '\n' && !binary) {
            Put('\r');
        }
        Put(character);
    }

    void WriteLine(const std::string& line) {
        if (failed && !endOfFile) {
            return;
        }
        for (const char character : line) {
            if (character == '\0') {
                break;
            }
            Write(character);
        }
        Write('\n');
    }

    /// Writes the tokens as one line.
    void WriteTokens(const std::vector<std::string>& tokens) {
        std::string line;
        for (std::size_t i = 0; i < tokens.size(); ++i) {
            line += (i > 0 ? ";" : "") + std::string(tokens[i].c_str());
        }
        WriteLine(line);
    }
};

/// A stream and its model, both changed by the same random operations.
class Pair {
  public:
    explicit Pair(unsigned int seed) : m_random(seed) {}

    /// Opens a new file of random bytes, up to two read blocks long.
    void Open() {
        Begin("Open");
        m_model = {};
        m_model.binary = Chance(3);
        const std::size_t size = Chance(2) ? Below(2000) : Below(140'000);
        while (m_model.bytes.size() < size) {
            m_model.bytes += RandomLine(140) + (Chance(4) ? "\n" : "\r\n");
        }
        if (Chance(2)) {
            m_model.bytes += RandomLine(140);
        }
        WriteBytes(m_path, m_model.bytes);
        Note(m_stream.Open(Make(m_path), m_model.binary), true);
    }

    /// Does a random operation on the open file.
    void Operate() {
        switch (Below(20)) {
        case 0:
        case 1:
            return UngetLine();
        case 2:
        case 3:
            return WriteLine();
        case 4:
            return WriteTokens();
        case 5:
        case 6:
        case 7:
            return Seek();
        case 8:
            return Rewind();
        case 9:
            return SeekEnd();
        case 10:
            return Chance(10) ? Reopen() : ReadNextLine();
        default:
            return ReadNextLine();
        }
    }

    /// Whether the last operation gave the same result, and stream and model have the same state.
    bool Agree() const {
        return m_sameResult && m_stream.IsEOF() == m_model.endOfFile &&
               m_stream.TellRead() == static_cast<std::int64_t>(m_model.position);
    }

    /// Closes the file. Returns whether it has the model's bytes.
    bool AgreeAfterClose() {
        m_stream.Close();
        return ReadBytes(m_path) == m_model.bytes;
    }

    std::string Print() const {
        const auto state = [](std::int64_t position, bool endOfFile) {
            return "position " + std::to_string(position) + (endOfFile ? ", end of file" : "");
        };
        return std::string("\noperation: ") + m_operation + " with " + std::to_string(m_offset) + ", " +
               std::to_string(m_origin) + ", " + Printed(Wide(m_argument)) +
               (m_sameResult ? "" : ", unexpected result") + (m_model.binary ? "\nbinary" : "\ntext") +
               "\nfrom: position " + std::to_string(m_before) + ": " +
               Printed(Wide(m_before < m_model.bytes.size() ? m_model.bytes.substr(m_before, 300) : "")) +
               "\nwanted: " + state(static_cast<std::int64_t>(m_model.position), m_model.endOfFile) + ", last line " +
               (m_model.lastLine ? Printed(*m_model.lastLine) : "null") +
               "\nis: " + state(m_stream.TellRead(), m_stream.IsEOF()) + ", last line " +
               (m_lastLine.IsEmpty() ? "null" : Printed(*Held(m_lastLine)));
    }

  private:
    std::size_t Below(std::size_t limit) { return m_random() % limit; }
    bool Chance(std::size_t oneIn) { return Below(oneIn) == 0; }

    void Begin(const char* operation) {
        m_operation = operation;
        m_before = m_model.position;
        m_argument.clear();
        m_offset = 0;
        m_origin = 0;
    }

    void Note(bool result, bool wanted) { m_sameResult = result == wanted; }

    /// A random line, mostly letters. Its length is short, near that of a piece, or below `limit`.
    std::string RandomLine(std::size_t limit) {
        static constexpr char rare[] = {'\r', '\r', '\n', '\0', '\x1a', '\xe4', '\xff', ' ', ';'};
        const std::size_t length = Chance(3) ? Below(4) : Chance(2) ? 120 + Below(16) : Below(limit);
        const bool plain = Chance(2);
        std::string line;
        while (line.size() < length) {
            line += !plain && Chance(length / 2 + 2) ? rare[Below(std::size(rare))]
                                                     : static_cast<char>('a' + line.size() % 26);
        }
        return line;
    }

    void ReadNextLine() {
        Begin("ReadNextLine");
        m_model.ReadNextLine();
        m_lastLine = m_stream.ReadNextLine();
        const support::Text text = Held(m_lastLine);
        m_sameResult = text.has_value() == m_model.lastLine.has_value() && (!text || *text == *m_model.lastLine);
    }

    void UngetLine() {
        Begin("UngetLine");
        const bool wanted = m_model.UngetLine();
        Note(m_stream.UngetLine(), wanted);
    }

    void WriteLine() {
        Begin("WriteLine");
        m_argument = RandomLine(300);
        m_model.WriteLine(m_argument);
        Note(m_stream.WriteLine(Make(Wide(m_argument))), true);
    }

    void WriteTokens() {
        Begin("WriteLine of tokens");
        std::vector<std::string> tokens;
        CNKStringList list;
        for (std::size_t count = Below(4); count > 0; --count) {
            tokens.push_back(RandomLine(20));
            list.push_back(Make(Wide(tokens.back())));
        }
        m_model.WriteTokens(tokens);
        CNKTokenString object;
        object = list;
        Note(m_stream.WriteLine(object), true);
    }

    void Seek() {
        const bool forWriting = Chance(3);
        Begin(forWriting ? "SeekWrite" : "SeekRead");
        m_origin = Chance(30) ? 3 : static_cast<unsigned int>(Below(3));
        const int size = static_cast<int>(m_model.bytes.size());
        const int anywhere = static_cast<int>(Below(m_model.bytes.size() + 5)) - 2;
        m_offset = m_origin == 0                 ? anywhere
                   : m_origin == 2 && !Chance(4) ? anywhere - size
                                                 : static_cast<int>(Below(300)) - 150;
        if (m_origin == 2 && m_offset > 50) {
            m_offset = 0; // keeps the file small
        }
        const bool wanted = m_model.Seek(m_offset, m_origin, forWriting);
        Note(forWriting ? m_stream.SeekWrite(m_offset, m_origin) : m_stream.SeekRead(m_offset, m_origin), wanted);
    }

    void SeekEnd() {
        const bool forWriting = Chance(2);
        Begin(forWriting ? "SeekWriteEnd" : "SeekReadEnd");
        m_model.Seek(0, 2, forWriting);
        Note(forWriting ? m_stream.SeekWriteEnd() : m_stream.SeekReadEnd(), true);
    }

    void Rewind() {
        Begin("Rewind");
        m_model.Rewind();
        Note(Chance(2) ? m_stream.RewindRead() : m_stream.RewindWrite(), true);
    }

    void Reopen() {
        Begin("Reopen");
        m_model.binary = Chance(2);
        m_model.position = 0;
        m_model.ResetFlags();
        m_model.lastLine.reset();
        Note(m_stream.Reopen(m_model.binary), true);
    }

    std::mt19937 m_random;
    const TemporaryFolder m_folder;
    const std::wstring m_path = m_folder / L"lines.txt";
    CNKFileStream m_stream;
    Model m_model;

    // The last operation, for the failure message.
    const char* m_operation = "none";
    std::size_t m_before = 0;
    std::string m_argument;
    int m_offset = 0;
    unsigned int m_origin = 0;
    CNKString m_lastLine;
    bool m_sameResult = true;
};

TEST(NKFileStreamModel, RandomOperations_GiveTheResultsOfTheModel) {
    if (GetACP() != 1252) {
        GTEST_SKIP() << "needs ANSI code page 1252, has " << GetACP();
    }
    const ExpectNoLeaks noLeaks;
    constexpr unsigned int seed = 20240301;
    constexpr int files = 50;
    constexpr int operations = 800;
    Pair pair(seed);
    for (int file = 0; file < files; ++file) {
        pair.Open();
        for (int step = 0; step < operations; ++step) {
            ASSERT_TRUE(pair.Agree()) << "seed " << seed << ", file " << file << ", step " << step << pair.Print();
            pair.Operate();
        }
        ASSERT_TRUE(pair.Agree()) << "seed " << seed << ", file " << file << pair.Print();
        ASSERT_TRUE(pair.AgreeAfterClose()) << "seed " << seed << ", file " << file;
    }
}

} // namespace
