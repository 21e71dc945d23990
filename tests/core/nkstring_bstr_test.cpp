// CNKString: access to its BSTR, and sharing between strings.

#include "core/nkstring.h"

#include "tests/core/nkstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <string_view>
#include <thread>
#include <utility>
#include <vector>

using namespace std::literals;
using support::Bstr;
using support::BytesOf;
using support::CountRequests;
using support::Format;
using support::Make;
using support::NarrowTextOf;
using support::NullRecord;
using support::OddBytes;
using support::TextOf;

namespace {

using NKStringBstr = support::NKStringTest;
using NKStringSharing = support::NKStringTest;

// The BSTR

TEST_F(NKStringBstr, Conversions_GiveTheBstrOrNull) {
    const CNKString text = Make(L"a\0b"sv);
    EXPECT_EQ(static_cast<wchar_t*>(text), TextOf(text));
    EXPECT_BSTR(TextOf(text), L"a\0b"sv);
    EXPECT_EQ(TextOf(CNKString()), nullptr);
    EXPECT_EQ(TextOf(NullRecord()), nullptr);
}

TEST_F(NKStringBstr, NarrowText_IsCreatedOnceAndShared) {
    const CNKString text(L"abc");
    const CNKString sharing(text); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_STREQ(NarrowTextOf(text), "abc");
    EXPECT_EQ(NarrowTextOf(text), NarrowTextOf(sharing));
    EXPECT_EQ(NarrowTextOf(CNKString()), nullptr);
    EXPECT_EQ(NarrowTextOf(NullRecord()), nullptr);
    EXPECT_STREQ(NarrowTextOf(CNKString(L"")), "");
}

TEST_F(NKStringBstr, Copy_IsByteForByteAndTheCallers) {
    const CNKString text = Make(L"ab\0cd"sv);
    const Bstr copy(text.copy());
    EXPECT_BSTR(copy, L"ab\0cd"sv);
    EXPECT_NE(copy, TextOf(text));
    EXPECT_EQ(BytesOf(Bstr(CNKString(OddBytes(), true).copy())), "abcde"sv);
    EXPECT_BSTR(Bstr(CNKString(L"").copy()), L"");
    EXPECT_NULL_BSTR(CNKString().copy());
    EXPECT_NULL_BSTR(NullRecord().copy());
}

TEST_F(NKStringBstr, Detach_OfUnsharedText_GivesTheBstrItself) {
    CNKString text(L"abc");
    const wchar_t* const before = TextOf(text);
    static_cast<void>(NarrowTextOf(text));
    Bstr detached;
    EXPECT_EQ(CountRequests([&] { detached = Bstr(text.Detach()); }), 0u);
    EXPECT_EQ(detached, before);
    EXPECT_NULL_BSTR(text); // NOLINT(bugprone-use-after-move)
}

TEST_F(NKStringBstr, Detach_OfSharedText_GivesACopy) {
    CNKString text(OddBytes(), true);
    const CNKString sharing = text;
    const Bstr detached(text.Detach());
    EXPECT_NE(detached, TextOf(sharing));
    EXPECT_EQ(BytesOf(detached), "abcde"sv);
    EXPECT_NULL_BSTR(text); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(BytesOf(sharing), "abcde"sv);
}

TEST_F(NKStringBstr, Detach_OfNull_GivesNull) {
    EXPECT_NULL_BSTR(CNKString().Detach());
    EXPECT_NULL_BSTR(NullRecord().Detach());
    const CNKString null = NullRecord();
    EXPECT_NULL_BSTR(CNKString(null).Detach());
    EXPECT_BSTR(Bstr(CNKString(L"").Detach()), L"");
}

TEST_F(NKStringBstr, Detach_OfAPart_AllocatesOneBstrAndOneRecord) {
    const CNKString text(L"abcdef");
    EXPECT_EQ(CountRequests([&] { EXPECT_BSTR(Bstr(text.Mid(1, 2).Detach()), L"bc"); }), 2u);
    EXPECT_NULL_BSTR(text.Right(7).Detach());
}

TEST_F(NKStringBstr, Detach_Twice_GivesNull) {
    CNKString text(L"abc");
    const CNKString sharing = text;
    EXPECT_BSTR(Bstr(text.Detach()), L"abc");
    EXPECT_NULL_BSTR(text.Detach());
    EXPECT_BSTR(sharing, L"abc");
}

TEST_F(NKStringBstr, Attach_TakesOwnershipOfTheBstr) {
    const CNKString sharing(L"old");
    CNKString text = sharing;
    Bstr source(L"a\0b"sv);
    const BSTR attached = source.Release();
    text.Attach(attached);
    EXPECT_EQ(TextOf(text), attached);
    EXPECT_BSTR(sharing, L"old");
    text.Attach(nullptr);
    EXPECT_NULL_BSTR(text);
}

TEST_F(NKStringBstr, Assign_CopiesTheBstr) {
    CNKString text(L"old");
    const Bstr source(L"a\0b"sv);
    text.Assign(source);
    EXPECT_NE(TextOf(text), source);
    EXPECT_BSTR(text, L"a\0b"sv);
    text.Assign(static_cast<wchar_t*>(text));
    EXPECT_BSTR(text, L"a\0b"sv);
    text.Assign(nullptr);
    EXPECT_NULL_BSTR(text);
}

TEST_F(NKStringBstr, GetAddress_MakesNullAndReceivesABstr) {
    const CNKString sharing(L"old");
    CNKString text = sharing;
    BSTR* const address = text.GetAddress();
    EXPECT_NULL_BSTR(text);
    *address = Bstr(L"new").Release();
    EXPECT_BSTR(text, L"new");
    EXPECT_BSTR(sharing, L"old");
}

TEST_F(NKStringBstr, GetBSTR_RefersToTheBstr) {
    CNKString text(L"abc");
    EXPECT_EQ(text.GetBSTR(), TextOf(text));
    CNKString null;
    null.GetBSTR() = Bstr(L"new").Release();
    EXPECT_BSTR(null, L"new");
}

// Sharing

TEST_F(NKStringSharing, Change_LeavesTheOtherStrings) {
    const CNKString original(L"  aB  ");
    const std::vector<void (*)(CNKString&)> changes = {
        [](CNKString& text) { text.TrimLeft(); },  [](CNKString& text) { text.TrimRight(); },
        [](CNKString& text) { text.Trim(); },      [](CNKString& text) { text.Truncate(3); },
        [](CNKString& text) { text.MakeUpper(); }, [](CNKString& text) { text.MakeLower(); },
        [](CNKString& text) { text += L"x"; },     [](CNKString& text) { text = L"x"; },
        [](CNKString& text) { text.Clear(); },     [](CNKString& text) { Format(text, L"x"); },
    };
    for (const auto change : changes) {
        CNKString changed = original;
        const wchar_t* const before = TextOf(original);
        change(changed);
        EXPECT_EQ(TextOf(original), before);
        EXPECT_BSTR(original, L"  aB  ");
        EXPECT_NE(TextOf(changed), before);
    }
}

TEST_F(NKStringSharing, Text_LivesUntilTheLastStringIsDestroyed) {
    CNKString last;
    {
        const CNKString first(L"abc");
        last = first;
    }
    EXPECT_BSTR(last, L"abc");
}

TEST_F(NKStringSharing, TwoThreads_CopyAndDestroyStringsOfOneText) {
    const CNKString shared(L"abc");
    const auto copyAndDrop = [&shared] {
        for (int round = 0; round < 200'000; ++round) {
            CNKString copy = shared;
            const CNKString second = std::move(copy);
            copy = second;
        }
    };
    std::thread other(copyAndDrop);
    copyAndDrop();
    other.join();
    EXPECT_BSTR(shared, L"abc");
    // A lost reference would have freed the record, one too many would be a leak.
}

} // namespace
