/// What the tests of CNKFileStream share.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/nkfilestream.h"
#include "tests/core/textfiles.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/rows.h"

namespace support {

inline constexpr bool textMode = false;
inline constexpr bool binaryMode = true;
inline constexpr bool bothModes[] = {textMode, binaryMode};

inline constexpr CNKFileStream::Origin fromBeginning = CNKFileStream::FromBeginning;
inline constexpr CNKFileStream::Origin fromCurrent = CNKFileStream::FromCurrent;
inline constexpr CNKFileStream::Origin fromEnd = CNKFileStream::FromEnd;

/// The text of ASCII bytes.
inline std::wstring Wide(std::string_view bytes) {
    return {bytes.begin(), bytes.end()};
}

/// A line of `length` characters, each different from its neighbours.
inline std::string Line(std::size_t length) {
    std::string line;
    for (std::size_t i = 0; i < length; ++i) {
        line += static_cast<char>('a' + i % 26);
    }
    return line;
}

/// The lines up to the end of the file, but at most `most`.
inline CNKStringList ReadAll(CNKFileStream& stream, std::size_t most = 100) {
    CNKStringList lines;
    while (!stream.IsEOF() && lines.size() < most) {
        lines.push_back(stream.ReadNextLine());
    }
    return lines;
}

/// Whether the stream has failed: a seek to the current position shows it. Resets the flags.
inline bool TakeFailure(CNKFileStream& stream) {
    return !stream.SeekRead(0, fromCurrent);
}

/// Every test leaves as much allocated as it found, and no file open.
class NKFileStreamTest : public ::testing::Test {
    const ExpectNoLeaks m_noLeaks;

  protected:
    const TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";

    /// Creates the file at `path` with these bytes, and opens it.
    void Open(CNKFileStream& stream, std::string_view bytes, bool mode = textMode) const {
        WriteBytes(path, bytes);
        ASSERT_TRUE(stream.Open(Make(path), mode));
    }

    /// The lines of a file with these bytes.
    CNKStringList LinesOf(std::string_view bytes, bool mode = textMode) const {
        CNKFileStream stream;
        Open(stream, bytes, mode);
        return ReadAll(stream);
    }

    /// The bytes of the file at `path`, which nobody may have open.
    std::string BytesAfterClose() const {
        EXPECT_TRUE(IsClosed(path));
        return ReadBytes(path);
    }
};

/// The base of tests that run in text mode and in binary mode, with GetParam() as the mode.
class NKFileStreamModeTest : public NKFileStreamTest, public ::testing::WithParamInterface<bool> {};

} // namespace support

/// Runs the tests of a suite with that base in both modes.
#define INSTANTIATE_BOTH_MODES(suite)                                                                                  \
    INSTANTIATE_TEST_SUITE_P(, suite, ::testing::Bool(), ::support::FlagName("Text", "Binary"))
