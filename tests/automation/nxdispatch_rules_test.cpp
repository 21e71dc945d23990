// The rules of late-bound calls: which member a call reaches, with how many and which arguments, and what its caller
// gets. nxdispatch_arguments_test.cpp has the values of arguments, nxdispatch_objects_test.cpp objects among them, and
// nxdispatch_ownership_test.cpp who owns what.

#include <functional>
#include <new>
#include <stdexcept>
#include <vector>

#include <comdef.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxdispatch.h"
#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxstring.h"
#include "automation/nxstringlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "automation/nxvariantcollection.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/localobject.h"
#include "tests/automation/objectlist.h"
#include "tests/automation/stackobject.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::AllocationFault;
using support::Answers;
using support::Bstr;
using support::CollectionId;
using support::CollectionOf;
using support::CountOf;
using support::DispatchObject;
using support::english;
using support::FileStreams;
using support::Foreign;
using support::Invocation;
using support::ListId;
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

/// A class with one member, which does what the test says.
class Probe : public support::StackAutomationObject<IDispatch> {
  public:
    static constexpr DISPID Member = 1;

    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispidMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pdispparams,
                                     VARIANT* pvarResult, EXCEPINFO* pexcepinfo, UINT* puArgErr) override {
        static constexpr CNXMember members[] = {NXMethod<&Probe::Run>(Member, L"Run")};
        return NXInvoke(members, this, dispidMember, riid, lcid, wFlags, pdispparams, pvarResult, pexcepinfo, puArgErr);
    }
    HRESULT Run(BSTR* result) {
        const HRESULT hr = run();
        *result = SysAllocString(L"given back"); // also when it fails: the dispatcher frees it
        return hr;
    }

    std::function<HRESULT()> run = [] { return S_OK; };
};

// ---------------------------------------------------------------------------------------------------------------------
// GetIDsOfNames

HRESULT IdsOf(const DispatchObject& object, std::vector<const wchar_t*> names, std::vector<DISPID>& ids,
              REFIID iid = IID_NULL, LCID locale = english) {
    ids.assign(names.size(), 77);
    return object.Raw()->GetIDsOfNames(iid, const_cast<LPOLESTR*>(names.data()), static_cast<UINT>(names.size()),
                                       locale, ids.data());
}

struct NamesRow {
    const char* name;
    std::vector<const wchar_t*> names;
    HRESULT hr;
    std::vector<DISPID> ids;
};

