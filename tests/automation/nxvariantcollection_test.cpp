// NXVariantCollection through the vtable and late-bound: Add, Remove, Item, values of every type, and enumeration.

#include <climits>
#include <cstddef>
#include <cstring>
#include <vector>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/stackobject.h"
#include "tests/automation/variantvalues.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::AllKinds;
using support::ArrayOfStrings;
using support::ArrayOfValues;
using support::Binding;
using support::CountLiveAllocations;
using support::IntsOf;
using support::Is;
using support::Kind;
using support::NextOf;
using support::RestOf;
using support::Variant;
using support::VariantCollection;

using Ints = std::vector<int>;

class NXVariantCollectionTest : public support::BothBindingsTest<VariantCollection> {
  protected:
    support::StackAutomationObject<IDispatch> object;
    support::StackObject<IUnknown> unknown;
    VariantCollection collection{GetParam()};
    const VariantCollection numbers{GetParam(), {1, 2, 3}};
};

INSTANTIATE_TEST_SUITE_P(ByBinding, NXVariantCollectionTest, ::testing::Values(Binding::Vtable, Binding::LateBound),
                         support::NameOfBinding);

// Add, Remove, Item, Count

TEST_P(NXVariantCollectionTest, New_IsEmpty) {
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_TRUE(RestOf(collection.NewEnum()).empty());
}

/// A call with a position or an index, and the elements before and after it.
struct ChangeRow {
    const char* name;
    Ints before;
    long index;
    Ints after;
};

const ChangeRow addRows[] = {
    {"0 appends", {1, 2, 3}, 0, {1, 2, 3, 9}},
    {"0 of an empty collection", {}, 0, {9}},
    {"Before the first", {1, 5, 2, 7, 3}, 1, {9, 1, 5, 2, 7, 3}},
    {"Before the only one", {1}, 1, {9, 1}},
    {"Before the second", {1, 2, 3}, 2, {1, 9, 2, 3}},
    {"The count, which is before the last", {1, 5, 2, 3}, 4, {1, 5, 2, 9, 3}},
};

TEST_P(NXVariantCollectionTest, Add_AtAPosition) {
    for (const ChangeRow& row : addRows) {
        SCOPED_TRACE(row.name);
        const VariantCollection changed(GetParam(), row.before);
        changed.Add(9, row.index);
        EXPECT_EQ(changed.Count(), static_cast<long>(row.after.size()));
        EXPECT_EQ(changed.All(), row.after);
    }
}

const ChangeRow removeRows[] = {
    {"The first of two", {1, 3}, 1, {3}},           {"The only one", {3}, 1, {}},
    {"The second of three", {1, 2, 3}, 2, {1, 3}},  {"The count, which is the last", {1, 2, 3}, 3, {1, 2}},
    {"0, which is the last", {1, 2, 3}, 0, {1, 2}}, {"0 of one", {1}, 0, {}},
    {"0 of an empty collection", {}, 0, {}},
};

TEST_P(NXVariantCollectionTest, Remove_AtAnIndex) {
    for (const ChangeRow& row : removeRows) {
        SCOPED_TRACE(row.name);
        const VariantCollection changed(GetParam(), row.before);
        changed.Remove(row.index);
        EXPECT_EQ(changed.Count(), static_cast<long>(row.after.size()));
        EXPECT_EQ(changed.All(), row.after);
        Ints withAnother = row.after;
        withAnother.push_back(4);
        changed.Add(4);
        EXPECT_EQ(changed.All(), withAnother);
    }
}

/// Indices that a member refuses, and the elements, which stay as they are.
struct RefusedRow {
    const char* name;
    Ints elements;
    std::vector<long> indices;
};

const RefusedRow refusedPositions[] = {
    {"Empty collection", {}, {1, 2, -1, LONG_MIN, LONG_MAX}},
    {"Three elements", {1, 2, 3}, {4, 5, 1000000, LONG_MAX, -1, -2, -3, -4, LONG_MIN + 1, LONG_MIN}},
    {"Five elements", {1, 9, 2, 7, 3}, {6}},
};

