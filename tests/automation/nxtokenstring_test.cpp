// NXTokenString through the vtable and late-bound.

#include <climits>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::Binding;
using support::Bstr;
using support::IsText;
using support::NextOf;
using support::StringsOf;
using support::TokenString;

using Strings = std::vector<std::wstring>;

constexpr BSTR nullText = nullptr;

class NXTokenStringTest : public support::BothBindingsTest<TokenString> {
  protected:
    const TokenString tokens{GetParam()};
    const TokenString abc{GetParam(), L",", L"a,b,c"};
};

INSTANTIATE_TEST_SUITE_P(ByBinding, NXTokenStringTest, ::testing::Values(Binding::Vtable, Binding::LateBound),
                         support::NameOfBinding);

TEST_P(NXTokenStringTest, New_HasNothing) {
    EXPECT_EQ(tokens.Count(), 0);
    EXPECT_NULL_BSTR(tokens.Value());
    EXPECT_NULL_BSTR(tokens.Separator());
    EXPECT_EQ(tokens.MultiCharacter(), VARIANT_FALSE);
    EXPECT_TRUE(tokens.RefusesIndex([&] { tokens.Token(0); }));
}

// Value

struct SplitRow {
    const char* name;
    const wchar_t* separator; ///< null: none is written
    VARIANT_BOOL multiCharacter;
    const wchar_t* value;
    Strings tokens;
    const wchar_t* joined; ///< the value read back; null: a null BSTR
};

const SplitRow splitRows[] = {
    {"One separator", L",", VARIANT_FALSE, L"a,b,c", {L"a", L"b", L"c"}, L"a,b,c"},
    {"At the ends and adjacent", L",", VARIANT_FALSE, L",a,,b,", {L"", L"a", L"", L"b", L""}, L",a,,b,"},
    {"Only a separator", L",", VARIANT_FALSE, L",", {L"", L""}, L","},
    {"Blanks stay", L",", VARIANT_FALSE, L" a , ", {L" a ", L" "}, L" a , "},
    {"Empty value", L",", VARIANT_FALSE, L"", {}, nullptr},
    {"No separator", nullptr, VARIANT_FALSE, L"a,b", {L"a,b"}, L"a,b"},
    {"Each of several characters", L";,", VARIANT_FALSE, L"a;b,c", {L"a", L"b", L"c"}, L"a;b;c"},
    {"Several characters as one", L";,", VARIANT_TRUE, L"a;,b;c", {L"a", L"b;c"}, L"a;,b;c"},
    {"Matches do not overlap", L",,", VARIANT_TRUE, L"a,,,b", {L"a", L",b"}, L"a,,,b"},
};

TEST_P(NXTokenStringTest, Value_IsSplitAtTheSeparator) {
    for (const SplitRow& row : splitRows) {
        SCOPED_TRACE(row.name);
        const TokenString split(GetParam());
        if (row.separator != nullptr) {
            split.SetSeparator(row.separator);
        }
        split.SetMultiCharacter(row.multiCharacter);
        split.SetValue(row.value);
        EXPECT_EQ(split.All(), row.tokens);
        for (std::size_t n = 0; n < row.tokens.size(); ++n) {
            EXPECT_BSTR(split.Token(static_cast<long>(n)), row.tokens[n]);
        }
        EXPECT_TRUE(IsText(split.Value(), row.joined));
        EXPECT_EQ(split.MultiCharacter(), row.multiCharacter);
    }
}

TEST_P(NXTokenStringTest, Value_Written_ReplacesAllTokens) {
    abc.SetValue(L"x,y");
    EXPECT_EQ(abc.All(), (Strings{L"x", L"y"}));
    EXPECT_BSTR(abc.Separator(), L",");
}

TEST_P(NXTokenStringTest, Value_EmptyOrNull_HasNoTokens) {
    abc.SetValue(L"");
    EXPECT_EQ(abc.Count(), 0);
    EXPECT_NULL_BSTR(abc.Value());
    abc.SetValue(L"a,b");
    abc.SetValue(nullText);
    EXPECT_EQ(abc.Count(), 0);
    EXPECT_NULL_BSTR(abc.Value());
}

TEST_P(NXTokenStringTest, Texts_WithEmbeddedNul_EndAtTheNul) {
    tokens.SetSeparator(static_cast<BSTR>(Bstr(L",\0;"sv)));
    EXPECT_BSTR(tokens.Separator(), L",");
    tokens.SetValue(static_cast<BSTR>(Bstr(L"a;b,c\0,d"sv)));
    EXPECT_EQ(tokens.All(), (Strings{L"a;b", L"c"}));
    tokens.Add(static_cast<BSTR>(Bstr(L"x\0y"sv)));
    EXPECT_BSTR(tokens.Token(2), L"x");
}

