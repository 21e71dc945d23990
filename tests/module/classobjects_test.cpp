// Class objects: how clients get them, what they create, what keeps the DLL loaded, and that unloading leaks nothing.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/dll.h"
#include "tests/module/processstate.h"
#include "tests/module/threads.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/module_faults.h"

namespace {

// {2C9A2B0E-54A5-4E0C-8C7B-0E6F6A3D9F41}: unused
constexpr GUID unknownId = {0x2C9A2B0E, 0x54A5, 0x4E0C, {0x8C, 0x7B, 0x0E, 0x6F, 0x6A, 0x3D, 0x9F, 0x41}};

/// A value of an out-pointer before a call; after a failure it must be null.
void* const garbage = reinterpret_cast<void*>(std::uintptr_t{0xDEAD});

std::string NameOf(const testing::TestParamInfo<Class>& row) {
    return row.param.name;
}

/// The reference count of an object.
ULONG CountOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

template <class Interface> CComPtr<Interface> Query(IUnknown* object, REFIID iid) {
    CComPtr<Interface> answer;
    object->QueryInterface(iid, reinterpret_cast<void**>(&answer));
    return answer;
}

/// Calls the class's sample member late-bound.
HRESULT Invoke(IDispatch* object, const Class& row, VARIANT& result) {
    std::wstring name = row.member;
    OLECHAR* names[] = {name.data()};
    DISPID dispid = DISPID_UNKNOWN;
    if (const HRESULT hr = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &dispid); FAILED(hr)) {
        return hr;
    }
    DISPPARAMS none = {};
    return object->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &none, &result,
                          nullptr, nullptr);
}

void ExpectWorksLateBound(IDispatch* object, const Class& row) {
    VARIANT result;
    VariantInit(&result);
    V_VT(&result) = VT_EMPTY;
    EXPECT_EQ(Result(Invoke(object, row, result)), Result(S_OK));
    EXPECT_EQ(Result(VariantChangeType(&result, &result, 0, VT_I4)), Result(S_OK));
    EXPECT_EQ(V_I4(&result), 0);
}

/// Calls the same member through the vtable of the class's own interface.
void ExpectWorksThroughVtable(IUnknown* object, const Class& row) {
    using Member = HRESULT STDMETHODCALLTYPE(IUnknown*, void*);
    const auto own = Query<IUnknown>(object, *row.iid);
    ASSERT_NE(own, nullptr);
    Member* const member = (*reinterpret_cast<Member***>(own.p))[row.slot];
    LONG result = -1; // large enough for a long or a VARIANT_BOOL
    EXPECT_EQ(Result(member(own, &result)), Result(S_OK));
    EXPECT_EQ(LOWORD(result), 0);
}

/// Each test loads the DLL and checks that it is unloaded afterwards.
class FreshDll : public testing::Test {
  protected:
    FreshDll() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~FreshDll() override {
        m_dll.reset();
        CoUninitialize();
        EXPECT_EQ(GetModuleHandleW(DllPath().c_str()), nullptr) << "something keeps the DLL loaded";
    }

    [[nodiscard]] const Dll& TheDll() const { return *m_dll; }
    void Reload() {
        m_dll.reset();
        m_dll = std::make_unique<Dll>();
    }
    void ExpectUnlocked() const { EXPECT_EQ(Result(TheDll().CanUnloadNow()), Result(S_OK)); }
    void ExpectLocked() const { EXPECT_EQ(Result(TheDll().CanUnloadNow()), Result(S_FALSE)); }

  private:
    std::unique_ptr<Dll> m_dll = std::make_unique<Dll>();
};

// --------------------------------------------------------------------------------------------------- GetClassObject

class ClassObject : public FreshDll {};

TEST_F(ClassObject, OfUnknownClass_IsNotAvailable) {
    void* object = garbage;
    EXPECT_EQ(Result(TheDll().GetClassObject(unknownId, IID_IClassFactory, &object)),
              Result(CLASS_E_CLASSNOTAVAILABLE));
    EXPECT_EQ(object, nullptr);
    ExpectUnlocked();
}

