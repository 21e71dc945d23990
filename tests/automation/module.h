/// The test program as a module, whose lock count is the number of its objects.
#pragma once

#include <atlbase.h>
#include <gtest/gtest.h>

namespace support {

/// Adds a test failure unless the program has as many objects at the end of its scope as at the start.
class ExpectNoObjectsLeft {
  public:
    ExpectNoObjectsLeft() = default;
    ExpectNoObjectsLeft(const ExpectNoObjectsLeft&) = delete;
    ExpectNoObjectsLeft& operator=(const ExpectNoObjectsLeft&) = delete;
    ~ExpectNoObjectsLeft() { EXPECT_EQ(_Module.GetLockCount(), m_before) << "objects"; }

  private:
    const LONG m_before = _Module.GetLockCount();
};

} // namespace support
