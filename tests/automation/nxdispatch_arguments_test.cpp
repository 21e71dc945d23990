// Conversions of the arguments of late-bound calls, and null BSTRs.

#include <bit>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxdispatch.h"
#include "automation/nxfilestream.h"
#include "automation/nxtokenstring.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/localobject.h"
#include "tests/automation/stackobject.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::Answers;
using support::Bstr;
using support::CollectionId;
using support::CollectionOf;
using support::DispatchObject;
using support::english;
using support::german;
using support::ListOf;
using support::New;
using support::NewLateBound;
using support::noArgument;
using support::Nothing;
using support::PutText;
using support::Reply;
using support::StringId;
using support::StringOf;
using support::TextOf;
using support::Typed;
using support::Variant;

constexpr WORD get = DISPATCH_PROPERTYGET;
constexpr WORD put = DISPATCH_PROPERTYPUT;

using NXDispatchArgumentsTest = support::DispatchTest;

/// A class whose members store their arguments.
class Receiver : public support::StackAutomationObject<IDispatch> {
  public:
    static constexpr DISPID Number = 1;
    static constexpr DISPID Text = 2;
    static constexpr DISPID Value = 3;

    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispidMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pdispparams,
                                     VARIANT* pvarResult, EXCEPINFO* pexcepinfo, UINT* puArgErr) override {
        static constexpr CNXMember members[] = {NXMethod<&Receiver::TakeNumber>(Number, L"Number", L"number"),
                                                NXMethod<&Receiver::TakeText>(Text, L"Text", L"text"),
                                                NXMethod<&Receiver::TakeValue>(Value, L"Value", L"value")};
        return NXInvoke(members, this, dispidMember, riid, lcid, wFlags, pdispparams, pvarResult, pexcepinfo, puArgErr);
    }
    HRESULT TakeNumber(int received) {
        number = received;
        return S_OK;
    }
    HRESULT TakeText(BSTR received) {
        text.assign(received, SysStringLen(received));
        return S_OK;
    }

    HRESULT TakeValue(CNXVariant&& received) {
        std::swap(static_cast<VARIANT&>(received), *value.Raw());
        return S_OK;
    }

    int number = 77;
    Variant value;
    std::wstring text = L"untouched";
};

// ---------------------------------------------------------------------------------------------------------------------
// Conversions

struct TextRow {
    const char* name;
    Variant value;
    LCID locale;
    const wchar_t* text; ///< null: the call fails with hr
    HRESULT hr = S_OK;
};

const TextRow textRows[] = {
    {"Text", L"text", english, L"text"},
    {"Empty text", L"", english, L""},
    {"Fraction in English", 1.5, english, L"1.5"},
    {"Fraction in German", 1.5, german, L"1,5"},
    {"Date in English", Typed(VT_DATE, std::bit_cast<long long>(36873.0)), english, L"12/13/2000"},
    {"Date in German", Typed(VT_DATE, std::bit_cast<long long>(36873.0)), german, L"13.12.2000"},
    {"Number", 42, english, L"42"},
    {"Short number", static_cast<short>(-3), english, L"-3"},
    {"Boolean without words", true, english, L"-1"},
    {"Empty", Variant(), english, L""},
    {"Null", Variant::Null(), english, nullptr, DISP_E_TYPEMISMATCH},
    {"No object", Nothing(), english, nullptr, DISP_E_TYPEMISMATCH},
    {"Array", Typed(VT_ARRAY | VT_I4, 0), english, nullptr, DISP_E_TYPEMISMATCH},
};

TEST_F(NXDispatchArgumentsTest, Value_BecomesTextByTheCallersLocale) {
    for (const TextRow& row : textRows) {
        const DispatchObject object = StringOf(L"old");
        const Reply reply = object.Invoke({.member = StringId::Value,
                                           .flags = put,
                                           .arguments = {row.value},
                                           .names = {DISPID_PROPERTYPUT},
                                           .locale = row.locale});
        EXPECT_HR(reply.hr, row.hr) << row.name;
        EXPECT_EQ(reply.badArgument, row.hr == S_OK ? noArgument : 0u) << row.name;
        EXPECT_BSTR(TextOf(object), row.text != nullptr ? row.text : L"old") << row.name;
    }
}

