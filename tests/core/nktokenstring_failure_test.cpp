// CNKTokenString: the tokens after running out of memory, whichever allocation fails.

#include "core/nktokenstring.h"

#include "tests/core/nktokenstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string_view>

using support::AllocationFault;
using support::CountRequests;
using support::eachCharacter;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Held;
using support::MakeList;
using support::null;
using support::OutOfMemory;
using support::wholeSeparator;

namespace {

// A token takes two allocations, its BSTR and its record, unless its text is shared. These raise _com_error. The array
// of tokens takes another one each time it grows, which raises std::bad_alloc.

/// An object with the tokens "a,b" and "c", and arguments for it. Unless there is room for more tokens, the first new
/// one needs a larger array.
struct World {
    explicit World(std::size_t room) {
        object = MakeList({L"a,b", L"c"});
        object.shrink_to_fit();
        object.reserve(room);
    }

    CNKTokenString object = CNKTokenString(CNKString(), L",", eachCharacter);
    CNKString text = CNKString(L"x,y");
    CNKString separator = CNKString(L";,");
    CNKStringList list = MakeList({L"1,2", null});
};

World MakeWorld() {
    return World(0);
}

World MakeWorldWithRoom() {
    return World(20);
}

/// `object` has exactly the first `count` tokens of `all`.
void ExpectTokensSoFar(const CNKTokenString& object, std::size_t count, const CNKStringList& all) {
    ASSERT_LE(count, all.size());
    ASSERT_EQ(object.GetCount(), count);
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(Held(object.at(i)), Held(all[i]));
    }
}

void ExpectSeparator(const CNKTokenString& object, std::wstring_view separator, bool mode) {
    EXPECT_BSTR(object.GetSeparator(), separator);
    EXPECT_EQ(object.GetMultiCharacter(), mode);
}

/// The object works as if nothing had failed.
void ExpectUsable(CNKTokenString& object) {
    object.SetSeparator(L"-", eachCharacter).SetValue(L"1-2-3").Add(L"4-5").Insert(0, L"-");
    EXPECT_TEXTS(object, L"", L"", L"1", L"2", L"3", L"4-5");
    EXPECT_BSTR(object.GetValue(), L"--1-2-3-4-5");
}

/// Whichever allocation of `operation(world)` fails, the object is unchanged.
template <class Operation> void ExpectFailureChangesNothing(Operation operation) {
    const auto check = [](World& world) {
        EXPECT_TEXTS(world.object, L"a,b", L"c");
        ExpectSeparator(world.object, L",", eachCharacter);
        EXPECT_TEXTS(world.list, L"1,2", null);
        ExpectUsable(world.object);
    };
    ForEachAllocationFailure(MakeWorld, operation, check, OutOfMemory::ComErrorOrBadAlloc);
}

/// The same for an operation that allocates only a larger array.
template <class Operation> void ExpectFailedGrowthIsBadAlloc(Operation operation) {
    ExpectFailureChangesNothing(operation);
    const ExpectNoLeaks noLeaks;
    World world = MakeWorld();
    {
        const AllocationFault fault(1);
        EXPECT_THROW(operation(world), std::bad_alloc);
    }
    EXPECT_EQ(CountRequests([&] { operation(world); }), 1u);
}

// Split

TEST(NKTokenStringFailure, SetValue_KeepsTheTokensSoFar) {
    struct Case {
        const wchar_t* separator;
        bool mode;
        const wchar_t* value;
    };
    for (const Case& example : {Case{L",", eachCharacter, L"1,2,,3"}, Case{L",", wholeSeparator, L"1,2,,3"},
                                Case{L",;", eachCharacter, L"1,2;,3"}, Case{L",;", wholeSeparator, L"1,;2,;,;3"}}) {
        const CNKStringList all = MakeList({L"1", L"2", L"", L"3"});
        const CNKString value(example.value);
        std::size_t failures = 0;
        ForEachAllocationFailure(
            [&] {
                CNKTokenString object(CNKString(), example.separator, example.mode);
                object.reserve(all.size());
                object.Add(L"old");
                return object;
            },
            [&](CNKTokenString& object) { object.SetValue(value); },
            [&](CNKTokenString& object) {
                ExpectTokensSoFar(object, failures++ / 2, all);
                ExpectSeparator(object, example.separator, example.mode);
                object.SetValue(value);
                ExpectTokensSoFar(object, all.size(), all);
                ExpectUsable(object);
            });
        EXPECT_EQ(failures, 2 * all.size());
    }
}

