#include "core/nktokenstring.h"

#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <bit>
#include <concepts>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

using namespace std::literals;
using support::CountLiveAllocations;
using support::CountRequests;
using support::ExpectNoLeaks;
using support::LiveAllocations;
using support::Make;
using support::MakeList;
using support::Text;
using support::TextOf;

namespace {

constexpr std::size_t minusOne = static_cast<std::size_t>(-1);
constexpr std::nullopt_t null = std::nullopt;

// The two modes.
constexpr bool characters = false;
constexpr bool wholeText = true;
constexpr bool bothModes[] = {characters, wholeText};

/// The tokens of `value`.
CNKTokenString Split(Text value, Text separator, bool mode = characters) {
    return {Make(value), Make(separator), mode};
}

/// An object with exactly these tokens.
CNKTokenString Tokens(std::initializer_list<Text> tokens, Text separator, bool mode = characters) {
    CNKTokenString object = Split(null, separator, mode);
    object = MakeList(tokens);
    return object;
}

/// A string of `count` tokens "t", with commas in between.
CNKString Repeated(std::size_t count) {
    CNKString text(L't', 2 * count - 1);
    for (std::size_t i = 1; i < text.GetLength(); i += 2) {
        static_cast<wchar_t*>(text)[i] = L',';
    }
    return text;
}

// Every test leaves as much allocated as it found.
class NKTokenStringTest : public ::testing::Test {
    const ExpectNoLeaks m_noLeaks;
};

using NKTokenStringConstruction = NKTokenStringTest;
using NKTokenStringSplit = NKTokenStringTest;
using NKTokenStringNul = NKTokenStringTest;
using NKTokenStringJoin = NKTokenStringTest;
using NKTokenStringSeparator = NKTokenStringTest;
using NKTokenStringToken = NKTokenStringTest;
using NKTokenStringAdd = NKTokenStringTest;
using NKTokenStringInsert = NKTokenStringTest;
using NKTokenStringSetToken = NKTokenStringTest;
using NKTokenStringList = NKTokenStringTest;
using NKTokenStringCopy = NKTokenStringTest;
using NKTokenStringMove = NKTokenStringTest;
using NKTokenStringAlias = NKTokenStringTest;
using NKTokenStringCost = NKTokenStringTest;

// The class

static_assert(std::derived_from<CNKTokenString, CNKStringList>);
static_assert(!std::is_polymorphic_v<CNKTokenString>);
static_assert(std::is_nothrow_default_constructible_v<CNKTokenString>);
static_assert(std::is_nothrow_move_constructible_v<CNKTokenString> &&
              std::is_nothrow_move_assignable_v<CNKTokenString>);
static_assert(std::is_copy_constructible_v<CNKTokenString> && std::is_copy_assignable_v<CNKTokenString>);

// Construction

TEST_F(NKTokenStringConstruction, Default_HasNoTokensNullSeparatorAndCharacterMode) {
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

TEST_F(NKTokenStringConstruction, FromValue_SplitsIt) {
    const CNKTokenString object(L"a;,b;c", L";,", wholeText);
    EXPECT_TEXTS(object, L"a", L"b;c");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringConstruction, FromValueInCharacterMode_SplitsAtEachCharacter) {
    const CNKTokenString object(L"usr;local,bin", L";,", characters);
    EXPECT_TEXTS(object, L"usr", L"local", L"bin");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_FALSE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringConstruction, FromEmptyValue_HasNoTokensButTheRule) {
    for (const Text value : {Text(L""), Text()}) {
        const CNKTokenString object = Split(value, L",", wholeText);
        EXPECT_TEXTS(object);
        EXPECT_NULL_BSTR(object.GetValue());
        EXPECT_BSTR(object.GetSeparator(), L",");
        EXPECT_TRUE(object.GetMultiCharacter());
    }
}

TEST_F(NKTokenStringConstruction, FromParts_DoesNotKeepWhereAPartEnds) {
    const CNKTokenString object(MakeList({L"a,", L"b", L"c,d"}), L",", characters);
    EXPECT_TEXTS(object, L"a", L"bc", L"d");
    EXPECT_BSTR(object.GetSeparator(), L",");
    EXPECT_FALSE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringConstruction, FromParts_FindsASeparatorThatSpansTwoParts) {
    const CNKTokenString object(MakeList({L"a;", L",b"}), L";,", wholeText);
    EXPECT_TEXTS(object, L"a", L"b");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringConstruction, FromParts_NullAndEmptyPartsAddNothing) {
    EXPECT_TEXTS(CNKTokenString(MakeList({null, L"a,", L"", null, L"b", L""}), L",", characters), L"a", L"b");
}

TEST_F(NKTokenStringConstruction, FromPartsWithoutSeparator_IsOneToken) {
    EXPECT_TEXTS(CNKTokenString(MakeList({L"a,", L"b"}), CNKString(), characters), L"a,b");
}

TEST_F(NKTokenStringConstruction, FromNoPartsOrOnlyEmptyOnes_HasNoTokens) {
    EXPECT_TEXTS(CNKTokenString(CNKStringList(), L",", characters));
    EXPECT_TEXTS(CNKTokenString(MakeList({L""}), L",", characters));
    EXPECT_TEXTS(CNKTokenString(MakeList({null}), L",", characters));
    EXPECT_TEXTS(CNKTokenString(MakeList({L"", null, L""}), L",", characters));
}

TEST_F(NKTokenStringConstruction, FromPartsWithNul_KeepsEverythingBehindItInOneToken) {
    EXPECT_TEXTS(CNKTokenString(MakeList({L"a,b\0"sv, L"c,d"}), L",", characters), L"a", L"b\0c,d"sv);
}

TEST_F(NKTokenStringConstruction, FromTokenStringAsParts_IgnoresItsSeparator) {
    const CNKTokenString parts = Split(L"a,b;c", L",");
    EXPECT_TEXTS(CNKTokenString(parts, L";", characters), L"ab", L"c");
}

// Split

TEST_F(NKTokenStringSplit, NullSeparator_GivesOneToken) {
    CNKTokenString object;
    object.SetValue(L"a,b");
    EXPECT_TEXTS(object, L"a,b");
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(Split(L"a,b", null, mode), L"a,b");
    }
}

TEST_F(NKTokenStringSplit, ZeroLengthSeparator_GivesOneToken) {
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(Split(L"a,b", L"", mode), L"a,b");
    }
}

