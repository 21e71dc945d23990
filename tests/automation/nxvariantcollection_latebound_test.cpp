// NXVariantCollection late-bound, where it copies its values: names, arguments, copies, and failures.

#include <cstddef>
#include <cstring>
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
using support::ArrayOfObjects;
using support::ArrayOfValues;
using support::Binding;
using support::Bytes;
using support::CanBeReferred;
using support::CollectionId;
using support::DispatchObject;
using support::EnumeratorOf;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::IntsOf;
using support::Invocation;
using support::Is;
using support::Kind;
using support::Of;
using support::ReferenceTo;
using support::Reply;
using support::RestOf;
using support::UnknownOf;
using support::Variant;
using support::VariantCollection;

using Ints = std::vector<int>;
using Object = support::StackAutomationObject<IDispatch>;

// The DISPIDs of parameters are their positions.
constexpr DISPID itemOfAdd = 0;
constexpr DISPID positionOfAdd = 1;
constexpr DISPID indexOfRemove = 0;

class NXVariantCollectionLateBoundTest : public support::ClassTest<VariantCollection> {
  protected:
    /// Adds a value of the test's, and possibly a position.
    [[nodiscard]] HRESULT AddBits(const VARIANT& bits, const std::vector<Variant>& position = {}) const {
        Invocation call = {.member = CollectionId::Add, .arguments = {Variant()}};
        call.arguments.insert(call.arguments.end(), position.begin(), position.end());
        *call.arguments.front().Raw() = bits;
        const Reply reply = object.Invoke(call);
        *call.arguments.front().Raw() = {}; // the test owns it
        return reply.Failure();
    }

    Object element;
    support::StackObject<IUnknown> unknown;
    VariantCollection collection{Binding::LateBound};
    DispatchObject object = collection.LateBound();

    void ReleaseCollection() {
        collection.Release();
        object = DispatchObject(nullptr);
    }
};

// Names and arguments

TEST_F(NXVariantCollectionLateBoundTest, GetIDsOfNames_FindsEveryMember) {
    support::ExpectIds(object, {{L"Add", CollectionId::Add},
                                {L"ADD", CollectionId::Add},
                                {L"Remove", CollectionId::Remove},
                                {L"Count", CollectionId::Count},
                                {L"Item", CollectionId::Item},
                                {L"_NewEnum", DISPID_NEWENUM}});
    support::ExpectNoIds(object, {L"Clear"});
}

TEST_F(NXVariantCollectionLateBoundTest, GetIDsOfNames_FindsTheParameters) {
    wchar_t add[] = L"Add";
    wchar_t item[] = L"Item";
    wchar_t position[] = L"position";
    LPOLESTR names[] = {add, item, position};
    DISPID ids[3] = {};
    EXPECT_HR(object.Raw()->GetIDsOfNames(IID_NULL, names, 3, LOCALE_USER_DEFAULT, ids), S_OK);
    EXPECT_EQ(ids[0], CollectionId::Add);
    EXPECT_EQ(ids[1], itemOfAdd);
    EXPECT_EQ(ids[2], positionOfAdd);
}

TEST_F(NXVariantCollectionLateBoundTest, Members_AreReachedByDispid) {
    EXPECT_HR(object.Call(CollectionId::Add, L"a", 0).hr, S_OK);
    EXPECT_HR(object.Call(CollectionId::Add, L"b", 1).hr, S_OK);
    EXPECT_EQ(object.Get(CollectionId::Count).value.Int(), 2);
    EXPECT_BSTR(object.Get(CollectionId::Item, 1).value.Text(), L"b");
    EXPECT_HR(object.Call(CollectionId::Remove, 1).hr, S_OK);
    EXPECT_BSTR(object.Get(CollectionId::Item, 1).value.Text(), L"a");
    EXPECT_EQ(object.Get(DISPID_NEWENUM).value.Type(), VT_UNKNOWN);
}

