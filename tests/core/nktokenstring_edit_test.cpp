// CNKTokenString: reading, adding, inserting and replacing tokens.

#include "core/nktokenstring.h"

#include "tests/core/nktokenstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string_view>
#include <type_traits>
#include <vector>

using namespace std::literals;
using support::CountRequests;
using support::eachCharacter;
using support::Make;
using support::MakeList;
using support::minusOne;
using support::null;
using support::Split;
using support::Text;
using support::TextOf;
using support::Tokens;
using support::wholeSeparator;

namespace {

using NKTokenStringToken = support::NKTokenStringTest;
using NKTokenStringAdd = support::NKTokenStringTest;
using NKTokenStringList = support::NKTokenStringTest;

// Reading tokens

TEST_F(NKTokenStringToken, GetToken_GivesEachToken) {
    const CNKTokenString object = Tokens({L"a", L"", null, L"b\0c"sv}, L",");
    EXPECT_EQ(object.GetCount(), 4u);
    EXPECT_BSTR(object.GetToken(0), L"a");
    EXPECT_BSTR(object.GetToken(1), L"");
    EXPECT_NULL_BSTR(object.GetToken(2));
    EXPECT_BSTR(object.GetToken(3), L"b\0c"sv);
}

TEST_F(NKTokenStringToken, GetToken_AfterTheLast_IsNull) {
    const CNKTokenString object = Split(L"a,b", L",");
    EXPECT_NULL_BSTR(object.GetToken(object.GetCount()));
    EXPECT_NULL_BSTR(object.GetToken(3));
    EXPECT_NULL_BSTR(object.GetToken(std::size_t{1} << 63));
    EXPECT_NULL_BSTR(object.GetToken(minusOne));
    EXPECT_NULL_BSTR(object[2]);
    EXPECT_NULL_BSTR(object[minusOne]);
}

TEST_F(NKTokenStringToken, GetToken_AtAnIterator_GivesTheTokenOrNull) {
    const CNKTokenString object = Split(L"a,b", L",");
    EXPECT_BSTR(object.GetToken(object.begin()), L"a");
    EXPECT_BSTR(object.GetToken(object.begin() + 1), L"b");
    EXPECT_NULL_BSTR(object.GetToken(object.end()));
    EXPECT_NULL_BSTR(CNKTokenString().GetToken(CNKTokenString::const_iterator()));
}

TEST_F(NKTokenStringToken, Subscript_IsACopy) {
    CNKTokenString object = Split(L"a,b", L",");
    static_assert(std::is_same_v<decltype(object[0]), CNKString>);
    CNKString token = object[1];
    EXPECT_BSTR(token, L"b");
    token = L"new";
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringToken, GetToken_SharesTheText) {
    const CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(CountRequests([&] {
                  EXPECT_EQ(TextOf(object.GetToken(1)), TextOf(object.at(1)));
                  EXPECT_EQ(TextOf(object.GetToken(object.begin() + 1)), TextOf(object.at(1)));
                  EXPECT_EQ(TextOf(object[1]), TextOf(object.at(1)));
              }),
              0u);
}

TEST_F(NKTokenStringToken, Iteration_IsInOrder) {
    const CNKTokenString object = Split(L"b,a,b", L",");
    CNKString all;
    for (const CNKString& token : object) {
        all += token;
    }
    EXPECT_BSTR(all, L"bab");
}

// Add

TEST_F(NKTokenStringAdd, TokenWithSeparators_IsNotSplit) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(&object.Add(L"x,y"), &object);
    EXPECT_EQ(object.GetCount(), 3u);
    EXPECT_BSTR(object.GetToken(2), L"x,y");
    EXPECT_BSTR(object.GetValue(), L"a,b,x,y");
}

TEST_F(NKTokenStringAdd, WithoutSeparator_AppendsTheTokens) {
    CNKTokenString object;
    object.Add(L"x,y").Add(L"z");
    EXPECT_TEXTS(object, L"x,y", L"z");
    EXPECT_BSTR(object.GetValue(), L"x,yz");
}

TEST_F(NKTokenStringAdd, ZeroLengthAndNull_AreTokens) {
    CNKTokenString object = Split(L"a", L",");
    object.Add(L"").Add(CNKString());
    EXPECT_TEXTS(object, L"a", L"", null);
    EXPECT_BSTR(object.GetValue(), L"a,,");
}

