// The lists of automation objects late-bound: names, arguments, results, and failures.

#include <utility>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/objectlist.h"
#include "tests/automation/objectlisttest.h"
#include "tests/support/allocation_faults.h"

namespace {

using support::AreSame;
using support::Binding;
using support::DispatchObject;
using support::EnumeratorOf;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::ObjectList;
using support::ReferencesOf;
using support::Reply;
using support::RestOf;

template <class Kind> class NXObjectListLateBoundTest : public support::ClassTest<ObjectList<Kind>> {
  protected:
    const ObjectList<Kind> entries{Binding::LateBound};
    const DispatchObject list = entries.LateBound();
};
TYPED_TEST_SUITE(NXObjectListLateBoundTest, support::ListKinds, support::ListNames);

TYPED_TEST(NXObjectListLateBoundTest, GetIDsOfNames_FindsEveryMember) {
    support::ExpectIds(this->list, {{L"Item", TypeParam::idItem},
                                    {L"Remove", TypeParam::idRemove},
                                    {L"New", TypeParam::idNew},
                                    {L"Add", TypeParam::idAdd},
                                    {L"Count", TypeParam::idCount},
                                    {L"_Item", DISPID_VALUE},
                                    {L"AddNew", TypeParam::idAddNew},
                                    {L"_NewEnum", DISPID_NEWENUM}});
}

TYPED_TEST(NXObjectListLateBoundTest, Members_AreReachedByDispid) {
    const auto element = this->entries.NewElement();
    EXPECT_HR(this->list.Call(TypeParam::idAdd, element.p).hr, S_OK);
    EXPECT_HR(this->list.Put(TypeParam::idItem, 0, element.p).hr, S_OK);
    EXPECT_HR(this->list.Put(TypeParam::idNew, element.p).hr, S_OK);
    EXPECT_HR(this->list.Call(TypeParam::idAddNew).hr, S_OK);
    EXPECT_EQ(this->list.Get(TypeParam::idCount).value.Int(), 3);
    EXPECT_TRUE(AreSame(this->list.Get(TypeParam::idItem, 1).value.Object(), element));
    EXPECT_TRUE(AreSame(this->list.Get(DISPID_VALUE, 1).value.Object(), element));
    EXPECT_HR(this->list.Call(TypeParam::idRemove, 0).hr, S_OK);
    EXPECT_EQ(ReferencesOf(element), 2u);
}

TYPED_TEST(NXObjectListLateBoundTest, AddNew_GivesTheCallerAReference) {
    const Reply reply = this->list.Call(L"AddNew");
    ASSERT_HR(reply.hr, S_OK);
    EXPECT_EQ(ReferencesOf(reply.value.Object()), 2u) << "the list's and the caller's";
    EXPECT_HR(this->list.Call(L"Remove", 0).hr, S_OK);
    EXPECT_EQ(ReferencesOf(reply.value.Object()), 1u);
}

/// Some script engines ask for the result of a statement and discard it; others pass no VARIANT.
TYPED_TEST(NXObjectListLateBoundTest, AddNew_TenThousandStatements_LeakNothing) {
    for (const bool wantsValue : {false, true}) {
        SCOPED_TRACE(wantsValue ? "result discarded" : "no result");
        const ExpectNoLeaks noLeaks;
        ObjectList<TypeParam> many(Binding::LateBound);
        const DispatchObject object = many.LateBound();
        const Invocation addNew = {.member = TypeParam::idAddNew, .wantsValue = wantsValue};
        for (int count = 0; count < 10000; ++count) {
            ASSERT_HR(object.Invoke(addNew).hr, S_OK);
        }
        EXPECT_EQ(many.Count(), 10000);
        typename TypeParam::Element* entry = nullptr;
        for (long index = 0; index < 10000; ++index) {
            many.Raw()->get_Item(index, &entry);
            ASSERT_EQ(entry->Release(), 1u) << "only the list's reference";
        }
    }
}

TYPED_TEST(NXObjectListLateBoundTest, New_AsAStatement_LeavesOnlyTheListsReference) {
    constexpr DISPID idNew = TypeParam::idNew;
    EXPECT_HR(this->list.Invoke({.member = idNew, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(this->list.Invoke({.member = idNew, .wantsValue = false}).hr, S_OK);
    ASSERT_EQ(this->entries.Count(), 2);
    EXPECT_EQ(ReferencesOf(this->entries.Item(0)), 2u) << "the list's and this expression's";
    EXPECT_EQ(ReferencesOf(this->entries.Item(1)), 2u);
}

TYPED_TEST(NXObjectListLateBoundTest, Properties_CalledAsMethods_AreRead) {
    const auto element = this->entries.NewElement();
    this->entries.Add(element);
    EXPECT_TRUE(AreSame(this->list.Call(L"Item", 0).value.Object(), element));
    const Reply reply = this->list.Call(DISPID_NEWENUM);
    ASSERT_EQ(reply.value.Type(), VT_UNKNOWN);
    EXPECT_EQ(RestOf(EnumeratorOf(V_UNKNOWN(reply.value.Raw()))).size(), 1u);
}

TYPED_TEST(NXObjectListLateBoundTest, Arguments_ThatDoNotFit_ChangeNothing) {
    EXPECT_TRUE(FAILED(this->list.Call(L"Add", 5).hr));
    EXPECT_TRUE(FAILED(this->list.Call(L"Add", L"x").hr));
    EXPECT_TRUE(FAILED(this->list.Call(L"Add", support::Create(CLSID_NXString).Raw()).hr)) << "another class";
    EXPECT_HR(this->list.Call(L"Add").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(this->list.Call(L"Remove", L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(this->entries.Count(), 0);
}

TYPED_TEST(NXObjectListLateBoundTest, Argument_NullObject_IsANullEntry) {
    EXPECT_HR(this->list.Call(L"Add", static_cast<IDispatch*>(nullptr)).hr, S_OK);
    EXPECT_TRUE(this->entries.Holds({nullptr}));
    EXPECT_EQ(this->list.Get(L"Item", 0).value.Object(), nullptr);
}

TYPED_TEST(NXObjectListLateBoundTest, OutOfMemory_IsAnHresult) {
    using Lists = ObjectList<TypeParam>;
    const auto element = this->entries.NewElement();
    const std::pair<Invocation, long> calls[] = {
        {{.member = TypeParam::idAdd, .arguments = {element.p}, .wantsValue = false}, 0},
        {{.member = TypeParam::idNew,
          .flags = DISPATCH_PROPERTYPUT,
          .arguments = {element.p},
          .names = {DISPID_PROPERTYPUT},
          .wantsValue = false},
         0},
        {{.member = TypeParam::idNew, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}, 1},
        {{.member = TypeParam::idAddNew, .wantsValue = false}, 0},
        {{.member = DISPID_NEWENUM, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}, 0},
    };
    for (const auto& [call, entriesAtMost] : calls) {
        SCOPED_TRACE(call.member);
        ForEachAllocationFailure([] { return Lists(Binding::LateBound); },
                                 [&call = call](const Lists& made) { return made.LateBound().Invoke(call).Failure(); },
                                 [&call = call, &entriesAtMost = entriesAtMost](const Lists& made) {
                                     EXPECT_LE(made.Count(), entriesAtMost);
                                     EXPECT_HR(made.LateBound().Invoke(call).hr, S_OK) << "with memory again";
                                 });
    }
    EXPECT_EQ(ReferencesOf(element), 3u) << "this test's and the two calls'";
}

} // namespace
