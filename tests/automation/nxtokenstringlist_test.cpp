// NXTokenStringList, the object in the registered DLL: every member through the vtable and late-bound, then what is
// special to either way to call.

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/stackobject.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::Bstr;
using support::Create;
using support::CreateInstance;
using support::DispatchObject;
using support::EnumeratorOf;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::NextOf;
using support::Reply;
using support::RestOf;
using support::StackTokenString;
using support::Variant;
using support::Way;

using Tokens = CComPtr<INXTokenString>;

// The members' DISPIDs, which compiled scripts contain.
constexpr DISPID idItem = 0x60020000;
constexpr DISPID idRemove = 0x60020002;
constexpr DISPID idNew = 0x60020003;
constexpr DISPID idAdd = 0x60020005;
constexpr DISPID idCount = 0x60020006;
constexpr DISPID idDefaultItem = DISPID_VALUE;
constexpr DISPID idAddNew = 0x60020009;

void WarmUp() {
    support::WarmUp(CLSID_NXTokenStringList, {.member = idRemove, .arguments = {5}},
                    {.member = idAdd, .arguments = {static_cast<IDispatch*>(nullptr)}});
    support::WarmUp(CLSID_NXTokenString, {.member = DISPID_VALUE, .flags = DISPATCH_PROPERTYGET, .arguments = {5}},
                    {.member = 0x60020006, .arguments = {L"x"}});
    static_cast<void>(Create(CLSID_NXString)); // makes the class's factory, which stays
}

Tokens NewTokens() {
    return CreateInstance<INXTokenString>(CLSID_NXTokenString);
}

/// References to an object that are held right now.
ULONG ReferencesOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

/// Whether two interfaces are those of one object.
bool AreSame(IUnknown* one, IUnknown* other) {
    if (one == nullptr || other == nullptr) {
        return one == other;
    }
    CComPtr<IUnknown> first;
    CComPtr<IUnknown> second;
    one->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&first));
    other->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&second));
    return first.p == second.p;
}

class TokenStringList : public support::Client<INXTokenStringList> {
  public:
    explicit TokenStringList(Way way) : Client(way, CLSID_NXTokenStringList) {}

    Tokens Item(long index) const { return Get<INXTokenString*>(L"Item", &INXTokenStringList::get_Item, index); }
    void SetItem(long index, INXTokenString* tokens) const {
        Put(L"Item", &INXTokenStringList::put_Item, index, tokens);
    }
    void Remove(long index) const { Call(L"Remove", &INXTokenStringList::Remove, index); }
    Tokens New() const { return Get<INXTokenString*>(L"New", &INXTokenStringList::get_New); }
    void SetNew(INXTokenString* tokens) const { Put(L"New", &INXTokenStringList::put_New, tokens); }
    void Add(INXTokenString* tokens) const { Call(L"Add", &INXTokenStringList::Add, tokens); }
    long Count() const { return Get<long>(L"Count", &INXTokenStringList::get_Count); }
    Tokens DefaultItem(long index) const {
        return Get<INXTokenString*>(DISPID_VALUE, &INXTokenStringList::get__Item, index);
    }
    CComPtr<IEnumVARIANT> NewEnum() const {
        return EnumeratorOf(Get<IUnknown*>(DISPID_NEWENUM, &INXTokenStringList::get__NewEnum));
    }
    /// With a reference for the caller, either way.
    Tokens AddNew() const {
        if (WayToCall() == Way::LateBound) {
            const Variant value = ValueOf(LateBound().Call(L"AddNew"));
            return {static_cast<INXTokenString*>(value.Object())};
        }
        INXTokenString* lent = nullptr;
        support::Require(Raw()->AddNew(&lent), "AddNew");
        return {lent};
    }

    template <class Action> [[nodiscard]] ::testing::AssertionResult Refuses(Action action) const {
        return IsIndexError(L"Nuvolex.NXTokenStringList.1", action);
    }