const NamesRow namesRows[] = {
    {"Member", {L"Mid"}, S_OK, {StringId::Mid}},
    {"Upper case", {L"MID"}, S_OK, {StringId::Mid}},
    {"Lower case", {L"mid"}, S_OK, {StringId::Mid}},
    {"Mixed case", {L"tRiMlEfT"}, S_OK, {0x60020000}},
    {"Parameters", {L"Mid", L"nStart", L"nLength"}, S_OK, {StringId::Mid, 0, 1}},
    {"Parameters in another order and case", {L"mid", L"NLENGTH", L"nstart"}, S_OK, {StringId::Mid, 1, 0}},
    {"Parameter of another member", {L"Left", L"nStart"}, DISP_E_UNKNOWNNAME, {StringId::Left, DISPID_UNKNOWN}},
    {"Unknown member", {L"Middle"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Beginning of a member's name", {L"Mi"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Empty name", {L""}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Null name", {nullptr}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Letter that only looks like another",
     {L"M\x0131"
      L"d"},
     DISP_E_UNKNOWNNAME,
     {DISPID_UNKNOWN}},
    {"Parameter as member", {L"nStart"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Name of the result", {L"Mid", L"pbsPart"}, DISP_E_UNKNOWNNAME, {StringId::Mid, DISPID_UNKNOWN}},
    {"Empty parameter", {L"Value", L""}, DISP_E_UNKNOWNNAME, {StringId::Value, DISPID_UNKNOWN}},
    {"Unknown parameter among others", {L"Mid", L"x", L"nLength"}, DISP_E_UNKNOWNNAME, {StringId::Mid, -1, 1}},
    {"Parameters of an unknown member", {L"x", L"nStart"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN, DISPID_UNKNOWN}},
    {"Members of IUnknown", {L"QueryInterface"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
    {"Members of IDispatch", {L"Invoke"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
};

TEST_F(NXDispatchRulesTest, Names_AreThoseOfMembersAndParametersInAnyCase) {
    const DispatchObject object = NewLateBound<CNXString>();
    for (const NamesRow& row : namesRows) {
        std::vector<DISPID> ids;
        EXPECT_HR(IdsOf(object, row.names, ids), row.hr) << row.name;
        EXPECT_EQ(ids, row.ids) << row.name;
    }
}

TEST_F(NXDispatchRulesTest, Names_HaveNoCaseButThatOfLetters) {
    const DispatchObject list = NewLateBound<CNXStringList>();
    std::vector<DISPID> ids;
    EXPECT_HR(IdsOf(list, {L"_iTEM"}, ids), S_OK);
    EXPECT_EQ(ids, std::vector<DISPID>{DISPID_VALUE});
    EXPECT_HR(IdsOf(list, {L"\x7FItem"}, ids), DISP_E_UNKNOWNNAME) << "differs from an underscore as a from A";
}

TEST_F(NXDispatchRulesTest, Names_DoNotDependOnIidAndLocale) {
    std::vector<DISPID> ids;
    EXPECT_HR(IdsOf(NewLateBound<CNXString>(), {L"TRIM"}, ids, IID_IDispatch, 0x041F), S_OK);
    EXPECT_EQ(ids, std::vector<DISPID>{0x60020002});
}

TEST_F(NXDispatchRulesTest, Names_NullArrays_AreRefused) {
    const DispatchObject object = NewLateBound<CNXString>();
    auto* name = const_cast<LPOLESTR>(L"Mid");
    DISPID id = 77;
    EXPECT_HR(object.Raw()->GetIDsOfNames(IID_NULL, nullptr, 1, english, &id), E_POINTER);
    EXPECT_HR(object.Raw()->GetIDsOfNames(IID_NULL, &name, 1, english, nullptr), E_POINTER);
    EXPECT_EQ(id, 77);
    EXPECT_HR(object.Raw()->GetIDsOfNames(IID_NULL, &name, 0, english, &id), S_OK);
    EXPECT_EQ(id, 77) << "no name, no identifier";
}

// ---------------------------------------------------------------------------------------------------------------------
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

TEST_F(NXDispatchRulesTest, Parameters_ThatContradictThemselves_AreRefused) {
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
    {"The put's place in the vtable", 0x60020008, put, 1, DISP_E_MEMBERNOTFOUND},
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
    EXPECT_EQ(ReferencesOf(element), 1u) << "the caller's alone";
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

TEST_F(NXDispatchRulesTest, ArgumentCount_OutsideTheMembers_IsRefusedByEveryClass) {
    ExpectCountsAreChecked<CNXString>();
    ExpectCountsAreChecked<CNXTokenString>();
    ExpectCountsAreChecked<CNXStringList>();
    ExpectCountsAreChecked<CNXFileStream>();
    ExpectCountsAreChecked<CNXTokenStringList>();
    ExpectCountsAreChecked<CNXFileStreamList>();
    ExpectCountsAreChecked<CNXVariantCollection>();
}

TEST_F(NXDispatchRulesTest, ArgumentCount_MayLeaveOutTheOptionalOnes) {
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

/// Calls `check` with an argument that is left out, in each of the ways to say so.
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

TEST_F(NXDispatchRulesTest, RequiredParameter_ThatNoNameFills_IsNotOptional) {
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

TEST_F(NXDispatchRulesTest, AnotherError_IsNoArgumentLeftOut) {
    Variant error = Variant::Missing();
    V_ERROR(error.Raw()) = E_FAIL;
    const DispatchObject collection = CollectionOf(1);
    const Reply position = collection.Call(L"Remove", error);
    EXPECT_HR(position.hr, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(position.badArgument, 0u);
    EXPECT_HR(collection.Call(L"Add", error).hr, S_OK) << "a VARIANT may be anything else";
    EXPECT_EQ(collection.Get(L"Item", 2).value.Type(), VT_ERROR);
}

// ---------------------------------------------------------------------------------------------------------------------
// Named arguments

/// A call, of which the last arguments are named, and what comes of it.
struct NamedRow {
    const char* name;
    std::vector<Variant> arguments;
    std::vector<DISPID> names; ///< of the last arguments, in their order
    const wchar_t* text;       ///< null: the call is refused with DISP_E_PARAMNOTFOUND
    UINT badArgument = noArgument;
};

const NamedRow namedMethodRows[] = {
    // Mid(nStart, nLength) of "abcdef"
    {"No names", {1, 3}, {}, L"bcd"},
    {"Second", {1, 3}, {1}, L"bcd"},
    {"Both", {1, 3}, {0, 1}, L"bcd"},
    {"Both in the other order", {3, 1}, {1, 0}, L"bcd"},
    {"Unknown, the only one", {1, 3}, {2}, nullptr, 0},
    {"Unknown, a parameter's in its low byte", {1, 3}, {0x101}, nullptr, 0},
    {"Unknown, negative", {1, 3}, {-255}, nullptr, 0},
    {"Unknown, passed first", {1, 3}, {7, 1}, nullptr, 1},
    {"Unknown, passed last", {1, 3}, {0, 7}, nullptr, 0},
    {"Negative", {1, 3}, {DISPID_UNKNOWN}, nullptr, 0},
    {"That of a positional argument", {1, 3}, {0}, nullptr, 0},
    {"New value in a method", {1, 3}, {DISPID_PROPERTYPUT}, nullptr, 0},
};

TEST_F(NXDispatchRulesTest, NamedArguments_OfAMethod_AreFoundByPosition) {
    for (const NamedRow& row : namedMethodRows) {
        const Reply reply =
            StringOf(L"abcdef").Invoke({.member = StringId::Mid, .arguments = row.arguments, .names = row.names});
        EXPECT_HR(reply.hr, row.text != nullptr ? S_OK : DISP_E_PARAMNOTFOUND) << row.name;
        EXPECT_EQ(reply.badArgument, row.badArgument) << row.name;
        if (row.text != nullptr) {
            EXPECT_BSTR(reply.value.Text(), row.text) << row.name;
        }
    }
}

const NamedRow namedPutRows[] = {
    // Item(index) = new value, of ("zero", "one")
    {"New value", {1, L"new"}, {DISPID_PROPERTYPUT}, L"new"},
    {"Index and new value", {1, L"new"}, {0, DISPID_PROPERTYPUT}, L"new"},
    {"New value and index", {L"new", 1}, {DISPID_PROPERTYPUT, 0}, L"new"},
    {"New value without a name", {1, L"new"}, {}, nullptr, 0},
    {"New value by position", {1, L"new"}, {1}, nullptr, 0},
    {"Both by position", {1, L"new"}, {0, 1}, nullptr, 0},
    {"New value without a name behind a named index", {L"new", 1}, {0}, nullptr, 0},
};

TEST_F(NXDispatchRulesTest, NamedArguments_OfAPut_NameTheNewValue) {
    for (const NamedRow& row : namedPutRows) {
        const DispatchObject list = ListOf({L"zero", L"one"});
        const Reply reply =
            list.Invoke({.member = ListId::Item, .flags = put, .arguments = row.arguments, .names = row.names});
        EXPECT_HR(reply.hr, row.text != nullptr ? S_OK : DISP_E_PARAMNOTFOUND) << row.name;
        EXPECT_EQ(reply.badArgument, row.badArgument) << row.name;
        EXPECT_BSTR(list.Get(L"Item", 1).value.Text(), row.text != nullptr ? row.text : L"one") << row.name;
        EXPECT_EQ(CountOf<INXStringList>(list), 2) << row.name;
    }
}

TEST_F(NXDispatchRulesTest, NamedArguments_OfAPutWithoutOthers_NameTheNewValue) {
    const DispatchObject object = StringOf(L"old");
    for (const std::vector<DISPID>& names : {std::vector<DISPID>{}, {0}, {DISPID_UNKNOWN}}) {
        const Reply reply =
            object.Invoke({.member = StringId::Value, .flags = put, .arguments = {L"new"}, .names = names});
        EXPECT_HR(reply.hr, DISP_E_PARAMNOTFOUND);
        EXPECT_EQ(reply.badArgument, 0u);
        EXPECT_BSTR(TextOf(object), L"old");
    }
}

TEST_F(NXDispatchRulesTest, NamedArguments_GivenTwice_AreRefused) {
    const auto expectRefused = [](const Reply& reply) {
        EXPECT_HR(reply.hr, DISP_E_PARAMNOTFOUND);
        EXPECT_LE(reply.badArgument, 1u) << "either of the two";
    };
    const DispatchObject object = StringOf(L"abcdef");
    expectRefused(object.Invoke({.member = StringId::Mid, .arguments = {1, 3}, .names = {0, 0}}));
    expectRefused(object.Invoke({.member = StringId::Mid, .arguments = {1, 3}, .names = {1, 1}}));
    const DispatchObject list = ListOf({L"zero", L"one"});
    expectRefused(list.Invoke({.member = ListId::Item,
                               .flags = put,
                               .arguments = {1, L"new"},
                               .names = {DISPID_PROPERTYPUT, DISPID_PROPERTYPUT}}));
    EXPECT_BSTR(list.Get(L"Item", 1).value.Text(), L"one");
}

TEST_F(NXDispatchRulesTest, NamedArguments_OfAGet_HaveNoNewValue) {
    const DispatchObject list = ListOf({L"zero", L"one"});
    const Reply refused =
        list.Invoke({.member = ListId::Item, .flags = get, .arguments = {1}, .names = {DISPID_PROPERTYPUT}});
    EXPECT_HR(refused.hr, DISP_E_PARAMNOTFOUND);
    EXPECT_EQ(refused.badArgument, 0u);
    const Reply reply = list.Invoke({.member = ListId::Item, .flags = get, .arguments = {1}, .names = {0}});
    EXPECT_BSTR(reply.value.Text(), L"one");
}

TEST_F(NXDispatchRulesTest, NamedArguments_MayLeaveOutTheOptionalOnes) {
    const DispatchObject collection = CollectionOf(1);
    EXPECT_HR(collection.Invoke({.member = CollectionId::Add, .arguments = {L"last"}, .names = {0}}).hr, S_OK);
    EXPECT_HR(collection.Invoke({.member = CollectionId::Add, .arguments = {1, L"first"}, .names = {1, 0}}).hr, S_OK);
    EXPECT_BSTR(collection.Get(L"Item", 1).value.Text(), L"first");
    EXPECT_EQ(collection.Get(L"Item", 2).value.Int(), 1);
    EXPECT_BSTR(collection.Get(L"Item", 3).value.Text(), L"last");
    EXPECT_HR(collection.Invoke({.member = CollectionId::Remove, .arguments = {1}, .names = {0}}).hr, S_OK);
    EXPECT_EQ(collection.Get(L"Item", 1).value.Int(), 1);
}

TEST_F(NXDispatchRulesTest, BadArgument_NeedNotBeAskedFor) {
    const DispatchObject object = StringOf(L"abcdef");
    EXPECT_HR(object.Invoke({.member = StringId::Mid, .arguments = {1, 3}, .names = {7}, .wantsDetails = false}).hr,
              DISP_E_PARAMNOTFOUND);
    EXPECT_HR(object.Invoke({.member = StringId::Mid, .arguments = {1, L"x"}, .wantsDetails = false}).hr,
              DISP_E_TYPEMISMATCH);
}

// ---------------------------------------------------------------------------------------------------------------------
// Results

/// The DISPID of a member.
DISPID IdOf(const DispatchObject& object, const wchar_t* name) {
    DISPID id = DISPID_UNKNOWN;
    support::Require(support::Member(name).Resolve(object.Raw(), id), "GetIDsOfNames");
    return id;
}

struct ResultRow {
    const char* name;
    DispatchObject (*create)();
    const wchar_t* member;
    WORD flags;
    std::vector<Variant> arguments;
    VARTYPE type;
};

const ResultRow resultRows[] = {
    {"int", [] { return StringOf(L" a "); }, L"Trim", method, {}, VT_I4},
    {"long", [] { return StringOf(L"abc"); }, L"Length", get, {}, VT_I4},
    {"BSTR", [] { return StringOf(L"abc"); }, L"Value", get, {}, VT_BSTR},
    {"VARIANT_BOOL of a property", [] { return NewLateBound<CNXTokenString>(); }, L"MultiCharacter", get, {}, VT_BOOL},
    {"VARIANT_BOOL of a method", [] { return NewLateBound<CNXFileStream>(); }, L"IsOpen", method, {}, VT_BOOL},
    {"Object", [] { return NewLateBound<CNXTokenStringList>(); }, L"AddNew", method, {}, VT_DISPATCH},
    {"Object of a property", [] { return NewLateBound<CNXFileStreamList>(); }, L"New", get, {}, VT_DISPATCH},
    {"IUnknown", [] { return NewLateBound<CNXStringList>(); }, L"_NewEnum", get, {}, VT_UNKNOWN},
    {"VARIANT has the type of its value", [] { return CollectionOf(1); }, L"Item", get, {1}, VT_I4},
};

TEST_F(NXDispatchRulesTest, Result_HasTheTypeOfTheMember) {
    for (const ResultRow& row : resultRows) {
        const DispatchObject object = row.create();
        const Reply reply =
            object.Invoke({.member = IdOf(object, row.member), .flags = row.flags, .arguments = row.arguments});
        EXPECT_HR(reply.hr, S_OK) << row.name;
        EXPECT_EQ(reply.value.Type(), row.type) << row.name;
    }
}

TEST_F(NXDispatchRulesTest, Result_IsTheMembers) {
    EXPECT_EQ(StringOf(L"  a ").Call(L"Trim").value.Int(), 3);
    EXPECT_EQ(StringOf(L"abc").Get(L"Length").value.Int(), 3);
    EXPECT_EQ(V_BOOL(NewLateBound<CNXFileStream>().Call(L"IsEOF").value.Raw()), VARIANT_TRUE);
    EXPECT_EQ(V_BOOL(NewLateBound<CNXFileStream>().Call(L"IsOpen").value.Raw()), VARIANT_FALSE);
    const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
    ASSERT_HR(tokens.Call(L"Add", Nothing()).hr, S_OK);
    EXPECT_EQ(tokens.Get(L"Item", 0).value.Object(), nullptr);
}

TEST_F(NXDispatchRulesTest, Result_ReplacesWhateverTheVariableHolds) {
    Answers answers;
    EXPECT_HR(Call(StringOf(L"abc").Raw(), StringId::Length, get, {}, answers), S_OK);
    EXPECT_EQ(V_VT(&answers.result), VT_I4);
    EXPECT_EQ(V_I4(&answers.result), 3);
    EXPECT_TRUE(answers.ExceptionIsUntouched());
    EXPECT_EQ(answers.badArgument, support::untouchedArgument);

    Foreign object{0};
    object.AddRef();
    V_VT(&answers.result) = VT_DISPATCH;
    V_DISPATCH(&answers.result) = &object;
    EXPECT_HR(Call(StringOf(L"abc").Raw(), StringId::Length, get, {}, answers), S_OK);
    EXPECT_EQ(V_VT(&answers.result), VT_I4);
    EXPECT_EQ(object.references, 1u) << "the variable is the caller's, and may be full of garbage";
}

TEST_F(NXDispatchRulesTest, Result_OfAMemberWithoutOne_IsUntouched) {
    const Variant zero(0);
    const DispatchObject list = ListOf({L"zero"});
    Answers answers;
    EXPECT_HR(Call(StringOf(L"abc").Raw(), StringId::Clear, method, {}, answers), S_OK);
    EXPECT_HR(Call(list.Raw(), 0x60020004, method, {*zero.Raw()}, answers), S_OK);
    EXPECT_EQ(CountOf<INXStringList>(list), 0);
    EXPECT_TRUE(answers.ResultIsUntouched());
    EXPECT_TRUE(answers.ExceptionIsUntouched());
}

TEST_F(NXDispatchRulesTest, Result_ThatNobodyWants_IsFreed) {
    const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
    EXPECT_HR(tokens.Invoke({.member = TokenStrings::idAddNew, .wantsValue = false}).hr, S_OK);
    EXPECT_EQ(CountOf<INXTokenStringList>(tokens), 1);
    EXPECT_HR(StringOf(L"abc").Invoke({.member = StringId::Left, .arguments = {2}, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(StringOf(L"abc").Invoke({.member = StringId::Value, .flags = get, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXDispatchRulesTest, Result_MayBeAtAnOddAddress) {
    support::AtOddAddress<VARIANT> result{VARIANT{}};
    DISPPARAMS none = {};
    EXPECT_HR(StringOf(L"abc").Raw()->Invoke(StringId::Value, IID_NULL, english, get, &none, result.Address(), nullptr,
                                             nullptr),
              S_OK);
    VARIANT value = result.Value();
    ASSERT_EQ(V_VT(&value), VT_BSTR);
    EXPECT_BSTR(V_BSTR(&value), L"abc");
    VariantClear(&value);
}

// ---------------------------------------------------------------------------------------------------------------------
// Failures

/// What a caller got of a failed call; owns the texts.
void ExpectException(Answers& answers, SCODE code, const wchar_t* source, const wchar_t* description) {
    const Bstr itsSource(answers.exception.bstrSource);
    const Bstr itsDescription(answers.exception.bstrDescription);
    if (source != nullptr) {
        EXPECT_BSTR(itsSource, source);
        EXPECT_BSTR(itsDescription, description);
    } else {
        EXPECT_NULL_BSTR(itsSource);
        EXPECT_NULL_BSTR(itsDescription);
    }
    EXPECT_NULL_BSTR(answers.exception.bstrHelpFile);
    EXPECT_EQ(answers.exception.dwHelpContext, 0u);
    EXPECT_EQ(answers.exception.wCode, 0);
    EXPECT_EQ(answers.exception.wReserved, 0);
    EXPECT_EQ(answers.exception.pvReserved, nullptr);
    EXPECT_TRUE(answers.exception.pfnDeferredFillIn == nullptr);
    EXPECT_HR(answers.exception.scode, code);
    EXPECT_TRUE(answers.ResultIsUntouched());
    EXPECT_EQ(answers.badArgument, support::untouchedArgument);
}

TEST_F(NXDispatchRulesTest, Failure_FillsInEveryFieldOfTheException) {
    const Variant nine(9);
    Answers answers;
    EXPECT_HR(Call(NewLateBound<CNXTokenString>().Raw(), DISPID_VALUE, get, {*nine.Raw()}, answers), DISP_E_EXCEPTION);
    ExpectException(answers, E_FAIL, L"Nuvolex.NXTokenString.1", L"Index out of bounds!");
    EXPECT_FALSE(support::HasErrorRecord()) << "it is the exception now";
}

TEST_F(NXDispatchRulesTest, Failure_WithoutADescription_FillsInEveryFieldToo) {
    Probe probe;
    probe.run = [] { return E_ACCESSDENIED; };
    Answers answers;
    EXPECT_HR(Call(&probe, Probe::Member, method, {}, answers), DISP_E_EXCEPTION);
    ExpectException(answers, E_ACCESSDENIED, nullptr, nullptr);
}

TEST_F(NXDispatchRulesTest, Failure_TakesTheErrorRecordOfTheMember) {
    Probe probe;
    probe.run = [] {
        support::LeaveErrorRecord(L"source", L"description", L"help.chm", 12);
        return E_ACCESSDENIED;
    };
    const Reply reply = DispatchObject(&probe).Call(Probe::Member);
    EXPECT_HR(reply.hr, DISP_E_EXCEPTION);
    EXPECT_HR(reply.exception->scode, E_ACCESSDENIED);
    EXPECT_BSTR(reply.exception->bstrSource, L"source");
    EXPECT_BSTR(reply.exception->bstrDescription, L"description");
    EXPECT_BSTR(reply.exception->bstrHelpFile, L"help.chm");
    EXPECT_EQ(reply.exception->dwHelpContext, 12u);
}

TEST_F(NXDispatchRulesTest, Failure_NeedNotBeExplained) {
    const DispatchObject list = ListOf({});
    EXPECT_HR(list.Invoke({.member = ListId::Item, .flags = get, .arguments = {0}, .wantsDetails = false}).hr,
              DISP_E_EXCEPTION);
}

TEST_F(NXDispatchRulesTest, Failure_OfTheTokenStringListsDefaultProperty_HasNoText) {
    const Variant nine(9);
    const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
    for (const bool earlier : {false, true}) {
        if (earlier) {
            support::LeaveErrorRecord(L"earlier", L"of an earlier call");
        }
        Answers answers;
        EXPECT_HR(Call(tokens.Raw(), DISPID_VALUE, get, {*nine.Raw()}, answers), DISP_E_EXCEPTION) << earlier;
        ExpectException(answers, E_FAIL, nullptr, nullptr);
    }
}

TEST_F(NXDispatchRulesTest, Failure_ForMemory_HasNoText) {
    const DispatchObject object = StringOf(L"text");
    support::LeaveErrorRecord(L"earlier", L"of an earlier call");
    Answers answers;
    {
        const AllocationFault fault(1);
        EXPECT_HR(Call(object.Raw(), StringId::Value, get, {}, answers), DISP_E_EXCEPTION);
        EXPECT_TRUE(fault.Fired());
    }
    ExpectException(answers, E_OUTOFMEMORY, nullptr, nullptr);
}

TEST_F(NXDispatchRulesTest, Refusal_LeavesTheAnswersAlone) {
    const Variant text(L"x");
    const Variant one(1);
    const DispatchObject object = StringOf(L"text");
    Answers answers;
    EXPECT_HR(Call(object.Raw(), StringId::Left, method, {*text.Raw()}, answers), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(answers.badArgument, 0u);
    answers.badArgument = support::untouchedArgument;
    EXPECT_HR(Call(object.Raw(), StringId::Left, method, {}, answers), DISP_E_BADPARAMCOUNT);
    EXPECT_HR(Call(object.Raw(), StringId::Length, put, {}, answers), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(answers.badArgument, support::untouchedArgument);
    EXPECT_HR(Call(object.Raw(), StringId::Value, put, {*one.Raw()}, answers), DISP_E_PARAMNOTFOUND);
    EXPECT_EQ(answers.badArgument, 0u);
    EXPECT_TRUE(answers.ResultIsUntouched());
    EXPECT_TRUE(answers.ExceptionIsUntouched());
}

struct ExceptionRow {
    const char* name;
    HRESULT (*run)();
    HRESULT hr;
};

const ExceptionRow exceptionRows[] = {
    {"_com_error", []() -> HRESULT { throw _com_error(E_ACCESSDENIED); }, E_ACCESSDENIED},
    {"_com_error for memory", []() -> HRESULT { throw _com_error(E_OUTOFMEMORY); }, E_OUTOFMEMORY},
    {"std::bad_alloc", []() -> HRESULT { throw std::bad_alloc(); }, E_OUTOFMEMORY},
    {"std::exception", []() -> HRESULT { throw std::runtime_error("text"); }, E_UNEXPECTED},
    {"int", []() -> HRESULT { throw 42; }, E_UNEXPECTED},
};

TEST_F(NXDispatchRulesTest, Exception_IsReturnedAsItsHresult) {
    for (const ExceptionRow& row : exceptionRows) {
        Probe probe;
        probe.run = row.run;
        support::LeaveErrorRecord(L"earlier", L"of an earlier call");
        Answers answers;
        EXPECT_HR(Call(&probe, Probe::Member, method, {}, answers), row.hr) << row.name;
        EXPECT_TRUE(answers.ResultIsUntouched()) << row.name;
        EXPECT_TRUE(answers.ExceptionIsUntouched()) << row.name;
        EXPECT_EQ(answers.badArgument, support::untouchedArgument) << row.name;
        EXPECT_FALSE(support::HasErrorRecord()) << row.name;
        EXPECT_EQ(probe.references, 0u) << row.name;
    }
}

TEST_F(NXDispatchRulesTest, Exception_OfAClass_IsReturnedAsItsHresult) {
    const DispatchObject object = StringOf(L"text");
    const Invocation call = {.member = StringId::Left, .arguments = {2}};
    const AllocationFault fault(1);
    const Reply reply = object.Invoke(call);
    EXPECT_TRUE(fault.Fired());
    EXPECT_HR(reply.hr, E_OUTOFMEMORY);
    EXPECT_HR(reply.exception->scode, S_OK);
    EXPECT_EQ(reply.value.Type(), VT_EMPTY);
}

} // namespace
