// References as arguments of late-bound calls.

#include <array>
#include <bit>
#include <cstring>

#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "automation/nxtokenstringlist.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/localobject.h"
#include "tests/automation/objectlist.h"
#include "tests/support/bstr.h"

namespace {

using support::Answers;
using support::AtOddAddress;
using support::Bstr;
using support::CollectionId;
using support::CollectionOf;
using support::DispatchObject;
using support::english;
using support::Foreign;
using support::NewLateBound;
using support::noArgument;
using support::PutText;
using support::ReferenceTo;
using support::Reply;
using support::StringId;
using support::StringOf;
using support::TextOf;
using support::TokenStrings;
using support::Typed;
using support::Variant;

using NXDispatchReferencesTest = support::DispatchTest;

/// A record type with two numbers, as far as the platform needs it to copy and free a record.
class RecordOfTwo : public IRecordInfo {
  public:
    RecordOfTwo() = default;
    RecordOfTwo(const RecordOfTwo&) = delete;
    RecordOfTwo& operator=(const RecordOfTwo&) = delete;
    virtual ~RecordOfTwo() { EXPECT_EQ(m_references, 0) << "references to the type of a record"; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--m_references); }

    HRESULT STDMETHODCALLTYPE RecordInit(void* record) override {
        std::memset(record, 0, size);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE RecordClear(void*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE RecordCopy(void* from, void* to) override {
        std::memcpy(to, from, size);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSize(ULONG* bytes) override {
        *bytes = size;
        return S_OK;
    }
    void* STDMETHODCALLTYPE RecordCreate() override { return HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, size); }
    HRESULT STDMETHODCALLTYPE RecordCreateCopy(void* from, void** to) override {
        *to = RecordCreate();
        return *to != nullptr ? RecordCopy(from, *to) : E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE RecordDestroy(void* record) override {
        return HeapFree(GetProcessHeap(), 0, record) ? S_OK : E_UNEXPECTED;
    }

    HRESULT STDMETHODCALLTYPE GetGuid(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetName(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetField(void*, LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFieldNoCopy(void*, LPCOLESTR, VARIANT*, void**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutField(ULONG, void*, LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutFieldNoCopy(ULONG, void*, LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFieldNames(ULONG*, BSTR*) override { return E_NOTIMPL; }
    BOOL STDMETHODCALLTYPE IsMatchingType(IRecordInfo* other) override { return other == this ? TRUE : FALSE; }

  private:
    static constexpr ULONG size = 2 * sizeof(int);
    int m_references = 0;
};

struct ReferenceRow {
    const char* name;
    int type;
    long long bits;
    const wchar_t* text; ///< what NXString.Value becomes
};

constexpr ReferenceRow referenceRows[] = {
    {"I1", VT_I1, -5, L"-5"},
    {"UI1", VT_UI1, 200, L"200"},
    {"I2", VT_I2, -300, L"-300"},
    {"UI2", VT_UI2, 40000, L"40000"},
    {"I4", VT_I4, -70000, L"-70000"},
    {"UI4", VT_UI4, 3000000000, L"3000000000"},
    {"INT", VT_INT, -70000, L"-70000"},
    {"UINT", VT_UINT, 3000000000, L"3000000000"},
    {"I8", VT_I8, -5000000000, L"-5000000000"},
    {"UI8", VT_UI8, 5000000000, L"5000000000"},
    {"R4", VT_R4, std::bit_cast<int>(1.5F), L"1.5"},
    {"R8", VT_R8, std::bit_cast<long long>(0.1), L"0.1"},
    {"CY", VT_CY, 50000000012500, L"5000000001.25"},
    {"DATE", VT_DATE, std::bit_cast<long long>(36526.0), L"1/1/2000"},
    {"BOOL", VT_BOOL, -1, L"-1"},
};

/// Writes the Value of an NXString with references to a variable: of its type, and in a VARIANT, which may be
/// unaligned.
void ExpectReferencesAreFollowed(const char* name, int type, void* variable, const wchar_t* text) {
    const DispatchObject object = StringOf(L"old");
    VARIANT reference = ReferenceTo(type, variable);
    AtOddAddress<VARIANT> odd(reference);
    EXPECT_HR(PutText(object, reference), S_OK) << name;
    EXPECT_BSTR(TextOf(object), text) << name;
    for (VARIANT* const referred : {&reference, odd.Address()}) {
        const DispatchObject other = StringOf(L"old");
        EXPECT_HR(PutText(other, ReferenceTo(VT_VARIANT, referred)), S_OK) << name;
        EXPECT_BSTR(TextOf(other), text) << name;
    }
}

TEST_F(NXDispatchReferencesTest, Reference_ToAVariableOfEveryType_IsFollowed) {
    for (const ReferenceRow& row : referenceRows) {
        long long variable = row.bits;
        AtOddAddress<long long> odd(row.bits);
        ExpectReferencesAreFollowed(row.name, row.type, &variable, row.text);
        ExpectReferencesAreFollowed(row.name, row.type, odd.Address(), row.text);
    }
    const Bstr text(L"text");
    BSTR variable = text;
    AtOddAddress<BSTR> odd(variable);
    ExpectReferencesAreFollowed("BSTR", VT_BSTR, &variable, L"text");
    ExpectReferencesAreFollowed("BSTR", VT_BSTR, odd.Address(), L"text");
    EXPECT_BSTR(odd.Value(), L"text") << "unchanged";
}

TEST_F(NXDispatchReferencesTest, Reference_ToADecimal_IsFollowed) {
    DECIMAL number = {};
    number.Hi32 = 1; // 2^64 + 2
    number.Lo64 = 2;
    AtOddAddress<DECIMAL> odd(number);
    ExpectReferencesAreFollowed("DECIMAL", VT_DECIMAL, &number, L"18446744073709551618");
    ExpectReferencesAreFollowed("DECIMAL", VT_DECIMAL, odd.Address(), L"18446744073709551618");
}

TEST_F(NXDispatchReferencesTest, Reference_ToAnObject_IsFollowed) {
    Foreign object{L"text"};
    for (const int type : {VT_DISPATCH, VT_UNKNOWN}) {
        IDispatch* variable = &object;
        AtOddAddress<IDispatch*> odd(variable);
        const DispatchObject collection = CollectionOf(0);
        for (void* const address : {static_cast<void*>(&variable), static_cast<void*>(odd.Address())}) {
            Answers answers;
            EXPECT_HR(Call(collection.Raw(), CollectionId::Add, DISPATCH_METHOD, {ReferenceTo(type, address)}, answers),
                      S_OK);
        }
        EXPECT_EQ(object.references, 2u);
    }
    EXPECT_EQ(object.references, 0u);
}

TEST_F(NXDispatchReferencesTest, Reference_ToAnArray_IsFollowed) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_I4, 5, 3);
    AtOddAddress<SAFEARRAY*> odd(array);
    const DispatchObject collection = CollectionOf(0);
    Answers answers;
    EXPECT_HR(Call(collection.Raw(), CollectionId::Add, DISPATCH_METHOD, {ReferenceTo(VT_ARRAY | VT_I4, odd.Address())},
                   answers),
              S_OK);
    const Reply reply = collection.Get(L"Item", 1);
    EXPECT_EQ(reply.value.Type(), VT_ARRAY | VT_I4);
    EXPECT_NE(V_ARRAY(reply.value.Raw()), array) << "a copy";
    SafeArrayDestroy(array);
}

/// A record VARIANT holds its record's address with VT_BYREF and without, so there is nothing to follow.
TEST_F(NXDispatchReferencesTest, RecordByReference_IsCopied) {
    RecordOfTwo type;
    std::array<int, 2> record = {3, 4};
    const DispatchObject collection = CollectionOf(0);
    {
        Variant argument;
        V_VT(argument.Raw()) = VT_RECORD | VT_BYREF;
        V_RECORD(argument.Raw()) = record.data();
        V_RECORDINFO(argument.Raw()) = &type;
        EXPECT_HR(collection.Call(L"Add", argument).hr, S_OK);
    }
    record = {};
    const Reply reply = collection.Get(L"Item", 1);
    ASSERT_EQ(reply.value.Type(), VT_RECORD);
    const auto* const copy = static_cast<const int*>(V_RECORD(reply.value.Raw()));
    ASSERT_NE(copy, record.data());
    EXPECT_EQ(copy[0], 3);
    EXPECT_EQ(copy[1], 4);
}

TEST_F(NXDispatchReferencesTest, Reference_ToAVariant_IsFollowed) {
    Variant number(2);
    Variant text(L"text");
    const DispatchObject object = StringOf(L"abcdef");
    EXPECT_BSTR(object.Call(L"Left", Variant::To(number)).value.Text(), L"ab");
    EXPECT_HR(object.Put(L"Value", Variant::To(text)).hr, S_OK);
    EXPECT_BSTR(TextOf(object), L"text");
    EXPECT_BSTR(text.Text(), L"text") << "unchanged";
    const DispatchObject collection = CollectionOf(0);
    EXPECT_HR(collection.Call(L"Add", Variant::To(number)).hr, S_OK);
    number = Variant(3);
    EXPECT_EQ(collection.Get(L"Item", 1).value.Int(), 2) << "the value during the call";
}

struct BadReferenceRow {
    const char* name;
    int type;
    bool isNull;
};

constexpr BadReferenceRow badReferenceRows[] = {
    {"Null reference to a number", VT_I4, true},       {"Null reference to text", VT_BSTR, true},
    {"Null reference to a VARIANT", VT_VARIANT, true}, {"Null reference to an object", VT_DISPATCH, true},
    {"Null reference to a decimal", VT_DECIMAL, true}, {"Null reference to an array", VT_ARRAY | VT_I4, true},
    {"Reference to VT_EMPTY", VT_EMPTY, false},        {"Reference to VT_NULL", VT_NULL, false},
    {"Reference to an unknown type", 0x7F, false},
};

TEST_F(NXDispatchReferencesTest, Reference_ToNothing_IsAMismatch) {
    for (const BadReferenceRow& row : badReferenceRows) {
        long long variable[2] = {1, 1};
        VARIANT reference = ReferenceTo(row.type, row.isNull ? nullptr : variable);
        for (const VARIANT& argument : {reference, ReferenceTo(VT_VARIANT, &reference)}) {
            Answers answers;
            EXPECT_HR(Call(StringOf(L"abc").Raw(), StringId::Left, DISPATCH_METHOD, {argument}, answers),
                      DISP_E_TYPEMISMATCH)
                << row.name;
            EXPECT_EQ(answers.badArgument, 0u) << row.name;
            EXPECT_HR(Call(CollectionOf(0).Raw(), CollectionId::Add, DISPATCH_METHOD, {argument}, answers),
                      DISP_E_TYPEMISMATCH)
                << row.name;
            EXPECT_HR(Call(NewLateBound<CNXTokenStringList>().Raw(), TokenStrings::idAdd, DISPATCH_METHOD, {argument},
                           answers),
                      DISP_E_TYPEMISMATCH)
                << row.name;
        }
    }
}

TEST_F(NXDispatchReferencesTest, Reference_TooDeep_IsAMismatch) {
    Variant number(1);
    Variant reference = Variant::To(number);
    const Reply reply = StringOf(L"abc").Call(L"Mid", Variant::To(reference), 1);
    EXPECT_HR(reply.hr, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(reply.badArgument, 1u);
    EXPECT_HR(CollectionOf(0).Call(L"Add", Variant::To(reference)).hr, DISP_E_TYPEMISMATCH);
}

TEST_F(NXDispatchReferencesTest, Arguments_MayBeUnaligned) {
    const Variant one(1);
    const Variant three(L"3");
    AtOddAddress<std::array<VARIANT, 2>> arguments({*three.Raw(), *one.Raw()});
    DISPPARAMS parameters = {reinterpret_cast<VARIANT*>(arguments.Address()), nullptr, 2, 0};
    Variant result;
    EXPECT_HR(StringOf(L"abcdef").Raw()->Invoke(StringId::Mid, IID_NULL, english, DISPATCH_METHOD, &parameters,
                                                result.Raw(), nullptr, nullptr),
              S_OK);
    EXPECT_BSTR(result.Text(), L"bcd");
    UINT badArgument = noArgument;
    AtOddAddress<std::array<VARIANT, 2>> bad({*one.Raw(), *Typed(VT_NULL, 0).Raw()});
    parameters.rgvarg = reinterpret_cast<VARIANT*>(bad.Address());
    EXPECT_HR(StringOf(L"abcdef").Raw()->Invoke(StringId::Mid, IID_NULL, english, DISPATCH_METHOD, &parameters, nullptr,
                                                nullptr, &badArgument),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(badArgument, 1u);
}

TEST_F(NXDispatchReferencesTest, Names_MayBeUnaligned) {
    std::array<VARIANT, 2> arguments = {*Variant(1).Raw(), *Variant(2).Raw()};
    AtOddAddress<std::array<DISPID, 2>> names({0, 1});
    DISPPARAMS parameters = {arguments.data(), reinterpret_cast<DISPID*>(names.Address()), 2, 2};
    Variant result;
    EXPECT_HR(StringOf(L"abcdef").Raw()->Invoke(StringId::Mid, IID_NULL, english, DISPATCH_METHOD, &parameters,
                                                result.Raw(), nullptr, nullptr),
              S_OK);
    EXPECT_BSTR(result.Text(), L"bc");
}

} // namespace
