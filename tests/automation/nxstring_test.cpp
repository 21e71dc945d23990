// NXString, the object in the registered DLL: every member through the vtable and late-bound, then what is special to
// either way to call.

#include <climits>
#include <cstddef>
#include <cwctype>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <windows.h>

#include <comdef.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <ocidl.h>

#include "tests/automation/dispatch.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using namespace std::string_view_literals;
using support::Bstr;
using support::CountRequests;
using support::Create;
using support::CreateInstance;
using support::DispatchObject;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::Reply;
using support::Require;
using support::Variant;

// The members' DISPIDs, which compiled scripts contain.
constexpr DISPID idTrimLeft = 0x60020000;
constexpr DISPID idTrimRight = 0x60020001;
constexpr DISPID idTrim = 0x60020002;
constexpr DISPID idLeft = 0x60020003;
constexpr DISPID idRight = 0x60020004;
constexpr DISPID idMid = 0x60020005;
constexpr DISPID idClear = 0x60020006;
constexpr DISPID idValue = 0x60020007;
constexpr DISPID idLength = 0x60020009;

HMODULE LoadedDll() {
    return GetModuleHandleW(L"nuvolex.dll");
}

bool DllHoldsObjects() {
    const auto canUnloadNow = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(LoadedDll(), "DllCanUnloadNow")));
    return canUnloadNow() != S_OK;
}

/// Has the DLL's allocations followed, and lets happen what happens only once in a process (the type library is read,
/// the first exception sets up the run-time library, and so on), so that tests can count.
void WarmUp() {
    const DispatchObject text = Create(CLSID_NXString);
    support::FollowAllocations(LoadedDll());
    Require(text.Put(L"Value", L"x").hr, "put Value");
    CComPtr<ITypeInfo> info;
    static_cast<void>(text.Raw()->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info));
    static_cast<void>(text.Call(L"Mid", 9, 9)); // makes the shared null string
    SCOPED_TRACE("the first trace of the process");
    const Invocation left = {.member = idLeft, .arguments = {1}};
    const support::AllocationFault fault(1);
    static_cast<void>(text.Invoke(left));
}

// ---------------------------------------------------------------------------------------------------------------------
// Both ways to call

/// An NXString whose members are plain functions. A call that does not succeed throws.
class StringClient {
  public:
    StringClient() = default;
    StringClient(const StringClient&) = delete;
    StringClient& operator=(const StringClient&) = delete;
    virtual ~StringClient() = default;

    virtual int TrimLeft() = 0;
    virtual int TrimRight() = 0;
    virtual int Trim() = 0;
    virtual Bstr Left(int length) = 0;
    virtual Bstr Right(int length) = 0;
    virtual Bstr Mid(int start, int length) = 0;
    virtual void Clear() = 0;
    virtual Bstr Value() = 0;
    virtual void SetValue(BSTR value) = 0;
    virtual long Length() = 0;

    void SetValue(const wchar_t* value) { SetValue(Bstr(value)); }
    void SetValue(const Bstr& value) { SetValue(static_cast<BSTR>(value)); }
    void SetNullValue() { SetValue(static_cast<BSTR>(nullptr)); }
};

class VtableClient : public StringClient {
  public:
    int TrimLeft() override { return Result<int>(&INXString::TrimLeft); }
    int TrimRight() override { return Result<int>(&INXString::TrimRight); }
    int Trim() override { return Result<int>(&INXString::Trim); }
    Bstr Left(int length) override { return Bstr(Result<BSTR>(&INXString::Left, length)); }
    Bstr Right(int length) override { return Bstr(Result<BSTR>(&INXString::Right, length)); }
    Bstr Mid(int start, int length) override { return Bstr(Result<BSTR>(&INXString::Mid, start, length)); }
    void Clear() override { Require(m_text->Clear(), "Clear"); }
    Bstr Value() override { return Bstr(Result<BSTR>(&INXString::get_Value)); }
    void SetValue(BSTR value) override { Require(m_text->put_Value(value), "put Value"); }
    long Length() override { return Result<long>(&INXString::get_Length); }

  private:
    template <class T, class Method, class... Arguments> T Result(Method method, Arguments... arguments) {
        T result = {};
        Require((m_text.p->*method)(arguments..., &result), "call");
        return result;
    }

    CComPtr<INXString> m_text = CreateInstance<INXString>(CLSID_NXString);
};

class LateBoundClient : public StringClient {
  public:
    int TrimLeft() override { return Result(m_text.Call(L"TrimLeft")).Int(); }
    int TrimRight() override { return Result(m_text.Call(L"TrimRight")).Int(); }
    int Trim() override { return Result(m_text.Call(L"Trim")).Int(); }
    Bstr Left(int length) override { return TextOf(m_text.Call(L"Left", length)); }
    Bstr Right(int length) override { return TextOf(m_text.Call(L"Right", length)); }
    Bstr Mid(int start, int length) override { return TextOf(m_text.Call(L"Mid", start, length)); }
    void Clear() override { EXPECT_EQ(Result(m_text.Call(L"Clear")).Type(), VT_EMPTY); }
    Bstr Value() override { return TextOf(m_text.Get(L"Value")); }
    void SetValue(BSTR value) override { EXPECT_EQ(Result(m_text.Put(L"Value", Variant::To(value))).Type(), VT_EMPTY); }
    long Length() override { return Result(m_text.Get(L"Length")).Int(); }

  private:
    static Variant Result(Reply reply) {
        Require(reply.hr, "Invoke");
        return std::move(reply.value);
    }
    static Bstr TextOf(Reply reply) {
        const Variant value = Result(std::move(reply));
        static_cast<void>(value.Text()); // throws when it is none
        return Bstr(std::exchange(V_BSTR(value.Raw()), nullptr));
    }

    DispatchObject m_text = Create(CLSID_NXString);
};

enum class Way { Vtable, LateBound };

class NXStringTest : public ::testing::TestWithParam<Way> {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

    static std::unique_ptr<StringClient> NewString() {
        if (GetParam() == Way::Vtable) {
            return std::make_unique<VtableClient>();
        }
        return std::make_unique<LateBoundClient>();
    }
    static std::unique_ptr<StringClient> NewString(const wchar_t* value) {
        auto made = NewString();
        made->SetValue(value);
        return made;
    }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    const std::unique_ptr<StringClient> text = NewString();
};