TEST_P(NXTokenStringTest, Texts_Written_BelongToTheCaller) {
    const Bstr value(L"x,y\0z"sv);
    abc.SetValue(static_cast<BSTR>(value));
    EXPECT_BSTR(value, L"x,y\0z"sv);
    value[0] = L'X';
    EXPECT_BSTR(abc.Token(0), L"x");
    const Bstr separator(L"yY");
    abc.SetSeparator(static_cast<BSTR>(separator));
    separator[0] = L'?';
    EXPECT_BSTR(abc.Separator(), L"yY");
}

TEST_P(NXTokenStringTest, Texts_Read_AreCopies) {
    abc.SetValue(L"only");
    const Bstr token = abc.Token(0);
    const Bstr value = abc.Value();
    const Bstr separator = abc.Separator();
    token[0] = value[0] = separator[0] = L'X';
    EXPECT_BSTR(abc.Token(0), L"only");
    EXPECT_BSTR(abc.Value(), L"only");
    EXPECT_BSTR(abc.Separator(), L",");
    EXPECT_BSTR(value, L"Xnly");
}

TEST_P(NXTokenStringTest, Value_OfManyTokens) {
    std::wstring value;
    for (int n = 0; n < 5000; ++n) {
        value += (n == 0 ? L"" : L",") + std::to_wstring(n);
    }
    abc.SetValue(value.c_str());
    EXPECT_EQ(abc.Count(), 5000);
    EXPECT_BSTR(abc.Token(4999), L"4999");
    EXPECT_BSTR(abc.Value(), value);
}

// Separator

TEST_P(NXTokenStringTest, Separator_WrittenAfterTheValue_SplitsIt) {
    tokens.SetValue(L"a,b,c");
    EXPECT_EQ(tokens.Count(), 1);
    tokens.SetSeparator(L",");
    EXPECT_EQ(tokens.All(), (Strings{L"a", L"b", L"c"}));
}

TEST_P(NXTokenStringTest, Separator_Written_JoinsUnderTheOldRule) {
    const TokenString several(GetParam(), L";,", L"a;b,c");
    several.SetSeparator(L",");
    EXPECT_EQ(several.All(), Strings{L"a;b;c"});
}

TEST_P(NXTokenStringTest, Separator_EmptyOrNull_JoinsToOneToken) {
    abc.SetSeparator(L"");
    EXPECT_EQ(abc.All(), Strings{L"a,b,c"});
    EXPECT_BSTR(abc.Separator(), L"");
    abc.SetSeparator(L",");
    EXPECT_EQ(abc.Count(), 3);
    abc.SetSeparator(nullText);
    EXPECT_EQ(abc.All(), Strings{L"a,b,c"});
    EXPECT_NULL_BSTR(abc.Separator());
}

TEST_P(NXTokenStringTest, Separator_NeverWritten_StaysNull) {
    tokens.SetMultiCharacter(VARIANT_TRUE);
    tokens.SetValue(L"a");
    tokens.Add(L"b");
    EXPECT_NULL_BSTR(tokens.Separator());
    EXPECT_BSTR(tokens.Value(), L"ab");
}

TEST_P(NXTokenStringTest, Separator_Written_ResetsMultiCharacter) {
    tokens.SetSeparator(L";,");
    tokens.SetMultiCharacter(VARIANT_TRUE);
    tokens.SetValue(L"x;,y");
    EXPECT_EQ(tokens.All(), (Strings{L"x", L"y"}));
    tokens.SetSeparator(L";,");
    EXPECT_EQ(tokens.MultiCharacter(), VARIANT_FALSE);
    EXPECT_EQ(tokens.All(), (Strings{L"x", L"", L"y"}));
}

// MultiCharacter

TEST_P(NXTokenStringTest, MultiCharacter_IsTrueOnlyForMinusOne) {
    for (const int value : {1, 2, -2, 0xFF, 0x7FFF, -0x8000, 0}) {
        SCOPED_TRACE(value);
        tokens.SetMultiCharacter(VARIANT_TRUE);
        EXPECT_EQ(tokens.MultiCharacter(), VARIANT_TRUE);
        tokens.SetMultiCharacter(static_cast<VARIANT_BOOL>(value));
        EXPECT_EQ(tokens.MultiCharacter(), VARIANT_FALSE);
    }
}

