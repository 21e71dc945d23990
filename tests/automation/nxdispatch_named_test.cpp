// Late-bound calls with named arguments.

#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "automation/nxdispatch.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/localobject.h"
#include "tests/support/bstr.h"

namespace {

using support::CollectionId;
using support::CollectionOf;
using support::CountOf;
using support::DispatchObject;
using support::ListOf;
using support::New;
using support::noArgument;
using support::Reply;
using support::StringId;
using support::StringListId;
using support::StringOf;
using support::TextOf;
using support::Variant;

constexpr WORD get = DISPATCH_PROPERTYGET;
constexpr WORD put = DISPATCH_PROPERTYPUT;

using NXDispatchNamedArgumentsTest = support::DispatchTest;

/// A call whose last arguments are named, and its result.
struct NamedRow {
    const char* name;
    std::vector<Variant> arguments;
    std::vector<DISPID> names; ///< of the last arguments, in their order
    const wchar_t* text;       ///< null: the call is refused with DISP_E_PARAMNOTFOUND
    UINT badArgument = noArgument;
};

const NamedRow namedMethodRows[] = {
    // Mid(nStart, nLength) of "abcdef"
    {"No names", {1, 3}, {}, L"bcd"},
    {"Second", {1, 3}, {1}, L"bcd"},
    {"Both", {1, 3}, {0, 1}, L"bcd"},
    {"Both in the other order", {3, 1}, {1, 0}, L"bcd"},
    {"Unknown, the only one", {1, 3}, {2}, nullptr, 0},
    {"Unknown, with a parameter's DISPID in its low byte", {1, 3}, {0x101}, nullptr, 0},
    {"Unknown, negative", {1, 3}, {-255}, nullptr, 0},
    {"Unknown, passed first", {1, 3}, {7, 1}, nullptr, 1},
    {"Unknown, passed last", {1, 3}, {0, 7}, nullptr, 0},
    {"Negative", {1, 3}, {DISPID_UNKNOWN}, nullptr, 0},
    {"Of a positional argument", {1, 3}, {0}, nullptr, 0},
    {"DISPID_PROPERTYPUT in a method", {1, 3}, {DISPID_PROPERTYPUT}, nullptr, 0},
};

TEST_F(NXDispatchNamedArgumentsTest, OfAMethod_AreMatchedByDispid) {
    for (const NamedRow& row : namedMethodRows) {
        const Reply reply =
            StringOf(L"abcdef").Invoke({.member = StringId::Mid, .arguments = row.arguments, .names = row.names});
        EXPECT_HR(reply.hr, row.text != nullptr ? S_OK : DISP_E_PARAMNOTFOUND) << row.name;
        EXPECT_EQ(reply.badArgument, row.badArgument) << row.name;
        if (row.text != nullptr) {
            EXPECT_BSTR(reply.value.Text(), row.text) << row.name;
        }
    }
}

const NamedRow namedPutRows[] = {
    // Item(index) = new value, of ("zero", "one")
    {"New value", {1, L"new"}, {DISPID_PROPERTYPUT}, L"new"},
    {"Index and new value", {1, L"new"}, {0, DISPID_PROPERTYPUT}, L"new"},
    {"New value and index", {L"new", 1}, {DISPID_PROPERTYPUT, 0}, L"new"},
    {"New value without a name", {1, L"new"}, {}, nullptr, 0},
    {"New value by position", {1, L"new"}, {1}, nullptr, 0},
    {"Both by position", {1, L"new"}, {0, 1}, nullptr, 0},
    {"New value without a name after a named index", {L"new", 1}, {0}, nullptr, 0},
};

TEST_F(NXDispatchNamedArgumentsTest, OfAPut_NameTheNewValue) {
    for (const NamedRow& row : namedPutRows) {
        const DispatchObject list = ListOf({L"zero", L"one"});
        const Reply reply =
            list.Invoke({.member = StringListId::Item, .flags = put, .arguments = row.arguments, .names = row.names});
        EXPECT_HR(reply.hr, row.text != nullptr ? S_OK : DISP_E_PARAMNOTFOUND) << row.name;
        EXPECT_EQ(reply.badArgument, row.badArgument) << row.name;
        EXPECT_BSTR(list.Get(L"Item", 1).value.Text(), row.text != nullptr ? row.text : L"one") << row.name;
        EXPECT_EQ(CountOf<INXStringList>(list), 2) << row.name;
    }
}

TEST_F(NXDispatchNamedArgumentsTest, OfAPutWithoutOthers_NameTheNewValue) {
    const DispatchObject object = StringOf(L"old");
    for (const std::vector<DISPID>& names : {std::vector<DISPID>{}, {0}, {DISPID_UNKNOWN}}) {
        const Reply reply =
            object.Invoke({.member = StringId::Value, .flags = put, .arguments = {L"new"}, .names = names});
        EXPECT_HR(reply.hr, DISP_E_PARAMNOTFOUND);
        EXPECT_EQ(reply.badArgument, 0u);
        EXPECT_BSTR(TextOf(object), L"old");
    }
}

TEST_F(NXDispatchNamedArgumentsTest, GivenTwice_AreRefused) {
    const auto expectRefused = [](const Reply& reply) {
        EXPECT_HR(reply.hr, DISP_E_PARAMNOTFOUND);
        EXPECT_LE(reply.badArgument, 1u) << "either of the two";
    };
    const DispatchObject object = StringOf(L"abcdef");
    expectRefused(object.Invoke({.member = StringId::Mid, .arguments = {1, 3}, .names = {0, 0}}));
    expectRefused(object.Invoke({.member = StringId::Mid, .arguments = {1, 3}, .names = {1, 1}}));
    const DispatchObject list = ListOf({L"zero", L"one"});
    expectRefused(list.Invoke({.member = StringListId::Item,
                               .flags = put,
                               .arguments = {1, L"new"},
                               .names = {DISPID_PROPERTYPUT, DISPID_PROPERTYPUT}}));
    EXPECT_BSTR(list.Get(L"Item", 1).value.Text(), L"one");
}

TEST_F(NXDispatchNamedArgumentsTest, OfAGet_HaveNoNewValue) {
    const DispatchObject list = ListOf({L"zero", L"one"});
    const Reply refused =
        list.Invoke({.member = StringListId::Item, .flags = get, .arguments = {1}, .names = {DISPID_PROPERTYPUT}});
    EXPECT_HR(refused.hr, DISP_E_PARAMNOTFOUND);
    EXPECT_EQ(refused.badArgument, 0u);
    const Reply reply = list.Invoke({.member = StringListId::Item, .flags = get, .arguments = {1}, .names = {0}});
    EXPECT_BSTR(reply.value.Text(), L"one");
}

TEST_F(NXDispatchNamedArgumentsTest, WithoutTheOptionalOnes_AreEnough) {
    const DispatchObject collection = CollectionOf(1);
    EXPECT_HR(collection.Invoke({.member = CollectionId::Add, .arguments = {L"last"}, .names = {0}}).hr, S_OK);
    EXPECT_HR(collection.Invoke({.member = CollectionId::Add, .arguments = {1, L"first"}, .names = {1, 0}}).hr, S_OK);
    EXPECT_BSTR(collection.Get(L"Item", 1).value.Text(), L"first");
    EXPECT_EQ(collection.Get(L"Item", 2).value.Int(), 1);
    EXPECT_BSTR(collection.Get(L"Item", 3).value.Text(), L"last");
    EXPECT_HR(collection.Invoke({.member = CollectionId::Remove, .arguments = {1}, .names = {0}}).hr, S_OK);
    EXPECT_EQ(collection.Get(L"Item", 1).value.Int(), 1);
}

TEST_F(NXDispatchNamedArgumentsTest, BadArgument_IsOptional) {
    const DispatchObject object = StringOf(L"abcdef");
    EXPECT_HR(object.Invoke({.member = StringId::Mid, .arguments = {1, 3}, .names = {7}, .wantsDetails = false}).hr,
              DISP_E_PARAMNOTFOUND);
    EXPECT_HR(object.Invoke({.member = StringId::Mid, .arguments = {1, L"x"}, .wantsDetails = false}).hr,
              DISP_E_TYPEMISMATCH);
}

} // namespace
