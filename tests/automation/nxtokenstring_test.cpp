// NXTokenString, the object in the registered DLL: every member through the vtable and late-bound, then what is special
// to either way to call.

#include <climits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::Bstr;
using support::Create;
using support::DispatchObject;
using support::EnumeratorOf;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::NextOf;
using support::Reply;
using support::Require;
using support::TextsOf;
using support::Variant;
using support::Way;

using Texts = std::vector<std::wstring>;

// The members' DISPIDs, which compiled scripts contain.
constexpr DISPID idValue = 0x60020000;
constexpr DISPID idSeparator = 0x60020002;
constexpr DISPID idMultiCharacter = 0x60020004;
constexpr DISPID idAdd = 0x60020006;
constexpr DISPID idCount = 0x60020007;
constexpr DISPID idToken = DISPID_VALUE;

constexpr BSTR nullText = nullptr;

void WarmUp() {
    support::WarmUp(CLSID_NXTokenString, {.member = idToken, .flags = DISPATCH_PROPERTYGET, .arguments = {5}},
                    {.member = idAdd, .arguments = {L"x"}});
}

class TokenString : public support::Client<INXTokenString> {
  public:
    explicit TokenString(Way way) : Client(way, CLSID_NXTokenString) {}

    Bstr Value() const { return Get<BSTR>(L"Value", &INXTokenString::get_Value); }
    void SetValue(BSTR value) const { Put(L"Value", &INXTokenString::put_Value, value); }
    void SetValue(const wchar_t* value) const { SetValue(static_cast<BSTR>(Bstr(value))); }
    Bstr Separator() const { return Get<BSTR>(L"Separator", &INXTokenString::get_Separator); }
    void SetSeparator(BSTR value) const { Put(L"Separator", &INXTokenString::put_Separator, value); }
    void SetSeparator(const wchar_t* value) const { SetSeparator(static_cast<BSTR>(Bstr(value))); }
    VARIANT_BOOL MultiCharacter() const {
        return Get<VARIANT_BOOL>(L"MultiCharacter", &INXTokenString::get_MultiCharacter);
    }
    void SetMultiCharacter(VARIANT_BOOL value) const {
        Put(L"MultiCharacter", &INXTokenString::put_MultiCharacter, value);
    }
    void Add(BSTR token) const { Call(L"Add", &INXTokenString::Add, token); }
    void Add(const wchar_t* token) const { Add(static_cast<BSTR>(Bstr(token))); }
    long Count() const { return Get<long>(L"Count", &INXTokenString::get_Count); }
    Bstr Token(long n) const { return Get<BSTR>(DISPID_VALUE, &INXTokenString::get_Token, n); }
    CComPtr<IEnumVARIANT> NewEnum() const {
        return EnumeratorOf(Get<IUnknown*>(DISPID_NEWENUM, &INXTokenString::get__NewEnum));
    }

    template <class Action> [[nodiscard]] ::testing::AssertionResult Refuses(Action action) const {
        return IsIndexError(L"Nuvolex.NXTokenString.1", action);
    }

    /// All tokens, read one by one.
    [[nodiscard]] Texts All() const {
        Texts all;
        for (long n = 0; n < Count(); ++n) {
            const Bstr token = Token(n);
            all.emplace_back(token == nullptr ? L"" : static_cast<BSTR>(token), SysStringLen(token));
        }
        return all;
    }
};

class NXTokenStringTest : public ::testing::TestWithParam<Way> {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

    static TokenString NewTokens(const wchar_t* separator, const wchar_t* value) {
        TokenString made(GetParam());
        made.SetSeparator(separator);
        made.SetValue(value);
        return made;
    }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    const TokenString tokens{GetParam()};
    const TokenString abc = NewTokens(L",", L"a,b,c");
};

INSTANTIATE_TEST_SUITE_P(ByWayToCall, NXTokenStringTest, ::testing::Values(Way::Vtable, Way::LateBound),
                         support::NameOfWay);

