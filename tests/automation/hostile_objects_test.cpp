// Objects of other classes that change or release the collection during a call: at each QueryInterface, AddRef, Release
// and read of a default property in turn.

#include <array>
#include <cstddef>
#include <functional>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxfilestreamlist.h"
#include "automation/nxtokenstringlist.h"
#include "automation/nxvariantcollection.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/localobject.h"
#include "tests/automation/objectlist.h"
#include "tests/automation/stackobject.h"
#include "tests/support/bstr.h"

namespace {

using support::DispatchObject;
using support::Foreign;
using support::ListOf;
using support::NewLateBound;
using support::Reply;
using support::Require;
using support::StackFileStream;
using support::StackTokenString;
using support::Variant;

/// Counts the calls of the entries of a world. One of them strikes.
struct Ambush {
    std::size_t strikesAt = 0; ///< 0: not yet
    std::size_t calls = 0;
    std::function<void()> strike = [] {};
    bool struck = false;
    bool calledWhenGone = false; ///< an entry was used after its last reference

    void OnCall() {
        if (strikesAt != 0 && ++calls == strikesAt) {
            struck = true;
            strike();
        }
    }
};

/// An entry that records whether it is used after its last reference.
template <class Base> class HostileEntry : public Base {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        Check();
        ambush->OnCall();
        return Base::QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override {
        Check();
        const ULONG count = Base::AddRef(); // first, so that the entry is alive during the strike
        ambush->OnCall();
        return count;
    }
    ULONG STDMETHODCALLTYPE Release() override {
        Check();
        ambush->OnCall();
        const ULONG left = Base::Release();
        m_gone = left == 0;
        return left;
    }

    Ambush* ambush = nullptr;

  private:
    void Check() {
        if (m_gone) {
            ambush->calledWhenGone = true;
        }
    }
    bool m_gone = false;
};

/// A class of collections of objects, and its operations.
struct TokenStringKind {
    using Class = CNXTokenStringList;
    using Entry = HostileEntry<StackTokenString>;
    static constexpr int first = 0;
    static constexpr bool isList = true;
};
struct FileStreamKind {
    using Class = CNXFileStreamList;
    using Entry = HostileEntry<StackFileStream>;
    static constexpr int first = 0;
    static constexpr bool isList = true;
};
struct ForeignEntry : Foreign {
    ForeignEntry() : Foreign(Variant()) {}
};
struct VariantKind {
    using Class = CNXVariantCollection;
    using Entry = HostileEntry<ForeignEntry>;
    static constexpr int first = 1;
    static constexpr bool isList = false;
};

/// A collection with three entries, to which it has the only references, and a fourth object as an argument of calls.
template <class Kind> class World {
  public:
    World() {
        for (auto& entry : entries) {
            entry.ambush = &ambush;
        }
        entries.at(3).AddRef();
        for (std::size_t i = 0; i < 3; ++i) {
            Require(Collection().Call(L"Add", &entries.at(i)).hr, "Add");
        }
        MakeEnumerator();
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World() {
        ambush.strikesAt = 0;
        enumerator.Release();
        collection.Release();
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(entries.at(i).references, 0u) << "entry " << i;
        }
        EXPECT_EQ(entries.at(3).references, 1u) << "the test's";
        entries.at(3).Release();
        EXPECT_FALSE(ambush.calledWhenGone);
    }

    [[nodiscard]] DispatchObject Collection() const { return DispatchObject(collection); }
    IDispatch* Newcomer() { return &entries.at(3); }

    void RemoveAll() const {
        if (collection != nullptr) {
            while (Collection().Get(L"Count").value.Int() > 0) {
                Require(Collection().Call(L"Remove", Kind::first).hr, "Remove");
            }
        }
    }
    void AddMany() {
        for (int i = 0; collection != nullptr && i < 50; ++i) {
            Require(Collection().Call(L"Add", Newcomer()).hr, "Add");
        }
    }
    void WalkAll() const {
        CComPtr<IEnumVARIANT> clone;
        Require(enumerator->Clone(&clone), "Clone");
        Require(clone->Reset(), "Reset");
        Variant element;
        while (clone->Next(1, element.Raw(), nullptr) == S_OK) {
            element = Variant();
        }
    }

    std::array<typename Kind::Entry, 4> entries;
    Ambush ambush;
    CComPtr<IDispatch> collection{NewLateBound<typename Kind::Class>().Raw()};
    CComPtr<IEnumVARIANT> enumerator;

  private:
    void MakeEnumerator() {
        const Reply reply = Collection().Get(DISPID_NEWENUM);
        Require(reply.hr, "_NewEnum");
        Require(V_UNKNOWN(reply.value.Raw())->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)),
                "IEnumVARIANT");
    }
};

