// What the lists of automation objects, NXTokenStringList and NXFileStreamList, have in common, in the registered DLL:
// every member through the vtable and late-bound, then what is special to either way to call.

#include <climits>
#include <string>
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
using support::DispatchObject;
using support::EnumeratorOf;
using support::ExpectNoLeaks;
using support::FileStreams;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::NextOf;
using support::ObjectList;
using support::ReferencesOf;
using support::Reply;
using support::Require;
using support::RestOf;
using support::TokenStrings;
using support::Way;

/// A list class and the way to call its objects.
template <class TheKind, Way theWay> struct Case {
    using Kind = TheKind;
    static constexpr Way way = theWay;
};

struct Names {
    template <class Type> static std::string GetName(int index) {
        constexpr const char* names[] = {"TokenStringListVtable", "TokenStringListLateBound", "FileStreamListVtable",
                                         "FileStreamListLateBound"};
        return names[index];
    }
};

template <class Tried> class NXObjectListTest : public ::testing::Test {
  protected:
    using Kind = typename Tried::Kind;
    using Element = typename Kind::Element;
    using StackElement = typename Kind::StackElement;
    using List = ObjectList<Kind>;

    static void SetUpTestSuite() { List::WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    List list{Tried::way};
    const CComPtr<Element> a = List::NewElement();
    const CComPtr<Element> b = List::NewElement();
    const CComPtr<Element> c = List::NewElement();
};

using Cases = ::testing::Types<Case<TokenStrings, Way::Vtable>, Case<TokenStrings, Way::LateBound>,
                               Case<FileStreams, Way::Vtable>, Case<FileStreams, Way::LateBound>>;
TYPED_TEST_SUITE(NXObjectListTest, Cases, Names);

TYPED_TEST(NXObjectListTest, New_IsEmpty) {
    EXPECT_EQ(this->list.Count(), 0);
}

TYPED_TEST(NXObjectListTest, Add_AppendsTheObjectItselfAndReferencesIt) {
    this->list.Add(this->a);
    this->list.Add(this->b);
    EXPECT_TRUE(this->list.Holds({this->a, this->b}));
    EXPECT_EQ(ReferencesOf(this->a), 2u);
}

TYPED_TEST(NXObjectListTest, New_Written_AppendsLikeAdd) {
    this->list.SetNew(this->a);
    this->list.SetNew(this->b);
    EXPECT_TRUE(this->list.Holds({this->a, this->b}));
    EXPECT_EQ(ReferencesOf(this->a), 2u);
}

TYPED_TEST(NXObjectListTest, Item_GivesTheCallerAReference) {
    this->list.Add(this->a);
    {
        const auto item = this->list.Item(0);
        const auto byDefault = this->list.DefaultItem(0);
        EXPECT_TRUE(AreSame(item, this->a));
        EXPECT_TRUE(AreSame(byDefault, this->a));
        EXPECT_EQ(ReferencesOf(this->a), 4u);
    }
    EXPECT_EQ(ReferencesOf(this->a), 2u);
}

TYPED_TEST(NXObjectListTest, Item_Written_ReplacesAndReleases) {
    this->list.Add(this->a);
    this->list.Add(this->b);
    this->list.SetItem(0, this->c);
    EXPECT_TRUE(this->list.Holds({this->c, this->b}));
    EXPECT_EQ(ReferencesOf(this->a), 1u);
    EXPECT_EQ(ReferencesOf(this->c), 2u);
    this->list.SetItem(0, nullptr);
    EXPECT_TRUE(this->list.Holds({nullptr, this->b}));
    EXPECT_EQ(ReferencesOf(this->c), 1u);
}

TYPED_TEST(NXObjectListTest, Item_WrittenByItself_Stays) {
    this->list.Add(this->list.NewElement());
    const auto item = this->list.Item(0);
    this->list.SetItem(0, item);
    EXPECT_TRUE(this->list.Holds({item}));
    EXPECT_EQ(ReferencesOf(item), 2u);
}

TYPED_TEST(NXObjectListTest, Remove_ReleasesAndMovesTheLaterOnesDown) {
    for (const auto& element : {this->a, this->b, this->c}) {
        this->list.Add(element);
    }
    this->list.Remove(1);
    EXPECT_TRUE(this->list.Holds({this->a, this->c}));
    EXPECT_EQ(ReferencesOf(this->b), 1u);
    this->list.Remove(0);
    this->list.Remove(0);
    EXPECT_EQ(this->list.Count(), 0);
    EXPECT_EQ(ReferencesOf(this->a), 1u);
    EXPECT_EQ(ReferencesOf(this->c), 1u);
}

TYPED_TEST(NXObjectListTest, SameObjectTwice_IsListedAndReferencedTwice) {
    this->list.Add(this->a);
    this->list.Add(this->a);
    EXPECT_TRUE(this->list.Holds({this->a, this->a}));
    EXPECT_EQ(ReferencesOf(this->a), 3u);
    this->list.Remove(0);
    EXPECT_TRUE(this->list.Holds({this->a}));
    EXPECT_EQ(ReferencesOf(this->a), 2u);
}

TYPED_TEST(NXObjectListTest, Entries_AreShared) {
    typename TestFixture::List other(TypeParam::way);
    this->list.Add(this->a);
    other.Add(this->a);
    TestFixture::Kind::Mark(this->list.Item(0), L"seen by all");
    EXPECT_BSTR(TestFixture::Kind::MarkOf(other.Item(0)), L"seen by all");
    EXPECT_EQ(ReferencesOf(this->a), 3u);
}

// Indices

TYPED_TEST(NXObjectListTest, Index_OutsideTheList_IsRefusedAndNothingChanges) {
    this->list.Add(this->a);
    this->list.Add(this->b);
    for (const long index : {2L, 3L, LONG_MAX, -1L, -2L, LONG_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(this->list.Refuses([&] { this->list.Item(index); }));
        EXPECT_TRUE(this->list.Refuses([&] { this->list.Remove(index); }));
        if (index != 2) {
            EXPECT_TRUE(this->list.Refuses([&] { this->list.SetItem(index, this->c); }));
        }
    }
    EXPECT_TRUE(this->list.Holds({this->a, this->b}));
    EXPECT_EQ(ReferencesOf(this->c), 1u);
}

TYPED_TEST(NXObjectListTest, Index_InAnEmptyList_IsRefused) {
    EXPECT_TRUE(this->list.Refuses([&] { this->list.Item(0); }));
    EXPECT_TRUE(this->list.Refuses([&] { this->list.Remove(0); }));
    EXPECT_TRUE(this->list.Refuses([&] { this->list.SetItem(1, this->a); }));
    EXPECT_EQ(this->list.Count(), 0);
}

TYPED_TEST(NXObjectListTest, Index_OfARemovedEntry_IsRefused) {
    this->list.Add(this->a);
    this->list.Add(this->b);
    this->list.Remove(1);
    EXPECT_TRUE(this->list.Refuses([&] { this->list.Item(1); }));
    EXPECT_TRUE(this->list.Refuses([&] { this->list.Remove(1); }));
    EXPECT_TRUE(this->list.Holds({this->a}));
}

// New, AddNew

TYPED_TEST(NXObjectListTest, New_Read_AppendsANewObjectAndGivesAReference) {
    const auto created = this->list.New();
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(this->list.Holds({created}));
    EXPECT_EQ(ReferencesOf(created), 2u);
    const auto another = this->list.New();
    EXPECT_TRUE(this->list.Holds({created, another}));
    EXPECT_FALSE(AreSame(created, another));
    this->list.Remove(0);
    EXPECT_EQ(ReferencesOf(created), 1u);
}

TYPED_TEST(NXObjectListTest, AddNew_AppendsANewObject) {
    const auto created = this->list.AddNew();
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(this->list.Holds({created}));
    EXPECT_EQ(ReferencesOf(created), 2u);
    const auto another = this->list.AddNew();
    EXPECT_TRUE(this->list.Holds({created, another}));
    EXPECT_FALSE(AreSame(created, another));
}

// Lifetimes

TYPED_TEST(NXObjectListTest, List_Released_ReleasesItsEntries) {
    this->list.Add(this->a);
    this->list.Add(nullptr);
    this->list.Add(this->a);
    this->list.AddNew();
    this->list.Release();
    EXPECT_EQ(ReferencesOf(this->a), 1u);
}

TYPED_TEST(NXObjectListTest, Entries_OutliveTheList) {
    const auto created = this->list.New();
    const auto added = this->list.AddNew();
    this->list.Release();
    for (auto* const entry : {created.p, added.p}) {
        EXPECT_EQ(ReferencesOf(entry), 1u);
        TestFixture::Kind::Mark(entry, L"alive");
        EXPECT_BSTR(TestFixture::Kind::MarkOf(entry), L"alive");
    }
}

TYPED_TEST(NXObjectListTest, Entries_LiveAsLongAsTheListHoldsThem) {
    {
        const auto element = this->list.NewElement();
        TestFixture::Kind::Mark(element, L"alive");
        this->list.Add(element);
    }
    EXPECT_EQ(ReferencesOf(this->list.Item(0)), 2u) << "the list's and this expression's";
    EXPECT_BSTR(TestFixture::Kind::MarkOf(this->list.Item(0)), L"alive");
}

TYPED_TEST(NXObjectListTest, Lists_AreReleasedInAnyOrder) {
    for (const bool firstFirst : {true, false}) {
        typename TestFixture::List first(TypeParam::way);
        typename TestFixture::List second(TypeParam::way);
        const auto created = first.New();
        second.Add(created);
        second.Add(this->a);
        first.Add(this->a);
        (firstFirst ? first : second).Release();
        EXPECT_EQ(ReferencesOf(created), 2u);
        (firstFirst ? second : first).Release();
        EXPECT_EQ(ReferencesOf(created), 1u);
        EXPECT_EQ(ReferencesOf(this->a), 1u);
    }
}

// Null entries

TYPED_TEST(NXObjectListTest, NullEntries_AreHarmless) {
    this->list.Add(nullptr);
    this->list.SetNew(nullptr);
    this->list.Add(this->a);
    EXPECT_TRUE(this->list.Holds({nullptr, nullptr, this->a}));
    EXPECT_EQ(this->list.DefaultItem(0), nullptr);
    EXPECT_EQ(this->list.DefaultItem(1), nullptr);
    const auto elements = RestOf(this->list.NewEnum());
    ASSERT_EQ(elements.size(), 3u);
    EXPECT_EQ(elements[0].Object(), nullptr);
    EXPECT_EQ(elements[1].Object(), nullptr);
    EXPECT_TRUE(AreSame(elements[2].Object(), this->a));
    this->list.SetItem(0, this->b);
    this->list.Remove(1);
    EXPECT_TRUE(this->list.Holds({this->b, this->a}));
}

// Enumeration

TYPED_TEST(NXObjectListTest, NewEnum_DeliversTheSameObjectsWithReferences) {
    this->list.Add(this->a);
    this->list.Add(this->b);
    this->list.Add(this->a);
    {
        const auto elements = RestOf(this->list.NewEnum());
        ASSERT_EQ(elements.size(), 3u);
        EXPECT_TRUE(AreSame(elements[0].Object(), this->a));
        EXPECT_TRUE(AreSame(elements[1].Object(), this->b));
        EXPECT_TRUE(AreSame(elements[2].Object(), this->a));
        EXPECT_EQ(ReferencesOf(this->a), 5u);
    }
    EXPECT_EQ(ReferencesOf(this->a), 3u);
    EXPECT_EQ(ReferencesOf(this->b), 2u);
}

TYPED_TEST(NXObjectListTest, NewEnum_KeepsTheListAlive) {
    this->list.Add(this->a);
    this->list.Add(this->b);
    auto enumerator = this->list.NewEnum();
    this->list.Release();
    EXPECT_EQ(ReferencesOf(this->a), 2u);
    EXPECT_EQ(RestOf(enumerator).size(), 2u);
    enumerator.Release();
    EXPECT_EQ(ReferencesOf(this->a), 1u);
}

TYPED_TEST(NXObjectListTest, NewEnum_GoesOnWithWhatThereIs) {
    for (const auto& element : {this->a, this->b, this->c}) {
        this->list.Add(element);
    }
    const auto enumerator = this->list.NewEnum();
    EXPECT_TRUE(AreSame(NextOf(enumerator).Object(), this->a));
    this->list.Remove(0);
    EXPECT_TRUE(AreSame(NextOf(enumerator).Object(), this->c)) << "the list moved down under it";
    for (int count = 0; count < 100; ++count) {
        this->list.Add(this->b);
    }
    EXPECT_EQ(RestOf(enumerator).size(), 100u);
    while (this->list.Count() > 0) {
        this->list.Remove(0);
    }
    EXPECT_EQ(NextOf(enumerator).Type(), VT_EMPTY);
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_EQ(NextOf(enumerator).Type(), VT_EMPTY);
    this->list.Add(this->c);
    EXPECT_TRUE(AreSame(NextOf(enumerator).Object(), this->c));
}

// Entries of another make, whose code uses the list

TYPED_TEST(NXObjectListTest, ForeignEntry_IsTakenAsItIs) {
    typename TestFixture::StackElement foreign;
    this->list.Add(&foreign);
    EXPECT_EQ(foreign.references, 1u);
    EXPECT_TRUE(AreSame(this->list.Item(0), &foreign));
    EXPECT_TRUE(AreSame(NextOf(this->list.NewEnum()).Object(), &foreign));
    EXPECT_EQ(foreign.references, 1u);
    this->list.Release();
    EXPECT_EQ(foreign.references, 0u);
}

/// Removes all entries, of which there may be none.
template <class List> void Empty(List* list) {
    while (SUCCEEDED(list->Remove(0))) {
    }
    SetErrorInfo(0, nullptr);
}

/// An entry that, when the list releases it, empties the list. Only the first time: that releases it too.
template <class Kind> class EmptyingEntry : public Kind::StackElement {
  public:
    explicit EmptyingEntry(const ObjectList<Kind>& list) : m_list(list.Raw()) {
        this->onRelease = [this] {
            if (std::exchange(armed, false)) {
                Empty(m_list);
            }
        };
    }

    bool armed = false;

  private:
    typename Kind::List* m_list;
};

TYPED_TEST(NXObjectListTest, ForeignEntry_Added_MayChangeTheList) {
    typename TestFixture::StackElement foreign;
    auto* const raw = this->list.Raw();
    bool armed = false;
    for (int entries = 0; entries < 10; ++entries) { // whether or not the array has to grow
        foreign.onAddRef = [&] {
            if (std::exchange(armed, false)) {
                while (SUCCEEDED(raw->Remove(0))) {
                }
                raw->Add(this->b);
                SetErrorInfo(0, nullptr);
            }
        };
        for (int i = 0; i < entries; ++i) {
            this->list.Add(this->a);
        }
        armed = true;
        this->list.Add(&foreign);
        foreign.onAddRef = [] {};
        EXPECT_TRUE(this->list.Holds({this->b, &foreign}));
        this->list.Remove(1);
        this->list.Remove(0);
        EXPECT_EQ(foreign.references, 0u);
        EXPECT_EQ(ReferencesOf(this->a), 1u);
        EXPECT_EQ(ReferencesOf(this->b), 1u);
    }
}

TYPED_TEST(NXObjectListTest, ForeignEntry_Removed_MayEmptyTheList) {
    EmptyingEntry<typename TestFixture::Kind> foreign(this->list);
    this->list.Add(this->a);
    this->list.Add(&foreign);
    this->list.Add(this->b);
    foreign.armed = true;
    this->list.Remove(1);
    EXPECT_FALSE(foreign.armed);
    EXPECT_EQ(this->list.Count(), 0);
    EXPECT_EQ(foreign.references, 0u);
    EXPECT_EQ(ReferencesOf(this->a), 1u);
    EXPECT_EQ(ReferencesOf(this->b), 1u);
}

TYPED_TEST(NXObjectListTest, ForeignEntry_Replaced_MayEmptyTheList) {
    EmptyingEntry<typename TestFixture::Kind> foreign(this->list);
    this->list.Add(this->a);
    this->list.Add(&foreign);
    foreign.armed = true;
    this->list.SetItem(1, this->c);
    EXPECT_FALSE(foreign.armed);
    EXPECT_EQ(this->list.Count(), 0);
    EXPECT_EQ(foreign.references, 0u);
    EXPECT_EQ(ReferencesOf(this->a), 1u);
    EXPECT_EQ(ReferencesOf(this->c), 1u);
}

TYPED_TEST(NXObjectListTest, ForeignEntry_AtTheListsEnd_MayUseTheList) {
    typename TestFixture::StackElement foreign;
    auto* const raw = this->list.Raw();
    this->list.Add(&foreign);
    bool armed = true;
    foreign.onRelease = [&] {
        if (std::exchange(armed, false)) {
            const CComPtr<typename TestFixture::Kind::List> used = raw;
            EXPECT_HR(used->Add(this->a), S_OK);
        }
    };
    this->list.Release();
    EXPECT_FALSE(armed);
    EXPECT_EQ(foreign.references, 0u);
    EXPECT_EQ(ReferencesOf(this->a), 1u);
}

TYPED_TEST(NXObjectListTest, ForeignEntry_AskedForItsInterface_MayEmptyTheList) {
    typename TestFixture::StackElement foreign;
    this->list.Add(this->a);
    this->list.Add(&foreign);
    foreign.onQuery = [&] {
        Empty(this->list.Raw());
        return S_OK;
    };
    EXPECT_TRUE(AreSame(this->list.Item(1), &foreign));
    EXPECT_EQ(this->list.Count(), 0);
    EXPECT_EQ(foreign.references, 0u);
}

TYPED_TEST(NXObjectListTest, ForeignEntry_Enumerated_MayEmptyTheList) {
    typename TestFixture::StackElement foreign;
    this->list.Add(&foreign);
    this->list.Add(this->a);
    const auto enumerator = this->list.NewEnum();
    foreign.onQuery = [&] {
        Empty(this->list.Raw());
        return S_OK;
    };
    EXPECT_TRUE(AreSame(NextOf(enumerator).Object(), &foreign));
    EXPECT_EQ(NextOf(enumerator).Type(), VT_EMPTY);
    EXPECT_EQ(foreign.references, 0u);
    EXPECT_EQ(ReferencesOf(this->a), 1u);
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to one way to call, for both lists

struct KindNames {
    template <class Type> static std::string GetName(int index) {
        return index == 0 ? "TokenStringList" : "FileStreamList";
    }
};
using Kinds = ::testing::Types<TokenStrings, FileStreams>;

template <class Kind> class NXObjectListVtableTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { ObjectList<Kind>::WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    ObjectList<Kind> list{Way::Vtable};
};
TYPED_TEST_SUITE(NXObjectListVtableTest, Kinds, KindNames);

TYPED_TEST(NXObjectListVtableTest, Item_OfAnEntryThatRefuses_SucceedsWithWhatItGave) {
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

TYPED_TEST(NXObjectListVtableTest, BadIndex_LeavesTheResultAsItWas) {
    auto* const untouched = reinterpret_cast<typename TypeParam::Element*>(this);
    auto* result = untouched;
    for (const long index : {0L, -1L}) {
        EXPECT_HR(this->list.Raw()->get_Item(index, &result), E_FAIL);
        EXPECT_HR(this->list.Raw()->get__Item(index, &result), E_FAIL);
    }
    EXPECT_EQ(result, untouched);
    SetErrorInfo(0, nullptr);
}

/// A list and an object to be added.
template <class Kind> struct Adding {
    ObjectList<Kind> list{Way::Vtable};
    CComPtr<typename Kind::Element> element = list.NewElement();
};

TYPED_TEST(NXObjectListVtableTest, Append_OutOfMemory_IsRaised_NothingAppended) {
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

/// A list, the result of a call that creates, and how that ended.
template <class Kind> struct Creating {
    ObjectList<Kind> list{Way::Vtable};
    typename Kind::Element* result = reinterpret_cast<typename Kind::Element*>(list.Raw());
    HRESULT hr = E_UNEXPECTED; ///< stays when the call raises an exception
};

TYPED_TEST(NXObjectListVtableTest, New_NotCreated_IsReturnedAndAppendsANullEntry) {
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

TYPED_TEST(NXObjectListVtableTest, AddNew_NotCreated_AppendsNothing) {
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

TYPED_TEST(NXObjectListVtableTest, NewEnum_OutOfMemory_IsReturned) {
    struct World {
        ObjectList<TypeParam> list{Way::Vtable};
        IUnknown* result = list.Raw();
    };
    ForEachAllocationFailure([] { return World{}; },
                             [](World& world) {
                                 const HRESULT hr = world.list.Raw()->get__NewEnum(&world.result);
                                 if (SUCCEEDED(hr)) {
                                     world.result->Release();
                                 }
                                 return hr;
                             },
                             [](const World& world) { EXPECT_EQ(world.result, nullptr); });
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

template <class Kind> class NXObjectListLateBoundTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { ObjectList<Kind>::WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    const ObjectList<Kind> entries{Way::LateBound};
    const DispatchObject list = entries.LateBound();
};
TYPED_TEST_SUITE(NXObjectListLateBoundTest, Kinds, KindNames);

TYPED_TEST(NXObjectListLateBoundTest, GetIDsOfNames_KnowsEveryMember) {
    const std::pair<const wchar_t*, DISPID> members[] = {
        {L"Item", TypeParam::idItem},     {L"Remove", TypeParam::idRemove}, {L"New", TypeParam::idNew},
        {L"Add", TypeParam::idAdd},       {L"Count", TypeParam::idCount},   {L"_Item", DISPID_VALUE},
        {L"AddNew", TypeParam::idAddNew}, {L"_NewEnum", DISPID_NEWENUM},
    };
    for (const auto& [name, expected] : members) {
        DISPID id = 0x7777;
        EXPECT_HR(support::Member(name).Resolve(this->list.Raw(), id), S_OK);
        EXPECT_EQ(id, expected);
    }
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

/// What a script engine does for `list.AddNew` as a statement, with and without a place for the result.
TYPED_TEST(NXObjectListLateBoundTest, AddNew_TenThousandStatements_LeaveNothingBehind) {
    for (const bool wantsValue : {false, true}) {
        SCOPED_TRACE(wantsValue ? "result thrown away" : "no place for the result");
        const ExpectNoLeaks noLeaks;
        ObjectList<TypeParam> many(Way::LateBound);
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

TYPED_TEST(NXObjectListLateBoundTest, Argument_NothingIsANullEntry) {
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
        ForEachAllocationFailure([] { return Lists(Way::LateBound); },
                                 [&call = call](const Lists& made) { return made.LateBound().Invoke(call).Failure(); },
                                 [&call = call, &entriesAtMost = entriesAtMost](const Lists& made) {
                                     EXPECT_LE(made.Count(), entriesAtMost);
                                     EXPECT_HR(made.LateBound().Invoke(call).hr, S_OK) << "with memory again";
                                 });
    }
    EXPECT_EQ(ReferencesOf(element), 3u) << "this test's and the two calls'";
}

// ---------------------------------------------------------------------------------------------------------------------
// The object

template <class Kind> class NXObjectListObjectTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { ObjectList<Kind>::WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;
};
TYPED_TEST_SUITE(NXObjectListObjectTest, Kinds, KindNames);

TYPED_TEST(NXObjectListObjectTest, Interfaces_AreItsOwnAndTheGeneralOnes) {
    support::ExpectInterfacesOfObject<typename TypeParam::List>(TypeParam::ListClass());
}

TYPED_TEST(NXObjectListObjectTest, LivingListEnumeratorOrEntry_KeepsTheDllLoaded) {
    ASSERT_FALSE(support::DllHoldsObjects());
    ObjectList<TypeParam> list(Way::LateBound);
    auto entry = list.AddNew();
    auto enumerator = list.NewEnum();
    list.Release();
    EXPECT_TRUE(support::DllHoldsObjects());
    enumerator.Release();
    EXPECT_TRUE(support::DllHoldsObjects());
    entry.Release();
    EXPECT_FALSE(support::DllHoldsObjects());
}

} // namespace
