// NXStringList through the vtable: results, the error record, allocations, and failures.

#include <cstddef>
#include <string>
#include <vector>

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

using support::Binding;
using support::Bstr;
using support::ForEachAllocationFailure;
using support::Require;
using support::StringList;

using Strings = std::vector<std::wstring>;

class NXStringListVtableTest : public support::ClassTest<StringList> {
  protected:
    static StringList NewList() { return StringList(Binding::Vtable, {L"a", L"b"}); }
};

TEST_F(NXStringListVtableTest, InvalidIndex_LeavesTheResult) {
    const StringList list = NewList();
    OLECHAR untouched[] = L"not a BSTR";
    BSTR result = untouched;
    EXPECT_HR(list.Raw()->get_Item(2, &result), E_FAIL);
    EXPECT_HR(list.Raw()->get__Item(-1, &result), E_FAIL);
    EXPECT_EQ(result, untouched);
    SetErrorInfo(0, nullptr);
}

TEST_F(NXStringListVtableTest, Success_LeavesTheErrorRecord) {
    const StringList list = NewList();
    SetErrorInfo(0, nullptr);
    list.Raw()->Remove(7);
    Bstr text;
    EXPECT_HR(list.Raw()->get_Item(0, text.Out()), S_OK);
    EXPECT_HR(list.Raw()->Add(text), S_OK);
    CComPtr<IErrorInfo> record;
    EXPECT_HR(GetErrorInfo(0, &record), S_OK) << "that of Remove";
    EXPECT_HR(list.Raw()->get_Item(0, text.Out()), S_OK);
    EXPECT_HR(list.Raw()->Remove(0), S_OK);
    record.Release();
    EXPECT_HR(GetErrorInfo(0, &record), S_FALSE);
}

TEST_F(NXStringListVtableTest, Read_OutOfMemory_ReturnsTheFailureAndChangesNothing) {
    struct World {
        StringList list = NewList();
        BSTR result = nullptr;
        HRESULT hr = E_UNEXPECTED; ///< stays when the call raises an exception
    };
    OLECHAR untouched[] = L"not a BSTR";
    for (const auto read : {+[](const StringList&list, BSTR*result) { return list.Raw()->get_Item(1, result); },
                            +[](const StringList&list, BSTR*result) { return list.Raw()->get__Item(1, result); }}) {
        ForEachAllocationFailure(
            [&] {
                World world;
                world.result = untouched;
                return world;
            },
            [&](World& world) {
                world.hr = read(world.list, &world.result);
                if (SUCCEEDED(world.hr)) {
                    SysFreeString(world.result);
                }
                return world.hr;
            },
            [&](const World& world) {
                EXPECT_HR(world.hr, E_OUTOFMEMORY) << "returned, not raised";
                EXPECT_EQ(world.result, untouched);
                EXPECT_EQ(world.list.All(), (Strings{L"a", L"b"}));
            });
    }
}

/// A list and a string to write.
struct Writing {
    StringList list;
    Bstr text{L"new"};
};

TEST_F(NXStringListVtableTest, Append_OutOfMemory_Raises_AppendsNothing) {
    const auto appends = {
        +[](Writing& world) { Require(world.list.Raw()->Add(world.text), "Add"); },
        +[](Writing& world) { Require(world.list.Raw()->put_New(world.text), "put New"); },
        +[](Writing& world) { Require(world.list.Raw()->put_Item(2, world.text), "put Item"); },
    };
    for (const auto append : appends) {
        ForEachAllocationFailure([] { return Writing{NewList()}; }, append,
                                 [](const Writing& world) {
                                     EXPECT_EQ(world.list.All(), (Strings{L"a", L"b"}));
                                     EXPECT_HR(world.list.Raw()->Add(world.text), S_OK);
                                     EXPECT_EQ(world.list.All(), (Strings{L"a", L"b", L"new"}));
                                 },
                                 support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

TEST_F(NXStringListVtableTest, Replace_OutOfMemory_Raises_StringIsNull) {
    ForEachAllocationFailure([] { return Writing{NewList()}; },
                             [](Writing& world) { Require(world.list.Raw()->put_Item(0, world.text), "put Item"); },
                             [](const Writing& world) {
                                 EXPECT_NULL_BSTR(world.list.Item(0));
                                 EXPECT_BSTR(world.list.Item(1), L"b");
                                 EXPECT_EQ(world.list.Count(), 2);
                             });
}

TEST_F(NXStringListVtableTest, ManyStrings_GrowTheListByFactors) {
    const StringList list(Binding::Vtable);
    const Bstr text(L"text");
    constexpr std::size_t count = 10'000;
    EXPECT_LT(support::CountRequests([&] {
                  for (std::size_t i = 0; i < count; ++i) {
                      list.Raw()->Add(text);
                  }
              }),
              2 * count + 20u)
        << "a record and a BSTR for each string, and the array";
}

} // namespace
