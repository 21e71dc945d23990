// NXTokenString late-bound: names, arguments, and failures.

#include <string>
#include <utility>
#include <vector>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::Binding;
using support::Bstr;
using support::Create;
using support::DispatchObject;
using support::EnumeratorOf;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::Reply;
using support::StringsOf;
using support::TokenString;
using support::TokenStringId;
using support::Variant;

using Strings = std::vector<std::wstring>;

class NXTokenStringLateBoundTest : public support::ClassTest<TokenString> {
  protected:
    static TokenString NewTokens() { return TokenString(Binding::LateBound, L";,", L"a,b"); }

    const TokenString tokens = NewTokens();
    const DispatchObject object = tokens.LateBound();
};

TEST_F(NXTokenStringLateBoundTest, GetIDsOfNames_FindsEveryMember) {
    support::ExpectIds(object, {{L"Value", TokenStringId::Value},
                                {L"Separator", TokenStringId::Separator},
                                {L"MultiCharacter", TokenStringId::MultiCharacter},
                                {L"Add", TokenStringId::Add},
                                {L"Count", TokenStringId::Count},
                                {L"Token", TokenStringId::Token},
                                {L"token", TokenStringId::Token},
                                {L"_NewEnum", DISPID_NEWENUM}});
    support::ExpectNoIds(object, {L"Item"});
}

TEST_F(NXTokenStringLateBoundTest, BothBindings_ReachTheSameTokens) {
    const DispatchObject lateBound = Create(CLSID_NXTokenString);
    const CComPtr<INXTokenString> vtable = lateBound.As<INXTokenString>();
    vtable->put_Value(Bstr(L"a,b"));
    lateBound.Put(L"Separator", L",");
    long count = 0;
    vtable->get_Count(&count);
    EXPECT_EQ(count, 2);
    EXPECT_BSTR(lateBound.Get(L"Token", 1).value.Text(), L"b");
}

TEST_F(NXTokenStringLateBoundTest, Members_AreReachedByDispid) {
    EXPECT_HR(object.Put(TokenStringId::Separator, L",").hr, S_OK);
    EXPECT_HR(object.Put(TokenStringId::MultiCharacter, true).hr, S_OK);
    EXPECT_HR(object.Put(TokenStringId::Value, L"x,y").hr, S_OK);
    EXPECT_HR(object.Call(TokenStringId::Add, L"z").hr, S_OK);
    EXPECT_EQ(object.Get(TokenStringId::Count).value.Int(), 3);
    EXPECT_BSTR(object.Get(TokenStringId::Token, 2).value.Text(), L"z");
    EXPECT_BSTR(object.Get(TokenStringId::Separator).value.Text(), L",");
    EXPECT_EQ(object.Get(TokenStringId::MultiCharacter).value.Type(), VT_BOOL);
    EXPECT_BSTR(object.Get(TokenStringId::Value).value.Text(), L"x,y,z");
}

TEST_F(NXTokenStringLateBoundTest, Properties_CalledAsMethods_AreRead) {
    EXPECT_BSTR(object.Call(L"Token", 0).value.Text(), L"a");
    EXPECT_BSTR(object.Call(L"Value").value.Text(), L"a;b");
    const Reply reply = object.Call(DISPID_NEWENUM);
    ASSERT_EQ(reply.value.Type(), VT_UNKNOWN);
    EXPECT_EQ(StringsOf(EnumeratorOf(V_UNKNOWN(reply.value.Raw()))), (Strings{L"a", L"b"}));
}

TEST_F(NXTokenStringLateBoundTest, MultiCharacter_ANumberIsConvertedToABooleanFirst) {
    EXPECT_HR(object.Put(L"MultiCharacter", 1).hr, S_OK);
    EXPECT_EQ(tokens.MultiCharacter(), VARIANT_TRUE) << "the dispatcher converts it to -1";
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
    EXPECT_EQ(tokens.All(), (Strings{L"a", L"b"}));
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
        {"get Value", call(TokenStringId::Value, DISPATCH_PROPERTYGET, {})},
        {"put Value", call(TokenStringId::Value, DISPATCH_PROPERTYPUT, {L"1,2"})},
        {"get Separator", call(TokenStringId::Separator, DISPATCH_PROPERTYGET, {})},
        {"put Separator", call(TokenStringId::Separator, DISPATCH_PROPERTYPUT, {L",,"})},
        {"put MultiCharacter", call(TokenStringId::MultiCharacter, DISPATCH_PROPERTYPUT, {true})},
        {"Add", call(TokenStringId::Add, DISPATCH_METHOD, {L"x,y"})},
        {"Add of a number", call(TokenStringId::Add, DISPATCH_METHOD, {42})},
        {"get Token", call(TokenStringId::Token, DISPATCH_PROPERTYGET, {1})},
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
                EXPECT_EQ(made.All(), (Strings{L"1", L"2"})) << "with memory again";
            });
    }
}

} // namespace
