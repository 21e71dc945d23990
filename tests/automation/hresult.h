/// HRESULTs in assertions.
#pragma once

#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <windows.h>

namespace support {

/// An HRESULT as a test prints it: 0x80004005.
inline std::string PrintedHr(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08lX", static_cast<unsigned long>(hr));
    return text;
}

/// The predicate of EXPECT_HR.
inline ::testing::AssertionResult IsHr(const char* actualCode, const char* expectedCode, HRESULT actual,
                                       HRESULT expected) {
    if (actual == expected) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << actualCode << "\n    is: " << PrintedHr(actual)
                                         << "\nwanted: " << PrintedHr(expected) << " (" << expectedCode << ")";
}

} // namespace support

/// `actual` is exactly the HRESULT `expected`.
#define EXPECT_HR(actual, expected) EXPECT_PRED_FORMAT2(::support::IsHr, actual, expected)
#define ASSERT_HR(actual, expected) ASSERT_PRED_FORMAT2(::support::IsHr, actual, expected)
