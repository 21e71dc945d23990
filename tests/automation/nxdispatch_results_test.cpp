// The results of late-bound calls, and their failures.

#include <functional>
#include <new>
#include <stdexcept>
#include <vector>

#include <comdef.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "automation/nxdispatch.h"
#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxstringlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/localobject.h"
#include "tests/automation/objectlist.h"
#include "tests/automation/stackobject.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::AllocationFault;
using support::Answers;
using support::Bstr;
using support::CollectionOf;
using support::CountOf;
using support::DispatchObject;
using support::english;
using support::Foreign;
using support::Invocation;
using support::ListOf;
using support::New;
using support::NewLateBound;
using support::Nothing;
using support::Reply;
using support::StringId;
using support::StringListId;
using support::StringOf;
using support::TokenStrings;
using support::Variant;

constexpr WORD method = DISPATCH_METHOD;
constexpr WORD get = DISPATCH_PROPERTYGET;
constexpr WORD put = DISPATCH_PROPERTYPUT;

using NXDispatchResultsTest = support::DispatchTest;

/// A class with one member, which calls `run`.
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
        *result = SysAllocString(L"given back"); // if it fails, the dispatcher frees the string
        return hr;
    }

    std::function<HRESULT()> run = [] { return S_OK; };
};

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

TEST_F(NXDispatchResultsTest, Result_HasTheTypeOfTheMember) {
    for (const ResultRow& row : resultRows) {
        const DispatchObject object = row.create();
        const Reply reply =
            object.Invoke({.member = IdOf(object, row.member), .flags = row.flags, .arguments = row.arguments});
        EXPECT_HR(reply.hr, S_OK) << row.name;
        EXPECT_EQ(reply.value.Type(), row.type) << row.name;
    }
}

TEST_F(NXDispatchResultsTest, Result_IsThatOfTheMember) {
    EXPECT_EQ(StringOf(L"  a ").Call(L"Trim").value.Int(), 3);
    EXPECT_EQ(StringOf(L"abc").Get(L"Length").value.Int(), 3);
    EXPECT_EQ(V_BOOL(NewLateBound<CNXFileStream>().Call(L"IsEOF").value.Raw()), VARIANT_TRUE);
    EXPECT_EQ(V_BOOL(NewLateBound<CNXFileStream>().Call(L"IsOpen").value.Raw()), VARIANT_FALSE);
    const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
    ASSERT_HR(tokens.Call(L"Add", Nothing()).hr, S_OK);
    EXPECT_EQ(tokens.Get(L"Item", 0).value.Object(), nullptr);
}

TEST_F(NXDispatchResultsTest, Result_OverwritesTheVariable) {
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
    EXPECT_EQ(object.references, 1u) << "the variable may hold garbage, so it is not cleared";
}

TEST_F(NXDispatchResultsTest, Result_OfAMemberWithoutOne_IsUntouched) {
    const Variant zero(0);
    const DispatchObject list = ListOf({L"zero"});
    Answers answers;
    EXPECT_HR(Call(StringOf(L"abc").Raw(), StringId::Clear, method, {}, answers), S_OK);
    EXPECT_HR(Call(list.Raw(), 0x60020004, method, {*zero.Raw()}, answers), S_OK);
    EXPECT_EQ(CountOf<INXStringList>(list), 0);
    EXPECT_TRUE(answers.ResultIsUntouched());
    EXPECT_TRUE(answers.ExceptionIsUntouched());
}

TEST_F(NXDispatchResultsTest, Result_ThatTheCallerDoesNotWant_IsFreed) {
    const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
    EXPECT_HR(tokens.Invoke({.member = TokenStrings::idAddNew, .wantsValue = false}).hr, S_OK);
    EXPECT_EQ(CountOf<INXTokenStringList>(tokens), 1);
    EXPECT_HR(StringOf(L"abc").Invoke({.member = StringId::Left, .arguments = {2}, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(StringOf(L"abc").Invoke({.member = StringId::Value, .flags = get, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXDispatchResultsTest, Result_MayBeUnaligned) {
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

/// Checks what a failed call has returned, and frees the strings.
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

TEST_F(NXDispatchResultsTest, Failure_FillsInEveryFieldOfTheException) {
    const Variant nine(9);
    Answers answers;
    EXPECT_HR(Call(NewLateBound<CNXTokenString>().Raw(), DISPID_VALUE, get, {*nine.Raw()}, answers), DISP_E_EXCEPTION);
    ExpectException(answers, E_FAIL, L"Nuvolex.NXTokenString.1", L"Index out of bounds!");
    EXPECT_FALSE(support::HasErrorRecord()) << "it has moved to the exception";
}

TEST_F(NXDispatchResultsTest, Failure_WithoutADescription_FillsInEveryFieldToo) {
    Probe probe;
    probe.run = [] { return E_ACCESSDENIED; };
    Answers answers;
    EXPECT_HR(Call(&probe, Probe::Member, method, {}, answers), DISP_E_EXCEPTION);
    ExpectException(answers, E_ACCESSDENIED, nullptr, nullptr);
}

TEST_F(NXDispatchResultsTest, Failure_TakesTheErrorRecordOfTheMember) {
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

TEST_F(NXDispatchResultsTest, Failure_WithoutExceptionInfo_IsReturned) {
    const DispatchObject list = ListOf({});
    EXPECT_HR(list.Invoke({.member = StringListId::Item, .flags = get, .arguments = {0}, .wantsDetails = false}).hr,
              DISP_E_EXCEPTION);
}

TEST_F(NXDispatchResultsTest, Failure_OfTheTokenStringListsDefaultProperty_HasNoDescription) {
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

TEST_F(NXDispatchResultsTest, Failure_OutOfMemory_HasNoDescription) {
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

TEST_F(NXDispatchResultsTest, Refusal_LeavesTheResultsAlone) {
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

TEST_F(NXDispatchResultsTest, Exception_IsReturnedAsItsHresult) {
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

TEST_F(NXDispatchResultsTest, Exception_OfAClass_IsReturnedAsItsHresult) {
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