TEST_P(NXVariantCollectionTest, Add_OutsideTheCollection_IsRefusedAndNothingChanges) {
    for (const RefusedRow& row : refusedPositions) {
        SCOPED_TRACE(row.name);
        const VariantCollection tested(GetParam(), row.elements);
        for (const long position : row.indices) {
            EXPECT_TRUE(tested.RefusesPosition(position)) << position;
        }
        EXPECT_EQ(tested.All(), row.elements);
    }
}

const RefusedRow refusedRemovals[] = {
    {"Empty collection", {}, {1, -1, LONG_MIN, LONG_MAX}},
    {"Three elements", {1, 2, 3}, {4, 5, 1000000, LONG_MAX, -1, -2, -3, -4, LONG_MIN + 1, LONG_MIN}},
};

TEST_P(NXVariantCollectionTest, Remove_OutsideTheCollection_IsRefusedAndNothingChanges) {
    for (const RefusedRow& row : refusedRemovals) {
        SCOPED_TRACE(row.name);
        const VariantCollection tested(GetParam(), row.elements);
        for (const long index : row.indices) {
            EXPECT_TRUE(tested.RefusesIndex([&] { tested.Remove(index); })) << index;
        }
        EXPECT_EQ(tested.All(), row.elements);
    }
}

const RefusedRow refusedItems[] = {
    {"Empty collection", {}, {0, 1, 2, -1, LONG_MIN, LONG_MAX}},
    {"Three elements", {1, 2, 3}, {0, 4, 5, 1000000, LONG_MAX, -1, -2, -3, LONG_MIN + 1, LONG_MIN}},
};

TEST_P(NXVariantCollectionTest, Item_OutsideTheCollection_IsRefused) {
    for (const RefusedRow& row : refusedItems) {
        SCOPED_TRACE(row.name);
        const VariantCollection tested(GetParam(), row.elements);
        for (const long index : row.indices) {
            EXPECT_TRUE(tested.RefusesIndex([&] { tested.Item(index); })) << index;
        }
        EXPECT_EQ(tested.All(), row.elements);
    }
}

TEST_P(NXVariantCollectionTest, Item_CountsFrom1) {
    EXPECT_EQ(numbers.Item(1).Int(), 1);
    EXPECT_EQ(numbers.Item(2).Int(), 2);
    EXPECT_EQ(numbers.Item(3).Int(), 3);
}

TEST_P(NXVariantCollectionTest, Item_OfARemovedElement_IsRefused) {
    numbers.Remove(3);
    EXPECT_TRUE(numbers.RefusesIndex([&] { numbers.Item(3); }));
}

// Values

TEST_P(NXVariantCollectionTest, Values_OfEveryKind_AreKept) {
    const auto kinds = AllKinds(&object, &unknown);
    std::vector<Variant> originals;
    for (const Kind& kind : kinds) {
        originals.push_back(kind.make());
    }
    for (const Variant& original : originals) {
        collection.Add(original);
    }
    const auto elements = RestOf(collection.NewEnum());
    ASSERT_EQ(collection.Count(), static_cast<long>(kinds.size()));
    ASSERT_EQ(elements.size(), kinds.size());
    for (std::size_t index = 0; index < kinds.size(); ++index) {
        SCOPED_TRACE(kinds[index].name);
        EXPECT_TRUE(Is(collection.Item(static_cast<long>(index) + 1), originals[index]));
        EXPECT_TRUE(Is(elements[index], originals[index]));
    }
    collection.Release(); // before its values
}

TEST_P(NXVariantCollectionTest, Values_OfEveryKind_MoveWithTheirElements) {
    const auto kinds = AllKinds(&object, &unknown);
    std::vector<Variant> originals;
    for (const Kind& kind : kinds) {
        originals.push_back(kind.make());
    }
    for (const Variant& original : originals) {
        collection.Add(original, collection.Count() == 0 ? 0 : 1); // all move up
    }
    for (std::size_t index = kinds.size(); index-- > 0;) {
        SCOPED_TRACE(kinds[index].name);
        EXPECT_TRUE(Is(collection.Item(1), originals[index]));
        collection.Remove(1);
    }
    EXPECT_EQ(collection.Count(), 0);
}