TEST_F(NKTokenStringSplit, EmptyValue_HasNoTokens) {
    for (const Text separator : {Text(), Text(L""), Text(L","), Text(L";,")}) {
        for (const bool mode : bothModes) {
            EXPECT_TEXTS(Split(L"", separator, mode));
            EXPECT_TEXTS(Split(null, separator, mode));
        }
    }
}

TEST_F(NKTokenStringSplit, ValueWithoutSeparator_IsOneToken) {
    EXPECT_TEXTS(Split(L"abc", L","), L"abc");
    EXPECT_TEXTS(Split(L"abc", L";,"), L"abc");
    EXPECT_TEXTS(Split(L"abc", L";,", wholeText), L"abc");
}

TEST_F(NKTokenStringSplit, OneCharacterSeparator_IsTheSameInBothModes) {
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(Split(L"a,,b,", L",", mode), L"a", L"", L"b", L"");
        EXPECT_TEXTS(Split(L"a", L",", mode), L"a");
        EXPECT_TEXTS(Split(L"a,b", L",", mode), L"a", L"b");
    }
}

TEST_F(NKTokenStringSplit, AdjacentSeparators_EncloseEmptyTokens) {
    EXPECT_TEXTS(Split(L"a,,,b", L","), L"a", L"", L"", L"b");
    EXPECT_TEXTS(Split(L"a,;b", L";,"), L"a", L"", L"b");
    EXPECT_TEXTS(Split(L"a;,;,b", L";,", wholeText), L"a", L"", L"b");
}

TEST_F(NKTokenStringSplit, LeadingSeparator_GivesAnEmptyFirstToken) {
    EXPECT_TEXTS(Split(L",a", L","), L"", L"a");
    EXPECT_TEXTS(Split(L",a", L";,"), L"", L"a");
    EXPECT_TEXTS(Split(L";,a", L";,", wholeText), L"", L"a");
}

TEST_F(NKTokenStringSplit, TrailingSeparator_GivesAnEmptyLastToken) {
    EXPECT_TEXTS(Split(L"a,", L","), L"a", L"");
    EXPECT_TEXTS(Split(L"a,", L";,"), L"a", L"");
    EXPECT_TEXTS(Split(L"a;,", L";,", wholeText), L"a", L"");
}

TEST_F(NKTokenStringSplit, OneSeparatorAlone_GivesTwoEmptyTokens) {
    EXPECT_TEXTS(Split(L",", L","), L"", L"");
    EXPECT_TEXTS(Split(L",", L";,"), L"", L"");
    EXPECT_TEXTS(Split(L";,", L";,", wholeText), L"", L"");
}

TEST_F(NKTokenStringSplit, SeparatorsAlone_GiveOneEmptyTokenMore) {
    EXPECT_TEXTS(Split(L",,,", L","), L"", L"", L"", L"");
    EXPECT_TEXTS(Split(L";,;", L";,"), L"", L"", L"", L"");
    EXPECT_TEXTS(Split(L";,;,", L";,", wholeText), L"", L"", L"");
}

TEST_F(NKTokenStringSplit, Tokens_AreNeverTrimmed) {
    EXPECT_TEXTS(Split(L" a ,\tb\r\n", L","), L" a ", L"\tb\r\n");
    EXPECT_TEXTS(Split(L" ", L","), L" ");
    EXPECT_TEXTS(Split(L" ; , ", L";,"), L" ", L" ", L" ");
    EXPECT_TEXTS(Split(L" ;, ", L";,", wholeText), L" ", L" ");
}

TEST_F(NKTokenStringSplit, Blank_SeparatesLikeAnyCharacter) {
    EXPECT_TEXTS(Split(L" a  b", L" "), L"", L"a", L"", L"b");
}

TEST_F(NKTokenStringSplit, CharacterMode_SplitsAtEachOfTheCharacters) {
    EXPECT_TEXTS(Split(L"a;b,c", L";,"), L"a", L"b", L"c");
    EXPECT_TEXTS(Split(L"a;b,c.d", L";,."), L"a", L"b", L"c", L"d");
}

TEST_F(NKTokenStringSplit, CharacterMode_RepeatedSeparatorCharacterCountsOnce) {
    EXPECT_TEXTS(Split(L"a;b;;c", L";;"), L"a", L"b", L"", L"c");
}

TEST_F(NKTokenStringSplit, WholeTextMode_SplitsAtTheWholeSeparatorOnly) {
    EXPECT_TEXTS(Split(L"a;,b;c", L";,", wholeText), L"a", L"b;c");
    EXPECT_TEXTS(Split(L"a,;b", L";,", wholeText), L"a,;b");
}

TEST_F(NKTokenStringSplit, WholeTextMode_MatchesNeverOverlap) {
    EXPECT_TEXTS(Split(L"a,,,b", L",,", wholeText), L"a", L",b");
    EXPECT_TEXTS(Split(L",,,,", L",,", wholeText), L"", L"", L"");
    EXPECT_TEXTS(Split(L",,,,,", L",,", wholeText), L"", L"", L",");
    EXPECT_TEXTS(Split(L"xaxaxax", L"xax", wholeText), L"", L"a", L"");
}

TEST_F(NKTokenStringSplit, WholeTextMode_StartOfASeparatorIsText) {
    EXPECT_TEXTS(Split(L"a;;,b", L";,", wholeText), L"a;", L"b");
    EXPECT_TEXTS(Split(L"xxxy", L"xxy", wholeText), L"x", L"");
    EXPECT_TEXTS(Split(L"a;,b;", L";,", wholeText), L"a", L"b;");
}

TEST_F(NKTokenStringSplit, WholeTextMode_SeparatorLongerThanTheValueIsNotFound) {
    EXPECT_TEXTS(Split(L"ab", L"abc", wholeText), L"ab");
    EXPECT_TEXTS(Split(L"abc", L"abc", wholeText), L"", L"");
}