TEST_F(NKTokenStringAdd, TokenWithNul_IsNotSplit) {
    CNKTokenString object = Split(L"a", L",");
    object.Add(Make(L"x,\0,y"sv));
    EXPECT_TEXTS(object, L"a", L"x,\0,y"sv);
}

TEST_F(NKTokenStringAdd, Token_SharesTheText) {
    const CNKString token(L"x,y");
    CNKTokenString object = Split(L"a", L",");
    object.Add(token);
    EXPECT_EQ(TextOf(object.at(1)), TextOf(token));
}

TEST_F(NKTokenStringAdd, Token_LeavesSeparatorAndMode) {
    CNKTokenString object = Split(L"a", L";,", wholeSeparator);
    object.Add(L"x");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

// Insert and SetToken

/// A call with position and text, and the tokens before and after it.
struct EditRow : support::Row {
    std::vector<Text> before;
    Text separator;
    bool mode;
    std::size_t position;
    Text text;
    std::vector<Text> after;
};

class NKTokenStringInsertTable : public support::NKTokenStringTest, public ::testing::WithParamInterface<EditRow> {};

const EditRow insertRows[] = {
    {{"BeforeTheFirst_InsertsTokens"}, {L"a", L"b"}, L",", eachCharacter, 0, L"x,y", {L"x", L"y", L"a", L"b"}},
    {{"BeforeTheLast_InsertsTokens"},
     {L"x", L"y", L"a", L"b"},
     L",",
     eachCharacter,
     3,
     L"1,,2,",
     {L"x", L"y", L"a", L"1", L"", L"2", L"", L"b"}},
    {{"AfterTheLast_AppendsUnsplit"}, {L"a", L"b"}, L",", eachCharacter, 2, L"x,y", {L"a", L"b", L"x,y"}},
    {{"PastTheCount_AppendsUnsplit"}, {L"a", L"b"}, L",", eachCharacter, 3, L"x,y", {L"a", L"b", L"x,y"}},
    {{"AtMinusOne_AppendsUnsplit"},
     {L"a", L"b", L"x,y"},
     L",",
     eachCharacter,
     minusOne,
     L"z,",
     {L"a", L"b", L"x,y", L"z,"}},
    {{"WithoutTokens_AppendsUnsplit"}, {}, L",", eachCharacter, 0, L"x,y", {L"x,y"}},
    {{"ZeroLengthBeforeAToken_InsertsNothing"}, {L"a", L"b"}, L",", eachCharacter, 1, L"", {L"a", L"b"}},
    {{"NullBeforeAToken_InsertsNothing"}, {L"a", L"b"}, L",", eachCharacter, 0, null, {L"a", L"b"}},
    {{"ZeroLengthAfterTheLast_IsAppended"}, {L"a"}, L",", eachCharacter, 1, L"", {L"a", L""}},
    {{"NullAfterTheLast_IsAppended"}, {L"a", L""}, L",", eachCharacter, 2, null, {L"a", L"", null}},
    {{"WithWholeSeparator_SplitsAtIt"}, {L"a"}, L";,", wholeSeparator, 0, L"x;y;,z", {L"x;y", L"z", L"a"}},
    {{"WithTwoCharacters_SplitsAtEach"}, {L"a"}, L";,", eachCharacter, 0, L"x;y,z", {L"x", L"y", L"z", L"a"}},
    {{"WithNullSeparator_InsertsOneToken"}, {L"a"}, null, eachCharacter, 0, L"x;y,z", {L"x;y,z", L"a"}},
    {{"TextWithNul_IsSplitUpToIt"}, {L"a"}, L",", eachCharacter, 0, L"x,y\0,z"sv, {L"x", L"y\0,z"sv, L"a"}},
};

INSTANTIATE_TEST_SUITE_P(, NKTokenStringInsertTable, ::testing::ValuesIn(insertRows), support::RowName());

TEST_P(NKTokenStringInsertTable, Insert_ChangesTheTokensAndKeepsSeparatorAndMode) {
    const EditRow& row = GetParam();
    CNKTokenString object = Tokens(row.before, row.separator, row.mode);
    EXPECT_EQ(&object.Insert(row.position, Make(row.text)), &object);
    EXPECT_TEXT_LIST(object, row.after);
    EXPECT_TEXT(object.GetSeparator(), row.separator);
    EXPECT_EQ(object.GetMultiCharacter(), row.mode);
}

class NKTokenStringSetTokenTable : public support::NKTokenStringTest, public ::testing::WithParamInterface<EditRow> {};

const EditRow setTokenRows[] = {
    {{"InTheMiddle_IsReplaced"}, {L"a", L"b", L"c"}, L",", eachCharacter, 1, L"x", {L"a", L"x", L"c"}},
    {{"TheFirst_IsReplacedByTokens"}, {L"a", L"x", L"c"}, L",", eachCharacter, 0, L"1,2", {L"1", L"2", L"x", L"c"}},
    {{"InTheMiddle_IsReplacedByTokens"}, {L"a", L"b", L"c"}, L",", eachCharacter, 1, L"x,y", {L"a", L"x", L"y", L"c"}},
    {{"TheLast_IsReplacedUnsplit"}, {L"a", L"b"}, L",", eachCharacter, 1, L"x,y", {L"a", L"x,y"}},
    {{"TheLastOfFour_IsReplacedUnsplit"},
     {L"a", L"x", L"y", L"c"},
     L",",
     eachCharacter,
     3,
     L"1,2",
     {L"a", L"x", L"y", L"1,2"}},
    {{"TheOnly_IsReplacedUnsplit"}, {L"a"}, L",", eachCharacter, 0, L"x,y", {L"x,y"}},
    {{"InTheMiddleToZeroLength_IsRemoved"}, {L"a", L"b", L"c"}, L",", eachCharacter, 1, L"", {L"a", L"c"}},
    {{"TheFirstToZeroLength_IsRemoved"}, {L"a", L"x", L"y", L"1,2"}, L",", eachCharacter, 0, L"", {L"x", L"y", L"1,2"}},
    {{"TheFirstToNull_IsRemoved"}, {L"a", L"c"}, L",", eachCharacter, 0, null, {L"c"}},
    {{"TheLastToZeroLength_IsReplaced"}, {L"a", L"b"}, L",", eachCharacter, 1, L"", {L"a", L""}},
    {{"TheLastToNull_IsReplaced"}, {L"a", L""}, L",", eachCharacter, 1, null, {L"a", null}},
    {{"WithWholeSeparator_SplitsAtIt"}, {L"a", L"b"}, L";,", wholeSeparator, 0, L"x;y;,z", {L"x;y", L"z", L"b"}},
};

INSTANTIATE_TEST_SUITE_P(, NKTokenStringSetTokenTable, ::testing::ValuesIn(setTokenRows), support::RowName());

TEST_P(NKTokenStringSetTokenTable, SetToken_ChangesTheTokensAndKeepsSeparatorAndMode) {
    const EditRow& row = GetParam();
    CNKTokenString object = Tokens(row.before, row.separator, row.mode);
    EXPECT_EQ(&object.SetToken(row.position, Make(row.text)), &object);
    EXPECT_TEXT_LIST(object, row.after);
    EXPECT_TEXT(object.GetSeparator(), row.separator);
    EXPECT_EQ(object.GetMultiCharacter(), row.mode);
}

TEST_P(NKTokenStringSetTokenTable, SetTokenAtAnIterator_ChangesTheSameTokens) {
    const EditRow& row = GetParam();
    CNKTokenString object = Tokens(row.before, row.separator, row.mode);
    const auto position = object.cbegin() + static_cast<std::ptrdiff_t>(row.position);
    EXPECT_EQ(&object.SetToken(position, Make(row.text)), &object);
    EXPECT_TEXT_LIST(object, row.after);
}

// Lists of strings

TEST_F(NKTokenStringList, AddList_AppendsTheStringsUnsplit) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(&object.AddList(MakeList({L"x,y", L"", null, L"z\0,"sv})), &object);
    EXPECT_TEXTS(object, L"a", L"b", L"x,y", L"", null, L"z\0,"sv);
}