TEST_F(ClassObject, OfUnknownClassIntoNullPointer_IsRefused) {
    EXPECT_EQ(Result(TheDll().GetClassObject(unknownId, IID_IClassFactory, nullptr)), Result(E_POINTER));
}

/// Neither interfaces nor the type library nor GUID_NULL are classes.
TEST_F(ClassObject, OfOtherIdentifiers_IsNotAvailable) {
    for (const GUID& id : {IID_INXString, LIBID_NUVOLEXLib, GUID_NULL, IID_IUnknown}) {
        void* object = garbage;
        EXPECT_EQ(Result(TheDll().GetClassObject(id, IID_IUnknown, &object)), Result(CLASS_E_CLASSNOTAVAILABLE));
        EXPECT_EQ(object, nullptr);
    }
}

TEST_F(ClassObject, OfEachClass_IsDifferent) {
    std::vector<IUnknown*> factories;
    for (const Class& row : classes) {
        const CComPtr<IClassFactory> factory = TheDll().Factory(row);
        ASSERT_NE(factory, nullptr) << row;
        EXPECT_EQ(std::count(factories.begin(), factories.end(), factory.p), 0) << row;
        factories.push_back(factory);
    }
}

class ClassObjectOf : public FreshDll, public testing::WithParamInterface<Class> {};

TEST_P(ClassObjectOf, NullOutPointer_IsRefused) {
    EXPECT_EQ(Result(TheDll().GetClassObject(*GetParam().clsid, IID_IClassFactory, nullptr)), Result(E_POINTER));
    ExpectUnlocked();
}

TEST_P(ClassObjectOf, UnknownInterface_IsRefused) {
    for (const IID& iid : {unknownId, IID_IDispatch, IID_IClassFactory2, *GetParam().iid}) {
        void* object = garbage;
        EXPECT_EQ(Result(TheDll().GetClassObject(*GetParam().clsid, iid, &object)), Result(E_NOINTERFACE));
        EXPECT_EQ(object, nullptr);
        ExpectUnlocked();
    }
}

TEST_P(ClassObjectOf, UnknownAndClassFactory_AreItsInterfaces) {
    CComPtr<IUnknown> unknown;
    ASSERT_EQ(Result(TheDll().GetClassObject(*GetParam().clsid, IID_IUnknown, reinterpret_cast<void**>(&unknown))),
              Result(S_OK));
    const auto factory = Query<IClassFactory>(unknown, IID_IClassFactory);
    ASSERT_NE(factory, nullptr);
    EXPECT_EQ(Query<IUnknown>(factory, IID_IUnknown), unknown);
    EXPECT_EQ(factory, TheDll().Factory(GetParam()));
}

TEST_P(ClassObjectOf, QueryInterfaceIntoNullPointer_IsRefused) {
    EXPECT_EQ(Result(TheDll().Factory(GetParam())->QueryInterface(IID_IClassFactory, nullptr)), Result(E_POINTER));
}

TEST_P(ClassObjectOf, EachRequest_GivesTheSame) {
    IClassFactory* const first = TheDll().Factory(GetParam());
    ExpectUnlocked(); // without a client's reference the object still exists
    EXPECT_EQ(TheDll().Factory(GetParam()), first);
}

