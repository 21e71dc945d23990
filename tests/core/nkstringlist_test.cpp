#include "core/nkstringlist.h"

#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <concepts>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

using support::AllocationFault;
using support::CountRequests;
using support::ExpectNoLeaks;
using support::MakeList;
using support::TextOf;

namespace {

/// Every test leaves as much allocated as it found.
class NKStringListTest : public ::testing::Test {
    const ExpectNoLeaks m_noLeaks;
};

static_assert(std::derived_from<CNKStringList, std::vector<CNKString>>);
static_assert(sizeof(CNKStringList) == sizeof(std::vector<CNKString>) && !std::is_polymorphic_v<CNKStringList>);
static_assert(std::is_nothrow_default_constructible_v<CNKStringList>);
static_assert(std::is_nothrow_move_constructible_v<CNKStringList> && std::is_nothrow_move_assignable_v<CNKStringList>);

TEST_F(NKStringListTest, Default_IsEmptyAndAllocatesNothing) {
    EXPECT_EQ(CountRequests([] { static_cast<void>(CNKStringList()); }), 0u);
    EXPECT_EQ(CNKStringList().size(), 0u);
    EXPECT_TEXTS(CNKStringList());
}

TEST_F(NKStringListTest, PushBack_AppendsAtTheEnd) {
    CNKStringList list;
    list.push_back(L"b");
    list.push_back(L"a");
    list.push_back(L"b");
    EXPECT_TEXTS(list, L"b", L"a", L"b");
}

TEST_F(NKStringListTest, PushBack_SharesTheText) {
    const CNKString text(L"a");
    CNKStringList list;
    list.push_back(text);
    EXPECT_EQ(TextOf(list[0]), TextOf(text));
}

TEST_F(NKStringListTest, PushBackOfAMovedString_MovesItsText) {
    CNKString text(L"a");
    const wchar_t* const before = TextOf(text);
    CNKStringList list;
    list.push_back(std::move(text));
    EXPECT_EQ(TextOf(list[0]), before);
    EXPECT_NULL_BSTR(text); // NOLINT(bugprone-use-after-move): the moved-from string is tested
}

TEST_F(NKStringListTest, Element_IsReadAndAssignedInPlace) {
    CNKStringList list = MakeList({L"a", L"b", L"c"});
    list[1] = L"new";
    EXPECT_BSTR(list[1], L"new");
    EXPECT_TEXTS(list, L"a", L"new", L"c");
}

TEST_F(NKStringListTest, CopiedElement_SharesTheTextButNotChanges) {
    CNKStringList list = MakeList({L" a "});
    CNKString element = list[0];
    EXPECT_EQ(TextOf(element), TextOf(list[0]));
    element.Trim();
    EXPECT_TEXTS(list, L" a ");
}

TEST_F(NKStringListTest, Erase_MovesLaterElementsDown) {
    CNKStringList list = MakeList({L"a", L"b", L"c", L"d"});
    list.erase(list.begin() + 1);
    EXPECT_TEXTS(list, L"a", L"c", L"d");
    list.erase(list.begin());
    EXPECT_TEXTS(list, L"c", L"d");
    list.erase(list.begin() + 1);
    EXPECT_TEXTS(list, L"c");
}

TEST_F(NKStringListTest, EraseOfTheOnlyElement_LeavesAnEmptyList) {
    CNKStringList list = MakeList({L"a"});
    list.erase(list.begin());
    EXPECT_EQ(list.size(), 0u);
    EXPECT_TRUE(list.begin() == list.end());
}

TEST_F(NKStringListTest, NullElement_IsAnElement) {
    CNKStringList list = MakeList({L"a", std::nullopt, L""});
    EXPECT_EQ(list.size(), 3u);
    EXPECT_TEXTS(list, L"a", std::nullopt, L"");
    list.erase(list.begin());
    EXPECT_TEXTS(list, std::nullopt, L"");
}

TEST_F(NKStringListTest, EqualStrings_AreKeptUnsorted) {
    EXPECT_TEXTS(MakeList({L"b", L"a", L"b", L"B"}), L"b", L"a", L"b", L"B");
}

TEST_F(NKStringListTest, Iteration_IsInOrderAndContiguous) {
    const CNKStringList list = MakeList({L"a", L"b", L"c"});
    std::size_t position = 0;
    for (const CNKString& element : list) {
        EXPECT_EQ(&element, list.data() + position);
        ++position;
    }
    EXPECT_EQ(position, 3u);
}

TEST_F(NKStringListTest, Copy_SharesTheText) {
    const CNKStringList original = MakeList({L"a", std::nullopt});
    CNKStringList copy = original;
    EXPECT_EQ(TextOf(copy[0]), TextOf(original[0]));
    copy[1] = L"b";
    EXPECT_TEXTS(original, L"a", std::nullopt);
}

TEST_F(NKStringListTest, Destruction_ReleasesOnlyItsOwnReferences) {
    CNKString text(L"a");
    {
        CNKStringList list;
        list.push_back(text);
        list.push_back(text);
    }
    EXPECT_BSTR(text, L"a");
}

TEST_F(NKStringListTest, Growth_CopiesNoText) {
    CNKStringList list = MakeList({L"a", L"b"});
    list.shrink_to_fit();
    const wchar_t* const first = TextOf(list[0]);
    const CNKString added(L"c");
    EXPECT_EQ(CountRequests([&] { list.push_back(added); }), 1u);
    EXPECT_EQ(TextOf(list[0]), first);
}

TEST_F(NKStringListTest, FailedGrowth_IsBadAllocAndLeavesTheList) {
    CNKStringList list = MakeList({L"a", L"b"});
    list.shrink_to_fit();
    const CNKString added(L"c");
    {
        const AllocationFault fault(1);
        EXPECT_THROW(list.push_back(added), std::bad_alloc);
        EXPECT_TRUE(fault.Fired());
    }
    EXPECT_TEXTS(list, L"a", L"b");
    list.push_back(added);
    EXPECT_TEXTS(list, L"a", L"b", L"c");
}

} // namespace
