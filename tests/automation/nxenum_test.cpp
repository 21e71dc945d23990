// The enumerators of the collection classes, over containers and owners of the test's own.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <atlcom.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxenum.h"
#include "core/nktokenstring.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/module.h"
#include "tests/automation/stackobject.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::AllocationFault;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Variant;

/// Whose container is enumerated.
using Owner = support::StackObject<IUnknown>;

using TokenString = support::StackTokenString;
using FileStream = support::StackFileStream;

/// VARIANTs that an enumerator fills in, owned here.
class Variants {
  public:
    explicit Variants(std::size_t size) : m_values(size) {
        for (VARIANT& value : m_values) {
            VariantInit(&value);
        }
    }
    Variants(const Variants&) = delete;
    Variants& operator=(const Variants&) = delete;
    ~Variants() {
        for (VARIANT& value : m_values) {
            VariantClear(&value);
        }
    }

    VARIANT* Raw() noexcept { return m_values.data(); }
    const VARIANT& operator[](std::size_t index) const { return m_values.at(index); }

    /// Whether there is nothing in any.
    [[nodiscard]] bool AreEmpty() const {
        return std::all_of(m_values.begin(), m_values.end(), [](const VARIANT& v) { return V_VT(&v) == VT_EMPTY; });
    }

  private:
    std::vector<VARIANT> m_values;
};

template <class Enum, class Container> CComPtr<IEnumVARIANT> NewEnum(IUnknown* owner, Container& container) {
    CComPtr<IUnknown> unknown;
    support::Require(CreateEnum<Enum>(owner, container, &unknown), "CreateEnum");
    CComPtr<IEnumVARIANT> enumerator;
    support::Require(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)), "query");
    return enumerator;
}

// ---------------------------------------------------------------------------------------------------------------------
// The same of all enumerators

// A world has a container that holds element 0, 1 and 2, and can make any further one.

template <class List> struct StringWorld {
    using Container = List;
    using Enum = CNXStringEnum<Container>;
    static CNKString Make(unsigned int index) { return CNKString(index); }
    static bool Is(const VARIANT& value, unsigned int index) {
        return V_VT(&value) == VT_BSTR && support::IsBstr("", "", V_BSTR(&value), std::to_wstring(index));
    }
};

template <class Interface, class Object> struct InterfaceWorld {
    using Container = CNXInterfaceList<Interface>;
    using Enum = CNXInterfaceEnum<Interface>;
    CAdapt<CComPtr<Interface>> Make(unsigned int index) { return CComPtr<Interface>(&objects[index]); }
    bool Is(const VARIANT& value, unsigned int index) {
        return V_VT(&value) == VT_DISPATCH && V_DISPATCH(&value) == &objects[index];
    }
    Object objects[8];
};

struct VariantWorld {
    using Container = std::vector<VARIANT>;
    using Enum = CNXVariantEnum<std::vector<VARIANT>>;
    static VARIANT Make(unsigned int index) { return *Variant(static_cast<int>(index)).Raw(); }
    static bool Is(const VARIANT& value, unsigned int index) {
        return V_VT(&value) == VT_I4 && V_I4(&value) == static_cast<long>(index);
    }
};

template <class World> class NXEnumTest : public ::testing::Test {
  private:
    const support::ExpectNoObjectsLeft m_noObjectsLeft;

  protected:
    using Enum = typename World::Enum;
    using Container = typename World::Container;

    NXEnumTest() {
        for (unsigned int index = 0; index < 3; ++index) {
            container.push_back(world.Make(index));
        }
    }
    ~NXEnumTest() override { EXPECT_EQ(owner.references, 0u); }

    CComPtr<IEnumVARIANT> New() { return NewEnum<Enum>(&owner, container); }

    /// Whether the enumerator's next element is this one. Steps over it.
    ::testing::AssertionResult NextIs(IEnumVARIANT* enumerator, unsigned int index) {
        Variants values(1);
        ULONG fetched = 99;
        const HRESULT hr = enumerator->Next(1, values.Raw(), &fetched);
        if (hr != S_OK || fetched != 1) {
            return ::testing::AssertionFailure() << "Next: " << support::PrintedHr(hr) << ", fetched " << fetched;
        }
        if (!world.Is(values[0], index)) {
            return ::testing::AssertionFailure() << "another element, of type " << V_VT(&values[0]);
        }
        return ::testing::AssertionSuccess();
    }
    /// Whether the enumerator has no more elements.
    static ::testing::AssertionResult IsAtEnd(IEnumVARIANT* enumerator) {
        Variants values(1);
        ULONG fetched = 99;
        const HRESULT hr = enumerator->Next(1, values.Raw(), &fetched);
        if (hr == S_FALSE && fetched == 0 && values.AreEmpty()) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "Next: " << support::PrintedHr(hr) << ", fetched " << fetched;
    }

    World world;
    Owner owner;
    Container container;
};

