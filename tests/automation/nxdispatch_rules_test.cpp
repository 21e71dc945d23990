// The rules of late-bound calls: which member a call reaches, and with how many arguments. The other rules are in
// nxdispatch_names_test.cpp (GetIDsOfNames), nxdispatch_named_test.cpp (named arguments), nxdispatch_arguments_test.cpp
// (conversions), nxdispatch_references_test.cpp, nxdispatch_objects_test.cpp, nxdispatch_results_test.cpp (results and
// failures), and nxdispatch_ownership_test.cpp.

#include <array>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "automation/nxdispatch.h"
#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxstring.h"
#include "automation/nxstringlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "automation/nxvariantcollection.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/localobject.h"
#include "tests/automation/objectlist.h"
#include "tests/support/bstr.h"

namespace {

using support::Answers;
using support::CollectionId;
using support::CollectionOf;
using support::CountOf;
using support::DispatchObject;
using support::english;
using support::FileStreams;
using support::Invocation;
using support::ListOf;
using support::New;
using support::NewLateBound;
using support::noArgument;
using support::Nothing;
using support::ReferencesOf;
using support::ReferenceTo;
using support::Reply;
using support::StringId;
using support::StringOf;
using support::TextOf;
using support::TokenStrings;
using support::Variant;

constexpr WORD method = DISPATCH_METHOD;
constexpr WORD get = DISPATCH_PROPERTYGET;
constexpr WORD put = DISPATCH_PROPERTYPUT;
constexpr WORD putRef = DISPATCH_PROPERTYPUTREF;

using NXDispatchRulesTest = support::DispatchTest;

// The call as a whole

TEST_F(NXDispatchRulesTest, Iid_OtherThanNull_IsRefused) {
    const DispatchObject object = StringOf(L"text");
    for (const IID& iid : {IID_IDispatch, IID_IUnknown, IID_INXString}) {
        DISPPARAMS none = {};
        EXPECT_HR(
            object.Raw()->Invoke(StringId::Clear, iid, english, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr),
            DISP_E_UNKNOWNINTERFACE);
    }
    EXPECT_BSTR(TextOf(object), L"text");
}

struct ParametersRow {
    const char* name;
    bool hasArguments;
    bool hasNames;
    UINT argumentCount;
    UINT nameCount;
    HRESULT hr;
};

constexpr ParametersRow parametersRows[] = {
    {"No arrays, no arguments", false, false, 0, 0, S_OK},
    {"Arrays, no arguments", true, true, 0, 0, S_OK},
    {"Arguments without their array", false, false, 1, 0, E_INVALIDARG},
    {"Names without their array", true, false, 1, 1, E_INVALIDARG},
    {"More names than arguments", true, true, 0, 1, E_INVALIDARG},
    {"Two names for one argument", true, true, 1, 2, E_INVALIDARG},
};

TEST_F(NXDispatchRulesTest, Parameters_WithoutTheirArraysOrArguments_AreRefused) {
    for (const ParametersRow& row : parametersRows) {
        const DispatchObject object = StringOf(L"text");
        std::array<VARIANT, 2> arguments = {};
        std::array<DISPID, 2> names = {};
        DISPPARAMS parameters = {row.hasArguments ? arguments.data() : nullptr, row.hasNames ? names.data() : nullptr,
                                 row.argumentCount, row.nameCount};
        EXPECT_HR(object.Raw()->Invoke(StringId::Clear, IID_NULL, english, DISPATCH_METHOD, &parameters, nullptr,
                                       nullptr, nullptr),
                  row.hr)
            << row.name;
        EXPECT_EQ(TextOf(object) == nullptr, row.hr == S_OK) << row.name;
    }
}

TEST_F(NXDispatchRulesTest, Parameters_Null_AreRefused) {
    const DispatchObject object = StringOf(L"text");
    EXPECT_HR(
        object.Raw()->Invoke(StringId::Clear, IID_NULL, english, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
        E_INVALIDARG);
    EXPECT_BSTR(TextOf(object), L"text");
}

// ---------------------------------------------------------------------------------------------------------------------
// Members and kinds

struct KindRow {
    const char* name;
    DISPID member;
    WORD flags;
    int argumentCount;
    HRESULT hr;
};

constexpr KindRow kindRows[] = {
    {"Method", StringId::Left, method, 1, S_OK},
    {"Method or get, method", StringId::Left, method | get, 1, S_OK},
    {"Method as get", StringId::Left, get, 1, DISP_E_MEMBERNOTFOUND},
    {"Method as put", StringId::Left, put, 1, DISP_E_MEMBERNOTFOUND},
    {"Method as putref", StringId::Left, putRef, 1, DISP_E_MEMBERNOTFOUND},
    {"Get", StringId::Length, get, 0, S_OK},
    {"Get as method", StringId::Length, method, 0, S_OK},
    {"Method or get, get", StringId::Length, method | get, 0, S_OK},
    {"Put of a get", StringId::Length, put, 1, DISP_E_MEMBERNOTFOUND},
    {"Putref of a get", StringId::Length, putRef, 1, DISP_E_MEMBERNOTFOUND},
    {"Put or putref of a get", StringId::Length, put | putRef, 1, DISP_E_MEMBERNOTFOUND},
    {"Put as method is its get", StringId::Value, method, 1, DISP_E_BADPARAMCOUNT},
    {"No kind", StringId::Length, 0, 0, DISP_E_MEMBERNOTFOUND},
    {"Unknown kind", StringId::Length, 0x4000, 0, DISP_E_MEMBERNOTFOUND},
    {"Unknown member", 0x6002000A, method, 0, DISP_E_MEMBERNOTFOUND},
    {"Unknown member with too many arguments", 0x6002000A, method, 5, DISP_E_MEMBERNOTFOUND},
    {"DISPID_UNKNOWN", DISPID_UNKNOWN, method, 0, DISP_E_MEMBERNOTFOUND},
    {"Default property of a class without one", DISPID_VALUE, get, 0, DISP_E_MEMBERNOTFOUND},
    {"The put's index in the vtable", 0x60020008, put, 1, DISP_E_MEMBERNOTFOUND},
    {"IUnknown.QueryInterface", 0x60000000, method, 0, DISP_E_MEMBERNOTFOUND},
    {"IUnknown.AddRef", 0x60000001, method, 0, DISP_E_MEMBERNOTFOUND},
    {"IUnknown.Release", 0x60000002, method, 0, DISP_E_MEMBERNOTFOUND},
    {"IDispatch.GetTypeInfoCount", 0x60010000, method, 0, DISP_E_MEMBERNOTFOUND},
    {"IDispatch.Invoke", 0x60010003, method, 0, DISP_E_MEMBERNOTFOUND},
};

TEST_F(NXDispatchRulesTest, Member_IsFoundByIdAndKind) {
    for (const KindRow& row : kindRows) {
        const DispatchObject object = StringOf(L"text");
        const Invocation call = {
            .member = row.member,
            .flags = row.flags,
            .arguments = std::vector<Variant>(static_cast<std::size_t>(row.argumentCount), 2),
            .names = std::vector<DISPID>((row.flags & (put | putRef)) != 0 ? 1 : 0, DISPID_PROPERTYPUT)};
        EXPECT_HR(object.Invoke(call).hr, row.hr) << row.name;
        EXPECT_BSTR(TextOf(object), L"text") << row.name;
        EXPECT_EQ(ReferencesOf(object.Raw()), 1u) << row.name;
    }
}

TEST_F(NXDispatchRulesTest, Get_AsMethod_TakesArguments) {
    const DispatchObject list = ListOf({L"zero", L"one"});
    const Reply reply = list.Call(L"Item", 1);
    EXPECT_HR(reply.hr, S_OK);
    EXPECT_BSTR(reply.value.Text(), L"one");
}

constexpr WORD everyPut[] = {put, putRef, put | putRef, putRef | DISPATCH_METHOD};

TEST_F(NXDispatchRulesTest, PutRef_OfText_IsAPut) {
    for (const WORD flags : everyPut) {
        const DispatchObject object = NewLateBound<CNXString>();
        const Reply reply = object.Invoke(
            {.member = StringId::Value, .flags = flags, .arguments = {L"new"}, .names = {DISPID_PROPERTYPUT}});
        EXPECT_HR(reply.hr, S_OK) << flags;
        EXPECT_BSTR(TextOf(object), L"new") << flags;
    }
}

/// Puts `element` at index 0 and as New into a list, with all flags that mean a put.
template <class List, class ListInterface> void ExpectObjectsArePut(IDispatch* element, DISPID item, DISPID append) {
    for (const WORD flags : everyPut) {
        const DispatchObject objects = NewLateBound<List>();
        ASSERT_HR(objects.Call(L"Add", Nothing()).hr, S_OK);
        EXPECT_HR(
            objects.Invoke({.member = item, .flags = flags, .arguments = {0, element}, .names = {DISPID_PROPERTYPUT}})
                .hr,
            S_OK);
        EXPECT_HR(
            objects.Invoke({.member = append, .flags = flags, .arguments = {element}, .names = {DISPID_PROPERTYPUT}})
                .hr,
            S_OK);
        EXPECT_EQ(CountOf<ListInterface>(objects), 2);
        for (const int index : {0, 1}) {
            const Reply reply = objects.Get(L"Item", index);
            EXPECT_HR(reply.hr, S_OK);
            EXPECT_EQ(reply.value.Object(), element) << flags << ", " << index;
        }
    }
    EXPECT_EQ(ReferencesOf(element), 1u) << "the test's";
}

TEST_F(NXDispatchRulesTest, PutRef_OfATokenString_IsAPut) {
    ExpectObjectsArePut<CNXTokenStringList, INXTokenStringList>(New<CNXTokenString>(), TokenStrings::idItem,
                                                                TokenStrings::idNew);
}

TEST_F(NXDispatchRulesTest, PutRef_OfAFileStream_IsAPut) {
    ExpectObjectsArePut<CNXFileStreamList, INXFileStreamList>(New<CNXFileStream>(), FileStreams::idItem,
                                                              FileStreams::idNew);
}

// ---------------------------------------------------------------------------------------------------------------------
// The number of arguments

/// Calls every member of a class with too few and with too many arguments.
template <class Class> void ExpectCountsAreChecked() {
    for (const CNXMember& member : Class::Members()) {
        for (UINT count = 0; count <= 5; ++count) {
            if (count >= member.requiredCount && count <= member.parameterCount) {
                continue;
            }
            const DispatchObject object = NewLateBound<Class>();
            const Invocation call = {
                .member = member.id,
                .flags = member.kind,
                .arguments = std::vector<Variant>(count, 0),
                .names = std::vector<DISPID>(member.kind == put && count != 0 ? 1 : 0, DISPID_PROPERTYPUT)};
            const Reply reply = object.Invoke(call);
            EXPECT_HR(reply.hr, DISP_E_BADPARAMCOUNT) << "member " << member.id << " with " << count;
            EXPECT_EQ(reply.badArgument, noArgument);
            EXPECT_EQ(reply.value.Type(), VT_EMPTY);
        }
    }
}

TEST_F(NXDispatchRulesTest, ArgumentCount_OutsideTheMembersRange_IsRefusedByEveryClass) {
    ExpectCountsAreChecked<CNXString>();
    ExpectCountsAreChecked<CNXTokenString>();
    ExpectCountsAreChecked<CNXStringList>();
    ExpectCountsAreChecked<CNXFileStream>();
    ExpectCountsAreChecked<CNXTokenStringList>();
    ExpectCountsAreChecked<CNXFileStreamList>();
    ExpectCountsAreChecked<CNXVariantCollection>();
}

TEST_F(NXDispatchRulesTest, ArgumentCount_WithoutTheOptionalOnes_IsEnough) {
    const DispatchObject collection = CollectionOf(2);
    EXPECT_HR(collection.Call(L"Add", L"last").hr, S_OK);
    EXPECT_BSTR(collection.Get(L"Item", 3).value.Text(), L"last");
    EXPECT_HR(collection.Call(L"Remove").hr, S_OK);
    EXPECT_EQ(CountOf<INXVariantCollection>(collection), 2);
    EXPECT_HR(collection.Call(L"Add", L"first", 1).hr, S_OK);
    EXPECT_BSTR(collection.Get(L"Item", 1).value.Text(), L"first");
    EXPECT_HR(collection.Call(L"Remove", 1).hr, S_OK);
    EXPECT_EQ(collection.Get(L"Item", 1).value.Int(), 1);
}

// ---------------------------------------------------------------------------------------------------------------------
// Arguments left out

/// Calls `check` with each form of a missing argument.
template <class Check> void ForEachMissing(Check check) {
    const Variant missing = Variant::Missing();
    check("by value", *missing.Raw());
    check("in a variable", ReferenceTo(VT_VARIANT, missing.Raw()));
    SCODE code = DISP_E_PARAMNOTFOUND;
    VARIANT typed = ReferenceTo(VT_ERROR, &code);
    check("by reference to its code", typed);
    check("in a variable that refers to its code", ReferenceTo(VT_VARIANT, &typed));
}

TEST_F(NXDispatchRulesTest, RequiredParameter_LeftOut_IsNotOptional) {
    ForEachMissing([](const char* way, const VARIANT& missing) {
        const DispatchObject object = StringOf(L"abc");
        const DispatchObject collection = CollectionOf(1);
        const VARIANT one = *Variant(1).Raw();
        Answers answers;
        EXPECT_HR(Call(object.Raw(), StringId::Left, method, {missing}, answers), DISP_E_PARAMNOTOPTIONAL) << way;
        EXPECT_HR(Call(object.Raw(), StringId::Mid, method, {missing, one}, answers), DISP_E_PARAMNOTOPTIONAL) << way;
        EXPECT_HR(Call(object.Raw(), StringId::Mid, method, {one, missing}, answers), DISP_E_PARAMNOTOPTIONAL) << way;
        EXPECT_HR(Call(collection.Raw(), CollectionId::Add, method, {missing}, answers), DISP_E_PARAMNOTOPTIONAL)
            << way;
        EXPECT_HR(Call(NewLateBound<CNXTokenStringList>().Raw(), TokenStrings::idAdd, method, {missing}, answers),
                  DISP_E_PARAMNOTOPTIONAL)
            << way;
        EXPECT_TRUE(answers.ResultIsUntouched() && answers.ExceptionIsUntouched()) << way;
        EXPECT_EQ(CountOf<INXVariantCollection>(collection), 1) << way;
    });
}

TEST_F(NXDispatchRulesTest, RequiredNewValue_LeftOut_IsNotOptional) {
    const DispatchObject object = StringOf(L"abc");
    EXPECT_HR(object.Put(L"Value", Variant::Missing()).hr, DISP_E_PARAMNOTOPTIONAL);
    EXPECT_BSTR(TextOf(object), L"abc");
}

TEST_F(NXDispatchRulesTest, RequiredParameter_WithoutANamedArgument_IsNotOptional) {
    const DispatchObject collection = CollectionOf(1);
    EXPECT_HR(collection.Invoke({.member = CollectionId::Add, .arguments = {1}, .names = {1}}).hr,
              DISP_E_PARAMNOTOPTIONAL);
    EXPECT_EQ(CountOf<INXVariantCollection>(collection), 1);
}

TEST_F(NXDispatchRulesTest, OptionalParameter_LeftOut_IsZero) {
    ForEachMissing([](const char* way, const VARIANT& missing) {
        const DispatchObject collection = CollectionOf(2);
        const Variant text(L"last");
        Answers answers;
        EXPECT_HR(Call(collection.Raw(), CollectionId::Add, method, {missing, *text.Raw()}, answers), S_OK) << way;
        EXPECT_BSTR(collection.Get(L"Item", 3).value.Text(), L"last") << way;
        EXPECT_HR(Call(collection.Raw(), CollectionId::Remove, method, {missing}, answers), S_OK) << way;
        EXPECT_EQ(CountOf<INXVariantCollection>(collection), 2) << way;
        EXPECT_EQ(collection.Get(L"Item", 2).value.Int(), 2) << way;
    });
}

TEST_F(NXDispatchRulesTest, AnotherError_IsNotAMissingArgument) {
    Variant error = Variant::Missing();
    V_ERROR(error.Raw()) = E_FAIL;
    const DispatchObject collection = CollectionOf(1);
    const Reply position = collection.Call(L"Remove", error);
    EXPECT_HR(position.hr, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(position.badArgument, 0u);
    EXPECT_HR(collection.Call(L"Add", error).hr, S_OK) << "a VARIANT may be anything else";
    EXPECT_EQ(collection.Get(L"Item", 2).value.Type(), VT_ERROR);
}

} // namespace