TEST_F(NXVariantCollectionLateBoundTest, Properties_CalledAsMethods_AreRead) {
    EXPECT_HR(object.Call(L"Add", 5).hr, S_OK);
    EXPECT_EQ(object.Call(L"Item", 1).value.Int(), 5);
    EXPECT_EQ(object.Call(DISPID_VALUE, 1).value.Int(), 5);
    EXPECT_EQ(object.Call(L"Count").value.Int(), 1);
    const Reply reply = object.Call(DISPID_NEWENUM);
    ASSERT_EQ(reply.value.Type(), VT_UNKNOWN);
    EXPECT_EQ(IntsOf(EnumeratorOf(V_UNKNOWN(reply.value.Raw()))), Ints{5});
    EXPECT_HR(object.Invoke({.member = CollectionId::Item, .arguments = {1}, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXVariantCollectionLateBoundTest, Position_LeftOut_Appends) {
    EXPECT_HR(object.Call(L"Add", 1).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 2).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 3, Variant::Missing()).hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{1, 2, 3}));
}

TEST_F(NXVariantCollectionLateBoundTest, Position_ByName) {
    EXPECT_HR(object.Call(L"Add", 1).hr, S_OK);
    EXPECT_HR(object.Invoke({.member = CollectionId::Add, .arguments = {2, 1}, .names = {positionOfAdd}}).hr, S_OK);
    EXPECT_HR(object.Invoke({.member = CollectionId::Add, .arguments = {3, 1}, .names = {itemOfAdd, positionOfAdd}}).hr,
              S_OK);
    EXPECT_HR(object.Invoke({.member = CollectionId::Add, .arguments = {2, 4}, .names = {positionOfAdd, itemOfAdd}}).hr,
              S_OK);
    EXPECT_HR(object.Invoke({.member = CollectionId::Add, .arguments = {5}, .names = {itemOfAdd}}).hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{3, 4, 2, 1, 5}));
}

TEST_F(NXVariantCollectionLateBoundTest, Index_LeftOut_RemovesTheLast) {
    for (const int value : {1, 2, 3}) {
        collection.Add(value);
    }
    EXPECT_HR(object.Call(L"Remove").hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{1, 2}));
    EXPECT_HR(object.Call(L"Remove", Variant::Missing()).hr, S_OK);
    EXPECT_EQ(collection.All(), Ints{1});
    EXPECT_HR(object.Invoke({.member = CollectionId::Remove, .arguments = {1}, .names = {indexOfRemove}}).hr, S_OK);
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_HR(object.Call(L"Remove").hr, S_OK) << "of an empty collection";
}

TEST_F(NXVariantCollectionLateBoundTest, Numbers_AreConverted) {
    long one = 1;
    EXPECT_HR(object.Call(L"Add", 1, L"0").hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 2, 1.2).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 3, Variant::To(one)).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 4, Variant()).hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{3, 2, 1, 4}));
    EXPECT_EQ(object.Get(L"Item", L"2").value.Int(), 2);
    EXPECT_EQ(object.Get(L"Item", Variant::To(one)).value.Int(), 3);
    EXPECT_HR(object.Call(L"Remove", short{1}).hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{2, 1, 4}));
}