    /// Whether the entries are these objects.
    [[nodiscard]] ::testing::AssertionResult Holds(const std::vector<INXTokenString*>& expected) const {
        if (Count() != static_cast<long>(expected.size())) {
            return ::testing::AssertionFailure() << Count() << " entries";
        }
        for (std::size_t index = 0; index < expected.size(); ++index) {
            if (!AreSame(Item(static_cast<long>(index)), expected[index])) {
                return ::testing::AssertionFailure() << "entry " << index << " is another object";
            }
        }
        return ::testing::AssertionSuccess();
    }
};

class NXTokenStringListTest : public ::testing::TestWithParam<Way> {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    TokenStringList list{GetParam()};
    const Tokens a = NewTokens();
    const Tokens b = NewTokens();
    const Tokens c = NewTokens();
};

INSTANTIATE_TEST_SUITE_P(ByWayToCall, NXTokenStringListTest, ::testing::Values(Way::Vtable, Way::LateBound),
                         support::NameOfWay);

TEST_P(NXTokenStringListTest, New_IsEmpty) {
    EXPECT_EQ(list.Count(), 0);
}

TEST_P(NXTokenStringListTest, Add_AppendsTheObjectItselfAndReferencesIt) {
    list.Add(a);
    list.Add(b);
    EXPECT_TRUE(list.Holds({a, b}));
    EXPECT_EQ(ReferencesOf(a), 2u);
}

TEST_P(NXTokenStringListTest, New_Written_AppendsLikeAdd) {
    list.SetNew(a);
    list.SetNew(b);
    EXPECT_TRUE(list.Holds({a, b}));
    EXPECT_EQ(ReferencesOf(a), 2u);
}

TEST_P(NXTokenStringListTest, Item_GivesTheCallerAReference) {
    list.Add(a);
    {
        const Tokens item = list.Item(0);
        const Tokens byDefault = list.DefaultItem(0);
        EXPECT_TRUE(AreSame(item, a));
        EXPECT_TRUE(AreSame(byDefault, a));
        EXPECT_EQ(ReferencesOf(a), 4u);
    }
    EXPECT_EQ(ReferencesOf(a), 2u);
}

TEST_P(NXTokenStringListTest, Item_Written_ReplacesAndReleases) {
    list.Add(a);
    list.Add(b);
    list.SetItem(0, c);
    EXPECT_TRUE(list.Holds({c, b}));
    EXPECT_EQ(ReferencesOf(a), 1u);
    EXPECT_EQ(ReferencesOf(c), 2u);
    list.SetItem(0, nullptr);
    EXPECT_TRUE(list.Holds({nullptr, b}));
    EXPECT_EQ(ReferencesOf(c), 1u);
}

TEST_P(NXTokenStringListTest, Item_WrittenByItself_Stays) {
    list.Add(NewTokens());
    const Tokens item = list.Item(0);
    list.SetItem(0, item);
    EXPECT_TRUE(list.Holds({item}));
    EXPECT_EQ(ReferencesOf(item), 2u);
}

TEST_P(NXTokenStringListTest, Item_WrittenBehindTheLast_IsAppended) {
    list.SetItem(0, a);
    list.SetItem(1, b);
    list.SetItem(2, nullptr);
    EXPECT_TRUE(list.Holds({a, b, nullptr}));
    EXPECT_EQ(ReferencesOf(a), 2u);
}

TEST_P(NXTokenStringListTest, Remove_ReleasesAndMovesTheLaterOnesDown) {
    for (const auto& tokens : {a, b, c}) {
        list.Add(tokens);
    }
    list.Remove(1);
    EXPECT_TRUE(list.Holds({a, c}));
    EXPECT_EQ(ReferencesOf(b), 1u);
    list.Remove(0);
    list.Remove(0);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(ReferencesOf(a), 1u);
    EXPECT_EQ(ReferencesOf(c), 1u);
}

TEST_P(NXTokenStringListTest, SameObjectTwice_IsListedAndReferencedTwice) {
    list.Add(a);
    list.Add(a);
    EXPECT_TRUE(list.Holds({a, a}));
    EXPECT_EQ(ReferencesOf(a), 3u);
    list.Remove(0);
    EXPECT_TRUE(list.Holds({a}));
    EXPECT_EQ(ReferencesOf(a), 2u);
}

