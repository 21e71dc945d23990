// NXString through the vtable and late-bound: the value, trimming, and parts.

#include <climits>
#include <cstddef>
#include <cwchar>
#include <cwctype>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::Binding;
using support::Bstr;
using support::IsText;
using support::String;

class NXStringTest : public support::BothBindingsTest<String> {
  protected:
    const String text{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(ByBinding, NXStringTest, ::testing::Values(Binding::Vtable, Binding::LateBound),
                         support::NameOfBinding);

TEST_P(NXStringTest, New_ValueIsNull_LengthIsZero) {
    EXPECT_NULL_BSTR(text.Value());
    EXPECT_EQ(text.Length(), 0);
}

// Value, Length, Clear

struct ValueRow {
    const char* name;
    std::wstring_view written; ///< without data: a null BSTR
    const wchar_t* value;      ///< null: a null BSTR
    long length;
};

constexpr ValueRow valueRows[] = {
    {"Text", L"Nuvolex", L"Nuvolex", 7},
    {"Surrogate pair", L"\xD83D\xDE00", L"\xD83D\xDE00", 2},
    {"NUL in the middle", L"ab\0cd"sv, L"ab", 2},
    {"NUL at the beginning", L"\0cd"sv, L"", 0},
    {"Empty", L""sv, L"", 0},
    {"Null", {}, nullptr, 0},
};

TEST_P(NXStringTest, Value_IsTheStringWritten_UpToANul) {
    for (const ValueRow& row : valueRows) {
        SCOPED_TRACE(row.name);
        text.SetValue(L"before");
        text.SetValue(row.written.data() == nullptr ? Bstr() : Bstr(row.written));
        EXPECT_TRUE(IsText(text.Value(), row.value));
        EXPECT_EQ(text.Length(), row.length);
    }
}

TEST_P(NXStringTest, Value_WrittenAgain_IsReplaced) {
    text.SetValue(L"first");
    text.SetValue(L"second one");
    EXPECT_BSTR(text.Value(), L"second one");
    text.SetValue(L"3");
    EXPECT_BSTR(text.Value(), L"3");
}

TEST_P(NXStringTest, Value_AnyCodeUnitButNul_IsKept) {
    std::wstring all;
    for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
        all += static_cast<wchar_t>(unit);
    }
    text.SetValue(all.c_str());
    EXPECT_BSTR(text.Value(), all);
    EXPECT_EQ(text.Length(), 0xFFFF);
}

TEST_P(NXStringTest, Value_Written_BelongsToTheCaller) {
    const Bstr written(L"ab\0cd"sv);
    text.SetValue(written);
    EXPECT_BSTR(written, L"ab\0cd"sv);
    written[0] = L'X';
    EXPECT_BSTR(text.Value(), L"ab");
    text.Clear();
    EXPECT_BSTR(written, L"Xb\0cd"sv);
}

TEST_P(NXStringTest, Value_Read_IsACopyOfItsOwn) {
    text.SetValue(L"abc");
    const Bstr first = text.Value();
    const Bstr second = text.Value();
    EXPECT_NE(static_cast<BSTR>(first), static_cast<BSTR>(second));
    first[0] = L'X';
    EXPECT_BSTR(second, L"abc");
    EXPECT_BSTR(text.Value(), L"abc");
}

TEST_P(NXStringTest, Results_OutliveTheObject) {
    String object(GetParam(), L"abcdef");
    const Bstr value = object.Value();
    const Bstr left = object.Left(2);
    const Bstr right = object.Right(2);
    const Bstr middle = object.Mid(2, 2);
    object.Release();
    EXPECT_BSTR(value, L"abcdef");
    EXPECT_BSTR(left, L"ab");
    EXPECT_BSTR(right, L"ef");
    EXPECT_BSTR(middle, L"cd");
}

TEST_P(NXStringTest, Clear_MakesNull) {
    text.SetValue(L"abc");
    text.Clear();
    EXPECT_NULL_BSTR(text.Value());
    EXPECT_EQ(text.Length(), 0);
}

TEST_P(NXStringTest, Clear_OfNull_StaysNull) {
    text.Clear();
    text.Clear();
    EXPECT_NULL_BSTR(text.Value());
}

TEST_P(NXStringTest, Objects_AreIndependent) {
    const String other(GetParam(), L"other");
    text.SetValue(L"this");
    EXPECT_BSTR(other.Value(), L"other");
    other.Clear();
    EXPECT_BSTR(text.Value(), L"this");
}

// Trimming

struct TrimRow {
    const char* name;
    const wchar_t* text; ///< null: a null BSTR; so are the results
    const wchar_t* trimmedLeft;
    const wchar_t* trimmedRight;
    const wchar_t* trimmed;
};

constexpr TrimRow trimRows[] = {
    {"Nothing to trim", L"abc", L"abc", L"abc", L"abc"},
    {"Empty", L"", L"", L"", L""},
    {"Null", nullptr, nullptr, nullptr, nullptr},
    {"One blank", L" ", L"", L"", L""},
    {"Blanks only", L"   ", L"", L"", L""},
    {"Leading blank", L" a", L"a", L" a", L"a"},
    {"Trailing blank", L"a ", L"a ", L"a", L"a"},
    {"Blanks inside stay", L"  a b   ", L"a b   ", L"  a b", L"a b"},
    {"Tab and blanks", L"\t  ab ", L"ab ", L"\t  ab", L"ab"},
    {"Every ASCII white space", L" \t\n\v\f\ra\r\f\v\n\t ", L"a\r\f\v\n\t ", L" \t\n\v\f\ra", L"a"},
    {"Nothing but white space", L" \t\n\v\f\r", L"", L"", L""},
};

TEST_P(NXStringTest, Trims_RemoveWhiteSpaceAndCountIt) {
    const auto length = [](const wchar_t* string) {
        return string == nullptr ? 0 : static_cast<int>(std::wcslen(string));
    };
    for (const TrimRow& row : trimRows) {
        SCOPED_TRACE(row.name);
        const auto expectTrims = [&](const char* name, int (String::*trim)() const, const wchar_t* trimmed) {
            SCOPED_TRACE(name);
            text.SetValue(row.text);
            EXPECT_EQ((text.*trim)(), length(row.text) - length(trimmed));
            EXPECT_TRUE(IsText(text.Value(), trimmed));
            EXPECT_EQ(text.Length(), length(trimmed));
            EXPECT_EQ((text.*trim)(), 0) << "the second time";
        };
        expectTrims("TrimLeft", &String::TrimLeft, row.trimmedLeft);
        expectTrims("TrimRight", &String::TrimRight, row.trimmedRight);
        expectTrims("Trim", &String::Trim, row.trimmed);
    }
}

TEST_P(NXStringTest, Trims_WhiteSpaceIsWhatTheCRuntimeSays) {
    ASSERT_TRUE(std::iswspace(0x00A0) && std::iswspace(0x3000)) << "no-break and ideographic space";
    for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
        const wchar_t surrounded[] = {static_cast<wchar_t>(unit), L'a', static_cast<wchar_t>(unit), 0};
        const int trimmed = std::iswspace(static_cast<wint_t>(unit)) != 0 ? 1 : 0;
        text.SetValue(surrounded);
        ASSERT_EQ(text.TrimLeft(), trimmed) << "U+" << std::hex << unit;
        ASSERT_EQ(text.TrimRight(), trimmed) << "U+" << std::hex << unit;
        ASSERT_EQ(text.Trim(), 0) << "U+" << std::hex << unit;
        ASSERT_EQ(text.Length(), 3 - 2 * trimmed) << "U+" << std::hex << unit;
    }
}

