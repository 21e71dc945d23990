// The classes in the system's surrogate process, with the packaged registry files. The client is a 64-bit program that
// requests another process; a 32-bit one would get the same.

#include <filesystem>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>

#include "tests/automation/dispatch.h"
#include "tests/module/dll.h"
#include "tests/module/registry.h"
#include "tests/module/threads.h"
#include "tests/module/useclasses.h"
#include "tests/support/bstr.h"
#include "tests/support/wine.h"

namespace {

std::string NameOf(const testing::TestParamInfo<Class>& row) {
    return row.param.name;
}

/// Imports the registry file named by the environment variable.
void Import(const char* variable) {
    std::wstring command =
        L"reg.exe import \"" + std::filesystem::path(Environment(variable)).make_preferred().wstring() + L"\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process) ==
        FALSE) {
        throw std::runtime_error("cannot start reg.exe");
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
}

HRESULT CreateInSurrogate(const Class& row, CComPtr<IDispatch>& object) {
    return CoCreateInstance(*row.clsid, nullptr, CLSCTX_LOCAL_SERVER, IID_IDispatch, reinterpret_cast<void**>(&object));
}

std::wstring AppId() {
    return std::filesystem::path(Environment("NUVOLEX_SURROGATE_APPID")).wstring();
}

std::wstring AppIdKey() {
    return L"AppID\\" + AppId();
}

std::wstring ClassKey(const Class& row) {
    wchar_t clsid[39];
    StringFromGUID2(*row.clsid, clsid, static_cast<int>(std::size(clsid)));
    return std::wstring(L"CLSID\\") + clsid;
}

/// A value below HKEY_CLASSES_ROOT, if it exists.
std::optional<std::wstring> ValueOf(const std::wstring& key, const wchar_t* name) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof(text);
    if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return text;
}

/// Expects the entries of the registry file.
void ExpectImported() {
    EXPECT_EQ(ValueOf(AppIdKey(), nullptr), L"Nuvolex");
    EXPECT_EQ(ValueOf(AppIdKey(), L"DllSurrogate"), L"");
    for (const Class& row : classes) {
        EXPECT_EQ(ValueOf(ClassKey(row), L"AppID"), AppId()) << row;
    }
}

/// Expects none of these entries, and the DLL still registered.
void ExpectRemoved() {
    EXPECT_FALSE(KeyExists(AppIdKey()));
    for (const Class& row : classes) {
        EXPECT_FALSE(ValueOf(ClassKey(row), L"AppID").has_value()) << row;
        EXPECT_TRUE(ValueOf(ClassKey(row) + L"\\InprocServer32", nullptr).has_value()) << row;
    }
    const ApartmentOf apartment(ApartmentOf::SingleThreaded);
    CComPtr<IDispatch> object;
    EXPECT_EQ(Result(CreateInSurrogate(classes[0], object)), Result(REGDB_E_CLASSNOTREG));
}

/// Registers the DLL and imports the registry file; reverses both at the end.
class Installation : public testing::Environment {
    void SetUp() override {
        const ApartmentOf apartment(ApartmentOf::SingleThreaded);
        ASSERT_EQ(Result(Dll().RegisterServer()), Result(S_OK));
        Import("NUVOLEX_SURROGATE");
        ExpectImported();
        if (support::RunningUnderWine()) { // Wine uses the value as a path, even if it is empty
            RegistryKey(AppIdKey()).SetText(L"DllSurrogate", L"C:\\windows\\system32\\dllhost.exe");
        }
    }
    void TearDown() override {
        Import("NUVOLEX_SURROGATE_REMOVE");
        ExpectRemoved();
        const ApartmentOf apartment(ApartmentOf::SingleThreaded);
        EXPECT_EQ(Result(Dll().UnregisterServer()), Result(S_OK));
        for (const Class& row : classes) {
            EXPECT_FALSE(KeyExists(ClassKey(row))) << row;
        }
    }
};

const auto* const installation = testing::AddGlobalTestEnvironment(new Installation);

class Surrogate : public testing::TestWithParam<Class> {
  private:
    const ApartmentOf m_apartment{ApartmentOf::SingleThreaded};
};

TEST_P(Surrogate, Object_IsCalledLateBoundInAnotherProcess) {
    CComPtr<IDispatch> object;
    ASSERT_EQ(Result(CreateInSurrogate(GetParam(), object)), Result(S_OK));
    Use(GetParam(), support::DispatchObject(object), L"text");
    EXPECT_EQ(GetModuleHandleW(L"nuvolex.dll"), nullptr) << "in this process";
}

INSTANTIATE_TEST_SUITE_P(Classes, Surrogate, testing::ValuesIn(classes), NameOf);

} // namespace
