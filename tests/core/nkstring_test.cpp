#include "core/nkstring.h"

#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <cmath>
#include <concepts>
#include <cstdarg>
#include <cwctype>
#include <limits>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using namespace std::literals;
using support::Bstr;
using support::CountRequests;
using support::ExpectNoLeaks;

namespace {

constexpr std::size_t minusOne = static_cast<std::size_t>(-1);

/// Where a string's text lies: equal for strings that share it.
const wchar_t* TextOf(const CNKString& text) {
    return text;
}

const char* NarrowTextOf(const CNKString& text) {
    return text;
}

/// A string with all of `text`, NULs included.
CNKString Make(std::wstring_view text) {
    return {text.data(), text.size()};
}

CNKString NullText() {
    return {static_cast<const wchar_t*>(nullptr)};
}

/// The bytes "abcde": two code units and half of one.
Bstr OddBytes() {
    return Bstr(SysAllocStringByteLen("abcde", 5));
}

std::string_view BytesOf(BSTR text) {
    return {reinterpret_cast<const char*>(text), SysStringByteLen(text)};
}

template <class Character> CNKString& Format(CNKString& target, const Character* format, ...) {
    va_list arguments = {};
    va_start(arguments, format);
    CNKString& result = target.Format(format, arguments);
    va_end(arguments);
    return result;
}

// Every test leaves as much allocated as it found.
class NKStringTest : public ::testing::Test {
    const ExpectNoLeaks m_noLeaks;
};

using NKStringConstruction = NKStringTest;
using NKStringAssignment = NKStringTest;
using NKStringMove = NKStringTest;
using NKStringQuery = NKStringTest;
using NKStringPart = NKStringTest;
using NKStringNumber = NKStringTest;
using NKStringCase = NKStringTest;
using NKStringTrim = NKStringTest;
using NKStringTruncate = NKStringTest;
using NKStringFormat = NKStringTest;
using NKStringAppend = NKStringTest;
using NKStringConcatenation = NKStringTest;
using NKStringBstr = NKStringTest;
using NKStringSharing = NKStringTest;

// The handle

static_assert(std::derived_from<CNKString, _bstr_t> && sizeof(CNKString) == sizeof(void*));
static_assert(!std::is_polymorphic_v<CNKString>);
static_assert(std::is_nothrow_copy_constructible_v<CNKString> && std::is_nothrow_copy_assignable_v<CNKString>);
static_assert(std::is_nothrow_move_constructible_v<CNKString> && std::is_nothrow_move_assignable_v<CNKString>);

// Construction

TEST_F(NKStringConstruction, Default_IsNullAndAllocatesNothing) {
    EXPECT_EQ(CountRequests([] { static_cast<void>(CNKString()); }), 0u);
    EXPECT_NULL_BSTR(CNKString());
}

TEST_F(NKStringConstruction, Copy_SharesTheText) {
    const CNKString original(L"abc");
    EXPECT_EQ(CountRequests([&] { static_cast<void>(CNKString(original)); }), 0u);
    const CNKString copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(TextOf(copy), TextOf(original));
}

TEST_F(NKStringConstruction, WideText_IsCopied) {
    const wchar_t source[] = L"abc";
    const CNKString text = source;
    EXPECT_BSTR(text, L"abc");
    EXPECT_NE(TextOf(text), source);
}

TEST_F(NKStringConstruction, WideTextWithNul_EndsThere) {
    EXPECT_BSTR(CNKString(L"ab\0cd"), L"ab");
}

TEST_F(NKStringConstruction, WideTextOfLengthZero_IsNotNull) {
    EXPECT_BSTR(CNKString(L""), L"");
}

TEST_F(NKStringConstruction, NullWidePointer_IsNull) {
    EXPECT_NULL_BSTR(NullText());
}

TEST_F(NKStringConstruction, NarrowText_IsWidened) {
    const CNKString text = "abc";
    EXPECT_BSTR(text, L"abc");
}

TEST_F(NKStringConstruction, NarrowTextOfLengthZero_IsNotNull) {
    EXPECT_BSTR(CNKString(""), L"");
}

TEST_F(NKStringConstruction, NullNarrowPointer_IsNull) {
    EXPECT_NULL_BSTR(CNKString(static_cast<const char*>(nullptr)));
}

TEST_F(NKStringConstruction, CopiedBstr_KeepsNuls) {
    const Bstr source(L"ab\0cd"sv);
    const CNKString text(source, true);
    EXPECT_BSTR(text, L"ab\0cd"sv);
    EXPECT_NE(TextOf(text), source);
}

TEST_F(NKStringConstruction, CopiedBstr_KeepsOddByte) {
    const CNKString text(OddBytes(), true);
    EXPECT_EQ(BytesOf(text), "abcde"sv);
    EXPECT_EQ(text.GetLength(), 2u);
}

TEST_F(NKStringConstruction, CopiedBstrOfLengthZero_IsNotNull) {
    EXPECT_BSTR(CNKString(Bstr(L""), true), L"");
}

TEST_F(NKStringConstruction, AdoptedBstr_IsTheTextItself) {
    Bstr source(L"ab\0cd"sv);
    const BSTR adopted = source.Release();
    const CNKString text(adopted, false);
    EXPECT_EQ(TextOf(text), adopted);
    EXPECT_BSTR(text, L"ab\0cd"sv);
}

TEST_F(NKStringConstruction, NullBstr_IsNull) {
    EXPECT_NULL_BSTR(CNKString(nullptr, true));
    EXPECT_NULL_BSTR(CNKString(nullptr, false));
}

TEST_F(NKStringConstruction, PointerAndCount_TakesThatManyUnitsNulsIncluded) {
    EXPECT_BSTR(CNKString(L"ab\0cd", 4), L"ab\0c"sv);
    EXPECT_BSTR(CNKString(L"abc", 0), L"");
}

TEST_F(NKStringConstruction, WritablePointerAndCount_IsNeverTakenForABstrToAdopt) {
    wchar_t source[] = L"abcdef";
    const CNKString one(source, 1);
    const CNKString three(source, 3);
    EXPECT_BSTR(one, L"a");
    EXPECT_BSTR(three, L"abc");
}

TEST_F(NKStringConstruction, RepeatedWideCharacter) {
    EXPECT_BSTR(CNKString(L'x', 3), L"xxx");
    EXPECT_BSTR(CNKString(L'\0', 2), L"\0\0"sv);
    EXPECT_BSTR(CNKString(L'x', 0), L"");
}

TEST_F(NKStringConstruction, RepeatedNarrowCharacter_IsWidenedBySign) {
    EXPECT_BSTR(CNKString('x', 3), L"xxx");
    EXPECT_BSTR(CNKString('\x7f', 1), L"\x007f");
    EXPECT_BSTR(CNKString('\x80', 1), L"\xff80");
    EXPECT_BSTR(CNKString('\xe4', 2), L"\xffe4\xffe4");
    EXPECT_BSTR(CNKString('\xff', 1), L"\xffff");
    EXPECT_BSTR(CNKString('x', 0), L"");
}

TEST_F(NKStringConstruction, UnsignedInt_ReadsAsSigned) {
    EXPECT_BSTR(CNKString(0u), L"0");
    EXPECT_BSTR(CNKString(42u), L"42");
    EXPECT_BSTR(CNKString(2147483647u), L"2147483647");
    EXPECT_BSTR(CNKString(2147483648u), L"-2147483648");
    EXPECT_BSTR(CNKString(4294967295u), L"-1");
}

TEST_F(NKStringConstruction, Double_HasTwentyDecimals) {
    EXPECT_BSTR(CNKString(1.5), L"1.50000000000000000000");
    EXPECT_BSTR(CNKString(-0.25), L"-0.25000000000000000000");
    EXPECT_BSTR(CNKString(0.0), L"0.00000000000000000000");
}

TEST_F(NKStringConstruction, DoubleOf49Units_Fits) {
    EXPECT_EQ(CNKString(1e27).GetLength(), 49u);
    EXPECT_EQ(CNKString(-1e26).GetLength(), 49u);
    EXPECT_EQ(CNKString(1e27).Left(3), CNKString(L"100"));
}

// The run-time library's default handler returns here.
TEST_F(NKStringConstruction, DoubleOf50Units_IsRefusedNotCut) {
    EXPECT_BSTR(CNKString(2e28), L"");
    EXPECT_BSTR(CNKString(-2e27), L"");
    EXPECT_BSTR(CNKString((std::numeric_limits<double>::max)()), L"");
}

TEST_F(NKStringConstruction, Numbers_AreNeverConvertedSilently) {
    static_assert(!std::is_convertible_v<unsigned int, CNKString> && !std::is_convertible_v<double, CNKString>);
    static_assert(!std::is_convertible_v<wchar_t, CNKString> && !std::is_convertible_v<char, CNKString>);
    static_assert(std::is_convertible_v<const wchar_t*, CNKString> && std::is_convertible_v<const char*, CNKString>);
}

// Assignment

TEST_F(NKStringAssignment, FromString_SharesTheText) {
    const CNKString source(L"abc");
    CNKString target(L"old");
    EXPECT_EQ(CountRequests([&] { target = source; }), 0u);
    EXPECT_EQ(TextOf(target), TextOf(source));
}

TEST_F(NKStringAssignment, FromItself_ChangesNothing) {
    CNKString text(L"abc");
    const wchar_t* const before = TextOf(text);
    const CNKString& same = text;
    text = same;
    EXPECT_EQ(TextOf(text), before);
    EXPECT_BSTR(text, L"abc");
}

TEST_F(NKStringAssignment, FromWideText) {
    CNKString text(L"old");
    text = L"new";
    EXPECT_BSTR(text, L"new");
    text = L"";
    EXPECT_BSTR(text, L"");
    text = static_cast<const wchar_t*>(nullptr);
    EXPECT_NULL_BSTR(text);
}

TEST_F(NKStringAssignment, FromBstrWithNul_KeepsThePartBeforeIt) {
    const Bstr source(L"ab\0cd"sv);
    CNKString text;
    text = source;
    EXPECT_BSTR(text, L"ab");
}

TEST_F(NKStringAssignment, FromOwnTextPointer_ChangesNothing) {
    CNKString text = Make(L"ab\0cd"sv);
    const wchar_t* const before = TextOf(text);
    text = before;
    EXPECT_EQ(TextOf(text), before);
    EXPECT_BSTR(text, L"ab\0cd"sv);
}

TEST_F(NKStringAssignment, FromInsideOwnText_TakesItAsItWas) {
    CNKString text(L"abc");
    text = TextOf(text) + 1;
    EXPECT_BSTR(text, L"bc");
}

TEST_F(NKStringAssignment, OfText_CostsOneBstr_AndARecordIfOthersShareIt) {
    CNKString text(L"abc");
    const CNKString sharing = text;
    EXPECT_EQ(CountRequests([&] { text = L"first"; }), 2u);
    EXPECT_EQ(CountRequests([&] { text = L"second"; }), 1u);
    EXPECT_EQ(CountRequests([&] { text = "narrow"; }), 1u);
    EXPECT_BSTR(text, L"narrow");
    EXPECT_BSTR(sharing, L"abc");
}

TEST_F(NKStringAssignment, OfText_ForgetsTheNarrowView) {
    CNKString text(L"abc");
    EXPECT_STREQ(static_cast<const char*>(text), "abc");
    text = L"new";
    EXPECT_STREQ(static_cast<const char*>(text), "new");
}

TEST_F(NKStringAssignment, FromNarrowText) {
    CNKString text(L"old");
    text = "new";
    EXPECT_BSTR(text, L"new");
    text = static_cast<const char*>(nullptr);
    EXPECT_NULL_BSTR(text);
}

TEST_F(NKStringAssignment, FromOwnNarrowView_TakesItAsItWas) {
    CNKString text(L"abc");
    text = NarrowTextOf(text) + 1;
    EXPECT_BSTR(text, L"bc");
    text = NarrowTextOf(text);
    EXPECT_BSTR(text, L"bc");
}

TEST_F(NKStringAssignment, FromOwnPart) {
    CNKString text(L"abcd");
    text = text.Mid(1, 2);
    EXPECT_BSTR(text, L"bc");
}

TEST_F(NKStringAssignment, Clear_MakesNull) {
    CNKString text(L"abc");
    EXPECT_EQ(&text.Clear(), &text);
    EXPECT_NULL_BSTR(text);
    text.Clear();
    EXPECT_NULL_BSTR(text);
}

TEST_F(NKStringAssignment, Modifiers_ReturnTheString) {
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

// Moves

TEST_F(NKStringMove, Construction_TakesTheReference) {
    CNKString source(L"abc");
    const wchar_t* const text = TextOf(source);
    CNKString target(std::move(source));
    EXPECT_EQ(TextOf(target), text);
    EXPECT_NULL_BSTR(source); // NOLINT(bugprone-use-after-move)
    // It is the only reference: the text is given away as it stands.
    EXPECT_EQ(Bstr(target.Detach()), text);
}

TEST_F(NKStringMove, Assignment_TakesTheReferenceAndDropsTheOldOne) {
    CNKString source(L"abc");
    CNKString target(L"old");
    const wchar_t* const text = TextOf(source);
    target = std::move(source);
    EXPECT_EQ(TextOf(target), text);
    EXPECT_NULL_BSTR(source); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(Bstr(target.Detach()), text);
}

TEST_F(NKStringMove, AssignmentToItself_KeepsTheText) {
    CNKString text(L"abc");
    CNKString& same = text;
    text = std::move(same);
    EXPECT_BSTR(text, L"abc");
}

TEST_F(NKStringMove, Moves_AllocateNothing) {
    CNKString one(L"abc");
    CNKString other(L"def");
    EXPECT_EQ(CountRequests([&] {
                  CNKString three(std::move(one));
                  one = std::move(three);
                  swap(one, other);
              }),
              0u);
    EXPECT_BSTR(one, L"def");
    EXPECT_BSTR(other, L"abc");
}

TEST_F(NKStringMove, Swap_WithNull) {
    CNKString one(L"abc");
    CNKString other;
    one.swap(other);
    EXPECT_NULL_BSTR(one);
    EXPECT_BSTR(other, L"abc");
}

// Queries

TEST_F(NKStringQuery, Empty_IsOneNullString) {
    EXPECT_NULL_BSTR(CNKString::Empty());
    EXPECT_EQ(&CNKString::Empty(), &CNKString::Empty());
}

TEST_F(NKStringQuery, GetLength_CountsCodeUnits) {
    EXPECT_EQ(CNKString().GetLength(), 0u);
    EXPECT_EQ(NullText().GetLength(), 0u);
    EXPECT_EQ(CNKString(L"").GetLength(), 0u);
    EXPECT_EQ(Make(L"ab\0cd"sv).GetLength(), 5u);
    EXPECT_EQ(CNKString(L"\xd83d\xde00").GetLength(), 2u);
}

TEST_F(NKStringQuery, IsEmpty_OnlyWhenNull) {
    EXPECT_TRUE(CNKString().IsEmpty());
    EXPECT_TRUE(NullText().IsEmpty());
    EXPECT_FALSE(CNKString(L"").IsEmpty());
    EXPECT_FALSE(CNKString(L"a").IsEmpty());
}

TEST_F(NKStringQuery, IsBlank) {
    EXPECT_TRUE(CNKString().IsBlank());
    EXPECT_TRUE(NullText().IsBlank());
    EXPECT_TRUE(CNKString(L"").IsBlank());
    EXPECT_TRUE(CNKString(L" \t\n\v\f\r").IsBlank());
    EXPECT_FALSE(CNKString(L" a ").IsBlank());
    EXPECT_FALSE(Make(L" \0 "sv).IsBlank());
    EXPECT_TRUE(CNKString(L' ', 100'000).IsBlank());
}

TEST_F(NKStringQuery, IsAlpha) {
    EXPECT_TRUE(CNKString().IsAlpha());
    EXPECT_TRUE(NullText().IsAlpha());
    EXPECT_TRUE(CNKString(L"").IsAlpha());
    EXPECT_TRUE(CNKString(L"abcXYZ").IsAlpha());
    EXPECT_FALSE(CNKString(L"abc1").IsAlpha());
    EXPECT_FALSE(CNKString(L"a b").IsAlpha());
    EXPECT_FALSE(Make(L"a\0b"sv).IsAlpha());
}

TEST_F(NKStringQuery, Classification_IsThatOfTheRunTimeLibrary) {
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

TEST_F(NKStringQuery, GetAt_OutsideTheText_LeavesTheTarget) {
    wchar_t unit = L'?';
    for (const int index : {-1, 3, (std::numeric_limits<int>::min)(), (std::numeric_limits<int>::max)()}) {
        EXPECT_TRUE(CNKString(L"abc").GetAt(index, &unit)) << index;
        EXPECT_EQ(unit, L'?') << index;
    }
    EXPECT_TRUE(CNKString(L"").GetAt(0, &unit));
    EXPECT_TRUE(CNKString().GetAt(0, &unit));
    EXPECT_TRUE(NullText().GetAt(0, &unit));
    EXPECT_EQ(unit, L'?');
}

TEST_F(NKStringQuery, First) {
    EXPECT_EQ(CNKString(L"abc").First(), L'a');
    EXPECT_EQ(CNKString(L"").First(), L'\0');
    EXPECT_EQ(CNKString().First(), L'\0');
    EXPECT_EQ(NullText().First(), L'\0');
}

TEST_F(NKStringQuery, Find_GivesTheFirstPosition) {
    EXPECT_EQ(CNKString(L"abcabc").Find(L"bc"), 1u);
    EXPECT_EQ(CNKString(L"abc").Find(L"abc"), 0u);
    EXPECT_EQ(CNKString(L"abc").Find("c"), 2u);
}

TEST_F(NKStringQuery, Find_NotFound_GivesTheLength) {
    EXPECT_EQ(CNKString(L"abc").Find(L"x"), 3u);
    EXPECT_EQ(CNKString(L"abc").Find(L"abcd"), 3u);
    EXPECT_EQ(CNKString(L"").Find(L"a"), 0u);
}

TEST_F(NKStringQuery, Find_OfEmptyText_GivesZero) {
    EXPECT_EQ(CNKString(L"abc").Find(L""), 0u);
    EXPECT_EQ(CNKString(L"abc").Find(CNKString()), 0u);
    EXPECT_EQ(CNKString(L"abc").Find(NullText()), 0u);
    EXPECT_EQ(CNKString(L"").Find(L""), 0u);
}

TEST_F(NKStringQuery, Find_OnNull_GivesZero) {
    EXPECT_EQ(CNKString().Find(L"a"), 0u);
    EXPECT_EQ(NullText().Find(L"a"), 0u);
    EXPECT_EQ(CNKString().Find(CNKString()), 0u);
}

TEST_F(NKStringQuery, Find_SeesNothingBehindANul) {
    EXPECT_EQ(Make(L"ab\0cd"sv).Find(L"c"), 5u);
    EXPECT_EQ(CNKString(L"abc").Find(Make(L"b\0x"sv)), 1u);
}

TEST_F(NKStringQuery, Comparisons_AreOfCodeUnitsAndNullComesFirst) {
    EXPECT_TRUE(CNKString(L"abc") == CNKString("abc"));
    EXPECT_TRUE(CNKString(L"abc") < CNKString(L"abd"));
    EXPECT_TRUE(CNKString(L"abc") > CNKString(L"ab"));
    EXPECT_TRUE(Make(L"a\0b"sv) != Make(L"a\0c"sv));
    EXPECT_TRUE(CNKString() < CNKString(L""));
    EXPECT_TRUE(CNKString() == CNKString());
}

// Parts

TEST_F(NKStringPart, Mid) {
    const CNKString text(L"abcdef");
    EXPECT_BSTR(text.Mid(0, 3), L"abc");
    EXPECT_BSTR(text.Mid(2, 3), L"cde");
    EXPECT_BSTR(text.Mid(2, 4), L"cdef");
    EXPECT_BSTR(text.Mid(2, 5), L"cdef");
    EXPECT_BSTR(text.Mid(2, 0), L"");
    EXPECT_BSTR(text.Mid(0, 6), L"abcdef");
    EXPECT_BSTR(text, L"abcdef");
}

TEST_F(NKStringPart, Mid_WithCountOfMinusOne_GivesTheRest) {
    EXPECT_BSTR(CNKString(L"abcdef").Mid(2, minusOne), L"cdef");
}

TEST_F(NKStringPart, Mid_FromTheEnd_IsOfLengthZero) {
    EXPECT_BSTR(CNKString(L"abc").Mid(3, 5), L"");
}

TEST_F(NKStringPart, Mid_FromBeyondTheEnd_IsNullAndAllocatesNothing) {
    const CNKString text(L"abc");
    EXPECT_NULL_BSTR(text.Mid(4, 5));
    EXPECT_NULL_BSTR(text.Mid(minusOne, 5));
    EXPECT_NULL_BSTR(text.Mid(minusOne, minusOne));
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text.Mid(4, 5)); }), 0u);
}

TEST_F(NKStringPart, Mid_KeepsNuls) {
    EXPECT_BSTR(Make(L"ab\0cd\0e"sv).Mid(1, 5), L"b\0cd\0"sv);
}

TEST_F(NKStringPart, Left) {
    const CNKString text(L"abc");
    EXPECT_BSTR(text.Left(0), L"");
    EXPECT_BSTR(text.Left(2), L"ab");
    EXPECT_BSTR(text.Left(3), L"abc");
    EXPECT_BSTR(text.Left(4), L"abc");
    EXPECT_BSTR(text.Left(minusOne), L"abc");
}

TEST_F(NKStringPart, Right) {
    const CNKString text(L"abc");
    EXPECT_BSTR(text.Right(0), L"");
    EXPECT_BSTR(text.Right(1), L"c");
    EXPECT_BSTR(text.Right(2), L"bc");
    EXPECT_BSTR(text.Right(3), L"abc");
}

TEST_F(NKStringPart, Right_LongerThanText_IsNull) {
    EXPECT_NULL_BSTR(CNKString(L"abc").Right(4));
    EXPECT_NULL_BSTR(CNKString(L"abc").Right(minusOne));
    EXPECT_NULL_BSTR(CNKString(L"").Right(1));
}

TEST_F(NKStringPart, PartsOfNull) {
    for (const CNKString& null : {CNKString(), NullText()}) {
        EXPECT_BSTR(null.Left(0), L"");
        EXPECT_BSTR(null.Left(3), L"");
        EXPECT_BSTR(null.Right(0), L"");
        EXPECT_NULL_BSTR(null.Right(1));
        EXPECT_BSTR(null.Mid(0, 3), L"");
        EXPECT_NULL_BSTR(null.Mid(1, 3));
    }
}

TEST_F(NKStringPart, Part_CostsOneBstrAndOneRecord) {
    const CNKString text(L"abcdef");
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text.Left(2)); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text.Right(2)); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text.Mid(2, 2)); }), 2u);
}

