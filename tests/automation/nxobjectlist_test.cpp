// The lists of automation objects, NXTokenStringList and NXFileStreamList, through the vtable and late-bound.

#include <climits>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/objectlist.h"
#include "tests/automation/objectlisttest.h"
#include "tests/support/bstr.h"

namespace {

using support::AreSame;
using support::NextOf;
using support::ReferencesOf;
using support::RestOf;

template <class Case> class NXObjectListTest : public support::ObjectListTest<Case> {};
TYPED_TEST_SUITE(NXObjectListTest, support::ListCases, support::ListCaseNames);

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
    typename TestFixture::List other(TypeParam::binding);
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
        EXPECT_TRUE(this->list.RefusesIndex([&] { this->list.Item(index); }));
        EXPECT_TRUE(this->list.RefusesIndex([&] { this->list.Remove(index); }));
        if (index != 2) {
            EXPECT_TRUE(this->list.RefusesIndex([&] { this->list.SetItem(index, this->c); }));
        }
    }
    EXPECT_TRUE(this->list.Holds({this->a, this->b}));
    EXPECT_EQ(ReferencesOf(this->c), 1u);
}

TYPED_TEST(NXObjectListTest, Index_InAnEmptyList_IsRefused) {
    EXPECT_TRUE(this->list.RefusesIndex([&] { this->list.Item(0); }));
    EXPECT_TRUE(this->list.RefusesIndex([&] { this->list.Remove(0); }));
    EXPECT_TRUE(this->list.RefusesIndex([&] { this->list.SetItem(1, this->a); }));
    EXPECT_EQ(this->list.Count(), 0);
}

TYPED_TEST(NXObjectListTest, Index_OfARemovedEntry_IsRefused) {
    this->list.Add(this->a);
    this->list.Add(this->b);
    this->list.Remove(1);
    EXPECT_TRUE(this->list.RefusesIndex([&] { this->list.Item(1); }));
    EXPECT_TRUE(this->list.RefusesIndex([&] { this->list.Remove(1); }));
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

TYPED_TEST(NXObjectListTest, Entries_AreKeptAliveByTheList) {
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
        typename TestFixture::List first(TypeParam::binding);
        typename TestFixture::List second(TypeParam::binding);
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

TYPED_TEST(NXObjectListTest, NewEnum_GoesOnWithTheEntriesOfNow) {
    for (const auto& element : {this->a, this->b, this->c}) {
        this->list.Add(element);
    }
    const auto enumerator = this->list.NewEnum();
    EXPECT_TRUE(AreSame(NextOf(enumerator).Object(), this->a));
    this->list.Remove(0);
    EXPECT_TRUE(AreSame(NextOf(enumerator).Object(), this->c)) << "the later entries have moved down";
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

} // namespace