INSTANTIATE_TEST_SUITE_P(ByWayToCall, NXStringTest, ::testing::Values(Way::Vtable, Way::LateBound),
                         [](const auto& test) { return test.param == Way::Vtable ? "Vtable" : "LateBound"; });

// Value, Length, Clear

TEST_P(NXStringTest, New_ValueIsNull_LengthIsZero) {
    EXPECT_NULL_BSTR(text->Value());
    EXPECT_EQ(text->Length(), 0);
}

TEST_P(NXStringTest, Value_ReadsBackWhatWasWritten) {
    text->SetValue(L"Nuvolex");
    EXPECT_BSTR(text->Value(), L"Nuvolex");
    EXPECT_EQ(text->Length(), 7);
}

TEST_P(NXStringTest, Value_WrittenAgain_IsReplaced) {
    text->SetValue(L"first");
    text->SetValue(L"second one");
    EXPECT_BSTR(text->Value(), L"second one");
    text->SetValue(L"3");
    EXPECT_BSTR(text->Value(), L"3");
}

TEST_P(NXStringTest, Value_AnyCodeUnitButNul_IsKept) {
    std::wstring all;
    for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
        all += static_cast<wchar_t>(unit);
    }
    text->SetValue(all.c_str());
    EXPECT_BSTR(text->Value(), all);
    EXPECT_EQ(text->Length(), 0xFFFF);
}

TEST_P(NXStringTest, Length_CountsCodeUnits) {
    text->SetValue(L"\xD83D\xDE00"); // one character
    EXPECT_EQ(text->Length(), 2);
}

TEST_P(NXStringTest, Value_WithEmbeddedNul_IsStoredUpToTheNul) {
    text->SetValue(Bstr(L"ab\0cd"sv));
    EXPECT_BSTR(text->Value(), L"ab");
    EXPECT_EQ(text->Length(), 2);
}

TEST_P(NXStringTest, Value_BeginningWithNul_IsStoredAsZeroLength) {
    text->SetValue(Bstr(L"\0cd"sv));
    EXPECT_BSTR(text->Value(), L"");
    EXPECT_EQ(text->Length(), 0);
}

TEST_P(NXStringTest, Value_WrittenZeroLength_IsZeroLengthNotNull) {
    text->SetValue(L"");
    EXPECT_BSTR(text->Value(), L"");
    EXPECT_EQ(text->Length(), 0);
}

TEST_P(NXStringTest, Value_WrittenNull_IsNull) {
    text->SetValue(L"before");
    text->SetNullValue();
    EXPECT_NULL_BSTR(text->Value());
    EXPECT_EQ(text->Length(), 0);
}

TEST_P(NXStringTest, Value_Written_BelongsToTheCaller) {
    const Bstr written(L"ab\0cd"sv);
    text->SetValue(written);
    EXPECT_BSTR(written, L"ab\0cd"sv);
    written[0] = L'X';
    EXPECT_BSTR(text->Value(), L"ab");
    text->Clear();
    EXPECT_BSTR(written, L"Xb\0cd"sv);
}

TEST_P(NXStringTest, Value_Read_IsACopyOfItsOwn) {
    text->SetValue(L"abc");
    const Bstr first = text->Value();
    const Bstr second = text->Value();
    EXPECT_NE(static_cast<BSTR>(first), static_cast<BSTR>(second));
    first[0] = L'X';
    EXPECT_BSTR(second, L"abc");
    EXPECT_BSTR(text->Value(), L"abc");
}

TEST_P(NXStringTest, Results_OutliveTheObject) {
    auto object = NewString(L"abcdef");
    const Bstr value = object->Value();
    const Bstr left = object->Left(2);
    const Bstr right = object->Right(2);
    const Bstr middle = object->Mid(2, 2);
    object.reset();
    EXPECT_BSTR(value, L"abcdef");
    EXPECT_BSTR(left, L"ab");
    EXPECT_BSTR(right, L"ef");
    EXPECT_BSTR(middle, L"cd");
}

TEST_P(NXStringTest, Clear_MakesNull) {
    text->SetValue(L"abc");
    text->Clear();
    EXPECT_NULL_BSTR(text->Value());
    EXPECT_EQ(text->Length(), 0);
}

TEST_P(NXStringTest, Clear_OfNull_StaysNull) {
    text->Clear();
    text->Clear();
    EXPECT_NULL_BSTR(text->Value());
}

TEST_P(NXStringTest, Objects_AreIndependent) {
    const auto other = NewString(L"other");
    text->SetValue(L"this");
    EXPECT_BSTR(other->Value(), L"other");
    other->Clear();
    EXPECT_BSTR(text->Value(), L"this");
}

// Trimming

struct TrimCase {
    const wchar_t* text;
    const wchar_t* trimmedLeft;
    const wchar_t* trimmedRight;
    const wchar_t* trimmed;
};

TEST_P(NXStringTest, Trims_RemoveWhiteSpaceAndCountIt) {
    const TrimCase cases[] = {
        {L"abc", L"abc", L"abc", L"abc"},
        {L"", L"", L"", L""},
        {L" ", L"", L"", L""},
        {L"   ", L"", L"", L""},
        {L" a", L"a", L" a", L"a"},
        {L"a ", L"a ", L"a", L"a"},
        {L"  a b   ", L"a b   ", L"  a b", L"a b"},
        {L"\t  ab ", L"ab ", L"\t  ab", L"ab"},
        {L" \t\n\v\f\ra\r\f\v\n\t ", L"a\r\f\v\n\t ", L" \t\n\v\f\ra", L"a"},
        {L" \t\n\v\f\r", L"", L"", L""},
    };
    const auto units = [](const wchar_t* s) { return static_cast<int>(std::wcslen(s)); };
    for (const TrimCase& row : cases) {
        SCOPED_TRACE(support::Printed(row.text));
        text->SetValue(row.text);
        EXPECT_EQ(text->TrimLeft(), units(row.text) - units(row.trimmedLeft));
        EXPECT_BSTR(text->Value(), row.trimmedLeft);
        EXPECT_EQ(text->Length(), units(row.trimmedLeft));
        EXPECT_EQ(text->TrimLeft(), 0) << "the second time";

        text->SetValue(row.text);
        EXPECT_EQ(text->TrimRight(), units(row.text) - units(row.trimmedRight));
        EXPECT_BSTR(text->Value(), row.trimmedRight);
        EXPECT_EQ(text->Length(), units(row.trimmedRight));
        EXPECT_EQ(text->TrimRight(), 0) << "the second time";

        text->SetValue(row.text);
        EXPECT_EQ(text->Trim(), units(row.text) - units(row.trimmed));
        EXPECT_BSTR(text->Value(), row.trimmed);
        EXPECT_EQ(text->Length(), units(row.trimmed));
        EXPECT_EQ(text->Trim(), 0) << "the second time";
    }
}

