// Strings for callers that take failures as HRESULTs.

#include "automation/exceptions.h"

#include <utility>

#include <gtest/gtest.h>

#include "tests/automation/hresult.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::AllocationFault;
using support::Bstr;
using support::ExpectNoLeaks;

TEST(CopyTextTest, Copy_IsTheCallers) {
    const CNKString text(L"text");
    Bstr copy;
    EXPECT_HR(CopyText(text, copy.Out()), S_OK);
    EXPECT_BSTR(copy, L"text");
    EXPECT_BSTR(text, L"text");
}

TEST(CopyTextTest, OutOfMemory_LeavesTheResultAlone) {
    const CNKString text(L"text");
    wchar_t before[] = L"";
    BSTR copy = before;
    const ExpectNoLeaks noLeaks;
    const AllocationFault fault(1);
    EXPECT_HR(CopyText(text, &copy), E_OUTOFMEMORY);
    EXPECT_EQ(copy, before);
}

TEST(HandOverTest, TextThatNothingShares_NeedsNoMemory) {
    CNKString text(L"text");
    Bstr taken;
    const AllocationFault fault(1);
    EXPECT_HR(HandOver(std::move(text), taken.Out()), S_OK);
    EXPECT_FALSE(fault.Fired());
    EXPECT_BSTR(taken, L"text");
}

TEST(HandOverTest, SharedText_IsCopied) {
    const CNKString text(L"text");
    Bstr taken;
    EXPECT_HR(HandOver(CNKString(text), taken.Out()), S_OK);
    EXPECT_BSTR(taken, L"text");
    EXPECT_BSTR(text, L"text");
}

TEST(HandOverTest, SharedText_OutOfMemory_LeavesTheResultAlone) {
    const CNKString text(L"text");
    wchar_t before[] = L"";
    BSTR taken = before;
    const ExpectNoLeaks noLeaks;
    {
        const AllocationFault fault(1);
        EXPECT_HR(HandOver(CNKString(text), &taken), E_OUTOFMEMORY);
    }
    EXPECT_EQ(taken, before);
    EXPECT_BSTR(text, L"text");
}

} // namespace
