/// What the tests of CNKTokenString share.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <span>

#include "core/nktokenstring.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"

namespace support {

// What separates tokens: each character of the separator, or in multi-character mode the separator as a whole.
inline constexpr bool eachCharacter = false;
inline constexpr bool wholeSeparator = true;
inline constexpr bool splitModes[] = {eachCharacter, wholeSeparator};

/// The tokens of `value`.
inline CNKTokenString Split(Text value, Text separator, bool mode = eachCharacter) {
    return {Make(value), Make(separator), mode};
}

/// An object with exactly these tokens.
inline CNKTokenString Tokens(std::span<const Text> tokens, Text separator, bool mode = eachCharacter) {
    CNKTokenString object = Split(null, separator, mode);
    object = MakeList(tokens);
    return object;
}

inline CNKTokenString Tokens(std::initializer_list<Text> tokens, Text separator, bool mode = eachCharacter) {
    return Tokens(std::span(tokens.begin(), tokens.size()), separator, mode);
}

/// Every test leaves as much allocated as it found.
class NKTokenStringTest : public ::testing::Test {
    const ExpectNoLeaks m_noLeaks;
};

} // namespace support