TEST_P(NXStringTest, Trims_OfNull_CountNothingAndStayNull) {
    for (const bool cleared : {false, true}) {
        SCOPED_TRACE(cleared ? "after Clear" : "after a null was written");
        text.SetValue(L"abc");
        cleared ? text.Clear() : text.SetNullValue();
        EXPECT_EQ(text.TrimLeft(), 0);
        EXPECT_EQ(text.TrimRight(), 0);
        EXPECT_EQ(text.Trim(), 0);
        EXPECT_NULL_BSTR(text.Value());
    }
}

TEST_P(NXStringTest, Trims_OfNew_CountNothingAndStayNull) {
    EXPECT_EQ(text.TrimRight(), 0);
    EXPECT_EQ(text.Trim(), 0);
    EXPECT_EQ(text.TrimLeft(), 0);
    EXPECT_NULL_BSTR(text.Value());
}

TEST_P(NXStringTest, Trims_OfManyBlanks_LeaveAnEmptyString) {
    // A BSTR is preceded by its length in bytes. At these lengths its upper half reads as a NUL, as a character, and
    // as a blank, so a search that goes too far to the left would not stop.
    for (const int length : {32767, 32768, 32769, 65536, 0x100000, 0x100001}) {
        SCOPED_TRACE(length);
        const Bstr blanks(std::wstring(static_cast<std::size_t>(length), L' '));
        text.SetValue(blanks);
        EXPECT_EQ(text.TrimLeft(), length);
        EXPECT_BSTR(text.Value(), L"");
        text.SetValue(blanks);
        EXPECT_EQ(text.TrimRight(), length);
        EXPECT_BSTR(text.Value(), L"");
        text.SetValue(blanks);
        EXPECT_EQ(text.Trim(), length);
        EXPECT_BSTR(text.Value(), L"");
    }
}

