// CNKTokenString: joining tokens to a value, and joining and splitting again with another separator or mode.

#include "core/nktokenstring.h"

#include "tests/core/nktokenstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

using namespace std::literals;
using support::eachCharacter;
using support::Make;
using support::null;
using support::Split;
using support::splitModes;
using support::Text;
using support::TextOf;
using support::Tokens;
using support::wholeSeparator;

namespace {

using NKTokenStringJoin = support::NKTokenStringTest;
using NKTokenStringSeparator = support::NKTokenStringTest;

// Join

struct JoinRow : support::Row {
    std::vector<Text> tokens;
    Text separator;
    bool mode;
    Text value;
};

class NKTokenStringJoinTable : public support::NKTokenStringTest, public ::testing::WithParamInterface<JoinRow> {};

const JoinRow joinRows[] = {
    {{"NoTokens_AreNull"}, {}, L",", eachCharacter, null},
    {{"NoTokensAndWholeSeparator_AreNull"}, {}, L",", wholeSeparator, null},
    {{"OneToken_IsTheValue"}, {L"a,b"}, L",", eachCharacter, L"a,b"},
    {{"OneTokenWithNul_IsTheValue"}, {L"a\0b"sv}, L",", eachCharacter, L"a\0b"sv},
    {{"OneZeroLengthToken_IsOfLengthZero"}, {L""}, L",", eachCharacter, L""},
    {{"OneNullToken_IsOfLengthZero"}, {null}, L",", eachCharacter, L""},
    {{"TwoZeroLengthTokens_AreOneSeparator"}, {L"", L""}, L",", eachCharacter, L","},
    {{"ZeroLengthTokensAmongOthers"}, {L"a", L"", L"b", L""}, L",", eachCharacter, L"a,,b,"},
    {{"ThreeZeroLengthTokens_AreTwoSeparators"}, {L"", L"", L""}, L";,", wholeSeparator, L";,;,"},
    {{"NullTokens_CountAsZeroLength"}, {null, L"a", null}, L",", eachCharacter, L",a,"},
    {{"NullTokensAndNullSeparator_AreOfLengthZero"}, {null, null}, null, eachCharacter, L""},
    {{"WholeSeparator_IsPutBetweenTokens"}, {L"a", L"b", L"c"}, L"<->", wholeSeparator, L"a<->b<->c"},
    {{"NullSeparator_PutsNothingBetween"}, {L"a", L"b", L"", L"c"}, null, eachCharacter, L"abc"},
    {{"WholeNullSeparator_PutsNothingBetween"}, {L"a", L"b", L"", L"c"}, null, wholeSeparator, L"abc"},
    {{"ZeroLengthSeparator_PutsNothingBetween"}, {L"a", L"b", L"", L"c"}, L"", eachCharacter, L"abc"},
    {{"WholeZeroLengthSeparator_PutsNothingBetween"}, {L"a", L"b", L"", L"c"}, L"", wholeSeparator, L"abc"},
    {{"NulAsSeparator_PutsNothingBetween"}, {L"a", L"b"}, L"\0"sv, eachCharacter, L"ab"},
    {{"NulFirstInTheSeparator_PutsNothingBetween"}, {L"a", L"b"}, L"\0,"sv, eachCharacter, L"ab"},
    {{"NulSecondInTheSeparator_IsIgnored"}, {L"a", L"b"}, L",\0"sv, eachCharacter, L"a,b"},
    {{"NulAsWholeSeparator_IsPutBetween"}, {L"a", L"b"}, L"\0"sv, wholeSeparator, L"a\0b"sv},
    {{"NulInTheWholeSeparator_IsPutBetween"}, {L"a", L"b"}, L",\0;"sv, wholeSeparator, L"a,\0;b"sv},
    {{"TokensWithNul_AreWhole"}, {L"a\0"sv, L"\0b"sv}, L",", eachCharacter, L"a\0,\0b"sv},
};

INSTANTIATE_TEST_SUITE_P(, NKTokenStringJoinTable, ::testing::ValuesIn(joinRows), support::RowName());

TEST_P(NKTokenStringJoinTable, GetValue_JoinsTheTokens) {
    const JoinRow& row = GetParam();
    EXPECT_TEXT(Tokens(row.tokens, row.separator, row.mode).GetValue(), row.value);
}

struct RoundTripRow : support::Row {
    Text value;
    Text separator;
    bool mode;
    Text joined;
};

class NKTokenStringRoundTripTable : public support::NKTokenStringTest,
                                    public ::testing::WithParamInterface<RoundTripRow> {};

const RoundTripRow roundTripRows[] = {
    {{"ZeroLength_BecomesNull"}, L"", L",", eachCharacter, null},
    {{"ZeroLengthAndWholeSeparator_BecomesNull"}, L"", L",", wholeSeparator, null},
    {{"FirstSeparatorCharacter_Stays"}, L"a;b", L";,", eachCharacter, L"a;b"},
    {{"SecondSeparatorCharacter_BecomesTheFirst"}, L"a,b", L";,", eachCharacter, L"a;b"},
    {{"BothSeparatorCharacters_BecomeTheFirst"}, L"a;b,c", L";,", eachCharacter, L"a;b;c"},
    {{"WholeSeparator_Stays"}, L"a;,b;c", L";,", wholeSeparator, L"a;,b;c"},
    {{"TextAfterNul_Stays"}, L"a,b\0c,d"sv, L",", eachCharacter, L"a,b\0c,d"sv},
};

INSTANTIATE_TEST_SUITE_P(, NKTokenStringRoundTripTable, ::testing::ValuesIn(roundTripRows), support::RowName());

TEST_P(NKTokenStringRoundTripTable, SplitAndJoin_UnifiesSeparators) {
    const RoundTripRow& row = GetParam();
    EXPECT_TEXT(Split(row.value, row.separator, row.mode).GetValue(), row.joined);
}

TEST_F(NKTokenStringJoin, SplitAndJoin_WithEachKindOfSeparator_GiveTheValueBack) {
    for (const Text value : {L","sv, L",,a,,"sv, L" a , b "sv, L"a,\0,"sv}) {
        EXPECT_BSTR(Split(value, L",").GetValue(), *value);
        EXPECT_BSTR(Split(value, L",;").GetValue(), *value);
        EXPECT_BSTR(Split(value, L",,", wholeSeparator).GetValue(), *value);
    }
}

TEST_F(NKTokenStringJoin, GetValue_AfterAChange_JoinsAgain) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_BSTR(object.GetValue(), L"a,b");
    object.at(1) = L"new";
    EXPECT_BSTR(object.GetValue(), L"a,new");
    object.pop_back();
    EXPECT_BSTR(object.GetValue(), L"a");
}

