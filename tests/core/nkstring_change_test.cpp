// CNKString: case, trimming, truncating, formatting, appending and concatenation.

#include "core/nkstring.h"

#include "tests/core/nkstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cwctype>
#include <string>
#include <string_view>

using namespace std::literals;
using support::Bstr;
using support::BytesOf;
using support::CountRequests;
using support::Format;
using support::Make;
using support::minusOne;
using support::NarrowTextOf;
using support::null;
using support::NullRecord;
using support::OddBytes;
using support::StringsOf;
using support::Text;
using support::TextOf;

namespace {

using NKStringChange = support::NKStringTest;
using NKStringCase = support::NKStringTest;
using NKStringTrim = support::NKStringTest;
using NKStringTruncate = support::NKStringTest;
using NKStringFormat = support::NKStringTest;
using NKStringAppend = support::NKStringTest;
using NKStringConcatenation = support::NKStringTest;

TEST_F(NKStringChange, Changes_ReturnTheString) {
    CNKString text(L" abc ");
    EXPECT_EQ(&(text = CNKString(L"x")), &text);
    EXPECT_EQ(&(text = L"x"), &text);
    EXPECT_EQ(&(text = "x"), &text);
    EXPECT_EQ(&text.TrimLeft(), &text);
    EXPECT_EQ(&text.TrimRight(), &text);
    EXPECT_EQ(&text.Trim(), &text);
    EXPECT_EQ(&text.Truncate(1), &text);
    EXPECT_EQ(&text.MakeUpper(), &text);
    EXPECT_EQ(&text.MakeLower(), &text);
    EXPECT_EQ(&Format(text, L"x"), &text);
    EXPECT_EQ(&Format(text, "x"), &text);
    EXPECT_EQ(&(text += text), &text);
    EXPECT_EQ(&(text += L"x"), &text);
    EXPECT_EQ(&(text += "x"), &text);
    EXPECT_EQ(&(text += L'x'), &text);
    EXPECT_EQ(&(text += 'x'), &text);
}

// Case

struct CaseRow : support::Row {
    Text text;
    Text upper;
    Text lower;
};

class NKStringCaseTable : public support::NKStringTest, public ::testing::WithParamInterface<CaseRow> {};

const CaseRow caseRows[] = {
    {{"BothCasesAndDigit"}, L"aBc1", L"ABC1", L"abc1"},
    {{"LowerCaseWithNul"}, L"a\0b"sv, L"A\0B"sv, L"a\0b"sv},
    {{"UpperCaseWithNul"}, L"A\0B"sv, L"A\0B"sv, L"a\0b"sv},
    {{"ZeroLength_StaysZeroLength"}, L"", L"", L""},
    {{"Null_StaysNull"}, null, null, null},
};

INSTANTIATE_TEST_SUITE_P(, NKStringCaseTable, ::testing::ValuesIn(caseRows), support::RowName());

TEST_P(NKStringCaseTable, ToUpperAndToLower_LeaveTheStringItself) {
    const CaseRow& row = GetParam();
    for (const CNKString& text : StringsOf(row.text)) {
        EXPECT_TEXT(text.ToUpper(), row.upper);
        EXPECT_TEXT(text.ToLower(), row.lower);
        EXPECT_TEXT(text, row.text);
    }
}

TEST_P(NKStringCaseTable, MakeUpperAndMakeLower_ChangeTheString) {
    const CaseRow& row = GetParam();
    for (CNKString& text : StringsOf(row.text)) {
        EXPECT_TEXT(text.MakeUpper(), row.upper);
        EXPECT_TEXT(text.MakeLower(), row.lower);
    }
    for (CNKString& text : StringsOf(row.text)) {
        EXPECT_TEXT(text.MakeLower(), row.lower);
    }
}

TEST_F(NKStringCase, Mapping_IsThatOfTheCRuntime) {
    std::wstring all;
    std::wstring upper;
    std::wstring lower;
    for (unsigned int unit = 0; unit <= 0xffff; ++unit) {
        all += static_cast<wchar_t>(unit);
        upper += static_cast<wchar_t>(std::towupper(static_cast<wint_t>(unit)));
        lower += static_cast<wchar_t>(std::towlower(static_cast<wint_t>(unit)));
    }
    EXPECT_TRUE(Make(all).ToUpper() == Make(upper));
    EXPECT_TRUE(Make(all).ToLower() == Make(lower));
}

TEST_F(NKStringCase, MakeUpper_KeepsNulsAndOddByte) {
    const Bstr source(SysAllocStringByteLen("a\0b\0c", 5));
    CNKString text(source, true);
    EXPECT_EQ(BytesOf(text.MakeUpper()), "A\0B\0c"sv);
}

// Trimming

struct TrimRow : support::Row {
    Text text;
    Text left;  ///< after TrimLeft
    Text right; ///< after TrimRight
    Text both;  ///< after Trim
};

class NKStringTrimTable : public support::NKStringTest, public ::testing::WithParamInterface<TrimRow> {};

const TrimRow trimRows[] = {
    {{"WhiteSpaceAtTheStart"}, L"\t  ab ", L"ab ", L"\t  ab", L"ab"},
    {{"WhiteSpaceAtTheEnd"}, L" ab\n\v\f\r ", L"ab\n\v\f\r ", L" ab", L"ab"},
    {{"WhiteSpaceInTheMiddle_IsKept"}, L" \t a b \r\n", L"a b \r\n", L" \t a b", L"a b"},
    {{"Nul_IsNoWhiteSpace"}, L" \0a\0 "sv, L"\0a\0 "sv, L" \0a\0"sv, L"\0a\0"sv},
    {{"OneBlank_BecomesZeroLength"}, L" ", L"", L"", L""},
    {{"ThreeBlanks_BecomeZeroLength"}, L"   ", L"", L"", L""},
    {{"Null_StaysNull"}, null, null, null, null},
};

INSTANTIATE_TEST_SUITE_P(, NKStringTrimTable, ::testing::ValuesIn(trimRows), support::RowName());

TEST_P(NKStringTrimTable, Trim_RemovesWhiteSpaceAtTheEnds) {
    const TrimRow& row = GetParam();
    for (CNKString& text : StringsOf(row.text)) {
        EXPECT_TEXT(text.TrimLeft(), row.left);
    }
    for (CNKString& text : StringsOf(row.text)) {
        EXPECT_TEXT(text.TrimRight(), row.right);
    }
    for (CNKString& text : StringsOf(row.text)) {
        EXPECT_TEXT(text.Trim(), row.both);
    }
}

TEST_F(NKStringTrim, WhiteSpace_IsThatOfTheCRuntime) {
    for (unsigned int unit = 1; unit <= 0xffff; ++unit) {
        const auto edge = static_cast<wchar_t>(unit);
        CNKString text = edge + CNKString(L"x") + edge;
        const std::size_t expected = std::iswspace(static_cast<wint_t>(unit)) != 0 ? 1 : 3;
        ASSERT_EQ(text.Trim().GetLength(), expected) << unit;
    }
}

TEST_F(NKStringTrim, OnlyBlanks_BecomeZeroLength) {
    for (const std::size_t length : {1u, 3u, 32'767u, 32'768u, 100'000u}) {
        const CNKString blank(L' ', length);
        CNKString left = blank;
        CNKString right = blank;
        CNKString both = blank;
        EXPECT_BSTR(left.TrimLeft(), L"") << length;
        EXPECT_BSTR(right.TrimRight(), L"") << length;
        EXPECT_BSTR(both.Trim(), L"") << length;
    }
}

TEST_F(NKStringTrim, NothingToTrim_KeepsTheTextAndAllocatesNothing) {
    for (CNKString text : {CNKString(L"a b"), CNKString(L""), CNKString(), NullRecord(), CNKString(OddBytes(), true)}) {
        const wchar_t* const before = TextOf(text);
        EXPECT_EQ(CountRequests([&] { text.TrimLeft().TrimRight().Trim(); }), 0u);
        EXPECT_EQ(TextOf(text), before);
    }
}

TEST_F(NKStringTrim, Trim_AllocatesOneBstrAndARecordIfShared) {
    CNKString text(L"  a  ");
    CNKString shared = text;
    EXPECT_EQ(CountRequests([&] { text.Trim(); }), 2u);
    EXPECT_EQ(CountRequests([&] { shared.Trim(); }), 1u);
    EXPECT_EQ(CountRequests([&] { shared.Trim(); }), 0u) << "nothing to trim";
}

TEST_F(NKStringTrim, Trim_OfLongText_KeepsTheMiddle) {
    const std::wstring blanks(100'000, L' ');
    const std::wstring words = L"a" + blanks + L"b";
    CNKString text = Make(blanks + words + blanks);
    EXPECT_BSTR(text.Trim(), words);
}

// Truncate

struct TruncateRow : support::Row {
    Text text;
    std::size_t count;
    Text wanted;
};

class NKStringTruncateTable : public support::NKStringTest, public ::testing::WithParamInterface<TruncateRow> {};

const TruncateRow truncateRows[] = {
    {{"PastANul_KeepsIt"}, L"ab\0cd"sv, 4, L"ab\0c"sv}, {{"ToOneUnit"}, L"ab\0c"sv, 1, L"a"},
    {{"ToZero_IsOfLengthZero"}, L"a", 0, L""},          {{"NullToZero_StaysNull"}, null, 0, null},
    {{"NullToFive_StaysNull"}, null, 5, null},
};

INSTANTIATE_TEST_SUITE_P(, NKStringTruncateTable, ::testing::ValuesIn(truncateRows), support::RowName());

TEST_P(NKStringTruncateTable, Truncate_KeepsTheFirstUnits) {
    const TruncateRow& row = GetParam();
    for (CNKString& text : StringsOf(row.text)) {
        EXPECT_TEXT(text.Truncate(row.count), row.wanted);
    }
}

TEST_F(NKStringTruncate, ToTheLengthOrMore_KeepsTheTextAndAllocatesNothing) {
    CNKString text(L"abc");
    const wchar_t* const before = TextOf(text);
    EXPECT_EQ(CountRequests([&] { text.Truncate(3).Truncate(4).Truncate(minusOne); }), 0u);
    EXPECT_EQ(TextOf(text), before);
}

// Format

TEST_F(NKStringFormat, WideFormat_ReplacesTheText) {
    CNKString text(L"old");
    EXPECT_BSTR(Format(text, L"%d/%x/%.2f", -1, 255, 1.5), L"-1/ff/1.50");
    EXPECT_BSTR(Format(text, L""), L"");
}

TEST_F(NKStringFormat, WideFormat_PercentSIsWide) {
    CNKString text;
    EXPECT_BSTR(Format(text, L"%s|%S|%c", L"wide", "narrow", L'\x3042'), L"wide|narrow|\x3042");
}

TEST_F(NKStringFormat, NarrowFormat_ReplacesTheText) {
    CNKString text(L"old");
    EXPECT_BSTR(Format(text, "%d/%s/%.2f", -1, "narrow", 1.5), L"-1/narrow/1.50");
    EXPECT_BSTR(Format(text, ""), L"");
}

TEST_F(NKStringFormat, ArgumentInOwnText_IsReadBeforeTheChange) {
    CNKString text(L"abc");
    EXPECT_BSTR(Format(text, L"<%s>", TextOf(text)), L"<abc>");
    EXPECT_BSTR(Format(text, "[%s]", NarrowTextOf(text)), L"[<abc>]");
}

TEST_F(NKStringFormat, OutputWithNul_EndsThere) {
    CNKString text;
    EXPECT_BSTR(Format(text, L"ab%ccd", 0), L"ab");
}

TEST_F(NKStringFormat, OutputOf999Units_Fits) {
    CNKString text;
    EXPECT_BSTR(Format(text, L"%999d", 7), std::wstring(998, L' ') + L"7");
    EXPECT_BSTR(Format(text, "%999d", 7), std::wstring(998, L' ') + L"7");
}

// The C runtime's default invalid-parameter handler returns here.
TEST_F(NKStringFormat, OutputOf1000UnitsOrMore_IsOfLengthZero) {
    for (const int width : {1000, 1001, 2000, 5000}) {
        CNKString text(L"old");
        EXPECT_BSTR(Format(text, L"%*d", width, 7), L"") << width;
        EXPECT_BSTR(Format(text = L"old", "%*d", width, 7), L"") << width;
    }
}

// Appending

TEST_F(NKStringAppend, TextOfEachKind_IsAppended) {
    CNKString text(L"a");
    text += CNKString(L"b");
    text += L"c";
    text += "d";
    text += L'e';
    text += 'f';
    EXPECT_BSTR(text, L"abcdef");
}

TEST_F(NKStringAppend, String_KeepsNuls) {
    CNKString text = Make(L"a\0b"sv);
    text += Make(L"\0c"sv);
    EXPECT_BSTR(text, L"a\0b\0c"sv);
}

TEST_F(NKStringAppend, ToNull_GivesTheTail) {
    CNKString text;
    text += L"a";
    EXPECT_BSTR(text, L"a");
    text = NullRecord();
    text += CNKString(L"b");
    EXPECT_BSTR(text, L"b");
}

TEST_F(NKStringAppend, NullOrZeroLength_KeepsTheText) {
    CNKString text(L"a");
    text += CNKString();
    text += NullRecord();
    text += static_cast<const wchar_t*>(nullptr);
    text += static_cast<const char*>(nullptr);
    text += L"";
    EXPECT_BSTR(text, L"a");
}

TEST_F(NKStringAppend, NullToNull_IsOfLengthZero) {
    CNKString text;
    text += CNKString();
    EXPECT_BSTR(text, L"");
}

TEST_F(NKStringAppend, NulCharacter_AppendsNothing) {
    CNKString text(L"a");
    text += L'\0';
    text += '\0';
    EXPECT_BSTR(text, L"a");
}

TEST_F(NKStringAppend, OwnText_IsReadBeforeTheChange) {
    CNKString text(L"ab");
    text += text;
    EXPECT_BSTR(text, L"abab");
    text += TextOf(text) + 2;
    EXPECT_BSTR(text, L"ababab");
    text += NarrowTextOf(text) + 5;
    EXPECT_BSTR(text, L"abababb");
}

TEST_F(NKStringAppend, Append_AllocatesOneBstrAndOneRecord) {
    CNKString text(L"a");
    const CNKString tail(L"b");
    EXPECT_EQ(CountRequests([&] { text += tail; }), 2u);
    EXPECT_EQ(CountRequests([&] { text += L"c"; }), 2u);
    EXPECT_EQ(CountRequests([&] { text += L'd'; }), 2u);
}

TEST_F(NKStringAppend, OddByte_IsDropped) {
    CNKString text(OddBytes(), true);
    text += CNKString();
    EXPECT_EQ(BytesOf(text), "abcd"sv);
    EXPECT_EQ(TextOf(text)[2], L'\0');
}

TEST_F(NKStringAppend, LongText_IsAppendedWhole) {
    const std::wstring half(100'000, L'x');
    CNKString text = Make(half);
    text += text;
    EXPECT_BSTR(text, half + half);
}

// Concatenation

TEST_F(NKStringConcatenation, StringOnTheLeft_TakesEachKindOfOperand) {
    const CNKString text(L"<");
    EXPECT_BSTR(text + CNKString(L"b"), L"<b");
    EXPECT_BSTR(text + L"b", L"<b");
    EXPECT_BSTR(text + "b", L"<b");
    EXPECT_BSTR(text + L'b', L"<b");
    EXPECT_BSTR(text + 'b', L"<b");
    EXPECT_BSTR(text + 4294967295u, L"<-1");
    EXPECT_BSTR(text + 1.5, L"<1.50000000000000000000");
    EXPECT_BSTR(text, L"<");
}

TEST_F(NKStringConcatenation, StringOnTheRight_TakesEachKindOfOperand) {
    const CNKString text(L">");
    EXPECT_BSTR(L"b" + text, L"b>");
    EXPECT_BSTR("b" + text, L"b>");
    EXPECT_BSTR(L'b' + text, L"b>");
    EXPECT_BSTR('b' + text, L"b>");
    EXPECT_BSTR(4294967295u + text, L"-1>");
    EXPECT_BSTR(1.5 + text, L"1.50000000000000000000>");
    EXPECT_BSTR(text, L">");
}

TEST_F(NKStringConcatenation, WritableOperands_AreTakenToo) {
    CNKString text(L"<");
    wchar_t wide[] = L"w";
    char narrow[] = "n";
    const wchar_t wideUnit = L'u';
    EXPECT_BSTR(text + wide + narrow + wideUnit + (text + L">"), L"<wnu<>");
    EXPECT_BSTR(wide + text, L"w<");
    EXPECT_BSTR(narrow + text, L"n<");
}

TEST_F(NKStringConcatenation, NulCharacter_IsAdded) {
    EXPECT_BSTR(CNKString(L"a") + L'\0', L"a\0"sv);
    EXPECT_BSTR(CNKString(L"a") + '\0', L"a\0"sv);
    EXPECT_BSTR(L'\0' + CNKString(L"a"), L"\0a"sv);
    EXPECT_BSTR('\0' + CNKString(L"a"), L"\0a"sv);
}

TEST_F(NKStringConcatenation, OperandsWithNuls_AreWhole) {
    EXPECT_BSTR(Make(L"a\0b"sv) + Make(L"\0c"sv), L"a\0b\0c"sv);
}

TEST_F(NKStringConcatenation, NullOperands_AddNothing) {
    EXPECT_BSTR(CNKString() + L"a", L"a");
    EXPECT_BSTR(L"a" + NullRecord(), L"a");
    EXPECT_BSTR(static_cast<const wchar_t*>(nullptr) + CNKString(L"a"), L"a");
    EXPECT_BSTR(CNKString(L"a") + static_cast<const char*>(nullptr), L"a");
    EXPECT_BSTR(CNKString() + NullRecord(), L"");
}

TEST_F(NKStringConcatenation, Concatenation_AllocatesOneBstrAndOneRecord) {
    const CNKString text(L"a");
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text + text); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(L"b" + text); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text + 1u); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text + 'b'); }), 2u);
}

} // namespace