template <class Kind> class HostileObjectsTest : public support::DispatchTest {
  protected:
    using TheWorld = World<Kind>;
    using Step = std::pair<const char*, std::function<void(TheWorld&)>>;

    /// A late-bound call may succeed, or fail because the index has become invalid.
    static void ExpectDone(const Reply& reply) {
        if (reply.hr != S_OK) {
            EXPECT_HR(reply.Failure(), E_FAIL);
            EXPECT_EQ(reply.value.Type(), VT_EMPTY);
        }
    }

    static std::vector<Step> Operations() {
        constexpr int first = Kind::first;
        std::vector<Step> operations = {
            {"Add", [](TheWorld& world) { ExpectDone(world.Collection().Call(L"Add", world.Newcomer())); }},
            {"Item", [](TheWorld& world) { ExpectDone(world.Collection().Get(L"Item", first + 2)); }},
            {"Remove", [](TheWorld& world) { ExpectDone(world.Collection().Call(L"Remove", first + 1)); }},
            {"Next of one", [](TheWorld& world) { ExpectNext(world, 1); }},
            {"Next of ten", [](TheWorld& world) { ExpectNext(world, 10); }},
            {"the end of the collection",
             [](TheWorld& world) {
                 world.enumerator.Release();
                 world.collection.Release();
             }},
        };
        if constexpr (Kind::isList) {
            operations.push_back({"Item written", [](TheWorld& world) {
                                      ExpectDone(world.Collection().Put(L"Item", first + 2, world.Newcomer()));
                                  }});
            operations.push_back(
                {"New written", [](TheWorld& world) { ExpectDone(world.Collection().Put(L"New", world.Newcomer())); }});
        } else {
            operations.push_back({"Add at a position", [](TheWorld& world) {
                                      ExpectDone(world.Collection().Call(L"Add", world.Newcomer(), first + 1));
                                  }});
        }
        return operations;
    }

    static void ExpectNext(TheWorld& world, ULONG count) {
        const CComPtr<IEnumVARIANT> held = world.enumerator; // as the caller of a method must
        std::array<VARIANT, 10> elements = {};
        ULONG fetched = 99;
        const HRESULT hr = held->Next(count, elements.data(), &fetched);
        EXPECT_TRUE(hr == S_OK || hr == S_FALSE) << support::PrintedHr(hr);
        ASSERT_LE(fetched, count);
        for (VARIANT& element : elements) {
            VariantClear(&element);
        }
    }

    static std::vector<Step> Strikes() {
        return {
            {"removes all", [](TheWorld& world) { world.RemoveAll(); }},
            {"adds many", [](TheWorld& world) { world.AddMany(); }},
            {"walks all",
             [](TheWorld& world) {
                 if (world.enumerator != nullptr) {
                     world.WalkAll();
                 }
             }},
            {"replaces all",
             [](TheWorld& world) {
                 world.RemoveAll();
                 world.AddMany();
             }},
            {"releases the collection",
             [](TheWorld& world) {
                 world.enumerator.Release();
                 world.collection.Release();
             }},
        };
    }
};