TEST_F(NXVariantCollectionLateBoundTest, Arguments_ThatDoNotFit_ChangeNothing) {
    collection.Add(1);
    EXPECT_HR(object.Call(L"Add").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Call(L"Add", 1, 0, 0).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Call(L"Add", 1, L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Call(L"Add", 1, Variant::Null()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Call(L"Add", 1, 3e9).hr, DISP_E_OVERFLOW);
    EXPECT_HR(object.Call(L"Remove", L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Call(L"Remove", 1, 1).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Get(L"Item").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Get(L"Item", 1, 1).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Get(L"Item", L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_TRUE(FAILED(object.Put(L"Item", 1, 5).hr));
    EXPECT_TRUE(FAILED(object.Put(L"Count", 5).hr));
    EXPECT_EQ(collection.All(), Ints{1});
}

TEST_F(NXVariantCollectionLateBoundTest, BothBindings_ReachTheSameElements) {
    const DispatchObject& lateBound = object;
    const CComPtr<INXVariantCollection> vtable = lateBound.As<INXVariantCollection>();
    EXPECT_HR(vtable->Add(*Variant(1).Raw(), 0), S_OK);
    EXPECT_EQ(lateBound.Get(L"Item", 1).value.Int(), 1);
    EXPECT_HR(lateBound.Call(L"Add", 2).hr, S_OK);
    long count = 0;
    EXPECT_HR(vtable->get_Count(&count), S_OK);
    EXPECT_EQ(count, 2);
}

// Copies

TEST_F(NXVariantCollectionLateBoundTest, Added_FromAVariableAtAnUnalignedAddress_IsCopied) {
    alignas(VARIANT) char memory[2 * sizeof(VARIANT)];
    const Variant seven(7);
    std::memcpy(memory + 4, seven.Raw(), sizeof(VARIANT));
    VARIANT reference = {};
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_BYREF(&reference) = memory + 4;
    EXPECT_HR(AddBits(reference), S_OK);
    EXPECT_TRUE(Is(collection.Item(1), seven));
}

TEST_F(NXVariantCollectionLateBoundTest, Added_ObjectWhoseAddRefEmptiesTheCollection_IsRefused) {
    collection.Add(Variant(1));
    collection.Add(Variant(2));
    unknown.onAddRef = [this] {
        while (collection.Count() > 0) {
            collection.Raw()->Remove(0);
        }
    };
    VARIANT value;
    V_VT(&value) = VT_UNKNOWN;
    V_UNKNOWN(&value) = &unknown;
    EXPECT_HR(AddBits(value, {2}), E_FAIL);
    unknown.onAddRef = [] {};
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_EQ(unknown.references, 0u);
}

TEST_F(NXVariantCollectionLateBoundTest, Values_OfEveryKind_OutliveTheirOriginals) {
    const auto kinds = AllKinds(&element, &unknown);
    for (const Kind& kind : kinds) {
        collection.Add(kind.make());
    }
    const auto elements = RestOf(collection.NewEnum());
    ASSERT_EQ(elements.size(), kinds.size());
    for (std::size_t index = 0; index < kinds.size(); ++index) {
        SCOPED_TRACE(kinds[index].name);
        EXPECT_TRUE(Is(collection.Item(static_cast<long>(index) + 1), kinds[index].make()));
        EXPECT_TRUE(Is(elements[index], kinds[index].make()));
    }
}

TEST_F(NXVariantCollectionLateBoundTest, References_OfEveryKind_BecomeCopiesOfTheirTargets) {
    for (const Kind& kind : AllKinds(&element, &unknown)) {
        SCOPED_TRACE(kind.name);
        {
            Variant variable = kind.make();
            if (CanBeReferred(variable)) {
                ASSERT_HR(AddBits(*ReferenceTo(variable).Raw()), S_OK);
                Variant reference = ReferenceTo(variable);
                ASSERT_HR(AddBits(*Variant::To(reference).Raw()), S_OK) << "a reference to a reference";
            }
            ASSERT_HR(AddBits(*Variant::To(variable).Raw()), S_OK);
            EXPECT_TRUE(Is(variable, kind.make())) << "the variable is unchanged";
            variable = L"changed";
        }
        while (collection.Count() > 0) {
            EXPECT_TRUE(Is(collection.Item(1), kind.make()));
            collection.Remove(1);
        }
    }
}

TEST_F(NXVariantCollectionLateBoundTest, Text_IsACopy) {
    const Variant text(L"text");
    ASSERT_HR(AddBits(*text.Raw()), S_OK);
    text.Text()[0] = L'X';
    EXPECT_BSTR(collection.Item(1).Text(), L"text");
}

TEST_F(NXVariantCollectionLateBoundTest, Array_IsACopy) {
    const Variant array = ArrayOfValues(&element);
    ASSERT_HR(AddBits(*array.Raw()), S_OK);
    V_I4(static_cast<VARIANT*>(V_ARRAY(array.Raw())->pvData)) = 8;
    EXPECT_TRUE(Is(collection.Item(1), ArrayOfValues(&element)));
}

TEST_F(NXVariantCollectionLateBoundTest, Object_IsReferencedUntilItIsRemoved) {
    collection.Add(static_cast<IDispatch*>(&element));
    EXPECT_EQ(element.references, 1u);
    collection.Add(static_cast<IDispatch*>(&element), 1);
    EXPECT_EQ(element.references, 2u);
    collection.Add(UnknownOf(&unknown));
    EXPECT_EQ(unknown.references, 1u);
    collection.Add(ArrayOfObjects(&element));
    EXPECT_EQ(element.references, 4u);
    collection.Remove(1);
    EXPECT_EQ(element.references, 3u);
    collection.Remove();
    EXPECT_EQ(element.references, 1u);
    collection.Remove();
    EXPECT_EQ(unknown.references, 0u);
    EXPECT_EQ(element.references, 1u);
    collection.Remove(1);
    EXPECT_EQ(element.references, 0u);
}

TEST_F(NXVariantCollectionLateBoundTest, Object_IsReferencedUntilTheCollectionIsReleased) {
    for (int position = 0; position < 3; ++position) {
        collection.Add(static_cast<IDispatch*>(&element), position);
    }
    collection.Add(ArrayOfValues(&element));
    EXPECT_EQ(element.references, 4u);
    ReleaseCollection();
    EXPECT_EQ(element.references, 0u);
}

TEST_F(NXVariantCollectionLateBoundTest, Object_IsNotReferencedAfterARefusedAdd) {
    EXPECT_TRUE(FAILED(object.Call(L"Add", static_cast<IDispatch*>(&element), 1).hr));
    EXPECT_EQ(element.references, 0u);
}

TEST_F(NXVariantCollectionLateBoundTest, Collection_MayHoldItself) {
    EXPECT_HR(object.Call(L"Add", object.Raw()).hr, S_OK);
    EXPECT_EQ(collection.Item(1).Object(), object.Raw());
    EXPECT_HR(object.Call(L"Remove").hr, S_OK);
    EXPECT_EQ(collection.Count(), 0);
}

TEST_F(NXVariantCollectionLateBoundTest, Values_AddedThroughTheVtable_StayBorrowed) {
    Object lent;
    const Variant text(L"lent");
    const Variant dispatch(static_cast<IDispatch*>(&lent));
    INXVariantCollection* const vtable = collection.Raw();
    EXPECT_HR(vtable->Add(*text.Raw(), 0), S_OK);
    collection.Add(L"own");
    EXPECT_HR(vtable->Add(*dispatch.Raw(), 1), S_OK);
    collection.Add(static_cast<IDispatch*>(&element), 2);
    EXPECT_EQ(lent.references, 1u) << "the test's";
    EXPECT_EQ(element.references, 1u) << "the collection's";
    text.Text()[0] = L'b';
    EXPECT_BSTR(collection.Item(3).Text(), L"bent");
    EXPECT_BSTR(collection.Item(4).Text(), L"own");
    EXPECT_HR(vtable->Remove(2), S_OK) << "through the vtable, but added late-bound";
    EXPECT_EQ(element.references, 0u);
    collection.Remove(1);
    EXPECT_EQ(lent.references, 1u);
    EXPECT_HR(vtable->Add(*dispatch.Raw(), 2), S_OK);
    collection.Add(static_cast<IDispatch*>(&element));
    ReleaseCollection();
    EXPECT_EQ(lent.references, 1u);
    EXPECT_EQ(element.references, 0u);
    EXPECT_BSTR(text.Text(), L"bent");
}

// Invalid values

TEST_F(NXVariantCollectionLateBoundTest, InvalidValue_IsRefusedAndNotStored) {
    collection.Add(1);
    for (const int type : {0xFFFF, 0x0FFE, 0x000F, VT_VOID + 0, VT_CLSID + 0, VT_BLOB + 0, VT_BYREF | VT_EMPTY,
                           VT_BYREF | VT_NULL, VT_ARRAY | VT_EMPTY, VT_VECTOR | VT_I4, VT_RESERVED | VT_I4}) {
        SCOPED_TRACE(type);
        VARIANT invalid = {};
        V_VT(&invalid) = static_cast<VARTYPE>(type);
        EXPECT_TRUE(FAILED(AddBits(invalid)));
        EXPECT_EQ(collection.All(), Ints{1});
    }
}

TEST_F(NXVariantCollectionLateBoundTest, InvalidReference_IsRefusedAndNotStored) {
    VARIANT invalid = {};
    V_VT(&invalid) = 0x0FFE;
    VARIANT reference = {};
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&reference) = &invalid;
    EXPECT_TRUE(FAILED(AddBits(reference)));
    EXPECT_EQ(collection.Count(), 0);
}

TEST_F(NXVariantCollectionLateBoundTest, NullReference_IsRefusedAndNotStored) {
    for (const int type : {VT_I4 + 0, VT_BSTR + 0, VT_DISPATCH + 0, VT_DECIMAL + 0, VT_VARIANT + 0, VT_ARRAY | VT_I4}) {
        SCOPED_TRACE(type);
        const Variant nullReference = Of<void*>(VT_BYREF | type, nullptr);
        EXPECT_TRUE(FAILED(AddBits(*nullReference.Raw())));
        const Variant toReference = Of(VT_BYREF | VT_VARIANT, nullReference.Raw());
        EXPECT_TRUE(FAILED(AddBits(*toReference.Raw())));
        EXPECT_EQ(collection.Count(), 0);
    }
}

// Out of memory

TEST_F(NXVariantCollectionLateBoundTest, OutOfMemory_IsAnHresult) {
    std::vector<Invocation> calls = {
        {.member = DISPID_NEWENUM, .flags = DISPATCH_PROPERTYGET, .wantsValue = false},
    };
    // No references to strings and no arrays of strings: out of memory, Wine's copies of them are wrong or leak.
    Variant variable(L"new");
    Variant bytes = Bytes(3);
    for (const Variant& value : {Variant(5), variable, bytes, Variant::To(variable), ReferenceTo(bytes),
                                 Variant(static_cast<IDispatch*>(&element))}) {
        calls.push_back({.member = CollectionId::Add, .arguments = {value}, .wantsValue = false});
        calls.push_back({.member = CollectionId::Add, .arguments = {value, 2}, .wantsValue = false});
    }
    for (const Invocation& call : calls) {
        SCOPED_TRACE(call.arguments.empty() ? 0 : call.arguments.front().Type());
        const ULONG references = element.references;
        ForEachAllocationFailure(
            [] {
                return VariantCollection(Binding::LateBound, {1, 2});
            },
            [&](const VariantCollection& made) { return made.LateBound().Invoke(call).Failure(); },
            [&](const VariantCollection& made) {
                EXPECT_EQ(made.All(), (Ints{1, 2}));
                EXPECT_EQ(element.references, references);
                EXPECT_HR(made.LateBound().Invoke(call).hr, S_OK) << "with memory again";
            });
        EXPECT_EQ(element.references, references);
    }
}

TEST_F(NXVariantCollectionLateBoundTest, Item_OutOfMemory_ChangesNothing) {
    const Invocation item = {.member = CollectionId::Item, .flags = DISPATCH_PROPERTYGET, .arguments = {1}};
    for (const Variant& value : {Variant(L"text"), Bytes(3)}) { // Wine leaks when the copy of an array of strings fails
        collection.Add(value);
        const std::size_t requests = support::CountRequests([&] { static_cast<void>(object.Invoke(item)); });
        ASSERT_GE(requests, 1u);
        for (std::size_t number = 1; number <= requests; ++number) {
            SCOPED_TRACE(number);
            const ExpectNoLeaks noLeaks;
            Reply reply;
            {
                const AllocationFault fault(number);
                reply.hr = object.Invoke(item).hr;
                EXPECT_TRUE(fault.Fired());
            }
            EXPECT_TRUE(reply.hr == S_OK || reply.hr == E_OUTOFMEMORY) << support::PrintedHr(reply.hr);
            EXPECT_TRUE(Is(collection.Item(1), value));
        }
        collection.Remove();
    }
}

} // namespace