struct NumberRow {
    const char* name;
    Variant value;
    LCID locale;
    int number; ///< 0: the call fails with hr
    HRESULT hr = S_OK;
};

const NumberRow numberRows[] = {
    {"Number", 7, english, 7},
    {"Short number", static_cast<short>(7), english, 7},
    {"INT", Typed(VT_INT, 7), english, 7},
    {"UINT", Typed(VT_UINT, 7), english, 7},
    {"Byte", Typed(VT_UI1, 7), english, 7},
    {"64 bits", Typed(VT_I8, 7), english, 7},
    {"Fraction", 6.5, english, 6},
    {"Currency", Typed(VT_CY, 70000), english, 7},
    {"Text in English", L"6.6", english, 7},
    {"Text in German", L"6,6", german, 7},
    {"Thousands in English", L"0,007", english, 7},
    {"Thousands in German", L"0.007", german, 7},
    {"No object", Nothing(), english, 0, DISP_E_TYPEMISMATCH},
    {"Text that is no number", L"x", english, 0, DISP_E_TYPEMISMATCH},
    {"Empty text", L"", english, 0, DISP_E_TYPEMISMATCH},
    {"Null BSTR", Variant::NullText(), english, 0, DISP_E_TYPEMISMATCH},
    {"Null", Variant::Null(), english, 0, DISP_E_TYPEMISMATCH},
    {"Array", Typed(VT_ARRAY | VT_I4, 0), english, 0, DISP_E_TYPEMISMATCH},
    {"Large fraction", 1e300, english, 0, DISP_E_OVERFLOW},
    {"Large text", L"99999999999", english, 0, DISP_E_OVERFLOW},
    {"Large number of 64 bits", Typed(VT_I8, 0x100000007), english, 0, DISP_E_OVERFLOW},
};

TEST_F(NXDispatchArgumentsTest, Value_BecomesANumberByTheCallersLocale) {
    for (const NumberRow& row : numberRows) {
        const Reply ofInt =
            StringOf(L"0123456789").Invoke({.member = StringId::Left, .arguments = {row.value}, .locale = row.locale});
        const Reply ofLong = CollectionOf(9).Invoke(
            {.member = DISPID_VALUE, .flags = get, .arguments = {row.value}, .locale = row.locale});
        EXPECT_HR(ofInt.hr, row.hr) << row.name;
        EXPECT_HR(ofLong.hr, row.hr) << row.name;
        EXPECT_EQ(ofInt.badArgument, row.hr == S_OK ? noArgument : 0u) << row.name;
        if (row.hr == S_OK) {
            EXPECT_EQ(SysStringLen(ofInt.value.Text()), static_cast<UINT>(row.number)) << row.name;
            EXPECT_EQ(ofLong.value.Int(), row.number) << row.name;
        }
    }
}

TEST_F(NXDispatchArgumentsTest, Conversion_IsThePlatforms) {
    const Variant values[] = {Typed(VT_I1, -1),
                              Typed(VT_UI1, 255),
                              Typed(VT_UI2, 65535),
                              Typed(VT_UI4, 0xFFFFFFFF),
                              Typed(VT_UI8, 3),
                              Typed(VT_I4, 3),
                              Typed(VT_CY, 25000),
                              Typed(VT_CY, 15000),
                              Typed(VT_DATE, 0),
                              Typed(VT_ERROR, E_FAIL),
                              2.5,
                              3.5,
                              -2.5,
                              2147483647.5,
                              -2147483648.0,
                              L" 3 ",
                              L"&H3",
                              L"1e1",
                              L"3 ",
                              L"-2147483648",
                              L"2147483648",
                              L"True",
                              L"1.000.000,5",
                              L"1,000,000.5"};
    const auto wantedHr = [](HRESULT hr) { return SUCCEEDED(hr) || hr == DISP_E_OVERFLOW ? hr : DISP_E_TYPEMISMATCH; };
    for (const Variant& value : values) {
        for (const LCID locale : {english, german, 0x0411UL}) {
            Receiver receiver;
            const DispatchObject object(&receiver);
            Variant number;
            HRESULT hr = VariantChangeTypeEx(number.Raw(), value.Raw(), locale, 0, VT_I4);
            EXPECT_HR(object.Invoke({.member = Receiver::Number, .arguments = {value}, .locale = locale}).hr,
                      wantedHr(hr))
                << value.Type() << ", " << locale;
            EXPECT_EQ(receiver.number, hr == S_OK ? number.Int() : 77) << value.Type() << ", " << locale;

            Variant text(L"untouched");
            hr = VariantChangeTypeEx(text.Raw(), value.Raw(), locale, 0, VT_BSTR);
            EXPECT_HR(object.Invoke({.member = Receiver::Text, .arguments = {value}, .locale = locale}).hr,
                      wantedHr(hr))
                << value.Type() << ", " << locale;
            EXPECT_EQ(receiver.text, std::wstring_view(text.Text(), SysStringLen(text.Text())));
        }
    }
}

