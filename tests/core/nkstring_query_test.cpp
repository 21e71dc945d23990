// CNKString: queries, parts and numbers.

#include "core/nkstring.h"

#include "tests/core/nkstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cwctype>
#include <limits>
#include <string>
#include <string_view>

using namespace std::literals;
using support::CountRequests;
using support::Make;
using support::minusOne;
using support::null;
using support::NullRecord;
using support::StringsOf;
using support::Text;

namespace {

using NKStringQuery = support::NKStringTest;
using NKStringFind = support::NKStringTest;
using NKStringPart = support::NKStringTest;
using NKStringNumber = support::NKStringTest;

// Queries

struct QueryRow : support::Row {
    Text text;
    std::size_t length;
    bool isNull;
    bool isBlank;
    bool isAlpha;
    wchar_t first;
};

class NKStringQueryTable : public support::NKStringTest, public ::testing::WithParamInterface<QueryRow> {};

const QueryRow queryRows[] = {
    {{"Null"}, null, 0, true, true, true, L'\0'},
    {{"ZeroLength"}, L"", 0, false, true, true, L'\0'},
    {{"OneLetter"}, L"a", 1, false, false, true, L'a'},
    {{"LowerCaseLetters"}, L"abc", 3, false, false, true, L'a'},
    {{"BothCases"}, L"abcXYZ", 6, false, false, true, L'a'},
    {{"LettersAndDigit"}, L"abc1", 4, false, false, false, L'a'},
    {{"BlankBetweenLetters"}, L"a b", 3, false, false, false, L'a'},
    {{"NulBetweenLetters"}, L"a\0b"sv, 3, false, false, false, L'a'},
    {{"LettersAfterNul"}, L"ab\0cd"sv, 5, false, false, false, L'a'},
    {{"WhiteSpace"}, L" \t\n\v\f\r", 6, false, true, false, L' '},
    {{"LetterBetweenBlanks"}, L" a ", 3, false, false, false, L' '},
    {{"NulBetweenBlanks"}, L" \0 "sv, 3, false, false, false, L' '},
};

INSTANTIATE_TEST_SUITE_P(, NKStringQueryTable, ::testing::ValuesIn(queryRows), support::RowName());

TEST_P(NKStringQueryTable, Queries_DescribeTheText) {
    const QueryRow& row = GetParam();
    for (const CNKString& text : StringsOf(row.text)) {
        EXPECT_EQ(text.GetLength(), row.length);
        EXPECT_EQ(text.IsEmpty(), row.isNull);
        EXPECT_EQ(text.IsBlank(), row.isBlank);
        EXPECT_EQ(text.IsAlpha(), row.isAlpha);
        EXPECT_EQ(text.First(), row.first);
    }
}

TEST_F(NKStringQuery, Empty_IsOneNullString) {
    EXPECT_NULL_BSTR(CNKString::Empty());
    EXPECT_EQ(&CNKString::Empty(), &CNKString::Empty());
}

TEST_F(NKStringQuery, GetLength_OfASurrogatePair_IsTwo) {
    EXPECT_EQ(CNKString(L"\xd83d\xde00").GetLength(), 2u);
}

TEST_F(NKStringQuery, IsBlank_OfManyBlanks_IsTrue) {
    EXPECT_TRUE(CNKString(L' ', 100'000).IsBlank());
}

TEST_F(NKStringQuery, IsBlankAndIsAlpha_AreThoseOfTheCRuntime) {
    for (unsigned int unit = 0; unit <= 0xffff; ++unit) {
        const CNKString text(static_cast<wchar_t>(unit), 1);
        ASSERT_EQ(text.IsBlank(), std::iswspace(static_cast<wint_t>(unit)) != 0) << unit;
        ASSERT_EQ(text.IsAlpha(), std::iswalpha(static_cast<wint_t>(unit)) != 0) << unit;
    }
}

TEST_F(NKStringQuery, GetAt_StoresTheUnit) {
    const CNKString text = Make(L"a\0c"sv);
    wchar_t unit = L'?';
    EXPECT_TRUE(text.GetAt(0, &unit));
    EXPECT_EQ(unit, L'a');
    EXPECT_TRUE(text.GetAt(1, &unit));
    EXPECT_EQ(unit, L'\0');
    EXPECT_TRUE(text.GetAt(2, &unit));
    EXPECT_EQ(unit, L'c');
}

TEST_F(NKStringQuery, GetAt_OutsideTheText_StoresNothing) {
    wchar_t unit = L'?';
    for (const int index : {-1, 3, (std::numeric_limits<int>::min)(), (std::numeric_limits<int>::max)()}) {
        EXPECT_TRUE(CNKString(L"abc").GetAt(index, &unit)) << index;
        EXPECT_EQ(unit, L'?') << index;
    }
    EXPECT_TRUE(CNKString(L"").GetAt(0, &unit));
    EXPECT_TRUE(CNKString().GetAt(0, &unit));
    EXPECT_TRUE(NullRecord().GetAt(0, &unit));
    EXPECT_EQ(unit, L'?');
}

TEST_F(NKStringQuery, Comparisons_AreByCodeUnitAndNullComesFirst) {
    EXPECT_TRUE(CNKString(L"abc") == CNKString("abc"));
    EXPECT_TRUE(CNKString(L"abc") < CNKString(L"abd"));
    EXPECT_TRUE(CNKString(L"abc") > CNKString(L"ab"));
    EXPECT_TRUE(Make(L"a\0b"sv) != Make(L"a\0c"sv));
    EXPECT_TRUE(CNKString() < CNKString(L""));
    EXPECT_TRUE(CNKString() == CNKString());
}

// Find

struct FindRow : support::Row {
    Text text;
    Text wanted;
    std::size_t position;
};

class NKStringFindTable : public support::NKStringTest, public ::testing::WithParamInterface<FindRow> {};

const FindRow findRows[] = {
    {{"FirstOfTwo"}, L"abcabc", L"bc", 1},
    {{"WholeText"}, L"abc", L"abc", 0},
    {{"NotFound_IsTheLength"}, L"abc", L"x", 3},
    {{"LongerThanTheText_IsTheLength"}, L"abc", L"abcd", 3},
    {{"InZeroLength_IsTheLength"}, L"", L"a", 0},
    {{"ZeroLength_IsZero"}, L"abc", L"", 0},
    {{"Null_IsZero"}, L"abc", null, 0},
    {{"ZeroLengthInZeroLength_IsZero"}, L"", L"", 0},
    {{"InNull_IsZero"}, null, L"a", 0},
    {{"NullInNull_IsZero"}, null, null, 0},
    {{"AfterANul_IsNotFound"}, L"ab\0cd"sv, L"c", 5},
    {{"WantedTextWithNul_EndsThere"}, L"abc", L"b\0x"sv, 1},
};

INSTANTIATE_TEST_SUITE_P(, NKStringFindTable, ::testing::ValuesIn(findRows), support::RowName());

TEST_P(NKStringFindTable, Find_GivesThePosition) {
    const FindRow& row = GetParam();
    for (const CNKString& text : StringsOf(row.text)) {
        for (const CNKString& wanted : StringsOf(row.wanted)) {
            EXPECT_EQ(text.Find(wanted), row.position);
        }
    }
}

TEST_F(NKStringFind, Find_OfNarrowText_WidensIt) {
    EXPECT_EQ(CNKString(L"abc").Find("c"), 2u);
}

// Parts

struct MidRow : support::Row {
    Text text;
    std::size_t start;
    std::size_t count;
    Text wanted;
};

class NKStringMidTable : public support::NKStringTest, public ::testing::WithParamInterface<MidRow> {};

const MidRow midRows[] = {
    {{"FromTheStart"}, L"abcdef", 0, 3, L"abc"},
    {{"FromTheMiddle"}, L"abcdef", 2, 3, L"cde"},
    {{"UpToTheEnd"}, L"abcdef", 2, 4, L"cdef"},
    {{"PastTheEnd_IsCut"}, L"abcdef", 2, 5, L"cdef"},
    {{"OfZeroUnits_IsOfLengthZero"}, L"abcdef", 2, 0, L""},
    {{"All"}, L"abcdef", 0, 6, L"abcdef"},
    {{"CountOfMinusOne_IsTheRest"}, L"abcdef", 2, minusOne, L"cdef"},
    {{"FromTheEnd_IsOfLengthZero"}, L"abc", 3, 5, L""},
    {{"FromPastTheEnd_IsNull"}, L"abc", 4, 5, null},
    {{"FromMinusOne_IsNull"}, L"abc", minusOne, 5, null},
    {{"FromMinusOneWithCountOfMinusOne_IsNull"}, L"abc", minusOne, minusOne, null},
    {{"Nuls_AreKept"}, L"ab\0cd\0e"sv, 1, 5, L"b\0cd\0"sv},
    {{"OfNull_IsOfLengthZero"}, null, 0, 3, L""},
    {{"OfNullFromOne_IsNull"}, null, 1, 3, null},
};

INSTANTIATE_TEST_SUITE_P(, NKStringMidTable, ::testing::ValuesIn(midRows), support::RowName());

TEST_P(NKStringMidTable, Mid_GivesThePartAndLeavesTheString) {
    const MidRow& row = GetParam();
    for (const CNKString& text : StringsOf(row.text)) {
        EXPECT_TEXT(text.Mid(row.start, row.count), row.wanted);
        EXPECT_TEXT(text, row.text);
    }
}

struct LeftRightRow : support::Row {
    Text text;
    std::size_t count;
    Text left;
    Text right;
};

class NKStringLeftRightTable : public support::NKStringTest, public ::testing::WithParamInterface<LeftRightRow> {};

const LeftRightRow leftRightRows[] = {
    {{"OfZeroUnits"}, L"abc", 0, L"", L""},
    {{"OfOneUnit"}, L"abc", 1, L"a", L"c"},
    {{"OfTwoUnits"}, L"abc", 2, L"ab", L"bc"},
    {{"OfTheLength"}, L"abc", 3, L"abc", L"abc"},
    {{"OfMoreThanTheLength"}, L"abc", 4, L"abc", null},
    {{"OfMinusOne"}, L"abc", minusOne, L"abc", null},
    {{"OfOneUnitOfZeroLength"}, L"", 1, L"", null},
    {{"OfZeroUnitsOfNull"}, null, 0, L"", L""},
    {{"OfOneUnitOfNull"}, null, 1, L"", null},
    {{"OfThreeUnitsOfNull"}, null, 3, L"", null},
};

INSTANTIATE_TEST_SUITE_P(, NKStringLeftRightTable, ::testing::ValuesIn(leftRightRows), support::RowName());

TEST_P(NKStringLeftRightTable, LeftAndRight_GiveThePartOrNullFromTheRight) {
    const LeftRightRow& row = GetParam();
    for (const CNKString& text : StringsOf(row.text)) {
        EXPECT_TEXT(text.Left(row.count), row.left);
        EXPECT_TEXT(text.Right(row.count), row.right);
    }
}

TEST_F(NKStringPart, Mid_FromPastTheEnd_AllocatesNothing) {
    const CNKString text(L"abc");
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text.Mid(4, 5)); }), 0u);
}