TEST_F(NKTokenStringList, AddList_WithoutTokens_AppendsTheStrings) {
    CNKTokenString object;
    object.AddList(MakeList({L"a", L"b"}));
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringList, InsertList_BeforeAToken_InsertsTheStringsUnsplit) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(&object.InsertList(1, MakeList({L"x,y", null})), &object);
    EXPECT_TEXTS(object, L"a", L"x,y", null, L"b");
    object.InsertList(0, MakeList({L"1", L""}));
    EXPECT_TEXTS(object, L"1", L"", L"a", L"x,y", null, L"b");
}

TEST_F(NKTokenStringList, InsertList_AfterTheLast_Appends) {
    CNKTokenString object = Split(L"a,b", L",");
    object.InsertList(2, MakeList({L"x,y", L"z"}));
    object.InsertList(minusOne, MakeList({L"1"}));
    EXPECT_TEXTS(object, L"a", L"b", L"x,y", L"z", L"1");
    CNKTokenString empty;
    empty.InsertList(0, MakeList({L"x,y"}));
    EXPECT_TEXTS(empty, L"x,y");
}

TEST_F(NKTokenStringList, ListWithoutStrings_ChangesNothing) {
    CNKTokenString object = Split(L"a,b", L",");
    object.AddList(CNKStringList()).InsertList(1, CNKStringList()).InsertList(minusOne, CNKStringList());
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringList, TokenStringAsList_AddsItsTokensUnchanged) {
    const CNKTokenString other = Tokens({L"x;y,z", L"1"}, L";", wholeSeparator);
    CNKTokenString object = Split(L"a,b", L",");
    object.AddList(other).InsertList(0, other);
    EXPECT_TEXTS(object, L"x;y,z", L"1", L"a", L"b", L"x;y,z", L"1");
    EXPECT_BSTR(object.GetSeparator(), L",");
    EXPECT_FALSE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringList, AddedStrings_ShareTheirText) {
    const CNKStringList list = MakeList({L"x,y"});
    CNKTokenString object = Split(L"a,b", L",");
    object.AddList(list).InsertList(0, list).InsertAt(0, list[0]);
    for (const std::size_t n : {std::size_t{0}, std::size_t{1}, std::size_t{4}}) {
        EXPECT_EQ(TextOf(object.at(n)), TextOf(list[0]));
    }
}