struct WorldNames {
    template <class World> static std::string GetName(int index) {
        constexpr const char* names[] = {"StringList", "TokenString", "TokenStringList", "FileStreamList",
                                         "VariantCollection"};
        return names[index];
    }
};

using Worlds = ::testing::Types<StringWorld<CNKStringList>, StringWorld<CNKTokenString>,
                                InterfaceWorld<INXTokenString, TokenString>, InterfaceWorld<INXFileStream, FileStream>,
                                VariantWorld>;
TYPED_TEST_SUITE(NXEnumTest, Worlds, WorldNames);

// Next

TYPED_TEST(NXEnumTest, Next_OneByOne_DeliversAllInOrder) {
    const auto enumerator = this->New();
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    EXPECT_TRUE(this->NextIs(enumerator, 1));
    EXPECT_TRUE(this->NextIs(enumerator, 2));
    EXPECT_TRUE(this->IsAtEnd(enumerator));
    EXPECT_TRUE(this->IsAtEnd(enumerator));
}

TYPED_TEST(NXEnumTest, Next_AsManyAsThereAre) {
    const auto enumerator = this->New();
    Variants values(3);
    ULONG fetched = 99;
    EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), S_OK);
    EXPECT_EQ(fetched, 3u);
    for (unsigned int index = 0; index < 3; ++index) {
        EXPECT_TRUE(this->world.Is(values[index], index)) << index;
    }
    EXPECT_TRUE(this->IsAtEnd(enumerator));
}

TYPED_TEST(NXEnumTest, Next_MoreThanThereAre_DeliversThoseWithSFalse) {
    const auto enumerator = this->New();
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    Variants values(3);
    ULONG fetched = 99;
    EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 2u);
    EXPECT_TRUE(this->world.Is(values[0], 1));
    EXPECT_TRUE(this->world.Is(values[1], 2));
    EXPECT_EQ(V_VT(&values[2]), VT_EMPTY);
    EXPECT_TRUE(this->IsAtEnd(enumerator));
}

TYPED_TEST(NXEnumTest, Next_None_Succeeds) {
    const auto enumerator = this->New();
    Variants values(1);
    ULONG fetched = 99;
    EXPECT_HR(enumerator->Next(0, values.Raw(), &fetched), S_OK);
    EXPECT_EQ(fetched, 0u);
    EXPECT_HR(enumerator->Next(0, values.Raw(), nullptr), S_OK);
    EXPECT_TRUE(values.AreEmpty());
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    EXPECT_HR(enumerator->Skip(2), S_OK);
    EXPECT_HR(enumerator->Next(0, values.Raw(), &fetched), S_OK) << "at the end";
    EXPECT_EQ(fetched, 0u);
}

TYPED_TEST(NXEnumTest, Next_OneWithoutPlaceForTheCount) {
    const auto enumerator = this->New();
    Variants values(1);
    EXPECT_HR(enumerator->Next(1, values.Raw(), nullptr), S_OK);
    EXPECT_TRUE(this->world.Is(values[0], 0));
    EXPECT_HR(enumerator->Skip(2), S_OK);
    Variants none(1);
    EXPECT_HR(enumerator->Next(1, none.Raw(), nullptr), S_FALSE);
    EXPECT_TRUE(none.AreEmpty());
}

TYPED_TEST(NXEnumTest, Next_SeveralWithoutPlaceForTheCount_TouchesNothing) {
    const auto enumerator = this->New();
    VARIANT untouched[2] = {};
    V_VT(&untouched[0]) = V_VT(&untouched[1]) = 0x7777;
    EXPECT_HR(enumerator->Next(2, untouched, nullptr), E_POINTER);
    EXPECT_EQ(V_VT(&untouched[0]), 0x7777);
    EXPECT_EQ(V_VT(&untouched[1]), 0x7777);
    EXPECT_TRUE(this->NextIs(enumerator, 0));
}

TYPED_TEST(NXEnumTest, Next_WithoutPlaceForElements) {
    const auto enumerator = this->New();
    ULONG fetched = 0;
    EXPECT_HR(enumerator->Next(1, nullptr, &fetched), E_POINTER);
    EXPECT_HR(enumerator->Next(0, nullptr, &fetched), E_POINTER);
    EXPECT_HR(enumerator->Next(1, nullptr, nullptr), E_POINTER);
    EXPECT_TRUE(this->NextIs(enumerator, 0));
}

