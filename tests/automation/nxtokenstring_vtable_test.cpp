// NXTokenString through the vtable: results and failures.

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::Binding;
using support::Bstr;
using support::ForEachAllocationFailure;
using support::Require;
using support::TokenString;

using Strings = std::vector<std::wstring>;

class NXTokenStringVtableTest : public support::ClassTest<TokenString> {
  protected:
    static TokenString NewTokens() { return TokenString(Binding::Vtable, L";,", L"a,b"); }
};

TEST_F(NXTokenStringVtableTest, InvalidIndex_LeavesTheResult) {
    const TokenString tokens = NewTokens();
    OLECHAR untouched[] = L"not a BSTR";
    BSTR result = untouched;
    EXPECT_HR(tokens.Raw()->get_Token(2, &result), E_FAIL);
    EXPECT_EQ(result, untouched);
    SetErrorInfo(0, nullptr);
}

/// Tokens and the result of a read.
struct Reading {
    TokenString tokens;
    BSTR result;
};

/// Makes each allocation of a read fail. The result and the tokens must not change.
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
            EXPECT_EQ(world.tokens.All(), (Strings{L"a", L"b"}));
        },
        support::OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NXTokenStringVtableTest, Reads_OutOfMemory_ChangeNothing) {
    TestReadOutOfMemory(NewTokens, [](INXTokenString* tokens, BSTR* result) { return tokens->get_Value(result); });
    TestReadOutOfMemory(NewTokens, [](INXTokenString* tokens, BSTR* result) { return tokens->get_Separator(result); });
    TestReadOutOfMemory(NewTokens, [](INXTokenString* tokens, BSTR* result) { return tokens->get_Token(1, result); });
}

TEST_F(NXTokenStringVtableTest, TokenAndSeparator_OutOfMemory_ReturnTheFailure) {
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

/// Tokens and a string to write.
struct Writing {
    TokenString tokens;
    Bstr text{L"x;,y"};
};

TEST_F(NXTokenStringVtableTest, Add_OutOfMemory_Raises_AddsNothing) {
    ForEachAllocationFailure([] { return Writing{NewTokens()}; },
                             [](Writing& world) { Require(world.tokens.Raw()->Add(world.text), "Add"); },
                             [](const Writing& world) {
                                 EXPECT_EQ(world.tokens.All(), (Strings{L"a", L"b"}));
                                 EXPECT_HR(world.tokens.Raw()->Add(world.text), S_OK);
                                 EXPECT_EQ(world.tokens.All(), (Strings{L"a", L"b", L"x;,y"}));
                             },
                             support::OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NXTokenStringVtableTest, Writes_OutOfMemory_Raise_ObjectIsUsable) {
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
                                     EXPECT_EQ(world.tokens.All(), (Strings{L"1", L"2"}));
                                 },
                                 support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

} // namespace
