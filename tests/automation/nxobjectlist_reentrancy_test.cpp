// The lists of automation objects with entries of other classes, whose code uses the list while the list calls it.

#include <utility>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/objectlist.h"
#include "tests/automation/objectlisttest.h"

namespace {

using support::AreSame;
using support::NextOf;
using support::ObjectList;
using support::ReferencesOf;

template <class Case> class NXObjectListReentrancyTest : public support::ObjectListTest<Case> {};
TYPED_TEST_SUITE(NXObjectListReentrancyTest, support::ListCases, support::ListCaseNames);

TYPED_TEST(NXObjectListReentrancyTest, ForeignEntry_IsStored) {
    typename TestFixture::StackElement foreign;
    this->list.Add(&foreign);
    EXPECT_EQ(foreign.references, 1u);
    EXPECT_TRUE(AreSame(this->list.Item(0), &foreign));
    EXPECT_TRUE(AreSame(NextOf(this->list.NewEnum()).Object(), &foreign));
    EXPECT_EQ(foreign.references, 1u);
    this->list.Release();
    EXPECT_EQ(foreign.references, 0u);
}

/// Removes all entries.
template <class List> void Empty(List* list) {
    while (SUCCEEDED(list->Remove(0))) {
    }
    SetErrorInfo(0, nullptr);
}

/// An entry that empties the list when the list releases it. It does so once, as emptying releases it again.
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

TYPED_TEST(NXObjectListReentrancyTest, ForeignEntry_Added_MayChangeTheList) {
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

TYPED_TEST(NXObjectListReentrancyTest, ForeignEntry_Removed_MayEmptyTheList) {
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

TYPED_TEST(NXObjectListReentrancyTest, ForeignEntry_Replaced_MayEmptyTheList) {
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

TYPED_TEST(NXObjectListReentrancyTest, ForeignEntry_OfAListBeingDestroyed_MayUseTheList) {
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

TYPED_TEST(NXObjectListReentrancyTest, ForeignEntry_AskedForItsInterface_MayEmptyTheList) {
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

TYPED_TEST(NXObjectListReentrancyTest, ForeignEntry_Enumerated_MayEmptyTheList) {
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

} // namespace
