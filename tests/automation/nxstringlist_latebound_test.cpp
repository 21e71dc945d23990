// NXStringList late-bound: names, arguments, and failures.

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
using support::StringList;
using support::StringListId;
using support::StringsOf;
using support::Variant;

using Strings = std::vector<std::wstring>;

class NXStringListLateBoundTest : public support::ClassTest<StringList> {
  protected:
    static StringList NewList() { return StringList(Binding::LateBound, {L"a", L"b"}); }

    const StringList strings = NewList();
    const DispatchObject list = strings.LateBound();
};

TEST_F(NXStringListLateBoundTest, GetIDsOfNames_FindsEveryMember) {
    support::ExpectIds(list, {{L"Item", StringListId::Item},
                              {L"ITEM", StringListId::Item},
                              {L"New", StringListId::New},
                              {L"Remove", StringListId::Remove},
                              {L"Count", StringListId::Count},
                              {L"_Item", StringListId::DefaultItem},
                              {L"_NewEnum", DISPID_NEWENUM},
                              {L"Add", StringListId::Add}});
    support::ExpectNoIds(list, {L"Clear"});
}

TEST_F(NXStringListLateBoundTest, BothBindings_ReachTheSameStrings) {
    const DispatchObject lateBound = Create(CLSID_NXStringList);
    const CComPtr<INXStringList> vtable = lateBound.As<INXStringList>();
    vtable->Add(Bstr(L"one"));
    EXPECT_BSTR(lateBound.Get(L"Item", 0).value.Text(), L"one");
    lateBound.Put(L"New", L"two");
    long count = 0;
    vtable->get_Count(&count);
    EXPECT_EQ(count, 2);
}

TEST_F(NXStringListLateBoundTest, Members_AreReachedByDispid) {
    EXPECT_BSTR(list.Get(StringListId::Item, 1).value.Text(), L"b");
    EXPECT_BSTR(list.Get(StringListId::DefaultItem, 1).value.Text(), L"b");
    EXPECT_HR(list.Put(StringListId::Item, 0, L"A").hr, S_OK);
    EXPECT_HR(list.Put(StringListId::New, L"c").hr, S_OK);
    EXPECT_HR(list.Call(StringListId::Add, L"d").hr, S_OK);
    EXPECT_HR(list.Call(StringListId::Remove, 1).hr, S_OK);
    EXPECT_EQ(list.Get(StringListId::Count).value.Int(), 3);
    EXPECT_EQ(strings.All(), (Strings{L"A", L"c", L"d"}));
}

TEST_F(NXStringListLateBoundTest, Properties_CalledAsMethods_AreRead) {
    EXPECT_BSTR(list.Call(L"Item", 0).value.Text(), L"a");
    EXPECT_BSTR(list.Call(DISPID_VALUE, 0).value.Text(), L"a");
    EXPECT_EQ(list.Call(L"Count").value.Int(), 2);
    const Reply reply = list.Call(DISPID_NEWENUM);
    ASSERT_EQ(reply.value.Type(), VT_UNKNOWN);
    EXPECT_EQ(StringsOf(EnumeratorOf(V_UNKNOWN(reply.value.Raw()))), (Strings{L"a", L"b"}));
    EXPECT_HR(list.Invoke({.member = DISPID_NEWENUM, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXStringListLateBoundTest, Arguments_AreConverted) {
    EXPECT_BSTR(list.Get(L"Item", L"1").value.Text(), L"b");
    EXPECT_BSTR(list.Get(L"Item", 0.4).value.Text(), L"a");
    long index = 1;
    EXPECT_BSTR(list.Get(DISPID_VALUE, Variant::To(index)).value.Text(), L"b");
    EXPECT_HR(list.Call(L"Add", 42).hr, S_OK);
    EXPECT_HR(list.Call(L"Add", Variant::NullText()).hr, S_OK);
    EXPECT_BSTR(list.Get(L"Item", 2).value.Text(), L"42");
    Bstr added;
    EXPECT_HR(strings.Raw()->get_Item(3, added.Out()), S_OK);
    EXPECT_EQ(SysStringLen(added), 0u);
}

TEST_F(NXStringListLateBoundTest, Arguments_ThatDoNotFit_ChangeNothing) {
    EXPECT_HR(list.Get(L"Item").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(list.Get(L"Item", 0, 0).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(list.Get(L"Item", L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(list.Call(L"Remove", Variant::Null()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(list.Call(L"Add", Variant::Null()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(list.Get(L"Item", 3e9).hr, DISP_E_OVERFLOW);
    EXPECT_TRUE(FAILED(list.Put(L"Count", 5).hr));
    EXPECT_EQ(strings.All(), (Strings{L"a", L"b"}));
}

TEST_F(NXStringListLateBoundTest, OutOfMemory_IsAnHresult) {
    struct Failure {
        const char* name;
        Invocation call;
        std::vector<Strings> afterwards; ///< the lists allowed then
    };
    const auto put = [](DISPID member, std::vector<Variant> arguments) {
        return Invocation{.member = member,
                          .flags = DISPATCH_PROPERTYPUT,
                          .arguments = std::move(arguments),
                          .names = {DISPID_PROPERTYPUT},
                          .wantsValue = false};
    };
    const auto get = [](DISPID member, std::vector<Variant> arguments) {
        return Invocation{
            .member = member, .flags = DISPATCH_PROPERTYGET, .arguments = std::move(arguments), .wantsValue = false};
    };
    const Strings unchanged = {L"a", L"b"};
    const Failure failures[] = {
        {"get Item", get(StringListId::Item, {1}), {unchanged}},
        {"get _Item", get(StringListId::DefaultItem, {1}), {unchanged}},
        {"_NewEnum", get(DISPID_NEWENUM, {}), {unchanged}},
        {"Add", {.member = StringListId::Add, .arguments = {L"new"}, .wantsValue = false}, {unchanged}},
        {"put New", put(StringListId::New, {L"new"}), {unchanged}},
        {"put Item, appending", put(StringListId::Item, {2, L"new"}), {unchanged}},
        {"put Item, replacing", put(StringListId::Item, {0, L"new"}), {unchanged, {L"", L"b"}}},
        {"put Item, replacing by a number", put(StringListId::Item, {0, 42}), {unchanged, {L"", L"b"}}},
        {"Add of a number", {.member = StringListId::Add, .arguments = {42}, .wantsValue = false}, {unchanged}},
    };
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.name);
        ForEachAllocationFailure(
            NewList, [&](const StringList& object) { return object.LateBound().Invoke(failure.call).Failure(); },
            [&](const StringList& object) {
                const Strings left = object.All();
                EXPECT_TRUE(left == failure.afterwards.front() || left == failure.afterwards.back());
                EXPECT_HR(object.LateBound().Invoke(failure.call).hr, S_OK) << "with memory again";
            });
    }
}

} // namespace