TEST_F(NKStringPart, PartsOfLongText) {
    std::wstring expected(100'000, L'x');
    expected[99'999] = L'!';
    const CNKString text = Make(expected);
    EXPECT_BSTR(text.Mid(1, minusOne), std::wstring_view(expected).substr(1));
    EXPECT_BSTR(text.Left(99'999), std::wstring_view(expected).substr(0, 99'999));
    EXPECT_BSTR(text.Right(2), L"x!");
}

// Numbers

TEST_F(NKStringNumber, ToDouble) {
    double value = -1;
    EXPECT_TRUE(CNKString(L"1.5").ToDouble(&value));
    EXPECT_EQ(value, 1.5);
    EXPECT_TRUE(CNKString(L" \t-2.5e3").ToDouble(&value));
    EXPECT_EQ(value, -2500);
    EXPECT_FALSE(CNKString(L"1.5x").ToDouble(&value));
    EXPECT_EQ(value, 1.5);
    EXPECT_FALSE(CNKString(L"1.5 ").ToDouble(&value));
    EXPECT_EQ(value, 1.5);
    EXPECT_FALSE(CNKString(L"abc").ToDouble(&value));
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(CNKString(L"1e400").ToDouble(&value));
    EXPECT_TRUE(std::isinf(value));
}

TEST_F(NKStringNumber, ToDouble_SkipsTheSameWhiteSpaceAsTrim) {
    for (const wchar_t blank : L"\t\n\v\f\r \x00a0\x3000"sv) {
        double value = -1;
        EXPECT_TRUE((CNKString(blank, 1) + L"1.5").ToDouble(&value)) << static_cast<int>(blank);
        EXPECT_EQ(value, 1.5) << static_cast<int>(blank);
    }
}

TEST_F(NKStringNumber, ToLong) {
    int value = -1;
    EXPECT_TRUE(CNKString(L"26").ToLong(&value));
    EXPECT_EQ(value, 26);
    EXPECT_TRUE(CNKString(L"0x1A").ToLong(&value));
    EXPECT_EQ(value, 26);
    EXPECT_TRUE(CNKString(L"-017").ToLong(&value));
    EXPECT_EQ(value, -15);
    EXPECT_FALSE(CNKString(L"12abc").ToLong(&value));
    EXPECT_EQ(value, 12);
    EXPECT_FALSE(CNKString(L"abc").ToLong(&value));
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(CNKString(L"2147483648").ToLong(&value));
    EXPECT_EQ(value, 2147483647);
    EXPECT_TRUE(CNKString(L"-2147483649").ToLong(&value));
    EXPECT_EQ(value, (std::numeric_limits<int>::min)());
}

TEST_F(NKStringNumber, ToULong) {
    unsigned int value = 1;
    EXPECT_TRUE(CNKString(L"4294967295").ToULong(&value));
    EXPECT_EQ(value, 4294967295u);
    EXPECT_TRUE(CNKString(L"0xFF").ToULong(&value));
    EXPECT_EQ(value, 255u);
    EXPECT_TRUE(CNKString(L"010").ToULong(&value));
    EXPECT_EQ(value, 8u);
    EXPECT_FALSE(CNKString(L"7 ").ToULong(&value));
    EXPECT_EQ(value, 7u);
    EXPECT_TRUE(CNKString(L"4294967296").ToULong(&value));
    EXPECT_EQ(value, 4294967295u);
}

TEST_F(NKStringNumber, NothingToParse_IsZeroAndSuccess) {
    for (const CNKString& text : {CNKString(L""), CNKString(), NullText()}) {
        double real = -1;
        EXPECT_TRUE(text.ToDouble(&real));
        EXPECT_EQ(real, 0);
        int integer = -1;
        EXPECT_TRUE(text.ToLong(&integer));
        EXPECT_EQ(integer, 0);
        unsigned int natural = 1;
        EXPECT_TRUE(text.ToULong(&natural));
        EXPECT_EQ(natural, 0u);
        EXPECT_EQ(text.AsDouble(), 0);
        EXPECT_EQ(text.AsLong(), 0);
    }
}

TEST_F(NKStringNumber, OnlyBlanks_AreZeroAndLeftUnparsed) {
    int value = -1;
    EXPECT_FALSE(CNKString(L"  ").ToLong(&value));
    EXPECT_EQ(value, 0);
}

TEST_F(NKStringNumber, WholeText_MeansUpToTheFirstNul) {
    const CNKString text = Make(L"12\0abc"sv);
    int value = -1;
    EXPECT_TRUE(text.ToLong(&value));
    EXPECT_EQ(value, 12);
}

TEST_F(NKStringNumber, AsNumber_IgnoresTheRest) {
    EXPECT_EQ(CNKString(L"1.5x").AsDouble(), 1.5);
    EXPECT_EQ(CNKString(L"0x10z").AsLong(), 16);
    EXPECT_EQ(CNKString(L"-5").AsLong(), -5);
    EXPECT_EQ(CNKString(L"x").AsDouble(), 0);
    EXPECT_EQ(CNKString(L"x").AsLong(), 0);
}

// Case

TEST_F(NKStringCase, ToUpperToLower_LeaveTheStringItself) {
    const CNKString text(L"aBc1");
    EXPECT_BSTR(text.ToUpper(), L"ABC1");
    EXPECT_BSTR(text.ToLower(), L"abc1");
    EXPECT_BSTR(text, L"aBc1");
}

TEST_F(NKStringCase, MakeUpperMakeLower) {
    CNKString text(L"aBc1");
    EXPECT_BSTR(text.MakeUpper(), L"ABC1");
    EXPECT_BSTR(text.MakeLower(), L"abc1");
}

TEST_F(NKStringCase, Mapping_IsThatOfTheRunTimeLibrary) {
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

TEST_F(NKStringCase, NulsAndOddByte_Survive) {
    EXPECT_BSTR(Make(L"a\0b"sv).ToUpper(), L"A\0B"sv);
    EXPECT_BSTR(Make(L"A\0B"sv).MakeLower(), L"a\0b"sv);
    const Bstr source(SysAllocStringByteLen("a\0b\0c", 5));
    CNKString text(source, true);
    EXPECT_EQ(BytesOf(text.MakeUpper()), "A\0B\0c"sv);
}

TEST_F(NKStringCase, Null_StaysNullAndZeroLengthStaysZeroLength) {
    EXPECT_NULL_BSTR(CNKString().ToUpper());
    EXPECT_NULL_BSTR(NullText().ToLower());
    EXPECT_NULL_BSTR(CNKString().MakeUpper());
    EXPECT_NULL_BSTR(NullText().MakeLower());
    EXPECT_BSTR(CNKString(L"").ToUpper(), L"");
    EXPECT_BSTR(CNKString(L"").MakeLower(), L"");
}

// Trimming

TEST_F(NKStringTrim, TrimLeft_RemovesLeadingWhiteSpace) {
    CNKString text(L"\t  ab ");
    EXPECT_BSTR(text.TrimLeft(), L"ab ");
}

TEST_F(NKStringTrim, TrimRight_RemovesTrailingWhiteSpace) {
    CNKString text(L" ab\n\v\f\r ");
    EXPECT_BSTR(text.TrimRight(), L" ab");
}

TEST_F(NKStringTrim, Trim_RemovesBoth) {
    CNKString text(L" \t a b \r\n");
    EXPECT_BSTR(text.Trim(), L"a b");
}

TEST_F(NKStringTrim, WhiteSpace_IsThatOfTheRunTimeLibrary) {
    for (unsigned int unit = 1; unit <= 0xffff; ++unit) {
        const auto edge = static_cast<wchar_t>(unit);
        CNKString text = edge + CNKString(L"x") + edge;
        const std::size_t expected = std::iswspace(static_cast<wint_t>(unit)) != 0 ? 1 : 3;
        ASSERT_EQ(text.Trim().GetLength(), expected) << unit;
    }
}

TEST_F(NKStringTrim, Nul_IsNotWhiteSpace) {
    CNKString text = Make(L" \0a\0 "sv);
    EXPECT_BSTR(text.Trim(), L"\0a\0"sv);
}

TEST_F(NKStringTrim, AllBlank_BecomesLengthZero) {
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
    for (CNKString text : {CNKString(L"a b"), CNKString(L""), CNKString(), NullText(), CNKString(OddBytes(), true)}) {
        const wchar_t* const before = TextOf(text);
        EXPECT_EQ(CountRequests([&] { text.TrimLeft().TrimRight().Trim(); }), 0u);
        EXPECT_EQ(TextOf(text), before);
    }
}

TEST_F(NKStringTrim, Null_StaysNull) {
    for (CNKString text : {CNKString(), NullText()}) {
        EXPECT_NULL_BSTR(text.TrimLeft());
        EXPECT_NULL_BSTR(text.TrimRight());
        EXPECT_NULL_BSTR(text.Trim());
    }
}

TEST_F(NKStringTrim, Trim_CostsOneBstr_AndARecordIfOthersShareIt) {
    CNKString text(L"  a  ");
    CNKString shared = text;
    EXPECT_EQ(CountRequests([&] { text.Trim(); }), 2u);
    EXPECT_EQ(CountRequests([&] { shared.Trim(); }), 1u);
    EXPECT_EQ(CountRequests([&] { shared.Trim(); }), 0u) << "nothing to trim";
}

TEST_F(NKStringTrim, LongText) {
    const std::wstring blanks(100'000, L' ');
    const std::wstring words = L"a" + blanks + L"b";
    CNKString text = Make(blanks + words + blanks);
    EXPECT_BSTR(text.Trim(), words);
}

// Truncate

TEST_F(NKStringTruncate, KeepsTheFirstUnits) {
    CNKString text = Make(L"ab\0cd"sv);
    EXPECT_BSTR(text.Truncate(4), L"ab\0c"sv);
    EXPECT_BSTR(text.Truncate(1), L"a");
    EXPECT_BSTR(text.Truncate(0), L"");
}

TEST_F(NKStringTruncate, ToTheLengthOrMore_KeepsTheTextAndAllocatesNothing) {
    CNKString text(L"abc");
    const wchar_t* const before = TextOf(text);
    EXPECT_EQ(CountRequests([&] { text.Truncate(3).Truncate(4).Truncate(minusOne); }), 0u);
    EXPECT_EQ(TextOf(text), before);
}

TEST_F(NKStringTruncate, Null_StaysNull) {
    EXPECT_NULL_BSTR(CNKString().Truncate(0));
    EXPECT_NULL_BSTR(NullText().Truncate(5));
}

// Format

TEST_F(NKStringFormat, Wide) {
    CNKString text(L"old");
    EXPECT_BSTR(Format(text, L"%d/%x/%.2f", -1, 255, 1.5), L"-1/ff/1.50");
    EXPECT_BSTR(Format(text, L""), L"");
}

TEST_F(NKStringFormat, Wide_PercentSIsWideText) {
    CNKString text;
    EXPECT_BSTR(Format(text, L"%s|%S|%c", L"wide", "narrow", L'\x3042'), L"wide|narrow|\x3042");
}

TEST_F(NKStringFormat, Narrow) {
    CNKString text(L"old");
    EXPECT_BSTR(Format(text, "%d/%s/%.2f", -1, "narrow", 1.5), L"-1/narrow/1.50");
    EXPECT_BSTR(Format(text, ""), L"");
}

TEST_F(NKStringFormat, ArgumentInOwnText) {
    CNKString text(L"abc");
    EXPECT_BSTR(Format(text, L"<%s>", TextOf(text)), L"<abc>");
    EXPECT_BSTR(Format(text, "[%s]", NarrowTextOf(text)), L"[<abc>]");
}

TEST_F(NKStringFormat, Output_EndsAtNul) {
    CNKString text;
    EXPECT_BSTR(Format(text, L"ab%ccd", 0), L"ab");
}

TEST_F(NKStringFormat, Output999Units_Fits) {
    CNKString text;
    EXPECT_BSTR(Format(text, L"%999d", 7), std::wstring(998, L' ') + L"7");
    EXPECT_BSTR(Format(text, "%999d", 7), std::wstring(998, L' ') + L"7");
}

// The run-time library's default handler returns here.
TEST_F(NKStringFormat, Output1000UnitsOrMore_IsRefusedNotCut) {
    for (const int width : {1000, 1001, 2000, 5000}) {
        CNKString text(L"old");
        EXPECT_BSTR(Format(text, L"%*d", width, 7), L"") << width;
        EXPECT_BSTR(Format(text = L"old", "%*d", width, 7), L"") << width;
    }
}

// Appending

TEST_F(NKStringAppend, Text) {
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

TEST_F(NKStringAppend, ToNull) {
    CNKString text;
    text += L"a";
    EXPECT_BSTR(text, L"a");
    text = NullText();
    text += CNKString(L"b");
    EXPECT_BSTR(text, L"b");
}

TEST_F(NKStringAppend, OfNullOrEmpty_KeepsTheText) {
    CNKString text(L"a");
    text += CNKString();
    text += NullText();
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

TEST_F(NKStringAppend, Itself_DoublesTheText) {
    CNKString text(L"ab");
    text += text;
    EXPECT_BSTR(text, L"abab");
    text += TextOf(text) + 2;
    EXPECT_BSTR(text, L"ababab");
    text += NarrowTextOf(text) + 5;
    EXPECT_BSTR(text, L"abababb");
}

TEST_F(NKStringAppend, String_CostsOneBstrAndOneRecord) {
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

TEST_F(NKStringAppend, LongText) {
    const std::wstring half(100'000, L'x');
    CNKString text = Make(half);
    text += text;
    EXPECT_BSTR(text, half + half);
}

// Concatenation

TEST_F(NKStringConcatenation, StringOnTheLeft) {
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

TEST_F(NKStringConcatenation, StringOnTheRight) {
    const CNKString text(L">");
    EXPECT_BSTR(L"b" + text, L"b>");
    EXPECT_BSTR("b" + text, L"b>");
    EXPECT_BSTR(L'b' + text, L"b>");
    EXPECT_BSTR('b' + text, L"b>");
    EXPECT_BSTR(4294967295u + text, L"-1>");
    EXPECT_BSTR(1.5 + text, L"1.50000000000000000000>");
    EXPECT_BSTR(text, L">");
}

TEST_F(NKStringConcatenation, OperandsOfEveryKind_AlsoWhenWritable) {
    CNKString text(L"<");
    wchar_t wide[] = L"w";
    char narrow[] = "n";
    const wchar_t wideUnit = L'u';
    EXPECT_BSTR(text + wide + narrow + wideUnit + (text + L">"), L"<wnu<>");
    EXPECT_BSTR(wide + text, L"w<");
    EXPECT_BSTR(narrow + text, L"n<");
}

TEST_F(NKStringConcatenation, NulCharacter_CountsAsOne) {
    EXPECT_BSTR(CNKString(L"a") + L'\0', L"a\0"sv);
    EXPECT_BSTR(CNKString(L"a") + '\0', L"a\0"sv);
    EXPECT_BSTR(L'\0' + CNKString(L"a"), L"\0a"sv);
    EXPECT_BSTR('\0' + CNKString(L"a"), L"\0a"sv);
}

TEST_F(NKStringConcatenation, KeepsNuls) {
    EXPECT_BSTR(Make(L"a\0b"sv) + Make(L"\0c"sv), L"a\0b\0c"sv);
}

TEST_F(NKStringConcatenation, NullOperands_AddNothing) {
    EXPECT_BSTR(CNKString() + L"a", L"a");
    EXPECT_BSTR(L"a" + NullText(), L"a");
    EXPECT_BSTR(static_cast<const wchar_t*>(nullptr) + CNKString(L"a"), L"a");
    EXPECT_BSTR(CNKString(L"a") + static_cast<const char*>(nullptr), L"a");
    EXPECT_BSTR(CNKString() + NullText(), L"");
}

TEST_F(NKStringConcatenation, CostsOneBstrAndOneRecord) {
    const CNKString text(L"a");
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text + text); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(L"b" + text); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text + 1u); }), 2u);
    EXPECT_EQ(CountRequests([&] { static_cast<void>(text + 'b'); }), 2u);
}

// The BSTR itself

TEST_F(NKStringBstr, Views_AreTheBstrOrNull) {
    const CNKString text = Make(L"a\0b"sv);
    EXPECT_EQ(static_cast<wchar_t*>(text), TextOf(text));
    EXPECT_BSTR(TextOf(text), L"a\0b"sv);
    EXPECT_EQ(TextOf(CNKString()), nullptr);
    EXPECT_EQ(TextOf(NullText()), nullptr);
}

TEST_F(NKStringBstr, NarrowView_IsMadeOnceAndKept) {
    const CNKString text(L"abc");
    const CNKString sharer(text); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_STREQ(NarrowTextOf(text), "abc");
    EXPECT_EQ(NarrowTextOf(text), NarrowTextOf(sharer));
    EXPECT_EQ(NarrowTextOf(CNKString()), nullptr);
    EXPECT_EQ(NarrowTextOf(NullText()), nullptr);
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
    EXPECT_NULL_BSTR(NullText().copy());
}

TEST_F(NKStringBstr, Detach_OfTheOnlyHolder_GivesTheTextItself) {
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
    const CNKString sharer = text;
    const Bstr detached(text.Detach());
    EXPECT_NE(detached, TextOf(sharer));
    EXPECT_EQ(BytesOf(detached), "abcde"sv);
    EXPECT_NULL_BSTR(text); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(BytesOf(sharer), "abcde"sv);
}

TEST_F(NKStringBstr, Detach_OfNull_GivesNull) {
    EXPECT_NULL_BSTR(CNKString().Detach());
    EXPECT_NULL_BSTR(NullText().Detach());
    const CNKString null = NullText();
    EXPECT_NULL_BSTR(CNKString(null).Detach());
    EXPECT_BSTR(Bstr(CNKString(L"").Detach()), L"");
}

TEST_F(NKStringBstr, Part_DetachedCostsOneBstrAndOneRecord) {
    const CNKString text(L"abcdef");
    EXPECT_EQ(CountRequests([&] { EXPECT_BSTR(Bstr(text.Mid(1, 2).Detach()), L"bc"); }), 2u);
    EXPECT_NULL_BSTR(text.Right(7).Detach());
}

TEST_F(NKStringBstr, Detach_IsSafeForNullAndSharedText) {
    CNKString text(L"abc");
    const CNKString sharer = text;
    EXPECT_BSTR(Bstr(text.Detach()), L"abc");
    EXPECT_NULL_BSTR(text.Detach());
    EXPECT_BSTR(sharer, L"abc");
}

TEST_F(NKStringBstr, Attach_TakesTheBstrOver) {
    const CNKString sharer(L"old");
    CNKString text = sharer;
    Bstr source(L"a\0b"sv);
    const BSTR attached = source.Release();
    text.Attach(attached);
    EXPECT_EQ(TextOf(text), attached);
    EXPECT_BSTR(sharer, L"old");
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

TEST_F(NKStringBstr, GetAddress_ReceivesABstr) {
    const CNKString sharer(L"old");
    CNKString text = sharer;
    BSTR* const place = text.GetAddress();
    EXPECT_NULL_BSTR(text);
    *place = Bstr(L"new").Release();
    EXPECT_BSTR(text, L"new");
    EXPECT_BSTR(sharer, L"old");
}

TEST_F(NKStringBstr, GetBSTR_IsTheTextsPlace) {
    CNKString text(L"abc");
    EXPECT_EQ(text.GetBSTR(), TextOf(text));
    CNKString null;
    null.GetBSTR() = Bstr(L"new").Release();
    EXPECT_BSTR(null, L"new");
}

// Sharing

TEST_F(NKStringSharing, ChangingOneHandle_LeavesTheOthers) {
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

TEST_F(NKStringSharing, Text_LivesUntilTheLastHandleGoes) {
    CNKString last;
    {
        const CNKString first(L"abc");
        last = first;
    }
    EXPECT_BSTR(last, L"abc");
}

TEST_F(NKStringSharing, TwoThreads_CopyAndDropHandlesToOneText) {
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
    // Had a reference been lost or gained, the record would be gone already, or would stay behind as a leak.
}

} // namespace
