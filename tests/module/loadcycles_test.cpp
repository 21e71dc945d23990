// The DLL loaded, used and unloaded a thousand times, without a leak of memory, handles, modules or TLS indices.

#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <string>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/dll.h"
#include "tests/module/processstate.h"
#include "tests/module/threads.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using support::Bstr;

/// Calls the class's sample member late-bound, enumerates the object, and gets its type information.
void Use(const Dll& dll, const Class& row) {
    const CComPtr<IDispatch> object = dll.Object(row);
    ASSERT_NE(object, nullptr);
    std::wstring name = row.member;
    OLECHAR* names[] = {name.data()};
    DISPID id = DISPID_UNKNOWN;
    ASSERT_EQ(Result(object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id)), Result(S_OK));
    VARIANT result;
    VariantInit(&result);
    DISPPARAMS noArguments = {};
    ASSERT_EQ(Result(object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                                    &noArguments, &result, nullptr, nullptr)),
              Result(S_OK));
    if (row.enumerable) {
        ASSERT_EQ(Result(object->Invoke(DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                                        &noArguments, &result, nullptr, nullptr)),
                  Result(S_OK));
        VariantClear(&result);
    }
    CComPtr<ITypeInfo> type;
    ASSERT_EQ(Result(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &type)), Result(S_OK));
}

/// Makes the DLL raise and catch an exception: its first allocation in a late-bound call fails.
void RaiseException(const Dll& dll) {
    support::TrackAllocations(dll.Module());
    const CComPtr<IDispatch> list = dll.Object(classes[2]);
    ASSERT_NE(list, nullptr);
    const Bstr text(L"x");
    VARIANT argument;
    VariantInit(&argument);
    V_VT(&argument) = VT_BSTR;
    V_BSTR(&argument) = text;
    DISPPARAMS arguments = {&argument, nullptr, 1, 0};
    constexpr DISPID add = 1;
    const support::ModuleAllocationFault fault(1);
    ASSERT_EQ(Result(list->Invoke(add, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &arguments, nullptr, nullptr,
                                  nullptr)),
              Result(E_OUTOFMEMORY));
    ASSERT_TRUE(fault.Fired());
}

enum class Exceptions { None, OneEach };

void LoadUseAndUnload(Exceptions exceptions) {
    {
        const Dll dll;
        for (const Class& row : classes) {
            Use(dll, row);
        }
        if (exceptions == Exceptions::OneEach) {
            RaiseException(dll);
        }
        ASSERT_EQ(Result(dll.CanUnloadNow()), Result(S_OK));
    }
    ASSERT_EQ(GetModuleHandleW(DllPath().c_str()), nullptr);
}

class LoadCycles : public testing::Test {
  protected:
    /// The platform's caches and the test's store of freed blocks grow in the first cycles and vary by a few blocks
    /// later. A leak in each cycle adds up to far more than that.
    static void ExpectThousandLeaveNothing(Exceptions exceptions) {
        constexpr int cycles = 1'000;
        constexpr int warmUp = 200;
        for (int i = 0; i < warmUp && !HasFatalFailure(); ++i) {
            LoadUseAndUnload(exceptions);
        }
        const ProcessState before = StateOfProcess();
        for (int i = 0; i < cycles && !HasFatalFailure(); ++i) {
            LoadUseAndUnload(exceptions);
        }
        const ProcessState after = StateOfProcess();
        std::cout << "before: " << before << "\nafter:  " << after << '\n';
        EXPECT_EQ(after.localIndices, before.localIndices);
        EXPECT_EQ(after.handles, before.handles);
        EXPECT_EQ(after.modules, before.modules);
        EXPECT_LT(after.blocks, before.blocks + cycles / 10);
        EXPECT_LT(after.bytes, before.bytes + cycles);
        EXPECT_LT(after.processBytes, before.processBytes + cycles);
    }

  private:
    const ApartmentOf m_apartment{ApartmentOf::SingleThreaded};
};

TEST_F(LoadCycles, State_CountsWhatIsInUse) {
    const ProcessState before = StateOfProcess();
    const DWORD threadLocal = TlsAlloc();
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    void* const block = std::malloc(1'000); // NOLINT(cppcoreguidelines-no-malloc)
    void* const processBlock = HeapAlloc(GetProcessHeap(), 0, 3'000);
    const ProcessState with = StateOfProcess();
    HeapFree(GetProcessHeap(), 0, processBlock);
    std::free(block); // NOLINT(cppcoreguidelines-no-malloc)
    CloseHandle(event);
    TlsFree(threadLocal);
    EXPECT_EQ(with.localIndices, before.localIndices + 1);
    EXPECT_EQ(with.handles, before.handles + 1);
    EXPECT_EQ(with.blocks, before.blocks + 1);
    EXPECT_GE(with.bytes, before.bytes + 1'000);
    EXPECT_GE(with.processBytes, before.processBytes + 3'000);
    const Dll dll;
    EXPECT_EQ(StateOfProcess().modules, before.modules + 1);
}

TEST_F(LoadCycles, AThousand_LeaveNothing) {
    ExpectThousandLeaveNothing(Exceptions::None);
}

TEST_F(LoadCycles, AThousandWithAnException_LeaveNothing) {
    ExpectThousandLeaveNothing(Exceptions::OneEach);
}

} // namespace
