// CNKTokenString: splitting a value into tokens.

#include "core/nktokenstring.h"

#include "tests/core/nktokenstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <span>
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
using support::wholeSeparator;

namespace {

using NKTokenStringSplit = support::NKTokenStringTest;

struct SplitRow : support::Row {
    Text value;
    Text separator;
    std::span<const bool> modes; ///< those in which the value has the tokens
    std::vector<Text> tokens;
};

class NKTokenStringSplitTable : public support::NKTokenStringTest, public ::testing::WithParamInterface<SplitRow> {};

TEST_P(NKTokenStringSplitTable, Value_HasTheTokens) {
    const SplitRow& row = GetParam();
    for (const bool mode : row.modes) {
        SCOPED_TRACE(mode == wholeSeparator ? "whole separator" : "each character");
        EXPECT_TEXT_LIST(Split(row.value, row.separator, mode), row.tokens);
    }
}

constexpr std::span<const bool> both = splitModes;
constexpr std::span<const bool> each = both.first(1);
constexpr std::span<const bool> whole = both.last(1);

// Separators of one character, or of none

const SplitRow oneCharacterRows[] = {
    {{"NullSeparator_GivesOneToken"}, L"a,b", null, both, {L"a,b"}},
    {{"ZeroLengthSeparator_GivesOneToken"}, L"a,b", L"", both, {L"a,b"}},
    {{"NoSeparatorInTheValue_GivesOneToken"}, L"abc", L",", both, {L"abc"}},
    {{"OneCharacterWithoutSeparator_GivesOneToken"}, L"a", L",", both, {L"a"}},
    {{"OneSeparator_GivesTwoTokens"}, L"a,b", L",", both, {L"a", L"b"}},
    {{"AdjacentAndTrailingSeparators"}, L"a,,b,", L",", both, {L"a", L"", L"b", L""}},
    {{"AdjacentSeparators_EncloseZeroLengthTokens"}, L"a,,,b", L",", both, {L"a", L"", L"", L"b"}},
    {{"LeadingSeparator_GivesAZeroLengthFirstToken"}, L",a", L",", both, {L"", L"a"}},
    {{"TrailingSeparator_GivesAZeroLengthLastToken"}, L"a,", L",", both, {L"a", L""}},
    {{"OneSeparatorAlone_GivesTwoZeroLengthTokens"}, L",", L",", both, {L"", L""}},
    {{"ThreeSeparatorsAlone_GiveFourZeroLengthTokens"}, L",,,", L",", both, {L"", L"", L"", L""}},
    {{"WhiteSpace_IsNotTrimmed"}, L" a ,\tb\r\n", L",", both, {L" a ", L"\tb\r\n"}},
    {{"BlankValue_IsOneToken"}, L" ", L",", both, {L" "}},
    {{"BlankAsSeparator_SeparatesLikeAnyCharacter"}, L" a  b", L" ", both, {L"", L"a", L"", L"b"}},
    {{"Separator_IsCaseSensitive"}, L"aXbxc", L"x", both, {L"aXb", L"c"}},
    {{"Separator_IsACodeUnitNotALetter"},
     L"1\x00e4"
     L"2a\x0308"
     L"3",
     L"\x00e4",
     both,
     {L"1", L"2a\x0308"
            L"3"}},
    {{"HalfASurrogatePair_Separates"}, L"a\xd83d\xde00z", L"\xd83d", both, {L"a", L"\xde00z"}},
};

INSTANTIATE_TEST_SUITE_P(OneCharacter, NKTokenStringSplitTable, ::testing::ValuesIn(oneCharacterRows),
                         support::RowName());

// Each character of the separator separates

const SplitRow eachCharacterRows[] = {
    {{"NoSeparatorInTheValue_GivesOneToken"}, L"abc", L";,", each, {L"abc"}},
    {{"TwoCharacters_BothSeparate"}, L"a;b,c", L";,", each, {L"a", L"b", L"c"}},
    {{"ThreeCharacters_AllSeparate"}, L"a;b,c.d", L";,.", each, {L"a", L"b", L"c", L"d"}},
    {{"RepeatedCharacter_CountsOnce"}, L"a;b;;c", L";;", each, {L"a", L"b", L"", L"c"}},
    {{"AdjacentSeparators_EncloseAZeroLengthToken"}, L"a,;b", L";,", each, {L"a", L"", L"b"}},
    {{"LeadingSeparator_GivesAZeroLengthFirstToken"}, L",a", L";,", each, {L"", L"a"}},
    {{"TrailingSeparator_GivesAZeroLengthLastToken"}, L"a,", L";,", each, {L"a", L""}},
    {{"OneSeparatorAlone_GivesTwoZeroLengthTokens"}, L",", L";,", each, {L"", L""}},
    {{"ThreeSeparatorsAlone_GiveFourZeroLengthTokens"}, L";,;", L";,", each, {L"", L"", L"", L""}},
    {{"Blanks_AreNotTrimmed"}, L" ; , ", L";,", each, {L" ", L" ", L" "}},
    {{"Separator_IsCaseSensitive"}, L"aXbxcYd", L"xy", each, {L"aXb", L"cYd"}},
    {{"CodeUnitsAbove7FFF_Separate"}, L"\xffff-\x8000", L"\xffff\x8000", each, {L"", L"-", L""}},
};

INSTANTIATE_TEST_SUITE_P(EachCharacter, NKTokenStringSplitTable, ::testing::ValuesIn(eachCharacterRows),
                         support::RowName());

// The separator as a whole separates

const SplitRow wholeSeparatorRows[] = {
    {{"NoSeparatorInTheValue_GivesOneToken"}, L"abc", L";,", whole, {L"abc"}},
    {{"PartOfTheSeparator_IsText"}, L"a;,b;c", L";,", whole, {L"a", L"b;c"}},
    {{"SeparatorReversed_IsText"}, L"a,;b", L";,", whole, {L"a,;b"}},
    {{"AdjacentSeparators_EncloseAZeroLengthToken"}, L"a;,;,b", L";,", whole, {L"a", L"", L"b"}},
    {{"LeadingSeparator_GivesAZeroLengthFirstToken"}, L";,a", L";,", whole, {L"", L"a"}},
    {{"TrailingSeparator_GivesAZeroLengthLastToken"}, L"a;,", L";,", whole, {L"a", L""}},
    {{"OneSeparatorAlone_GivesTwoZeroLengthTokens"}, L";,", L";,", whole, {L"", L""}},
    {{"TwoSeparatorsAlone_GiveThreeZeroLengthTokens"}, L";,;,", L";,", whole, {L"", L"", L""}},
    {{"Blanks_AreNotTrimmed"}, L" ;, ", L";,", whole, {L" ", L" "}},
    {{"OverlappingMatches_OnlyTheFirstCounts"}, L"a,,,b", L",,", whole, {L"a", L",b"}},
    {{"FourCommasByTwo_GiveThreeTokens"}, L",,,,", L",,", whole, {L"", L"", L""}},
    {{"FiveCommasByTwo_LeaveOneAsText"}, L",,,,,", L",,", whole, {L"", L"", L","}},
    {{"MatchThatSharesItsEnd_OnlyTheFirstCounts"}, L"xaxaxax", L"xax", whole, {L"", L"a", L""}},
    {{"StartOfTheSeparatorBeforeIt_IsText"}, L"a;;,b", L";,", whole, {L"a;", L"b"}},
    {{"RepeatedStartOfTheSeparator_IsText"}, L"xxxy", L"xxy", whole, {L"x", L""}},
    {{"StartOfTheSeparatorAtTheEnd_IsText"}, L"a;,b;", L";,", whole, {L"a", L"b;"}},
    {{"SeparatorLongerThanTheValue_IsNotFound"}, L"ab", L"abc", whole, {L"ab"}},
    {{"SeparatorAsLongAsTheValue_IsFound"}, L"abc", L"abc", whole, {L"", L""}},
    {{"Separator_IsCaseSensitive"}, L"aXYbxyc", L"xy", whole, {L"aXYb", L"c"}},
    {{"SurrogatePair_SeparatesAsAWhole"},
     L"a\xd83d\xde00z\xd83d\xde01",
     L"\xd83d\xde00",
     whole,
     {L"a", L"z\xd83d\xde01"}},
};

INSTANTIATE_TEST_SUITE_P(WholeSeparator, NKTokenStringSplitTable, ::testing::ValuesIn(wholeSeparatorRows),
                         support::RowName());

// NULs: the search ends at the first one, in the value as well as in the separator's characters

const SplitRow nulRows[] = {
    {{"InTheValue_EndsTheSearch"}, L"a,b\0c,d"sv, L",", both, {L"a", L"b\0c,d"sv}},
    {{"InTheValue_EndsTheSearchForEachCharacter"}, L"a,b;c\0d,e"sv, L";,", each, {L"a", L"b", L"c\0d,e"sv}},
    {{"InTheValue_EndsTheSearchForTheWholeSeparator"}, L"a;,b\0c;,d"sv, L";,", whole, {L"a", L"b\0c;,d"sv}},
    {{"BeforeTheFirstSeparator_GivesOneToken"}, L"a\0,b"sv, L",", both, {L"a\0,b"sv}},
    {{"AtTheStart_GivesOneToken"}, L"\0a;,b"sv, L";,", both, {L"\0a;,b"sv}},
    {{"AfterASeparator_StartsTheLastToken"}, L"a,\0,b"sv, L",", both, {L"a", L"\0,b"sv}},
    {{"AfterOneOfTheCharacters_StartsTheLastToken"}, L"a,\0,b"sv, L";,", each, {L"a", L"\0,b"sv}},
    {{"AfterTheWholeSeparator_StartsTheLastToken"}, L"a;,\0;,b"sv, L";,", whole, {L"a", L"\0;,b"sv}},
    {{"InsideTheWholeSeparator_KeepsItFromMatching"}, L"a;\0,b"sv, L";,", whole, {L"a;\0,b"sv}},
    {{"AtTheEnd_StaysInTheLastToken"}, L"a,b\0"sv, L",", both, {L"a", L"b\0"sv}},
    {{"AfterTheLastSeparator_IsTheLastToken"}, L"a,\0"sv, L",", both, {L"a", L"\0"sv}},
    {{"NulsAlone_AreOneToken"}, L"\0\0"sv, L",", both, {L"\0\0"sv}},
    {{"NullSeparator_GivesOneToken"}, L"a\0,b"sv, null, both, {L"a\0,b"sv}},
    {{"ZeroLengthSeparator_GivesOneToken"}, L"\0"sv, L"", both, {L"\0"sv}},
    {{"AsSeparator_IsNotFoundInText"}, L"ab", L"\0"sv, both, {L"ab"}},
    {{"AsSeparator_NeverMatchesANul"}, L"a\0b"sv, L"\0"sv, both, {L"a\0b"sv}},
    {{"AsSeparator_NeverMatchesANulAlone"}, L"\0"sv, L"\0"sv, both, {L"\0"sv}},
    {{"TwoAsSeparator_NeverMatchTwoNuls"}, L"a\0\0b"sv, L"\0\0"sv, both, {L"a\0\0b"sv}},
    {{"FirstInTheSeparator_HidesTheRest"}, L"a,b\0"sv, L"\0,"sv, both, {L"a,b\0"sv}},
    {{"AfterASeparatorCharacter_IsNoSeparator"}, L"a,b;c\0d"sv, L",\0"sv, each, {L"a", L"b;c\0d"sv}},
    {{"AmongSeparatorCharacters_HidesTheRest"}, L"a,b;c", L",\0;"sv, each, {L"a", L"b;c"}},
    {{"LastInTheWholeSeparator_NeverMatches"}, L"a,\0b,c"sv, L",\0"sv, whole, {L"a,\0b,c"sv}},
    {{"LastInTheWholeSeparator_IsNotCutOff"}, L"a,b,", L",\0"sv, whole, {L"a,b,"}},
    {{"InsideTheSeparator_NeverMatches"}, L"a,\0;b,"sv, L",\0;"sv, whole, {L"a,\0;b,"sv}},
};

INSTANTIATE_TEST_SUITE_P(Nul, NKTokenStringSplitTable, ::testing::ValuesIn(nulRows), support::RowName());

// Values

TEST_F(NKTokenStringSplit, ZeroLengthOrNullValue_HasNoTokens) {
    for (const Text separator : {Text(), Text(L""), Text(L","), Text(L";,")}) {
        for (const bool mode : splitModes) {
            EXPECT_TEXTS(Split(L"", separator, mode));
            EXPECT_TEXTS(Split(null, separator, mode));
        }
    }
}

TEST_F(NKTokenStringSplit, SetValue_WithoutSeparator_GivesOneToken) {
    CNKTokenString object;
    object.SetValue(L"a,b");
    EXPECT_TEXTS(object, L"a,b");
}

TEST_F(NKTokenStringSplit, SetValue_ReplacesAllTokensAndKeepsSeparatorAndMode) {
    CNKTokenString object = Split(L"a;,b;,c", L";,", wholeSeparator);
    EXPECT_EQ(&object.SetValue(L"x;,y"), &object);
    EXPECT_TEXTS(object, L"x", L"y");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringSplit, SetValue_ToZeroLengthOrNull_LeavesNoTokens) {
    for (const Text value : {Text(L""), Text()}) {
        CNKTokenString object = Split(L"a,b", L",");
        object.SetValue(Make(value));
        EXPECT_TEXTS(object);
        EXPECT_NULL_BSTR(object.GetValue());
        EXPECT_BSTR(object.GetSeparator(), L",");
    }
}

TEST_F(NKTokenStringSplit, Tokens_OutliveTheValue) {
    CNKTokenString object;
    {
        CNKString value(L"a,b");
        object = CNKTokenString(value, L",", eachCharacter);
        static_cast<wchar_t*>(value)[0] = L'x';
    }
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringSplit, Tokens_AreTerminatedByNul) {
    for (const CNKString& token : Split(L"abc,,d", L",")) {
        EXPECT_EQ(TextOf(token)[token.GetLength()], L'\0');
    }
}

} // namespace
