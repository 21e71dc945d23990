// Arguments that no well-behaved caller passes: every VARTYPE, by value and by reference, absurd counts, null pointers.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "tests/automation/localobject.h"
#include "tests/automation/objectlist.h"
#include "tests/support/bstr.h"

namespace {

using support::Answers;
using support::Call;
using support::CollectionOf;
using support::DispatchObject;
using support::english;
using support::ListOf;
using support::NewLateBound;
using support::ReferenceTo;
using support::StringOf;

std::vector<DispatchObject> OneOfEachClass() {
    return {NewLateBound<CNXString>(),           NewLateBound<CNXTokenString>(),     NewLateBound<CNXStringList>(),
            NewLateBound<CNXFileStream>(),       NewLateBound<CNXTokenStringList>(), NewLateBound<CNXFileStreamList>(),
            NewLateBound<CNXVariantCollection>()};
}

/// The members of an object as its type information lists them, and one that it does not have.
std::vector<std::pair<DISPID, WORD>> MembersOf(const DispatchObject& object) {
    CComPtr<ITypeInfo> type;
    support::Require(object.Raw()->GetTypeInfo(0, english, &type), "GetTypeInfo");
    TYPEATTR* attributes = nullptr;
    support::Require(type->GetTypeAttr(&attributes), "GetTypeAttr");
    const UINT count = attributes->cFuncs;
    type->ReleaseTypeAttr(attributes);
    std::vector<std::pair<DISPID, WORD>> members = {{0x77777777, DISPATCH_METHOD}};
    for (UINT i = 0; i < count; ++i) {
        FUNCDESC* function = nullptr;
        support::Require(type->GetFuncDesc(i, &function), "GetFuncDesc");
        if (function->oVft >= 7 * static_cast<SHORT>(sizeof(void*))) {
            members.emplace_back(function->memid, static_cast<WORD>(function->invkind));
        }
        type->ReleaseFuncDesc(function);
    }
    return members;
}

class HostileArgumentsTest : public support::DispatchTest {
  protected:
    static void SetUpTestSuite() {
        support::DispatchTest::SetUpTestSuite();
        for (const DispatchObject& object : OneOfEachClass()) { // each class's type information stays
            static_cast<void>(MembersOf(object));
        }
    }
};

constexpr unsigned allTypes = 0x10000;

/// A value of a type. Pointers in it are null; the payload of other types is `bits`.
VARIANT ValueOf(unsigned type, long long bits) {
    VARIANT value = {};
    const unsigned base = type & VT_TYPEMASK;
    const bool holdsPointer = (type & (VT_ARRAY | VT_BYREF | VT_VECTOR)) != 0 || base == VT_BSTR ||
                              base == VT_DISPATCH || base == VT_UNKNOWN || base == VT_RECORD;
    V_VT(&value) = static_cast<VARTYPE>(type);
    V_I8(&value) = holdsPointer ? 0 : bits;
    return value;
}

/// The result of the platform's conversion of a value to a parameter of type `wanted`.
HRESULT Expected(VARIANT value, VARTYPE wanted) {
    if (V_VT(&value) == VT_ERROR && V_ERROR(&value) == DISP_E_PARAMNOTFOUND) {
        return DISP_E_PARAMNOTOPTIONAL;
    }
    if (wanted == VT_DISPATCH) { // no conversion to an object
        return V_VT(&value) == VT_DISPATCH || V_VT(&value) == VT_UNKNOWN ? S_OK : DISP_E_TYPEMISMATCH;
    }
    VARIANT converted;
    VariantInit(&converted);
    const HRESULT hr = wanted == VT_VARIANT     ? VariantCopy(&converted, &value)
                       : V_VT(&value) == wanted ? S_OK
                                                : VariantChangeTypeEx(&converted, &value, english, 0, wanted);
    VariantClear(&converted);
    return SUCCEEDED(hr) || hr == DISP_E_OVERFLOW || hr == E_OUTOFMEMORY ? hr : DISP_E_TYPEMISMATCH;
}

/// A member with one parameter. A converted argument may still be an invalid index.
struct Target {
    const char* name;
    DispatchObject object;
    DISPID member;
    WORD flags;
    VARTYPE parameter;
};

std::vector<Target> Targets() {
    return {
        {"a long", ListOf({L"zero", L"one"}), support::StringListId::Item, DISPATCH_PROPERTYGET, VT_I4},
        {"a string", ListOf({}), support::StringListId::Add, DISPATCH_METHOD, VT_BSTR},
        {"an object", NewLateBound<CNXTokenStringList>(), support::TokenStrings::idAdd, DISPATCH_METHOD, VT_DISPATCH},
        {"anything", CollectionOf(0), support::CollectionId::Add, DISPATCH_METHOD, VT_VARIANT},
    };
}

/// Makes the call and expects the result of the platform's conversion.
void ExpectAsConverted(const Target& target, const VARIANT& argument, const VARIANT& value, bool isReference) {
    const HRESULT expected = isReference ? DISP_E_TYPEMISMATCH : Expected(value, target.parameter);
    Answers answers;
    const HRESULT hr = Call(target.object.Raw(), target.member, target.flags, {argument}, answers);
    if (expected == S_OK) {
        EXPECT_TRUE(hr == S_OK || hr == DISP_E_EXCEPTION) << support::PrintedHr(hr);
    } else {
        EXPECT_HR(hr, expected);
        EXPECT_TRUE(answers.ResultIsUntouched());
        EXPECT_TRUE(answers.ExceptionIsUntouched());
        const bool named = expected == DISP_E_TYPEMISMATCH || expected == DISP_E_OVERFLOW;
        EXPECT_EQ(answers.badArgument, named ? 0 : support::untouchedArgument);
    }
    if (hr == DISP_E_EXCEPTION) {
        EXPECT_HR(answers.exception.scode, E_FAIL);
        SysFreeString(answers.exception.bstrSource);
        SysFreeString(answers.exception.bstrDescription);
        SysFreeString(answers.exception.bstrHelpFile);
    }
    if (hr == S_OK && !answers.ResultIsUntouched()) {
        VariantClear(&answers.result);
    }
}

TEST_F(HostileArgumentsTest, ValueOfEveryType_IsConvertedOrRefusedAsThePlatformDoes) {
    for (const Target& target : Targets()) {
        for (unsigned type = 0; type < allTypes && !HasFailure(); ++type) {
            if ((type & VT_BYREF) != 0) {
                continue;
            }
            SCOPED_TRACE(std::string(target.name) + " from type " + std::to_string(type));
            for (const long long bits : {0LL, 1LL, -1LL}) {
                const VARIANT value = ValueOf(type, bits);
                ExpectAsConverted(target, value, value, false);
            }
        }
    }
}

/// Whether the platform has references to a type.
bool HasReferences(unsigned type) {
    constexpr VARTYPE types[] = {VT_I2,       VT_I4,    VT_R4,   VT_R8,   VT_CY,      VT_DATE,    VT_BSTR,
                                 VT_DISPATCH, VT_ERROR, VT_BOOL, VT_I1,   VT_UI1,     VT_UI2,     VT_UI4,
                                 VT_I8,       VT_UI8,   VT_INT,  VT_UINT, VT_UNKNOWN, VT_DECIMAL, VT_RECORD};
    const bool isArray = (type & VT_ARRAY) != 0;
    return isArray || std::ranges::find(types, type) != std::end(types);
}

TEST_F(HostileArgumentsTest, ReferenceToEveryType_IsFollowedOrRefused) {
    for (const Target& target : Targets()) {
        for (unsigned type = 0; type < allTypes && !HasFailure(); ++type) {
            if ((type & VT_BYREF) != 0 || type == VT_VARIANT) {
                continue;
            }
            SCOPED_TRACE(std::string(target.name) + " from a reference to type " + std::to_string(type));
            std::array<long long, 4> variable = {};
            VARIANT reference = ReferenceTo(static_cast<int>(type), variable.data());
            VARIANT value = ValueOf(type, 0);
            if (type == VT_RECORD) {
                V_BYREF(&value) = variable.data();
            }
            ExpectAsConverted(target, reference, value, !HasReferences(type));
            ExpectAsConverted(target, ReferenceTo(VT_VARIANT, &reference), value, !HasReferences(type));
        }
    }
}

TEST_F(HostileArgumentsTest, NullReferenceOfEveryType_IsRefused) {
    for (const Target& target : Targets()) {
        for (unsigned type = 0; type < allTypes && !HasFailure(); ++type) {
            if ((type & VT_BYREF) != 0 || type == VT_RECORD) { // a record's address is not read before it is used
                continue;
            }
            SCOPED_TRACE(std::string(target.name) + " from a null reference to type " + std::to_string(type));
            VARIANT reference = ReferenceTo(static_cast<int>(type), nullptr);
            ExpectAsConverted(target, reference, reference, true);
            ExpectAsConverted(target, ReferenceTo(VT_VARIANT, &reference), reference, true);
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Counts and null pointers

TEST_F(HostileArgumentsTest, NoParameters_AreRefusedByEveryMember) {
    for (const DispatchObject& object : OneOfEachClass()) {
        for (const auto& [member, flags] : MembersOf(object)) {
            EXPECT_HR(object.Raw()->Invoke(member, IID_NULL, english, flags, nullptr, nullptr, nullptr, nullptr),
                      E_INVALIDARG);
        }
    }
}

/// The arrays have one element, which must not be read.
TEST_F(HostileArgumentsTest, CountsThatNoMemoryHolds_AreRefusedByEveryMember) {
    VARIANT argument = {};
    DISPID name = DISPID_PROPERTYPUT;
    for (const DispatchObject& object : OneOfEachClass()) {
        for (const auto& [member, flags] : MembersOf(object)) {
            const HRESULT tooMany = member == 0x77777777 ? DISP_E_MEMBERNOTFOUND : DISP_E_BADPARAMCOUNT;
            for (const UINT count : {0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFFU}) {
                const auto invoke = [&, id = member, kind = flags](UINT arguments, UINT names) {
                    DISPPARAMS parameters = {&argument, &name, arguments, names};
                    return object.Raw()->Invoke(id, IID_NULL, english, kind, &parameters, nullptr, nullptr, nullptr);
                };
                EXPECT_HR(invoke(count, 0), tooMany) << member;
                EXPECT_HR(invoke(count, 1), tooMany) << member;
                EXPECT_HR(invoke(count, count), tooMany) << member;
                EXPECT_HR(invoke(0, count), E_INVALIDARG) << member;
                EXPECT_HR(invoke(1, count), E_INVALIDARG) << member;
            }
        }
    }
}

} // namespace