TEST_P(NXStringTest, Trims_OfManyBlanksAroundText_LeaveTheText) {
    const std::wstring blanks(100000, L'\t');
    text.SetValue((blanks + L"a b" + blanks).c_str());
    EXPECT_EQ(text.Trim(), 200000);
    EXPECT_BSTR(text.Value(), L"a b");
}

TEST_P(NXStringTest, Trims_LeaveEarlierResultsAlone) {
    text.SetValue(L" a ");
    const Bstr value = text.Value();
    const Bstr part = text.Left(3);
    text.Trim();
    EXPECT_BSTR(value, L" a ");
    EXPECT_BSTR(part, L" a ");
}

// Parts

struct LengthRow {
    const char* name;
    const wchar_t* text; ///< null: a null BSTR
    int length;
    const wchar_t* left;
    const wchar_t* right;
};

constexpr LengthRow lengthRows[] = {
    {"No character", L"abcdef", 0, L"", L""},
    {"One", L"abcdef", 1, L"a", L"f"},
    {"All but one", L"abcdef", 5, L"abcde", L"bcdef"},
    {"All", L"abcdef", 6, L"abcdef", L"abcdef"},
    {"One too many", L"abcdef", 7, L"abcdef", nullptr},
    {"INT_MAX", L"abcdef", INT_MAX, L"abcdef", nullptr},
    {"-1", L"abcdef", -1, L"abcdef", nullptr},
    {"The negative of the length", L"abcdef", -6, L"abcdef", nullptr},
    {"INT_MIN", L"abcdef", INT_MIN, L"abcdef", nullptr},
    {"None of an empty string", L"", 0, L"", L""},
    {"One of an empty string", L"", 1, L"", nullptr},
    {"-1 of an empty string", L"", -1, L"", nullptr},
    {"None of null", nullptr, 0, L"", L""},
    {"One of null", nullptr, 1, L"", nullptr},
    {"Three of null", nullptr, 3, L"", nullptr},
    {"-1 of null", nullptr, -1, L"", nullptr},
};

TEST_P(NXStringTest, LeftAndRight_OfEachLength) {
    for (const LengthRow& row : lengthRows) {
        SCOPED_TRACE(row.name);
        text.SetValue(row.text);
        EXPECT_TRUE(IsText(text.Left(row.length), row.left));
        EXPECT_TRUE(IsText(text.Right(row.length), row.right));
    }
}