TYPED_TEST(NXEnumTest, Next_TakesWhatTheElementsHeldForGarbage) {
    const auto enumerator = this->New();
    VARIANT garbage;
    std::memset(&garbage, 0xEE, sizeof(garbage));
    EXPECT_HR(enumerator->Next(1, &garbage, nullptr), S_OK);
    EXPECT_TRUE(this->world.Is(garbage, 0));
    VariantClear(&garbage);
}

TYPED_TEST(NXEnumTest, Next_OfNothing) {
    this->container.clear();
    const auto enumerator = this->New();
    EXPECT_TRUE(this->IsAtEnd(enumerator));
    EXPECT_HR(enumerator->Skip(0), S_OK);
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_TRUE(this->IsAtEnd(enumerator));
}

// Skip, Reset

TYPED_TEST(NXEnumTest, Skip_StepsOverElements) {
    const auto enumerator = this->New();
    EXPECT_HR(enumerator->Skip(1), S_OK);
    EXPECT_TRUE(this->NextIs(enumerator, 1));
    EXPECT_HR(enumerator->Skip(0), S_OK);
    EXPECT_TRUE(this->NextIs(enumerator, 2));
}

TYPED_TEST(NXEnumTest, Skip_JustToTheEnd_Succeeds) {
    const auto enumerator = this->New();
    EXPECT_HR(enumerator->Skip(3), S_OK);
    EXPECT_TRUE(this->IsAtEnd(enumerator));
    EXPECT_HR(enumerator->Skip(0), S_OK);
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
}

TYPED_TEST(NXEnumTest, Skip_BeyondTheEnd_StopsThereWithSFalse) {
    for (const ULONG count : {4ul, 0x7FFFFFFFul, 0xFFFFFFFFul}) {
        const auto enumerator = this->New();
        EXPECT_TRUE(this->NextIs(enumerator, 0));
        EXPECT_HR(enumerator->Skip(count), S_FALSE);
        EXPECT_TRUE(this->IsAtEnd(enumerator));
        this->container.push_back(this->world.Make(3));
        EXPECT_TRUE(this->NextIs(enumerator, 3)) << "it stood at the end, not beyond";
        this->container.pop_back();
    }
}

TYPED_TEST(NXEnumTest, Reset_GoesBackToTheFirst) {
    const auto enumerator = this->New();
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    EXPECT_TRUE(this->NextIs(enumerator, 1));
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    EXPECT_HR(enumerator->Skip(99), S_FALSE);
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_TRUE(this->NextIs(enumerator, 0));
}

// Clone

TYPED_TEST(NXEnumTest, Clone_StandsWhereTheOriginalStands_AndGoesItsOwnWay) {
    const auto enumerator = this->New();
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    EXPECT_TRUE(this->NextIs(clone, 1));
    EXPECT_TRUE(this->NextIs(clone, 2));
    EXPECT_TRUE(this->NextIs(enumerator, 1));
    EXPECT_HR(clone->Reset(), S_OK);
    EXPECT_TRUE(this->NextIs(enumerator, 2));
    EXPECT_TRUE(this->NextIs(clone, 0));
    EXPECT_TRUE(this->IsAtEnd(enumerator));
}

TYPED_TEST(NXEnumTest, Clone_OfAnEnumeratorAtTheEnd) {
    const auto enumerator = this->New();
    EXPECT_HR(enumerator->Skip(3), S_OK);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    EXPECT_TRUE(this->IsAtEnd(clone));
}

TYPED_TEST(NXEnumTest, Clone_OutlivesTheOriginal) {
    CComPtr<IEnumVARIANT> enumerator = this->New();
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    enumerator.Release();
    EXPECT_EQ(this->owner.references, 1u);
    EXPECT_TRUE(this->NextIs(clone, 0));
}

TYPED_TEST(NXEnumTest, Clone_WithoutPlaceForIt) {
    EXPECT_HR(this->New()->Clone(nullptr), E_POINTER);
}

TYPED_TEST(NXEnumTest, Clone_OutOfMemory_GivesNullAndLeavesTheOriginalAlone) {
    const auto enumerator = this->New();
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    ForEachAllocationFailure([&] {
        auto* clone = reinterpret_cast<IEnumVARIANT*>(this);
        const HRESULT hr = enumerator->Clone(&clone);
        if (SUCCEEDED(hr)) {
            clone->Release();
        } else {
            EXPECT_EQ(clone, nullptr);
        }
        return hr;
    });
    EXPECT_EQ(this->owner.references, 1u);
    EXPECT_TRUE(this->NextIs(enumerator, 1));
}