TEST_P(NXTokenStringListTest, Entries_AreShared) {
    TokenStringList other(GetParam());
    list.Add(a);
    other.Add(a);
    list.Item(0)->put_Value(Bstr(L"seen by all"));
    Bstr value;
    other.Item(0)->get_Value(value.Out());
    EXPECT_BSTR(value, L"seen by all");
    EXPECT_EQ(ReferencesOf(a), 3u);
}

// Indices

TEST_P(NXTokenStringListTest, Index_OutsideTheList_IsRefusedAndNothingChanges) {
    list.Add(a);
    list.Add(b);
    for (const long index : {2L, 3L, LONG_MAX, -1L, -2L, LONG_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(list.Refuses([&] { list.Item(index); }));
        EXPECT_TRUE(list.Refuses([&] { list.Remove(index); }));
        if (index != 2) {
            EXPECT_TRUE(list.Refuses([&] { list.SetItem(index, c); }));
        }
    }
    EXPECT_TRUE(list.Holds({a, b}));
    EXPECT_EQ(ReferencesOf(c), 1u);
}

TEST_P(NXTokenStringListTest, Index_InAnEmptyList_IsRefused) {
    EXPECT_TRUE(list.Refuses([&] { list.Item(0); }));
    EXPECT_TRUE(list.Refuses([&] { list.Remove(0); }));
    EXPECT_TRUE(list.Refuses([&] { list.SetItem(1, a); }));
    EXPECT_EQ(list.Count(), 0);
}

TEST_P(NXTokenStringListTest, DefaultItem_OfABadIndex_IsRefusedWithoutExplanation) {
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

// New, AddNew

TEST_P(NXTokenStringListTest, New_Read_AppendsANewObjectAndGivesAReference) {
    const Tokens created = list.New();
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(list.Holds({created}));
    EXPECT_EQ(ReferencesOf(created), 2u);
    const Tokens another = list.New();
    EXPECT_TRUE(list.Holds({created, another}));
    EXPECT_FALSE(AreSame(created, another));
    list.Remove(0);
    EXPECT_EQ(ReferencesOf(created), 1u);
}

TEST_P(NXTokenStringListTest, AddNew_AppendsANewEmptyObject) {
    const Tokens created = list.AddNew();
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(list.Holds({created}));
    EXPECT_EQ(ReferencesOf(created), 2u);
    long count = -1;
    EXPECT_HR(created->get_Count(&count), S_OK);
    EXPECT_EQ(count, 0);
    const Tokens another = list.AddNew();
    EXPECT_TRUE(list.Holds({created, another}));
}

// Lifetimes

TEST_P(NXTokenStringListTest, List_Released_ReleasesItsEntries) {
    list.Add(a);
    list.Add(nullptr);
    list.Add(a);
    list.AddNew();
    list.Release();
    EXPECT_EQ(ReferencesOf(a), 1u);
}

TEST_P(NXTokenStringListTest, Entries_OutliveTheList) {
    const Tokens created = list.New();
    const Tokens added = list.AddNew();
    list.Release();
    EXPECT_EQ(ReferencesOf(created), 1u);
    EXPECT_EQ(ReferencesOf(added), 1u);
    EXPECT_HR(created->put_Value(Bstr(L"alive")), S_OK);
    EXPECT_HR(added->Add(Bstr(L"alive")), S_OK);
}

TEST_P(NXTokenStringListTest, Lists_AreReleasedInAnyOrder) {
    for (const bool firstFirst : {true, false}) {
        TokenStringList first(GetParam());
        TokenStringList second(GetParam());
        const Tokens created = first.New();
        second.Add(created);
        second.Add(a);
        first.Add(a);
        (firstFirst ? first : second).Release();
        EXPECT_EQ(ReferencesOf(created), 2u);
        (firstFirst ? second : first).Release();
        EXPECT_EQ(ReferencesOf(created), 1u);
        EXPECT_EQ(ReferencesOf(a), 1u);
    }
}

// Null entries

TEST_P(NXTokenStringListTest, NullEntries_AreHarmless) {
    list.Add(nullptr);
    list.SetNew(nullptr);
    list.Add(a);
    EXPECT_TRUE(list.Holds({nullptr, nullptr, a}));
    EXPECT_EQ(list.DefaultItem(0), nullptr);
    EXPECT_EQ(list.DefaultItem(1), nullptr);
    const auto elements = RestOf(list.NewEnum());
    ASSERT_EQ(elements.size(), 3u);
    EXPECT_EQ(elements[0].Object(), nullptr);
    EXPECT_EQ(elements[1].Object(), nullptr);
    EXPECT_TRUE(AreSame(elements[2].Object(), a));
    list.SetItem(0, b);
    list.Remove(1);
    EXPECT_TRUE(list.Holds({b, a}));
}

// Enumeration

TEST_P(NXTokenStringListTest, NewEnum_DeliversTheSameObjectsWithReferences) {
    list.Add(a);
    list.Add(b);
    list.Add(a);
    {
        const auto elements = RestOf(list.NewEnum());
        ASSERT_EQ(elements.size(), 3u);
        EXPECT_TRUE(AreSame(elements[0].Object(), a));
        EXPECT_TRUE(AreSame(elements[1].Object(), b));
        EXPECT_TRUE(AreSame(elements[2].Object(), a));
        EXPECT_EQ(ReferencesOf(a), 5u);
    }
    EXPECT_EQ(ReferencesOf(a), 3u);
    EXPECT_EQ(ReferencesOf(b), 2u);
}

TEST_P(NXTokenStringListTest, NewEnum_KeepsTheListAlive) {
    list.Add(a);
    list.Add(b);
    auto enumerator = list.NewEnum();
    list.Release();
    EXPECT_EQ(ReferencesOf(a), 2u);
    EXPECT_EQ(RestOf(enumerator).size(), 2u);
    enumerator.Release();
    EXPECT_EQ(ReferencesOf(a), 1u);
}

TEST_P(NXTokenStringListTest, NewEnum_GoesOnWithWhatThereIs) {
    for (const auto& tokens : {a, b, c}) {
        list.Add(tokens);
    }
    const auto enumerator = list.NewEnum();
    EXPECT_TRUE(AreSame(NextOf(enumerator).Object(), a));
    list.Remove(0);
    EXPECT_TRUE(AreSame(NextOf(enumerator).Object(), c)) << "the list moved down under it";
    for (int count = 0; count < 100; ++count) {
        list.Add(b);
    }
    EXPECT_EQ(RestOf(enumerator).size(), 100u);
    while (list.Count() > 0) {
        list.Remove(0);
    }
    EXPECT_EQ(NextOf(enumerator).Type(), VT_EMPTY);
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_EQ(NextOf(enumerator).Type(), VT_EMPTY);
    list.Add(c);
    EXPECT_TRUE(AreSame(NextOf(enumerator).Object(), c));
}

// Entries of another make, whose release uses the list

TEST_P(NXTokenStringListTest, ForeignEntry_IsTakenAsItIs) {
    StackTokenString foreign;
    list.Add(&foreign);
    EXPECT_EQ(foreign.references, 1u);
    EXPECT_TRUE(AreSame(list.Item(0), &foreign));
    EXPECT_TRUE(AreSame(NextOf(list.NewEnum()).Object(), &foreign));
    EXPECT_EQ(foreign.references, 1u);
    list.Release();
    EXPECT_EQ(foreign.references, 0u);
}

/// An entry that, when the list releases it, empties the list. Only the first time: that releases it too.
class EmptyingEntry : public StackTokenString {
  public:
    explicit EmptyingEntry(const TokenStringList& list) : m_list(list.Raw()) {
        onRelease = [this] {
            if (std::exchange(armed, false)) {
                while (SUCCEEDED(m_list->Remove(0))) {
                }
                SetErrorInfo(0, nullptr);
            }
        };
    }

    bool armed = false;

  private:
    INXTokenStringList* m_list;
};

TEST_P(NXTokenStringListTest, ForeignEntry_Removed_MayEmptyTheList) {
    EmptyingEntry foreign(list);
    for (INXTokenString* const tokens :
         {static_cast<INXTokenString*>(a), static_cast<INXTokenString*>(&foreign), static_cast<INXTokenString*>(b)}) {
        list.Add(tokens);
    }
    foreign.armed = true;
    list.Remove(1);
    EXPECT_FALSE(foreign.armed);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(foreign.references, 0u);
    EXPECT_EQ(ReferencesOf(a), 1u);
    EXPECT_EQ(ReferencesOf(b), 1u);
}

TEST_P(NXTokenStringListTest, ForeignEntry_Replaced_MayEmptyTheList) {
    EmptyingEntry foreign(list);
    list.Add(a);
    list.Add(&foreign);
    foreign.armed = true;
    list.SetItem(1, c);
    EXPECT_FALSE(foreign.armed);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(foreign.references, 0u);
    EXPECT_EQ(ReferencesOf(a), 1u);
    EXPECT_EQ(ReferencesOf(c), 1u);
}

TEST_P(NXTokenStringListTest, ForeignEntry_AskedForItsInterface_MayEmptyTheList) {
    StackTokenString foreign;
    list.Add(a);
    list.Add(&foreign);
    foreign.onQuery = [&] {
        while (SUCCEEDED(list.Raw()->Remove(0))) {
        }
        SetErrorInfo(0, nullptr);
        return S_OK;
    };
    EXPECT_TRUE(AreSame(list.Item(1), &foreign));
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(foreign.references, 0u);
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to the vtable

class NXTokenStringListVtableTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    TokenStringList list{Way::Vtable};
};

TEST_F(NXTokenStringListVtableTest, AddNew_LendsAPointerWithoutAReference) {
    INXTokenString* lent = nullptr;
    EXPECT_HR(list.Raw()->AddNew(&lent), S_OK);
    ASSERT_NE(lent, nullptr);
    EXPECT_EQ(ReferencesOf(lent), 1u) << "the list's";
    EXPECT_HR(lent->put_Value(Bstr(L"text")), S_OK);
    EXPECT_TRUE(AreSame(list.Item(0), lent));
}

TEST_F(NXTokenStringListVtableTest, AddNew_WithoutPlaceForTheResult_Appends) {
    EXPECT_HR(list.Raw()->AddNew(nullptr), S_OK);
    EXPECT_EQ(list.Count(), 1);
    EXPECT_NE(list.Item(0), nullptr);
    EXPECT_EQ(ReferencesOf(list.Item(0)), 2u) << "the list's and this expression's";
}

TEST_F(NXTokenStringListVtableTest, DefaultItem_OfABadIndex_LeavesTheErrorRecordAsItWas) {
    SetErrorInfo(0, nullptr);
    auto* untouched = reinterpret_cast<INXTokenString*>(this);
    EXPECT_HR(list.Raw()->get__Item(0, &untouched), E_FAIL);
    EXPECT_EQ(untouched, reinterpret_cast<INXTokenString*>(this));
    CComPtr<IErrorInfo> record;
    EXPECT_HR(GetErrorInfo(0, &record), S_FALSE);

    CComPtr<ICreateErrorInfo> created;
    ASSERT_HR(CreateErrorInfo(&created), S_OK);
    CComPtr<IErrorInfo> earlier;
    created->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&earlier));
    SetErrorInfo(0, earlier);
    EXPECT_HR(list.Raw()->get__Item(-1, &untouched), E_FAIL);
    EXPECT_HR(GetErrorInfo(0, &record), S_OK);
    EXPECT_EQ(record.p, earlier.p);
}