using HostileKinds = ::testing::Types<TokenStringKind, FileStreamKind, VariantKind>;
struct HostileKindNames {
    template <class Kind> static std::string GetName(int index) {
        constexpr const char* names[] = {"TokenStringList", "FileStreamList", "VariantCollection"};
        return names[index];
    }
};
TYPED_TEST_SUITE(HostileObjectsTest, HostileKinds, HostileKindNames);

/// Strikes at the first call of an entry during the operation, then in a new world at the second, and so on until the
/// operation has fewer calls.
TYPED_TEST(HostileObjectsTest, EntryThatStrikesAtAnyOfItsCalls_CorruptsNothing) {
    std::size_t strikes = 0;
    for (const auto& [operationName, operate] : this->Operations()) {
        for (const auto& [strikeName, strike] : this->Strikes()) {
            for (std::size_t number = 1; !this->HasFailure(); ++number) {
                SCOPED_TRACE(std::string(operationName) + ": call " + std::to_string(number) + " " + strikeName);
                World<TypeParam> world;
                world.ambush.strike = [&world, &strike = strike] { strike(world); };
                world.ambush.calls = 0;
                world.ambush.strikesAt = number;
                operate(world);
                world.ambush.strikesAt = 0;
                if (world.collection != nullptr) {
                    const int count = world.Collection().Get(L"Count").value.Int();
                    EXPECT_GE(count, 0);
                    EXPECT_LE(count, 54);
                }
                if (!world.ambush.struck) {
                    break;
                }
                ++strikes;
            }
        }
    }
    std::cout << strikes << " strikes\n";
    EXPECT_GT(strikes, 50u) << "too few calls of entries";
}

// ---------------------------------------------------------------------------------------------------------------------
// Default properties

using HostileDefaultPropertyTest = support::DispatchTest;

TEST_F(HostileDefaultPropertyTest, OfAnIndex_ThatEmptiesTheList_FindsNoEntry) {
    const DispatchObject list = ListOf({L"zero", L"one"});
    Foreign index{1};
    index.onRead = [&] {
        Require(list.Call(L"Remove", 0).hr, "Remove");
        Require(list.Call(L"Remove", 0).hr, "Remove");
    };
    const Reply reply = list.Get(L"Item", &index);
    EXPECT_HR(reply.hr, DISP_E_EXCEPTION);
    EXPECT_BSTR(reply.exception->bstrDescription, L"Index out of bounds!");
}

TEST_F(HostileDefaultPropertyTest, OfAnIndex_ThatAddsTheEntry_FindsIt) {
    const DispatchObject list = ListOf({L"zero"});
    Foreign index{1};
    index.onRead = [&] { Require(list.Call(L"Add", L"one").hr, "Add"); };
    EXPECT_BSTR(list.Get(L"Item", &index).value.Text(), L"one");
}

TEST_F(HostileDefaultPropertyTest, OfTheIndexToRemove_ThatRemovesIt_RemovesNothingMore) {
    const DispatchObject list = ListOf({L"zero", L"one"});
    Foreign index{1};
    index.onRead = [&] { Require(list.Call(L"Remove", 1).hr, "Remove"); };
    EXPECT_HR(list.Call(L"Remove", &index).hr, DISP_E_EXCEPTION);
    EXPECT_EQ(support::CountOf<INXStringList>(list), 1);
}

TEST_F(HostileDefaultPropertyTest, OfAPosition_ThatEmptiesTheCollection_MakesThePositionInvalid) {
    const DispatchObject collection = support::CollectionOf(2);
    Foreign position{2};
    position.onRead = [&] {
        Require(collection.Call(L"Remove").hr, "Remove");
        Require(collection.Call(L"Remove").hr, "Remove");
    };
    const Reply reply = collection.Call(L"Add", L"text", &position);
    EXPECT_HR(reply.hr, DISP_E_EXCEPTION);
    EXPECT_BSTR(reply.exception->bstrDescription, L"Position invalid!");
    EXPECT_EQ(support::CountOf<INXVariantCollection>(collection), 0);
}