TEST_P(NXTokenStringTest, New_HasNothing) {
    EXPECT_EQ(tokens.Count(), 0);
    EXPECT_NULL_BSTR(tokens.Value());
    EXPECT_NULL_BSTR(tokens.Separator());
    EXPECT_EQ(tokens.MultiCharacter(), VARIANT_FALSE);
    EXPECT_TRUE(tokens.Refuses([&] { tokens.Token(0); }));
}

// Value

TEST_P(NXTokenStringTest, Value_IsSplitAtTheSeparator) {
    EXPECT_EQ(abc.All(), (Texts{L"a", L"b", L"c"}));
    EXPECT_BSTR(abc.Value(), L"a,b,c");
}

TEST_P(NXTokenStringTest, Value_Written_ReplacesAllTokens) {
    abc.SetValue(L"x,y");
    EXPECT_EQ(abc.All(), (Texts{L"x", L"y"}));
    EXPECT_BSTR(abc.Separator(), L",");
}

TEST_P(NXTokenStringTest, Value_SeparatorsAtTheEndsOrAdjacent_EncloseZeroLengthTokens) {
    abc.SetValue(L",a,,b,");
    EXPECT_EQ(abc.All(), (Texts{L"", L"a", L"", L"b", L""}));
    EXPECT_BSTR(abc.Token(0), L"");
    EXPECT_BSTR(abc.Token(2), L"");
    EXPECT_BSTR(abc.Token(4), L"");
    EXPECT_BSTR(abc.Value(), L",a,,b,");
    abc.SetValue(L",");
    EXPECT_EQ(abc.All(), (Texts{L"", L""}));
}

TEST_P(NXTokenStringTest, Value_TokensAreNotTrimmed) {
    abc.SetValue(L" a , ");
    EXPECT_EQ(abc.All(), (Texts{L" a ", L" "}));
}

TEST_P(NXTokenStringTest, Value_ZeroLengthOrNull_HasNoTokens) {
    abc.SetValue(L"");
    EXPECT_EQ(abc.Count(), 0);
    EXPECT_NULL_BSTR(abc.Value());
    abc.SetValue(L"a,b");
    abc.SetValue(nullText);
    EXPECT_EQ(abc.Count(), 0);
    EXPECT_NULL_BSTR(abc.Value());
}

TEST_P(NXTokenStringTest, Value_WithoutSeparator_IsOneToken) {
    tokens.SetValue(L"a,b");
    EXPECT_EQ(tokens.All(), Texts{L"a,b"});
    EXPECT_BSTR(tokens.Value(), L"a,b");
}

