// NXString late-bound: names, arguments, flags, and failures.

#include <climits>
#include <initializer_list>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::Bstr;
using support::Create;
using support::DispatchObject;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::IsText;
using support::Reply;
using support::Require;
using support::String;
using support::StringId;
using support::Variant;

class NXStringLateBoundTest : public support::ClassTest<String> {
  protected:
    static DispatchObject NewString(const wchar_t* value) {
        DispatchObject made = Create(CLSID_NXString);
        Require(made.Put(L"Value", value).hr, "put Value");
        return made;
    }
    static Bstr ValueOf(const DispatchObject& object) {
        Bstr value;
        Require(object.As<INXString>()->get_Value(value.Out()), "get Value");
        return value;
    }

    const DispatchObject text = NewString(L"abcdef");
};

// Names and type information

TEST_F(NXStringLateBoundTest, GetIDsOfNames_KnowsEveryMemberInAnyCase) {
    const struct {
        DISPID id;
        const wchar_t* spellings[3];
    } members[] = {
        {StringId::TrimLeft, {L"TrimLeft", L"trimleft", L"TRIMLEFT"}},
        {StringId::TrimRight, {L"TrimRight", L"trimright", L"TRIMRIGHT"}},
        {StringId::Trim, {L"Trim", L"trim", L"tRIM"}},
        {StringId::Left, {L"Left", L"left", L"LEFT"}},
        {StringId::Right, {L"Right", L"right", L"RIGHT"}},
        {StringId::Mid, {L"Mid", L"mid", L"MID"}},
        {StringId::Clear, {L"Clear", L"clear", L"CLEAR"}},
        {StringId::Value, {L"Value", L"value", L"VALUE"}},
        {StringId::Length, {L"Length", L"length", L"lENGTH"}},
    };
    for (const auto& [id, spellings] : members) {
        for (const wchar_t* const spelling : spellings) {
            auto* name = const_cast<LPOLESTR>(spelling);
            for (const LCID locale : {0x0409u, 0x0407u, 0x0411u, 0u}) {
                DISPID found = 0;
                EXPECT_HR(text.Raw()->GetIDsOfNames(IID_NULL, &name, 1, locale, &found), S_OK);
                EXPECT_EQ(found, id) << support::Printed(spelling) << " " << locale;
            }
        }
    }
}

TEST_F(NXStringLateBoundTest, GetIDsOfNames_UnknownMember) {
    for (const wchar_t* const unknown : {L"Reverse", L"", L"Trim ", L"get_Value", L"_NewEnum"}) {
        SCOPED_TRACE(support::Printed(unknown));
        LPOLESTR names[] = {const_cast<LPOLESTR>(unknown), const_cast<LPOLESTR>(L"nStart")};
        DISPID ids[] = {0, 0};
        EXPECT_HR(text.Raw()->GetIDsOfNames(IID_NULL, names, 2, LOCALE_USER_DEFAULT, ids), DISP_E_UNKNOWNNAME);
        EXPECT_EQ(ids[0], DISPID_UNKNOWN);
        EXPECT_EQ(ids[1], DISPID_UNKNOWN);
    }
}

TEST_F(NXStringLateBoundTest, GetIDsOfNames_KnowsParameters) {
    LPOLESTR names[] = {const_cast<LPOLESTR>(L"mid"), const_cast<LPOLESTR>(L"NLENGTH"),
                        const_cast<LPOLESTR>(L"nStart")};
    DISPID ids[] = {-9, -9, -9};
    EXPECT_HR(text.Raw()->GetIDsOfNames(IID_NULL, names, 3, LOCALE_USER_DEFAULT, ids), S_OK);
    EXPECT_EQ(ids[0], StringId::Mid);
    EXPECT_EQ(ids[1], 1);
    EXPECT_EQ(ids[2], 0);
}