TEST_F(NXTokenStringListVtableTest, Item_OfAnEntryThatRefuses_SucceedsWithWhatItGave) {
    StackTokenString foreign;
    list.Add(&foreign);
    foreign.onQuery = [] { return E_NOINTERFACE; };
    auto* result = reinterpret_cast<INXTokenString*>(this);
    EXPECT_HR(list.Raw()->get_Item(0, &result), S_OK);
    EXPECT_EQ(result, nullptr);
    EXPECT_TRUE(IsEqualIID(foreign.queried, IID_NULL));
    list.Release();
}

TEST_F(NXTokenStringListVtableTest, Item_AsksTheEntryForINXTokenString) {
    StackTokenString foreign;
    list.Add(&foreign);
    list.Item(0);
    EXPECT_TRUE(IsEqualIID(foreign.queried, IID_INXTokenString));
    list.Release();
}

TEST_F(NXTokenStringListVtableTest, Append_OutOfMemory_IsRaised_NothingAppended) {
    struct World {
        TokenStringList list{Way::Vtable};
        Tokens tokens = NewTokens();
    };
    const auto appends = {
        +[](World& world) { support::Require(world.list.Raw()->Add(world.tokens), "Add"); },
        +[](World& world) { support::Require(world.list.Raw()->put_New(world.tokens), "put New"); },
        +[](World& world) { support::Require(world.list.Raw()->put_Item(0, world.tokens), "put Item"); },
    };
    for (const auto append : appends) {
        ForEachAllocationFailure([] { return World{}; }, append,
                                 [](const World& world) {
                                     EXPECT_EQ(world.list.Count(), 0);
                                     EXPECT_EQ(ReferencesOf(world.tokens), 1u);
                                 },
                                 support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

/// A list, the result of a call that creates, and how that ended.
struct Creating {
    TokenStringList list{Way::Vtable};
    INXTokenString* result = reinterpret_cast<INXTokenString*>(list.Raw());
    HRESULT hr = E_UNEXPECTED; ///< stays when the call raises an exception
};

TEST_F(NXTokenStringListVtableTest, New_NotCreated_IsReturnedAndAppendsANullEntry) {
    int returned = 0;
    ForEachAllocationFailure([] { return Creating{}; },
                             [](Creating& world) {
                                 world.hr = world.list.Raw()->get_New(&world.result);
                                 if (SUCCEEDED(world.hr)) {
                                     world.result->Release();
                                 }
                                 return world.hr;
                             },
                             [&](const Creating& world) {
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

TEST_F(NXTokenStringListVtableTest, AddNew_NotCreated_AppendsNothing) {
    int returned = 0;
    ForEachAllocationFailure([] { return Creating{}; },
                             [](Creating& world) {
                                 world.hr = world.list.Raw()->AddNew(&world.result);
                                 return world.hr;
                             },
                             [&](const Creating& world) {
                                 returned += world.hr == E_OUTOFMEMORY ? 1 : 0;
                                 EXPECT_EQ(world.result, nullptr);
                                 EXPECT_EQ(world.list.Count(), 0);
                             },
                             support::OutOfMemory::ComErrorOrBadAlloc);
    EXPECT_EQ(returned, 1);
    ForEachAllocationFailure(
        [] { return Creating{}; }, [](Creating& world) { return world.list.Raw()->AddNew(nullptr); },
        [](const Creating& world) { EXPECT_EQ(world.list.Count(), 0); }, support::OutOfMemory::ComErrorOrBadAlloc);
}

TEST_F(NXTokenStringListVtableTest, ReadsAndRemove_AllocateNothing) {
    list.Add(NewTokens());
    list.Add(nullptr);
    EXPECT_EQ(support::CountRequests([&] {
                  INXTokenString* result = nullptr;
                  list.Raw()->get_Item(0, &result);
                  result->Release();
                  list.Raw()->get__Item(0, &result);
                  result->Release();
                  list.Raw()->put_Item(1, nullptr);
                  list.Raw()->Remove(0);
              }),
              0u);
}

TEST_F(NXTokenStringListVtableTest, AddNew_OfAnEntrysOwnCode_LendsAlsoWithinALateBoundCall) {
    StackTokenString foreign;
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
    const DispatchObject lateBound = list.LateBound();

    armed = true;
    EXPECT_NE(lateBound.Get(L"Item", 0).value.Object(), nullptr);
    EXPECT_EQ(list.Count(), 3);
    armed = true;
    EXPECT_HR(lateBound.Call(L"Remove", 0).hr, S_OK);
    EXPECT_EQ(list.Count(), 3);
    armed = true;
    EXPECT_HR(lateBound.Put(L"Item", 0, static_cast<IDispatch*>(nullptr)).hr, S_OK);
    EXPECT_EQ(list.Count(), 4);
}

TEST_F(NXTokenStringListVtableTest, ManyEntries_GrowTheListByFactors) {
    const Tokens tokens = NewTokens();
    const auto add = [&] { return list.Raw()->Add(tokens); };
    const auto addNew = [&] { return list.Raw()->AddNew(nullptr); };
    constexpr std::size_t count = 10'000;
    const auto requests = [](auto append) {
        return support::CountRequests([append] {
            for (std::size_t i = 0; i < count; ++i) {
                append();
            }
        });
    };
    EXPECT_LT(requests(add), 20u) << "the array's";
    EXPECT_LT(requests(addNew), count + 20u) << "the objects', and the array's";
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to late-bound calls

class NXTokenStringListLateBoundTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    const TokenStringList entries{Way::LateBound};
    const DispatchObject list = entries.LateBound();
};

TEST_F(NXTokenStringListLateBoundTest, GetIDsOfNames_KnowsEveryMember) {
    const std::pair<const wchar_t*, DISPID> members[] = {
        {L"Item", idItem},   {L"Remove", idRemove},     {L"New", idNew},       {L"Add", idAdd},
        {L"Count", idCount}, {L"_Item", idDefaultItem}, {L"AddNew", idAddNew}, {L"_NewEnum", DISPID_NEWENUM},
    };
    for (const auto& [name, expected] : members) {
        DISPID id = 0x7777;
        EXPECT_HR(support::Member(name).Resolve(list.Raw(), id), S_OK);
        EXPECT_EQ(id, expected);
    }
}

TEST_F(NXTokenStringListLateBoundTest, Members_AreReachedByDispid) {
    const Tokens tokens = NewTokens();
    EXPECT_HR(list.Call(idAdd, tokens.p).hr, S_OK);
    EXPECT_HR(list.Put(idItem, 0, tokens.p).hr, S_OK);
    EXPECT_HR(list.Put(idNew, tokens.p).hr, S_OK);
    EXPECT_HR(list.Call(idAddNew).hr, S_OK);
    EXPECT_EQ(list.Get(idCount).value.Int(), 3);
    EXPECT_TRUE(AreSame(list.Get(idItem, 1).value.Object(), tokens));
    EXPECT_TRUE(AreSame(list.Get(idDefaultItem, 1).value.Object(), tokens));
    EXPECT_HR(list.Call(idRemove, 0).hr, S_OK);
    EXPECT_EQ(ReferencesOf(tokens), 2u);
}

TEST_F(NXTokenStringListLateBoundTest, AddNew_GivesTheCallerAReference) {
    const Reply reply = list.Call(L"AddNew");
    ASSERT_HR(reply.hr, S_OK);
    EXPECT_EQ(ReferencesOf(reply.value.Object()), 2u) << "the list's and the caller's";
    EXPECT_HR(list.Call(L"Remove", 0).hr, S_OK);
    EXPECT_EQ(ReferencesOf(reply.value.Object()), 1u);
}

TEST_F(NXTokenStringListLateBoundTest, AddNew_ThenThroughTheVtable_LendsAgain) {
    EXPECT_HR(list.Call(L"AddNew").hr, S_OK);
    INXTokenString* lent = nullptr;
    EXPECT_HR(entries.Raw()->AddNew(&lent), S_OK);
    EXPECT_EQ(ReferencesOf(lent), 1u);
}

/// What a script engine does for `list.AddNew` as a statement, with and without a place for the result.
TEST_F(NXTokenStringListLateBoundTest, AddNew_TenThousandStatements_LeaveNothingBehind) {
    for (const bool wantsValue : {false, true}) {
        SCOPED_TRACE(wantsValue ? "result thrown away" : "no place for the result");
        const ExpectNoLeaks noLeaks;
        TokenStringList many(Way::LateBound);
        const DispatchObject object = many.LateBound();
        const Invocation addNew = {.member = idAddNew, .wantsValue = wantsValue};
        for (int count = 0; count < 10000; ++count) {
            ASSERT_HR(object.Invoke(addNew).hr, S_OK);
        }
        EXPECT_EQ(many.Count(), 10000);
        INXTokenString* entry = nullptr;
        for (long index = 0; index < 10000; ++index) {
            many.Raw()->get_Item(index, &entry);
            ASSERT_EQ(entry->Release(), 1u) << "only the list's reference";
        }
    }
}

TEST_F(NXTokenStringListLateBoundTest, New_AsAStatement_LeavesOnlyTheListsReference) {
    EXPECT_HR(list.Invoke({.member = idNew, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(list.Invoke({.member = idNew, .wantsValue = false}).hr, S_OK);
    ASSERT_EQ(entries.Count(), 2);
    EXPECT_EQ(ReferencesOf(entries.Item(0)), 2u) << "the list's and this expression's";
    EXPECT_EQ(ReferencesOf(entries.Item(1)), 2u);
}

TEST_F(NXTokenStringListLateBoundTest, Properties_CalledAsMethods_AreRead) {
    const Tokens tokens = NewTokens();
    entries.Add(tokens);
    EXPECT_TRUE(AreSame(list.Call(L"Item", 0).value.Object(), tokens));
    const Reply reply = list.Call(DISPID_NEWENUM);
    ASSERT_EQ(reply.value.Type(), VT_UNKNOWN);
    EXPECT_EQ(RestOf(EnumeratorOf(V_UNKNOWN(reply.value.Raw()))).size(), 1u);
}

TEST_F(NXTokenStringListLateBoundTest, Arguments_ThatDoNotFit_ChangeNothing) {
    EXPECT_TRUE(FAILED(list.Call(L"Add", 5).hr));
    EXPECT_TRUE(FAILED(list.Call(L"Add", L"x").hr));
    EXPECT_TRUE(FAILED(list.Call(L"Add", Create(CLSID_NXString).Raw()).hr)) << "no token string";
    EXPECT_HR(list.Call(L"Add").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(list.Call(L"Remove", L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(entries.Count(), 0);
}

TEST_F(NXTokenStringListLateBoundTest, Argument_NothingIsANullEntry) {
    EXPECT_HR(list.Call(L"Add", static_cast<IDispatch*>(nullptr)).hr, S_OK);
    EXPECT_TRUE(entries.Holds({nullptr}));
    EXPECT_EQ(list.Get(L"Item", 0).value.Object(), nullptr);
}

TEST_F(NXTokenStringListLateBoundTest, OutOfMemory_IsAnHresult) {
    const Tokens tokens = NewTokens();
    const std::pair<Invocation, long> calls[] = {
        {{.member = idAdd, .arguments = {tokens.p}, .wantsValue = false}, 0},
        {{.member = idNew,
          .flags = DISPATCH_PROPERTYPUT,
          .arguments = {tokens.p},
          .names = {DISPID_PROPERTYPUT},
          .wantsValue = false},
         0},
        {{.member = idNew, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}, 1},
        {{.member = idAddNew, .wantsValue = false}, 0},
        {{.member = DISPID_NEWENUM, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}, 0},
    };
    for (const auto& [call, entriesAtMost] : calls) {
        SCOPED_TRACE(call.member);
        ForEachAllocationFailure(
            [] { return TokenStringList(Way::LateBound); },
            [&call = call](const TokenStringList& made) { return made.LateBound().Invoke(call).Failure(); },
            [&call = call, &entriesAtMost = entriesAtMost](const TokenStringList& made) {
                EXPECT_LE(made.Count(), entriesAtMost);
                EXPECT_HR(made.LateBound().Invoke(call).hr, S_OK) << "with memory again";
            });
    }
    EXPECT_EQ(ReferencesOf(tokens), 3u) << "this test's and the two calls'";
}

// ---------------------------------------------------------------------------------------------------------------------
// The object

class NXTokenStringListObjectTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;
};

TEST_F(NXTokenStringListObjectTest, Interfaces_AreItsOwnAndTheGeneralOnes) {
    support::ExpectInterfacesOfObject<INXTokenStringList>(CLSID_NXTokenStringList);
}

TEST_F(NXTokenStringListObjectTest, LivingListEnumeratorOrEntry_KeepsTheDllLoaded) {
    ASSERT_FALSE(support::DllHoldsObjects());
    TokenStringList list(Way::LateBound);
    Tokens entry = list.AddNew();
    auto enumerator = list.NewEnum();
    list.Release();
    EXPECT_TRUE(support::DllHoldsObjects());
    enumerator.Release();
    EXPECT_TRUE(support::DllHoldsObjects());
    entry.Release();
    EXPECT_FALSE(support::DllHoldsObjects());
}

} // namespace