TEST_P(NXTokenStringTest, Texts_WithEmbeddedNul_CountUpToTheNul) {
    tokens.SetSeparator(static_cast<BSTR>(Bstr(L",\0;"sv)));
    EXPECT_BSTR(tokens.Separator(), L",");
    tokens.SetValue(static_cast<BSTR>(Bstr(L"a;b,c\0,d"sv)));
    EXPECT_EQ(tokens.All(), (Texts{L"a;b", L"c"}));
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

TEST_P(NXTokenStringTest, Texts_Read_AreCopiesOfTheirOwn) {
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
    EXPECT_EQ(tokens.All(), (Texts{L"a", L"b", L"c"}));
}

TEST_P(NXTokenStringTest, Separator_OfSeveralCharacters_EachSeparates) {
    const TokenString several = NewTokens(L";,", L"a;b,c");
    EXPECT_EQ(several.All(), (Texts{L"a", L"b", L"c"}));
    EXPECT_BSTR(several.Value(), L"a;b;c") << "joined with the first";
}

TEST_P(NXTokenStringTest, Separator_Written_JoinsUnderTheOldRule) {
    const TokenString several = NewTokens(L";,", L"a;b,c");
    several.SetSeparator(L",");
    EXPECT_EQ(several.All(), Texts{L"a;b;c"});
}

TEST_P(NXTokenStringTest, Separator_OfZeroLengthOrNull_JoinsToOneToken) {
    abc.SetSeparator(L"");
    EXPECT_EQ(abc.All(), Texts{L"a,b,c"});
    EXPECT_BSTR(abc.Separator(), L"");
    abc.SetSeparator(L",");
    EXPECT_EQ(abc.Count(), 3);
    abc.SetSeparator(nullText);
    EXPECT_EQ(abc.All(), Texts{L"a,b,c"});
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
    EXPECT_EQ(tokens.All(), (Texts{L"x", L"y"}));
    tokens.SetSeparator(L";,");
    EXPECT_EQ(tokens.MultiCharacter(), VARIANT_FALSE);
    EXPECT_EQ(tokens.All(), (Texts{L"x", L"", L"y"}));
}

// MultiCharacter

TEST_P(NXTokenStringTest, MultiCharacter_TheWholeSeparatorSeparates) {
    tokens.SetSeparator(L";,");
    tokens.SetMultiCharacter(VARIANT_TRUE);
    EXPECT_EQ(tokens.MultiCharacter(), VARIANT_TRUE);
    tokens.SetValue(L"a;,b;c");
    EXPECT_EQ(tokens.All(), (Texts{L"a", L"b;c"}));
    EXPECT_BSTR(tokens.Value(), L"a;,b;c");
}

TEST_P(NXTokenStringTest, MultiCharacter_MatchesDoNotOverlap) {
    tokens.SetSeparator(L",,");
    tokens.SetMultiCharacter(VARIANT_TRUE);
    tokens.SetValue(L"a,,,b");
    EXPECT_EQ(tokens.All(), (Texts{L"a", L",b"}));
}

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
    const TokenString several = NewTokens(L";,", L"a;b,c");
    several.SetMultiCharacter(VARIANT_TRUE);
    EXPECT_EQ(several.All(), Texts{L"a;b;c"});
    several.SetValue(L"a;,b");
    EXPECT_EQ(several.Count(), 2);
    several.SetMultiCharacter(VARIANT_FALSE);
    EXPECT_EQ(several.All(), (Texts{L"a", L"", L"b"}));
    EXPECT_BSTR(several.Separator(), L";,");
}

TEST_P(NXTokenStringTest, MultiCharacter_WrittenAsItWas_SplitsAgain) {
    abc.Add(L"p,q");
    abc.SetMultiCharacter(VARIANT_FALSE);
    EXPECT_EQ(abc.All(), (Texts{L"a", L"b", L"c", L"p", L"q"}));
}

TEST_P(NXTokenStringTest, OrderOfWrites_Matters) {
    tokens.SetMultiCharacter(VARIANT_TRUE);
    tokens.SetSeparator(L"ab");
    tokens.SetValue(L"1ab2");
    EXPECT_EQ(tokens.All(), (Texts{L"1", L"", L"2"})) << "mode before separator";

    const TokenString ordered(GetParam());
    ordered.SetSeparator(L"ab");
    ordered.SetMultiCharacter(VARIANT_TRUE);
    ordered.SetValue(L"1ab2");
    EXPECT_EQ(ordered.All(), (Texts{L"1", L"2"})) << "separator before mode";

    const TokenString late = NewTokens(L"ab", L"1ab2");
    late.SetMultiCharacter(VARIANT_TRUE);
    EXPECT_EQ(late.All(), Texts{L"1aa2"}) << "value before mode: joined with the first character";
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

TEST_P(NXTokenStringTest, Add_ToNothing) {
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
        EXPECT_TRUE(abc.Refuses([&] { abc.Token(n); }));
    }
    EXPECT_EQ(abc.Count(), 3);
    abc.SetValue(L"one");
    EXPECT_TRUE(abc.Refuses([&] { abc.Token(1); })) << "there was one before";
}

// Enumeration

TEST_P(NXTokenStringTest, NewEnum_WalksAllTokensInOrder) {
    EXPECT_EQ(TextsOf(abc.NewEnum()), (Texts{L"a", L"b", L"c"}));
    EXPECT_EQ(TextsOf(tokens.NewEnum()), Texts{});
    abc.SetValue(L",x");
    EXPECT_BSTR(NextOf(abc.NewEnum()).Text(), L"");
}

TEST_P(NXTokenStringTest, NewEnum_KeepsTheObjectAlive) {
    TokenString owner = NewTokens(L",", L"1,2");
    const auto enumerator = owner.NewEnum();
    owner.Release();
    EXPECT_EQ(TextsOf(enumerator), (Texts{L"1", L"2"}));
}