TEST_F(NXDispatchArgumentsTest, NegativeNumber_OfEveryType_StaysNegative) {
    for (const Variant& value : {Variant(-3), Variant(static_cast<short>(-3)), Typed(VT_INT, -3), Typed(VT_I1, -3),
                                 Typed(VT_I8, -3), Variant(-3.0)}) {
        Receiver receiver;
        EXPECT_HR(DispatchObject(&receiver).Call(Receiver::Number, value).hr, S_OK) << value.Type();
        EXPECT_EQ(receiver.number, -3) << value.Type();
    }
}

struct BooleanRow {
    const char* name;
    Variant value;
    VARIANT_BOOL boolean;
    HRESULT hr = S_OK;
};

const BooleanRow booleanRows[] = {
    {"True", true, VARIANT_TRUE},
    {"False", false, VARIANT_FALSE},
    {"Number", 5, VARIANT_TRUE},
    {"Zero", 0, VARIANT_FALSE},
    {"Text", L"True", VARIANT_TRUE},
    {"Empty", Variant(), VARIANT_FALSE},
    {"A boolean is taken as it is", Typed(VT_BOOL, 1), VARIANT_FALSE}, // MultiCharacter wants VARIANT_TRUE
    {"Text that is no boolean", L"perhaps", VARIANT_FALSE, DISP_E_TYPEMISMATCH},
};

TEST_F(NXDispatchArgumentsTest, Value_BecomesABoolean) {
    for (const BooleanRow& row : booleanRows) {
        const auto tokens = New<CNXTokenString>();
        EXPECT_HR(DispatchObject(tokens).Put(L"MultiCharacter", row.value).hr, row.hr) << row.name;
        VARIANT_BOOL boolean = 7;
        tokens->get_MultiCharacter(&boolean);
        EXPECT_EQ(boolean, row.boolean) << row.name;
    }
}

struct BadArgumentRow {
    const char* name;
    std::vector<Variant> arguments; ///< of Mid(nStart, nLength)
    std::vector<DISPID> names;
    HRESULT hr;
    UINT badArgument; ///< counted from the last one
};

const BadArgumentRow badArgumentRows[] = {
    {"First", {L"x", 1}, {}, DISP_E_TYPEMISMATCH, 1},
    {"Second", {1, L"x"}, {}, DISP_E_TYPEMISMATCH, 0},
    {"Both, another reason each", {1e300, L"x"}, {}, DISP_E_OVERFLOW, 1},
    {"Both, the other way round", {L"x", 1e300}, {}, DISP_E_TYPEMISMATCH, 1},
    {"Both, named in the other order", {L"x", 1e300}, {1, 0}, DISP_E_OVERFLOW, 0},
    {"First, named", {1, L"x"}, {1, 0}, DISP_E_TYPEMISMATCH, 0},
};

TEST_F(NXDispatchArgumentsTest, FirstBadArgument_IsReported) {
    for (const BadArgumentRow& row : badArgumentRows) {
        const Reply reply =
            StringOf(L"abcdef").Invoke({.member = StringId::Mid, .arguments = row.arguments, .names = row.names});
        EXPECT_HR(reply.hr, row.hr) << row.name;
        EXPECT_EQ(reply.badArgument, row.badArgument) << row.name;
    }
}