/// One thread creates the factory and the others wait for it: there is one pointer and one memory block.
TEST_P(ClassObjectOf, FirstRequestsFromManyThreads_GiveTheSame) {
    constexpr std::size_t threadCount = 8;
    constexpr int rounds = 10;
    for (int round = 0; round < rounds; ++round) {
        Reload();
        support::TrackAllocations(TheDll().Module());
        std::array<IClassFactory*, threadCount> factories{};
        std::ptrdiff_t made = -support::CountLiveAllocations().objects;
        {
            const support::SlowModuleAllocations slow;
            MeetingPoint start(threadCount);
            std::vector<std::thread> threads;
            threads.reserve(threadCount);
            for (IClassFactory*& factory : factories) {
                threads.emplace_back([&] {
                    start.ArriveAndWait();
                    factory = TheDll().Factory(GetParam());
                });
            }
            for (std::thread& thread : threads) {
                thread.join();
            }
        }
        made += support::CountLiveAllocations().objects;
        EXPECT_NE(factories[0], nullptr);
        EXPECT_EQ(std::count(factories.begin(), factories.end(), factories[0]), std::ptrdiff_t{threadCount});
        EXPECT_EQ(made, 1);
        ExpectUnlocked();
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, ClassObjectOf, testing::ValuesIn(classes), NameOf);

// ---------------------------------------------------------------------------------------- what keeps the DLL loaded

class LocksOf : public FreshDll, public testing::WithParamInterface<Class> {};

TEST_P(LocksOf, WithoutUse_ThereAreNone) {
    ExpectUnlocked();
}

TEST_P(LocksOf, ClassObject_LocksFromTheFirstToTheLastClientReference) {
    CComPtr<IClassFactory> first = TheDll().Factory(GetParam());
    ExpectLocked();
    CComPtr<IClassFactory> second = TheDll().Factory(GetParam());
    ExpectLocked();
    first.Release();
    ExpectLocked();
    second.Release();
    ExpectUnlocked();

    CComPtr<IClassFactory> again = TheDll().Factory(GetParam());
    ExpectLocked();
    again.Release();
    ExpectUnlocked();
}

TEST_P(LocksOf, LockServer_IsCounted) {
    const auto lockServer = [this](BOOL lock) {
        EXPECT_EQ(Result(TheDll().Factory(GetParam())->LockServer(lock)), Result(S_OK));
    };
    lockServer(TRUE);
    ExpectLocked();
    lockServer(2); // true as well
    ExpectLocked();
    lockServer(FALSE);
    ExpectLocked();
    lockServer(FALSE);
    ExpectUnlocked();
}

TEST_P(LocksOf, Object_LocksUntilItsLastReference) {
    CComPtr<IDispatch> object = TheDll().Object(GetParam());
    ASSERT_NE(object, nullptr);
    ExpectLocked();
    CComPtr<IDispatch> shared = object;
    object.Release();
    ExpectLocked();
    shared.Release();
    ExpectUnlocked();
}

TEST_P(LocksOf, TwoObjects_LockUntilTheSecondIsReleased) {
    CComPtr<IDispatch> first = TheDll().Object(GetParam());
    CComPtr<IDispatch> second = TheDll().Object(GetParam());
    first.Release();
    ExpectLocked();
    second.Release();
    ExpectUnlocked();
}

/// What the DLL caches at its first late-bound call does not keep it loaded.
TEST_P(LocksOf, TypeInformation_DoesNotLock) {
    CComPtr<ITypeInfo> type;
    {
        const CComPtr<IDispatch> object = TheDll().Object(GetParam());
        ASSERT_EQ(Result(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &type)), Result(S_OK));
        ExpectWorksLateBound(object, GetParam());
    }
    ExpectUnlocked();
}

TEST_P(LocksOf, FailedCreation_DoesNotLock) {
    void* object = nullptr;
    TheDll().Factory(GetParam())->CreateInstance(nullptr, unknownId, &object);
    ExpectUnlocked();
}

TEST_P(LocksOf, TenThousandObjects_AreAllFreed) {
    constexpr int count = 10'000;
    support::TrackAllocations(TheDll().Module());
    ExpectWorksLateBound(TheDll().Object(GetParam()), GetParam()); // one-time allocations are done now
    {
        const support::ExpectNoLeaks noLeaks;
        std::vector<CComPtr<IDispatch>> objects(count);
        for (CComPtr<IDispatch>& object : objects) {
            object = TheDll().Object(GetParam());
            ASSERT_NE(object, nullptr);
        }
        EXPECT_GE(support::CountLiveAllocations().objects, count) << "the DLL's objects are not counted";
        ExpectWorksLateBound(objects.back(), GetParam());
    }
    ExpectUnlocked();
}

INSTANTIATE_TEST_SUITE_P(Classes, LocksOf, testing::ValuesIn(classes), NameOf);

