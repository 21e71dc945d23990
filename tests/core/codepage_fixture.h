/// The base of tests for one ANSI code page, through which narrow text is converted. CTest runs the program with each
/// code page that has such tests. With another one they are skipped.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

namespace support {

/// A test of `Base` that needs ANSI code page `codePage`.
template <UINT codePage, class Base> class CodePageTest : public Base {
  protected:
    void SetUp() override {
        if (GetACP() != codePage) {
            GTEST_SKIP() << "needs ANSI code page " << codePage << ", has " << GetACP();
        }
    }
};

} // namespace support
