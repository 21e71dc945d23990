// CNKTokenString: how much splitting, joining and adding allocate.

#include "core/nktokenstring.h"

#include "tests/core/nktokenstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <string_view>

using namespace std::literals;
using support::CountLiveAllocations;
using support::CountRequests;
using support::eachCharacter;
using support::LiveAllocations;
using support::Make;
using support::MakeList;
using support::null;
using support::Split;
using support::splitModes;
using support::Text;
using support::TextOf;
using support::Tokens;
using support::wholeSeparator;

namespace {

using NKTokenStringCost = support::NKTokenStringTest;

/// A string of `count` tokens "t", separated by commas.
CNKString Repeated(std::size_t count) {
    CNKString text(L't', 2 * count - 1);
    for (std::size_t i = 1; i < text.GetLength(); i += 2) {
        static_cast<wchar_t*>(text)[i] = L',';
    }
    return text;
}

/// The most allocations by which an array grows to `count` elements.
std::size_t MaxGrowth(std::size_t count) {
    return static_cast<std::size_t>(std::bit_width(count)) + 1;
}

TEST_F(NKTokenStringCost, Split_AllocatesABstrAndARecordPerTokenAndTheArray) {
    for (const std::size_t count : {std::size_t{2}, std::size_t{3}, std::size_t{100}, std::size_t{1000}}) {
        const CNKString value = Repeated(count);
        for (const CNKString& separator : MakeList({L",", L",;"})) {
            CNKTokenString object(CNKString(), separator, eachCharacter);
            const LiveAllocations before = CountLiveAllocations();
            const std::size_t requests = CountRequests([&] { object.SetValue(value); });
            const LiveAllocations after = CountLiveAllocations();
            EXPECT_EQ(object.GetCount(), count);
            EXPECT_GT(requests, 2 * count);
            EXPECT_LE(requests, 2 * count + MaxGrowth(count));
            EXPECT_EQ(after.bstrs - before.bstrs, static_cast<std::ptrdiff_t>(count));
            EXPECT_EQ(after.objects - before.objects, static_cast<std::ptrdiff_t>(count + 1));
        }
    }
}

TEST_F(NKTokenStringCost, SplitIntoAsManyTokensAsBefore_AllocatesNoArray) {
    CNKTokenString object = Split(L"a;,b;,c", L";,", wholeSeparator);
    const CNKString value(L"x;,y;,z");
    EXPECT_EQ(CountRequests([&] { object.SetValue(value); }), 6u);
    object = Split(L"a;b;c", L";");
    EXPECT_EQ(CountRequests([&] { object.SetMultiCharacter(wholeSeparator); }), 2u + 6u);
}

TEST_F(NKTokenStringCost, Join_AllocatesOneBstrAndOneRecord) {
    for (const std::size_t count : {std::size_t{2}, std::size_t{3}, std::size_t{1000}}) {
        for (const bool mode : splitModes) {
            const CNKTokenString object(Repeated(count), L",", mode);
            CNKString value;
            const LiveAllocations before = CountLiveAllocations();
            EXPECT_EQ(CountRequests([&] { value = object.GetValue(); }), 2u);
            EXPECT_EQ(CountLiveAllocations(), (LiveAllocations{before.objects + 1, before.bstrs + 1}));
        }
    }
}

TEST_F(NKTokenStringCost, JoinOfNoTokens_AllocatesNothing) {
    const CNKTokenString object = Split(L"", L",");
    EXPECT_EQ(CountRequests([&] { static_cast<void>(object.GetValue()); }), 0u);
}

TEST_F(NKTokenStringCost, JoinOfOneToken_SharesItsText) {
    for (const Text token : {Text(L"a,b"), Text(L"")}) {
        const CNKTokenString object = Tokens({token}, L",");
        EXPECT_EQ(CountRequests([&] { static_cast<void>(object.GetValue()); }), 0u);
        EXPECT_EQ(TextOf(object.GetValue()), TextOf(object.at(0)));
    }
}

TEST_F(NKTokenStringCost, SplitIntoOneToken_SharesTheText) {
    const CNKString value = Make(L"a\0b"sv);
    for (const Text separator : {Text(), Text(L""), Text(L","), Text(L";,"), Text(L"\0"sv)}) {
        for (const bool mode : splitModes) {
            CNKTokenString object = Split(null, separator, mode);
            EXPECT_EQ(CountRequests([&] { object.SetValue(value); }), 1u); // the array
            EXPECT_EQ(TextOf(object.at(0)), TextOf(value));
        }
    }
}

TEST_F(NKTokenStringCost, UnsplitTokens_AllocateOnlyTheArray) {
    const CNKStringList list = MakeList({L"x,y", L"z"});
    CNKTokenString object = Split(L"a,b", L",");
    object.shrink_to_fit();
    EXPECT_EQ(CountRequests([&] { object.AddList(list); }), 1u);
    object.shrink_to_fit();
    EXPECT_EQ(CountRequests([&] { object.InsertList(1, list); }), 1u);
    object.shrink_to_fit();
    EXPECT_EQ(CountRequests([&] { object.InsertAt(0, list[0]); }), 1u);
    object.reserve(20);
    EXPECT_EQ(CountRequests([&] { object.AddList(list).InsertList(1, list).InsertAt(0, list[0]); }), 0u);
}

TEST_F(NKTokenStringCost, RepeatedAppending_GrowsTheArrayByFactors) {
    constexpr std::size_t count = 1000;
    const CNKStringList list = MakeList({L"a"});
    CNKTokenString object;
    EXPECT_LE(CountRequests([&] {
                  for (std::size_t i = 0; i < count; ++i) {
                      object.AddList(list);
                  }
              }),
              MaxGrowth(count));
    object.reserve(3 * count);
    // Each Add splits "a" once as a trial, which allocates an array and nothing else.
    EXPECT_EQ(CountRequests([&] {
                  for (std::size_t i = 0; i < count; ++i) {
                      object.Add(list[0]);
                  }
              }),
              count);
}

} // namespace