std::vector<Class> EnumerableClasses() {
    std::vector<Class> chosen;
    std::ranges::copy_if(classes, std::back_inserter(chosen), &Class::enumerable);
    return chosen;
}

class EnumeratorLocksOf : public FreshDll, public testing::WithParamInterface<Class> {};

TEST_P(EnumeratorLocksOf, Enumerator_LocksAfterTheObjectIsReleased) {
    VARIANT enumerator;
    VariantInit(&enumerator);
    {
        const CComPtr<IDispatch> object = TheDll().Object(GetParam());
        DISPPARAMS none = {};
        ASSERT_EQ(Result(object->Invoke(DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none,
                                        &enumerator, nullptr, nullptr)),
                  Result(S_OK));
    }
    ExpectLocked();
    VariantClear(&enumerator);
    ExpectUnlocked();
}

INSTANTIATE_TEST_SUITE_P(Classes, EnumeratorLocksOf, testing::ValuesIn(EnumerableClasses()), NameOf);

// --------------------------------------------------------------------------------------------------- CreateInstance

/// The interfaces of each class's objects except IUnknown.
std::vector<IID> InterfacesOf(const Class& row) {
    return {*row.iid, IID_IDispatch, IID_ISupportErrorInfo};
}

class CreateInstanceOf : public FreshDll, public testing::WithParamInterface<Class> {
  protected:
    /// The result of a creation that must fail. Checks that it creates nothing.
    HRESULT FailingCreation(IUnknown* outer, REFIID iid) const {
        void* object = garbage;
        const HRESULT hr = TheDll().Factory(GetParam())->CreateInstance(outer, iid, &object);
        EXPECT_EQ(object, nullptr);
        ExpectUnlocked();
        return hr;
    }
};

TEST_P(CreateInstanceOf, AnyOfItsInterfaces_GivesAnObject) {
    std::vector<IID> interfaces = InterfacesOf(GetParam());
    interfaces.push_back(IID_IUnknown);
    for (const IID& iid : interfaces) {
        CComPtr<IUnknown> object;
        ASSERT_EQ(Result(TheDll().Factory(GetParam())->CreateInstance(nullptr, iid, reinterpret_cast<void**>(&object))),
                  Result(S_OK));
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(CountOf(object), 1u);
        const auto dispatch = Query<IDispatch>(object, IID_IDispatch);
        ASSERT_NE(dispatch, nullptr);
        ExpectWorksLateBound(dispatch, GetParam());
        ExpectWorksThroughVtable(object, GetParam());
    }
    ExpectUnlocked();
}

TEST_P(CreateInstanceOf, EachCall_GivesAnotherObject) {
    EXPECT_NE(TheDll().Object(GetParam()), TheDll().Object(GetParam()));
    const CComPtr<IDispatch> first = TheDll().Object(GetParam());
    const CComPtr<IDispatch> second = TheDll().Object(GetParam());
    EXPECT_NE(first, second);
}

TEST_P(CreateInstanceOf, NullOutPointer_IsRefused) {
    EXPECT_EQ(Result(TheDll().Factory(GetParam())->CreateInstance(nullptr, IID_IUnknown, nullptr)), Result(E_POINTER));
    ExpectUnlocked();
}

TEST_P(CreateInstanceOf, InterfaceThatTheClassLacks_LeavesNoObject) {
    support::TrackAllocations(TheDll().Module());
    const CComPtr<IClassFactory> factory = TheDll().Factory(GetParam());
    for (const IID& iid : {unknownId, IID_IClassFactory, IID_IEnumVARIANT, IID_IPersist}) {
        const support::ExpectNoLeaks noLeaks;
        void* object = garbage;
        EXPECT_EQ(Result(factory->CreateInstance(nullptr, iid, &object)), Result(E_NOINTERFACE));
        EXPECT_EQ(object, nullptr);
    }
}

TEST_P(CreateInstanceOf, InterfaceThatTheClassLacks_LeavesNoLock) {
    EXPECT_EQ(Result(FailingCreation(nullptr, unknownId)), Result(E_NOINTERFACE));
}

