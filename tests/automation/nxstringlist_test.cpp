// NXStringList, the object in the registered DLL: every member through the vtable and late-bound, then what is special
// to either way to call.

#include <climits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::Bstr;
using support::Create;
using support::DispatchObject;
using support::EnumeratorOf;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::NextOf;
using support::Reply;
using support::Require;
using support::TextsOf;
using support::Variant;
using support::Way;

using Texts = std::vector<std::wstring>;

// The members' DISPIDs, which compiled scripts contain.
constexpr DISPID idItem = 0x60020000;
constexpr DISPID idNew = 0x60020002;
constexpr DISPID idRemove = 0x60020004;
constexpr DISPID idCount = 0x60020005;
constexpr DISPID idDefaultItem = DISPID_VALUE;
constexpr DISPID idAdd = 1;

constexpr BSTR nullText = nullptr;

void WarmUp() {
    support::WarmUp(CLSID_NXStringList, {.member = idRemove, .arguments = {5}}, {.member = idAdd, .arguments = {L"x"}});
}

class StringList : public support::Client<INXStringList> {
  public:
    explicit StringList(Way way) : Client(way, CLSID_NXStringList) {}

    Bstr Item(int index) const { return Get<BSTR>(L"Item", &INXStringList::get_Item, index); }
    void SetItem(int index, BSTR value) const { Put(L"Item", &INXStringList::put_Item, index, value); }
    void SetItem(int index, const wchar_t* value) const { SetItem(index, static_cast<BSTR>(Bstr(value))); }
    Bstr New() const { return Get<BSTR>(L"New", &INXStringList::get_New); }
    void SetNew(BSTR value) const { Put(L"New", &INXStringList::put_New, value); }
    void SetNew(const wchar_t* value) const { SetNew(static_cast<BSTR>(Bstr(value))); }
    void Remove(int index) const { Call(L"Remove", &INXStringList::Remove, index); }
    long Count() const { return Get<long>(L"Count", &INXStringList::get_Count); }
    Bstr DefaultItem(long index) const { return Get<BSTR>(DISPID_VALUE, &INXStringList::get__Item, index); }
    CComPtr<IEnumVARIANT> NewEnum() const {
        return EnumeratorOf(Get<IUnknown*>(DISPID_NEWENUM, &INXStringList::get__NewEnum));
    }
    void Add(BSTR value) const { Call(L"Add", &INXStringList::Add, value); }
    void Add(const wchar_t* value) const { Add(static_cast<BSTR>(Bstr(value))); }

    template <class Action> [[nodiscard]] ::testing::AssertionResult Refuses(Action action) const {
        return IsIndexError(L"Nuvolex.NXStringList.1", action);
    }

    /// All strings, read one by one.
    [[nodiscard]] Texts All() const {
        Texts all;
        for (int index = 0; index < Count(); ++index) {
            const Bstr text = Item(index);
            all.emplace_back(text == nullptr ? L"" : static_cast<BSTR>(text), SysStringLen(text));
        }
        return all;
    }
};

class NXStringListTest : public ::testing::TestWithParam<Way> {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

    static StringList NewList(std::initializer_list<const wchar_t*> strings) {
        StringList made(GetParam());
        for (const wchar_t* const string : strings) {
            made.Add(string);
        }
        return made;
    }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    const StringList list = NewList({});
    const StringList abc = NewList({L"a", L"b", L"c"});
};

INSTANTIATE_TEST_SUITE_P(ByWayToCall, NXStringListTest, ::testing::Values(Way::Vtable, Way::LateBound),
                         support::NameOfWay);

// Count, Add, New

TEST_P(NXStringListTest, New_IsEmpty) {
    EXPECT_EQ(list.Count(), 0);
    EXPECT_NULL_BSTR(list.New());
}

TEST_P(NXStringListTest, Add_Appends) {
    list.Add(L"first");
    EXPECT_EQ(list.Count(), 1);
    list.Add(L"second");
    EXPECT_EQ(list.All(), (Texts{L"first", L"second"}));
}

TEST_P(NXStringListTest, New_Written_Appends) {
    list.SetNew(L"first");
    EXPECT_EQ(list.Count(), 1);
    list.SetNew(L"second");
    EXPECT_EQ(list.All(), (Texts{L"first", L"second"}));
}