TEST_F(NKTokenStringList, InsertAt_InsertsTheTokenUnsplit) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(&object.InsertAt(1, L"x,y"), &object);
    object.InsertAt(0, L"").InsertAt(0, CNKString());
    EXPECT_TEXTS(object, null, L"", L"a", L"x,y", L"b");
}

TEST_F(NKTokenStringList, InsertAt_AfterTheLast_Appends) {
    CNKTokenString object = Split(L"a,b", L",");
    object.InsertAt(2, L"x,y");
    EXPECT_TEXTS(object, L"a", L"b", L"x,y");
    CNKTokenString empty;
    empty.InsertAt(0, L"x,y");
    EXPECT_TEXTS(empty, L"x,y");
}

TEST_F(NKTokenStringList, InsertAt_PastTheCount_Appends) {
    CNKTokenString object = Split(L"a,b", L",");
    object.InsertAt(3, L"x").InsertAt(minusOne, L"y");
    EXPECT_TEXTS(object, L"a", L"b", L"x", L"y");
}

TEST_F(NKTokenStringList, Assignment_TakesTheStringsUnsplitAndKeepsSeparatorAndMode) {
    CNKTokenString object = Split(L"a;,b", L";,", wholeSeparator);
    const CNKStringList list = MakeList({L"x;,y", null, L""});
    EXPECT_EQ(&(object = list), &object);
    EXPECT_TEXTS(object, L"x;,y", null, L"");
    EXPECT_EQ(TextOf(object.at(0)), TextOf(list[0]));
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringList, AssignmentOfAListWithoutStrings_LeavesNoTokens) {
    CNKTokenString object = Split(L"a,b", L",");
    object = CNKStringList();
    EXPECT_TEXTS(object);
    EXPECT_NULL_BSTR(object.GetValue());
    EXPECT_BSTR(object.GetSeparator(), L",");
}

TEST_F(NKTokenStringList, AssignmentOfATokenStringAsList_KeepsSeparatorAndMode) {
    const CNKTokenString other = Split(L"x;y", L";", wholeSeparator);
    CNKTokenString object = Split(L"a,b", L",");
    object = static_cast<const CNKStringList&>(other);
    EXPECT_TEXTS(object, L"x", L"y");
    EXPECT_BSTR(object.GetSeparator(), L",");
    EXPECT_FALSE(object.GetMultiCharacter());
}

} // namespace
