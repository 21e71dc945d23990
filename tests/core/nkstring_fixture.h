/// What the tests of CNKString share.
#pragma once

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstddef>
#include <string_view>
#include <vector>

#include "core/nkstring.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace support {

/// The narrow text that a string has created of itself.
inline const char* NarrowTextOf(const CNKString& string) {
    return string;
}

/// A null string with a record. A default-constructed one is null without a record.
inline CNKString NullRecord() {
    return {static_cast<const wchar_t*>(nullptr)};
}

/// A string with this text; for null, one without and one with a record. None shares its text or record.
inline std::vector<CNKString> StringsOf(Text text) {
    std::vector<CNKString> strings;
    strings.push_back(Make(text));
    if (!text) {
        strings.push_back(NullRecord());
    }
    return strings;
}

/// The bytes "abcde": two code units and half of one.
inline Bstr OddBytes() {
    return Bstr(SysAllocStringByteLen("abcde", 5));
}

inline std::string_view BytesOf(BSTR text) {
    return {reinterpret_cast<const char*>(text), SysStringByteLen(text)};
}

/// CNKString::Format with the arguments themselves.
template <class Character> CNKString& Format(CNKString& target, const Character* format, ...) {
    va_list arguments = {};
    va_start(arguments, format);
    try {
        target.Format(format, arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
    return target;
}

/// Every test leaves as much allocated as it found.
class NKStringTest : public ::testing::Test {
    const ExpectNoLeaks m_noLeaks;
};

} // namespace support