TEST(NKTokenStringFailure, SetValueWithoutRoom_KeepsTheTokensSoFar) {
    const CNKString value(L"1,2,,3");
    const CNKStringList all = MakeList({L"1", L"2", L"", L"3"});
    std::size_t reached = 0;
    ForEachAllocationFailure([] { return CNKTokenString(CNKString(), L",", eachCharacter); },
                             [&](CNKTokenString& object) { object.SetValue(value); },
                             [&](CNKTokenString& object) {
                                 EXPECT_LT(object.GetCount(), all.size());
                                 EXPECT_GE(object.GetCount(), reached);
                                 reached = object.GetCount();
                                 ExpectTokensSoFar(object, reached, all);
                                 object.SetValue(value);
                                 ExpectTokensSoFar(object, all.size(), all);
                                 ExpectUsable(object);
                             },
                             OutOfMemory::ComErrorOrBadAlloc);
    EXPECT_EQ(reached, all.size() - 1);
}

TEST(NKTokenStringFailure, SetValueOfOneSharedToken_LeavesNoTokens) {
    const ExpectNoLeaks noLeaks;
    const CNKString value(L"abc");
    CNKTokenString object(CNKString(), L",", eachCharacter);
    {
        const AllocationFault fault(1);
        EXPECT_THROW(object.SetValue(value), std::bad_alloc);
    }
    EXPECT_TEXTS(object);
    EXPECT_NULL_BSTR(object.GetValue());
    ExpectUsable(object);
}

TEST(NKTokenStringFailure, SetValueOfAnOwnToken_KeepsTheTokensSoFar) {
    std::size_t failures = 0;
    ForEachAllocationFailure(
        MakeWorldWithRoom, [](World& world) { world.object.SetValue(world.object.front()); },
        [&](World& world) {
            ExpectTokensSoFar(world.object, failures++ / 2, MakeList({L"a", L"b"}));
            ExpectUsable(world.object);
        });
    EXPECT_EQ(failures, 4u);
}

TEST(NKTokenStringFailure, Constructors_LeakNothing) {
    ForEachAllocationFailure([] { return CNKTokenString(L"1,2", L",", eachCharacter); },
                             OutOfMemory::ComErrorOrBadAlloc);
    ForEachAllocationFailure([] { return CNKTokenString(L"1,;2", L",;", wholeSeparator); },
                             OutOfMemory::ComErrorOrBadAlloc);
    ForEachAllocationFailure(
        MakeWorld, [](World& world) { return CNKTokenString(world.list, world.separator, eachCharacter); },
        [](World& world) { EXPECT_TEXTS(world.list, L"1,2", null); }, OutOfMemory::ComErrorOrBadAlloc);
}

// Join

TEST(NKTokenStringFailure, GetValue_ChangesNothing) {
    std::size_t failures = 0;
    ForEachAllocationFailure(
        MakeWorld, [](World& world) { return world.object.GetValue(); },
        [&](World& world) {
            ++failures;
            EXPECT_TEXTS(world.object, L"a,b", L"c");
            ExpectSeparator(world.object, L",", eachCharacter);
            EXPECT_BSTR(world.object.GetValue(), L"a,b,c");
            ExpectUsable(world.object);
        });
    EXPECT_EQ(failures, 2u);
}

// Joining and splitting again

/// `change` joins the tokens and splits them again. If one of the join's two allocations fails, nothing changes. If a
/// later one fails, `separator` and `mode` are stored and the object has the tokens split so far.
template <class Change> void ExpectSeparatorStoredBeforeSplit(Change change, std::wstring_view separator, bool mode) {
    const CNKStringList all = MakeList({L"a", L"b", L"c"});
    std::size_t failures = 0;
    ForEachAllocationFailure(MakeWorldWithRoom, change, [&](World& world) {
        const std::size_t before = failures++;
        if (before < 2) {
            EXPECT_TEXTS(world.object, L"a,b", L"c");
            ExpectSeparator(world.object, L",", eachCharacter);
        } else {
            ExpectTokensSoFar(world.object, (before - 2) / 2, all);
            ExpectSeparator(world.object, separator, mode);
        }
        ExpectUsable(world.object);
    });
    EXPECT_EQ(failures, 2 + 2 * all.size());
}

TEST(NKTokenStringFailure, SetSeparator_IsStoredBeforeTheSplit) {
    ExpectSeparatorStoredBeforeSplit([](World& world) { world.object.SetSeparator(world.separator, eachCharacter); },
                                     L";,", eachCharacter);
}

TEST(NKTokenStringFailure, SetMultiCharacter_IsStoredBeforeTheSplit) {
    ExpectSeparatorStoredBeforeSplit([](World& world) { world.object.SetMultiCharacter(wholeSeparator); }, L",",
                                     wholeSeparator);
}

TEST(NKTokenStringFailure, SetSeparatorWithoutRoom_KeepsTheTokensSoFar) {
    ForEachAllocationFailure(
        MakeWorld, [](World& world) { world.object.SetSeparator(world.separator, eachCharacter); },
        [](World& world) {
            if (world.object.GetSeparator() == CNKString(L";,")) {
                EXPECT_LT(world.object.GetCount(), 3u);
                ExpectTokensSoFar(world.object, world.object.GetCount(), MakeList({L"a", L"b", L"c"}));
            } else {
                EXPECT_TEXTS(world.object, L"a,b", L"c");
                ExpectSeparator(world.object, L",", eachCharacter);
            }
            ExpectUsable(world.object);
        },
        OutOfMemory::ComErrorOrBadAlloc);
}