TEST_P(NXStringTest, Trims_WhiteSpaceIsWhatTheRunTimeLibraryCallsSo) {
    ASSERT_TRUE(std::iswspace(0x00A0) && std::iswspace(0x3000)) << "no-break and ideographic space";
    for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
        const wchar_t surrounded[] = {static_cast<wchar_t>(unit), L'a', static_cast<wchar_t>(unit), 0};
        const int trimmed = std::iswspace(static_cast<wint_t>(unit)) != 0 ? 1 : 0;
        text->SetValue(surrounded);
        ASSERT_EQ(text->TrimLeft(), trimmed) << "U+" << std::hex << unit;
        ASSERT_EQ(text->TrimRight(), trimmed) << "U+" << std::hex << unit;
        ASSERT_EQ(text->Trim(), 0) << "U+" << std::hex << unit;
        ASSERT_EQ(text->Length(), 3 - 2 * trimmed) << "U+" << std::hex << unit;
    }
}

TEST_P(NXStringTest, Trims_OfNull_CountNothingAndStayNull) {
    for (const bool cleared : {false, true}) {
        SCOPED_TRACE(cleared ? "after Clear" : "after a null was written");
        text->SetValue(L"abc");
        cleared ? text->Clear() : text->SetNullValue();
        EXPECT_EQ(text->TrimLeft(), 0);
        EXPECT_EQ(text->TrimRight(), 0);
        EXPECT_EQ(text->Trim(), 0);
        EXPECT_NULL_BSTR(text->Value());
    }
}

TEST_P(NXStringTest, Trims_OfNew_CountNothingAndStayNull) {
    EXPECT_EQ(text->TrimRight(), 0);
    EXPECT_EQ(text->Trim(), 0);
    EXPECT_EQ(text->TrimLeft(), 0);
    EXPECT_NULL_BSTR(text->Value());
}

TEST_P(NXStringTest, Trims_OfManyBlanks_LeaveZeroLength) {
    // The lengths are those at which the half of the BSTR's length in front of the text looks like nothing, like
    // another character, and like a blank.
    for (const int length : {32767, 32768, 32769, 65536, 0x100000, 0x100001}) {
        SCOPED_TRACE(length);
        const Bstr blanks(std::wstring(static_cast<std::size_t>(length), L' '));
        text->SetValue(blanks);
        EXPECT_EQ(text->TrimLeft(), length);
        EXPECT_BSTR(text->Value(), L"");
        text->SetValue(blanks);
        EXPECT_EQ(text->TrimRight(), length);
        EXPECT_BSTR(text->Value(), L"");
        text->SetValue(blanks);
        EXPECT_EQ(text->Trim(), length);
        EXPECT_BSTR(text->Value(), L"");
    }
}

TEST_P(NXStringTest, Trims_OfManyBlanksAroundText_LeaveTheText) {
    const std::wstring blanks(100000, L'\t');
    text->SetValue((blanks + L"a b" + blanks).c_str());
    EXPECT_EQ(text->Trim(), 200000);
    EXPECT_BSTR(text->Value(), L"a b");
}

TEST_P(NXStringTest, Trims_LeaveEarlierResultsAlone) {
    text->SetValue(L" a ");
    const Bstr value = text->Value();
    const Bstr part = text->Left(3);
    text->Trim();
    EXPECT_BSTR(value, L" a ");
    EXPECT_BSTR(part, L" a ");
}

// Parts

TEST_P(NXStringTest, Left_UpToTheLength_IsTheFirstUnits) {
    text->SetValue(L"abcdef");
    EXPECT_BSTR(text->Left(0), L"");
    EXPECT_BSTR(text->Left(1), L"a");
    EXPECT_BSTR(text->Left(5), L"abcde");
    EXPECT_BSTR(text->Left(6), L"abcdef");
}

TEST_P(NXStringTest, Left_LongerThanTheText_IsAllOfIt) {
    text->SetValue(L"abcdef");
    EXPECT_BSTR(text->Left(7), L"abcdef");
    EXPECT_BSTR(text->Left(INT_MAX), L"abcdef");
}

TEST_P(NXStringTest, Left_OfNegativeLength_IsAllOfTheText) {
    text->SetValue(L"abcdef");
    EXPECT_BSTR(text->Left(-1), L"abcdef");
    EXPECT_BSTR(text->Left(-6), L"abcdef");
    EXPECT_BSTR(text->Left(INT_MIN), L"abcdef");
}

TEST_P(NXStringTest, Right_UpToTheLength_IsTheLastUnits) {
    text->SetValue(L"abcdef");
    EXPECT_BSTR(text->Right(0), L"");
    EXPECT_BSTR(text->Right(1), L"f");
    EXPECT_BSTR(text->Right(5), L"bcdef");
    EXPECT_BSTR(text->Right(6), L"abcdef");
}

TEST_P(NXStringTest, Right_LongerThanTheText_IsNull) {
    text->SetValue(L"abcdef");
    EXPECT_NULL_BSTR(text->Right(7));
    EXPECT_NULL_BSTR(text->Right(INT_MAX));
}

TEST_P(NXStringTest, Right_OfNegativeLength_IsNull) {
    text->SetValue(L"abcdef");
    EXPECT_NULL_BSTR(text->Right(-1));
    EXPECT_NULL_BSTR(text->Right(-6));
    EXPECT_NULL_BSTR(text->Right(INT_MIN));
}

TEST_P(NXStringTest, Mid_InsideTheText_IsThatPart) {
    text->SetValue(L"abcdef");
    EXPECT_BSTR(text->Mid(0, 6), L"abcdef");
    EXPECT_BSTR(text->Mid(1, 3), L"bcd");
    EXPECT_BSTR(text->Mid(5, 1), L"f");
    EXPECT_BSTR(text->Mid(3, 0), L"");
}

TEST_P(NXStringTest, Mid_LongerThanTheRest_IsTheRest) {
    text->SetValue(L"abcdef");
    EXPECT_BSTR(text->Mid(4, 3), L"ef");
    EXPECT_BSTR(text->Mid(4, INT_MAX), L"ef");
    EXPECT_BSTR(text->Mid(0, 7), L"abcdef");
}

