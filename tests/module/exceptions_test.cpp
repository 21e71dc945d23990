// Exceptions inside the DLL when out of memory, and that unloading it leaks nothing. None leaves the DLL: late-bound
// calls return E_OUTOFMEMORY.

#include <cstddef>
#include <thread>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/dll.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/handles.h"
#include "tests/support/module_faults.h"

namespace {

using support::ModuleAllocationFault;

class ExceptionsTest : public testing::Test {
  protected:
    ExceptionsTest() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~ExceptionsTest() override { CoUninitialize(); }

    static CComPtr<IDispatch> NewString(const Dll& dll) { return dll.Object(classes[0]); }

    /// Writes Value late-bound, for which the DLL must allocate.
    HRESULT PutValue(IDispatch* object) const {
        VARIANT argument = {};
        V_VT(&argument) = VT_BSTR;
        V_BSTR(&argument) = m_text;
        DISPID name = DISPID_PROPERTYPUT;
        DISPPARAMS parameters = {&argument, &name, 1, 1};
        return object->Invoke(0x60020007, IID_NULL, 0, DISPATCH_PROPERTYPUT, &parameters, nullptr, nullptr, nullptr);
    }

    /// Makes the DLL raise an exception while all allocations fail.
    HRESULT PutValueWithoutMemory(IDispatch* object) const {
        const ModuleAllocationFault noMemory(1, ModuleAllocationFault::Lasting);
        const HRESULT hr = PutValue(object);
        EXPECT_TRUE(noMemory.Fired());
        return hr;
    }

  private:
    const support::Bstr m_text{L"a string"};
};

TEST_F(ExceptionsTest, FirstOfAll_WithoutMemory_IsOutOfMemory) {
    const Dll dll;
    support::TrackAllocations(dll.Module());
    const CComPtr<IDispatch> object = NewString(dll);
    EXPECT_EQ(Result(PutValueWithoutMemory(object)), Result(E_OUTOFMEMORY));
    EXPECT_EQ(Result(PutValue(object)), Result(S_OK)) << "with memory again";
}

TEST_F(ExceptionsTest, FirstOfAThread_WithoutMemory_IsOutOfMemory) {
    const Dll dll;
    support::TrackAllocations(dll.Module());
    const CComPtr<IDispatch> object = NewString(dll);
    for (int i = 0; i < 3; ++i) {
        HRESULT hr = S_OK;
        std::thread([&] { hr = PutValueWithoutMemory(object); }).join();
        EXPECT_EQ(Result(hr), Result(E_OUTOFMEMORY));
    }
}

TEST_F(ExceptionsTest, AfterOneWithMemory_WithoutMemory_AreOutOfMemory) {
    const Dll dll;
    support::TrackAllocations(dll.Module());
    const CComPtr<IDispatch> object = NewString(dll);
    {
        const ModuleAllocationFault once(1);
        EXPECT_EQ(Result(PutValue(object)), Result(E_OUTOFMEMORY));
    }
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(Result(PutValueWithoutMemory(object)), Result(E_OUTOFMEMORY)) << i;
    }
    EXPECT_EQ(Result(PutValue(object)), Result(S_OK)) << "with memory again";
}

/// Limited resources of a process.
struct Resources {
    std::size_t handles = support::OpenHandles();
    DWORD threadLocalIndex = TlsAlloc(); ///< the next free one

    Resources() { TlsFree(threadLocalIndex); }
};

TEST_F(ExceptionsTest, LoadedAndUnloadedOften_LeaveNothing) {
    const auto cycle = [&] {
        const Dll dll;
        support::TrackAllocations(dll.Module());
        const CComPtr<IDispatch> object = NewString(dll);
        const ModuleAllocationFault once(1);
        return PutValue(object);
    };
    ASSERT_EQ(Result(cycle()), Result(E_OUTOFMEMORY));
    const support::LiveAllocations allocations = support::CountLiveAllocations();
    const Resources before;
    for (int i = 0; i < 1200; ++i) { // more than there are thread-local indices
        ASSERT_EQ(Result(cycle()), Result(E_OUTOFMEMORY)) << i;
    }
    const Resources after;
    EXPECT_EQ(after.handles, before.handles);
    EXPECT_EQ(after.threadLocalIndex, before.threadLocalIndex);
    EXPECT_TRUE(support::CountLiveAllocations() == allocations) << "memory leak";
}

} // namespace
