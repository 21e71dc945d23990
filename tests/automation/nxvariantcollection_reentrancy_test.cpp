// NXVariantCollection with elements that use the collection when it releases them.

#include <functional>
#include <utility>
#include <vector>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/client.h"
#include "tests/automation/clients.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/stackobject.h"
#include "tests/automation/variantvalues.h"
#include "tests/support/bstr.h"

namespace {

using support::Binding;
using support::CollectionId;
using support::DispatchObject;
using support::IntsOf;
using support::Variant;
using support::VariantCollection;

using Ints = std::vector<int>;
using Object = support::StackAutomationObject<IDispatch>;

class NXVariantCollectionReentrancyTest : public support::ClassTest<VariantCollection> {
  protected:
    VariantCollection collection{Binding::LateBound};
    DispatchObject object = collection.LateBound();

    void ReleaseCollection() {
        collection.Release();
        object = DispatchObject(nullptr);
    }
};

/// An object that runs an action before its last reference is released.
class Parting : public Object {
  public:
    explicit Parting(std::function<void()> action) {
        onRelease = [this, action = std::move(action)] {
            if (references == 1 && !std::exchange(m_gone, true)) {
                action();
            }
        };
    }

    [[nodiscard]] bool IsGone() const noexcept { return m_gone && references == 0; }

