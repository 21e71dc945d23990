// A client that uses _bstr_t itself, compiled in the least favourable way: the header's operator new returns null when
// out of memory, and the compiler omits the check for that. Where the linker keeps one copy of the header's inline
// functions, it keeps this file's, which comes first. The library's strings must work all the same.

#define _COM_OPERATOR_NEW_THROWS // NOLINT(bugprone-reserved-identifier): the header's name

#include "core/nkstring.h"

#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

using support::Bstr;
using support::ForEachAllocationFailure;

namespace {

TEST(NKStringConsumer, OwnUseOfBstr_Works) {
    _bstr_t text(L"abc");
    text += _bstr_t("def");
    const _bstr_t copy(text.copy(), false);
    EXPECT_BSTR(copy, L"abcdef");
}

TEST(NKStringConsumer, FailedAllocationInTheLibrary_IsOutOfMemory) {
    ForEachAllocationFailure([] { return CNKString(L"abc"); });
    ForEachAllocationFailure([] { return CNKString("abc"); });
    ForEachAllocationFailure([] { return CNKString(L"abc", 2); });
    ForEachAllocationFailure([] { return CNKString(1u); });
    ForEachAllocationFailure([] { return CNKString(Bstr(L"abc").Release(), false); });
    ForEachAllocationFailure([] { return CNKString(Bstr(L"abc"), true); });
    ForEachAllocationFailure([] { return CNKString(L" abc ").Trim().Mid(1, 1); });
    ForEachAllocationFailure([] {
        CNKString text;
        text = L"abc";
        text += "def";
        text.MakeUpper();
        return text + L'x' + 1.5;
    });
    ForEachAllocationFailure([] {
        CNKString text;
        text.Assign(text.GetBSTR());
        *text.GetAddress() = nullptr;
        text.Attach(nullptr);
    });
}

} // namespace