// Life

TYPED_TEST(NXEnumTest, Enumerators_HoldTheirOwner) {
    CComPtr<IEnumVARIANT> enumerator = this->New();
    EXPECT_EQ(this->owner.references, 1u);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    EXPECT_EQ(this->owner.references, 2u);
    enumerator.Release();
    EXPECT_EQ(this->owner.references, 1u);
    clone.Release();
    EXPECT_EQ(this->owner.references, 0u);
}

TYPED_TEST(NXEnumTest, Enumerators_LockTheModule) {
    const LONG locks = _Module.GetLockCount();
    CComPtr<IEnumVARIANT> enumerator = this->New();
    EXPECT_EQ(_Module.GetLockCount(), locks + 1);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    EXPECT_EQ(_Module.GetLockCount(), locks + 2);
    clone.Release();
    enumerator.Release();
    EXPECT_EQ(_Module.GetLockCount(), locks);
}

TYPED_TEST(NXEnumTest, Enumerators_LeaveNothingBehind) {
    const ExpectNoLeaks noLeaks;
    const auto enumerator = this->New();
    Variants values(3);
    ULONG fetched = 0;
    EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), S_OK);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
}

TYPED_TEST(NXEnumTest, Enumerators_AnswerTwoInterfaces) {
    const auto enumerator = this->New();
    for (const IID& iid : {IID_IUnknown, IID_IEnumVARIANT}) {
        CComPtr<IUnknown> answer;
        EXPECT_HR(enumerator->QueryInterface(iid, reinterpret_cast<void**>(&answer)), S_OK);
        EXPECT_EQ(answer.p, static_cast<IUnknown*>(enumerator.p));
    }
    for (const IID& iid :
         {IID_IDispatch, IID_ISupportErrorInfo, IID_IEnumUnknown, IID_IMarshal, IID_INXStringList, IID_NULL}) {
        void* answer = this;
        EXPECT_HR(enumerator->QueryInterface(iid, &answer), E_NOINTERFACE);
        EXPECT_EQ(answer, nullptr);
    }
}

TYPED_TEST(NXEnumTest, CreateEnum_GivesTheCallerOneReference) {
    auto* enumerator = reinterpret_cast<IUnknown*>(this);
    EXPECT_HR(CreateEnum<typename TypeParam::Enum>(&this->owner, this->container, &enumerator), S_OK);
    ASSERT_NE(enumerator, nullptr);
    EXPECT_EQ(enumerator->Release(), 0u);
}

TYPED_TEST(NXEnumTest, CreateEnum_OutOfMemory_GivesNull) {
    ForEachAllocationFailure([&] {
        auto* enumerator = reinterpret_cast<IUnknown*>(this);
        const HRESULT hr = CreateEnum<typename TypeParam::Enum>(&this->owner, this->container, &enumerator);
        if (SUCCEEDED(hr)) {
            enumerator->Release();
        } else {
            EXPECT_EQ(enumerator, nullptr);
        }
        return hr;
    });
}

TYPED_TEST(NXEnumTest, Uninitialised_FailsEverything) {
    using Enumerator = CComObject<typename TypeParam::Enum>;
    Enumerator* created = nullptr;
    ASSERT_HR(Enumerator::CreateInstance(&created), S_OK);
    const CComPtr<Enumerator> enumerator(created);
    Variants values(1);
    ULONG fetched = 99;
    EXPECT_HR(enumerator->Next(1, values.Raw(), &fetched), E_FAIL);
    EXPECT_EQ(fetched, 0u);
    EXPECT_TRUE(values.AreEmpty());
    EXPECT_HR(enumerator->Next(1, nullptr, &fetched), E_POINTER) << "comes first";
    EXPECT_HR(enumerator->Skip(1), E_FAIL);
    EXPECT_HR(enumerator->Reset(), E_FAIL);
    auto* clone = reinterpret_cast<IEnumVARIANT*>(this);
    EXPECT_HR(enumerator->Clone(&clone), E_FAIL);
    EXPECT_EQ(clone, nullptr);
}

// Containers that change meanwhile

