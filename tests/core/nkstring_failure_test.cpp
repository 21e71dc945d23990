// CNKString: out of memory is _com_error with E_OUTOFMEMORY, whichever allocation fails.

#include "core/nkstring.h"

#include "tests/core/nkstring_fixture.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string_view>

using namespace std::literals;
using support::Bstr;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Format;

namespace {

/// Two strings with shared text.
struct Shared {
    CNKString text = CNKString(L"  \x00e4 B  ");
    CNKString sharer = text;
};

constexpr std::wstring_view sharedText = L"  \x00e4 B  ";

/// A change that fails leaves both strings unchanged. With enough memory it succeeds.
template <class Change> void ExpectFailureChangesNothing(Change change) {
    ForEachAllocationFailure([] { return Shared(); }, change,
                             [&](Shared& shared) {
                                 EXPECT_BSTR(shared.text, sharedText);
                                 EXPECT_EQ(static_cast<BSTR>(shared.text), static_cast<BSTR>(shared.sharer));
                                 change(shared);
                                 EXPECT_BSTR(shared.sharer, sharedText);
                             });
}

/// An assignment that fails leaves the string null and the other one unchanged. With enough memory it succeeds.
template <class Assignment> void ExpectFailureLeavesNull(Assignment assign) {
    ForEachAllocationFailure([] { return Shared(); }, assign,
                             [&](Shared& shared) {
                                 EXPECT_NULL_BSTR(shared.text);
                                 EXPECT_BSTR(shared.sharer, sharedText);
                                 assign(shared);
                                 EXPECT_BSTR(shared.sharer, sharedText);
                             });
}

TEST(NKStringFailure, Constructors_RaiseOutOfMemory) {
    ForEachAllocationFailure([] { return CNKString(L"abc"); });
    ForEachAllocationFailure([] { return CNKString(L""); });
    ForEachAllocationFailure([] { return CNKString(static_cast<const wchar_t*>(nullptr)); });
    ForEachAllocationFailure([] { return CNKString("abc"); });
    ForEachAllocationFailure([] { return CNKString("\xe4"); });
    ForEachAllocationFailure([] { return CNKString(""); });
    ForEachAllocationFailure([] { return CNKString(L"abc", 2); });
    ForEachAllocationFailure([] { return CNKString(L"abc", 0); });
    ForEachAllocationFailure([] { return CNKString(L'x', 2); });
    ForEachAllocationFailure([] { return CNKString('x', 2); });
    ForEachAllocationFailure([] { return CNKString(1u); });
    ForEachAllocationFailure([] { return CNKString(1.5); });
}

TEST(NKStringFailure, CopyOfBstr_LeavesTheSource) {
    ForEachAllocationFailure([] { return Bstr(L"a\0b"sv); }, [](Bstr& source) { return CNKString(source, true); },
                             [](Bstr& source) { EXPECT_BSTR(source, L"a\0b"sv); });
}

TEST(NKStringFailure, AdoptedBstr_IsFreed) {
    ForEachAllocationFailure([] { return Bstr(L"abc"); },
                             [](Bstr& source) { return CNKString(source.Release(), false); },
                             [](Bstr& source) { EXPECT_NULL_BSTR(source); });
}

TEST(NKStringFailure, TextTooLongForABstr_IsOutOfMemory) {
    const ExpectNoLeaks noLeaks;
    for (const std::size_t length : {std::size_t{0x80000000}, std::size_t{0x100000001}, static_cast<std::size_t>(-1)}) {
        try {
            const CNKString text(L'x', length);
            ADD_FAILURE() << "a string of " << text.GetLength() << " units";
        } catch (const _com_error& error) {
            EXPECT_EQ(error.Error(), E_OUTOFMEMORY);
        }
    }
}

TEST(NKStringFailure, Assignments_LeaveNull) {
    const Bstr source(L"new");
    ExpectFailureLeavesNull([](Shared& shared) { shared.text = L"new"; });
    ExpectFailureLeavesNull([](Shared& shared) { shared.text = "new"; });
    ExpectFailureLeavesNull([](Shared& shared) { shared.text = static_cast<const wchar_t*>(nullptr); });
    ExpectFailureLeavesNull([](Shared& shared) { Format(shared.text, L"%d", 1); });
    ExpectFailureLeavesNull([](Shared& shared) { Format(shared.text, "%d", 1); });
    ExpectFailureLeavesNull([&](Shared& shared) { shared.text.Assign(source); });
    ExpectFailureLeavesNull([](Shared& shared) { static_cast<void>(shared.text.GetAddress()); });
}

TEST(NKStringFailure, AttachToASharedString_LeavesNullAndFreesTheBstr) {
    struct World {
        CNKString text = CNKString(L"abc");
        CNKString sharing = text;
        Bstr source = Bstr(L"new");
    };
    ForEachAllocationFailure([] { return World(); }, [](World& world) { world.text.Attach(world.source.Release()); },
                             [](World& world) { EXPECT_NULL_BSTR(world.text); });
}

TEST(NKStringFailure, AssignmentFromInsideOwnText_LeavesNull) {
    ForEachAllocationFailure([] { return CNKString(L"abc"); },
                             [](CNKString& text) { text = static_cast<const wchar_t*>(text) + 1; },
                             [](CNKString& text) { EXPECT_NULL_BSTR(text); });
}

TEST(NKStringFailure, GetBSTR_OfNull_LeavesNull) {
    ForEachAllocationFailure([] { return CNKString(); }, [](CNKString& text) { static_cast<void>(text.GetBSTR()); },
                             [](CNKString& text) { EXPECT_NULL_BSTR(text); });
}

TEST(NKStringFailure, Changes_LeaveTheStringUnchanged) {
    ExpectFailureChangesNothing([](Shared& shared) { shared.text.TrimLeft(); });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text.TrimRight(); });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text.Trim(); });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text.Truncate(2); });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text.MakeUpper(); });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text.MakeLower(); });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text += shared.text; });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text += L"x"; });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text += "x"; });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text += L'x'; });
    ExpectFailureChangesNothing([](Shared& shared) { shared.text += 'x'; });
}