TEST_P(NXTokenStringTest, NewEnum_GoesOnWithTheTokensThereAre) {
    const auto enumerator = abc.NewEnum();
    EXPECT_BSTR(NextOf(enumerator).Text(), L"a");
    abc.Add(L"d");
    abc.SetValue(L"1,2,3,4,5");
    EXPECT_BSTR(NextOf(enumerator).Text(), L"2");
    abc.SetSeparator(L"3");
    EXPECT_EQ(TextsOf(enumerator), Texts{}) << "two tokens are left";
    abc.SetSeparator(L",");
    EXPECT_EQ(TextsOf(enumerator), (Texts{L"3", L"4", L"5"}));
    abc.SetValue(L"");
    EXPECT_EQ(TextsOf(enumerator), Texts{});
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_EQ(TextsOf(enumerator), Texts{});
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to the vtable

class NXTokenStringVtableTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

    static TokenString NewTokens() {
        TokenString made(Way::Vtable);
        made.SetSeparator(L";,");
        made.SetValue(L"a,b");
        return made;
    }

  private:
    const ExpectNoLeaks m_noLeaks;
};

TEST_F(NXTokenStringVtableTest, BadIndex_LeavesTheResultAsItWas) {
    const TokenString tokens = NewTokens();
    OLECHAR untouched[] = L"not a BSTR";
    BSTR result = untouched;
    EXPECT_HR(tokens.Raw()->get_Token(2, &result), E_FAIL);
    EXPECT_EQ(result, untouched);
    SetErrorInfo(0, nullptr);
}

/// Tokens, and the place for a result.
struct Reading {
    TokenString tokens;
    BSTR result;
};

