// Narrow text goes through the system's ANSI code page. These tests are for two of them, and CTest runs the program
// with each. A test that meets another code page is skipped.

#include "core/nkstring.h"

#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

using namespace std::literals;
using support::Bstr;

namespace {

template <UINT codePage> class CodePageTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (GetACP() != codePage) {
            GTEST_SKIP() << "needs ANSI code page " << codePage << ", has " << GetACP();
        }
    }

  private:
    const support::ExpectNoLeaks m_noLeaks;
};

using NKStringCodePage1252 = CodePageTest<1252>;
using NKStringCodePage932 = CodePageTest<932>;

const char* Narrow(const CNKString& text) {
    return text;
}

/// Everything that the conversion of a BSTR gives, up to and without the NUL that ends it.
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
    EXPECT_STREQ(Narrow(CNKString(L"a\x00e4\x20acz")), "a\xe4\x80z");
}

TEST_F(NKStringCodePage1252, CharacterOutsideTheCodePage_BecomesAQuestionMark) {
    EXPECT_STREQ(Narrow(CNKString(L"a\x3042z")), "a?z");
}

TEST_F(NKStringCodePage1252, AppendedChar_IsConvertedButAnAddedOneIsWidenedBySign) {
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

TEST_F(NKStringCodePage1252, ConversionToNarrow_GoesPastNuls) {
    EXPECT_EQ(Converted(L"a\0b"sv, 3), "a\0b"sv);
    EXPECT_EQ(Converted(L"\x00e4\0\x00e4"sv, 3), "\xe4\0\xe4"sv);
}

TEST_F(NKStringCodePage1252, Conversions_OfNullAndOfLengthZero) {
    EXPECT_NULL_BSTR(_com_util::ConvertStringToBSTR(nullptr));
    EXPECT_EQ(_com_util::ConvertBSTRToString(nullptr), nullptr);
    EXPECT_BSTR(Bstr(_com_util::ConvertStringToBSTR("")), L"");
    EXPECT_EQ(Converted(L"", 0), "");
}

TEST_F(NKStringCodePage1252, LongText_ThereAndBack) {
    const std::string narrow(100'000, '\xe4');
    const CNKString text(narrow.c_str());
    EXPECT_BSTR(text, std::wstring(100'000, L'\x00e4'));
    EXPECT_EQ(Narrow(text), narrow);
}

TEST_F(NKStringCodePage932, TwoByteCharacter_IsOneCodeUnit) {
    const CNKString text("a\x82\xa0z");
    EXPECT_BSTR(text, L"a\x3042z");
    EXPECT_STREQ(Narrow(text), "a\x82\xa0z");
    EXPECT_EQ(std::strlen(Narrow(text)), 4u);
}

TEST_F(NKStringCodePage932, OneByteCharacterAboveAscii) {
    const CNKString text("\xb1");
    EXPECT_BSTR(text, L"\xff71");
    EXPECT_STREQ(Narrow(text), "\xb1");
}

TEST_F(NKStringCodePage932, SecondByteThatLooksLikeAscii_StaysPartOfItsCharacter) {
    const CNKString text("\x83\x5c");
    EXPECT_BSTR(text, L"\x30bd");
    EXPECT_STREQ(Narrow(text), "\x83\x5c");
}

TEST_F(NKStringCodePage932, ConversionToNarrow_GoesPastNuls) {
    EXPECT_EQ(Converted(L"\x3042\0\x3042"sv, 5), "\x82\xa0\0\x82\xa0"sv);
}

TEST_F(NKStringCodePage932, LongText_ThereAndBack) {
    std::string narrow;
    for (int count = 0; count < 50'000; ++count) {
        narrow += "\x82\xa0";
    }
    const CNKString text(narrow.c_str());
    EXPECT_BSTR(text, std::wstring(50'000, L'\x3042'));
    EXPECT_EQ(Narrow(text), narrow);
}

} // namespace