TEST_F(NXStringLateBoundTest, GetIDsOfNames_UnknownParameter) {
    LPOLESTR names[] = {const_cast<LPOLESTR>(L"Mid"), const_cast<LPOLESTR>(L"nStart"), const_cast<LPOLESTR>(L"nStep")};
    DISPID ids[] = {-9, -9, -9};
    EXPECT_HR(text.Raw()->GetIDsOfNames(IID_NULL, names, 3, LOCALE_USER_DEFAULT, ids), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(ids[0], StringId::Mid);
    EXPECT_EQ(ids[1], 0);
    EXPECT_EQ(ids[2], DISPID_UNKNOWN);
}

TEST_F(NXStringLateBoundTest, GetTypeInfo_DescribesTheInterfaceInAnyLocale) {
    UINT count = 0;
    EXPECT_HR(text.Raw()->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    for (const LCID locale : {0x0409u, 0x0407u, 0x0411u, 0u}) {
        SCOPED_TRACE(locale);
        CComPtr<ITypeInfo> info;
        ASSERT_HR(text.Raw()->GetTypeInfo(0, locale, &info), S_OK);
        TYPEATTR* attributes = nullptr;
        ASSERT_HR(info->GetTypeAttr(&attributes), S_OK);
        EXPECT_TRUE(IsEqualGUID(attributes->guid, IID_INXString));
        info->ReleaseTypeAttr(attributes);
    }
}

TEST_F(NXStringLateBoundTest, GetTypeInfo_HasOnlyIndex0) {
    for (const UINT index : {1u, 2u, UINT_MAX}) {
        auto* info = reinterpret_cast<ITypeInfo*>(1);
        EXPECT_HR(text.Raw()->GetTypeInfo(index, LOCALE_USER_DEFAULT, &info), DISP_E_BADINDEX);
        EXPECT_EQ(info, nullptr);
    }
    EXPECT_HR(text.Raw()->GetTypeInfo(0, LOCALE_USER_DEFAULT, nullptr), E_POINTER);
    EXPECT_HR(text.Raw()->GetTypeInfoCount(nullptr), E_POINTER);
}

TEST_F(NXStringLateBoundTest, Members_AreReachedByDispid) {
    EXPECT_BSTR(text.Call(StringId::Left, 2).value.Text(), L"ab");
    EXPECT_BSTR(text.Call(StringId::Right, 2).value.Text(), L"ef");
    EXPECT_BSTR(text.Call(StringId::Mid, 2, 2).value.Text(), L"cd");
    EXPECT_BSTR(text.Get(StringId::Value).value.Text(), L"abcdef");
    EXPECT_EQ(text.Get(StringId::Length).value.Int(), 6);
    EXPECT_HR(text.Put(StringId::Value, L"  abc   ").hr, S_OK);
    EXPECT_EQ(text.Call(StringId::TrimLeft).value.Int(), 2);
    EXPECT_EQ(text.Call(StringId::TrimRight).value.Int(), 3);
    EXPECT_EQ(text.Call(StringId::Trim).value.Int(), 0);
    EXPECT_BSTR(ValueOf(text), L"abc");
    EXPECT_HR(text.Call(StringId::Clear).hr, S_OK);
    EXPECT_NULL_BSTR(ValueOf(text));
}

TEST_F(NXStringLateBoundTest, Results_HaveTheMembersTypes) {
    EXPECT_EQ(text.Get(L"Value").value.Type(), VT_BSTR);
    EXPECT_EQ(text.Call(L"Left", 1).value.Type(), VT_BSTR);
    EXPECT_EQ(text.Get(L"Length").value.Type(), VT_I4);
    EXPECT_EQ(text.Call(L"Clear").value.Type(), VT_EMPTY);
}

TEST_F(NXStringLateBoundTest, BothBindings_ReachTheSameText) {
    const DispatchObject lateBound = Create(CLSID_NXString);
    const CComPtr<INXString> vtable = lateBound.As<INXString>();
    vtable->put_Value(Bstr(L"one"));
    EXPECT_BSTR(lateBound.Get(L"Value").value.Text(), L"one");
    lateBound.Put(L"Value", L"three");
    long length = 0;
    vtable->get_Length(&length);
    EXPECT_EQ(length, 5);
}

// Arguments that script engines pass

struct ConvertedRow {
    const char* name;
    const wchar_t* member;
    std::vector<Variant> arguments;
    const wchar_t* result; ///< null: a null BSTR
};

const ConvertedRow convertedRows[] = {
    {"VT_I2", L"Left", {short{3}}, L"abc"},
    {"Whole double", L"Left", {3.0}, L"abc"},
    {"Double, rounded", L"Left", {2.6}, L"abc"},
    {"Text", L"Left", {L"3"}, L"abc"},
    {"Text with blanks", L"Left", {L" 3 "}, L"abc"},
    {"True, which is -1", L"Right", {true}, nullptr},
    {"VT_EMPTY, which is 0", L"Left", {Variant()}, L""},
    {"Text and double", L"Mid", {L"1", 2.0}, L"bc"},
};

TEST_F(NXStringLateBoundTest, Arguments_AreConverted) {
    for (const ConvertedRow& row : convertedRows) {
        SCOPED_TRACE(row.name);
        Invocation call = {.arguments = row.arguments};
        ASSERT_HR(support::Member(row.member).Resolve(text.Raw(), call.member), S_OK);
        EXPECT_TRUE(IsText(text.Invoke(call).value.Text(), row.result));
    }
}

struct ConvertedValueRow {
    const char* name;
    Variant written;
    const wchar_t* value; ///< null: a null BSTR
};

const ConvertedValueRow convertedValueRows[] = {
    {"VT_I4", 42, L"42"},
    {"VT_I2", short{-7}, L"-7"},
    {"VT_EMPTY", Variant(), L""},
    {"Null BSTR", Variant::NullText(), nullptr},
};

TEST_F(NXStringLateBoundTest, Value_Written_IsConvertedToText) {
    for (const ConvertedValueRow& row : convertedValueRows) {
        SCOPED_TRACE(row.name);
        EXPECT_HR(text.Put(L"Value", row.written).hr, S_OK);
        EXPECT_TRUE(IsText(ValueOf(text), row.value));
    }
}

TEST_F(NXStringLateBoundTest, Arguments_ByReference) {
    long length = 3;
    short start = 1;
    EXPECT_BSTR(text.Call(L"Left", Variant::To(length)).value.Text(), L"abc");
    EXPECT_BSTR(text.Call(L"Mid", Variant::To(start), Variant::To(length)).value.Text(), L"bcd");
    Variant inVariant(2);
    EXPECT_BSTR(text.Call(L"Right", Variant::To(inVariant)).value.Text(), L"ef");
    Variant textInVariant(L"2");
    EXPECT_BSTR(text.Call(L"Right", Variant::To(textInVariant)).value.Text(), L"ef");
    EXPECT_EQ(length, 3);
    EXPECT_EQ(start, 1);
    EXPECT_EQ(inVariant.Int(), 2);
    EXPECT_BSTR(textInVariant.Text(), L"2");
}

TEST_F(NXStringLateBoundTest, Value_ByReference_BelongsToTheCaller) {
    const Bstr written(L"new");
    BSTR variable = written;
    EXPECT_HR(text.Put(L"Value", Variant::To(variable)).hr, S_OK);
    EXPECT_BSTR(ValueOf(text), L"new");
    EXPECT_EQ(variable, static_cast<BSTR>(written));
    EXPECT_BSTR(written, L"new");
    Variant inVariant(L"newer");
    EXPECT_HR(text.Put(L"Value", Variant::To(inVariant)).hr, S_OK);
    EXPECT_BSTR(ValueOf(text), L"newer");
    EXPECT_BSTR(inVariant.Text(), L"newer");
}

TEST_F(NXStringLateBoundTest, Arguments_ByName) {
    constexpr DISPID nStart = 0;
    constexpr DISPID nLength = 1;
    const Reply bothNamed = text.Invoke({.member = StringId::Mid, .arguments = {3, 1}, .names = {nLength, nStart}});
    EXPECT_HR(bothNamed.hr, S_OK);
    EXPECT_BSTR(bothNamed.value.Text(), L"bcd");
    const Reply lastNamed = text.Invoke({.member = StringId::Mid, .arguments = {1, 3}, .names = {nLength}});
    EXPECT_HR(lastNamed.hr, S_OK);
    EXPECT_BSTR(lastNamed.value.Text(), L"bcd");
}

struct RefusedRow {
    const char* name;
    const wchar_t* member;
    WORD flags;
    std::vector<Variant> arguments;
    HRESULT hr;
};

const RefusedRow refusedRows[] = {
    {"Left, too many", L"Left", DISPATCH_METHOD, {1, 2}, DISP_E_BADPARAMCOUNT},
    {"Mid, too many", L"Mid", DISPATCH_METHOD, {1, 2, 3}, DISP_E_BADPARAMCOUNT},
    {"Trim, too many", L"Trim", DISPATCH_METHOD, {1}, DISP_E_BADPARAMCOUNT},
    {"Clear, which takes none", L"Clear", DISPATCH_METHOD, {1}, DISP_E_BADPARAMCOUNT},
    {"Write of Value, too many", L"Value", DISPATCH_PROPERTYPUT, {1, L"new"}, DISP_E_BADPARAMCOUNT},
    {"Left, too few", L"Left", DISPATCH_METHOD, {}, DISP_E_BADPARAMCOUNT},
    {"Mid, none", L"Mid", DISPATCH_METHOD, {}, DISP_E_BADPARAMCOUNT},
    {"Mid, too few", L"Mid", DISPATCH_METHOD, {1}, DISP_E_BADPARAMCOUNT},
    {"Left, too large for an int", L"Left", DISPATCH_METHOD, {3e9}, DISP_E_OVERFLOW},
    {"Left, text that is no number", L"Left", DISPATCH_METHOD, {L"x"}, DISP_E_TYPEMISMATCH},
    {"Mid, text that is no number, second", L"Mid", DISPATCH_METHOD, {1, L"x"}, DISP_E_TYPEMISMATCH},
    {"Mid, text that is no number, first", L"Mid", DISPATCH_METHOD, {L"x", 1}, DISP_E_TYPEMISMATCH},
    {"Left, VT_NULL", L"Left", DISPATCH_METHOD, {Variant::Null()}, DISP_E_TYPEMISMATCH},
    {"Mid, VT_NULL, second", L"Mid", DISPATCH_METHOD, {1, Variant::Null()}, DISP_E_TYPEMISMATCH},
    {"Mid, VT_NULL, first", L"Mid", DISPATCH_METHOD, {Variant::Null(), 1}, DISP_E_TYPEMISMATCH},
    {"Write of Value, VT_NULL", L"Value", DISPATCH_PROPERTYPUT, {Variant::Null()}, DISP_E_TYPEMISMATCH},
};

TEST_F(NXStringLateBoundTest, Arguments_ThatDoNotFit_AreRefusedAndChangeNothing) {
    for (const RefusedRow& row : refusedRows) {
        SCOPED_TRACE(row.name);
        Invocation call = {.flags = row.flags, .arguments = row.arguments};
        if (row.flags == DISPATCH_PROPERTYPUT) {
            call.names = {DISPID_PROPERTYPUT};
        }
        ASSERT_HR(support::Member(row.member).Resolve(text.Raw(), call.member), S_OK);
        EXPECT_HR(text.Invoke(call).hr, row.hr);
        EXPECT_BSTR(ValueOf(text), L"abcdef");
    }
}

TEST_F(NXStringLateBoundTest, Arguments_ObjectWithoutADefaultProperty_DoesNotFit) {
    EXPECT_HR(text.Call(L"Left", text.Raw()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(text.Call(L"Mid", 1, text.Raw()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(text.Call(L"Mid", text.Raw(), 1).hr, DISP_E_TYPEMISMATCH);
}

TEST_F(NXStringLateBoundTest, Arguments_WrongInOtherWays_AreRefused) {
    EXPECT_TRUE(FAILED(text.Get(L"Value", 1).hr)) << "an index";
    EXPECT_TRUE(FAILED(text.Get(L"Length", 1).hr)) << "an index";
    EXPECT_TRUE(FAILED(text.Call(L"Mid", Variant::Missing(), 1).hr)) << "an argument left out";
    EXPECT_TRUE(FAILED(text.Invoke({.member = StringId::Left, .arguments = {3}, .names = {7}}).hr))
        << "an unknown name";
    EXPECT_TRUE(FAILED(text.Invoke({.member = StringId::Value, .flags = DISPATCH_PROPERTYPUT}).hr))
        << "nothing to write";
    EXPECT_BSTR(ValueOf(text), L"abcdef");
}

// Members that do not exist, or not in this kind

TEST_F(NXStringLateBoundTest, UnknownDispid) {
    for (const DISPID unknown :
         std::initializer_list<DISPID>{DISPID_VALUE, DISPID_NEWENUM, DISPID_UNKNOWN, 0x60020008, 0x6002000A, 1}) {
        SCOPED_TRACE(unknown);
        EXPECT_HR(text.Call(unknown).hr, DISP_E_MEMBERNOTFOUND);
        EXPECT_HR(text.Get(unknown).hr, DISP_E_MEMBERNOTFOUND);
        EXPECT_HR(text.Put(unknown, 1).hr, DISP_E_MEMBERNOTFOUND);
    }
}

TEST_F(NXStringLateBoundTest, UnknownName) {
    EXPECT_HR(text.Call(L"Reverse").hr, DISP_E_UNKNOWNNAME);
}

TEST_F(NXStringLateBoundTest, Length_CannotBeWritten) {
    EXPECT_HR(text.Put(L"Length", 3).hr, DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(text.Get(L"Length").value.Int(), 6);
}

TEST_F(NXStringLateBoundTest, Methods_CannotBeWritten) {
    EXPECT_HR(text.Put(L"Trim", 3).hr, DISP_E_MEMBERNOTFOUND);
}

TEST_F(NXStringLateBoundTest, Value_WrittenByReference_IsWritten) {
    const Invocation call = {.member = StringId::Value,
                             .flags = DISPATCH_PROPERTYPUTREF,
                             .arguments = {L"new"},
                             .names = {DISPID_PROPERTYPUT}};
    EXPECT_HR(text.Invoke(call).hr, S_OK);
    EXPECT_BSTR(ValueOf(text), L"new");
}

// Flags

TEST_F(NXStringLateBoundTest, Methods_CalledWithBothFlags_AreCalled) {
    const Reply reply =
        text.Invoke({.member = StringId::Left, .flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET, .arguments = {2}});
    EXPECT_HR(reply.hr, S_OK);
    EXPECT_BSTR(reply.value.Text(), L"ab");
}

TEST_F(NXStringLateBoundTest, Properties_CalledWithBothFlags_AreRead) {
    const Reply reply = text.Invoke({.member = StringId::Value, .flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET});
    EXPECT_HR(reply.hr, S_OK);
    EXPECT_BSTR(reply.value.Text(), L"abcdef");
}

TEST_F(NXStringLateBoundTest, Properties_CalledAsMethods_AreRead) {
    EXPECT_BSTR(text.Call(L"Value").value.Text(), L"abcdef");
    EXPECT_EQ(text.Call(L"Length").value.Int(), 6);
    EXPECT_HR(text.Invoke({.member = StringId::Value, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(text.Invoke({.member = StringId::Length, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXStringLateBoundTest, Methods_ReadAsProperties_AreNotFound) {
    EXPECT_HR(text.Get(L"Clear").hr, DISP_E_MEMBERNOTFOUND);
    EXPECT_BSTR(ValueOf(text), L"abcdef");
}

TEST_F(NXStringLateBoundTest, Value_WrittenWithoutNamingTheNewValue_IsRefused) {
    const Invocation call = {.member = StringId::Value, .flags = DISPATCH_PROPERTYPUT, .arguments = {L"new"}};
    EXPECT_HR(text.Invoke(call).hr, DISP_E_PARAMNOTFOUND);
    EXPECT_BSTR(ValueOf(text), L"abcdef");
}

// Results that the caller does not want

TEST_F(NXStringLateBoundTest, Result_MayBeNull) {
    EXPECT_HR(text.Invoke({.member = StringId::Left, .arguments = {2}, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(text.Invoke({.member = StringId::Trim, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(text.Invoke({.member = StringId::Value, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXStringLateBoundTest, ExceptionAndArgumentError_MayBeNull) {
    EXPECT_HR(text.Invoke({.member = StringId::Left, .arguments = {2}, .wantsDetails = false}).hr, S_OK);
    EXPECT_HR(text.Invoke({.member = StringId::Left, .arguments = {L"x"}, .wantsDetails = false}).hr,
              DISP_E_TYPEMISMATCH);
    EXPECT_HR(text.Invoke({.member = DISPID_VALUE, .wantsValue = false, .wantsDetails = false}).hr,
              DISP_E_MEMBERNOTFOUND);
}

TEST_F(NXStringLateBoundTest, Locale_ChangesNothing) {
    for (const LCID locale : {0x0409u, 0x0407u, 0x0411u, 0u}) {
        SCOPED_TRACE(locale);
        const Reply reply = text.Invoke({.member = StringId::Left, .arguments = {L"3"}, .locale = locale});
        EXPECT_HR(reply.hr, S_OK);
        EXPECT_BSTR(reply.value.Text(), L"abc");
    }
}

// Out of memory

/// A late-bound call during which memory runs out, and the values that the object may have afterwards.
struct LateBoundFailure {
    const char* name;
    Invocation call;
    std::vector<const wchar_t*> valuesAfterwards; ///< null for the null string
};

class NXStringOutOfMemoryTest : public NXStringLateBoundTest {
  protected:
    /// Makes each allocation of each member fail.
    static void TestAllMembers(bool wantsValue) {
        LateBoundFailure failures[] = {
            {"Left", {.member = StringId::Left, .arguments = {2}}, {L" abc "}},
            {"Right", {.member = StringId::Right, .arguments = {2}}, {L" abc "}},
            {"Mid", {.member = StringId::Mid, .arguments = {1, 2}}, {L" abc "}},
            {"TrimLeft", {.member = StringId::TrimLeft}, {L" abc "}},
            {"TrimRight", {.member = StringId::TrimRight}, {L" abc "}},
            {"Trim", {.member = StringId::Trim}, {L" abc ", L"abc "}},
            {"get Value", {.member = StringId::Value, .flags = DISPATCH_PROPERTYGET}, {L" abc "}},
            {"put Value",
             {.member = StringId::Value,
              .flags = DISPATCH_PROPERTYPUT,
              .arguments = {L"new"},
              .names = {DISPID_PROPERTYPUT}},
             {L" abc ", nullptr}},
        };
        for (LateBoundFailure& failure : failures) {
            SCOPED_TRACE(failure.name);
            failure.call.wantsValue = wantsValue;
            const auto call = [&](const DispatchObject& object) { return object.Invoke(failure.call).Failure(); };
            const auto check = [&](const DispatchObject& object) {
                EXPECT_TRUE(IsOneOf(failure.valuesAfterwards, ValueOf(object)));
                EXPECT_HR(call(object), S_OK) << "with memory again";
            };
            ForEachAllocationFailure([] { return NewString(L" abc "); }, call, check);
        }
    }

  private:
    static ::testing::AssertionResult IsOneOf(const std::vector<const wchar_t*>& allowed, const Bstr& value) {
        for (const wchar_t* const text : allowed) {
            if (text == nullptr ? value == nullptr : support::IsBstr("", "", value, text)) {
                return ::testing::AssertionSuccess();
            }
        }
        return ::testing::AssertionFailure()
               << "The value is " << (value == nullptr ? "null" : support::Printed(static_cast<BSTR>(value)));
    }
};

TEST_F(NXStringOutOfMemoryTest, IsAnHresult) {
    TestAllMembers(true);
}

TEST_F(NXStringOutOfMemoryTest, IsAnHresult_WithoutAResult) {
    TestAllMembers(false);
}

TEST_F(NXStringOutOfMemoryTest, IsAnHresult_WithoutAnException) {
    const Invocation trim = {.member = StringId::Trim, .wantsValue = false, .wantsDetails = false};
    ForEachAllocationFailure([] { return NewString(L" abc "); },
                             [&](const DispatchObject& object) {
                                 const HRESULT hr = object.Invoke(trim).hr;
                                 return hr == DISP_E_EXCEPTION ? E_OUTOFMEMORY : hr;
                             },
                             [&](const DispatchObject& object) { EXPECT_HR(object.Invoke(trim).hr, S_OK); });
}

} // namespace
