// NXVariantCollection through the vtable, where it borrows its values: it neither copies, references nor frees them.

#include <climits>
#include <cstddef>
#include <vector>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/stackobject.h"
#include "tests/automation/variantvalues.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using support::AllKinds;
using support::AllocationFault;
using support::Binding;
using support::Bytes;
using support::CanBeReferred;
using support::CollectionId;
using support::CountLiveAllocations;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::IntsOf;
using support::Is;
using support::Kind;
using support::NextOf;
using support::ReferenceTo;
using support::Require;
using support::Variant;
using support::VariantCollection;

using Ints = std::vector<int>;

class NXVariantCollectionVtableTest : public support::ClassTest<VariantCollection> {
  protected:
    support::StackAutomationObject<IDispatch> object;
    support::StackObject<IUnknown> unknown;
    VariantCollection collection{Binding::Vtable};
    INXVariantCollection* const raw = collection.Raw();
};

TEST_F(NXVariantCollectionVtableTest, Text_IsBorrowed) {
    const Variant text(L"text");
    const auto before = CountLiveAllocations();
    collection.Add(text);
    EXPECT_EQ(CountLiveAllocations().bstrs, before.bstrs);
    text.Text()[0] = L'X';
    EXPECT_BSTR(collection.Item(1).Text(), L"Xext");
    EXPECT_BSTR(NextOf(collection.NewEnum()).Text(), L"Xext");
    collection.Remove();
    EXPECT_EQ(CountLiveAllocations().bstrs, before.bstrs) << "still the caller's";
    EXPECT_BSTR(text.Text(), L"Xext");
    collection.Add(text);
    collection.Release();
    EXPECT_EQ(CountLiveAllocations().bstrs, before.bstrs) << "after the collection too";
}

TEST_F(NXVariantCollectionVtableTest, Values_OfEveryKind_AreNeitherReferencedNorCleared) {
    std::vector<Variant> originals;
    for (const Kind& kind : AllKinds(&object, &unknown)) {
        originals.push_back(kind.make());
    }
    const ULONG objectReferences = object.references;
    const ULONG unknownReferences = unknown.references;
    const auto bstrs = CountLiveAllocations().bstrs;
    const auto expectUntouched = [&] {
        EXPECT_EQ(object.references, objectReferences);
        EXPECT_EQ(unknown.references, unknownReferences);
        EXPECT_EQ(CountLiveAllocations().bstrs, bstrs);
    };
    for (const Variant& original : originals) {
        collection.Add(original);
    }
    expectUntouched();
    for (const long index : {0L, 1L, 5L}) {
        while (collection.Count() > 5) {
            collection.Remove(index);
        }
        expectUntouched();
        for (const Variant& original : originals) {
            collection.Add(original, 1);
        }
    }
    expectUntouched();
    collection.Release();
    expectUntouched();
}

TEST_F(NXVariantCollectionVtableTest, Reference_IsKept) {
    long variable = 1;
    const Variant reference = Variant::To(variable);
    collection.Add(reference);
    const Variant item = collection.Item(1);
    EXPECT_EQ(item.Type(), VT_BYREF | VT_I4);
    EXPECT_EQ(V_I4REF(item.Raw()), &variable);
    const Variant element = NextOf(collection.NewEnum());
    EXPECT_EQ(element.Type(), VT_BYREF | VT_I4);
    EXPECT_EQ(V_I4REF(element.Raw()), &variable);
    variable = 2;
    EXPECT_EQ(*V_I4REF(collection.Item(1).Raw()), 2);
}

TEST_F(NXVariantCollectionVtableTest, References_OfEveryKind_AreKeptAndNeverCleared) {
    for (const Kind& kind : AllKinds(&object, &unknown)) {
        SCOPED_TRACE(kind.name);
        VariantCollection own(Binding::Vtable);
        Variant variable = kind.make();
        std::vector<Variant> references = {Variant::To(variable)};
        if (CanBeReferred(variable)) {
            references.push_back(ReferenceTo(variable));
        }
        for (const Variant& reference : references) {
            own.Add(reference);
            own.Add(reference);
            own.Remove(1);
            const Variant item = own.Item(own.Count());
            EXPECT_EQ(item.Type(), reference.Type());
            EXPECT_EQ(V_BYREF(item.Raw()), V_BYREF(reference.Raw()));
        }
        own.Release();
        EXPECT_TRUE(Is(variable, kind.make()));
    }
}