TEST_F(NKTokenStringJoin, GetValue_ChangesNothing) {
    const CNKTokenString object = Tokens({L"a,b", null, L""}, L";,", wholeSeparator);
    static_cast<void>(object.GetValue());
    EXPECT_TEXTS(object, L"a,b", null, L"");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

// Separator and mode

TEST_F(NKTokenStringSeparator, NeverSet_IsNullEvenAfterTheModeWasSet) {
    CNKTokenString object;
    for (const bool mode : {wholeSeparator, eachCharacter, wholeSeparator}) {
        EXPECT_EQ(&object.SetMultiCharacter(mode), &object);
        EXPECT_EQ(object.GetMultiCharacter(), mode);
        EXPECT_NULL_BSTR(object.GetSeparator());
    }
    object.SetValue(L"a,b");
    object.SetMultiCharacter(eachCharacter);
    EXPECT_NULL_BSTR(object.GetSeparator());
    EXPECT_TEXTS(object, L"a,b");
}

TEST_F(NKTokenStringSeparator, Set_IsReadBackUnchanged) {
    CNKTokenString object;
    object.SetSeparator(L"", eachCharacter);
    EXPECT_BSTR(object.GetSeparator(), L"");
    object.SetSeparator(Make(L",\0;"sv), wholeSeparator);
    EXPECT_BSTR(object.GetSeparator(), L",\0;"sv);
    EXPECT_TRUE(object.GetMultiCharacter());
    object.SetSeparator(CNKString(), eachCharacter);
    EXPECT_NULL_BSTR(object.GetSeparator());
    EXPECT_FALSE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringSeparator, Set_SharesTheText) {
    const CNKString separator(L",");
    CNKTokenString object;
    object.SetSeparator(separator, eachCharacter);
    EXPECT_EQ(TextOf(object.GetSeparator()), TextOf(separator));
}

TEST_F(NKTokenStringSeparator, Get_ReturnsACopy) {
    const CNKTokenString object = Split(L"a,b", L",");
    CNKString separator = object.GetSeparator();
    separator = L";";
    EXPECT_BSTR(object.GetSeparator(), L",");
}

TEST_F(NKTokenStringSeparator, SetWithoutTokens_LeavesNone) {
    CNKTokenString object;
    EXPECT_EQ(&object.SetSeparator(L",", wholeSeparator), &object);
    EXPECT_TEXTS(object);
    EXPECT_NULL_BSTR(object.GetValue());
}

TEST_F(NKTokenStringSeparator, SetAfterTheValue_SplitsIt) {
    CNKTokenString object;
    object.SetValue(L"a,b,c");
    object.SetSeparator(L",", eachCharacter);
    EXPECT_TEXTS(object, L"a", L"b", L"c");
}

TEST_F(NKTokenStringSeparator, Set_JoinsWithTheOldOneAndSplitsAtTheNew) {
    CNKTokenString object = Split(L"a;,b;c", L";,", wholeSeparator);
    object.SetSeparator(L",", eachCharacter);
    EXPECT_TEXTS(object, L"a;", L"b;c");
    object.SetSeparator(L";,", eachCharacter);
    EXPECT_TEXTS(object, L"a", L"", L"b", L"c");
    object.SetSeparator(L";;", wholeSeparator);
    EXPECT_TEXTS(object, L"a", L"b;c");
}

TEST_F(NKTokenStringSeparator, SetFromSeveralCharacters_JoinsWithTheFirst) {
    CNKTokenString object = Split(L"a;b,c", L";,");
    object.SetSeparator(L",", eachCharacter);
    EXPECT_TEXTS(object, L"a;b;c");
}

TEST_F(NKTokenStringSeparator, SetToNullOrZeroLength_JoinsAllIntoOneToken) {
    for (const Text separator : {Text(), Text(L"")}) {
        CNKTokenString object = Split(L"a,b,,c", L",");
        object.SetSeparator(Make(separator), eachCharacter);
        EXPECT_TEXTS(object, L"a,b,,c");
    }
}

TEST_F(NKTokenStringSeparator, SetFromNull_JoinsWithNothingBetween) {
    CNKTokenString object = Tokens({L"a", L"b,", L"c"}, null);
    object.SetSeparator(L",", eachCharacter);
    EXPECT_TEXTS(object, L"ab", L"c");
}

TEST_F(NKTokenStringSeparator, SetToTheSame_SplitsAddedTokens) {
    CNKTokenString object = Split(L"a", L",");
    object.Add(L"x,y");
    EXPECT_TEXTS(object, L"a", L"x,y");
    object.SetSeparator(L",", eachCharacter);
    EXPECT_TEXTS(object, L"a", L"x", L"y");
}

TEST_F(NKTokenStringSeparator, SetModeToTheSame_SplitsAddedTokens) {
    for (const bool mode : splitModes) {
        CNKTokenString object = Split(L"a", L",", mode);
        object.Add(L"x,y");
        object.SetMultiCharacter(mode);
        EXPECT_TEXTS(object, L"a", L"x", L"y");
        EXPECT_EQ(object.GetMultiCharacter(), mode);
    }
}

TEST_F(NKTokenStringSeparator, SetMode_KeepsTheSeparatorAndSplitsAgain) {
    CNKTokenString object = Split(L"x;,y", L";,", wholeSeparator);
    EXPECT_TEXTS(object, L"x", L"y");
    object.SetMultiCharacter(eachCharacter);
    EXPECT_TEXTS(object, L"x", L"", L"y");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_FALSE(object.GetMultiCharacter());
    object.SetMultiCharacter(wholeSeparator);
    EXPECT_TEXTS(object, L"x;;y");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringSeparator, Set_WithOneZeroLengthToken_LeavesNone) {
    CNKTokenString object = Tokens({L""}, L",");
    object.SetMultiCharacter(eachCharacter);
    EXPECT_TEXTS(object);
}

TEST_F(NKTokenStringSeparator, Set_WithNullTokens_MakesThemZeroLength) {
    CNKTokenString object = Tokens({null, L"a", null}, L",");
    object.SetMultiCharacter(eachCharacter);
    EXPECT_TEXTS(object, L"", L"a", L"");
}

TEST_F(NKTokenStringSeparator, Set_WithNulInAToken_EndsTheSearchThere) {
    CNKTokenString object = Tokens({L"a", L"b\0"sv, L"c"}, L",");
    object.SetMultiCharacter(eachCharacter);
    EXPECT_TEXTS(object, L"a", L"b\0,c"sv);
}

} // namespace
