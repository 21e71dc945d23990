// NXStringList through the vtable and late-bound.

#include <climits>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::Binding;
using support::Bstr;
using support::NextOf;
using support::StringList;
using support::StringsOf;
using support::Variant;

using Strings = std::vector<std::wstring>;

constexpr BSTR nullText = nullptr;

class NXStringListTest : public support::BothBindingsTest<StringList> {
  protected:
    const StringList list{GetParam()};
    const StringList abc{GetParam(), {L"a", L"b", L"c"}};
};

INSTANTIATE_TEST_SUITE_P(ByBinding, NXStringListTest, ::testing::Values(Binding::Vtable, Binding::LateBound),
                         support::NameOfBinding);

// Count, Add, New

TEST_P(NXStringListTest, New_IsEmpty) {
    EXPECT_EQ(list.Count(), 0);
    EXPECT_NULL_BSTR(list.New());
}

TEST_P(NXStringListTest, Add_Appends) {
    list.Add(L"first");
    EXPECT_EQ(list.Count(), 1);
    list.Add(L"second");
    EXPECT_EQ(list.All(), (Strings{L"first", L"second"}));
}

TEST_P(NXStringListTest, New_Written_Appends) {
    list.SetNew(L"first");
    EXPECT_EQ(list.Count(), 1);
    list.SetNew(L"second");
    EXPECT_EQ(list.All(), (Strings{L"first", L"second"}));
}

TEST_P(NXStringListTest, New_Read_IsAlwaysNull) {
    list.SetNew(L"text");
    EXPECT_NULL_BSTR(list.New());
    EXPECT_EQ(list.Count(), 1) << "reading appends nothing";
}

TEST_P(NXStringListTest, Add_OfTheSameTextAgain_KeepsBoth) {
    list.Add(L"same");
    list.SetNew(L"same");
    list.SetItem(2, L"same");
    EXPECT_EQ(list.All(), (Strings{L"same", L"same", L"same"}));
}

// Item

TEST_P(NXStringListTest, Item_Written_IsReplaced) {
    abc.SetItem(0, L"first");
    abc.SetItem(2, L"last");
    EXPECT_EQ(abc.All(), (Strings{L"first", L"b", L"last"}));
}

TEST_P(NXStringListTest, Item_WrittenAfterTheLast_IsAppended) {
    abc.SetItem(3, L"d");
    EXPECT_EQ(abc.All(), (Strings{L"a", L"b", L"c", L"d"}));
}

TEST_P(NXStringListTest, Item_WrittenInAnEmptyList_AppendsAt0Only) {
    EXPECT_TRUE(list.RefusesIndex([&] { list.SetItem(1, L"x"); }));
    EXPECT_EQ(list.Count(), 0);
    list.SetItem(0, L"x");
    EXPECT_EQ(list.All(), Strings{L"x"});
}

TEST_P(NXStringListTest, DefaultItem_IsItem) {
    EXPECT_BSTR(abc.DefaultItem(0), L"a");
    EXPECT_BSTR(abc.DefaultItem(2), L"c");
    abc.SetItem(1, nullText);
    EXPECT_NULL_BSTR(abc.DefaultItem(1));
}

TEST_P(NXStringListTest, Remove_MovesTheLaterOnesDown) {
    abc.Remove(1);
    EXPECT_EQ(abc.All(), (Strings{L"a", L"c"}));
    abc.Remove(0);
    EXPECT_EQ(abc.All(), Strings{L"c"});
    abc.Remove(0);
    EXPECT_EQ(abc.Count(), 0);
    abc.Add(L"again");
    EXPECT_EQ(abc.All(), Strings{L"again"});
}

// Indices

