// Registration: what the scripts and the entry points write into the registry and remove again.

#include <cstddef>
#include <iostream>
#include <string>

#include <windows.h>

#include <atlbase.h>
#include <atliface.h>
#include <gtest/gtest.h>

#include "tests/module/processstate.h"
#include "tests/module/registration.h"

namespace {

// ------------------------------------------------------------------------------------------------ the registry scripts

class RegistryScriptOf : public InBareRegistry, public testing::WithParamInterface<Class> {
  protected:
    static constexpr const wchar_t* path = L"X:\\Some Folder\\nuvolex.dll";

    static void Register() { EXPECT_EQ(Result(Run(&IRegistrar::ResourceRegister)), Result(S_OK)); }
    static void Unregister() { EXPECT_EQ(Result(Run(&IRegistrar::ResourceUnregister)), Result(S_OK)); }

    static RegistryLines Entries() { return EntriesOf(GetParam(), path); }

  private:
    template <class Method> static HRESULT Run(Method method) {
        CComPtr<IRegistrar> registrar;
        HRESULT hr = CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar,
                                      reinterpret_cast<void**>(&registrar));
        if (SUCCEEDED(hr)) {
            hr = registrar->AddReplacement(L"Module", path);
        }
        return SUCCEEDED(hr) ? (registrar->*method)(DllPath().c_str(), GetParam().script, L"REGISTRY") : hr;
    }
};

TEST_P(RegistryScriptOf, Registering_WritesItsEntriesAndNothingElse) {
    Register();
    EXPECT_EQ(Without(Registered(), Entries()), RegistryLines());
    EXPECT_EQ(Without(Entries(), Registered()), RegistryLines());
}

TEST_P(RegistryScriptOf, RegisteringAgain_ChangesNothing) {
    Register();
    Register();
    EXPECT_EQ(Registered(), Entries());
}

TEST_P(RegistryScriptOf, Registering_ReplacesWhateverTheClassKeyHeld) {
    const std::wstring key = ClassKey(GetParam());
    RegistryKey(key).SetText(L"AppID", L"stale");
    RegistryKey(key + L"\\LocalServer32").SetText(L"", L"stale");
    RegistryKey(key + L"\\InprocServer32").SetText(L"Assembly", L"stale");
    RegistryKey(key + L"\\Programmable\\Deep").SetText(L"Name", L"stale");
    Register();
    EXPECT_EQ(Registered(), Entries());
}

TEST_P(RegistryScriptOf, Unregistering_LeavesTheEmptyClsidRoot) {
    Register();
    Unregister();
    EXPECT_EQ(ClassesRoot(), commonKeys);
}

TEST_P(RegistryScriptOf, Unregistering_LeavesWhatOthersHave) {
    RegistryKey(L"CLSID").SetText(L"", L"of the root");
    RegistryKey(L"CLSID").SetText(L"Name", L"of the root as well");
    RegistryKey(L"CLSID\\{2C9A2B0E-54A5-4E0C-8C7B-0E6F6A3D9F41}\\InprocServer32").SetText(L"", L"another.dll");
    RegistryKey(L"Nuvolex.Other").SetText(L"", L"another class");
    RegistryKey(GetParam().ProgId() + L".2").SetText(L"", L"another version");
    const RegistryLines before = ClassesRoot();
    Register();
    EXPECT_EQ(Without(before, ClassesRoot()), RegistryLines());
    Unregister();
    EXPECT_EQ(ClassesRoot(), before);
}

TEST_P(RegistryScriptOf, UnregisteringAgain_Succeeds) {
    Register();
    Unregister();
    Unregister();
    EXPECT_EQ(ClassesRoot(), commonKeys);
}

INSTANTIATE_TEST_SUITE_P(Classes, RegistryScriptOf, testing::ValuesIn(classes), NameOf);

// ---------------------------------------------------------------------------------------------------- the entry points