// Tokens

TEST(NKTokenStringFailure, Add_WithoutMemoryToSplit_AppendsNothing) {
    ExpectFailureChangesNothing([](World& world) { world.object.Add(world.text); });
    // Add splits the token as a trial: an array and two tokens.
    World world = MakeWorldWithRoom();
    EXPECT_EQ(CountRequests([&] { world.object.Add(world.text); }), 1u + 4u);
}

TEST(NKTokenStringFailure, AddOfAnOwnToken_ChangesNothing) {
    ExpectFailureChangesNothing([](World& world) { world.object.Add(world.object.front()); });
}

TEST(NKTokenStringFailure, Insert_ChangesNothing) {
    ExpectFailureChangesNothing([](World& world) { world.object.Insert(0, world.text); });
    ExpectFailureChangesNothing([](World& world) { world.object.Insert(1, world.text); });
    ExpectFailureChangesNothing([](World& world) { world.object.Insert(0, world.object.front()); });
}

TEST(NKTokenStringFailure, InsertAtTheCount_AppendsNothing) {
    ExpectFailureChangesNothing([](World& world) { world.object.Insert(2, world.text); });
}

TEST(NKTokenStringFailure, SetToken_RemovesTheTokenAndInsertsNothing) {
    const auto firstRemoved = [](World& world) {
        EXPECT_TEXTS(world.object, L"c");
        ExpectSeparator(world.object, L",", eachCharacter);
        ExpectUsable(world.object);
    };
    const auto lastRemoved = [](World& world) {
        EXPECT_TEXTS(world.object, L"a,b");
        ExpectSeparator(world.object, L",", eachCharacter);
        ExpectUsable(world.object);
    };
    constexpr OutOfMemory any = OutOfMemory::ComErrorOrBadAlloc;
    ForEachAllocationFailure(
        MakeWorld, [](World& world) { world.object.SetToken(0, world.text); }, firstRemoved, any);
    ForEachAllocationFailure(
        MakeWorld, [](World& world) { world.object.SetToken(1, world.text); }, lastRemoved, any);
    ForEachAllocationFailure(
        MakeWorld, [](World& world) { world.object.SetToken(world.object.begin(), world.text); }, firstRemoved, any);
    ForEachAllocationFailure(
        MakeWorld, [](World& world) { world.object.SetToken(0, world.object.front()); }, firstRemoved, any);
}

// Lists of strings

TEST(NKTokenStringFailure, AddList_IsBadAllocAndChangesNothing) {
    ExpectFailedGrowthIsBadAlloc([](World& world) { world.object.AddList(world.list); });
}

TEST(NKTokenStringFailure, InsertList_IsBadAllocAndChangesNothing) {
    ExpectFailedGrowthIsBadAlloc([](World& world) { world.object.InsertList(1, world.list); });
    ExpectFailedGrowthIsBadAlloc([](World& world) { world.object.InsertList(2, world.list); });
}

TEST(NKTokenStringFailure, ListOfItself_ChangesNothing) {
    ExpectFailureChangesNothing([](World& world) { world.object.AddList(world.object); });
    ExpectFailureChangesNothing([](World& world) { world.object.InsertList(1, world.object); });
}

TEST(NKTokenStringFailure, InsertAt_IsBadAllocAndChangesNothing) {
    ExpectFailedGrowthIsBadAlloc([](World& world) { world.object.InsertAt(0, world.text); });
    ExpectFailedGrowthIsBadAlloc([](World& world) { world.object.InsertAt(2, world.text); });
    ExpectFailedGrowthIsBadAlloc([](World& world) { world.object.InsertAt(0, world.object.back()); });
}

TEST(NKTokenStringFailure, AssignmentOfAList_IsBadAllocAndChangesNothing) {
    const CNKStringList longer = MakeList({L"1", L"2", L"3"});
    ExpectFailedGrowthIsBadAlloc([&](World& world) { world.object = longer; });
}

// Copies

TEST(NKTokenStringFailure, Copy_IsBadAllocAndLeavesTheOriginal) {
    ExpectFailedGrowthIsBadAlloc([](World& world) { static_cast<void>(CNKTokenString(world.object)); });
}

TEST(NKTokenStringFailure, AssignmentOfACopy_IsBadAllocAndChangesNothing) {
    const CNKTokenString source(L"1;,2;,3", L";,", wholeSeparator);
    ExpectFailedGrowthIsBadAlloc([&](World& world) { world.object = source; });
}

} // namespace