TEST(NKStringFailure, Results_LeaveTheStringUnchanged) {
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text.Left(2); });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text.Right(2); });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text.Mid(1, 2); });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text.Mid(7, 2); });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text.ToUpper(); });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text.ToLower(); });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text.Find(L"x"); });
    ExpectFailureChangesNothing([](Shared& shared) { return Bstr(shared.text.copy()); });
    ExpectFailureChangesNothing([](Shared& shared) { static_cast<void>(static_cast<const char*>(shared.text)); });
    ExpectFailureChangesNothing([](Shared& shared) { return Bstr(shared.text.Mid(1, 2).Detach()); });
}

TEST(NKStringFailure, DetachOfSharedText_LeavesTheStringUnchanged) {
    ExpectFailureChangesNothing([](Shared& shared) { return Bstr(shared.text.Detach()); });
    ExpectFailureChangesNothing([](Shared& shared) { return Bstr(shared.text.Detach()); });
}

TEST(NKStringFailure, NarrowTextOfAscii_LeavesTheStringUnchanged) {
    ForEachAllocationFailure([] { return CNKString(L"abc"); },
                             [](CNKString& text) { static_cast<void>(static_cast<const char*>(text)); },
                             [](CNKString& text) {
                                 EXPECT_BSTR(text, L"abc");
                                 EXPECT_STREQ(static_cast<const char*>(text), "abc");
                             });
}

TEST(NKStringFailure, Concatenations_LeaveTheStringUnchanged) {
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text + shared.sharer; });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text + L"x"; });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text + "x"; });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text + L'x'; });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text + 'x'; });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text + 1u; });
    ExpectFailureChangesNothing([](Shared& shared) { return shared.text + 1.5; });
    ExpectFailureChangesNothing([](Shared& shared) { return L"x" + shared.text; });
    ExpectFailureChangesNothing([](Shared& shared) { return "x" + shared.text; });
    ExpectFailureChangesNothing([](Shared& shared) { return L'x' + shared.text; });
    ExpectFailureChangesNothing([](Shared& shared) { return 'x' + shared.text; });
    ExpectFailureChangesNothing([](Shared& shared) { return 1u + shared.text; });
    ExpectFailureChangesNothing([](Shared& shared) { return 1.5 + shared.text; });
}

} // namespace