TEST_P(NXTokenStringTest, MultiCharacter_Written_JoinsUnderTheOldModeAndSplitsUnderTheNew) {
    const TokenString several(GetParam(), L";,", L"a;b,c");
    several.SetMultiCharacter(VARIANT_TRUE);
    EXPECT_EQ(several.All(), Strings{L"a;b;c"});
    several.SetValue(L"a;,b");
    EXPECT_EQ(several.Count(), 2);
    several.SetMultiCharacter(VARIANT_FALSE);
    EXPECT_EQ(several.All(), (Strings{L"a", L"", L"b"}));
    EXPECT_BSTR(several.Separator(), L";,");
}

TEST_P(NXTokenStringTest, MultiCharacter_WrittenUnchanged_SplitsAgain) {
    abc.Add(L"p,q");
    abc.SetMultiCharacter(VARIANT_FALSE);
    EXPECT_EQ(abc.All(), (Strings{L"a", L"b", L"c", L"p", L"q"}));
}

TEST_P(NXTokenStringTest, OrderOfWrites_Matters) {
    tokens.SetMultiCharacter(VARIANT_TRUE);
    tokens.SetSeparator(L"ab");
    tokens.SetValue(L"1ab2");
    EXPECT_EQ(tokens.All(), (Strings{L"1", L"", L"2"})) << "mode before separator";

    const TokenString ordered(GetParam());
    ordered.SetSeparator(L"ab");
    ordered.SetMultiCharacter(VARIANT_TRUE);
    ordered.SetValue(L"1ab2");
    EXPECT_EQ(ordered.All(), (Strings{L"1", L"2"})) << "separator before mode";

    const TokenString late(GetParam(), L"ab", L"1ab2");
    late.SetMultiCharacter(VARIANT_TRUE);
    EXPECT_EQ(late.All(), Strings{L"1aa2"}) << "value before mode: joined with the first character";
}

// Add

TEST_P(NXTokenStringTest, Add_AppendsOneTokenUnsplit) {
    abc.Add(L"p,q");
    EXPECT_EQ(abc.Count(), 4);
    EXPECT_BSTR(abc.Token(3), L"p,q");
    EXPECT_BSTR(abc.Value(), L"a,b,c,p,q");
    EXPECT_EQ(abc.Count(), 4) << "reading splits nothing";
    abc.SetSeparator(L",");
    EXPECT_EQ(abc.Count(), 5);
}

TEST_P(NXTokenStringTest, Add_ToANewObject) {
    tokens.Add(L"first");
    tokens.Add(L"");
    tokens.Add(nullText);
    EXPECT_EQ(tokens.Count(), 3);
    EXPECT_BSTR(tokens.Token(1), L"");
    EXPECT_NULL_BSTR(tokens.Token(2));
    EXPECT_BSTR(tokens.Value(), L"first");
}

// Token

TEST_P(NXTokenStringTest, Token_OutsideTheTokens_IsRefused) {
    for (const int n : {3, 4, INT_MAX, -1, -3, INT_MIN}) {
        SCOPED_TRACE(n);
        EXPECT_TRUE(abc.RefusesIndex([&] { abc.Token(n); }));
    }
    EXPECT_EQ(abc.Count(), 3);
    abc.SetValue(L"one");
    EXPECT_TRUE(abc.RefusesIndex([&] { abc.Token(1); })) << "there was one before";
}

// Enumeration

TEST_P(NXTokenStringTest, NewEnum_DeliversAllTokensInOrder) {
    EXPECT_EQ(StringsOf(abc.NewEnum()), (Strings{L"a", L"b", L"c"}));
    EXPECT_EQ(StringsOf(tokens.NewEnum()), Strings{});
    abc.SetValue(L",x");
    EXPECT_BSTR(NextOf(abc.NewEnum()).Text(), L"");
}

TEST_P(NXTokenStringTest, NewEnum_KeepsTheObjectAlive) {
    TokenString owner(GetParam(), L",", L"1,2");
    const auto enumerator = owner.NewEnum();
    owner.Release();
    EXPECT_EQ(StringsOf(enumerator), (Strings{L"1", L"2"}));
}

TEST_P(NXTokenStringTest, NewEnum_GoesOnWithTheTokensOfNow) {
    const auto enumerator = abc.NewEnum();
    EXPECT_BSTR(NextOf(enumerator).Text(), L"a");
    abc.Add(L"d");
    abc.SetValue(L"1,2,3,4,5");
    EXPECT_BSTR(NextOf(enumerator).Text(), L"2");
    abc.SetSeparator(L"3");
    EXPECT_EQ(StringsOf(enumerator), Strings{}) << "two tokens are left";
    abc.SetSeparator(L",");
    EXPECT_EQ(StringsOf(enumerator), (Strings{L"3", L"4", L"5"}));
    abc.SetValue(L"");
    EXPECT_EQ(StringsOf(enumerator), Strings{});
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_EQ(StringsOf(enumerator), Strings{});
}

} // namespace