TEST_F(NKTokenStringSplit, Separators_AreCaseSensitive) {
    EXPECT_TEXTS(Split(L"aXbxc", L"x"), L"aXb", L"c");
    EXPECT_TEXTS(Split(L"aXbxcYd", L"xy"), L"aXb", L"cYd");
    EXPECT_TEXTS(Split(L"aXYbxyc", L"xy", wholeText), L"aXYb", L"c");
}

TEST_F(NKTokenStringSplit, Separators_AreCodeUnits) {
    EXPECT_TEXTS(Split(L"1\x00e4"
                       L"2a\x0308"
                       L"3",
                       L"\x00e4"),
                 L"1",
                 L"2a\x0308"
                 L"3");
    EXPECT_TEXTS(Split(L"\xffff-\x8000", L"\xffff\x8000"), L"", L"-", L"");
    EXPECT_TEXTS(Split(L"a\xd83d\xde00z", L"\xd83d"), L"a", L"\xde00z");
    EXPECT_TEXTS(Split(L"a\xd83d\xde00z\xd83d\xde01", L"\xd83d\xde00", wholeText), L"a", L"z\xd83d\xde01");
}

TEST_F(NKTokenStringSplit, SetValue_ReplacesAllTokensAndKeepsTheRule) {
    CNKTokenString object = Split(L"a;,b;,c", L";,", wholeText);
    EXPECT_EQ(&object.SetValue(L"x;,y"), &object);
    EXPECT_TEXTS(object, L"x", L"y");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringSplit, SetValueOfEmptyText_LeavesNoTokens) {
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
        object = CNKTokenString(value, L",", characters);
        static_cast<wchar_t*>(value)[0] = L'x';
    }
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringSplit, Tokens_AreTerminatedByNul) {
    for (const CNKString& token : Split(L"abc,,d", L",")) {
        EXPECT_EQ(TextOf(token)[token.GetLength()], L'\0');
    }
}

// Split at and around NULs

TEST_F(NKTokenStringNul, InTheValue_EndsTheSearchButNotTheLastToken) {
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(Split(L"a,b\0c,d"sv, L",", mode), L"a", L"b\0c,d"sv);
    }
    EXPECT_TEXTS(Split(L"a,b;c\0d,e"sv, L";,"), L"a", L"b", L"c\0d,e"sv);
    EXPECT_TEXTS(Split(L"a;,b\0c;,d"sv, L";,", wholeText), L"a", L"b\0c;,d"sv);
}

TEST_F(NKTokenStringNul, BeforeTheFirstSeparator_GivesOneToken) {
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(Split(L"a\0,b"sv, L",", mode), L"a\0,b"sv);
        EXPECT_TEXTS(Split(L"\0a;,b"sv, L";,", mode), L"\0a;,b"sv);
    }
}

TEST_F(NKTokenStringNul, BehindASeparator_StartsTheLastToken) {
    EXPECT_TEXTS(Split(L"a,\0,b"sv, L","), L"a", L"\0,b"sv);
    EXPECT_TEXTS(Split(L"a,\0,b"sv, L";,"), L"a", L"\0,b"sv);
    EXPECT_TEXTS(Split(L"a;,\0;,b"sv, L";,", wholeText), L"a", L"\0;,b"sv);
}

TEST_F(NKTokenStringNul, InsideAWholeTextSeparator_KeepsItFromMatching) {
    EXPECT_TEXTS(Split(L"a;\0,b"sv, L";,", wholeText), L"a;\0,b"sv);
}

TEST_F(NKTokenStringNul, AtTheEnd_StaysInTheLastToken) {
    EXPECT_TEXTS(Split(L"a,b\0"sv, L","), L"a", L"b\0"sv);
    EXPECT_TEXTS(Split(L"a,\0"sv, L","), L"a", L"\0"sv);
    EXPECT_TEXTS(Split(L"\0\0"sv, L","), L"\0\0"sv);
}

TEST_F(NKTokenStringNul, WithoutSeparator_ValueIsOneToken) {
    EXPECT_TEXTS(Split(L"a\0,b"sv, null), L"a\0,b"sv);
    EXPECT_TEXTS(Split(L"\0"sv, L""), L"\0"sv);
}

TEST_F(NKTokenStringNul, AsSeparator_NeverMatches) {
    for (const bool mode : bothModes) {
        EXPECT_TEXTS(Split(L"ab", L"\0"sv, mode), L"ab");
        EXPECT_TEXTS(Split(L"a\0b"sv, L"\0"sv, mode), L"a\0b"sv);
        EXPECT_TEXTS(Split(L"\0"sv, L"\0"sv, mode), L"\0"sv);
        EXPECT_TEXTS(Split(L"a\0\0b"sv, L"\0\0"sv, mode), L"a\0\0b"sv);
        EXPECT_TEXTS(Split(L"a,b\0"sv, L"\0,"sv, mode), L"a,b\0"sv);
    }
}

TEST_F(NKTokenStringNul, AmongSeparatorCharacters_EndsThem) {
    EXPECT_TEXTS(Split(L"a,b;c\0d"sv, L",\0"sv), L"a", L"b;c\0d"sv);
    EXPECT_TEXTS(Split(L"a,b;c"sv, L",\0;"sv), L"a", L"b;c");
}

TEST_F(NKTokenStringNul, InAWholeTextSeparator_NeverMatches) {
    EXPECT_TEXTS(Split(L"a,\0b,c"sv, L",\0"sv, wholeText), L"a,\0b,c"sv);
    EXPECT_TEXTS(Split(L"a,b,"sv, L",\0"sv, wholeText), L"a,b,");
    EXPECT_TEXTS(Split(L"a,\0;b,"sv, L",\0;"sv, wholeText), L"a,\0;b,"sv);
}

// Join

TEST_F(NKTokenStringJoin, NoTokens_IsNull) {
    EXPECT_NULL_BSTR(Split(L"", L",").GetValue());
    EXPECT_NULL_BSTR(Split(L"", L",", wholeText).GetValue());
}

TEST_F(NKTokenStringJoin, OneToken_IsItself) {
    EXPECT_BSTR(Tokens({L"a,b"}, L",").GetValue(), L"a,b");
    EXPECT_BSTR(Tokens({L"a\0b"sv}, L",").GetValue(), L"a\0b"sv);
}

