// The elements that the enumerators deliver: strings, automation objects, and VARIANTs.

#include <cstddef>
#include <string_view>
#include <vector>

#include <atlcom.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxenum.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/enumworlds.h"
#include "tests/automation/stackobject.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using namespace std::string_view_literals;
using support::AllocationFault;
using support::EnumOwner;
using support::ExpectNoLeaks;
using support::InterfaceWorld;
using support::NewEnum;
using support::Variant;
using support::Variants;

// Strings

using Strings = std::vector<CNKString>;

TEST(NXStringEnumTest, Elements_KeepNullEmptyAndNuls) {
    EnumOwner owner;
    Strings strings = {CNKString(), CNKString(static_cast<const wchar_t*>(nullptr)), CNKString(L""),
                       CNKString(L"a\0b", 3)};
    const auto enumerator = NewEnum<CNXStringEnum<Strings>>(&owner, strings);
    Variants values(4);
    ULONG fetched = 0;
    ASSERT_HR(enumerator->Next(4, values.Raw(), &fetched), S_OK);
    for (std::size_t index = 0; index < 4; ++index) {
        EXPECT_EQ(V_VT(&values[index]), VT_BSTR);
    }
    EXPECT_NULL_BSTR(V_BSTR(&values[0]));
    EXPECT_NULL_BSTR(V_BSTR(&values[1]));
    EXPECT_BSTR(V_BSTR(&values[2]), L"");
    EXPECT_BSTR(V_BSTR(&values[3]), L"a\0b"sv);
}

TEST(NXStringEnumTest, Elements_AreTheCallersCopies) {
    EnumOwner owner;
    Strings strings = {CNKString(L"abc")};
    const auto enumerator = NewEnum<CNXStringEnum<Strings>>(&owner, strings);
    Variants values(1);
    ASSERT_HR(enumerator->Next(1, values.Raw(), nullptr), S_OK);
    EXPECT_NE(V_BSTR(&values[0]), static_cast<const wchar_t*>(strings[0]));
    V_BSTR(&values[0])[0] = L'X';
    EXPECT_STREQ(strings[0], L"abc");
    strings.clear();
    EXPECT_BSTR(V_BSTR(&values[0]), L"Xbc");
}

TEST(NXStringEnumTest, Next_OutOfMemory_FreesAllAndStaysAtTheFailedElement) {
    EnumOwner owner;
    Strings strings = {CNKString(L"0"), CNKString(L"1"), CNKString(L"2")};
    for (std::size_t failing = 0; failing < 3; ++failing) {
        SCOPED_TRACE(failing);
        const auto enumerator = NewEnum<CNXStringEnum<Strings>>(&owner, strings);
        Variants values(3);
        ULONG fetched = 99;
        {
            const ExpectNoLeaks noLeaks;
            const AllocationFault fault(failing + 1);
            EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), E_OUTOFMEMORY);
            EXPECT_TRUE(fault.Fired());
        }
        EXPECT_EQ(fetched, 0u);
        EXPECT_TRUE(values.AreEmpty());

        Variants rest(3);
        const ULONG left = 3 - static_cast<ULONG>(failing);
        EXPECT_HR(enumerator->Next(3, rest.Raw(), &fetched), left == 3 ? S_OK : S_FALSE);
        EXPECT_EQ(fetched, left);
        EXPECT_BSTR(V_BSTR(&rest[0]), strings[failing].operator const wchar_t*());
    }
}

TEST(NXStringEnumTest, Next_MakesOneBstrForEachElement) {
    EnumOwner owner;
    Strings strings = {CNKString(L"0"), CNKString(L"1"), CNKString(L"2")};
    const auto enumerator = NewEnum<CNXStringEnum<Strings>>(&owner, strings);
    Variants values(3);
    ULONG fetched = 0;
    EXPECT_EQ(support::CountRequests([&] { enumerator->Next(3, values.Raw(), &fetched); }), 3u);
}

// ---------------------------------------------------------------------------------------------------------------------
// Automation objects

template <class World> class NXInterfaceEnumTest : public ::testing::Test {
  protected:
    using Enum = typename World::Enum;

    CComPtr<IEnumVARIANT> New() { return NewEnum<Enum>(&owner, list); }
    /// Appends object number `index`.
    void Add(unsigned int index) { list.push_back(world.Make(index)); }
    void AddNull() { list.emplace_back(); }

    World world;
    EnumOwner owner;
    typename World::Container list;
};

struct ListNames {
    template <class World> static std::string GetName(int index) {
        return index == 0 ? "TokenStringList" : "FileStreamList";
    }
};

using Lists = ::testing::Types<InterfaceWorld<INXTokenString, support::StackTokenString>,
                               InterfaceWorld<INXFileStream, support::StackFileStream>>;