TEST_F(NKStringPart, Part_AllocatesOneBstrAndOneRecord) {
    const CNKString text(L"abcdef");
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text.Left(2)); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text.Right(2)); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text.Mid(2, 2)); }), 2u);
}

TEST_F(NKStringPart, PartsOfLongText_AreWhole) {
    std::wstring expected(100'000, L'x');
    expected[99'999] = L'!';
    const CNKString text = Make(expected);
    EXPECT_BSTR(text.Mid(1, minusOne), std::wstring_view(expected).substr(1));
    EXPECT_BSTR(text.Left(99'999), std::wstring_view(expected).substr(0, 99'999));
    EXPECT_BSTR(text.Right(2), L"x!");
}

// Numbers

struct RealRow : support::Row {
    Text text;
    bool whole; ///< whether the whole text is the number
    double value;
};

class NKStringDoubleTable : public support::NKStringTest, public ::testing::WithParamInterface<RealRow> {};

const RealRow realRows[] = {
    {{"Decimal"}, L"1.5", true, 1.5},
    {{"ExponentAfterWhiteSpace"}, L" \t-2.5e3", true, -2500},
    {{"TrailingLetter_IsNotParsed"}, L"1.5x", false, 1.5},
    {{"TrailingBlank_IsNotParsed"}, L"1.5 ", false, 1.5},
    {{"Letters_AreZero"}, L"abc", false, 0},
    {{"OneLetter_IsZero"}, L"x", false, 0},
    {{"TooLarge_IsInfinite"}, L"1e400", true, std::numeric_limits<double>::infinity()},
    {{"ZeroLength_IsZeroAndWhole"}, L"", true, 0},
    {{"Null_IsZeroAndWhole"}, null, true, 0},
};

INSTANTIATE_TEST_SUITE_P(, NKStringDoubleTable, ::testing::ValuesIn(realRows), support::RowName());

TEST_P(NKStringDoubleTable, ToDoubleAndAsDouble_ParseTheStart) {
    const RealRow& row = GetParam();
    for (const CNKString& text : StringsOf(row.text)) {
        double value = -1;
        EXPECT_EQ(text.ToDouble(&value), row.whole);
        EXPECT_EQ(value, row.value);
        EXPECT_EQ(text.AsDouble(), row.value);
    }
}

TEST_F(NKStringNumber, ToDouble_SkipsTheSameWhiteSpaceAsTrim) {
    for (const wchar_t blank : L"\t\n\v\f\r \x00a0\x3000"sv) {
        double value = -1;
        EXPECT_TRUE((CNKString(blank, 1) + L"1.5").ToDouble(&value)) << static_cast<int>(blank);
        EXPECT_EQ(value, 1.5) << static_cast<int>(blank);
    }
}

struct LongRow : support::Row {
    Text text;
    bool whole;
    int value;
};

class NKStringLongTable : public support::NKStringTest, public ::testing::WithParamInterface<LongRow> {};

const LongRow longRows[] = {
    {{"Decimal"}, L"26", true, 26},
    {{"NegativeDecimal"}, L"-5", true, -5},
    {{"Hexadecimal"}, L"0x1A", true, 26},
    {{"NegativeOctal"}, L"-017", true, -15},
    {{"TrailingLetters_AreNotParsed"}, L"12abc", false, 12},
    {{"LetterAfterHexadecimal_IsNotParsed"}, L"0x10z", false, 16},
    {{"Letters_AreZero"}, L"abc", false, 0},
    {{"OneLetter_IsZero"}, L"x", false, 0},
    {{"TooLarge_IsTheGreatest"}, L"2147483648", true, 2147483647},
    {{"TooSmall_IsTheSmallest"}, L"-2147483649", true, (std::numeric_limits<int>::min)()},
    {{"OnlyBlanks_AreZeroAndNotParsed"}, L"  ", false, 0},
    {{"TextWithNul_EndsThere"}, L"12\0abc"sv, true, 12},
    {{"ZeroLength_IsZeroAndWhole"}, L"", true, 0},
    {{"Null_IsZeroAndWhole"}, null, true, 0},
};

INSTANTIATE_TEST_SUITE_P(, NKStringLongTable, ::testing::ValuesIn(longRows), support::RowName());

TEST_P(NKStringLongTable, ToLongAndAsLong_ParseTheStart) {
    const LongRow& row = GetParam();
    for (const CNKString& text : StringsOf(row.text)) {
        int value = -1;
        EXPECT_EQ(text.ToLong(&value), row.whole);
        EXPECT_EQ(value, row.value);
        EXPECT_EQ(text.AsLong(), row.value);
    }
}

struct ULongRow : support::Row {
    Text text;
    bool whole;
    unsigned int value;
};

class NKStringULongTable : public support::NKStringTest, public ::testing::WithParamInterface<ULongRow> {};

const ULongRow ulongRows[] = {
    {{"Greatest"}, L"4294967295", true, 4294967295u},
    {{"Hexadecimal"}, L"0xFF", true, 255},
    {{"Octal"}, L"010", true, 8},
    {{"TrailingBlank_IsNotParsed"}, L"7 ", false, 7},
    {{"TooLarge_IsTheGreatest"}, L"4294967296", true, 4294967295u},
    {{"ZeroLength_IsZeroAndWhole"}, L"", true, 0},
    {{"Null_IsZeroAndWhole"}, null, true, 0},
};

INSTANTIATE_TEST_SUITE_P(, NKStringULongTable, ::testing::ValuesIn(ulongRows), support::RowName());

TEST_P(NKStringULongTable, ToULong_ParsesTheStart) {
    const ULongRow& row = GetParam();
    for (const CNKString& text : StringsOf(row.text)) {
        unsigned int value = 1;
        EXPECT_EQ(text.ToULong(&value), row.whole);
        EXPECT_EQ(value, row.value);
    }
}

} // namespace