TEST_F(NKTokenStringJoin, OneEmptyToken_IsLengthZeroNotNull) {
    EXPECT_BSTR(Tokens({L""}, L",").GetValue(), L"");
    EXPECT_BSTR(Tokens({null}, L",").GetValue(), L"");
}

TEST_F(NKTokenStringJoin, EmptyTokens_LeaveTheJoiners) {
    EXPECT_BSTR(Tokens({L"", L""}, L",").GetValue(), L",");
    EXPECT_BSTR(Tokens({L"a", L"", L"b", L""}, L",").GetValue(), L"a,,b,");
    EXPECT_BSTR(Tokens({L"", L"", L""}, L";,", wholeText).GetValue(), L";,;,");
}

TEST_F(NKTokenStringJoin, NullTokens_CountAsEmptyOnes) {
    EXPECT_BSTR(Tokens({null, L"a", null}, L",").GetValue(), L",a,");
    EXPECT_BSTR(Tokens({null, null}, null).GetValue(), L"");
}

TEST_F(NKTokenStringJoin, CharacterMode_UsesTheFirstCharacter) {
    EXPECT_BSTR(Split(L"a;b", L";,").GetValue(), L"a;b");
    EXPECT_BSTR(Split(L"a,b", L";,").GetValue(), L"a;b");
    EXPECT_BSTR(Split(L"a;b,c", L";,").GetValue(), L"a;b;c");
}

TEST_F(NKTokenStringJoin, WholeTextMode_UsesTheWholeSeparator) {
    EXPECT_BSTR(Split(L"a;,b;c", L";,", wholeText).GetValue(), L"a;,b;c");
    EXPECT_BSTR(Tokens({L"a", L"b", L"c"}, L"<->", wholeText).GetValue(), L"a<->b<->c");
}

TEST_F(NKTokenStringJoin, EmptySeparator_PutsNothingInBetween) {
    for (const bool mode : bothModes) {
        EXPECT_BSTR(Tokens({L"a", L"b", L"", L"c"}, null, mode).GetValue(), L"abc");
        EXPECT_BSTR(Tokens({L"a", L"b", L"", L"c"}, L"", mode).GetValue(), L"abc");
    }
}

TEST_F(NKTokenStringJoin, NulAsFirstCharacter_PutsNothingInBetweenInCharacterMode) {
    EXPECT_BSTR(Tokens({L"a", L"b"}, L"\0"sv).GetValue(), L"ab");
    EXPECT_BSTR(Tokens({L"a", L"b"}, L"\0,"sv).GetValue(), L"ab");
    EXPECT_BSTR(Tokens({L"a", L"b"}, L",\0"sv).GetValue(), L"a,b");
}

TEST_F(NKTokenStringJoin, NulInTheSeparator_IsPutInBetweenInWholeTextMode) {
    EXPECT_BSTR(Tokens({L"a", L"b"}, L"\0"sv, wholeText).GetValue(), L"a\0b"sv);
    EXPECT_BSTR(Tokens({L"a", L"b"}, L",\0;"sv, wholeText).GetValue(), L"a,\0;b"sv);
}

TEST_F(NKTokenStringJoin, TokensWithNul_AreWhole) {
    EXPECT_BSTR(Tokens({L"a\0"sv, L"\0b"sv}, L",").GetValue(), L"a\0,\0b"sv);
    EXPECT_BSTR(Split(L"a,b\0c,d"sv, L",").GetValue(), L"a,b\0c,d"sv);
}

TEST_F(NKTokenStringJoin, AllKindsOfSeparators_GiveTheValueBack) {
    for (const Text value : {L","sv, L",,a,,"sv, L" a , b "sv, L"a,\0,"sv}) {
        EXPECT_BSTR(Split(value, L",").GetValue(), *value);
        EXPECT_BSTR(Split(value, L",;").GetValue(), *value);
        EXPECT_BSTR(Split(value, L",,", wholeText).GetValue(), *value);
    }
}

TEST_F(NKTokenStringJoin, Value_IsMadeAnewEachTime) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_BSTR(object.GetValue(), L"a,b");
    object.at(1) = L"new";
    EXPECT_BSTR(object.GetValue(), L"a,new");
    object.pop_back();
    EXPECT_BSTR(object.GetValue(), L"a");
}