TYPED_TEST_SUITE(NXInterfaceEnumTest, Lists, ListNames);

TYPED_TEST(NXInterfaceEnumTest, Elements_AreTheObjects_WithAReferenceForTheCaller) {
    this->Add(0);
    auto& object = this->world.objects[0];
    const auto enumerator = this->New();
    {
        Variants values(1);
        ASSERT_HR(enumerator->Next(1, values.Raw(), nullptr), S_OK);
        EXPECT_EQ(V_VT(&values[0]), VT_DISPATCH);
        EXPECT_EQ(V_DISPATCH(&values[0]), &object);
        EXPECT_TRUE(IsEqualIID(object.queried, IID_IDispatch));
        EXPECT_EQ(object.references, 2u) << "the list's and the caller's";
        this->list.clear();
        EXPECT_EQ(object.references, 1u);
    }
    EXPECT_EQ(object.references, 0u);
}

TYPED_TEST(NXInterfaceEnumTest, Elements_TheSameObjectTwice_HaveAReferenceEach) {
    this->Add(0);
    this->Add(0);
    Variants values(2);
    ULONG fetched = 0;
    ASSERT_HR(this->New()->Next(2, values.Raw(), &fetched), S_OK);
    EXPECT_EQ(V_DISPATCH(&values[0]), V_DISPATCH(&values[1]));
    EXPECT_EQ(this->world.objects[0].references, 4u);
}

TYPED_TEST(NXInterfaceEnumTest, Elements_OfNull_AreNullObjects) {
    this->AddNull();
    this->Add(0);
    const auto enumerator = this->New();
    Variants values(2);
    ULONG fetched = 0;
    EXPECT_HR(enumerator->Next(2, values.Raw(), &fetched), S_OK);
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_VT(&values[0]), VT_DISPATCH);
    EXPECT_EQ(V_DISPATCH(&values[0]), nullptr);
    EXPECT_EQ(V_DISPATCH(&values[1]), &this->world.objects[0]);
}

TYPED_TEST(NXInterfaceEnumTest, Next_OfAnObjectThatRefusesIDispatch_FreesAllAndStaysThere) {
    for (unsigned int index = 0; index < 3; ++index) {
        this->Add(index);
    }
    const auto enumerator = this->New();
    this->world.objects[1].onQuery = [] { return E_ACCESSDENIED; };
    Variants values(3);
    ULONG fetched = 99;
    EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), E_ACCESSDENIED);
    EXPECT_EQ(fetched, 0u);
    EXPECT_TRUE(values.AreEmpty());
    for (unsigned int index = 0; index < 3; ++index) {
        EXPECT_EQ(this->world.objects[index].references, 1u) << index;
    }

    EXPECT_HR(enumerator->Next(1, values.Raw(), &fetched), E_ACCESSDENIED) << "while it refuses";
    this->world.objects[1].onQuery = [] { return S_OK; };
    EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_DISPATCH(&values[0]), &this->world.objects[1]);
    EXPECT_EQ(V_DISPATCH(&values[1]), &this->world.objects[2]);
}

TYPED_TEST(NXInterfaceEnumTest, Next_OfAnObjectThatRemovesItself_DeliversIt) {
    for (unsigned int index = 0; index < 3; ++index) {
        this->Add(index);
    }
    const auto enumerator = this->New();
    auto& object = this->world.objects[0];
    ULONG referencesMeanwhile = 0;
    object.onQuery = [&] {
        this->list.erase(this->list.begin());
        referencesMeanwhile = object.references;
        return S_OK;
    };
    Variants values(3);
    ULONG fetched = 0;
    EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), S_FALSE);
    EXPECT_GE(referencesMeanwhile, 1u) << "the enumerator keeps it alive";
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_DISPATCH(&values[0]), &object);
    EXPECT_EQ(V_DISPATCH(&values[1]), &this->world.objects[2]) << "the later entries have moved up";
    EXPECT_EQ(object.references, 1u);
}

TYPED_TEST(NXInterfaceEnumTest, Next_OfAnObjectThatEmptiesTheList_DeliversIt) {
    for (unsigned int index = 0; index < 3; ++index) {
        this->Add(index);
    }
    const auto enumerator = this->New();
    this->world.objects[1].onQuery = [&] {
        this->list.clear();
        this->list.shrink_to_fit();
        return S_OK;
    };
    Variants values(3);
    ULONG fetched = 0;
    EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_DISPATCH(&values[1]), &this->world.objects[1]);
}

// ---------------------------------------------------------------------------------------------------------------------
// VARIANTs