TEST_F(Registration, Registering_WritesTheClassesEntriesAndNoOthers) {
    Register();
    const RegistryLines found = Without(Registered(), Below(KeysOfTypeLibrary(), Registered()));
    EXPECT_EQ(Without(found, EntriesOfAllClasses(m_path)), RegistryLines());
    EXPECT_EQ(Without(EntriesOfAllClasses(m_path), found), RegistryLines());
}

TEST_F(Registration, Registering_WritesTheTypeLibrary) {
    Register();
    EXPECT_EQ(Without(EntriesOfTypeLibrary(m_path), ClassesRoot()), RegistryLines());
}

TEST_F(Registration, RegisteringAgain_ChangesNothing) {
    Register();
    const RegistryLines before = ClassesRoot();
    Register();
    EXPECT_EQ(ClassesRoot(), before);
}

TEST_F(Registration, Unregistering_LeavesNothing) {
    Register();
    Unregister();
    EXPECT_EQ(ClassesRoot(), commonKeys);
}

TEST_F(Registration, Unregistering_LeavesWhatOthersHave) {
    RegistryKey(L"CLSID").SetText(L"", L"of the root");
    RegistryKey(L"CLSID\\{2C9A2B0E-54A5-4E0C-8C7B-0E6F6A3D9F41}").SetText(L"", L"another class");
    RegistryKey(L"TypeLib\\{2C9A2B0E-54A5-4E0C-8C7B-0E6F6A3D9F41}\\1.0\\0\\win64").SetText(L"", L"another.tlb");
    const RegistryLines before = ClassesRoot();
    Register();
    Unregister();
    EXPECT_EQ(ClassesRoot(), before);
}

TEST_F(Registration, UnregisteringAgain_Succeeds) {
    Register();
    Unregister();
    Unregister();
    EXPECT_EQ(ClassesRoot(), commonKeys);
}

TEST_F(Registration, UnregisteringWhatWasNeverRegistered_Succeeds) {
    Unregister();
    EXPECT_EQ(ClassesRoot(), commonKeys);
}

TEST_F(Registration, AfterUnregistering_RegistersAsBefore) {
    Register();
    const RegistryLines before = ClassesRoot();
    Unregister();
    Register();
    EXPECT_EQ(ClassesRoot(), before);
}

/// The number of handles that the platform leaks when it registers and unregisters the type library. (Wine 8 never
/// closes some keys.)
std::size_t HandlesLostByPlatform() {
    CComPtr<ITypeLib> library;
    EXPECT_EQ(Result(LoadTypeLibEx(DllPath().c_str(), REGKIND_NONE, &library)), Result(S_OK));
    std::wstring path = DllPath().wstring();
    const std::size_t before = support::OpenHandles();
    for (int i = 0; i < 2; ++i) { // UnregisterServer registers too
        EXPECT_EQ(Result(RegisterTypeLib(library, path.data(), nullptr)), Result(S_OK));
    }
    EXPECT_EQ(Result(UnRegisterTypeLib(LIBID_NUVOLEXLib, 1, 0, libraryLocale, SYS_WIN64)), Result(S_OK));
    return support::OpenHandles() - before;
}

/// The platform's caches grow at first and by a few blocks later; a leak each time adds up to more.
TEST_F(Registration, RegisteringAndUnregisteringOften_LosesNothing) {
    const auto repeat = [this](int count) {
        for (int i = 0; i < count && !HasFatalFailure(); ++i) {
            Register();
            Unregister();
            Unregister(); // searches for every entry
        }
    };
    constexpr std::size_t count = 40;
    repeat(10);
    const std::size_t lostByPlatform = HandlesLostByPlatform();
    const ProcessState before = StateOfProcess();
    repeat(count);
    const ProcessState after = StateOfProcess();
    std::cout << "before: " << before << "\nafter:  " << after << '\n';
    EXPECT_EQ(after.handles, before.handles + count * lostByPlatform);
    EXPECT_EQ(after.modules, before.modules);
    EXPECT_LT(after.blocks, before.blocks + count);
    EXPECT_LT(after.processBytes, before.processBytes + 32 * count);
}

} // namespace