  private:
    bool m_gone = false;
};

TEST_F(NXVariantCollectionReentrancyTest, Element_Removed_MayEmptyTheCollection) {
    for (const bool lateBound : {false, true}) {
        for (const long index : {1L, 2L, 3L}) {
            Parting parting([&] {
                for (int count = 0; count < 4; ++count) {
                    EXPECT_HR(collection.Raw()->Remove(0), S_OK);
                }
            });
            for (long number = 1; number <= 3; ++number) {
                collection.Add(number == index ? Variant(static_cast<IDispatch*>(&parting)) : Variant(L"text"));
            }
            if (lateBound) {
                collection.Remove(index);
            } else {
                EXPECT_HR(collection.Raw()->Remove(index), S_OK);
            }
            EXPECT_TRUE(parting.IsGone());
            EXPECT_EQ(collection.Count(), 0);
        }
    }
}

TEST_F(NXVariantCollectionReentrancyTest, Element_Removed_MayFillTheCollection) {
    Parting parting([&] {
        for (int value = 0; value < 100; ++value) {
            EXPECT_HR(object.Call(L"Add", value).hr, S_OK);
        }
    });
    collection.Add(static_cast<IDispatch*>(&parting));
    collection.Remove();
    EXPECT_TRUE(parting.IsGone());
    EXPECT_EQ(collection.Count(), 100);
    EXPECT_EQ(collection.Item(100).Int(), 99);
}

TEST_F(NXVariantCollectionReentrancyTest, Element_RemovedLateBound_MayAddThroughTheVtable_ByItsRule) {
    const Variant text(L"lent");
    Parting parting([&] { EXPECT_HR(collection.Raw()->Add(*text.Raw(), 0), S_OK); });
    collection.Add(static_cast<IDispatch*>(&parting));
    collection.Remove();
    text.Text()[0] = L'b';
    EXPECT_BSTR(collection.Item(1).Text(), L"bent");
    collection.Add(L"own");
    EXPECT_BSTR(collection.Item(2).Text(), L"own");
    ReleaseCollection();
}

TEST_F(NXVariantCollectionReentrancyTest, Element_Removed_MayReadTheCollection) {
    Ints seen;
    Parting parting([&] { seen = IntsOf(collection.NewEnum()); });
    collection.Add(1);
    collection.Add(static_cast<IDispatch*>(&parting));
    collection.Add(2);
    collection.Remove(2);
    EXPECT_EQ(seen, (Ints{1, 2})) << "without the removed one";
}

TEST_F(NXVariantCollectionReentrancyTest, Element_Removed_MayReleaseTheCollection) {
    for (const bool lateBound : {false, true}) {
        SCOPED_TRACE(lateBound);
        INXVariantCollection* last = nullptr;
        Parting parting([&] { last->Release(); });
        {
            const VariantCollection own(Binding::LateBound);
            own.Add(static_cast<IDispatch*>(&parting));
            own.Add(L"text");
            last = own.Raw();
            last->AddRef();
        }
        if (lateBound) {
            VARIANT index = *Variant(1).Raw();
            DISPPARAMS parameters = {&index, nullptr, 1, 0};
            EXPECT_HR(last->Invoke(CollectionId::Remove, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                                   nullptr, nullptr, nullptr),
                      S_OK);
        } else {
            EXPECT_HR(last->Remove(1), S_OK);
        }
        EXPECT_TRUE(parting.IsGone());
    }
    ReleaseCollection();
    EXPECT_FALSE(support::DllHoldsObjects());
}

// The collection has no references left, but the element has kept its address, as a variable of a script may.
TEST_F(NXVariantCollectionReentrancyTest, Element_OfACollectionBeingDestroyed_MayUseIt) {
    INXVariantCollection* const destroyed = collection.Raw();
    Object another;
    long countSeen = -1;
    Parting parting([&] {
        const DispatchObject caller(destroyed);
        countSeen = caller.Get(L"Count").value.Int();
        EXPECT_HR(caller.Call(L"Add", L"text").hr, S_OK);
        EXPECT_HR(caller.Call(L"Add", static_cast<IDispatch*>(&another), 1).hr, S_OK);
        EXPECT_HR(caller.Call(L"Remove").hr, S_OK);
        EXPECT_EQ(caller.Get(L"Item", 1).value.Object(), &another);
        EXPECT_EQ(caller.Get(DISPID_NEWENUM).value.Type(), VT_UNKNOWN);
    });
    collection.Add(L"before");
    collection.Add(static_cast<IDispatch*>(&parting));
    collection.Add(static_cast<IDispatch*>(&another));
    ReleaseCollection();
    EXPECT_TRUE(parting.IsGone());
    EXPECT_EQ(countSeen, 0) << "during its destruction a collection is empty";
    EXPECT_EQ(another.references, 0u);
    EXPECT_FALSE(support::DllHoldsObjects());
}

TEST_F(NXVariantCollectionReentrancyTest, Element_AddedDuringDestruction_MayUseIt) {
    INXVariantCollection* const destroyed = collection.Raw();
    Parting last([&] { EXPECT_EQ(DispatchObject(destroyed).Get(L"Count").value.Int(), 0); });
    Parting first([&] { EXPECT_HR(DispatchObject(destroyed).Call(L"Add", static_cast<IDispatch*>(&last)).hr, S_OK); });
    collection.Add(static_cast<IDispatch*>(&first));
    ReleaseCollection();
    EXPECT_TRUE(first.IsGone());
    EXPECT_TRUE(last.IsGone());
}

TEST_F(NXVariantCollectionReentrancyTest, Element_OfAnAggregateBeingDestroyed_MayUseIt) {
    support::StackObject<IUnknown> outer;
    CComPtr<IUnknown> inner;
    ASSERT_HR(CoCreateInstance(CLSID_NXVariantCollection, &outer, CLSCTX_INPROC_SERVER, IID_IUnknown,
                               reinterpret_cast<void**>(&inner)),
              S_OK);
    IDispatch* destroyed = nullptr;
    ASSERT_HR(inner->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&destroyed)), S_OK);
    int called = 0;
    Parting parting([&] {
        const DispatchObject caller(destroyed);
        EXPECT_HR(caller.Call(CollectionId::Add, L"text").hr, S_OK);
        called = caller.Get(CollectionId::Count).value.Int();
    });
    EXPECT_HR(DispatchObject(destroyed).Call(CollectionId::Add, static_cast<IDispatch*>(&parting)).hr, S_OK);
    destroyed->Release();
    EXPECT_EQ(outer.references, 0u);
    inner.Release();
    EXPECT_TRUE(parting.IsGone());
    EXPECT_EQ(called, 1);
}

} // namespace