TEST_P(NXStringListTest, Index_OutsideTheList_IsRefusedAndNothingChanges) {
    for (const int index : {3, 4, 1000000, INT_MAX, -1, -2, -3, INT_MIN + 1, INT_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(abc.RefusesIndex([&] { abc.Item(index); }));
        EXPECT_TRUE(abc.RefusesIndex([&] { abc.DefaultItem(index); }));
        EXPECT_TRUE(abc.RefusesIndex([&] { abc.Remove(index); }));
        if (index != 3) {
            EXPECT_TRUE(abc.RefusesIndex([&] { abc.SetItem(index, L"x"); }));
        }
    }
    EXPECT_EQ(abc.All(), (Strings{L"a", L"b", L"c"}));
}

TEST_P(NXStringListTest, Index_InAnEmptyList_IsRefused) {
    for (const int index : {0, 1, -1, INT_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(list.RefusesIndex([&] { list.Item(index); }));
        EXPECT_TRUE(list.RefusesIndex([&] { list.DefaultItem(index); }));
        EXPECT_TRUE(list.RefusesIndex([&] { list.Remove(index); }));
    }
    EXPECT_EQ(list.Count(), 0);
}

TEST_P(NXStringListTest, Index_OfARemovedString_IsRefused) {
    abc.Remove(2);
    EXPECT_TRUE(abc.RefusesIndex([&] { abc.Item(2); }));
    EXPECT_TRUE(abc.RefusesIndex([&] { abc.Remove(2); }));
}

// Null, empty, NUL, ownership

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

TEST_P(NXStringListTest, Text_Read_IsACopy) {
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
    EXPECT_EQ(list.All(), Strings{L"a"});
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

TEST_P(NXStringListTest, NewEnum_DeliversAllStringsInOrder) {
    EXPECT_EQ(StringsOf(abc.NewEnum()), (Strings{L"a", L"b", L"c"}));
    EXPECT_EQ(StringsOf(list.NewEnum()), Strings{});
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

TEST_P(NXStringListTest, NewEnum_EachHasItsOwnPosition) {
    const auto first = abc.NewEnum();
    const auto second = abc.NewEnum();
    EXPECT_BSTR(NextOf(first).Text(), L"a");
    EXPECT_EQ(StringsOf(second), (Strings{L"a", L"b", L"c"}));
    EXPECT_BSTR(NextOf(first).Text(), L"b");
}

TEST_P(NXStringListTest, NewEnum_ElementsAreTheCallersCopies) {
    const Variant element = NextOf(abc.NewEnum());
    abc.SetItem(0, L"changed");
    EXPECT_BSTR(element.Text(), L"a");
}

TEST_P(NXStringListTest, NewEnum_KeepsTheListAlive) {
    StringList owner(GetParam(), {L"1", L"2"});
    const auto enumerator = owner.NewEnum();
    owner.Release();
    EXPECT_EQ(StringsOf(enumerator), (Strings{L"1", L"2"}));
}

TEST_P(NXStringListTest, NewEnum_SeesWhatIsAdded) {
    const auto enumerator = abc.NewEnum();
    EXPECT_BSTR(NextOf(enumerator).Text(), L"a");
    for (int index = 3; index < 100; ++index) {
        abc.Add(L"more");
    }
    EXPECT_EQ(StringsOf(enumerator).size(), 99u);
    abc.Add(L"last");
    EXPECT_EQ(StringsOf(enumerator), Strings{L"last"});
}

TEST_P(NXStringListTest, NewEnum_GoesOnAfterARemoval) {
    const auto enumerator = abc.NewEnum();
    EXPECT_BSTR(NextOf(enumerator).Text(), L"a");
    abc.Remove(0);
    EXPECT_EQ(StringsOf(enumerator), Strings{L"c"}) << "the later strings have moved down";
}

TEST_P(NXStringListTest, NewEnum_EndsWhenTheListIsEmptied) {
    const auto enumerator = abc.NewEnum();
    EXPECT_HR(enumerator->Skip(2), S_OK);
    for (int count = 3; count > 0; --count) {
        abc.Remove(0);
    }
    EXPECT_EQ(StringsOf(enumerator), Strings{});
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    EXPECT_HR(enumerator->Reset(), S_OK);
    abc.Add(L"new");
    EXPECT_EQ(StringsOf(enumerator), Strings{L"new"});
}

} // namespace