TEST_F(NKTokenStringJoin, Join_ChangesNothing) {
    const CNKTokenString object = Tokens({L"a,b", null, L""}, L";,", wholeText);
    static_cast<void>(object.GetValue());
    EXPECT_TEXTS(object, L"a,b", null, L"");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

// Separator and mode

TEST_F(NKTokenStringSeparator, NeverSet_IsNullAlsoAfterTheModeWasSet) {
    CNKTokenString object;
    for (const bool mode : {wholeText, characters, wholeText}) {
        EXPECT_EQ(&object.SetMultiCharacter(mode), &object);
        EXPECT_EQ(object.GetMultiCharacter(), mode);
        EXPECT_NULL_BSTR(object.GetSeparator());
    }
    object.SetValue(L"a,b");
    object.SetMultiCharacter(characters);
    EXPECT_NULL_BSTR(object.GetSeparator());
    EXPECT_TEXTS(object, L"a,b");
}

TEST_F(NKTokenStringSeparator, Set_IsReadBackAsItIs) {
    CNKTokenString object;
    object.SetSeparator(L"", characters);
    EXPECT_BSTR(object.GetSeparator(), L"");
    object.SetSeparator(Make(L",\0;"sv), wholeText);
    EXPECT_BSTR(object.GetSeparator(), L",\0;"sv);
    EXPECT_TRUE(object.GetMultiCharacter());
    object.SetSeparator(CNKString(), characters);
    EXPECT_NULL_BSTR(object.GetSeparator());
    EXPECT_FALSE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringSeparator, Set_SharesTheText) {
    const CNKString separator(L",");
    CNKTokenString object;
    object.SetSeparator(separator, characters);
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
    EXPECT_EQ(&object.SetSeparator(L",", wholeText), &object);
    EXPECT_TEXTS(object);
    EXPECT_NULL_BSTR(object.GetValue());
}

TEST_F(NKTokenStringSeparator, SetAfterTheValue_SplitsIt) {
    CNKTokenString object;
    object.SetValue(L"a,b,c");
    object.SetSeparator(L",", characters);
    EXPECT_TEXTS(object, L"a", L"b", L"c");
}

TEST_F(NKTokenStringSeparator, Set_JoinsByTheOldRuleAndSplitsByTheNew) {
    CNKTokenString object = Split(L"a;,b;c", L";,", wholeText);
    object.SetSeparator(L",", characters);
    EXPECT_TEXTS(object, L"a;", L"b;c");
    object.SetSeparator(L";,", characters);
    EXPECT_TEXTS(object, L"a", L"", L"b", L"c");
    object.SetSeparator(L";;", wholeText);
    EXPECT_TEXTS(object, L"a", L"b;c");
}

TEST_F(NKTokenStringSeparator, SetFromSeveralCharacters_FindsOnlyTheFirstOfThem) {
    CNKTokenString object = Split(L"a;b,c", L";,");
    object.SetSeparator(L",", characters);
    EXPECT_TEXTS(object, L"a;b;c");
}

TEST_F(NKTokenStringSeparator, SetToEmpty_JoinsAllIntoOneToken) {
    for (const Text separator : {Text(), Text(L"")}) {
        CNKTokenString object = Split(L"a,b,,c", L",");
        object.SetSeparator(Make(separator), characters);
        EXPECT_TEXTS(object, L"a,b,,c");
    }
}

TEST_F(NKTokenStringSeparator, SetFromEmpty_JoinsWithNothingInBetween) {
    CNKTokenString object = Tokens({L"a", L"b,", L"c"}, null);
    object.SetSeparator(L",", characters);
    EXPECT_TEXTS(object, L"ab", L"c");
}

TEST_F(NKTokenStringSeparator, SetToTheSame_SplitsAddedTokens) {
    CNKTokenString object = Split(L"a", L",");
    object.Add(L"x,y");
    EXPECT_TEXTS(object, L"a", L"x,y");
    object.SetSeparator(L",", characters);
    EXPECT_TEXTS(object, L"a", L"x", L"y");
}

TEST_F(NKTokenStringSeparator, SetModeToTheSame_SplitsAddedTokens) {
    for (const bool mode : bothModes) {
        CNKTokenString object = Split(L"a", L",", mode);
        object.Add(L"x,y");
        object.SetMultiCharacter(mode);
        EXPECT_TEXTS(object, L"a", L"x", L"y");
        EXPECT_EQ(object.GetMultiCharacter(), mode);
    }
}

TEST_F(NKTokenStringSeparator, SetMode_KeepsTheSeparatorAndSplitsAgain) {
    CNKTokenString object = Split(L"x;,y", L";,", wholeText);
    EXPECT_TEXTS(object, L"x", L"y");
    object.SetMultiCharacter(characters);
    EXPECT_TEXTS(object, L"x", L"", L"y");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_FALSE(object.GetMultiCharacter());
    object.SetMultiCharacter(wholeText);
    EXPECT_TEXTS(object, L"x;;y");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringSeparator, Set_LosesASingleEmptyToken) {
    CNKTokenString object = Tokens({L""}, L",");
    object.SetMultiCharacter(characters);
    EXPECT_TEXTS(object);
}

TEST_F(NKTokenStringSeparator, Set_TurnsNullTokensIntoEmptyOnes) {
    CNKTokenString object = Tokens({null, L"a", null}, L",");
    object.SetMultiCharacter(characters);
    EXPECT_TEXTS(object, L"", L"a", L"");
}

TEST_F(NKTokenStringSeparator, SetWithNulInAToken_KeepsAllBehindItInOneToken) {
    CNKTokenString object = Tokens({L"a", L"b\0"sv, L"c"}, L",");
    object.SetMultiCharacter(characters);
    EXPECT_TEXTS(object, L"a", L"b\0,c"sv);
}

// Reading tokens

TEST_F(NKTokenStringToken, WithinTheCount) {
    const CNKTokenString object = Tokens({L"a", L"", null, L"b\0c"sv}, L",");
    EXPECT_EQ(object.GetCount(), 4u);
    EXPECT_BSTR(object.GetToken(0), L"a");
    EXPECT_BSTR(object.GetToken(1), L"");
    EXPECT_NULL_BSTR(object.GetToken(2));
    EXPECT_BSTR(object.GetToken(3), L"b\0c"sv);
}

TEST_F(NKTokenStringToken, BehindTheLast_IsNull) {
    const CNKTokenString object = Split(L"a,b", L",");
    EXPECT_NULL_BSTR(object.GetToken(object.GetCount()));
    EXPECT_NULL_BSTR(object.GetToken(3));
    EXPECT_NULL_BSTR(object.GetToken(std::size_t{1} << 63));
    EXPECT_NULL_BSTR(object.GetToken(minusOne));
    EXPECT_NULL_BSTR(object[2]);
    EXPECT_NULL_BSTR(object[minusOne]);
}

TEST_F(NKTokenStringToken, AtIterator) {
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

TEST_F(NKTokenStringToken, Copies_ShareTheText) {
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

TEST_F(NKTokenStringAdd, TokenWithSeparators_StaysWhole) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(&object.Add(L"x,y"), &object);
    EXPECT_EQ(object.GetCount(), 3u);
    EXPECT_BSTR(object.GetToken(2), L"x,y");
    EXPECT_BSTR(object.GetValue(), L"a,b,x,y");
}

TEST_F(NKTokenStringAdd, ToAnEmptyObject) {
    CNKTokenString object;
    object.Add(L"x,y").Add(L"z");
    EXPECT_TEXTS(object, L"x,y", L"z");
    EXPECT_BSTR(object.GetValue(), L"x,yz");
}

TEST_F(NKTokenStringAdd, EmptyTokens_AreTokens) {
    CNKTokenString object = Split(L"a", L",");
    object.Add(L"").Add(CNKString());
    EXPECT_TEXTS(object, L"a", L"", null);
    EXPECT_BSTR(object.GetValue(), L"a,,");
}

TEST_F(NKTokenStringAdd, TokenWithNul_StaysWhole) {
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

TEST_F(NKTokenStringAdd, Rule_Stays) {
    CNKTokenString object = Split(L"a", L";,", wholeText);
    object.Add(L"x");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

// Insert

TEST_F(NKTokenStringInsert, BeforeAToken_InsertsTheTokensOfTheText) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(&object.Insert(0, L"x,y"), &object);
    EXPECT_TEXTS(object, L"x", L"y", L"a", L"b");
    object.Insert(3, L"1,,2,");
    EXPECT_TEXTS(object, L"x", L"y", L"a", L"1", L"", L"2", L"", L"b");
}

TEST_F(NKTokenStringInsert, AtTheCount_AppendsTheTextWhole) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(&object.Insert(object.GetCount(), L"x,y"), &object);
    EXPECT_TEXTS(object, L"a", L"b", L"x,y");
}

TEST_F(NKTokenStringInsert, BehindTheCount_AppendsTheTextWhole) {
    CNKTokenString object = Split(L"a,b", L",");
    object.Insert(3, L"x,y");
    object.Insert(minusOne, L"z,");
    EXPECT_TEXTS(object, L"a", L"b", L"x,y", L"z,");
}

TEST_F(NKTokenStringInsert, IntoAnEmptyObject_AppendsTheTextWhole) {
    CNKTokenString object = Split(L"", L",");
    object.Insert(0, L"x,y");
    EXPECT_TEXTS(object, L"x,y");
}

TEST_F(NKTokenStringInsert, EmptyText_HasNothingToInsert) {
    CNKTokenString object = Split(L"a,b", L",");
    object.Insert(1, L"");
    object.Insert(0, CNKString());
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringInsert, EmptyTextAtTheCount_IsAppended) {
    CNKTokenString object = Split(L"a", L",");
    object.Insert(1, L"");
    object.Insert(2, CNKString());
    EXPECT_TEXTS(object, L"a", L"", null);
}

TEST_F(NKTokenStringInsert, Text_IsSplitInTheObjectsMode) {
    CNKTokenString object = Split(L"a", L";,", wholeText);
    object.Insert(0, L"x;y;,z");
    EXPECT_TEXTS(object, L"x;y", L"z", L"a");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());

    object = Split(L"a", L";,");
    object.Insert(0, L"x;y,z");
    EXPECT_TEXTS(object, L"x", L"y", L"z", L"a");

    object = Split(L"a", null);
    object.Insert(0, L"x;y,z");
    EXPECT_TEXTS(object, L"x;y,z", L"a");
}

TEST_F(NKTokenStringInsert, TextWithNul_IsSplitUpToIt) {
    CNKTokenString object = Split(L"a", L",");
    object.Insert(0, Make(L"x,y\0,z"sv));
    EXPECT_TEXTS(object, L"x", L"y\0,z"sv, L"a");
}

// SetToken

TEST_F(NKTokenStringSetToken, NotTheLast_IsReplacedByTheTokensOfTheText) {
    CNKTokenString object = Split(L"a,b,c", L",");
    EXPECT_EQ(&object.SetToken(1, L"x"), &object);
    EXPECT_TEXTS(object, L"a", L"x", L"c");
    object.SetToken(0, L"1,2");
    EXPECT_TEXTS(object, L"1", L"2", L"x", L"c");
}

TEST_F(NKTokenStringSetToken, TheLast_IsReplacedByTheTextWhole) {
    CNKTokenString object = Split(L"a,b", L",");
    object.SetToken(1, L"x,y");
    EXPECT_TEXTS(object, L"a", L"x,y");
}

TEST_F(NKTokenStringSetToken, TheOnly_IsReplacedByTheTextWhole) {
    CNKTokenString object = Split(L"a", L",");
    object.SetToken(0, L"x,y");
    EXPECT_TEXTS(object, L"x,y");
}

TEST_F(NKTokenStringSetToken, EmptyTextForNotTheLast_OnlyRemoves) {
    CNKTokenString object = Split(L"a,b,c", L",");
    object.SetToken(1, L"");
    EXPECT_TEXTS(object, L"a", L"c");
    object.SetToken(0, CNKString());
    EXPECT_TEXTS(object, L"c");
}

TEST_F(NKTokenStringSetToken, EmptyTextForTheLast_ReplacesIt) {
    CNKTokenString object = Split(L"a,b", L",");
    object.SetToken(1, L"");
    EXPECT_TEXTS(object, L"a", L"");
    object.SetToken(1, CNKString());
    EXPECT_TEXTS(object, L"a", null);
}

TEST_F(NKTokenStringSetToken, AtIterator) {
    CNKTokenString object = Split(L"a,b,c", L",");
    EXPECT_EQ(&object.SetToken(object.begin() + 1, L"x,y"), &object);
    EXPECT_TEXTS(object, L"a", L"x", L"y", L"c");
    object.SetToken(object.end() - 1, L"1,2");
    EXPECT_TEXTS(object, L"a", L"x", L"y", L"1,2");
    object.SetToken(object.cbegin(), L"");
    EXPECT_TEXTS(object, L"x", L"y", L"1,2");
}

TEST_F(NKTokenStringSetToken, Rule_Stays) {
    CNKTokenString object = Split(L"a;,b", L";,", wholeText);
    object.SetToken(0, L"x;y;,z");
    EXPECT_TEXTS(object, L"x;y", L"z", L"b");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

// Lists of strings

TEST_F(NKTokenStringList, AddList_AppendsTheStringsUnsplit) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(&object.AddList(MakeList({L"x,y", L"", null, L"z\0,"sv})), &object);
    EXPECT_TEXTS(object, L"a", L"b", L"x,y", L"", null, L"z\0,"sv);
}

TEST_F(NKTokenStringList, AddListToAnEmptyObject) {
    CNKTokenString object;
    object.AddList(MakeList({L"a", L"b"}));
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringList, InsertListBeforeAToken_InsertsTheStringsUnsplit) {
    CNKTokenString object = Split(L"a,b", L",");
    EXPECT_EQ(&object.InsertList(1, MakeList({L"x,y", null})), &object);
    EXPECT_TEXTS(object, L"a", L"x,y", null, L"b");
    object.InsertList(0, MakeList({L"1", L""}));
    EXPECT_TEXTS(object, L"1", L"", L"a", L"x,y", null, L"b");
}

TEST_F(NKTokenStringList, InsertListAtOrBehindTheCount_Appends) {
    CNKTokenString object = Split(L"a,b", L",");
    object.InsertList(2, MakeList({L"x,y", L"z"}));
    object.InsertList(minusOne, MakeList({L"1"}));
    EXPECT_TEXTS(object, L"a", L"b", L"x,y", L"z", L"1");
    CNKTokenString empty;
    empty.InsertList(0, MakeList({L"x,y"}));
    EXPECT_TEXTS(empty, L"x,y");
}

TEST_F(NKTokenStringList, EmptyList_ChangesNothing) {
    CNKTokenString object = Split(L"a,b", L",");
    object.AddList(CNKStringList()).InsertList(1, CNKStringList()).InsertList(minusOne, CNKStringList());
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringList, TokenStringAsList_AddsItsTokensAsTheyAre) {
    const CNKTokenString other = Tokens({L"x;y,z", L"1"}, L";", wholeText);
    CNKTokenString object = Split(L"a,b", L",");
    object.AddList(other).InsertList(0, other);
    EXPECT_TEXTS(object, L"x;y,z", L"1", L"a", L"b", L"x;y,z", L"1");
    EXPECT_BSTR(object.GetSeparator(), L",");
    EXPECT_FALSE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringList, Strings_ShareTheirTexts) {
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

TEST_F(NKTokenStringList, InsertAtTheCount_Appends) {
    CNKTokenString object = Split(L"a,b", L",");
    object.InsertAt(2, L"x,y");
    EXPECT_TEXTS(object, L"a", L"b", L"x,y");
    CNKTokenString empty;
    empty.InsertAt(0, L"x,y");
    EXPECT_TEXTS(empty, L"x,y");
}

TEST_F(NKTokenStringList, InsertAtBehindTheCount_Appends) {
    CNKTokenString object = Split(L"a,b", L",");
    object.InsertAt(3, L"x").InsertAt(minusOne, L"y");
    EXPECT_TEXTS(object, L"a", L"b", L"x", L"y");
}

TEST_F(NKTokenStringList, Assignment_TakesTheStringsUnsplitAndKeepsTheRule) {
    CNKTokenString object = Split(L"a;,b", L";,", wholeText);
    const CNKStringList list = MakeList({L"x;,y", null, L""});
    EXPECT_EQ(&(object = list), &object);
    EXPECT_TEXTS(object, L"x;,y", null, L"");
    EXPECT_EQ(TextOf(object.at(0)), TextOf(list[0]));
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

TEST_F(NKTokenStringList, AssignmentOfAnEmptyList_LeavesNoTokens) {
    CNKTokenString object = Split(L"a,b", L",");
    object = CNKStringList();
    EXPECT_TEXTS(object);
    EXPECT_NULL_BSTR(object.GetValue());
    EXPECT_BSTR(object.GetSeparator(), L",");
}

TEST_F(NKTokenStringList, AssignmentOfATokenStringAsList_KeepsTheRule) {
    const CNKTokenString other = Split(L"x;y", L";", wholeText);
    CNKTokenString object = Split(L"a,b", L",");
    object = static_cast<const CNKStringList&>(other);
    EXPECT_TEXTS(object, L"x", L"y");
    EXPECT_BSTR(object.GetSeparator(), L",");
    EXPECT_FALSE(object.GetMultiCharacter());
}

// Copies

TEST_F(NKTokenStringCopy, Construction_CopiesTokensSeparatorAndMode) {
    const CNKTokenString original = Tokens({L"a", null, L"x;,y"}, L";,", wholeText);
    const CNKTokenString copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_TEXTS(copy, L"a", null, L"x;,y");
    EXPECT_BSTR(copy.GetSeparator(), L";,");
    EXPECT_TRUE(copy.GetMultiCharacter());
    EXPECT_TEXTS(original, L"a", null, L"x;,y");
}

TEST_F(NKTokenStringCopy, Construction_SharesAllTexts) {
    const CNKTokenString original = Split(L"a,b", L",");
    EXPECT_EQ(CountRequests([&] { static_cast<void>(CNKTokenString(original)); }), 1u); // the array of handles
    const CNKTokenString copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(TextOf(copy.at(0)), TextOf(original.at(0)));
    EXPECT_EQ(TextOf(copy.at(1)), TextOf(original.at(1)));
    EXPECT_EQ(TextOf(copy.GetSeparator()), TextOf(original.GetSeparator()));
}

TEST_F(NKTokenStringCopy, Changes_StayInTheCopy) {
    const CNKTokenString original = Split(L" a ,b", L",");
    CNKTokenString copy = original;
    copy.at(0).Trim();
    copy.Add(L"c").SetSeparator(L";", wholeText);
    EXPECT_TEXTS(copy, L"a,b,c");
    EXPECT_TEXTS(original, L" a ", L"b");
    EXPECT_BSTR(original.GetSeparator(), L",");
    EXPECT_FALSE(original.GetMultiCharacter());
}

TEST_F(NKTokenStringCopy, Assignment_ReplacesTokensSeparatorAndMode) {
    const CNKTokenString source = Split(L"x;,y", L";,", wholeText);
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
    CNKTokenString object = Split(L"x;,y", L";,", wholeText);
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

TEST_F(NKTokenStringMove, Construction_TakesEverythingAndAllocatesNothing) {
    CNKTokenString source = Split(L"a;,b", L";,", wholeText);
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
    // NOLINTBEGIN(bugprone-use-after-move): what is left is the point
    EXPECT_TEXTS(source);
    EXPECT_NULL_BSTR(source.GetSeparator());
    source.SetSeparator(L";", characters).SetValue(L"x;y");
    EXPECT_TEXTS(source, L"x", L"y");
    // NOLINTEND(bugprone-use-after-move)
    EXPECT_TEXTS(object, L"a", L"b");
}

TEST_F(NKTokenStringMove, Assignment_ReplacesTokensSeparatorAndMode) {
    CNKTokenString object = Split(L"a,b,c", L",");
    object = Split(L"x;,y", L";,", wholeText);
    EXPECT_TEXTS(object, L"x", L"y");
    EXPECT_BSTR(object.GetSeparator(), L";,");
    EXPECT_TRUE(object.GetMultiCharacter());
}

// Arguments that are parts of the object

TEST_F(NKTokenStringAlias, SetValueOfAnOwnToken) {
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

TEST_F(NKTokenStringAlias, SetValueOfAnOwnTokenInWholeTextMode) {
    CNKTokenString object = Tokens({L"a;,b", L"c;,d"}, L";,", wholeText);
    object.SetValue(object.at(1));
    EXPECT_TEXTS(object, L"c", L"d");
}

TEST_F(NKTokenStringAlias, SetSeparatorOfTheOwnSeparator) {
    CNKTokenString object = Split(L"x;,y", L";,", wholeText);
    object.SetSeparator(object.GetSeparator(), characters);
    EXPECT_TEXTS(object, L"x", L"", L"y");
    EXPECT_BSTR(object.GetSeparator(), L";,");
}

TEST_F(NKTokenStringAlias, SetSeparatorOfAnOwnToken) {
    CNKTokenString object = Tokens({L"a;", L";", L"b"}, L",");
    object.SetSeparator(object.at(1), characters);
    EXPECT_BSTR(object.GetSeparator(), L";");
    EXPECT_TEXTS(object, L"a", L",", L",b");
    object = Tokens({L"--", L"a"}, L"--", wholeText);
    object.SetSeparator(object.front(), wholeText);
    EXPECT_BSTR(object.GetSeparator(), L"--");
    EXPECT_TEXTS(object, L"", L"", L"a");
}

TEST_F(NKTokenStringAlias, AddOfAnOwnToken) {
    CNKTokenString object = Tokens({L"a,b", L"c"}, L",");
    object.shrink_to_fit();
    object.Add(object.front());
    EXPECT_TEXTS(object, L"a,b", L"c", L"a,b");
    object.reserve(10);
    object.Add(object.front());
    EXPECT_TEXTS(object, L"a,b", L"c", L"a,b", L"a,b");
}

TEST_F(NKTokenStringAlias, InsertOfAnOwnToken) {
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

TEST_F(NKTokenStringAlias, InsertAtOfAnOwnToken) {
    for (const std::size_t capacity : {std::size_t{0}, std::size_t{10}}) {
        CNKTokenString object = Tokens({L"a", L"b,c"}, L",");
        object.shrink_to_fit();
        object.reserve(capacity);
        object.InsertAt(0, object.back());
        EXPECT_TEXTS(object, L"b,c", L"a", L"b,c");
    }
}

TEST_F(NKTokenStringAlias, SetTokenOfAnOwnToken) {
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

TEST_F(NKTokenStringAlias, AddListOfItself) {
    for (const std::size_t capacity : {std::size_t{0}, std::size_t{10}}) {
        CNKTokenString object = Tokens({L"a,b", null}, L",");
        object.shrink_to_fit();
        object.reserve(capacity);
        object.AddList(object);
        EXPECT_TEXTS(object, L"a,b", null, L"a,b", null);
    }
}

TEST_F(NKTokenStringAlias, InsertListOfItself) {
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

TEST_F(NKTokenStringAlias, AssignmentOfItselfAsList) {
    CNKTokenString object = Tokens({L"a,b", L"c"}, L",");
    object = static_cast<const CNKStringList&>(object);
    EXPECT_TEXTS(object, L"a,b", L"c");
    EXPECT_BSTR(object.GetSeparator(), L",");
}

// Costs, in allocations

/// The most allocations by which an array grows to `count` elements.
std::size_t MostGrowth(std::size_t count) {
    return static_cast<std::size_t>(std::bit_width(count)) + 1;
}

TEST_F(NKTokenStringCost, Split_AllocatesTextAndRecordOfEachTokenAndTheArray) {
    for (const std::size_t count : {std::size_t{2}, std::size_t{3}, std::size_t{100}, std::size_t{1000}}) {
        const CNKString value = Repeated(count);
        for (const CNKString& separator : MakeList({L",", L",;"})) {
            CNKTokenString object(CNKString(), separator, characters);
            const LiveAllocations before = CountLiveAllocations();
            const std::size_t requests = CountRequests([&] { object.SetValue(value); });
            const LiveAllocations after = CountLiveAllocations();
            EXPECT_EQ(object.GetCount(), count);
            EXPECT_GT(requests, 2 * count);
            EXPECT_LE(requests, 2 * count + MostGrowth(count));
            EXPECT_EQ(after.bstrs - before.bstrs, static_cast<std::ptrdiff_t>(count));
            EXPECT_EQ(after.objects - before.objects, static_cast<std::ptrdiff_t>(count + 1));
        }
    }
}

TEST_F(NKTokenStringCost, SplitIntoAsManyTokensAsBefore_AllocatesNoArray) {
    CNKTokenString object = Split(L"a;,b;,c", L";,", wholeText);
    const CNKString value(L"x;,y;,z");
    EXPECT_EQ(CountRequests([&] { object.SetValue(value); }), 6u);
    object = Split(L"a;b;c", L";");
    EXPECT_EQ(CountRequests([&] { object.SetMultiCharacter(wholeText); }), 2u + 6u);
}

TEST_F(NKTokenStringCost, Join_AllocatesOneTextAndOneRecord) {
    for (const std::size_t count : {std::size_t{2}, std::size_t{3}, std::size_t{1000}}) {
        for (const bool mode : bothModes) {
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

TEST_F(NKTokenStringCost, SplitOfAValueWithoutSeparator_SharesItsText) {
    const CNKString value = Make(L"a\0b"sv);
    for (const Text separator : {Text(), Text(L""), Text(L","), Text(L";,"), Text(L"\0"sv)}) {
        for (const bool mode : bothModes) {
            CNKTokenString object = Split(null, separator, mode);
            EXPECT_EQ(CountRequests([&] { object.SetValue(value); }), 1u); // the array
            EXPECT_EQ(TextOf(object.at(0)), TextOf(value));
        }
    }
}

TEST_F(NKTokenStringCost, UnsplitTokens_AllocateTheArrayOnly) {
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
              MostGrowth(count));
    object.reserve(3 * count);
    // Splitting "a" on trial takes an array; nothing else is allocated.
    EXPECT_EQ(CountRequests([&] {
                  for (std::size_t i = 0; i < count; ++i) {
                      object.Add(list[0]);
                  }
              }),
              count);
}

} // namespace