TEST_P(NXStringTest, Mid_OfNegativeLength_IsTheRest) {
    text->SetValue(L"abcdef");
    EXPECT_BSTR(text->Mid(2, -1), L"cdef");
    EXPECT_BSTR(text->Mid(2, INT_MIN), L"cdef");
    EXPECT_BSTR(text->Mid(0, -6), L"abcdef");
}

TEST_P(NXStringTest, Mid_FromTheEnd_IsZeroLength) {
    text->SetValue(L"abcdef");
    EXPECT_BSTR(text->Mid(6, 0), L"");
    EXPECT_BSTR(text->Mid(6, 5), L"");
    EXPECT_BSTR(text->Mid(6, -1), L"");
}

TEST_P(NXStringTest, Mid_FromBeyondTheEnd_IsNull) {
    text->SetValue(L"abcdef");
    EXPECT_NULL_BSTR(text->Mid(7, 5));
    EXPECT_NULL_BSTR(text->Mid(7, 0));
    EXPECT_NULL_BSTR(text->Mid(INT_MAX, INT_MAX));
    EXPECT_NULL_BSTR(text->Mid(INT_MAX, -1));
}

TEST_P(NXStringTest, Mid_FromNegativeStart_IsNull) {
    text->SetValue(L"abcdef");
    EXPECT_NULL_BSTR(text->Mid(-1, 1));
    EXPECT_NULL_BSTR(text->Mid(-1, 0));
    EXPECT_NULL_BSTR(text->Mid(INT_MIN, INT_MIN));
    EXPECT_NULL_BSTR(text->Mid(-6, 6));
}

TEST_P(NXStringTest, Mid_FromTheStart_EqualsLeft) {
    text->SetValue(L"abcdef");
    for (const int length : {INT_MIN, -1, 0, 1, 5, 6, 7, INT_MAX}) {
        const Bstr left = text->Left(length);
        EXPECT_BSTR(text->Mid(0, length), std::wstring_view(left, SysStringLen(left))) << length;
    }
}

TEST_P(NXStringTest, Parts_OfZeroLength) {
    text->SetValue(L"");
    EXPECT_BSTR(text->Left(0), L"");
    EXPECT_BSTR(text->Left(1), L"");
    EXPECT_BSTR(text->Left(-1), L"");
    EXPECT_BSTR(text->Right(0), L"");
    EXPECT_NULL_BSTR(text->Right(1));
    EXPECT_NULL_BSTR(text->Right(-1));
    EXPECT_BSTR(text->Mid(0, 0), L"");
    EXPECT_BSTR(text->Mid(0, 1), L"");
    EXPECT_NULL_BSTR(text->Mid(1, 0));
    EXPECT_NULL_BSTR(text->Mid(-1, 0));
}

TEST_P(NXStringTest, Parts_OfNull_AreThoseOfZeroLength) {
    EXPECT_BSTR(text->Left(0), L"");
    EXPECT_BSTR(text->Left(3), L"");
    EXPECT_BSTR(text->Left(-1), L"");
    EXPECT_BSTR(text->Right(0), L"");
    EXPECT_NULL_BSTR(text->Right(1));
    EXPECT_NULL_BSTR(text->Right(-1));
    EXPECT_BSTR(text->Mid(0, 0), L"");
    EXPECT_BSTR(text->Mid(0, 3), L"");
    EXPECT_BSTR(text->Mid(0, -1), L"");
    EXPECT_NULL_BSTR(text->Mid(1, 1));
    EXPECT_NULL_BSTR(text->Mid(-1, 1));
}

TEST_P(NXStringTest, Parts_LeaveTheTextAlone) {
    text->SetValue(L"abcdef");
    const Bstr part = text->Left(6);
    part[0] = L'X';
    static_cast<void>(text->Right(3));
    static_cast<void>(text->Mid(0, 6));
    EXPECT_BSTR(text->Value(), L"abcdef");
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to the vtable

class NXStringVtableTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

    static CComPtr<INXString> NewString(const wchar_t* value) {
        CComPtr<INXString> made = CreateInstance<INXString>(CLSID_NXString);
        Require(made->put_Value(Bstr(value)), "put Value");
        return made;
    }
    static Bstr ValueOf(INXString* object) {
        Bstr value;
        Require(object->get_Value(value.Out()), "get Value");
        return value;
    }

  private:
    const ExpectNoLeaks m_noLeaks;
};

TEST_F(NXStringVtableTest, OutPointers_AreWrittenWhateverTheyHeld) {
    const CComPtr<INXString> text = NewString(L" a ");
    int count = -7;
    EXPECT_HR(text->TrimLeft(&count), S_OK);
    EXPECT_EQ(count, 1);
    count = -7;
    EXPECT_HR(text->TrimLeft(&count), S_OK);
    EXPECT_EQ(count, 0);
    long length = -7;
    EXPECT_HR(text->get_Length(&length), S_OK);
    EXPECT_EQ(length, 2);
    OLECHAR garbage[] = L"not a BSTR";
    BSTR part = garbage;
    EXPECT_HR(text->Mid(3, 1, &part), S_OK);
    EXPECT_NULL_BSTR(part);
}

TEST_F(NXStringVtableTest, Members_LeaveNoErrorRecord) {
    const CComPtr<INXString> text = NewString(L"abc");
    SetErrorInfo(0, nullptr);
    Bstr part;
    EXPECT_HR(text->Mid(-1, -1, part.Out()), S_OK);
    EXPECT_HR(text->Right(9, part.Out()), S_OK);
    CComPtr<IErrorInfo> record;
    EXPECT_HR(GetErrorInfo(0, &record), S_FALSE);
}

/// Allocations that one call asks for.
template <class Method, class... Arguments>
std::size_t RequestsOf(INXString* text, Method method, Arguments... arguments) {
    return CountRequests([&] { Require((text->*method)(arguments...), "call"); });
}

TEST_F(NXStringVtableTest, Parts_MakeOneBstrAndNothingElse) {
    const CComPtr<INXString> text = NewString(L"abcdef");
    Bstr part;
    EXPECT_EQ(RequestsOf(text, &INXString::Left, 2, part.Out()), 1u);
    EXPECT_EQ(RequestsOf(text, &INXString::Right, 2, part.Out()), 1u);
    EXPECT_EQ(RequestsOf(text, &INXString::Mid, 2, 2, part.Out()), 1u);
    EXPECT_EQ(RequestsOf(text, &INXString::Mid, 7, 2, part.Out()), 0u) << "a null result";
}

