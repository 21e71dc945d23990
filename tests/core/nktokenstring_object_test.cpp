// CNKTokenString as an object: construction, copies, moves, and arguments that are parts of the object itself.

#include "core/nktokenstring.h"

#include "tests/core/nktokenstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <concepts>
#include <cstddef>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

using namespace std::literals;
using support::CountRequests;
using support::eachCharacter;
using support::MakeList;
using support::null;
using support::Split;
using support::Text;
using support::TextOf;
using support::Tokens;
using support::wholeSeparator;

namespace {

using NKTokenStringConstruction = support::NKTokenStringTest;
using NKTokenStringCopy = support::NKTokenStringTest;
using NKTokenStringMove = support::NKTokenStringTest;
using NKTokenStringAlias = support::NKTokenStringTest;

static_assert(std::derived_from<CNKTokenString, CNKStringList>);
static_assert(!std::is_polymorphic_v<CNKTokenString>);
static_assert(std::is_nothrow_default_constructible_v<CNKTokenString>);
static_assert(std::is_nothrow_move_constructible_v<CNKTokenString> &&
              std::is_nothrow_move_assignable_v<CNKTokenString>);
static_assert(std::is_copy_constructible_v<CNKTokenString> && std::is_copy_assignable_v<CNKTokenString>);

// Construction

TEST_F(NKTokenStringConstruction, Default_HasNoTokensAndANullSeparator) {
    const CNKTokenString object;
    EXPECT_EQ(object.GetCount(), 0u);
    EXPECT_NULL_BSTR(object.GetValue());
    EXPECT_NULL_BSTR(object.GetSeparator());
    EXPECT_FALSE(object.GetMultiCharacter());
    EXPECT_NULL_BSTR(object.GetToken(0));
}

TEST_F(NKTokenStringConstruction, Default_AllocatesNothing) {
    EXPECT_EQ(CountRequests([] { static_cast<void>(CNKTokenString()); }), 0u);
}

TEST_F(NKTokenStringConstruction, FromValue_SplitsItAtTheWholeSeparator) {
    const CNKTokenString object(L"a;,b;c", L";,", wholeSeparator);
    EXPECT_TEXTS(object, L"a", L"b;c");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringConstruction, FromValue_SplitsItAtEachCharacter) {
    const CNKTokenString object(L"usr;local,bin", L";,", eachCharacter);
    EXPECT_TEXTS(object, L"usr", L"local", L"bin");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_FALSE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringConstruction, FromZeroLengthOrNull_HasNoTokensButSeparatorAndMode) {
    for (const Text value : {Text(L""), Text()}) {
        const CNKTokenString object = Split(value, L",", wholeSeparator);
        EXPECT_TEXTS(object);
        EXPECT_NULL_BSTR(object.GetValue());
        EXPECT_BSTR(object.GetSeparator(), L",");
        EXPECT_TRUE(object.GetMultiCharacter());
    }
}

struct PartsRow : support::Row {
    std::vector<Text> parts;
    Text separator;
    bool mode;
    std::vector<Text> tokens;
};

class NKTokenStringPartsTable : public support::NKTokenStringTest, public ::testing::WithParamInterface<PartsRow> {};

const PartsRow partsRows[] = {
    {{"EndOfAPart_IsNoSeparator"}, {L"a,", L"b", L"c,d"}, L",", eachCharacter, {L"a", L"bc", L"d"}},
    {{"SeparatorAcrossTwoParts_IsFound"}, {L"a;", L",b"}, L";,", wholeSeparator, {L"a", L"b"}},
    {{"NullAndZeroLengthParts_AddNothing"}, {null, L"a,", L"", null, L"b", L""}, L",", eachCharacter, {L"a", L"b"}},
    {{"NullSeparator_GivesOneToken"}, {L"a,", L"b"}, null, eachCharacter, {L"a,b"}},
    {{"NoParts_GiveNoTokens"}, {}, L",", eachCharacter, {}},
    {{"ZeroLengthPart_GivesNoTokens"}, {L""}, L",", eachCharacter, {}},
    {{"NullPart_GivesNoTokens"}, {null}, L",", eachCharacter, {}},
    {{"OnlyNullAndZeroLengthParts_GiveNoTokens"}, {L"", null, L""}, L",", eachCharacter, {}},
    {{"PartWithNul_EndsTheSearch"}, {L"a,b\0"sv, L"c,d"}, L",", eachCharacter, {L"a", L"b\0c,d"sv}},
};

INSTANTIATE_TEST_SUITE_P(, NKTokenStringPartsTable, ::testing::ValuesIn(partsRows), support::RowName());

TEST_P(NKTokenStringPartsTable, FromParts_SplitsTheirConcatenation) {
    const PartsRow& row = GetParam();
    const CNKTokenString object(MakeList(row.parts), support::Make(row.separator), row.mode);
    EXPECT_TEXT_LIST(object, row.tokens);
    EXPECT_TEXT(object.GetSeparator(), row.separator);
    EXPECT_EQ(object.GetMultiCharacter(), row.mode);
}

TEST_F(NKTokenStringConstruction, FromTokenStringAsParts_IgnoresItsSeparator) {
    const CNKTokenString parts = Split(L"a,b;c", L",");
    EXPECT_TEXTS(CNKTokenString(parts, L";", eachCharacter), L"ab", L"c");
}

// Copies

TEST_F(NKTokenStringCopy, Construction_CopiesTokensSeparatorAndMode) {
    const CNKTokenString original = Tokens({L"a", null, L"x;,y"}, L";,", wholeSeparator);
    const CNKTokenString copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_TEXTS(copy, L"a", null, L"x;,y");
    EXPECT_BSTR(copy.GetSeparator(), L";,");
    EXPECT_TRUE(copy.GetMultiCharacter());
    EXPECT_TEXTS(original, L"a", null, L"x;,y");
}

TEST_F(NKTokenStringCopy, Construction_SharesTokensAndSeparator) {
    const CNKTokenString original = Split(L"a,b", L",");
    EXPECT_EQ(CountRequests([&] { static_cast<void>(CNKTokenString(original)); }), 1u); // the array of handles
    const CNKTokenString copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(TextOf(copy.at(0)), TextOf(original.at(0)));
    EXPECT_EQ(TextOf(copy.at(1)), TextOf(original.at(1)));
    EXPECT_EQ(TextOf(copy.GetSeparator()), TextOf(original.GetSeparator()));
}

TEST_F(NKTokenStringCopy, Change_LeavesTheOriginal) {
    const CNKTokenString original = Split(L" a ,b", L",");
    CNKTokenString copy = original;
    copy.at(0).Trim();
    copy.Add(L"c").SetSeparator(L";", wholeSeparator);
    EXPECT_TEXTS(copy, L"a,b,c");
    EXPECT_TEXTS(original, L" a ", L"b");
    EXPECT_BSTR(original.GetSeparator(), L",");
    EXPECT_FALSE(original.GetMultiCharacter());
}

TEST_F(NKTokenStringCopy, Assignment_ReplacesTokensSeparatorAndMode) {
    const CNKTokenString source = Split(L"x;,y", L";,", wholeSeparator);
    for (const Text before : {Text(), Text(L"a"), Text(L"a,b,c,d,e")}) {
        CNKTokenString object = Split(before, L",");
        EXPECT_EQ(&(object = source), &object);
        EXPECT_TEXTS(object, L"x", L"y");
        EXPECT_EQ(TextOf(object.at(0)), TextOf(source.at(0)));
        EXPECT_BSTR(object.GetSeparator(), L";,");
        EXPECT_TRUE(object.GetMultiCharacter());
    }
}

TEST_F(NKTokenStringCopy, AssignmentOfADefaultObject_MakesTheSeparatorNull) {
    CNKTokenString object = Split(L"x;,y", L";,", wholeSeparator);
    const CNKTokenString source;
    object = source;
    EXPECT_TEXTS(object);
    EXPECT_NULL_BSTR(object.GetSeparator());
    EXPECT_FALSE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringCopy, AssignmentOfItself_ChangesNothing) {
    CNKTokenString object = Split(L"a,b", L",");
    const CNKTokenString& same = object;
    const wchar_t* const first = TextOf(object.at(0));
    EXPECT_EQ(CountRequests([&] { object = same; }), 0u);
    EXPECT_TEXTS(object, L"a", L"b");
    EXPECT_EQ(TextOf(object.at(0)), first);
    EXPECT_BSTR(object.GetSeparator(), L",");
}

// Moves

TEST_F(NKTokenStringMove, Construction_MovesEverythingAndAllocatesNothing) {
    CNKTokenString source = Split(L"a;,b", L";,", wholeSeparator);
    const CNKString* const tokens = source.data();
    EXPECT_EQ(CountRequests([&] {
                  CNKTokenString moved(std::move(source));
                  source = std::move(moved);
              }),
              0u);
    const CNKTokenString object(std::move(source));
    EXPECT_EQ(object.data(), tokens);
    EXPECT_TEXTS(object, L"a", L"b");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringMove, MovedObject_HasNoTokensAndCanBeUsed) {
    CNKTokenString source = Split(L"a,b", L",");
    const CNKTokenString object(std::move(source));
    // NOLINTBEGIN(bugprone-use-after-move): the moved-from object is tested
    EXPECT_TEXTS(source);
    EXPECT_NULL_BSTR(source.GetSeparator());
    source.SetSeparator(L";", eachCharacter).SetValue(L"x;y");
    EXPECT_TEXTS(source, L"x", L"y");
    // NOLINTEND(bugprone-use-after-move)
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringMove, Assignment_ReplacesTokensSeparatorAndMode) {
    CNKTokenString object = Split(L"a,b,c", L",");
    object = Split(L"x;,y", L";,", wholeSeparator);
    EXPECT_TEXTS(object, L"x", L"y");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

// Arguments that are parts of the object

TEST_F(NKTokenStringAlias, SetValue_ToAnOwnToken_SplitsIt) {
    CNKTokenString object = Tokens({L"a,b", L"c,d", L"e"}, L",");
    object.SetValue(object.at(1));
    EXPECT_TEXTS(object, L"c", L"d");
    object = MakeList({L"x,y"});
    object.SetValue(object.front());
    EXPECT_TEXTS(object, L"x", L"y");
    object = MakeList({L"plain", L"x"});
    object.SetValue(object.front());
    EXPECT_TEXTS(object, L"plain");
}

TEST_F(NKTokenStringAlias, SetValue_ToAnOwnTokenAndWholeSeparator_SplitsIt) {
    CNKTokenString object = Tokens({L"a;,b", L"c;,d"}, L";,", wholeSeparator);
    object.SetValue(object.at(1));
    EXPECT_TEXTS(object, L"c", L"d");
}

TEST_F(NKTokenStringAlias, SetSeparator_ToTheOwnSeparator_SplitsByIt) {
    CNKTokenString object = Split(L"x;,y", L";,", wholeSeparator);
    object.SetSeparator(object.GetSeparator(), eachCharacter);
    EXPECT_TEXTS(object, L"x", L"", L"y");
    EXPECT_BSTR(object.GetSeparator(), L";,");
}

TEST_F(NKTokenStringAlias, SetSeparator_ToAnOwnToken_SplitsByIt) {
    CNKTokenString object = Tokens({L"a;", L";", L"b"}, L",");
    object.SetSeparator(object.at(1), eachCharacter);
    EXPECT_BSTR(object.GetSeparator(), L";");
    EXPECT_TEXTS(object, L"a", L",", L",b");
    object = Tokens({L"--", L"a"}, L"--", wholeSeparator);
    object.SetSeparator(object.front(), wholeSeparator);
    EXPECT_BSTR(object.GetSeparator(), L"--");
    EXPECT_TEXTS(object, L"", L"", L"a");
}

TEST_F(NKTokenStringAlias, Add_OfAnOwnToken_AppendsIt) {
    CNKTokenString object = Tokens({L"a,b", L"c"}, L",");
    object.shrink_to_fit();
    object.Add(object.front());
    EXPECT_TEXTS(object, L"a,b", L"c", L"a,b");
    object.reserve(10);
    object.Add(object.front());
    EXPECT_TEXTS(object, L"a,b", L"c", L"a,b", L"a,b");
}

TEST_F(NKTokenStringAlias, Insert_OfAnOwnToken_InsertsItsTokens) {
    for (const std::size_t capacity : {std::size_t{0}, std::size_t{10}}) {
        CNKTokenString object = Tokens({L"a,b", L"c,d"}, L",");
        object.shrink_to_fit();
        object.reserve(capacity);
        object.Insert(0, object.back());
        EXPECT_TEXTS(object, L"c", L"d", L"a,b", L"c,d");
        object.shrink_to_fit();
        object.reserve(capacity);
        object.Insert(4, object.at(2));
        EXPECT_TEXTS(object, L"c", L"d", L"a,b", L"c,d", L"a,b");
    }
}

TEST_F(NKTokenStringAlias, InsertAt_OfAnOwnToken_InsertsItUnsplit) {
    for (const std::size_t capacity : {std::size_t{0}, std::size_t{10}}) {
        CNKTokenString object = Tokens({L"a", L"b,c"}, L",");
        object.shrink_to_fit();
        object.reserve(capacity);
        object.InsertAt(0, object.back());
        EXPECT_TEXTS(object, L"b,c", L"a", L"b,c");
    }
}

TEST_F(NKTokenStringAlias, SetToken_ToAnOwnToken_ReplacesTheToken) {
    CNKTokenString object = Tokens({L"a,b", L"c,d", L"e"}, L",");
    object.SetToken(0, object.front());
    EXPECT_TEXTS(object, L"a", L"b", L"c,d", L"e");
    object.SetToken(0, object.at(2));
    EXPECT_TEXTS(object, L"c", L"d", L"b", L"c,d", L"e");
    object.SetToken(object.begin() + 4, object.at(3));
    EXPECT_TEXTS(object, L"c", L"d", L"b", L"c,d", L"c,d");
    object.SetToken(4, object.back());
    EXPECT_TEXTS(object, L"c", L"d", L"b", L"c,d", L"c,d");
}

TEST_F(NKTokenStringAlias, AddList_OfItself_DoublesTheTokens) {
    for (const std::size_t capacity : {std::size_t{0}, std::size_t{10}}) {
        CNKTokenString object = Tokens({L"a,b", null}, L",");
        object.shrink_to_fit();
        object.reserve(capacity);
        object.AddList(object);
        EXPECT_TEXTS(object, L"a,b", null, L"a,b", null);
    }
}

TEST_F(NKTokenStringAlias, InsertList_OfItself_InsertsAllTokens) {
    for (const std::size_t capacity : {std::size_t{0}, std::size_t{10}}) {
        for (const std::size_t n : {std::size_t{1}, std::size_t{3}, std::size_t{9}}) {
            CNKTokenString object = Tokens({L"a", L"b", L"c"}, L",");
            object.shrink_to_fit();
            object.reserve(capacity);
            object.InsertList(n, object);
            if (n == 1) {
                EXPECT_TEXTS(object, L"a", L"a", L"b", L"c", L"b", L"c");
            } else {
                EXPECT_TEXTS(object, L"a", L"b", L"c", L"a", L"b", L"c");
            }
        }
    }
}

TEST_F(NKTokenStringAlias, AssignmentOfItselfAsList_ChangesNothing) {
    CNKTokenString object = Tokens({L"a,b", L"c"}, L",");
    object = static_cast<const CNKStringList&>(object);
    EXPECT_TEXTS(object, L"a,b", L"c");
    EXPECT_BSTR(object.GetSeparator(), L",");
}

} // namespace
