// NXString through the vtable: results, allocations, and failures that are raised or returned.

#include <cstddef>
#include <functional>
#include <string_view>
#include <utility>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using support::Bstr;
using support::CountRequests;
using support::CreateInstance;
using support::ForEachAllocationFailure;
using support::Require;
using support::String;

class NXStringVtableTest : public support::ClassTest<String> {
  protected:
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
};

TEST_F(NXStringVtableTest, OutPointers_MayPointToGarbage) {
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

TEST_F(NXStringVtableTest, Value_Read_MakesOneBstrAndNothingElse) {
    const CComPtr<INXString> text = NewString(L"abcdef");
    Bstr value;
    EXPECT_EQ(RequestsOf(text, &INXString::get_Value, value.Out()), 1u);
    text->Clear();
    EXPECT_EQ(RequestsOf(text, &INXString::get_Value, value.Out()), 0u) << "a null result";
}

TEST_F(NXStringVtableTest, Value_Written_MakesOneBstrAndNothingElse) {
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

TEST_F(NXStringVtableTest, Value_ReadOutOfMemory_ReturnsTheFailureAndChangesNothing) {
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

/// A member that raises an exception when memory runs out, and the value it must leave.
struct RaisingMember {
    const char* name;
    std::function<void(INXString*)> call;
    const wchar_t* valueAfterwards; ///< null for the null string
};

TEST_F(NXStringVtableTest, OtherMembers_OutOfMemory_Raise) {
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

TEST_F(NXStringVtableTest, Trim_OutOfMemory_Raises_TheStartMayBeTrimmed) {
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

TEST_F(NXStringVtableTest, Value_WriteOutOfMemory_Raises_ValueIsNullAndTheObjectUsable) {
    ForEachAllocationFailure([] { return std::pair(NewString(L"before"), Bstr(L"new")); },
                             [](auto& world) { Require(world.first->put_Value(world.second), "put Value"); },
                             [](auto& world) {
                                 EXPECT_NULL_BSTR(ValueOf(world.first));
                                 EXPECT_BSTR(world.second, L"new");
                                 EXPECT_HR(world.first->put_Value(world.second), S_OK);
                                 EXPECT_BSTR(ValueOf(world.first), L"new");
                             });
}

TEST_F(NXStringVtableTest, References_AreCounted) {
    const CComPtr<INXString> text = CreateInstance<INXString>(CLSID_NXString);
    EXPECT_EQ(text->AddRef(), 2u);
    EXPECT_EQ(text->Release(), 1u);
}

} // namespace