TEST_F(NXStringVtableTest, Parts_LeaveOnlyTheResultAllocated) {
    const CComPtr<INXString> text = NewString(L"abcdef");
    const support::LiveAllocations before = support::CountLiveAllocations();
    BSTR part = nullptr;
    EXPECT_HR(text->Left(2, &part), S_OK);
    const support::LiveAllocations after = support::CountLiveAllocations();
    SysFreeString(part);
    EXPECT_EQ(after.bstrs, before.bstrs + 1);
    EXPECT_EQ(after.objects, before.objects);
}

TEST_F(NXStringVtableTest, Value_ReadMakesOneBstrAndNothingElse) {
    const CComPtr<INXString> text = NewString(L"abcdef");
    Bstr value;
    EXPECT_EQ(RequestsOf(text, &INXString::get_Value, value.Out()), 1u);
    text->Clear();
    EXPECT_EQ(RequestsOf(text, &INXString::get_Value, value.Out()), 0u) << "a null result";
}

TEST_F(NXStringVtableTest, Value_WriteMakesOneBstrAndNothingElse) {
    const CComPtr<INXString> text = NewString(L"abcdef");
    const Bstr other(L"other");
    EXPECT_EQ(RequestsOf(text, &INXString::put_Value, static_cast<BSTR>(other)), 1u);
}

TEST_F(NXStringVtableTest, Trims_WithNothingToTrim_AllocateNothing) {
    const CComPtr<INXString> text = NewString(L"a b");
    int count = -1;
    EXPECT_EQ(RequestsOf(text, &INXString::TrimLeft, &count), 0u);
    EXPECT_EQ(RequestsOf(text, &INXString::TrimRight, &count), 0u);
    EXPECT_EQ(RequestsOf(text, &INXString::Trim, &count), 0u);
}

TEST_F(NXStringVtableTest, Value_ReadOutOfMemory_IsReturnedAndLeavesEverythingAsItWas) {
    struct World {
        CComPtr<INXString> text = NewString(L"abc");
        BSTR result = nullptr;
        HRESULT hr = E_UNEXPECTED; ///< stays when the call raises an exception
    };
    OLECHAR untouched[] = L"not a BSTR";
    ForEachAllocationFailure(
        [&] {
            World world;
            world.result = untouched;
            return world;
        },
        [](World& world) {
            world.hr = world.text->get_Value(&world.result);
            if (SUCCEEDED(world.hr)) {
                SysFreeString(world.result);
            }
            return world.hr;
        },
        [&](const World& world) {
            EXPECT_HR(world.hr, E_OUTOFMEMORY) << "returned, not raised";
            EXPECT_EQ(world.result, untouched);
            EXPECT_BSTR(ValueOf(world.text), L"abc");
        });
}

/// What a member that raises lack of memory must leave behind.
struct RaisingMember {
    const char* name;
    std::function<void(INXString*)> call;
    const wchar_t* valueAfterwards; ///< null for the null string
};

TEST_F(NXStringVtableTest, OtherMembers_OutOfMemory_IsRaised) {
    const auto part = [](auto method, auto... arguments) {
        return [=](INXString* text) {
            Bstr result;
            Require((text->*method)(arguments..., result.Out()), "part");
        };
    };
    const auto trim = [](auto method) {
        return [=](INXString* text) {
            int count = 0;
            Require((text->*method)(&count), "trim");
        };
    };
    const RaisingMember members[] = {
        {"Left", part(&INXString::Left, 2), L" abc "},        {"Right", part(&INXString::Right, 2), L" abc "},
        {"Mid", part(&INXString::Mid, 1, 2), L" abc "},       {"TrimLeft", trim(&INXString::TrimLeft), L" abc "},
        {"TrimRight", trim(&INXString::TrimRight), L" abc "},
    };
    for (const RaisingMember& member : members) {
        SCOPED_TRACE(member.name);
        ForEachAllocationFailure([] { return NewString(L" abc "); }, member.call,
                                 [&](INXString* text) { EXPECT_BSTR(ValueOf(text), member.valueAfterwards); });
    }
}

TEST_F(NXStringVtableTest, Trim_OutOfMemory_IsRaised_TextTrimmedAtMostAtTheStart) {
    ForEachAllocationFailure([] { return NewString(L" abc "); },
                             [](INXString* text) {
                                 int count = 0;
                                 Require(text->Trim(&count), "Trim");
                             },
                             [](INXString* text) {
                                 const Bstr left = ValueOf(text);
                                 const std::wstring_view value(left, SysStringLen(left));
                                 EXPECT_TRUE(value == L" abc " || value == L"abc ") << support::Printed(value);
                                 int count = 0;
                                 EXPECT_HR(text->Trim(&count), S_OK);
                                 EXPECT_BSTR(ValueOf(text), L"abc");
                             });
}

TEST_F(NXStringVtableTest, Value_WriteOutOfMemory_IsRaised_TextIsNullAndTheObjectUsable) {
    ForEachAllocationFailure([] { return std::pair(NewString(L"before"), Bstr(L"new")); },
                             [](auto& world) { Require(world.first->put_Value(world.second), "put Value"); },
                             [](auto& world) {
                                 EXPECT_NULL_BSTR(ValueOf(world.first));
                                 EXPECT_BSTR(world.second, L"new");
                                 EXPECT_HR(world.first->put_Value(world.second), S_OK);
                                 EXPECT_BSTR(ValueOf(world.first), L"new");
                             });
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to late-bound calls

class NXStringLateBoundTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

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

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    const DispatchObject text = NewString(L"abcdef");
};