INSTANTIATE_TEST_SUITE_P(Classes, CreateInstanceOf, testing::ValuesIn(classes), NameOf);

// ------------------------------------------------------------------------------------------------------- aggregation

/// An outer object. Its own interface is IUnknown; it forwards all others to the inner object.
class Outer final : public IUnknown {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid == IID_IUnknown) {
            *object = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return inner != nullptr ? inner->QueryInterface(iid, object) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
    ULONG STDMETHODCALLTYPE Release() override { return --count; }

    ULONG count = 1;
    CComPtr<IUnknown> inner;
};

class AggregateOf : public CreateInstanceOf {
  protected:
    void SetUp() override {
        ASSERT_EQ(Result(TheDll()
                             .Factory(GetParam())
                             ->CreateInstance(&m_outer, IID_IUnknown, reinterpret_cast<void**>(&m_outer.inner))),
                  Result(S_OK));
        ASSERT_NE(m_outer.inner, nullptr);
    }
    void TearDown() override {
        EXPECT_EQ(m_outer.count, 1u);
        m_outer.inner.Release();
        ExpectUnlocked();
    }

    Outer m_outer;
};

TEST_P(AggregateOf, Creation_TakesNoReferenceOnTheOuterObject) {
    EXPECT_EQ(m_outer.count, 1u);
    EXPECT_EQ(CountOf(m_outer.inner), 1u);
}

TEST_P(AggregateOf, InnerUnknown_HasItsOwnIdentity) {
    EXPECT_NE(m_outer.inner.p, static_cast<IUnknown*>(&m_outer));
    EXPECT_EQ(Query<IUnknown>(m_outer.inner, IID_IUnknown), m_outer.inner);
    EXPECT_EQ(m_outer.count, 1u) << "the inner unknown has its own count";
}

TEST_P(AggregateOf, InnerUnknown_CountsForItself) {
    EXPECT_EQ(m_outer.inner->AddRef(), 2u);
    EXPECT_EQ(m_outer.count, 1u);
    EXPECT_EQ(m_outer.inner->Release(), 1u);
    EXPECT_EQ(m_outer.count, 1u);
}

TEST_P(AggregateOf, Interfaces_HaveTheIdentityOfTheOuterObject) {
    for (const IID& iid : InterfacesOf(GetParam())) {
        const auto object = Query<IUnknown>(m_outer.inner, iid);
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(Query<IUnknown>(object, IID_IUnknown).p, static_cast<IUnknown*>(&m_outer));
    }
}

/// All interfaces return the same pointers.
TEST_P(AggregateOf, Interfaces_LeadToEachOther) {
    for (const IID& from : InterfacesOf(GetParam())) {
        const auto start = Query<IUnknown>(&m_outer, from);
        ASSERT_NE(start, nullptr);
        for (const IID& to : InterfacesOf(GetParam())) {
            const auto end = Query<IUnknown>(start, to);
            ASSERT_NE(end, nullptr);
            EXPECT_EQ(end, Query<IUnknown>(&m_outer, to));
            EXPECT_EQ(Query<IUnknown>(end, from), start);
        }
        EXPECT_EQ(Query<IUnknown>(start, unknownId), nullptr);
    }
}

TEST_P(AggregateOf, Interfaces_CountOnTheOuterObject) {
    for (const IID& iid : InterfacesOf(GetParam())) {
        const auto object = Query<IUnknown>(m_outer.inner, iid);
        EXPECT_EQ(m_outer.count, 2u);
        EXPECT_EQ(object->AddRef(), 3u);
        EXPECT_EQ(m_outer.count, 3u);
        EXPECT_EQ(object->Release(), 2u);
        EXPECT_EQ(m_outer.count, 2u);
        EXPECT_EQ(CountOf(m_outer.inner), 1u);
    }
}

TEST_P(AggregateOf, Members_CanBeCalledBothWays) {
    const auto dispatch = Query<IDispatch>(&m_outer, IID_IDispatch);
    ASSERT_NE(dispatch, nullptr);
    ExpectWorksLateBound(dispatch, GetParam());
    ExpectWorksThroughVtable(&m_outer, GetParam());
}

