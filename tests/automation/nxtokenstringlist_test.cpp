// NXTokenStringList: what differs from the other list of automation objects.

#include <climits>
#include <utility>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/objectlist.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::AreSame;
using support::Binding;
using support::Bstr;
using support::ForEachAllocationFailure;
using support::ReferencesOf;

using TokenStringList = support::ObjectList<support::TokenStrings>;
using Tokens = CComPtr<INXTokenString>;

class NXTokenStringListTest : public support::BothBindingsTest<TokenStringList> {
  protected:
    const TokenStringList list{GetParam()};
    const Tokens a = TokenStringList::NewElement();
    const Tokens b = TokenStringList::NewElement();
};

INSTANTIATE_TEST_SUITE_P(ByBinding, NXTokenStringListTest, ::testing::Values(Binding::Vtable, Binding::LateBound),
                         support::NameOfBinding);

TEST_P(NXTokenStringListTest, Item_WrittenAfterTheLast_IsAppended) {
    list.SetItem(0, a);
    list.SetItem(1, b);
    list.SetItem(2, nullptr);
    EXPECT_TRUE(list.Holds({a, b, nullptr}));
    EXPECT_EQ(ReferencesOf(a), 2u);
}

TEST_P(NXTokenStringListTest, DefaultItem_OfAnInvalidIndex_IsRefusedWithoutADescription) {
    list.Add(a);
    SetErrorInfo(0, nullptr);
    for (const long index : {1L, 2L, -1L, LONG_MIN, LONG_MAX}) {
        SCOPED_TRACE(index);
        try {
            list.DefaultItem(index);
            ADD_FAILURE() << "It succeeded.";
        } catch (const support::CallFailure& failure) {
            EXPECT_HR(failure.hr, E_FAIL);
            EXPECT_FALSE(failure.explained);
        }
    }
}

TEST_P(NXTokenStringListTest, AddNew_GivesAnEmptyTokenString) {
    long count = -1;
    EXPECT_HR(list.AddNew()->get_Count(&count), S_OK);
    EXPECT_EQ(count, 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// Through the vtable

class NXTokenStringListVtableTest : public support::ClassTest<TokenStringList> {
  protected:
    const TokenStringList list{Binding::Vtable};
};

TEST_F(NXTokenStringListVtableTest, AddNew_LendsAPointerWithoutAReference) {
    INXTokenString* lent = nullptr;
    EXPECT_HR(list.Raw()->AddNew(&lent), S_OK);
    ASSERT_NE(lent, nullptr);
    EXPECT_EQ(ReferencesOf(lent), 1u) << "the list's";
    EXPECT_HR(lent->put_Value(Bstr(L"text")), S_OK);
    EXPECT_TRUE(AreSame(list.Item(0), lent));
}

TEST_F(NXTokenStringListVtableTest, AddNew_AfterALateBoundCall_LendsToo) {
    EXPECT_HR(list.LateBound().Call(L"AddNew").hr, S_OK);
    INXTokenString* lent = nullptr;
    EXPECT_HR(list.Raw()->AddNew(&lent), S_OK);
    EXPECT_EQ(ReferencesOf(lent), 1u);
}

TEST_F(NXTokenStringListVtableTest, AddNew_CalledByAnEntryDuringALateBoundCall_LendsToo) {
    support::StackTokenString foreign;
    bool armed = false;
    const auto addNew = [&] {
        if (std::exchange(armed, false)) {
            INXTokenString* lent = nullptr;
            EXPECT_HR(list.Raw()->AddNew(&lent), S_OK);
            EXPECT_EQ(ReferencesOf(lent), 1u) << "the list's";
        }
    };
    list.Add(&foreign);
    list.Add(&foreign);
    foreign.onQuery = [&] {
        addNew();
        return S_OK;
    };
    foreign.onRelease = addNew;
    const support::DispatchObject lateBound = list.LateBound();

    armed = true;
    EXPECT_NE(lateBound.Get(L"Item", 0).value.Object(), nullptr);
    EXPECT_EQ(list.Count(), 3);
    armed = true;
    EXPECT_HR(lateBound.Call(L"Remove", 0).hr, S_OK);
    EXPECT_EQ(list.Count(), 3);
    armed = true;
    EXPECT_HR(lateBound.Put(L"Item", 0, static_cast<IDispatch*>(nullptr)).hr, S_OK);
    EXPECT_EQ(list.Count(), 4);
    foreign.onQuery = [] { return S_OK; };
    foreign.onRelease = [] {};
}

TEST_F(NXTokenStringListVtableTest, AddNew_WithoutAResult_Appends) {
    EXPECT_HR(list.Raw()->AddNew(nullptr), S_OK);
    EXPECT_EQ(list.Count(), 1);
    EXPECT_NE(list.Item(0), nullptr);
    EXPECT_EQ(ReferencesOf(list.Item(0)), 2u) << "the list's and this expression's";
}

TEST_F(NXTokenStringListVtableTest, AddNew_WithoutAResult_OutOfMemory_AppendsNothing) {
    ForEachAllocationFailure([] { return TokenStringList(Binding::Vtable); },
                             [](const TokenStringList& made) { return made.Raw()->AddNew(nullptr); },
                             [](const TokenStringList& made) { EXPECT_EQ(made.Count(), 0); },
                             support::OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NXTokenStringListVtableTest, Item_WrittenAfterTheLast_OutOfMemory_Raises_AppendsNothing) {
    struct World {
        TokenStringList list{Binding::Vtable};
        Tokens tokens = TokenStringList::NewElement();
    };
    ForEachAllocationFailure(
        [] { return World{}; },
        [](World& world) { support::Require(world.list.Raw()->put_Item(0, world.tokens), "put Item"); },
        [](const World& world) {
            EXPECT_EQ(world.list.Count(), 0);
            EXPECT_EQ(ReferencesOf(world.tokens), 1u);
        },
        support::OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NXTokenStringListVtableTest, DefaultItem_OfAnInvalidIndex_LeavesTheErrorRecord) {
    SetErrorInfo(0, nullptr);
    INXTokenString* result = nullptr;
    EXPECT_HR(list.Raw()->get__Item(0, &result), E_FAIL);
    CComPtr<IErrorInfo> record;
    EXPECT_HR(GetErrorInfo(0, &record), S_FALSE);

    CComPtr<ICreateErrorInfo> created;
    ASSERT_HR(CreateErrorInfo(&created), S_OK);
    CComPtr<IErrorInfo> earlier;
    created->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&earlier));
    SetErrorInfo(0, earlier);
    EXPECT_HR(list.Raw()->get__Item(-1, &result), E_FAIL);
    EXPECT_HR(GetErrorInfo(0, &record), S_OK);
    EXPECT_EQ(record.p, earlier.p);
}

} // namespace
