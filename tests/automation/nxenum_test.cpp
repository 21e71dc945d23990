// What the enumerators of all collections have in common, over containers and owners of the test's own.

#include <cstring>
#include <string>

#include <atlcom.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxenum.h"
#include "core/nktokenstring.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/enumworlds.h"
#include "tests/automation/module.h"
#include "tests/automation/stackobject.h"
#include "tests/support/allocation_faults.h"

namespace {

using support::EnumOwner;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::InterfaceWorld;
using support::StringWorld;
using support::Variants;
using support::VariantWorld;

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

    CComPtr<IEnumVARIANT> New() { return support::NewEnum<Enum>(&owner, container); }

    /// Whether the enumerator's next element is this one, which is then passed.
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
    EnumOwner owner;
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
                                InterfaceWorld<INXTokenString, support::StackTokenString>,
                                InterfaceWorld<INXFileStream, support::StackFileStream>, VariantWorld>;
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

TYPED_TEST(NXEnumTest, Next_AllAtOnce) {
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

TYPED_TEST(NXEnumTest, Next_OneWithoutACount) {
    const auto enumerator = this->New();
    Variants values(1);
    EXPECT_HR(enumerator->Next(1, values.Raw(), nullptr), S_OK);
    EXPECT_TRUE(this->world.Is(values[0], 0));
    EXPECT_HR(enumerator->Skip(2), S_OK);
    Variants none(1);
    EXPECT_HR(enumerator->Next(1, none.Raw(), nullptr), S_FALSE);
    EXPECT_TRUE(none.AreEmpty());
}

TYPED_TEST(NXEnumTest, Next_SeveralWithoutACount_AreRefused) {
    const auto enumerator = this->New();
    VARIANT untouched[2] = {};
    V_VT(&untouched[0]) = V_VT(&untouched[1]) = 0x7777;
    EXPECT_HR(enumerator->Next(2, untouched, nullptr), E_POINTER);
    EXPECT_EQ(V_VT(&untouched[0]), 0x7777);
    EXPECT_EQ(V_VT(&untouched[1]), 0x7777);
    EXPECT_TRUE(this->NextIs(enumerator, 0));
}

TYPED_TEST(NXEnumTest, Next_WithoutElements_IsRefused) {
    const auto enumerator = this->New();
    ULONG fetched = 0;
    EXPECT_HR(enumerator->Next(1, nullptr, &fetched), E_POINTER);
    EXPECT_HR(enumerator->Next(0, nullptr, &fetched), E_POINTER);
    EXPECT_HR(enumerator->Next(1, nullptr, nullptr), E_POINTER);
    EXPECT_TRUE(this->NextIs(enumerator, 0));
}

TYPED_TEST(NXEnumTest, Next_OverwritesWhatTheElementsHeld) {
    const auto enumerator = this->New();
    VARIANT garbage;
    std::memset(&garbage, 0xEE, sizeof(garbage));
    EXPECT_HR(enumerator->Next(1, &garbage, nullptr), S_OK);
    EXPECT_TRUE(this->world.Is(garbage, 0));
    VariantClear(&garbage);
}

TYPED_TEST(NXEnumTest, Next_OfAnEmptyContainer_IsAtTheEnd) {
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
        EXPECT_TRUE(this->NextIs(enumerator, 3)) << "the position was the end, not beyond";
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

TYPED_TEST(NXEnumTest, Clone_HasTheSamePosition_AndMovesOnItsOwn) {
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

TYPED_TEST(NXEnumTest, Clone_ToNull_IsRefused) {
    EXPECT_HR(this->New()->Clone(nullptr), E_POINTER);
}

TYPED_TEST(NXEnumTest, Clone_OutOfMemory_ReturnsNullAndLeavesTheOriginal) {
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

// Lifetime

TYPED_TEST(NXEnumTest, Enumerators_KeepTheirOwnerAlive) {
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

TYPED_TEST(NXEnumTest, Enumerators_LeakNothing) {
    const ExpectNoLeaks noLeaks;
    const auto enumerator = this->New();
    Variants values(3);
    ULONG fetched = 0;
    EXPECT_HR(enumerator->Next(3, values.Raw(), &fetched), S_OK);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
}

TYPED_TEST(NXEnumTest, Enumerators_HaveTwoInterfaces) {
    const auto enumerator = this->New();
    for (const IID& iid : {IID_IUnknown, IID_IEnumVARIANT}) {
        CComPtr<IUnknown> queried;
        EXPECT_HR(enumerator->QueryInterface(iid, reinterpret_cast<void**>(&queried)), S_OK);
        EXPECT_EQ(queried.p, static_cast<IUnknown*>(enumerator.p));
    }
    for (const IID& iid :
         {IID_IDispatch, IID_ISupportErrorInfo, IID_IEnumUnknown, IID_IMarshal, IID_INXStringList, IID_NULL}) {
        void* queried = this;
        EXPECT_HR(enumerator->QueryInterface(iid, &queried), E_NOINTERFACE);
        EXPECT_EQ(queried, nullptr);
    }
}

TYPED_TEST(NXEnumTest, CreateEnum_ReturnsOneReference) {
    auto* enumerator = reinterpret_cast<IUnknown*>(this);
    EXPECT_HR(CreateEnum<typename TypeParam::Enum>(&this->owner, this->container, &enumerator), S_OK);
    ASSERT_NE(enumerator, nullptr);
    EXPECT_EQ(enumerator->Release(), 0u);
}

TYPED_TEST(NXEnumTest, CreateEnum_OutOfMemory_ReturnsNull) {
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

TYPED_TEST(NXEnumTest, Uninitialised_FailsEachCall) {
    using Enumerator = CComObject<typename TypeParam::Enum>;
    Enumerator* created = nullptr;
    ASSERT_HR(Enumerator::CreateInstance(&created), S_OK);
    const CComPtr<Enumerator> enumerator(created);
    Variants values(1);
    ULONG fetched = 99;
    EXPECT_HR(enumerator->Next(1, values.Raw(), &fetched), E_FAIL);
    EXPECT_EQ(fetched, 0u);
    EXPECT_TRUE(values.AreEmpty());
    EXPECT_HR(enumerator->Next(1, nullptr, &fetched), E_POINTER) << "checked first";
    EXPECT_HR(enumerator->Skip(1), E_FAIL);
    EXPECT_HR(enumerator->Reset(), E_FAIL);
    auto* clone = reinterpret_cast<IEnumVARIANT*>(this);
    EXPECT_HR(enumerator->Clone(&clone), E_FAIL);
    EXPECT_EQ(clone, nullptr);
}

// Containers that change during the enumeration

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
    EXPECT_TRUE(this->NextIs(enumerator, 0)) << "one more after the end";
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

} // namespace