TEST_P(NXStringListTest, New_ReadsNullWhateverWasWritten) {
    list.SetNew(L"text");
    EXPECT_NULL_BSTR(list.New());
    EXPECT_EQ(list.Count(), 1) << "reading appends nothing";
}

TEST_P(NXStringListTest, Add_OfTheSameTextAgain_KeepsBoth) {
    list.Add(L"same");
    list.SetNew(L"same");
    list.SetItem(2, L"same");
    EXPECT_EQ(list.All(), (Texts{L"same", L"same", L"same"}));
}

// Item

TEST_P(NXStringListTest, Item_WrittenInsideTheList_IsReplaced) {
    abc.SetItem(0, L"first");
    abc.SetItem(2, L"last");
    EXPECT_EQ(abc.All(), (Texts{L"first", L"b", L"last"}));
}

TEST_P(NXStringListTest, Item_WrittenBehindTheLast_IsAppended) {
    abc.SetItem(3, L"d");
    EXPECT_EQ(abc.All(), (Texts{L"a", L"b", L"c", L"d"}));
}

TEST_P(NXStringListTest, Item_WrittenInAnEmptyList_AppendsAt0Only) {
    EXPECT_TRUE(list.Refuses([&] { list.SetItem(1, L"x"); }));
    EXPECT_EQ(list.Count(), 0);
    list.SetItem(0, L"x");
    EXPECT_EQ(list.All(), Texts{L"x"});
}

TEST_P(NXStringListTest, DefaultItem_IsItem) {
    EXPECT_BSTR(abc.DefaultItem(0), L"a");
    EXPECT_BSTR(abc.DefaultItem(2), L"c");
    abc.SetItem(1, nullText);
    EXPECT_NULL_BSTR(abc.DefaultItem(1));
}

TEST_P(NXStringListTest, Remove_MovesTheLaterOnesDown) {
    abc.Remove(1);
    EXPECT_EQ(abc.All(), (Texts{L"a", L"c"}));
    abc.Remove(0);
    EXPECT_EQ(abc.All(), Texts{L"c"});
    abc.Remove(0);
    EXPECT_EQ(abc.Count(), 0);
    abc.Add(L"again");
    EXPECT_EQ(abc.All(), Texts{L"again"});
}

// Indices