TEST(NXVariantEnumTest, Elements_AreDeepCopies) {
    EnumOwner owner;
    support::StackTokenString object;
    const Variant text(L"abc");
    const Variant dispatch(static_cast<IDispatch*>(&object));
    std::vector<VARIANT> list = {*text.Raw(), *dispatch.Raw()};
    const auto enumerator = NewEnum<CNXVariantEnum<std::vector<VARIANT>>>(&owner, list);
    {
        Variants values(2);
        ULONG fetched = 0;
        ASSERT_HR(enumerator->Next(2, values.Raw(), &fetched), S_OK);
        EXPECT_NE(V_BSTR(&values[0]), text.Text());
        V_BSTR(&values[0])[0] = L'X';
        EXPECT_BSTR(text.Text(), L"abc");
        EXPECT_EQ(V_DISPATCH(&values[1]), &object);
        EXPECT_EQ(object.references, 2u);
    }
    EXPECT_BSTR(text.Text(), L"abc");
    EXPECT_EQ(object.references, 1u);
}

TEST(NXVariantEnumTest, Elements_OfEveryKind_KeepTheirTypes) {
    EnumOwner owner;
    long variable = 7;
    const Variant originals[] = {Variant(), Variant::Null(),     Variant(short{-2}), Variant(1.5),
                                 true,      Variant::NullText(), Variant::Missing(), Variant::To(variable)};
    std::vector<VARIANT> list;
    for (const Variant& original : originals) {
        list.push_back(*original.Raw());
    }
    const auto enumerator = NewEnum<CNXVariantEnum<std::vector<VARIANT>>>(&owner, list);
    Variants values(list.size());
    ULONG fetched = 0;
    ASSERT_HR(enumerator->Next(static_cast<ULONG>(list.size()), values.Raw(), &fetched), S_OK);
    for (std::size_t index = 0; index < list.size(); ++index) {
        EXPECT_EQ(V_VT(&values[index]), V_VT(&list[index])) << index;
    }
    EXPECT_EQ(V_I2(&values[2]), -2);
    EXPECT_EQ(V_R8(&values[3]), 1.5);
    EXPECT_EQ(V_BOOL(&values[4]), VARIANT_TRUE);
    EXPECT_EQ(V_ERROR(&values[6]), DISP_E_PARAMNOTFOUND);
    EXPECT_EQ(V_I4REF(&values[7]), &variable) << "references are kept";
}

TEST(NXVariantEnumTest, Next_OfAValueThatCannotBeCopied_FreesAllAndStaysThere) {
    EnumOwner owner;
    const Variant text(L"abc");
    VARIANT invalid = {};
    V_VT(&invalid) = 0x0FFE;
    std::vector<VARIANT> list = {*text.Raw(), invalid};
    const auto enumerator = NewEnum<CNXVariantEnum<std::vector<VARIANT>>>(&owner, list);
    Variants values(2);
    ULONG fetched = 99;
    {
        const ExpectNoLeaks noLeaks;
        EXPECT_HR(enumerator->Next(2, values.Raw(), &fetched), DISP_E_BADVARTYPE);
    }
    EXPECT_EQ(fetched, 0u);
    EXPECT_TRUE(values.AreEmpty());
    list[1] = *Variant(5).Raw();
    EXPECT_HR(enumerator->Next(2, values.Raw(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 1u);
    EXPECT_EQ(V_I4(&values[0]), 5);
}

TEST(NXVariantEnumTest, Next_OutOfMemory_FreesAll) {
    EnumOwner owner;
    const Variant first(L"0");
    const Variant second(L"1");
    std::vector<VARIANT> list = {*first.Raw(), *second.Raw()};
    for (std::size_t failing = 0; failing < 2; ++failing) {
        SCOPED_TRACE(failing);
        const auto enumerator = NewEnum<CNXVariantEnum<std::vector<VARIANT>>>(&owner, list);
        Variants values(2);
        ULONG fetched = 99;
        {
            const ExpectNoLeaks noLeaks;
            const AllocationFault fault(failing + 1);
            EXPECT_HR(enumerator->Next(2, values.Raw(), &fetched), E_OUTOFMEMORY);
        }
        EXPECT_EQ(fetched, 0u);
        for (std::size_t index = 0; index < failing; ++index) {
            EXPECT_EQ(V_VT(&values[index]), VT_EMPTY) << index;
        }
        EXPECT_TRUE(V_VT(&values[failing]) == VT_EMPTY || V_BSTR(&values[failing]) == nullptr) << "owns nothing";
        EXPECT_HR(enumerator->Next(1, values.Raw(), &fetched), S_OK);
        EXPECT_BSTR(V_BSTR(&values[0]), V_BSTR(&list[failing]));
    }
}

} // namespace