TEST_P(NXVariantCollectionTest, Item_IsACopy) {
    const Variant text(L"text");
    const Variant values(ArrayOfValues(&object));
    collection.Add(text);
    collection.Add(values);
    const Variant first = collection.Item(1);
    const Variant second = collection.Item(1);
    first.Text()[0] = L'X';
    EXPECT_BSTR(second.Text(), L"text");
    EXPECT_BSTR(collection.Item(1).Text(), L"text");
    const Variant array = collection.Item(2);
    V_I4(static_cast<VARIANT*>(V_ARRAY(array.Raw())->pvData)) = 8;
    EXPECT_TRUE(Is(collection.Item(2), values));
    collection.Remove(1);
    collection.Release();
    EXPECT_BSTR(first.Text(), L"Xext");
}

TEST_P(NXVariantCollectionTest, Item_OfAnObject_GivesTheCallerAReference) {
    const Variant value(static_cast<IDispatch*>(&object));
    collection.Add(value);
    const ULONG before = object.references;
    {
        const Variant item = collection.Item(1);
        EXPECT_EQ(item.Object(), &object);
        EXPECT_EQ(object.references, before + 1);
    }
    EXPECT_EQ(object.references, before);
    collection.Release();
}

TEST_P(NXVariantCollectionTest, Collections_AreIndependent) {
    collection.Add(numbers.Item(2));
    numbers.Remove(2);
    EXPECT_EQ(collection.All(), Ints{2});
    EXPECT_EQ(numbers.All(), (Ints{1, 3}));
}

TEST_P(NXVariantCollectionTest, TenThousandAdditionsAndRemovals_LeakNothing) {
    const Variant text(L"text");
    const Variant dispatch(static_cast<IDispatch*>(&object));
    const Variant array(ArrayOfStrings());
    const auto before = CountLiveAllocations();
    for (int round = 0; round < 10000 / 4; ++round) {
        collection.Add(round);
        collection.Add(text, round % 7 == 0 ? 1 : 0);
        collection.Add(dispatch);
        collection.Add(array, 2);
    }
    ASSERT_EQ(collection.Count(), 10000);
    for (long left = 10000; left > 0; --left) {
        collection.Remove(left % 3 == 0 ? 0 : left / 2 + 1);
    }
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_EQ(object.references, 1u);
    EXPECT_EQ(CountLiveAllocations().bstrs, before.bstrs) << "strings and arrays";
    collection.Release();
    EXPECT_EQ(CountLiveAllocations().objects, before.objects - 1) << "less the collection";
}

// Enumeration

TEST_P(NXVariantCollectionTest, NewEnum_DeliversAllElementsInOrder) {
    EXPECT_EQ(IntsOf(numbers.NewEnum()), (Ints{1, 2, 3}));
    EXPECT_TRUE(IntsOf(collection.NewEnum()).empty());
}

TEST_P(NXVariantCollectionTest, NewEnum_DeliversSeveralAtATime) {
    VARIANT values[4] = {};
    ULONG fetched = 99;
    const auto enumerator = numbers.NewEnum();
    EXPECT_HR(enumerator->Next(2, values, nullptr), E_POINTER);
    EXPECT_HR(enumerator->Next(1, nullptr, &fetched), E_POINTER);
    EXPECT_EQ(V_VT(&values[0]), VT_EMPTY);
    EXPECT_HR(enumerator->Next(0, values, &fetched), S_OK);
    EXPECT_EQ(fetched, 0u);
    EXPECT_HR(enumerator->Next(2, values, &fetched), S_OK);
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_I4(&values[1]), 2);
    EXPECT_HR(enumerator->Next(2, values, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 1u);
    EXPECT_EQ(V_I4(&values[0]), 3);
}

TEST_P(NXVariantCollectionTest, NewEnum_SkipsResetsAndClones) {
    const auto enumerator = numbers.NewEnum();
    EXPECT_HR(enumerator->Skip(1), S_OK);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    EXPECT_HR(enumerator->Skip(2), S_OK) << "just to the end";
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    EXPECT_EQ(IntsOf(clone), (Ints{2, 3}));
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_EQ(IntsOf(enumerator), (Ints{1, 2, 3}));
    EXPECT_HR(enumerator->Clone(nullptr), E_POINTER);
}

