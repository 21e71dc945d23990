// Late-bound calls of an object from an unregistered DLL, as with registration-free activation. The type information
// comes from the DLL, and calls need none. Runs in a Wine prefix in which the DLL was never registered.

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include <windows.h>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/dispatch.h"
#include "tests/core/textfiles.h"
#include "tests/module/dll.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using support::DispatchObject;
using support::Invocation;
using support::Require;

DispatchObject NewString(const Dll& dll) {
    CComPtr<IClassFactory> factory;
    Require(dll.GetClassObject(CLSID_NXString, IID_IClassFactory, reinterpret_cast<void**>(&factory)), "factory");
    CComPtr<IDispatch> object;
    Require(factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&object)), "object");
    return DispatchObject(object);
}

class UnregisteredDllTest : public ::testing::Test {
  protected:
    UnregisteredDllTest() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~UnregisteredDllTest() override { CoUninitialize(); }
};

TEST_F(UnregisteredDllTest, NothingIsRegistered) {
    CLSID clsid = {};
    EXPECT_TRUE(FAILED(CLSIDFromProgID(L"Nuvolex.NXString", &clsid)));
    CComPtr<ITypeLib> library;
    EXPECT_TRUE(FAILED(LoadRegTypeLib(LIBID_NUVOLEXLib, 1, 0, 0x0409, &library)));
}

TEST_F(UnregisteredDllTest, Objects_AreCalledLateBound) {
    const Dll dll;
    const DispatchObject text = NewString(dll);
    EXPECT_HR(text.Put(L"Value", L" abcdef ").hr, S_OK);
    EXPECT_EQ(text.Call(L"trim").value.Int(), 2);
    EXPECT_BSTR(text.Call(L"Mid", L"2", 3).value.Text(), L"cde");
    EXPECT_EQ(text.Get(L"Length").value.Int(), 6);
    EXPECT_HR(text.Call(L"Reverse").hr, DISP_E_UNKNOWNNAME);
}

TEST_F(UnregisteredDllTest, Objects_HaveTypeInformation) {
    const Dll dll;
    const DispatchObject text = NewString(dll);
    CComPtr<ITypeInfo> info;
    ASSERT_HR(text.Raw()->GetTypeInfo(0, 0x0407, &info), S_OK);
    TYPEATTR* attributes = nullptr;
    ASSERT_HR(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_TRUE(IsEqualGUID(attributes->guid, IID_INXString));
    info->ReleaseTypeAttr(attributes);
}

TEST_F(UnregisteredDllTest, TypeInformation_OutOfMemoryInTheDll_IsAnHresult_AndTheNextAttemptSucceeds) {
    bool fired = true;
    std::size_t number = 1;
    for (; fired; ++number) {
        SCOPED_TRACE(number);
        const Dll dll;
        support::TrackAllocations(dll.Module());
        const DispatchObject text = NewString(dll);
        {
            const support::ModuleAllocationFault fault(number);
            CComPtr<ITypeInfo> info;
            const HRESULT hr = text.Raw()->GetTypeInfo(0, 0x0409, &info);
            fired = fault.Fired();
            EXPECT_HR(hr, fired ? E_OUTOFMEMORY : S_OK);
            EXPECT_EQ(info.p != nullptr, !fired);
        }
        CComPtr<ITypeInfo> info;
        EXPECT_HR(text.Raw()->GetTypeInfo(0, 0x0409, &info), S_OK);
    }
    EXPECT_GT(number, 2u) << "nothing is allocated";
}

TEST_F(UnregisteredDllTest, FirstCall_AllocatesOnlyItsResult) {
    const Dll dll;
    support::TrackAllocations(dll.Module());
    const DispatchObject text = NewString(dll);
    const support::ModuleAllocationFault fault(1);
    EXPECT_EQ(text.Get(L"Length").value.Int(), 0);
    EXPECT_FALSE(fault.Fired());
}

/// A copy of the DLL with a damaged type library.
class DamagedDll {
  public:
    DamagedDll() : m_path(m_folder / L"damaged.dll") {
        constexpr std::string_view beginning = "MSFT\2\0\1\0"; // of a type library
        std::string bytes = support::ReadBytes(DllPath().wstring());
        const auto found = std::ranges::search(bytes, std::string_view(beginning.data(), 8));
        if (found.empty()) {
            throw std::runtime_error("no type library in the DLL");
        }
        std::ranges::fill(found, '\0');
        support::WriteBytes(m_path, bytes);
    }

    [[nodiscard]] const std::wstring& Path() const noexcept { return m_path; }

  private:
    const support::TemporaryFolder m_folder;
    const std::wstring m_path;
};

TEST_F(UnregisteredDllTest, Objects_WithADamagedTypeLibrary_AreCalledLateBound) {
    const DamagedDll damaged;
    const Dll dll(damaged.Path());
    const DispatchObject text = NewString(dll);
    CComPtr<ITypeInfo> info;
    ASSERT_TRUE(FAILED(text.Raw()->GetTypeInfo(0, 0x0409, &info))) << "the type library is not damaged";
    EXPECT_HR(text.Put(L"Value", 42).hr, S_OK);
    EXPECT_BSTR(text.Call(L"Mid", L"1", 3.0).value.Text(), L"2");
    EXPECT_HR(text.Call(L"Reverse").hr, DISP_E_UNKNOWNNAME);
}

} // namespace
