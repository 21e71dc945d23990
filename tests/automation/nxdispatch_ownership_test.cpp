// Ownership in late-bound calls: members that differ for late-bound callers, and calls that run out of memory.

#include <cstddef>
#include <memory>
#include <utility>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxfilestream.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "automation/nxvariantcollection.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/localobject.h"
#include "tests/automation/objectlist.h"
#include "tests/core/textfiles.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::Bstr;
using support::CollectionId;
using support::CollectionOf;
using support::DispatchObject;
using support::FileStreamId;
using support::Foreign;
using support::Invocation;
using support::ListOf;
using support::New;
using support::NewLateBound;
using support::ReferencesOf;
using support::Reply;
using support::StringId;
using support::StringListId;
using support::StringOf;
using support::TokenStrings;
using support::Variant;

constexpr WORD put = DISPATCH_PROPERTYPUT;

using NXDispatchOwnershipTest = support::DispatchTest;

// ---------------------------------------------------------------------------------------------------------------------
// Members that differ for late-bound callers

TEST_F(NXDispatchOwnershipTest, ReadNextLine_ReturnsACopy) {
    const support::TemporaryFolder folder;
    support::WriteBytes(folder / L"lines.txt", "first\r\nsecond\r\n");
    const DispatchObject file = NewLateBound<CNXFileStream>();
    ASSERT_EQ(V_BOOL(file.Call(L"Open", folder / L"lines.txt", false).value.Raw()), VARIANT_TRUE);
    Reply first = file.Call(L"ReadNextLine");
    EXPECT_HR(first.hr, S_OK);
    const Reply second = file.Call(L"ReadNextLine");
    EXPECT_BSTR(first.value.Text(), L"first");
    EXPECT_BSTR(second.value.Text(), L"second");
    first.value = Variant();
    ASSERT_HR(file.Call(L"UngetLine").hr, S_OK);
    EXPECT_BSTR(file.Call(L"ReadNextLine").value.Text(), L"second");
    EXPECT_HR(file.Call(L"Close").hr, S_OK);
    EXPECT_BSTR(second.value.Text(), L"second");
}

TEST_F(NXDispatchOwnershipTest, AddNew_ReturnsACountedReference) {
    const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
    const Reply added = tokens.Call(L"AddNew");
    EXPECT_HR(added.hr, S_OK);
    IDispatch* const object = added.value.Object();
    EXPECT_EQ(ReferencesOf(object), 2u) << "the list's and the caller's";
    EXPECT_EQ(tokens.Get(L"Item", 0).value.Object(), object);
    EXPECT_HR(tokens.Call(L"Remove", 0).hr, S_OK);
    EXPECT_EQ(ReferencesOf(object), 1u);
    EXPECT_HR(DispatchObject(object).Put(L"Value", L"alive").hr, S_OK);
}

TEST_F(NXDispatchOwnershipTest, DefaultProperty_OfTheTokenStringList_IsItsItem) {
    const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
    const Reply added = tokens.Call(L"AddNew");
    const Reply item = tokens.Get(DISPID_VALUE, 0);
    EXPECT_HR(item.hr, S_OK);
    EXPECT_EQ(item.value.Object(), added.value.Object());
}

TEST_F(NXDispatchOwnershipTest, Add_KeepsACopyOfText) {
    const DispatchObject collection = NewLateBound<CNXVariantCollection>();
    {
        const Bstr text(L"text");
        BSTR variable = text;
        EXPECT_HR(collection.Call(L"Add", Variant::To(variable)).hr, S_OK);
        variable[0] = L'T';
    }
    EXPECT_BSTR(collection.Get(L"Item", 1).value.Text(), L"text");
}

TEST_F(NXDispatchOwnershipTest, Add_KeepsAReferenceToAnObjectUntilRemove) {
    const DispatchObject collection = NewLateBound<CNXVariantCollection>();
    Foreign object{1};
    EXPECT_HR(collection.Call(L"Add", &object).hr, S_OK);
    EXPECT_EQ(object.references, 1u);
    EXPECT_EQ(object.calls, 0) << "the object is the value";
    EXPECT_HR(collection.Call(L"Remove").hr, S_OK);
    EXPECT_EQ(object.references, 0u);
    EXPECT_HR(collection.Call(L"Add", &object, 9).hr, DISP_E_EXCEPTION);
    EXPECT_EQ(object.references, 0u) << "the refused call has released it";
}

// ---------------------------------------------------------------------------------------------------------------------
// Out of memory