TEST_F(NXDispatchArgumentsTest, ValueOfAnInvalidType_IsAMismatch) {
    const VARIANT invalid = *Typed(0x7F, 0).Raw();
    const VARIANT one = *Variant(1).Raw();
    Answers answers;
    EXPECT_HR(Call(StringOf(L"abc").Raw(), StringId::Mid, DISPATCH_METHOD, {one, invalid}, answers),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(answers.badArgument, 1u);
    EXPECT_HR(Call(CollectionOf(0).Raw(), CollectionId::Add, DISPATCH_METHOD, {invalid}, answers), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(answers.badArgument, 0u);
    EXPECT_HR(PutText(StringOf(L"abc"), invalid), DISP_E_TYPEMISMATCH);
}

TEST_F(NXDispatchArgumentsTest, BadArgument_BeforeOneLeftOut_IsReportedFirst) {
    const DispatchObject object = StringOf(L"abcdef");
    EXPECT_HR(object.Call(L"Mid", L"x", Variant::Missing()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Call(L"Mid", Variant::Missing(), L"x").hr, DISP_E_PARAMNOTOPTIONAL);
}

// ---------------------------------------------------------------------------------------------------------------------
// Null BSTRs

TEST_F(NXDispatchArgumentsTest, NullText_StaysNullInBothDirections) {
    BSTR nothing = nullptr;
    Variant variable = Variant::NullText();
    for (const Variant& null : {Variant::NullText(), Variant::To(nothing), Variant::To(variable)}) {
        const DispatchObject object = StringOf(L"old");
        EXPECT_HR(object.Put(L"Value", null).hr, S_OK);
        EXPECT_NULL_BSTR(TextOf(object));
        const Reply reply = object.Get(L"Value");
        EXPECT_HR(reply.hr, S_OK);
        EXPECT_NULL_BSTR(reply.value.Text()); // throws unless it is a VT_BSTR
    }
}

TEST_F(NXDispatchArgumentsTest, EmptyText_StaysEmptyInBothDirections) {
    const Bstr empty(L"");
    BSTR reference = empty;
    Variant variable(L"");
    for (const Variant& text : {Variant(L""), Variant::To(reference), Variant::To(variable)}) {
        const DispatchObject object = StringOf(L"old");
        EXPECT_HR(object.Put(L"Value", text).hr, S_OK);
        EXPECT_BSTR(TextOf(object), L"");
        EXPECT_BSTR(object.Get(L"Value").value.Text(), L"");
    }
}

TEST_F(NXDispatchArgumentsTest, NullText_StaysNullInEveryClass) {
    const DispatchObject list = ListOf({L"zero"});
    EXPECT_HR(list.Put(L"Item", 0, Variant::NullText()).hr, S_OK);
    EXPECT_NULL_BSTR(list.Get(L"Item", 0).value.Text());
    EXPECT_NULL_BSTR(list.Get(L"New").value.Text());
    const DispatchObject file = NewLateBound<CNXFileStream>();
    EXPECT_NULL_BSTR(file.Call(L"ReadNextLine").value.Text());
    EXPECT_HR(file.Call(L"Open", L"", false).hr, S_OK);
    EXPECT_BSTR(file.Get(L"fileName").value.Text(), L"");
    EXPECT_HR(file.Call(L"Open", Variant::NullText(), false).hr, S_OK);
    EXPECT_NULL_BSTR(file.Get(L"fileName").value.Text());
    EXPECT_NULL_BSTR(NewLateBound<CNXTokenString>().Get(L"Separator").value.Text());
    EXPECT_NULL_BSTR(StringOf(L"abc").Call(L"Right", 9).value.Text());
}

TEST_F(NXDispatchArgumentsTest, NullText_InAVariant_StaysNull) {
    BSTR nothing = nullptr;
    Variant variable = Variant::NullText();
    for (const Variant& null : {Variant::NullText(), Variant::To(nothing), Variant::To(variable)}) {
        Receiver receiver;
        EXPECT_HR(DispatchObject(&receiver).Call(Receiver::Value, null).hr, S_OK);
        EXPECT_NULL_BSTR(receiver.value.Text());
    }
}

TEST_F(NXDispatchArgumentsTest, Text_MayContainNulInBothDirections) {
    const DispatchObject collection = CollectionOf(0);
    EXPECT_HR(collection.Call(L"Add", L"a\0b"sv).hr, S_OK);
    EXPECT_BSTR(collection.Get(L"Item", 1).value.Text(), L"a\0b"sv);
}

} // namespace