TEST_P(NXStringListTest, Index_OutsideTheList_IsRefusedAndNothingChanges) {
    for (const int index : {3, 4, 1000000, INT_MAX, -1, -2, -3, INT_MIN + 1, INT_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(abc.Refuses([&] { abc.Item(index); }));
        EXPECT_TRUE(abc.Refuses([&] { abc.DefaultItem(index); }));
        EXPECT_TRUE(abc.Refuses([&] { abc.Remove(index); }));
        if (index != 3) {
            EXPECT_TRUE(abc.Refuses([&] { abc.SetItem(index, L"x"); }));
        }
    }
    EXPECT_EQ(abc.All(), (Texts{L"a", L"b", L"c"}));
}

TEST_P(NXStringListTest, Index_InAnEmptyList_IsRefused) {
    for (const int index : {0, 1, -1, INT_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(list.Refuses([&] { list.Item(index); }));
        EXPECT_TRUE(list.Refuses([&] { list.DefaultItem(index); }));
        EXPECT_TRUE(list.Refuses([&] { list.Remove(index); }));
    }
    EXPECT_EQ(list.Count(), 0);
}

TEST_P(NXStringListTest, Index_OfARemovedString_IsRefused) {
    abc.Remove(2);
    EXPECT_TRUE(abc.Refuses([&] { abc.Item(2); }));
    EXPECT_TRUE(abc.Refuses([&] { abc.Remove(2); }));
}

// Texts

TEST_P(NXStringListTest, Text_OfNull_StaysNull) {
    list.Add(nullText);
    list.SetNew(nullText);
    list.SetItem(2, nullText);
    EXPECT_EQ(list.Count(), 3);
    for (int index = 0; index < 3; ++index) {
        EXPECT_NULL_BSTR(list.Item(index)) << index;
    }
    list.SetItem(1, L"text");
    EXPECT_BSTR(list.Item(1), L"text");
    list.SetItem(1, nullText);
    EXPECT_NULL_BSTR(list.Item(1));
}

TEST_P(NXStringListTest, Text_OfZeroLength_IsNotNull) {
    list.Add(L"");
    list.SetNew(L"");
    list.SetItem(2, L"");
    for (int index = 0; index < 3; ++index) {
        EXPECT_BSTR(list.Item(index), L"");
    }
}

TEST_P(NXStringListTest, Text_WithEmbeddedNul_IsStoredUpToTheNul) {
    const Bstr text(L"ab\0cd"sv);
    list.Add(static_cast<BSTR>(text));
    list.SetNew(static_cast<BSTR>(text));
    list.SetItem(2, static_cast<BSTR>(text));
    list.SetItem(2, static_cast<BSTR>(text));
    list.Add(static_cast<BSTR>(Bstr(L"\0cd"sv)));
    for (int index = 0; index < 3; ++index) {
        EXPECT_BSTR(list.Item(index), L"ab");
    }
    EXPECT_BSTR(list.Item(3), L"");
}

TEST_P(NXStringListTest, Text_AnyCodeUnitButNul_IsKept) {
    std::wstring all;
    for (unsigned int unit = 1; unit <= 0xFFFF; ++unit) {
        all += static_cast<wchar_t>(unit);
    }
    list.Add(all.c_str());
    EXPECT_BSTR(list.Item(0), all);
}

TEST_P(NXStringListTest, Text_Written_BelongsToTheCaller) {
    const Bstr written(L"ab\0cd"sv);
    list.Add(static_cast<BSTR>(written));
    EXPECT_BSTR(written, L"ab\0cd"sv);
    written[0] = L'X';
    EXPECT_BSTR(list.Item(0), L"ab");
    list.Remove(0);
    EXPECT_BSTR(written, L"Xb\0cd"sv);
}

TEST_P(NXStringListTest, Text_Read_IsACopyOfItsOwn) {
    const Bstr first = abc.Item(0);
    const Bstr second = abc.DefaultItem(0);
    EXPECT_NE(static_cast<BSTR>(first), static_cast<BSTR>(second));
    first[0] = L'X';
    EXPECT_BSTR(second, L"a");
    EXPECT_BSTR(abc.Item(0), L"a");
    abc.Remove(0);
    EXPECT_BSTR(first, L"X");
}

TEST_P(NXStringListTest, Lists_AreIndependent) {
    list.Add(static_cast<BSTR>(abc.Item(0)));
    abc.SetItem(0, L"changed");
    EXPECT_EQ(list.All(), Texts{L"a"});
}

TEST_P(NXStringListTest, ManyStrings_AreAllThere) {
    constexpr int many = 3000;
    for (int index = 0; index < many; ++index) {
        list.Add(std::to_wstring(index).c_str());
    }
    EXPECT_EQ(list.Count(), many);
    for (int index = 0; index < many; ++index) {
        EXPECT_BSTR(list.Item(index), std::to_wstring(index));
    }
    for (int left = many; left > 0; --left) {
        list.Remove(left / 2);
    }
    EXPECT_EQ(list.Count(), 0);
}

// Enumeration

TEST_P(NXStringListTest, NewEnum_WalksAllStringsInOrder) {
    EXPECT_EQ(TextsOf(abc.NewEnum()), (Texts{L"a", L"b", L"c"}));
    EXPECT_EQ(TextsOf(list.NewEnum()), Texts{});
}

TEST_P(NXStringListTest, NewEnum_KeepsNullAndZeroLength) {
    list.Raw()->Add(nullptr);
    list.Add(L"");
    const auto enumerator = list.NewEnum();
    EXPECT_NULL_BSTR(NextOf(enumerator).Text());
    EXPECT_BSTR(NextOf(enumerator).Text(), L"");
}

TEST_P(NXStringListTest, NewEnum_DeliversSeveralAtATime) {
    VARIANT values[4] = {};
    ULONG fetched = 99;
    const auto enumerator = abc.NewEnum();
    EXPECT_HR(enumerator->Next(2, values, nullptr), E_POINTER);
    EXPECT_EQ(V_VT(&values[0]), VT_EMPTY);
    EXPECT_HR(enumerator->Next(4, values, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 3u);
    EXPECT_BSTR(V_BSTR(&values[2]), L"c");
    for (VARIANT& value : values) {
        VariantClear(&value);
    }
}

TEST_P(NXStringListTest, NewEnum_EachIsItsOwn) {
    const auto first = abc.NewEnum();
    const auto second = abc.NewEnum();
    EXPECT_BSTR(NextOf(first).Text(), L"a");
    EXPECT_EQ(TextsOf(second), (Texts{L"a", L"b", L"c"}));
    EXPECT_BSTR(NextOf(first).Text(), L"b");
}

TEST_P(NXStringListTest, NewEnum_ElementsAreTheCallersCopies) {
    const Variant element = NextOf(abc.NewEnum());
    abc.SetItem(0, L"changed");
    EXPECT_BSTR(element.Text(), L"a");
}

TEST_P(NXStringListTest, NewEnum_KeepsTheListAlive) {
    StringList owner = NewList({L"1", L"2"});
    const auto enumerator = owner.NewEnum();
    owner.Release();
    EXPECT_EQ(TextsOf(enumerator), (Texts{L"1", L"2"}));
}

TEST_P(NXStringListTest, NewEnum_SeesWhatIsAdded) {
    const auto enumerator = abc.NewEnum();
    EXPECT_BSTR(NextOf(enumerator).Text(), L"a");
    for (int index = 3; index < 100; ++index) {
        abc.Add(L"more");
    }
    EXPECT_EQ(TextsOf(enumerator).size(), 99u);
    abc.Add(L"last");
    EXPECT_EQ(TextsOf(enumerator), Texts{L"last"});
}

TEST_P(NXStringListTest, NewEnum_GoesOnAfterARemoval) {
    const auto enumerator = abc.NewEnum();
    EXPECT_BSTR(NextOf(enumerator).Text(), L"a");
    abc.Remove(0);
    EXPECT_EQ(TextsOf(enumerator), Texts{L"c"}) << "the list moved down under it";
}

TEST_P(NXStringListTest, NewEnum_EndsWhenTheListIsEmptied) {
    const auto enumerator = abc.NewEnum();
    EXPECT_HR(enumerator->Skip(2), S_OK);
    for (int count = 3; count > 0; --count) {
        abc.Remove(0);
    }
    EXPECT_EQ(TextsOf(enumerator), Texts{});
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    EXPECT_HR(enumerator->Reset(), S_OK);
    abc.Add(L"new");
    EXPECT_EQ(TextsOf(enumerator), Texts{L"new"});
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to the vtable

class NXStringListVtableTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

    static StringList NewList() {
        StringList made(Way::Vtable);
        made.Add(L"a");
        made.Add(L"b");
        return made;
    }

  private:
    const ExpectNoLeaks m_noLeaks;
};

TEST_F(NXStringListVtableTest, BadIndex_LeavesTheResultAsItWas) {
    const StringList list = NewList();
    OLECHAR untouched[] = L"not a BSTR";
    BSTR result = untouched;
    EXPECT_HR(list.Raw()->get_Item(2, &result), E_FAIL);
    EXPECT_HR(list.Raw()->get__Item(-1, &result), E_FAIL);
    EXPECT_EQ(result, untouched);
    SetErrorInfo(0, nullptr);
}

TEST_F(NXStringListVtableTest, Success_LeavesTheErrorRecordAsItWas) {
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

TEST_F(NXStringListVtableTest, Read_OutOfMemory_IsReturnedAndLeavesEverythingAsItWas) {
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
                EXPECT_EQ(world.list.All(), (Texts{L"a", L"b"}));
            });
    }
}

/// A list and a text to be written.
struct Writing {
    StringList list;
    Bstr text{L"new"};
};

TEST_F(NXStringListVtableTest, Append_OutOfMemory_IsRaised_NothingAppended) {
    const auto appends = {
        +[](Writing& world) { Require(world.list.Raw()->Add(world.text), "Add"); },
        +[](Writing& world) { Require(world.list.Raw()->put_New(world.text), "put New"); },
        +[](Writing& world) { Require(world.list.Raw()->put_Item(2, world.text), "put Item"); },
    };
    for (const auto append : appends) {
        ForEachAllocationFailure([] { return Writing{NewList()}; }, append,
                                 [](const Writing& world) {
                                     EXPECT_EQ(world.list.All(), (Texts{L"a", L"b"}));
                                     EXPECT_HR(world.list.Raw()->Add(world.text), S_OK);
                                     EXPECT_EQ(world.list.All(), (Texts{L"a", L"b", L"new"}));
                                 },
                                 support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

TEST_F(NXStringListVtableTest, Replace_OutOfMemory_IsRaised_StringIsNull) {
    ForEachAllocationFailure([] { return Writing{NewList()}; },
                             [](Writing& world) { Require(world.list.Raw()->put_Item(0, world.text), "put Item"); },
                             [](const Writing& world) {
                                 EXPECT_NULL_BSTR(world.list.Item(0));
                                 EXPECT_BSTR(world.list.Item(1), L"b");
                                 EXPECT_EQ(world.list.Count(), 2);
                             });
}

TEST_F(NXStringListVtableTest, NewEnum_OutOfMemory_IsReturned) {
    struct World {
        StringList list = NewList();
        IUnknown* result = nullptr;
    };
    ForEachAllocationFailure(
        [] {
            World world;
            world.result = world.list.Raw();
            return world;
        },
        [](World& world) {
            const HRESULT hr = world.list.Raw()->get__NewEnum(&world.result);
            if (SUCCEEDED(hr)) {
                world.result->Release();
            }
            return hr;
        },
        [](const World& world) { EXPECT_EQ(world.result, nullptr); });
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to late-bound calls

class NXStringListLateBoundTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

    static StringList NewList() {
        StringList made(Way::LateBound);
        made.Add(L"a");
        made.Add(L"b");
        return made;
    }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    const StringList strings = NewList();
    const DispatchObject list = strings.LateBound();
};

TEST_F(NXStringListLateBoundTest, GetIDsOfNames_KnowsEveryMember) {
    const std::pair<const wchar_t*, DISPID> members[] = {
        {L"Item", idItem},
        {L"ITEM", idItem},
        {L"New", idNew},
        {L"Remove", idRemove},
        {L"Count", idCount},
        {L"_Item", idDefaultItem},
        {L"_NewEnum", DISPID_NEWENUM},
        {L"Add", idAdd},
    };
    for (const auto& [name, expected] : members) {
        DISPID id = 0x7777;
        EXPECT_HR(support::Member(name).Resolve(list.Raw(), id), S_OK);
        EXPECT_EQ(id, expected);
    }
    DISPID id = 0;
    EXPECT_HR(support::Member(L"Clear").Resolve(list.Raw(), id), DISP_E_UNKNOWNNAME);
}

TEST_F(NXStringListLateBoundTest, Members_AreReachedByDispid) {
    EXPECT_BSTR(list.Get(idItem, 1).value.Text(), L"b");
    EXPECT_BSTR(list.Get(idDefaultItem, 1).value.Text(), L"b");
    EXPECT_HR(list.Put(idItem, 0, L"A").hr, S_OK);
    EXPECT_HR(list.Put(idNew, L"c").hr, S_OK);
    EXPECT_HR(list.Call(idAdd, L"d").hr, S_OK);
    EXPECT_HR(list.Call(idRemove, 1).hr, S_OK);
    EXPECT_EQ(list.Get(idCount).value.Int(), 3);
    EXPECT_EQ(strings.All(), (Texts{L"A", L"c", L"d"}));
}

TEST_F(NXStringListLateBoundTest, Properties_CalledAsMethods_AreRead) {
    EXPECT_BSTR(list.Call(L"Item", 0).value.Text(), L"a");
    EXPECT_BSTR(list.Call(DISPID_VALUE, 0).value.Text(), L"a");
    EXPECT_EQ(list.Call(L"Count").value.Int(), 2);
    const Reply reply = list.Call(DISPID_NEWENUM);
    ASSERT_EQ(reply.value.Type(), VT_UNKNOWN);
    EXPECT_EQ(TextsOf(EnumeratorOf(V_UNKNOWN(reply.value.Raw()))), (Texts{L"a", L"b"}));
    EXPECT_HR(list.Invoke({.member = DISPID_NEWENUM, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXStringListLateBoundTest, Arguments_AreConverted) {
    EXPECT_BSTR(list.Get(L"Item", L"1").value.Text(), L"b");
    EXPECT_BSTR(list.Get(L"Item", 0.4).value.Text(), L"a");
    long index = 1;
    EXPECT_BSTR(list.Get(DISPID_VALUE, Variant::To(index)).value.Text(), L"b");
    EXPECT_HR(list.Call(L"Add", 42).hr, S_OK);
    EXPECT_HR(list.Call(L"Add", Variant::NullText()).hr, S_OK);
    EXPECT_BSTR(list.Get(L"Item", 2).value.Text(), L"42");
    Bstr added;
    EXPECT_HR(strings.Raw()->get_Item(3, added.Out()), S_OK);
    EXPECT_EQ(SysStringLen(added), 0u);
}

TEST_F(NXStringListLateBoundTest, Arguments_ThatDoNotFit_ChangeNothing) {
    EXPECT_HR(list.Get(L"Item").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(list.Get(L"Item", 0, 0).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(list.Get(L"Item", L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(list.Call(L"Remove", Variant::Null()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(list.Call(L"Add", Variant::Null()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(list.Get(L"Item", 3e9).hr, DISP_E_OVERFLOW);
    EXPECT_TRUE(FAILED(list.Put(L"Count", 5).hr));
    EXPECT_EQ(strings.All(), (Texts{L"a", L"b"}));
}

TEST_F(NXStringListLateBoundTest, OutOfMemory_IsAnHresult) {
    struct Failure {
        const char* name;
        Invocation call;
        std::vector<Texts> afterwards; ///< what the list may hold then
    };
    const auto put = [](DISPID member, std::vector<Variant> arguments) {
        return Invocation{.member = member,
                          .flags = DISPATCH_PROPERTYPUT,
                          .arguments = std::move(arguments),
                          .names = {DISPID_PROPERTYPUT},
                          .wantsValue = false};
    };
    const auto get = [](DISPID member, std::vector<Variant> arguments) {
        return Invocation{
            .member = member, .flags = DISPATCH_PROPERTYGET, .arguments = std::move(arguments), .wantsValue = false};
    };
    const Texts unchanged = {L"a", L"b"};
    const Failure failures[] = {
        {"get Item", get(idItem, {1}), {unchanged}},
        {"get _Item", get(idDefaultItem, {1}), {unchanged}},
        {"_NewEnum", get(DISPID_NEWENUM, {}), {unchanged}},
        {"Add", {.member = idAdd, .arguments = {L"new"}, .wantsValue = false}, {unchanged}},
        {"put New", put(idNew, {L"new"}), {unchanged}},
        {"put Item, appending", put(idItem, {2, L"new"}), {unchanged}},
        {"put Item, replacing", put(idItem, {0, L"new"}), {unchanged, {L"", L"b"}}},
        {"put Item, replacing by a number", put(idItem, {0, 42}), {unchanged, {L"", L"b"}}},
        {"Add of a number", {.member = idAdd, .arguments = {42}, .wantsValue = false}, {unchanged}},
    };
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.name);
        ForEachAllocationFailure(
            NewList, [&](const StringList& object) { return object.LateBound().Invoke(failure.call).Failure(); },
            [&](const StringList& object) {
                const Texts left = object.All();
                EXPECT_TRUE(left == failure.afterwards.front() || left == failure.afterwards.back());
                EXPECT_HR(object.LateBound().Invoke(failure.call).hr, S_OK) << "with memory again";
            });
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The object

class NXStringListObjectTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;
};

TEST_F(NXStringListObjectTest, Interfaces_AreItsOwnAndTheGeneralOnes) {
    support::ExpectInterfacesOfObject<INXStringList>(CLSID_NXStringList);
}

TEST_F(NXStringListObjectTest, BothWaysToCall_ReachTheSameStrings) {
    const DispatchObject lateBound = Create(CLSID_NXStringList);
    const CComPtr<INXStringList> vtable = lateBound.As<INXStringList>();
    vtable->Add(Bstr(L"one"));
    EXPECT_BSTR(lateBound.Get(L"Item", 0).value.Text(), L"one");
    lateBound.Put(L"New", L"two");
    long count = 0;
    vtable->get_Count(&count);
    EXPECT_EQ(count, 2);
}

TEST_F(NXStringListObjectTest, ManyStrings_GrowTheListByFactors) {
    const StringList list(Way::Vtable);
    const Bstr text(L"text");
    constexpr std::size_t count = 10'000;
    EXPECT_LT(support::CountRequests([&] {
                  for (std::size_t i = 0; i < count; ++i) {
                      list.Raw()->Add(text);
                  }
              }),
              2 * count + 20u)
        << "a record and a text for each, and the array";
}

TEST_F(NXStringListObjectTest, LivingObjectOrEnumerator_KeepsTheDllLoaded) {
    ASSERT_FALSE(support::DllHoldsObjects());
    StringList list(Way::Vtable);
    auto enumerator = list.NewEnum();
    list.Release();
    EXPECT_TRUE(support::DllHoldsObjects());
    enumerator.Release();
    EXPECT_FALSE(support::DllHoldsObjects());
}

} // namespace
