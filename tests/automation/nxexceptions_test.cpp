// CopyToBstr, which reports failures as HRESULTs.

#include "automation/nxexceptions.h"

#include <gtest/gtest.h>

#include "tests/automation/hresult.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::AllocationFault;
using support::Bstr;
using support::ExpectNoLeaks;

TEST(CopyToBstrTest, Copy_BelongsToTheCaller) {
    const CNKString text(L"text");
    Bstr copy;
    EXPECT_HR(CopyToBstr(text, copy.Out()), S_OK);
    EXPECT_BSTR(copy, L"text");
    EXPECT_BSTR(text, L"text");
}

TEST(CopyToBstrTest, OutOfMemory_LeavesTheResult) {
    const CNKString text(L"text");
    wchar_t before[] = L"";
    BSTR copy = before;
    const ExpectNoLeaks noLeaks;
    const AllocationFault fault(1);
    EXPECT_HR(CopyToBstr(text, &copy), E_OUTOFMEMORY);
    EXPECT_EQ(copy, before);
}

} // namespace