TEST_F(NXVariantCollectionVtableTest, Reference_ToAVariant_IsKept) {
    Variant variable(L"before");
    const Variant reference = Variant::To(variable);
    collection.Add(reference);
    variable = 5;
    const Variant item = collection.Item(1);
    ASSERT_EQ(item.Type(), VT_BYREF | VT_VARIANT);
    EXPECT_EQ(V_VARIANTREF(item.Raw()), variable.Raw());
    Variant now;
    EXPECT_HR(VariantCopyInd(now.Raw(), item.Raw()), S_OK);
    EXPECT_EQ(now.Int(), 5);
}

TEST_F(NXVariantCollectionVtableTest, InvalidValue_IsStored_ItemIsEmpty) {
    VARIANT invalid = {};
    V_VT(&invalid) = 0x0FFE;
    EXPECT_HR(raw->Add(invalid, 0), S_OK);
    collection.Add(5);
    EXPECT_EQ(collection.Count(), 2);
    EXPECT_EQ(collection.Item(1).Type(), VT_EMPTY) << "S_OK, though it cannot be copied";
    const auto enumerator = collection.NewEnum();
    VARIANT values[2] = {};
    ULONG fetched = 99;
    EXPECT_HR(enumerator->Next(2, values, &fetched), DISP_E_BADVARTYPE);
    EXPECT_EQ(fetched, 0u);
    EXPECT_HR(enumerator->Next(1, values, nullptr), DISP_E_BADVARTYPE) << "the position has not moved";
    collection.Remove(1);
    EXPECT_EQ(IntsOf(enumerator), Ints{5});
}

TEST_F(NXVariantCollectionVtableTest, NewEnum_AtAValueThatCannotBeCopied_FreesTheElementsBefore) {
    const Variant text(L"text");
    VARIANT invalid = {};
    V_VT(&invalid) = 0x0FFE;
    collection.Add(text);
    EXPECT_HR(raw->Add(invalid, 0), S_OK);
    const auto bstrs = CountLiveAllocations().bstrs;
    VARIANT values[2] = {};
    ULONG fetched = 99;
    EXPECT_HR(collection.NewEnum()->Next(2, values, &fetched), DISP_E_BADVARTYPE);
    EXPECT_EQ(fetched, 0u);
    EXPECT_EQ(V_VT(&values[0]), VT_EMPTY);
    EXPECT_EQ(CountLiveAllocations().bstrs, bstrs);
    collection.Release();
}

TEST_F(NXVariantCollectionVtableTest, Item_ClearsTheOldResult) {
    collection.Add(5);
    collection.Add(6);
    Variant result(L"old");
    EXPECT_HR(raw->get_Item(1, result.Raw()), S_OK);
    EXPECT_EQ(result.Int(), 5);
    result = static_cast<IDispatch*>(&object);
    EXPECT_HR(raw->get_Item(2, result.Raw()), S_OK);
    EXPECT_EQ(object.references, 0u);
    EXPECT_EQ(result.Int(), 6);
}

TEST_F(NXVariantCollectionVtableTest, Item_IntoTheStoredValueItself_IsACopy) {
    Variant value(L"text");
    collection.Add(value);
    const BSTR before = value.Text();
    EXPECT_HR(raw->get_Item(1, value.Raw()), S_OK);
    EXPECT_BSTR(value.Text(), L"text");
    EXPECT_NE(value.Text(), before);
    collection.Release();
}

TEST_F(NXVariantCollectionVtableTest, Item_IntoAResultWhoseReleaseEmptiesTheCollection_Succeeds) {
    ASSERT_HR(collection.LateBound().Call(CollectionId::Add, L"text").hr, S_OK);
    Variant result(static_cast<IDispatch*>(&object));
    object.onRelease = [&] { EXPECT_HR(raw->Remove(1), S_OK); };
    EXPECT_HR(raw->get_Item(1, result.Raw()), S_OK);
    EXPECT_BSTR(result.Text(), L"text");
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_EQ(object.references, 0u);
}