struct MidRow {
    const char* name;
    const wchar_t* text; ///< null: a null BSTR
    int start;
    int length;
    const wchar_t* part;
};

constexpr MidRow midRows[] = {
    {"All", L"abcdef", 0, 6, L"abcdef"},
    {"Inside", L"abcdef", 1, 3, L"bcd"},
    {"The last", L"abcdef", 5, 1, L"f"},
    {"No character", L"abcdef", 3, 0, L""},
    {"One more than the rest", L"abcdef", 4, 3, L"ef"},
    {"INT_MAX", L"abcdef", 4, INT_MAX, L"ef"},
    {"One more than all", L"abcdef", 0, 7, L"abcdef"},
    {"INT_MAX from the start", L"abcdef", 0, INT_MAX, L"abcdef"},
    {"None from the start", L"abcdef", 0, 0, L""},
    {"-1: the rest", L"abcdef", 2, -1, L"cdef"},
    {"INT_MIN: the rest", L"abcdef", 2, INT_MIN, L"cdef"},
    {"The negative of the length: the rest", L"abcdef", 0, -6, L"abcdef"},
    {"None at the end", L"abcdef", 6, 0, L""},
    {"At the end", L"abcdef", 6, 5, L""},
    {"-1 at the end", L"abcdef", 6, -1, L""},
    {"After the end", L"abcdef", 7, 5, nullptr},
    {"None after the end", L"abcdef", 7, 0, nullptr},
    {"INT_MAX and INT_MAX", L"abcdef", INT_MAX, INT_MAX, nullptr},
    {"INT_MAX and -1", L"abcdef", INT_MAX, -1, nullptr},
    {"Negative start", L"abcdef", -1, 1, nullptr},
    {"Negative start, no character", L"abcdef", -1, 0, nullptr},
    {"INT_MIN and INT_MIN", L"abcdef", INT_MIN, INT_MIN, nullptr},
    {"The negative of the length", L"abcdef", -6, 6, nullptr},
    {"None of an empty string", L"", 0, 0, L""},
    {"One of an empty string", L"", 0, 1, L""},
    {"After an empty string", L"", 1, 0, nullptr},
    {"Before an empty string", L"", -1, 0, nullptr},
    {"None of null", nullptr, 0, 0, L""},
    {"Three of null", nullptr, 0, 3, L""},
    {"-1 of null", nullptr, 0, -1, L""},
    {"After null", nullptr, 1, 1, nullptr},
    {"Before null", nullptr, -1, 1, nullptr},
};

TEST_P(NXStringTest, Mid_OfEachStartAndLength) {
    for (const MidRow& row : midRows) {
        SCOPED_TRACE(row.name);
        text.SetValue(row.text);
        EXPECT_TRUE(IsText(text.Mid(row.start, row.length), row.part));
    }
}

TEST_P(NXStringTest, Parts_OfNew_AreThoseOfNull) {
    EXPECT_BSTR(text.Left(3), L"");
    EXPECT_BSTR(text.Right(0), L"");
    EXPECT_BSTR(text.Mid(0, -1), L"");
    EXPECT_NULL_BSTR(text.Right(1));
    EXPECT_NULL_BSTR(text.Mid(1, 1));
}

TEST_P(NXStringTest, Mid_FromTheStart_EqualsLeft) {
    text.SetValue(L"abcdef");
    for (const int length : {INT_MIN, -1, 0, 1, 5, 6, 7, INT_MAX}) {
        const Bstr left = text.Left(length);
        EXPECT_BSTR(text.Mid(0, length), std::wstring_view(left, SysStringLen(left))) << length;
    }
}

TEST_P(NXStringTest, Parts_LeaveTheTextAlone) {
    text.SetValue(L"abcdef");
    const Bstr part = text.Left(6);
    part[0] = L'X';
    static_cast<void>(text.Right(3));
    static_cast<void>(text.Mid(0, 6));
    EXPECT_BSTR(text.Value(), L"abcdef");
}

} // namespace
