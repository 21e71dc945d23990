// What all classes have in common: the interfaces of their objects, _NewEnum, and that objects keep the DLL loaded.

#include <string>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <ocidl.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/objectlist.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using support::Binding;
using support::CreateInstance;
using support::DispatchObject;
using support::DllHoldsObjects;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;

using TokenStringList = support::ObjectList<support::TokenStrings>;
using FileStreamList = support::ObjectList<support::FileStreams>;

/// The interfaces of which each class has one.
const IID* const classInterfaces[] = {&IID_INXString,           &IID_INXTokenString,     &IID_INXStringList,
                                      &IID_INXFileStream,       &IID_INXTokenStringList, &IID_INXFileStreamList,
                                      &IID_INXVariantCollection};

template <class Tested> class AutomationObjectTest : public support::ClassTest<Tested> {
  protected:
    using Interface = typename Tested::Type;

    static const IID& Own() { return __uuidof(Interface); }

    const CComPtr<Interface> object = CreateInstance<Interface>(Tested::Clsid());
};

using Classes = ::testing::Types<support::String, support::TokenString, support::StringList, support::FileStream,
                                 TokenStringList, FileStreamList, support::VariantCollection>;

struct ClassNames {
    template <class Tested> static std::string GetName(int index) {
        constexpr const char* names[] = {"String",          "TokenString",    "StringList",       "FileStream",
                                         "TokenStringList", "FileStreamList", "VariantCollection"};
        return names[index];
    }
};
TYPED_TEST_SUITE(AutomationObjectTest, Classes, ClassNames);

TYPED_TEST(AutomationObjectTest, QueryInterface_OfItsInterfaces_KeepsTheIdentity) {
    CComPtr<IUnknown> identity;
    ASSERT_HR(this->object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    for (const IID& iid : {IID_IUnknown, IID_IDispatch, this->Own(), IID_ISupportErrorInfo}) {
        CComPtr<IUnknown> queried;
        ASSERT_HR(this->object->QueryInterface(iid, reinterpret_cast<void**>(&queried)), S_OK);
        ASSERT_NE(queried.p, nullptr);
        CComPtr<IUnknown> unknown;
        EXPECT_HR(queried->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), S_OK);
        EXPECT_EQ(unknown.p, identity.p);
        CComPtr<typename TypeParam::Type> back;
        EXPECT_HR(queried->QueryInterface(this->Own(), reinterpret_cast<void**>(&back)), S_OK);
        EXPECT_EQ(back.p, this->object.p);
    }
}

TYPED_TEST(AutomationObjectTest, QueryInterface_OfIDispatch_IsTheDualInterface) {
    CComPtr<IDispatch> dispatch;
    EXPECT_HR(this->object->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch)), S_OK);
    EXPECT_EQ(dispatch.p, static_cast<IDispatch*>(this->object.p));
}

TYPED_TEST(AutomationObjectTest, QueryInterface_OfOtherInterfaces_IsRefused) {
    const auto expectRefused = [this](const IID& iid) {
        void* queried = &queried;
        EXPECT_HR(this->object->QueryInterface(iid, &queried), E_NOINTERFACE);
        EXPECT_EQ(queried, nullptr);
    };
    for (const IID& other : {IID_IEnumVARIANT, IID_IEnumUnknown, IID_IProvideClassInfo, IID_IMarshal, IID_IPersist,
                             IID_IPersistStream, IID_IClassFactory, IID_IErrorInfo, IID_NULL, TypeParam::Clsid()}) {
        expectRefused(other);
    }
    for (const IID* const other : classInterfaces) {
        if (*other != this->Own()) {
            expectRefused(*other);
        }
    }
    EXPECT_HR(this->object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TYPED_TEST(AutomationObjectTest, InterfaceSupportsErrorInfo_IsTrueOfItsOwnOnly) {
    const CComPtr<ISupportErrorInfo> support = CreateInstance<ISupportErrorInfo>(TypeParam::Clsid());
    for (const IID* const iid : classInterfaces) {
        EXPECT_HR(support->InterfaceSupportsErrorInfo(*iid), *iid == this->Own() ? S_OK : S_FALSE);
    }
    for (const IID& other :
         {IID_IDispatch, IID_IUnknown, IID_ISupportErrorInfo, IID_IEnumVARIANT, IID_NULL, TypeParam::Clsid()}) {
        EXPECT_HR(support->InterfaceSupportsErrorInfo(other), S_FALSE);
    }
}

TYPED_TEST(AutomationObjectTest, References_AreCounted) {
    EXPECT_EQ(this->object->AddRef(), 2u);
    EXPECT_EQ(this->object->Release(), 1u);
}

template <class Tested> class DllLifetimeTest : public support::ClassTest<Tested> {};
TYPED_TEST_SUITE(DllLifetimeTest, Classes, ClassNames);

TYPED_TEST(DllLifetimeTest, Object_KeepsTheDllLoaded) {
    ASSERT_FALSE(DllHoldsObjects());
    TypeParam object(Binding::Vtable);
    EXPECT_TRUE(DllHoldsObjects());
    object.Release();
    EXPECT_FALSE(DllHoldsObjects());
}

template <class Tested> class AutomationCollectionTest : public support::ClassTest<Tested> {};

using CollectionClasses = ::testing::Types<support::TokenString, support::StringList, TokenStringList, FileStreamList,
                                           support::VariantCollection>;
TYPED_TEST_SUITE(AutomationCollectionTest, CollectionClasses);

TYPED_TEST(AutomationCollectionTest, NewEnum_OutOfMemory_ReturnsTheFailure) {
    struct World {
        TypeParam collection{Binding::Vtable};
        IUnknown* result = collection.Raw();
    };
    ForEachAllocationFailure([] { return World{}; },
                             [](World& world) {
                                 const HRESULT hr = world.collection.Raw()->get__NewEnum(&world.result);
                                 if (SUCCEEDED(hr)) {
                                     world.result->Release();
                                 }
                                 return hr;
                             },
                             [](const World& world) { EXPECT_EQ(world.result, nullptr); });
}

TYPED_TEST(AutomationCollectionTest, Enumerator_KeepsTheDllLoaded) {
    ASSERT_FALSE(DllHoldsObjects());
    TypeParam object(Binding::Vtable);
    auto enumerator = object.NewEnum();
    object.Release();
    EXPECT_TRUE(DllHoldsObjects());
    enumerator.Release();
    EXPECT_FALSE(DllHoldsObjects());
}

template <class List> class DllLifetimeOfListTest : public support::ClassTest<List> {};
using ListClasses = ::testing::Types<TokenStringList, FileStreamList>;
TYPED_TEST_SUITE(DllLifetimeOfListTest, ListClasses);

TYPED_TEST(DllLifetimeOfListTest, Entry_KeepsTheDllLoaded) {
    ASSERT_FALSE(DllHoldsObjects());
    TypeParam list(Binding::LateBound);
    auto entry = list.AddNew();
    auto enumerator = list.NewEnum();
    list.Release();
    EXPECT_TRUE(DllHoldsObjects());
    enumerator.Release();
    EXPECT_TRUE(DllHoldsObjects());
    entry.Release();
    EXPECT_FALSE(DllHoldsObjects());
}

using NXStringLifetimeTest = support::ClassTest<support::String>;

TEST_F(NXStringLifetimeTest, TenThousandObjects_LeakNothing) {
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