TEST_P(AggregateOf, Enumerator_HoldsTheOuterObject) {
    if (!GetParam().enumerable) {
        return;
    }
    VARIANT enumerator;
    VariantInit(&enumerator);
    DISPPARAMS none = {};
    ASSERT_EQ(Result(Query<IDispatch>(&m_outer, IID_IDispatch)
                         ->Invoke(DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none,
                                  &enumerator, nullptr, nullptr)),
              Result(S_OK));
    EXPECT_EQ(m_outer.count, 2u);
    VariantClear(&enumerator);
    EXPECT_EQ(m_outer.count, 1u);
}

TEST_P(AggregateOf, InnerUnknown_RefusesUnknownInterfaces) {
    void* object = garbage;
    EXPECT_EQ(Result(m_outer.inner->QueryInterface(unknownId, &object)), Result(E_NOINTERFACE));
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(Result(m_outer.inner->QueryInterface(IID_IUnknown, nullptr)), Result(E_POINTER));
}

TEST_P(AggregateOf, InnerUnknown_LocksTheDllUntilItsLastReference) {
    ExpectLocked();
    m_outer.inner.Release();
    ExpectUnlocked();
}

TEST_P(AggregateOf, Destruction_LeavesNothing) {
    support::TrackAllocations(TheDll().Module());
    const CComPtr<IClassFactory> factory = TheDll().Factory(GetParam());
    const support::ExpectNoLeaks noLeaks;
    Outer outer;
    ASSERT_EQ(Result(factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void**>(&outer.inner))),
              Result(S_OK));
}

INSTANTIATE_TEST_SUITE_P(Classes, AggregateOf, testing::ValuesIn(classes), NameOf);

class RefusedAggregateOf : public CreateInstanceOf {
  protected:
    Outer m_outer;
};

/// Only the inner IUnknown may be requested; any other interface would delegate to the outer object before that has it.
TEST_P(RefusedAggregateOf, OtherInterfaceThanUnknown_LeavesNoObject) {
    for (const IID& iid : {*GetParam().iid, IID_IDispatch, IID_ISupportErrorInfo, unknownId}) {
        EXPECT_EQ(Result(FailingCreation(&m_outer, iid)), Result(CLASS_E_NOAGGREGATION));
        EXPECT_EQ(m_outer.count, 1u);
    }
}

TEST_P(RefusedAggregateOf, NullOutPointer_IsRefused) {
    for (const IID& iid : {IID_IUnknown, IID_IDispatch}) {
        EXPECT_EQ(Result(TheDll().Factory(GetParam())->CreateInstance(&m_outer, iid, nullptr)), Result(E_POINTER));
        ExpectUnlocked();
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, RefusedAggregateOf, testing::ValuesIn(classes), NameOf);

// ------------------------------------------------------------------------------------------------------- through COM

/// As a client does: COM finds the DLL in the registry.
class RegisteredClass : public testing::TestWithParam<Class> {
  protected:
    RegisteredClass() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~RegisteredClass() override { CoUninitialize(); }

    static void ExpectCreates(REFCLSID clsid) {
        CComPtr<IDispatch> object;
        ASSERT_EQ(Result(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                          reinterpret_cast<void**>(&object))),
                  Result(S_OK));
        ExpectWorksLateBound(object, GetParam());
    }
    static void ExpectCreatesByProgId(const std::wstring& progId) {
        CLSID clsid = {};
        ASSERT_EQ(Result(CLSIDFromProgID(progId.c_str(), &clsid)), Result(S_OK));
        EXPECT_EQ(clsid, *GetParam().clsid);
        ExpectCreates(clsid);
    }
};

TEST_P(RegisteredClass, IsCreatedByItsIdentifier) {
    ExpectCreates(*GetParam().clsid);
}

TEST_P(RegisteredClass, IsCreatedByItsName) {
    ExpectCreatesByProgId(GetParam().ProgId());
}