TEST_F(HostileDefaultPropertyTest, OfText_ThatChangesTheString_IsWrittenLast) {
    const DispatchObject string = support::StringOf(L"old");
    Foreign text{L"new"};
    text.onRead = [&] { Require(string.Put(L"Value", L"in between").hr, "Value"); };
    EXPECT_HR(string.Put(L"Value", &text).hr, S_OK);
    EXPECT_BSTR(support::TextOf(string), L"new");
}

// ---------------------------------------------------------------------------------------------------------------------
// Objects in an array that is an element of a collection

/// Strikes when it gets a reference.
struct StrikingObject : Foreign {
    StrikingObject() : Foreign(Variant(0)) {}
    ULONG STDMETHODCALLTYPE AddRef() override {
        const ULONG count = Foreign::AddRef();
        std::exchange(strike, [] {})();
        return count;
    }
    std::function<void()> strike = [] {};
};

/// A collection whose only element is an array. One of the objects in it removes that element when the array is copied.
class HostileArrayTest : public ::testing::TestWithParam<VARTYPE> {
  protected:
    static constexpr LONG count = 50;
    static constexpr LONG striking = 3;

    HostileArrayTest() {
        Variant array;
        SAFEARRAYBOUND bound = {count, 0};
        V_ARRAY(array.Raw()) = SafeArrayCreate(GetParam(), 1, &bound);
        V_VT(array.Raw()) = static_cast<VARTYPE>(VT_ARRAY | GetParam());
        for (LONG i = 0; i < count; ++i) {
            const Variant element(static_cast<IDispatch*>(i == striking ? &m_striking : &m_other));
            Require(SafeArrayPutElement(V_ARRAY(array.Raw()), &i,
                                        GetParam() == VT_VARIANT ? static_cast<void*>(element.Raw())
                                                                 : V_DISPATCH(element.Raw())),
                    "SafeArrayPutElement");
        }
        Require(m_collection.Call(L"Add", array).hr, "Add");
        m_striking.strike = [this] {
            Require(m_collection.Call(L"Remove").hr, "Remove");
            EXPECT_GE(m_other.references, static_cast<ULONG>(count - 1)) << "the array lives until it is copied";
        };
    }
    ~HostileArrayTest() override { EXPECT_EQ(m_striking.references + m_other.references, 0u); }

    static void ExpectWholeCopy(const VARIANT& copy) {
        ASSERT_EQ(V_VT(&copy), VT_ARRAY | GetParam());
        LONG last = 0;
        EXPECT_HR(SafeArrayGetUBound(V_ARRAY(&copy), 1, &last), S_OK);
        EXPECT_EQ(last, count - 1);
    }

    StrikingObject m_striking;
    Foreign m_other{Variant(0)};
    DispatchObject m_collection = NewLateBound<CNXVariantCollection>();
};

TEST_P(HostileArrayTest, ElementRemovedWhileItIsRead_IsCopiedWhole) {
    const Reply reply = m_collection.Get(L"Item", 1);
    EXPECT_HR(reply.hr, S_OK);
    ExpectWholeCopy(*reply.value.Raw());
    EXPECT_EQ(m_collection.Get(L"Count").value.Int(), 0);
}

TEST_P(HostileArrayTest, ElementRemovedWhileItIsEnumerated_IsCopiedWhole) {
    const Reply made = m_collection.Get(DISPID_NEWENUM);
    CComPtr<IEnumVARIANT> enumerator;
    Require(V_UNKNOWN(made.value.Raw())->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)),
            "IEnumVARIANT");
    Variant element;
    EXPECT_HR(enumerator->Next(1, element.Raw(), nullptr), S_OK);
    ExpectWholeCopy(*element.Raw());
    EXPECT_EQ(m_collection.Get(L"Count").value.Int(), 0);
}

INSTANTIATE_TEST_SUITE_P(Types, HostileArrayTest, ::testing::Values(VT_DISPATCH, VT_VARIANT),
                         [](const ::testing::TestParamInfo<VARTYPE>& type) {
                             return type.param == VT_DISPATCH ? "Objects" : "Variants";
                         });

} // namespace