/// An object, and a call of it that allocates.
struct NeedyWorld {
    Foreign number{1}; // a string would be allocated
    BSTR variable = SysAllocString(L"no such folder\\variable");
    CComPtr<IDispatch> tokens{static_cast<IDispatch*>(New<CNXTokenString>().p)};
    DispatchObject object{nullptr};
    Invocation call = {};

    ~NeedyWorld() { SysFreeString(variable); }
};

struct NeedyRow {
    const char* name;
    void (*make)(NeedyWorld& world);
};

const NeedyRow needyRows[] = {
    {"Number as text",
     [](NeedyWorld& world) {
         world.object = StringOf(L"old");
         world.call = {.member = StringId::Value, .flags = put, .arguments = {1.5}, .names = {DISPID_PROPERTYPUT}};
     }},
    {"Text as number, text as result",
     [](NeedyWorld& world) {
         world.object = StringOf(L"abcdef");
         world.call = {.member = StringId::Mid, .arguments = {L"1", L"3"}};
     }},
    {"Default property as text",
     [](NeedyWorld& world) {
         world.object = ListOf({L"zero"});
         world.call = {.member = StringListId::Add, .arguments = {&world.number}};
     }},
    {"Two conversions",
     [](NeedyWorld& world) {
         world.object = ListOf({L"zero"});
         world.call = {
             .member = StringListId::Item, .flags = put, .arguments = {L"0", 42}, .names = {DISPID_PROPERTYPUT}};
     }},
    {"Copied text before an object",
     [](NeedyWorld& world) {
         world.object = NewLateBound<CNXFileStream>();
         world.call = {.member = FileStreamId::Open, .arguments = {Variant::To(world.variable), &world.number}};
     }},
    {"Converted text before an object",
     [](NeedyWorld& world) {
         world.object = NewLateBound<CNXFileStream>();
         world.call = {.member = FileStreamId::Open, .arguments = {1.5, &world.number}};
     }},
    {"Copied value and default property",
     [](NeedyWorld& world) {
         world.object = CollectionOf(1);
         world.call = {.member = CollectionId::Add, .arguments = {L"text", &world.number}};
     }},
    {"Copied reference to text",
     [](NeedyWorld& world) {
         world.object = CollectionOf(1);
         world.call = {.member = CollectionId::Add, .arguments = {Variant::To(world.variable)}};
     }},
    {"Object",
     [](NeedyWorld& world) {
         world.object = NewLateBound<CNXTokenStringList>();
         world.call = {.member = TokenStrings::idAdd, .arguments = {world.tokens.p}};
     }},
    {"Object at a converted index",
     [](NeedyWorld& world) {
         world.object = NewLateBound<CNXTokenStringList>();
         world.call = {.member = TokenStrings::idItem,
                       .flags = put,
                       .arguments = {L"0", world.tokens.p},
                       .names = {DISPID_PROPERTYPUT}};
     }},
    {"New object",
     [](NeedyWorld& world) {
         world.object = NewLateBound<CNXTokenStringList>();
         world.call = {.member = TokenStrings::idAddNew};
     }},
};

TEST_F(NXDispatchOwnershipTest, AnyAllocationFailing_IsOutOfMemoryAndLeaksNothing) {
    for (const NeedyRow& row : needyRows) {
        SCOPED_TRACE(row.name);
        support::ForEachAllocationFailure(
            [&] {
                auto world = std::make_unique<NeedyWorld>();
                row.make(*world);
                return world;
            },
            [](const std::unique_ptr<NeedyWorld>& world) {
                const Reply reply = world->object.Invoke(world->call);
                return FAILED(reply.hr) && reply.value.Type() != VT_EMPTY ? E_UNEXPECTED : reply.Failure();
            },
            [](const std::unique_ptr<NeedyWorld>& world) {
                EXPECT_HR(world->object.Invoke(world->call).hr, S_OK) << "the object still works";
            });
    }
}

TEST_F(NXDispatchOwnershipTest, Failure_WithoutMemoryForItsStrings_IsTheSameFailure) {
    const Invocation call = {.member = StringListId::Item, .flags = DISPATCH_PROPERTYGET, .arguments = {9}};
    const DispatchObject list = ListOf({L"zero"});
    bool isExplained = false;
    std::size_t number = 1;
    for (bool fired = true; fired; ++number) {
        const support::AllocationFault fault(number);
        const Reply reply = list.Invoke(call);
        fired = fault.Fired();
        EXPECT_HR(reply.hr, DISP_E_EXCEPTION) << number;
        EXPECT_HR(reply.exception->scode, E_FAIL) << number;
        isExplained = reply.exception->bstrDescription != nullptr;
    }
    EXPECT_TRUE(isExplained) << "with enough memory";
    EXPECT_GT(number, 2u) << "no allocation has failed";
}

} // namespace
