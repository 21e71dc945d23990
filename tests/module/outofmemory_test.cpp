// Out of memory inside the DLL: E_OUTOFMEMORY, no object, no leak, and success when there is memory again.

#include <string>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/failures.h"

namespace {

class OutOfMemoryIn : public testing::TestWithParam<Class> {
  protected:
    OutOfMemoryIn() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~OutOfMemoryIn() override { CoUninitialize(); }

    static HRESULT GetClassObject(const Dll& dll) {
        return ResultWithOutPointer(
            [&](void** object) { return dll.GetClassObject(*GetParam().clsid, IID_IClassFactory, object); });
    }
    static HRESULT CreateInstance(const Dll& dll) {
        const CComPtr<IClassFactory> factory = dll.Factory(GetParam());
        return ResultWithOutPointer(
            [&](void** object) { return factory->CreateInstance(nullptr, IID_IDispatch, object); });
    }
    static HRESULT CreateAggregate(const Dll& dll) {
        const CComPtr<IClassFactory> factory = dll.Factory(GetParam());
        const CComPtr<IClassFactory> outer = factory; // any object will do
        return ResultWithOutPointer(
            [&](void** object) { return factory->CreateInstance(outer, IID_IUnknown, object); });
    }
    static HRESULT GetTypeInfo(const Dll& dll) {
        CComPtr<IDispatch> object;
        const HRESULT hr =
            dll.Factory(GetParam())->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&object));
        return FAILED(hr) ? hr : ResultWithOutPointer([&](void** type) {
            return object->GetTypeInfo(0, LOCALE_USER_DEFAULT, reinterpret_cast<ITypeInfo**>(type));
        });
    }
    static void MakeClassObject(const Dll& dll) { ASSERT_NE(dll.Factory(GetParam()), nullptr); }
};

TEST_P(OutOfMemoryIn, GetClassObject_AtOneAllocation_FailsCleanly) {
    ForEachFailureInFreshDll([](const Dll&) {}, GetClassObject);
}

TEST_P(OutOfMemoryIn, CreateInstance_AtOneAllocation_FailsCleanly) {
    ForEachFailureInFreshDll(MakeClassObject, CreateInstance);
}

TEST_P(OutOfMemoryIn, CreateInstanceOfAggregate_AtOneAllocation_FailsCleanly) {
    ForEachFailureInFreshDll(MakeClassObject, CreateAggregate);
}

TEST_P(OutOfMemoryIn, FirstGetTypeInfo_AtOneAllocation_FailsCleanly) {
    ForEachFailureInFreshDll(MakeClassObject, GetTypeInfo);
}

/// With all later allocations failing, not even the exception can be allocated.
TEST_P(OutOfMemoryIn, GetClassObject_AtEveryAllocation_FailsCleanly) {
    const Dll dll;
    support::TrackAllocations(dll.Module());
    const support::ExpectNoLeaks noLeaks;
    {
        const support::ModuleAllocationFault noMemory(1, support::ModuleAllocationFault::Lasting);
        EXPECT_EQ(Result(GetClassObject(dll)), Result(E_OUTOFMEMORY));
    }
    EXPECT_EQ(Result(dll.CanUnloadNow()), Result(S_OK));
}

TEST_P(OutOfMemoryIn, CreateInstance_AtEveryAllocation_FailsCleanly) {
    const Dll dll;
    support::TrackAllocations(dll.Module());
    MakeClassObject(dll);
    const support::ExpectNoLeaks noLeaks;
    {
        const support::ModuleAllocationFault noMemory(1, support::ModuleAllocationFault::Lasting);
        EXPECT_EQ(Result(CreateInstance(dll)), Result(E_OUTOFMEMORY));
        EXPECT_EQ(Result(CreateAggregate(dll)), Result(E_OUTOFMEMORY));
    }
    EXPECT_EQ(Result(dll.CanUnloadNow()), Result(S_OK));
}

/// It need not allocate, but if it does, it must fail cleanly.
TEST_P(OutOfMemoryIn, FirstGetTypeInfo_AtEveryAllocation_FailsCleanly) {
    const Dll dll;
    support::TrackAllocations(dll.Module());
    const CComPtr<IDispatch> object = dll.Object(GetParam());
    ASSERT_NE(object, nullptr);
    const support::LiveAllocations before = support::CountLiveAllocations();
    const support::ModuleAllocationFault noMemory(1, support::ModuleAllocationFault::Lasting);
    const HRESULT hr = ResultWithOutPointer(
        [&](void** type) { return object->GetTypeInfo(0, LOCALE_USER_DEFAULT, reinterpret_cast<ITypeInfo**>(type)); });
    EXPECT_EQ(Result(hr), Result(noMemory.Fired() ? E_OUTOFMEMORY : S_OK));
    if (FAILED(hr)) {
        EXPECT_TRUE(support::CountLiveAllocations() == before) << "memory leak";
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, OutOfMemoryIn, testing::ValuesIn(classes),
                         [](const testing::TestParamInfo<Class>& row) { return std::string(row.param.name); });

} // namespace