TEST_F(NXVariantCollectionVtableTest, InvalidIndex_LeavesTheResult) {
    const Variant result(L"untouched");
    const BSTR text = result.Text();
    for (const long index : {0L, 1L, 2L, -1L, LONG_MIN, LONG_MAX}) {
        EXPECT_HR(raw->get_Item(index, result.Raw()), E_FAIL);
        EXPECT_EQ(result.Text(), text);
        EXPECT_BSTR(text, L"untouched");
    }
    SetErrorInfo(0, nullptr);
}

TEST_F(NXVariantCollectionVtableTest, Success_LeavesTheErrorRecord) {
    const auto expectRecord = [](HRESULT expected) {
        CComPtr<IErrorInfo> record;
        EXPECT_HR(GetErrorInfo(0, &record), expected);
    };
    const auto succeed = [this] {
        EXPECT_HR(raw->Add(*Variant(5).Raw(), 0), S_OK);
        Variant result;
        EXPECT_HR(raw->get_Item(1, result.Raw()), S_OK);
        EXPECT_HR(raw->Remove(0), S_OK);
        EXPECT_HR(raw->Remove(0), S_OK) << "of an empty collection";
    };
    SetErrorInfo(0, nullptr);
    EXPECT_HR(raw->Remove(7), E_FAIL);
    succeed();
    expectRecord(S_OK);
    succeed();
    expectRecord(S_FALSE);
}

TEST_F(NXVariantCollectionVtableTest, Add_OutOfMemory_Raises_AddsNothing) {
    struct World {
        VariantCollection collection{Binding::Vtable, {1, 2}};
        Variant text{L"new"};
    };
    for (const long position : {0L, 1L, 2L}) {
        SCOPED_TRACE(position);
        ForEachAllocationFailure(
            [] { return World{}; },
            [=](World& world) { Require(world.collection.Raw()->Add(*world.text.Raw(), position), "Add"); },
            [=](const World& world) {
                EXPECT_EQ(world.collection.All(), (Ints{1, 2}));
                world.collection.Add(world.text, position);
                EXPECT_EQ(world.collection.Count(), 3);
            },
            support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

TEST_F(NXVariantCollectionVtableTest, Item_OutOfMemory_SucceedsWithAnEmptyResult) {
    for (const Variant& value : {Variant(L"text"), Bytes(3)}) { // Wine leaks when the copy of an array of strings fails
        collection.Add(value);
        const std::size_t requests = support::CountRequests([&] { static_cast<void>(collection.Item(1)); });
        ASSERT_GE(requests, 1u);
        for (std::size_t number = 1; number <= requests; ++number) {
            SCOPED_TRACE(number);
            const ExpectNoLeaks noLeaks;
            Variant result;
            HRESULT hr = E_UNEXPECTED;
            {
                const AllocationFault fault(number);
                hr = raw->get_Item(1, result.Raw());
                EXPECT_TRUE(fault.Fired());
            }
            EXPECT_HR(hr, S_OK);
            EXPECT_TRUE(result.Type() == VT_EMPTY || V_BYREF(result.Raw()) == nullptr);
            EXPECT_TRUE(Is(collection.Item(1), value)) << "with memory again";
        }
        collection.Remove();
    }
}

TEST_F(NXVariantCollectionVtableTest, Next_OutOfMemory_FreesTheElementsBeforeAndStaysThere) {
    const Variant texts[] = {L"first", L"second"};
    for (const Variant& text : texts) {
        collection.Add(text);
    }
    for (std::size_t failing = 0; failing < 2; ++failing) {
        SCOPED_TRACE(failing);
        const auto enumerator = collection.NewEnum();
        VARIANT values[2] = {};
        ULONG fetched = 99;
        {
            const ExpectNoLeaks noLeaks;
            const AllocationFault fault(failing + 1);
            EXPECT_HR(enumerator->Next(2, values, &fetched), E_OUTOFMEMORY);
        }
        EXPECT_EQ(fetched, 0u);
        EXPECT_BSTR(NextOf(enumerator).Text(), texts[failing].Text());
    }
    collection.Release();
}

TEST_F(NXVariantCollectionVtableTest, ReadsOfNumbersAndRemove_AllocateNothing) {
    collection.Add(1);
    collection.Add(2);
    EXPECT_EQ(support::CountRequests([&] {
                  Variant result;
                  raw->get_Item(1, result.Raw());
                  raw->Remove(1);
                  raw->Add(*result.Raw(), 1);
                  raw->Remove(0);
              }),
              0u);
}

} // namespace
