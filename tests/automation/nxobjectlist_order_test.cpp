// The order in which a collection releases its entries when it is destroyed: from the first to the last.

#include <array>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxfilestreamlist.h"
#include "automation/nxtokenstringlist.h"
#include "automation/nxvariantcollection.h"
#include "tests/automation/localobject.h"
#include "tests/automation/stackobject.h"

namespace {

using support::DispatchObject;
using support::Foreign;
using support::New;
using support::Require;
using support::StackFileStream;
using support::StackTokenString;
using support::Variant;

const std::vector<int> inOrder = {0, 1, 2, 3, 4};

/// Entries that record the order of their last releases.
template <class Element> class Entries {
  public:
    Entries() {
        for (const int number : inOrder) {
            Element& element = m_elements.at(static_cast<std::size_t>(number));
            element.onRelease = [this, number, &element] {
                if (element.references == 1) {
                    released.push_back(number);
                }
            };
        }
    }

    auto begin() { return m_elements.begin(); }
    auto end() { return m_elements.end(); }

    std::vector<int> released;

  private:
    std::array<Element, 5> m_elements;
};

class ForeignNothing : public Foreign {
  public:
    ForeignNothing() : Foreign(Variant()) {}
};

using NXReleaseOrderTest = support::DispatchTest;

template <class List, class Element> void ExpectListReleasesInOrder() {
    Entries<Element> entries;
    {
        const auto list = New<List>();
        for (Element& entry : entries) {
            Require(list->Add(&entry), "Add");
        }
    }
    EXPECT_EQ(entries.released, inOrder);
}

TEST_F(NXReleaseOrderTest, TokenStringList_ReleasesItsEntriesInOrder) {
    ExpectListReleasesInOrder<CNXTokenStringList, StackTokenString>();
}

TEST_F(NXReleaseOrderTest, FileStreamList_ReleasesItsEntriesInOrder) {
    ExpectListReleasesInOrder<CNXFileStreamList, StackFileStream>();
}

TEST_F(NXReleaseOrderTest, VariantCollection_ReleasesItsObjectsInOrder) {
    Entries<ForeignNothing> entries;
    {
        const DispatchObject collection = support::CollectionOf(0);
        for (Foreign& entry : entries) {
            Require(collection.Call(L"Add", &entry).hr, "Add");
        }
    }
    EXPECT_EQ(entries.released, inOrder);
}

/// Entries that were inserted, moved or replaced are released by index, not in the order in which they were added.
TEST_F(NXReleaseOrderTest, ListThatHasChanged_ReleasesByIndex) {
    std::array<StackTokenString, 4> entries;
    std::vector<int> released;
    for (int number = 0; number < 4; ++number) {
        StackTokenString& entry = entries.at(static_cast<std::size_t>(number));
        entry.onRelease = [&released, &entry, number] {
            if (entry.references == 1) {
                released.push_back(number);
            }
        };
    }
    {
        const auto list = New<CNXTokenStringList>();
        for (StackTokenString& entry : entries) {
            Require(list->Add(&entry), "Add");
        }
        Require(list->Remove(1), "Remove");
        Require(list->put_Item(0, &entries[1]), "put_Item");
        Require(list->Add(&entries[0]), "Add");
        released.clear();
    }
    EXPECT_EQ(released, (std::vector<int>{1, 2, 3, 0}));
}

} // namespace