TEST_P(NXVariantCollectionTest, NewEnum_ElementsAreTheCallersCopies) {
    const Variant text(L"text");
    const Variant dispatch(static_cast<IDispatch*>(&object));
    collection.Add(text);
    collection.Add(dispatch);
    const ULONG before = object.references;
    {
        const auto elements = RestOf(collection.NewEnum());
        ASSERT_EQ(elements.size(), 2u);
        EXPECT_EQ(object.references, before + 1);
        elements[0].Text()[0] = L'X';
        EXPECT_BSTR(collection.Item(1).Text(), L"text");
        collection.Remove();
        collection.Remove();
        EXPECT_BSTR(elements[0].Text(), L"Xext");
        EXPECT_EQ(elements[1].Object(), &object);
    }
    EXPECT_EQ(object.references, 1u);
}

TEST_P(NXVariantCollectionTest, NewEnum_OverwritesWhatTheElementsHeld) {
    VARIANT garbage;
    std::memset(&garbage, 0xEE, sizeof(garbage));
    EXPECT_HR(numbers.NewEnum()->Next(1, &garbage, nullptr), S_OK);
    EXPECT_EQ(V_VT(&garbage), VT_I4);
    EXPECT_EQ(V_I4(&garbage), 1);
}

TEST_P(NXVariantCollectionTest, NewEnum_EachHasItsOwnPosition) {
    const auto first = numbers.NewEnum();
    const auto second = numbers.NewEnum();
    EXPECT_EQ(NextOf(first).Int(), 1);
    EXPECT_EQ(IntsOf(second), (Ints{1, 2, 3}));
    EXPECT_EQ(NextOf(first).Int(), 2);
}

TEST_P(NXVariantCollectionTest, NewEnum_KeepsTheCollectionAlive) {
    const Variant text(L"text");
    collection.Add(text);
    collection.Add(5);
    auto enumerator = collection.NewEnum();
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    collection.Release();
    EXPECT_BSTR(NextOf(enumerator).Text(), L"text");
    enumerator.Release();
    const auto elements = RestOf(clone);
    ASSERT_EQ(elements.size(), 2u);
    EXPECT_BSTR(elements[0].Text(), L"text");
    EXPECT_EQ(elements[1].Int(), 5);
}

TEST_P(NXVariantCollectionTest, NewEnum_SeesWhatIsAdded) {
    const auto enumerator = numbers.NewEnum();
    EXPECT_EQ(NextOf(enumerator).Int(), 1);
    for (int value = 4; value < 100; ++value) {
        numbers.Add(value);
    }
    EXPECT_EQ(IntsOf(enumerator).size(), 98u);
    numbers.Add(100);
    EXPECT_EQ(IntsOf(enumerator), Ints{100});
}

TEST_P(NXVariantCollectionTest, NewEnum_GoesOnWhenTheElementsMove) {
    const auto enumerator = numbers.NewEnum();
    EXPECT_EQ(NextOf(enumerator).Int(), 1);
    numbers.Remove(1);
    EXPECT_EQ(NextOf(enumerator).Int(), 3);
    numbers.Add(9, 1);
    EXPECT_EQ(IntsOf(enumerator), Ints{3});
}

TEST_P(NXVariantCollectionTest, NewEnum_EndsWhenTheCollectionIsEmptied) {
    const auto enumerator = numbers.NewEnum();
    EXPECT_HR(enumerator->Skip(2), S_OK);
    for (int count = 3; count > 0; --count) {
        numbers.Remove();
    }
    EXPECT_TRUE(IntsOf(enumerator).empty());
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    EXPECT_TRUE(IntsOf(clone).empty());
    EXPECT_HR(enumerator->Reset(), S_OK);
    numbers.Add(7);
    EXPECT_EQ(IntsOf(enumerator), Ints{7});
}

} // namespace