TYPED_TEST(NXEnumTest, Container_Grown_IsWalkedToItsNewEnd) {
    const auto enumerator = this->New();
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    for (unsigned int index = 3; index < 8; ++index) {
        this->container.push_back(this->world.Make(index)); // moves a vector's elements
    }
    for (unsigned int index = 1; index < 8; ++index) {
        EXPECT_TRUE(this->NextIs(enumerator, index));
    }
    EXPECT_TRUE(this->IsAtEnd(enumerator));
    this->container.push_back(this->world.Make(0));
    EXPECT_TRUE(this->NextIs(enumerator, 0)) << "one more behind the end";
}

TYPED_TEST(NXEnumTest, Container_Shrunk_IsWalkedToItsNewEnd) {
    const auto enumerator = this->New();
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    this->container.pop_back();
    EXPECT_TRUE(this->NextIs(enumerator, 1));
    EXPECT_TRUE(this->IsAtEnd(enumerator));
}

TYPED_TEST(NXEnumTest, Container_ShrunkBelowThePosition_IsAtTheEnd) {
    const auto enumerator = this->New();
    EXPECT_HR(enumerator->Skip(3), S_OK);
    this->container.pop_back();
    this->container.pop_back();
    EXPECT_TRUE(this->IsAtEnd(enumerator));
    EXPECT_HR(enumerator->Skip(0), S_OK);
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    EXPECT_TRUE(this->IsAtEnd(clone));
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    EXPECT_TRUE(this->IsAtEnd(enumerator));
}

TYPED_TEST(NXEnumTest, Container_Emptied_IsAtTheEnd) {
    const auto enumerator = this->New();
    EXPECT_TRUE(this->NextIs(enumerator, 0));
    this->container.clear();
    EXPECT_TRUE(this->IsAtEnd(enumerator));
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_TRUE(this->IsAtEnd(enumerator));
    this->container.push_back(this->world.Make(5));
    EXPECT_TRUE(this->NextIs(enumerator, 5));
}

// ---------------------------------------------------------------------------------------------------------------------
// Strings

using Strings = std::vector<CNKString>;

TEST(NXStringEnumTest, Elements_KeepNullZeroLengthAndNuls) {
    Owner owner;
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
    Owner owner;
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

TEST(NXStringEnumTest, Next_OutOfMemory_TakesAllBackAndStandsAtTheElementThatFailed) {
    Owner owner;
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
    Owner owner;
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
    Owner owner;
    typename World::Container list;
};

struct ListNames {
    template <class World> static std::string GetName(int index) {
        return index == 0 ? "TokenStringList" : "FileStreamList";
    }
};

using Lists = ::testing::Types<InterfaceWorld<INXTokenString, TokenString>, InterfaceWorld<INXFileStream, FileStream>>;
TYPED_TEST_SUITE(NXInterfaceEnumTest, Lists, ListNames);

TYPED_TEST(NXInterfaceEnumTest, Elements_AreTheListsObjects_WithAReferenceForTheCaller) {
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

TYPED_TEST(NXInterfaceEnumTest, Elements_TheSameObjectTwice) {
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

TYPED_TEST(NXInterfaceEnumTest, Next_OfAnObjectThatRefuses_TakesAllBackAndStandsThere) {
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

    EXPECT_HR(enumerator->Next(1, values.Raw(), &fetched), E_ACCESSDENIED) << "as long as it refuses";
    this->world.objects[1].onQuery = [] { return S_OK; };
    EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_DISPATCH(&values[0]), &this->world.objects[1]);
    EXPECT_EQ(V_DISPATCH(&values[1]), &this->world.objects[2]);
}

TYPED_TEST(NXInterfaceEnumTest, Next_OfAnObjectThatRemovesItselfMeanwhile) {
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
    EXPECT_GE(referencesMeanwhile, 1u) << "the enumerator held it";
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_DISPATCH(&values[0]), &object);
    EXPECT_EQ(V_DISPATCH(&values[1]), &this->world.objects[2]) << "the list moved up under the enumerator";
    EXPECT_EQ(object.references, 1u);
}

TYPED_TEST(NXInterfaceEnumTest, Next_OfAnObjectThatEmptiesTheListMeanwhile) {
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
    Owner owner;
    TokenString object;
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

TEST(NXVariantEnumTest, Elements_OfEveryKind) {
    Owner owner;
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
    EXPECT_EQ(V_I4REF(&values[7]), &variable) << "a reference stays one";
}

TEST(NXVariantEnumTest, Next_OfWhatCannotBeCopied_TakesAllBackAndStandsThere) {
    Owner owner;
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

TEST(NXVariantEnumTest, Next_OutOfMemory_TakesAllBack) {
    Owner owner;
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