/// Lets each allocation of a read fail. The result's place and the tokens must stay as they were.
template <class Setup, class Operation> void TestReadOutOfMemory(Setup setup, Operation read) {
    OLECHAR untouched[] = L"not a BSTR";
    ForEachAllocationFailure(
        [&] {
            return Reading{setup(), untouched};
        },
        [&](Reading& world) {
            const HRESULT hr = read(world.tokens.Raw(), &world.result);
            if (SUCCEEDED(hr)) {
                SysFreeString(world.result);
            }
            return hr;
        },
        [&](const Reading& world) {
            EXPECT_EQ(world.result, untouched);
            EXPECT_EQ(world.tokens.All(), (Texts{L"a", L"b"}));
        },
        support::OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NXTokenStringVtableTest, Reads_OutOfMemory_LeaveEverythingAsItWas) {
    TestReadOutOfMemory(NewTokens, [](INXTokenString* tokens, BSTR* result) { return tokens->get_Value(result); });
    TestReadOutOfMemory(NewTokens, [](INXTokenString* tokens, BSTR* result) { return tokens->get_Separator(result); });
    TestReadOutOfMemory(NewTokens, [](INXTokenString* tokens, BSTR* result) { return tokens->get_Token(1, result); });
}

TEST_F(NXTokenStringVtableTest, TokenAndSeparator_OutOfMemory_IsReturned) {
    const TokenString tokens = NewTokens();
    BSTR result = nullptr;
    {
        const support::AllocationFault fault(1);
        EXPECT_HR(tokens.Raw()->get_Token(0, &result), E_OUTOFMEMORY);
        EXPECT_TRUE(fault.Fired());
    }
    {
        const support::AllocationFault fault(1);
        EXPECT_HR(tokens.Raw()->get_Separator(&result), E_OUTOFMEMORY);
        EXPECT_TRUE(fault.Fired());
    }
    EXPECT_EQ(result, nullptr);
}

/// Tokens and a text to be written.
struct Writing {
    TokenString tokens;
    Bstr text{L"x;,y"};
};

TEST_F(NXTokenStringVtableTest, Add_OutOfMemory_IsRaised_NothingAdded) {
    ForEachAllocationFailure([] { return Writing{NewTokens()}; },
                             [](Writing& world) { Require(world.tokens.Raw()->Add(world.text), "Add"); },
                             [](const Writing& world) {
                                 EXPECT_EQ(world.tokens.All(), (Texts{L"a", L"b"}));
                                 EXPECT_HR(world.tokens.Raw()->Add(world.text), S_OK);
                                 EXPECT_EQ(world.tokens.All(), (Texts{L"a", L"b", L"x;,y"}));
                             },
                             support::OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NXTokenStringVtableTest, Writes_OutOfMemory_AreRaised_ObjectUsable) {
    const auto writes = {
        +[](Writing& world) { Require(world.tokens.Raw()->put_Value(world.text), "put Value"); },
        +[](Writing& world) { Require(world.tokens.Raw()->put_Separator(world.text), "put Separator"); },
        +[](Writing& world) { Require(world.tokens.Raw()->put_MultiCharacter(VARIANT_TRUE), "put MultiCharacter"); },
    };
    for (const auto write : writes) {
        ForEachAllocationFailure([] { return Writing{NewTokens()}; }, write,
                                 [](const Writing& world) {
                                     EXPECT_BSTR(world.text, L"x;,y");
                                     world.tokens.SetSeparator(L",");
                                     world.tokens.SetValue(L"1,2");
                                     EXPECT_EQ(world.tokens.All(), (Texts{L"1", L"2"}));
                                 },
                                 support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to late-bound calls

class NXTokenStringLateBoundTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

    static TokenString NewTokens() {
        TokenString made(Way::LateBound);
        made.SetSeparator(L";,");
        made.SetValue(L"a,b");
        return made;
    }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    const TokenString tokens = NewTokens();
    const DispatchObject object = tokens.LateBound();
};

TEST_F(NXTokenStringLateBoundTest, GetIDsOfNames_KnowsEveryMember) {
    const std::pair<const wchar_t*, DISPID> members[] = {
        {L"Value", idValue}, {L"Separator", idSeparator},   {L"MultiCharacter", idMultiCharacter},
        {L"Add", idAdd},     {L"Count", idCount},           {L"Token", idToken},
        {L"token", idToken}, {L"_NewEnum", DISPID_NEWENUM},
    };
    for (const auto& [name, expected] : members) {
        DISPID id = 0x7777;
        EXPECT_HR(support::Member(name).Resolve(object.Raw(), id), S_OK);
        EXPECT_EQ(id, expected);
    }
    DISPID id = 0;
    EXPECT_HR(support::Member(L"Item").Resolve(object.Raw(), id), DISP_E_UNKNOWNNAME);
}

TEST_F(NXTokenStringLateBoundTest, Members_AreReachedByDispid) {
    EXPECT_HR(object.Put(idSeparator, L",").hr, S_OK);
    EXPECT_HR(object.Put(idMultiCharacter, true).hr, S_OK);
    EXPECT_HR(object.Put(idValue, L"x,y").hr, S_OK);
    EXPECT_HR(object.Call(idAdd, L"z").hr, S_OK);
    EXPECT_EQ(object.Get(idCount).value.Int(), 3);
    EXPECT_BSTR(object.Get(idToken, 2).value.Text(), L"z");
    EXPECT_BSTR(object.Get(idSeparator).value.Text(), L",");
    EXPECT_EQ(object.Get(idMultiCharacter).value.Type(), VT_BOOL);
    EXPECT_BSTR(object.Get(idValue).value.Text(), L"x,y,z");
}

TEST_F(NXTokenStringLateBoundTest, Properties_CalledAsMethods_AreRead) {
    EXPECT_BSTR(object.Call(L"Token", 0).value.Text(), L"a");
    EXPECT_BSTR(object.Call(L"Value").value.Text(), L"a;b");
    const Reply reply = object.Call(DISPID_NEWENUM);
    ASSERT_EQ(reply.value.Type(), VT_UNKNOWN);
    EXPECT_EQ(TextsOf(EnumeratorOf(V_UNKNOWN(reply.value.Raw()))), (Texts{L"a", L"b"}));
}

TEST_F(NXTokenStringLateBoundTest, MultiCharacter_ANumberBecomesABooleanFirst) {
    EXPECT_HR(object.Put(L"MultiCharacter", 1).hr, S_OK);
    EXPECT_EQ(tokens.MultiCharacter(), VARIANT_TRUE) << "the dispatcher makes -1 of it";
    EXPECT_HR(object.Put(L"MultiCharacter", 0).hr, S_OK);
    EXPECT_EQ(tokens.MultiCharacter(), VARIANT_FALSE);
}

TEST_F(NXTokenStringLateBoundTest, Arguments_ThatDoNotFit_ChangeNothing) {
    EXPECT_HR(object.Get(L"Token").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Get(L"Token", L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Put(L"Value", Variant::Null()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Put(L"MultiCharacter", L"maybe").hr, DISP_E_TYPEMISMATCH);
    EXPECT_TRUE(FAILED(object.Put(L"Count", 5).hr));
    EXPECT_TRUE(FAILED(object.Put(L"Token", 0, L"x").hr));
    EXPECT_EQ(tokens.All(), (Texts{L"a", L"b"}));
}

TEST_F(NXTokenStringLateBoundTest, OutOfMemory_IsAnHresult) {
    const auto call = [](DISPID member, WORD flags, std::vector<Variant> arguments) {
        Invocation made = {
            .member = member, .flags = flags, .arguments = std::move(arguments), .names = {}, .wantsValue = false};
        if (flags == DISPATCH_PROPERTYPUT) {
            made.names = {DISPID_PROPERTYPUT};
        }
        return made;
    };
    const std::pair<const char*, Invocation> calls[] = {
        {"get Value", call(idValue, DISPATCH_PROPERTYGET, {})},
        {"put Value", call(idValue, DISPATCH_PROPERTYPUT, {L"1,2"})},
        {"get Separator", call(idSeparator, DISPATCH_PROPERTYGET, {})},
        {"put Separator", call(idSeparator, DISPATCH_PROPERTYPUT, {L",,"})},
        {"put MultiCharacter", call(idMultiCharacter, DISPATCH_PROPERTYPUT, {true})},
        {"Add", call(idAdd, DISPATCH_METHOD, {L"x,y"})},
        {"Add of a number", call(idAdd, DISPATCH_METHOD, {42})},
        {"get Token", call(idToken, DISPATCH_PROPERTYGET, {1})},
        {"_NewEnum", call(DISPID_NEWENUM, DISPATCH_PROPERTYGET, {})},
    };
    for (const auto& [name, invocation] : calls) {
        SCOPED_TRACE(name);
        ForEachAllocationFailure(
            NewTokens,
            [&invocation = invocation](const TokenString& made) {
                return made.LateBound().Invoke(invocation).Failure();
            },
            [](const TokenString& made) {
                made.SetSeparator(L",");
                made.SetValue(L"1,2");
                EXPECT_EQ(made.All(), (Texts{L"1", L"2"})) << "with memory again";
            });
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The object

class NXTokenStringObjectTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;
};

TEST_F(NXTokenStringObjectTest, Interfaces_AreItsOwnAndTheGeneralOnes) {
    support::ExpectInterfacesOfObject<INXTokenString>(CLSID_NXTokenString);
}

TEST_F(NXTokenStringObjectTest, BothWaysToCall_ReachTheSameTokens) {
    const DispatchObject lateBound = Create(CLSID_NXTokenString);
    const CComPtr<INXTokenString> vtable = lateBound.As<INXTokenString>();
    vtable->put_Value(Bstr(L"a,b"));
    lateBound.Put(L"Separator", L",");
    long count = 0;
    vtable->get_Count(&count);
    EXPECT_EQ(count, 2);
    EXPECT_BSTR(lateBound.Get(L"Token", 1).value.Text(), L"b");
}

TEST_F(NXTokenStringObjectTest, LivingObjectOrEnumerator_KeepsTheDllLoaded) {
    ASSERT_FALSE(support::DllHoldsObjects());
    TokenString tokens(Way::Vtable);
    auto enumerator = tokens.NewEnum();
    tokens.Release();
    EXPECT_TRUE(support::DllHoldsObjects());
    enumerator.Release();
    EXPECT_FALSE(support::DllHoldsObjects());
}

} // namespace
