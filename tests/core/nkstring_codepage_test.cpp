// CNKString: conversions from and to narrow text, with two code pages.

#include "core/nkstring.h"

#include "tests/core/codepage_fixture.h"
#include "tests/core/nkstring_fixture.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

using namespace std::literals;
using support::Bstr;
using support::NarrowTextOf;

namespace {

using NKStringCodePage1252 = support::CodePageTest<1252, support::NKStringTest>;
using NKStringCodePage932 = support::CodePageTest<932, support::NKStringTest>;

/// The narrow text of a BSTR, which is `length` bytes and a NUL.
std::string Converted(std::wstring_view text, std::size_t length) {
    const std::unique_ptr<char[]> narrow(_com_util::ConvertBSTRToString(Bstr(text)));
    EXPECT_EQ(narrow[length], '\0');
    return {narrow.get(), length};
}

TEST_F(NKStringCodePage1252, NarrowText_IsConverted) {
    EXPECT_BSTR(CNKString("a\xe4\x80z"), L"a\x00e4\x20acz");
    CNKString text;
    text = "\xe4";
    EXPECT_BSTR(text, L"\x00e4");
}

TEST_F(NKStringCodePage1252, NarrowView_IsConverted) {
    EXPECT_STREQ(NarrowTextOf(CNKString(L"a\x00e4\x20acz")), "a\xe4\x80z");
}

TEST_F(NKStringCodePage1252, CharacterOutsideTheCodePage_BecomesAQuestionMark) {
    EXPECT_STREQ(NarrowTextOf(CNKString(L"a\x3042z")), "a?z");
}

TEST_F(NKStringCodePage1252, Char_IsConvertedByAppendAndSignExtendedByPlus) {
    CNKString text(L"a");
    EXPECT_BSTR(text + '\xe4', L"a\xffe4");
    EXPECT_BSTR('\xe4' + text, L"\xffe4"
                               L"a");
    text += '\xe4';
    EXPECT_BSTR(text, L"a\x00e4");
}

TEST_F(NKStringCodePage1252, NarrowOperands_AreConverted) {
    CNKString text(L"a");
    EXPECT_BSTR(text + "\xe4", L"a\x00e4");
    EXPECT_BSTR("\xe4" + text, L"\x00e4"
                               L"a");
    text += "\xe4";
    EXPECT_BSTR(text, L"a\x00e4");
}

TEST_F(NKStringCodePage1252, ConversionToNarrow_KeepsNuls) {
    EXPECT_EQ(Converted(L"a\0b"sv, 3), "a\0b"sv);
    EXPECT_EQ(Converted(L"\x00e4\0\x00e4"sv, 3), "\xe4\0\xe4"sv);
}

TEST_F(NKStringCodePage1252, Conversions_OfNullAndZeroLength_KeepThem) {
    EXPECT_NULL_BSTR(_com_util::ConvertStringToBSTR(nullptr));
    EXPECT_EQ(_com_util::ConvertBSTRToString(nullptr), nullptr);
    EXPECT_BSTR(Bstr(_com_util::ConvertStringToBSTR("")), L"");
    EXPECT_EQ(Converted(L"", 0), "");
}

TEST_F(NKStringCodePage1252, LongText_IsConvertedToWideAndBack) {
    const std::string narrow(100'000, '\xe4');
    const CNKString text(narrow.c_str());
    EXPECT_BSTR(text, std::wstring(100'000, L'\x00e4'));
    EXPECT_EQ(NarrowTextOf(text), narrow);
}

TEST_F(NKStringCodePage932, TwoByteCharacter_IsOneCodeUnit) {
    const CNKString text("a\x82\xa0z");
    EXPECT_BSTR(text, L"a\x3042z");
    EXPECT_STREQ(NarrowTextOf(text), "a\x82\xa0z");
    EXPECT_EQ(std::strlen(NarrowTextOf(text)), 4u);
}

TEST_F(NKStringCodePage932, OneByteCharacterAboveAscii_IsOneCodeUnit) {
    const CNKString text("\xb1");
    EXPECT_BSTR(text, L"\xff71");
    EXPECT_STREQ(NarrowTextOf(text), "\xb1");
}

TEST_F(NKStringCodePage932, SecondByteInAscii_IsPartOfItsCharacter) {
    const CNKString text("\x83\x5c");
    EXPECT_BSTR(text, L"\x30bd");
    EXPECT_STREQ(NarrowTextOf(text), "\x83\x5c");
}

TEST_F(NKStringCodePage932, ConversionToNarrow_KeepsNuls) {
    EXPECT_EQ(Converted(L"\x3042\0\x3042"sv, 5), "\x82\xa0\0\x82\xa0"sv);
}

TEST_F(NKStringCodePage932, LongText_IsConvertedToWideAndBack) {
    std::string narrow;
    for (int count = 0; count < 50'000; ++count) {
        narrow += "\x82\xa0";
    }
    const CNKString text(narrow.c_str());
    EXPECT_BSTR(text, std::wstring(50'000, L'\x3042'));
    EXPECT_EQ(NarrowTextOf(text), narrow);
}

} // namespace