TEST_F(NXStringLateBoundTest, GetIDsOfNames_KnowsEveryMemberInAnyCase) {
    const struct {
        DISPID id;
        const wchar_t* spellings[3];
    } members[] = {
        {idTrimLeft, {L"TrimLeft", L"trimleft", L"TRIMLEFT"}},
        {idTrimRight, {L"TrimRight", L"trimright", L"TRIMRIGHT"}},
        {idTrim, {L"Trim", L"trim", L"tRIM"}},
        {idLeft, {L"Left", L"left", L"LEFT"}},
        {idRight, {L"Right", L"right", L"RIGHT"}},
        {idMid, {L"Mid", L"mid", L"MID"}},
        {idClear, {L"Clear", L"clear", L"CLEAR"}},
        {idValue, {L"Value", L"value", L"VALUE"}},
        {idLength, {L"Length", L"length", L"lENGTH"}},
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
    EXPECT_EQ(ids[0], idMid);
    EXPECT_EQ(ids[1], 1);
    EXPECT_EQ(ids[2], 0);
}

TEST_F(NXStringLateBoundTest, GetIDsOfNames_UnknownParameter) {
    LPOLESTR names[] = {const_cast<LPOLESTR>(L"Mid"), const_cast<LPOLESTR>(L"nStart"), const_cast<LPOLESTR>(L"nStep")};
    DISPID ids[] = {-9, -9, -9};
    EXPECT_HR(text.Raw()->GetIDsOfNames(IID_NULL, names, 3, LOCALE_USER_DEFAULT, ids), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(ids[0], idMid);
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
    EXPECT_BSTR(text.Call(idLeft, 2).value.Text(), L"ab");
    EXPECT_BSTR(text.Call(idRight, 2).value.Text(), L"ef");
    EXPECT_BSTR(text.Call(idMid, 2, 2).value.Text(), L"cd");
    EXPECT_BSTR(text.Get(idValue).value.Text(), L"abcdef");
    EXPECT_EQ(text.Get(idLength).value.Int(), 6);
    EXPECT_HR(text.Put(idValue, L"  abc   ").hr, S_OK);
    EXPECT_EQ(text.Call(idTrimLeft).value.Int(), 2);
    EXPECT_EQ(text.Call(idTrimRight).value.Int(), 3);
    EXPECT_EQ(text.Call(idTrim).value.Int(), 0);
    EXPECT_BSTR(ValueOf(text), L"abc");
    EXPECT_HR(text.Call(idClear).hr, S_OK);
    EXPECT_NULL_BSTR(ValueOf(text));
}

TEST_F(NXStringLateBoundTest, Results_HaveTheMembersTypes) {
    EXPECT_EQ(text.Get(L"Value").value.Type(), VT_BSTR);
    EXPECT_EQ(text.Call(L"Left", 1).value.Type(), VT_BSTR);
    EXPECT_EQ(text.Get(L"Length").value.Type(), VT_I4);
    EXPECT_EQ(text.Call(L"Clear").value.Type(), VT_EMPTY);
}

// What engines pass instead of an int

TEST_F(NXStringLateBoundTest, Arguments_AreConverted) {
    EXPECT_BSTR(text.Call(L"Left", short{3}).value.Text(), L"abc");
    EXPECT_BSTR(text.Call(L"Left", 3.0).value.Text(), L"abc");
    EXPECT_BSTR(text.Call(L"Left", 2.6).value.Text(), L"abc");
    EXPECT_BSTR(text.Call(L"Left", L"3").value.Text(), L"abc");
    EXPECT_BSTR(text.Call(L"Left", L" 3 ").value.Text(), L"abc");
    EXPECT_NULL_BSTR(text.Call(L"Right", true).value.Text()) << "-1, for which Right has nothing";
    EXPECT_BSTR(text.Call(L"Left", Variant()).value.Text(), L"") << "VT_EMPTY is 0";
    EXPECT_BSTR(text.Call(L"Mid", L"1", 2.0).value.Text(), L"bc");
}

TEST_F(NXStringLateBoundTest, Value_WhatIsNoText_IsConverted) {
    EXPECT_HR(text.Put(L"Value", 42).hr, S_OK);
    EXPECT_BSTR(ValueOf(text), L"42");
    EXPECT_HR(text.Put(L"Value", short{-7}).hr, S_OK);
    EXPECT_BSTR(ValueOf(text), L"-7");
    EXPECT_HR(text.Put(L"Value", Variant()).hr, S_OK);
    EXPECT_BSTR(ValueOf(text), L"");
    EXPECT_HR(text.Put(L"Value", Variant::NullText()).hr, S_OK);
    EXPECT_NULL_BSTR(ValueOf(text));
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

TEST_F(NXStringLateBoundTest, Value_ByReference_StaysTheCallers) {
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
    const Reply bothNamed = text.Invoke({.member = idMid, .arguments = {3, 1}, .names = {nLength, nStart}});
    EXPECT_HR(bothNamed.hr, S_OK);
    EXPECT_BSTR(bothNamed.value.Text(), L"bcd");
    const Reply lastNamed = text.Invoke({.member = idMid, .arguments = {1, 3}, .names = {nLength}});
    EXPECT_HR(lastNamed.hr, S_OK);
    EXPECT_BSTR(lastNamed.value.Text(), L"bcd");
}

TEST_F(NXStringLateBoundTest, Arguments_TooMany) {
    EXPECT_HR(text.Call(L"Left", 1, 2).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(text.Call(L"Mid", 1, 2, 3).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(text.Call(L"Trim", 1).hr, DISP_E_BADPARAMCOUNT);
}

TEST_F(NXStringLateBoundTest, Arguments_WithAMethodThatTakesNone) {
    EXPECT_HR(text.Call(L"Clear", 1).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_BSTR(ValueOf(text), L"abcdef");
}

TEST_F(NXStringLateBoundTest, Arguments_TooManyForAWrite) {
    EXPECT_HR(text.Put(L"Value", 1, L"new").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_BSTR(ValueOf(text), L"abcdef");
}

TEST_F(NXStringLateBoundTest, Arguments_TooFew) {
    EXPECT_HR(text.Call(L"Left").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(text.Call(L"Mid").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(text.Call(L"Mid", 1).hr, DISP_E_BADPARAMCOUNT);
}

TEST_F(NXStringLateBoundTest, Arguments_ThatDispatchersRefuseInDifferentWords) {
    EXPECT_TRUE(FAILED(text.Get(L"Value", 1).hr)) << "an index";
    EXPECT_TRUE(FAILED(text.Get(L"Length", 1).hr)) << "an index";
    EXPECT_TRUE(FAILED(text.Call(L"Mid", Variant::Missing(), 1).hr)) << "an argument left out";
    EXPECT_TRUE(FAILED(text.Invoke({.member = idLeft, .arguments = {3}, .names = {7}}).hr)) << "an unknown name";
    EXPECT_TRUE(FAILED(text.Invoke({.member = idValue, .flags = DISPATCH_PROPERTYPUT}).hr)) << "nothing to write";
    EXPECT_BSTR(ValueOf(text), L"abcdef");
}

TEST_F(NXStringLateBoundTest, Arguments_OfATypeThatCannotBeConverted) {
    for (const Variant& wrong : {Variant(L"x"), Variant::Null(), Variant(text.Raw())}) {
        SCOPED_TRACE(wrong.Type());
        EXPECT_HR(text.Call(L"Left", wrong).hr, DISP_E_TYPEMISMATCH);
        EXPECT_HR(text.Call(L"Mid", 1, wrong).hr, DISP_E_TYPEMISMATCH);
        EXPECT_HR(text.Call(L"Mid", wrong, 1).hr, DISP_E_TYPEMISMATCH);
    }
}

TEST_F(NXStringLateBoundTest, Arguments_TooLargeForAnInt) {
    EXPECT_HR(text.Call(L"Left", 3e9).hr, DISP_E_OVERFLOW);
}

TEST_F(NXStringLateBoundTest, Value_WrittenNull_DoesNotFitAndChangesNothing) {
    EXPECT_HR(text.Put(L"Value", Variant::Null()).hr, DISP_E_TYPEMISMATCH);
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
    const Invocation call = {
        .member = idValue, .flags = DISPATCH_PROPERTYPUTREF, .arguments = {L"new"}, .names = {DISPID_PROPERTYPUT}};
    EXPECT_HR(text.Invoke(call).hr, S_OK);
    EXPECT_BSTR(ValueOf(text), L"new");
}

// Flags

TEST_F(NXStringLateBoundTest, Methods_CalledAsMethodOrRead) {
    const Reply reply =
        text.Invoke({.member = idLeft, .flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET, .arguments = {2}});
    EXPECT_HR(reply.hr, S_OK);
    EXPECT_BSTR(reply.value.Text(), L"ab");
}

TEST_F(NXStringLateBoundTest, Properties_ReadAsMethodOrRead) {
    const Reply reply = text.Invoke({.member = idValue, .flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET});
    EXPECT_HR(reply.hr, S_OK);
    EXPECT_BSTR(reply.value.Text(), L"abcdef");
}

TEST_F(NXStringLateBoundTest, Properties_CalledAsMethods_AreRead) {
    EXPECT_BSTR(text.Call(L"Value").value.Text(), L"abcdef");
    EXPECT_EQ(text.Call(L"Length").value.Int(), 6);
    EXPECT_HR(text.Invoke({.member = idValue, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(text.Invoke({.member = idLength, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXStringLateBoundTest, Methods_ReadAsProperties_AreNotFound) {
    EXPECT_HR(text.Get(L"Clear").hr, DISP_E_MEMBERNOTFOUND);
    EXPECT_BSTR(ValueOf(text), L"abcdef");
}

TEST_F(NXStringLateBoundTest, Value_WrittenOnlyWithTheNameOfThePut) {
    const Invocation call = {.member = idValue, .flags = DISPATCH_PROPERTYPUT, .arguments = {L"new"}};
    EXPECT_HR(text.Invoke(call).hr, DISP_E_PARAMNOTFOUND);
    EXPECT_BSTR(ValueOf(text), L"abcdef");
}

// What the caller does not want to know

TEST_F(NXStringLateBoundTest, WithoutPlaceForTheResult) {
    EXPECT_HR(text.Invoke({.member = idLeft, .arguments = {2}, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(text.Invoke({.member = idTrim, .wantsValue = false}).hr, S_OK);
    EXPECT_HR(text.Invoke({.member = idValue, .flags = DISPATCH_PROPERTYGET, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXStringLateBoundTest, WithoutPlaceForTheDetailsOfAFailure) {
    EXPECT_HR(text.Invoke({.member = idLeft, .arguments = {2}, .wantsDetails = false}).hr, S_OK);
    EXPECT_HR(text.Invoke({.member = idLeft, .arguments = {L"x"}, .wantsDetails = false}).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(text.Invoke({.member = DISPID_VALUE, .wantsValue = false, .wantsDetails = false}).hr,
              DISP_E_MEMBERNOTFOUND);
}

TEST_F(NXStringLateBoundTest, Locale_ChangesNothing) {
    for (const LCID locale : {0x0409u, 0x0407u, 0x0411u, 0u}) {
        SCOPED_TRACE(locale);
        const Reply reply = text.Invoke({.member = idLeft, .arguments = {L"3"}, .locale = locale});
        EXPECT_HR(reply.hr, S_OK);
        EXPECT_BSTR(reply.value.Text(), L"abc");
    }
}

// Lack of memory

/// A late-bound call during which memory runs out, and the values that the object may have then.
struct LateBoundFailure {
    const char* name;
    Invocation call;
    std::vector<const wchar_t*> valuesAfterwards; ///< null for the null string
};

class NXStringOutOfMemoryTest : public NXStringLateBoundTest {
  protected:
    /// Lets each allocation of each member fail.
    static void TestAllMembers(bool wantsValue) {
        LateBoundFailure failures[] = {
            {"Left", {.member = idLeft, .arguments = {2}}, {L" abc "}},
            {"Right", {.member = idRight, .arguments = {2}}, {L" abc "}},
            {"Mid", {.member = idMid, .arguments = {1, 2}}, {L" abc "}},
            {"TrimLeft", {.member = idTrimLeft}, {L" abc "}},
            {"TrimRight", {.member = idTrimRight}, {L" abc "}},
            {"Trim", {.member = idTrim}, {L" abc ", L"abc "}},
            {"get Value", {.member = idValue, .flags = DISPATCH_PROPERTYGET}, {L" abc "}},
            {"put Value",
             {.member = idValue, .flags = DISPATCH_PROPERTYPUT, .arguments = {L"new"}, .names = {DISPID_PROPERTYPUT}},
             {L" abc ", nullptr}},
        };
        for (LateBoundFailure& failure : failures) {
            SCOPED_TRACE(failure.name);
            failure.call.wantsValue = wantsValue;
            const auto call = [&](const DispatchObject& object) { return object.Invoke(failure.call).Failure(); };
            const auto check = [&](const DispatchObject& object) {
                EXPECT_TRUE(IsOneOf(failure.valuesAfterwards, ValueOf(object)));
                EXPECT_HR(call(object), S_OK) << "once there is memory again";
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

TEST_F(NXStringOutOfMemoryTest, IsAnHresult_WhenTheResultIsNotWanted) {
    TestAllMembers(false);
}

TEST_F(NXStringOutOfMemoryTest, IsAnHresult_WithoutPlaceForDetails) {
    const Invocation trim = {.member = idTrim, .wantsValue = false, .wantsDetails = false};
    ForEachAllocationFailure([] { return NewString(L" abc "); },
                             [&](const DispatchObject& object) {
                                 const HRESULT hr = object.Invoke(trim).hr;
                                 return hr == DISP_E_EXCEPTION ? E_OUTOFMEMORY : hr;
                             },
                             [&](const DispatchObject& object) { EXPECT_HR(object.Invoke(trim).hr, S_OK); });
}

// ---------------------------------------------------------------------------------------------------------------------
// The object

class NXStringObjectTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;
};

TEST_F(NXStringObjectTest, InterfaceSupportsErrorInfo_OnlyOfItsOwn) {
    const CComPtr<ISupportErrorInfo> support = CreateInstance<ISupportErrorInfo>(CLSID_NXString);
    EXPECT_HR(support->InterfaceSupportsErrorInfo(IID_INXString), S_OK);
    for (const IID& other : {IID_IDispatch, IID_IUnknown, IID_ISupportErrorInfo, IID_INXTokenString, IID_INXStringList,
                             IID_NULL, CLSID_NXString}) {
        EXPECT_HR(support->InterfaceSupportsErrorInfo(other), S_FALSE);
    }
}

TEST_F(NXStringObjectTest, QueryInterface_AnswersFourInterfaces) {
    const CComPtr<IUnknown> object = CreateInstance<IUnknown>(CLSID_NXString);
    for (const IID& iid : {IID_IUnknown, IID_IDispatch, IID_INXString, IID_ISupportErrorInfo}) {
        CComPtr<IUnknown> answer;
        EXPECT_HR(object->QueryInterface(iid, reinterpret_cast<void**>(&answer)), S_OK);
        EXPECT_NE(answer.p, nullptr);
    }
}

TEST_F(NXStringObjectTest, QueryInterface_RefusesOthers) {
    const CComPtr<IUnknown> object = CreateInstance<IUnknown>(CLSID_NXString);
    for (const IID& iid :
         {IID_IEnumVARIANT, IID_IEnumUnknown, IID_IProvideClassInfo, IID_IMarshal, IID_IPersist, IID_IPersistStream,
          IID_IClassFactory, IID_IErrorInfo, IID_INXTokenString, IID_INXStringList, IID_NULL, CLSID_NXString}) {
        void* answer = &answer;
        EXPECT_HR(object->QueryInterface(iid, &answer), E_NOINTERFACE);
        EXPECT_EQ(answer, nullptr);
    }
    EXPECT_HR(object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(NXStringObjectTest, QueryInterface_KeepsTheIdentity) {
    const CComPtr<INXString> own = CreateInstance<INXString>(CLSID_NXString);
    CComPtr<IUnknown> fromOwn;
    own->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&fromOwn));
    for (const IID& iid : {IID_IUnknown, IID_IDispatch, IID_INXString, IID_ISupportErrorInfo}) {
        CComPtr<IUnknown> answer;
        own->QueryInterface(iid, reinterpret_cast<void**>(&answer));
        CComPtr<IUnknown> unknown;
        answer->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown));
        EXPECT_EQ(unknown.p, fromOwn.p);
        CComPtr<INXString> back;
        answer->QueryInterface(IID_INXString, reinterpret_cast<void**>(&back));
        EXPECT_EQ(back.p, own.p);
    }
}

TEST_F(NXStringObjectTest, QueryInterface_DispatchIsTheDualInterface) {
    const CComPtr<INXString> own = CreateInstance<INXString>(CLSID_NXString);
    CComPtr<IDispatch> dispatch;
    own->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch));
    EXPECT_EQ(dispatch.p, static_cast<IDispatch*>(own.p));
}

TEST_F(NXStringObjectTest, BothWaysToCall_ReachTheSameText) {
    const DispatchObject lateBound = Create(CLSID_NXString);
    const CComPtr<INXString> vtable = lateBound.As<INXString>();
    vtable->put_Value(Bstr(L"one"));
    EXPECT_BSTR(lateBound.Get(L"Value").value.Text(), L"one");
    lateBound.Put(L"Value", L"three");
    long length = 0;
    vtable->get_Length(&length);
    EXPECT_EQ(length, 5);
}

TEST_F(NXStringObjectTest, References_AreCounted) {
    const CComPtr<INXString> text = CreateInstance<INXString>(CLSID_NXString);
    EXPECT_EQ(text->AddRef(), 2u);
    EXPECT_EQ(text->Release(), 1u);
}

TEST_F(NXStringObjectTest, LivingObject_KeepsTheDllLoaded) {
    ASSERT_FALSE(DllHoldsObjects());
    CComPtr<INXString> text = CreateInstance<INXString>(CLSID_NXString);
    EXPECT_TRUE(DllHoldsObjects());
    text.Release();
    EXPECT_FALSE(DllHoldsObjects());
}

TEST_F(NXStringObjectTest, TenThousandObjects_LeaveNothingBehind) {
    CComPtr<IClassFactory> factory;
    ASSERT_HR(CoGetClassObject(CLSID_NXString, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                               reinterpret_cast<void**>(&factory)),
              S_OK);
    {
        const ExpectNoLeaks noLeaks;
        for (int i = 0; i < 10000; ++i) {
            CComPtr<IDispatch> dispatch;
            ASSERT_HR(factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&dispatch)), S_OK);
            const DispatchObject text(dispatch);
            ASSERT_HR(text.Put(L"Value", L"  some text ").hr, S_OK);
            ASSERT_EQ(text.Call(L"Trim").value.Int(), 3);
            EXPECT_BSTR(text.Call(L"Left", 4).value.Text(), L"some");
            EXPECT_BSTR(text.Call(L"Mid", 5, -1).value.Text(), L"text");
            ASSERT_HR(text.Call(L"Right", 99).hr, S_OK);
            EXPECT_BSTR(text.Get(L"Value").value.Text(), L"some text");
            ASSERT_EQ(text.Get(L"Length").value.Int(), 9);
            ASSERT_HR(text.Call(L"Left", L"x").hr, DISP_E_TYPEMISMATCH);
        }
    }
    factory.Release();
    EXPECT_FALSE(DllHoldsObjects());
}

} // namespace