TEST_P(RegisteredClass, IsCreatedByItsVersionedName) {
    ExpectCreatesByProgId(GetParam().VersionedProgId());
}

TEST_P(RegisteredClass, IsNamedByItsVersionedName) {
    LPOLESTR progId = nullptr;
    ASSERT_EQ(Result(ProgIDFromCLSID(*GetParam().clsid, &progId)), Result(S_OK));
    EXPECT_EQ(progId, GetParam().VersionedProgId());
    CoTaskMemFree(progId);
}

INSTANTIATE_TEST_SUITE_P(Classes, RegisteredClass, testing::ValuesIn(classes), NameOf);

// --------------------------------------------------------------------------------------------------------- unloading

class UnloadingAfterUseOf : public FreshDll, public testing::WithParamInterface<Class> {
  protected:
    void UseAndReload() {
        ExpectWorksLateBound(TheDll().Object(GetParam()), GetParam());
        Reload();
    }
};

TEST_P(UnloadingAfterUseOf, Reloaded_WorksAgain) {
    for (int i = 0; i < 5; ++i) {
        UseAndReload();
        ExpectUnlocked();
    }
}

/// The DLL releases its reference; a client's stays valid.
TEST_P(UnloadingAfterUseOf, TypeInformation_IsReleased) {
    CComPtr<ITypeInfo> type;
    ASSERT_EQ(Result(TheDll().Object(GetParam())->GetTypeInfo(0, LOCALE_USER_DEFAULT, &type)), Result(S_OK));
    EXPECT_EQ(CountOf(type), 2u);
    Reload();
    EXPECT_EQ(CountOf(type), 1u);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(Result(type->GetTypeAttr(&attributes)), Result(S_OK));
    EXPECT_EQ(attributes->guid, *GetParam().iid);
    type->ReleaseTypeAttr(attributes);
}

/// Not only the last one: the DLL caches the type information of every interface.
TEST_F(ClassObject, TypeInformationOfAllClasses_IsReleasedByUnloading) {
    std::vector<CComPtr<ITypeInfo>> types(std::size(classes));
    for (std::size_t i = 0; i < types.size(); ++i) {
        ASSERT_EQ(Result(TheDll().Object(classes[i])->GetTypeInfo(0, LOCALE_USER_DEFAULT, &types[i])), Result(S_OK));
        EXPECT_EQ(CountOf(types[i]), 2u) << classes[i];
    }
    Reload();
    for (std::size_t i = 0; i < types.size(); ++i) {
        EXPECT_EQ(CountOf(types[i]), 1u) << classes[i];
    }
}

/// Class objects, the list of termination functions, and everything else that the DLL has allocated.
TEST_P(UnloadingAfterUseOf, Objects_AreFreed) {
    UseAndReload(); // the platform's one-time allocations are done now
    const support::ExpectNoLeaks noLeaks;
    support::TrackAllocations(TheDll().Module());
    UseAndReload();
}

TEST_P(UnloadingAfterUseOf, Handles_AreClosed) {
    {
        const std::size_t before = StateOfProcess().handles;
        const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        ASSERT_EQ(StateOfProcess().handles, before + 1) << "handles are not counted";
        CloseHandle(event);
    }
    UseAndReload();
    const std::size_t before = StateOfProcess().handles;
    for (int i = 0; i < 5; ++i) {
        UseAndReload();
    }
    EXPECT_EQ(StateOfProcess().handles, before);
}

/// Also counts what the DLL's C runtime allocates during loading.
TEST_P(UnloadingAfterUseOf, MemoryFromLoading_IsFreed) {
    constexpr std::size_t reloads = 20;
    UseAndReload();
    const std::size_t before = StateOfProcess().blocks;
    for (std::size_t i = 0; i < reloads; ++i) {
        UseAndReload();
    }
    EXPECT_LT(StateOfProcess().blocks, before + reloads) << "at least one block is leaked each time";
}

INSTANTIATE_TEST_SUITE_P(Classes, UnloadingAfterUseOf, testing::ValuesIn(classes), NameOf);

} // namespace
