// The lists of automation objects through the vtable: results, allocations, and failures.

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/objectlist.h"
#include "tests/automation/objectlisttest.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/module_faults.h"

namespace {

using support::Binding;
using support::ForEachAllocationFailure;
using support::ObjectList;
using support::ReferencesOf;
using support::Require;

template <class Kind> class NXObjectListVtableTest : public support::ClassTest<ObjectList<Kind>> {
  protected:
    ObjectList<Kind> list{Binding::Vtable};
};
TYPED_TEST_SUITE(NXObjectListVtableTest, support::ListKinds, support::ListNames);

TYPED_TEST(NXObjectListVtableTest, Item_OfAnEntryThatRefusesItsInterface_SucceedsWithNull) {
    typename TypeParam::StackElement foreign;
    this->list.Add(&foreign);
    foreign.onQuery = [] { return E_NOINTERFACE; };
    auto* result = reinterpret_cast<typename TypeParam::Element*>(this);
    EXPECT_HR(this->list.Raw()->get_Item(0, &result), S_OK);
    EXPECT_EQ(result, nullptr);
    EXPECT_TRUE(IsEqualIID(foreign.queried, IID_NULL));
    this->list.Release();
}

TYPED_TEST(NXObjectListVtableTest, Item_AsksTheEntryForItsInterface) {
    typename TypeParam::StackElement foreign;
    this->list.Add(&foreign);
    this->list.Item(0);
    EXPECT_TRUE(IsEqualIID(foreign.queried, __uuidof(typename TypeParam::Element)));
    this->list.Release();
}

TYPED_TEST(NXObjectListVtableTest, InvalidIndex_LeavesTheResult) {
    auto* const untouched = reinterpret_cast<typename TypeParam::Element*>(this);
    auto* result = untouched;
    for (const long index : {0L, -1L}) {
        EXPECT_HR(this->list.Raw()->get_Item(index, &result), E_FAIL);
        EXPECT_HR(this->list.Raw()->get__Item(index, &result), E_FAIL);
    }
    EXPECT_EQ(result, untouched);
    SetErrorInfo(0, nullptr);
}

/// A list and an object to add.
template <class Kind> struct Adding {
    ObjectList<Kind> list{Binding::Vtable};
    CComPtr<typename Kind::Element> element = list.NewElement();
};

TYPED_TEST(NXObjectListVtableTest, Append_OutOfMemory_Raises_AppendsNothing) {
    using World = Adding<TypeParam>;
    for (const auto append : {
             +[](World& world) { Require(world.list.Raw()->Add(world.element), "Add"); },
             +[](World& world) { Require(world.list.Raw()->put_New(world.element), "put New"); },
         }) {
        ForEachAllocationFailure([] { return World{}; }, append,
                                 [](const World& world) {
                                     EXPECT_EQ(world.list.Count(), 0);
                                     EXPECT_EQ(ReferencesOf(world.element), 1u);
                                 },
                                 support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

/// A list, and the results of a call that creates an entry.
template <class Kind> struct Creating {
    ObjectList<Kind> list{Binding::Vtable};
    typename Kind::Element* result = reinterpret_cast<typename Kind::Element*>(list.Raw());
    HRESULT hr = E_UNEXPECTED; ///< stays when the call raises an exception
};

TYPED_TEST(NXObjectListVtableTest, New_OutOfMemory_ReturnsTheFailureAndAppendsANullEntry) {
    using World = Creating<TypeParam>;
    int returned = 0;
    ForEachAllocationFailure([] { return World{}; },
                             [](World& world) {
                                 world.hr = world.list.Raw()->get_New(&world.result);
                                 if (SUCCEEDED(world.hr)) {
                                     world.result->Release();
                                 }
                                 return world.hr;
                             },
                             [&](const World& world) {
                                 EXPECT_EQ(world.result, nullptr);
                                 if (world.hr == E_OUTOFMEMORY) {
                                     ++returned;
                                     EXPECT_TRUE(world.list.Holds({nullptr}));
                                 } else {
                                     EXPECT_EQ(world.list.Count(), 0) << "no place for the entry";
                                 }
                             },
                             support::OutOfMemory::ComErrorOrBadAlloc);
    EXPECT_EQ(returned, 1);
}

TYPED_TEST(NXObjectListVtableTest, AddNew_OutOfMemory_AppendsNothing) {
    using World = Creating<TypeParam>;
    int returned = 0;
    ForEachAllocationFailure([] { return World{}; },
                             [](World& world) {
                                 world.hr = world.list.Raw()->AddNew(&world.result);
                                 if (SUCCEEDED(world.hr)) {
                                     TypeParam::ReleaseAdded(world.result);
                                 }
                                 return world.hr;
                             },
                             [&](const World& world) {
                                 returned += world.hr == E_OUTOFMEMORY ? 1 : 0;
                                 EXPECT_EQ(world.result, nullptr);
                                 EXPECT_EQ(world.list.Count(), 0);
                             },
                             support::OutOfMemory::ComErrorOrBadAlloc);
    EXPECT_EQ(returned, 1);
}

TYPED_TEST(NXObjectListVtableTest, ManyEntries_GrowTheListByFactors) {
    const auto element = this->list.NewElement();
    EXPECT_LT(support::CountRequests([&] {
                  for (int i = 0; i < 10'000; ++i) {
                      this->list.Raw()->Add(element);
                  }
              }),
              20u);
}

TYPED_TEST(NXObjectListVtableTest, ReadsAndRemove_AllocateNothing) {
    this->list.Add(this->list.NewElement());
    this->list.Add(nullptr);
    EXPECT_EQ(support::CountRequests([&] {
                  typename TypeParam::Element* result = nullptr;
                  this->list.Raw()->get_Item(0, &result);
                  result->Release();
                  this->list.Raw()->get__Item(0, &result);
                  result->Release();
                  this->list.Raw()->put_Item(1, nullptr);
                  this->list.Raw()->Remove(0);
              }),
              0u);
}

} // namespace
