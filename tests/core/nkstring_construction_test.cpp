// CNKString: construction, assignment and moves.

#include "core/nkstring.h"

#include "tests/core/nkstring_fixture.h"
#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/rows.h"

#include <gtest/gtest.h>

#include <concepts>
#include <limits>
#include <string_view>
#include <type_traits>
#include <utility>

using namespace std::literals;
using support::Bstr;
using support::BytesOf;
using support::CountRequests;
using support::Make;
using support::NarrowTextOf;
using support::null;
using support::OddBytes;
using support::Text;
using support::TextOf;

namespace {

using NKStringConstruction = support::NKStringTest;
using NKStringAssignment = support::NKStringTest;
using NKStringMove = support::NKStringTest;

static_assert(std::derived_from<CNKString, _bstr_t> && sizeof(CNKString) == sizeof(void*));
static_assert(!std::is_polymorphic_v<CNKString>);
static_assert(std::is_nothrow_copy_constructible_v<CNKString> && std::is_nothrow_copy_assignable_v<CNKString>);
static_assert(std::is_nothrow_move_constructible_v<CNKString> && std::is_nothrow_move_assignable_v<CNKString>);

// Numbers and characters are never converted implicitly.
static_assert(!std::is_convertible_v<unsigned int, CNKString> && !std::is_convertible_v<double, CNKString>);
static_assert(!std::is_convertible_v<wchar_t, CNKString> && !std::is_convertible_v<char, CNKString>);
static_assert(std::is_convertible_v<const wchar_t*, CNKString> && std::is_convertible_v<const char*, CNKString>);

// Construction

struct ConstructionRow : support::Row {
    CNKString (*make)();
    Text wanted;
};

class NKStringConstructionTable : public support::NKStringTest,
                                  public ::testing::WithParamInterface<ConstructionRow> {};

wchar_t writable[] = L"abcdef";

const ConstructionRow constructionRows[] = {
    {{"WideTextWithNul_EndsThere"}, [] { return CNKString(L"ab\0cd"); }, L"ab"},
    {{"ZeroLengthWideText_IsNotNull"}, [] { return CNKString(L""); }, L""},
    {{"NullWidePointer_IsNull"}, [] { return CNKString(static_cast<const wchar_t*>(nullptr)); }, null},

    {{"NarrowText_IsWidened"}, []() -> CNKString { return "abc"; }, L"abc"},
    {{"ZeroLengthNarrowText_IsNotNull"}, [] { return CNKString(""); }, L""},
    {{"NullNarrowPointer_IsNull"}, [] { return CNKString(static_cast<const char*>(nullptr)); }, null},

    {{"CopiedZeroLengthBstr_IsNotNull"}, [] { return CNKString(Bstr(L""), true); }, L""},
    {{"CopiedNullBstr_IsNull"}, [] { return CNKString(nullptr, true); }, null},
    {{"AdoptedNullBstr_IsNull"}, [] { return CNKString(nullptr, false); }, null},

    {{"PointerAndCount_KeepsNuls"}, [] { return CNKString(L"ab\0cd", 4); }, L"ab\0c"sv},
    {{"PointerAndCountZero_IsNotNull"}, [] { return CNKString(L"abc", 0); }, L""},
    {{"WritablePointerAndOne_IsNoAdoptedBstr"}, [] { return CNKString(writable, 1); }, L"a"},
    {{"WritablePointerAndThree_IsNoAdoptedBstr"}, [] { return CNKString(writable, 3); }, L"abc"},

    {{"WideCharacter_IsRepeated"}, [] { return CNKString(L'x', 3); }, L"xxx"},
    {{"WideNul_IsRepeated"}, [] { return CNKString(L'\0', 2); }, L"\0\0"sv},
    {{"WideCharacterZeroTimes_IsNotNull"}, [] { return CNKString(L'x', 0); }, L""},

    {{"NarrowCharacter_IsRepeated"}, [] { return CNKString('x', 3); }, L"xxx"},
    {{"NarrowCharacter7F_IsWidened"}, [] { return CNKString('\x7f', 1); }, L"\x007f"},
    {{"NarrowCharacter80_IsSignExtended"}, [] { return CNKString('\x80', 1); }, L"\xff80"},
    {{"NarrowCharacterE4_IsSignExtended"}, [] { return CNKString('\xe4', 2); }, L"\xffe4\xffe4"},
    {{"NarrowCharacterFF_IsSignExtended"}, [] { return CNKString('\xff', 1); }, L"\xffff"},
    {{"NarrowCharacterZeroTimes_IsNotNull"}, [] { return CNKString('x', 0); }, L""},

    {{"UnsignedZero"}, [] { return CNKString(0u); }, L"0"},
    {{"Unsigned42"}, [] { return CNKString(42u); }, L"42"},
    {{"GreatestInt"}, [] { return CNKString(2147483647u); }, L"2147483647"},
    {{"UnsignedBeyondTheGreatestInt_IsNegative"}, [] { return CNKString(2147483648u); }, L"-2147483648"},
    {{"GreatestUnsigned_IsMinusOne"}, [] { return CNKString(4294967295u); }, L"-1"},

    {{"Double_HasTwentyDecimals"}, [] { return CNKString(1.5); }, L"1.50000000000000000000"},
    {{"NegativeDouble_HasTwentyDecimals"}, [] { return CNKString(-0.25); }, L"-0.25000000000000000000"},
    {{"DoubleZero_HasTwentyDecimals"}, [] { return CNKString(0.0); }, L"0.00000000000000000000"},
    // The C runtime's default invalid-parameter handler returns here.
    {{"DoubleOf50Units_IsOfLengthZero"}, [] { return CNKString(2e28); }, L""},
    {{"NegativeDoubleOf50Units_IsOfLengthZero"}, [] { return CNKString(-2e27); }, L""},
    {{"GreatestDouble_IsOfLengthZero"}, [] { return CNKString((std::numeric_limits<double>::max)()); }, L""},
};

INSTANTIATE_TEST_SUITE_P(, NKStringConstructionTable, ::testing::ValuesIn(constructionRows), support::RowName());

TEST_P(NKStringConstructionTable, Constructor_GivesTheText) {
    EXPECT_TEXT(GetParam().make(), GetParam().wanted);
}

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

TEST_F(NKStringConstruction, AdoptedBstr_IsTheTextItself) {
    Bstr source(L"ab\0cd"sv);
    const BSTR adopted = source.Release();
    const CNKString text(adopted, false);
    EXPECT_EQ(TextOf(text), adopted);
    EXPECT_BSTR(text, L"ab\0cd"sv);
}

TEST_F(NKStringConstruction, DoubleOf49Units_Fits) {
    EXPECT_EQ(CNKString(1e27).GetLength(), 49u);
    EXPECT_EQ(CNKString(-1e26).GetLength(), 49u);
    EXPECT_EQ(CNKString(1e27).Left(3), CNKString(L"100"));
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

TEST_F(NKStringAssignment, FromWideText_CopiesItOrMakesNull) {
    CNKString text(L"old");
    text = L"new";
    EXPECT_BSTR(text, L"new");
    text = L"";
    EXPECT_BSTR(text, L"");
    text = static_cast<const wchar_t*>(nullptr);
    EXPECT_NULL_BSTR(text);
}

TEST_F(NKStringAssignment, FromBstrWithNul_EndsThere) {
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

TEST_F(NKStringAssignment, FromInsideOwnText_KeepsThatPart) {
    CNKString text(L"abc");
    text = TextOf(text) + 1;
    EXPECT_BSTR(text, L"bc");
}

TEST_F(NKStringAssignment, FromText_AllocatesOneBstrAndARecordIfShared) {
    CNKString text(L"abc");
    const CNKString sharing = text;
    EXPECT_EQ(CountRequests([&] { text = L"first"; }), 2u);
    EXPECT_EQ(CountRequests([&] { text = L"second"; }), 1u);
    EXPECT_EQ(CountRequests([&] { text = "narrow"; }), 1u);
    EXPECT_BSTR(text, L"narrow");
    EXPECT_BSTR(sharing, L"abc");
}

TEST_F(NKStringAssignment, FromText_DiscardsTheNarrowText) {
    CNKString text(L"abc");
    EXPECT_STREQ(static_cast<const char*>(text), "abc");
    text = L"new";
    EXPECT_STREQ(static_cast<const char*>(text), "new");
}

TEST_F(NKStringAssignment, FromNarrowText_WidensItOrMakesNull) {
    CNKString text(L"old");
    text = "new";
    EXPECT_BSTR(text, L"new");
    text = static_cast<const char*>(nullptr);
    EXPECT_NULL_BSTR(text);
}

TEST_F(NKStringAssignment, FromInsideOwnNarrowText_KeepsThatPart) {
    CNKString text(L"abc");
    text = NarrowTextOf(text) + 1;
    EXPECT_BSTR(text, L"bc");
    text = NarrowTextOf(text);
    EXPECT_BSTR(text, L"bc");
}

TEST_F(NKStringAssignment, FromOwnPart_KeepsThatPart) {
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

// Moves

TEST_F(NKStringMove, Construction_MovesTheReference) {
    CNKString source(L"abc");
    const wchar_t* const text = TextOf(source);
    CNKString target(std::move(source));
    EXPECT_EQ(TextOf(target), text);
    EXPECT_NULL_BSTR(source); // NOLINT(bugprone-use-after-move)
    // The only reference: Detach gives the BSTR itself.
    EXPECT_EQ(Bstr(target.Detach()), text);
}

TEST_F(NKStringMove, Assignment_MovesTheReferenceAndReleasesTheOldOne) {
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

TEST_F(NKStringMove, MovesAndSwap_AllocateNothing) {
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

TEST_F(NKStringMove, SwapWithNull_MovesTheText) {
    CNKString one(L"abc");
    CNKString other;
    one.swap(other);
    EXPECT_NULL_BSTR(one);
    EXPECT_BSTR(other, L"abc");
}

} // namespace
