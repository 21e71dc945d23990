// Registration: what the scripts and the entry points write into the registry and take out again, when that fails, and
// whether a client finds the classes where the registry says that they are.
//
// Most tests see an empty HKEY_CLASSES_ROOT of their own. Those that need the platform to find the classes use the real
// one, and leave it as if the DLL had never been there: they want a Wine prefix of their own.

#include <filesystem>
#include <iterator>
#include <ostream>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <atliface.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/failures.h"
#include "tests/module/registry.h"
#include "tests/support/bstr.h"

namespace {

constexpr LCID libraryLocale = 0x0409;

std::string NameOf(const testing::TestParamInfo<Class>& row) {
    return row.param.name;
}

std::wstring GuidText(const GUID& guid) {
    wchar_t text[39];
    StringFromGUID2(guid, text, static_cast<int>(std::size(text)));
    return text;
}

std::wstring ClassKey(const Class& row) {
    return L"CLSID\\" + GuidText(*row.clsid);
}

/// Everything that the registry says about a class whose DLL is at `path`.
RegistryLines EntriesOf(const Class& row, const std::wstring& path) {
    const std::wstring description = row.description;
    const std::wstring clsid = GuidText(*row.clsid);
    const std::wstring name = row.ProgId();
    const std::wstring versioned = row.VersionedProgId();
    const std::wstring key = L"CLSID\\" + clsid;
    RegistryLines lines = {
        versioned,
        versioned + L" = " + description,
        versioned + L"\\CLSID",
        versioned + L"\\CLSID = " + clsid,
        name,
        name + L" = " + description,
        name + L"\\CLSID",
        name + L"\\CLSID = " + clsid,
        key,
        key + L" = " + description,
        key + L"\\ProgID",
        key + L"\\ProgID = " + versioned,
        key + L"\\VersionIndependentProgID",
        key + L"\\VersionIndependentProgID = " + name,
        key + L"\\InprocServer32",
        key + L"\\InprocServer32 = " + path,
        key + L"\\InprocServer32 [ThreadingModel] = " + row.threadingModel,
    };
    if (!row.sparse) {
        lines.insert({
            name + L"\\CurVer",
            name + L"\\CurVer = " + versioned,
            key + L"\\Programmable",
            key + L"\\TypeLib",
            key + L"\\TypeLib = " + GuidText(LIBID_NUVOLEXLib),
        });
    }
    return lines;
}

/// What must be registered of the type library. The platform adds entries of its own choice below the same keys.
RegistryLines EntriesOfTypeLibrary(const std::wstring& path) {
    const std::wstring libid = GuidText(LIBID_NUVOLEXLib);
    RegistryLines lines = {
        L"TypeLib\\" + libid + L"\\1.0 = Quarvin Nuvolex 1.0 Typbibliothek",
        L"TypeLib\\" + libid + L"\\1.0\\409\\win64 = " + path,
    };
    const std::wstring itsTypeLib = L"\\TypeLib = " + libid;
    for (const Class& row : classes) {
        const std::wstring interfaceKey = L"Interface\\" + GuidText(*row.iid);
        const std::wstring itsName = L" = I" + row.WideName();
        lines.insert({
            interfaceKey + itsName,
            interfaceKey + itsTypeLib,
            interfaceKey + L"\\TypeLib [Version] = 1.0",
            // the platform's own marshaler for what a type library describes
            interfaceKey + L"\\ProxyStubClsid32 = {00020424-0000-0000-C000-000000000046}",
        });
    }
    return lines;
}

/// The keys below which the platform writes when a type library is registered.
std::vector<std::wstring> KeysOfTypeLibrary() {
    std::vector<std::wstring> keys = {L"TypeLib\\" + GuidText(LIBID_NUVOLEXLib)};
    for (const Class& row : classes) {
        keys.push_back(L"Interface\\" + GuidText(*row.iid));
        keys.push_back(L"Wow6432Node\\Interface\\" + GuidText(*row.iid));
    }
    return keys;
}

/// The keys in which all this stands and which every Windows has.
const RegistryLines commonKeys = {L"CLSID", L"Interface", L"TypeLib", L"Wow6432Node", L"Wow6432Node\\Interface"};

// ------------------------------------------------------------------------------- a registry without a single class

class InBareRegistry : public testing::Test {
  protected:
    InBareRegistry() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        RegDeleteTreeW(HKEY_CURRENT_USER, place);
        RegCreateKeyExW(HKEY_CURRENT_USER, place, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &m_root,
                        nullptr);
        RegOverridePredefKey(HKEY_CLASSES_ROOT, m_root);
    }
    ~InBareRegistry() override {
        RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
        RegCloseKey(m_root);
        RegDeleteTreeW(HKEY_CURRENT_USER, place);
        CoUninitialize();
    }
    void SetUp() override {
        for (const std::wstring& key : commonKeys) {
            const RegistryKey created(key);
        }
        ASSERT_EQ(ClassesRoot(), commonKeys);
    }

    /// What is registered now.
    static RegistryLines Registered() { return Without(ClassesRoot(), commonKeys); }
    static void ExpectCommonKeysAreThere() { EXPECT_EQ(Without(commonKeys, ClassesRoot()), RegistryLines()); }

  private:
    static constexpr const wchar_t* place = L"Software\\NuvolexRegistrationTest";
    HKEY m_root = nullptr;
};

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

/// Everything that registering the DLL at `path` writes, apart from the type library.
RegistryLines EntriesOfAllClasses(const std::wstring& path) {
    RegistryLines lines;
    for (const Class& row : classes) {
        lines.merge(EntriesOf(row, path));
    }
    return lines;
}

class Registration : public InBareRegistry {
  protected:
    void Register() const { ASSERT_EQ(Result(m_dll.RegisterServer()), Result(S_OK)); }
    void Unregister() const { ASSERT_EQ(Result(m_dll.UnregisterServer()), Result(S_OK)); }

    Dll m_dll;
    std::wstring m_path = DllPath().wstring();
};

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

// --------------------------------------------------------------------------------------------------- when a step fails

/// Nothing that lasts can be written below a key that does not last, whatever rights the user has.
class FailingRegistration : public Registration {
  protected:
    static void MakeUnusable(const std::wstring& path) { const RegistryKey key(path, REG_OPTION_VOLATILE); }
    static constexpr HRESULT unusable = HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE);
};

class FailingScript : public FailingRegistration, public testing::WithParamInterface<Class> {};

TEST_P(FailingScript, Registering_EndsThereWithItsResult) {
    MakeUnusable(GetParam().ProgId());
    EXPECT_EQ(Result(m_dll.RegisterServer()), Result(unusable));
}

/// What becomes of the failing class's own entries is up to the platform's registrar (it takes them back).
TEST_P(FailingScript, Registering_KeepsTheClassesBeforeAndGoesNoFurther) {
    MakeUnusable(GetParam().ProgId());
    std::ignore = m_dll.RegisterServer();
    RegistryLines wanted;
    for (const Class& row : classes) {
        if (row.script == GetParam().script) {
            break;
        }
        wanted.merge(EntriesOf(row, m_path));
    }
    const std::vector<std::wstring> own = {GetParam().ProgId(), GetParam().VersionedProgId(), ClassKey(GetParam())};
    EXPECT_EQ(Without(Registered(), Below(own, Registered())), wanted);
}

TEST_P(FailingScript, RegisteringAfterTheCauseIsGone_Succeeds) {
    MakeUnusable(GetParam().ProgId());
    std::ignore = m_dll.RegisterServer();
    RegDeleteTreeW(HKEY_CLASSES_ROOT, GetParam().ProgId().c_str());
    Register();
    EXPECT_EQ(Without(EntriesOfAllClasses(m_path), Registered()), RegistryLines());
}

INSTANTIATE_TEST_SUITE_P(Classes, FailingScript, testing::ValuesIn(classes), NameOf);

TEST_F(FailingRegistration, OfTheTypeLibrary_EndsWithItsResultAndKeepsTheClasses) {
    MakeUnusable(L"TypeLib\\" + GuidText(LIBID_NUVOLEXLib));
    CComPtr<ITypeLib> library;
    ASSERT_EQ(Result(LoadTypeLibEx(m_path.c_str(), REGKIND_NONE, &library)), Result(S_OK));
    const HRESULT wanted = RegisterTypeLib(library, m_path.data(), nullptr);
    ASSERT_TRUE(FAILED(wanted));

    EXPECT_EQ(Result(m_dll.RegisterServer()), Result(wanted));
    EXPECT_EQ(Without(EntriesOfAllClasses(m_path), Registered()), RegistryLines());
}

// What the platform makes of its own lack of memory is not the DLL's business.

TEST_F(Registration, Registering_AtAnyAllocationThatFails_EndsWithOutOfMemory) {
    ForEachFailureInFreshDll([](const Dll&) {}, [](const Dll& dll) { return dll.RegisterServer(); });
    EXPECT_EQ(Without(EntriesOfAllClasses(m_path), Registered()), RegistryLines());
    EXPECT_EQ(Without(EntriesOfTypeLibrary(m_path), Registered()), RegistryLines());
}

TEST_F(Registration, Unregistering_AtAnyAllocationThatFails_EndsWithOutOfMemory) {
    ForEachFailureInFreshDll([](const Dll& dll) { ASSERT_EQ(Result(dll.RegisterServer()), Result(S_OK)); },
                             [](const Dll& dll) { return dll.UnregisterServer(); });
    EXPECT_EQ(ClassesRoot(), commonKeys);
}

// --------------------------------------------------------------------------------------------- from wherever the DLL
// is

/// A copy of the DLL in a folder of its own, which goes away at the end.
class Copy {
  public:
    explicit Copy(const std::wstring& folder)
        : m_top(std::filesystem::temp_directory_path() / L"nuvolex-registration"),
          m_path(m_top / folder / L"nuvolex.dll") {
        std::filesystem::create_directories(m_path.parent_path());
        std::filesystem::copy_file(DllPath(), m_path, std::filesystem::copy_options::overwrite_existing);
    }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;
    ~Copy() {
        std::error_code error;
        std::filesystem::remove_all(m_top, error);
        EXPECT_FALSE(error) << "the copy is still in use: " << error.message();
    }

    [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }

  private:
    std::filesystem::path m_top;
    std::filesystem::path m_path;
};

/// In the real registry, which knows nothing of the DLL before and after.
class InRealRegistry : public testing::Test {
  protected:
    void SetUp() override {
        RemoveEverything();
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    }
    void TearDown() override {
        CoUninitialize();
        RemoveEverything();
    }

    static void ExpectRegistered(const std::wstring& path) {
        for (const Class& row : classes) {
            EXPECT_EQ(DefaultValue(ClassKey(row) + L"\\InprocServer32"), path) << row;
        }
        support::Bstr libraryPath;
        EXPECT_EQ(Result(QueryPathOfRegTypeLib(LIBID_NUVOLEXLib, 1, 0, libraryLocale, libraryPath.Out())),
                  Result(S_OK));
        EXPECT_BSTR(libraryPath, path);
    }

    static void ExpectUnregistered() {
        for (const Class& row : classes) {
            EXPECT_FALSE(KeyExists(row.ProgId())) << row;
            EXPECT_FALSE(KeyExists(row.VersionedProgId())) << row;
            EXPECT_FALSE(KeyExists(ClassKey(row))) << row;
        }
        EXPECT_TRUE(KeyExists(L"CLSID"));
        support::Bstr path;
        EXPECT_EQ(Result(QueryPathOfRegTypeLib(LIBID_NUVOLEXLib, 1, 0, libraryLocale, path.Out())),
                  Result(TYPE_E_LIBNOTREGISTERED));
        EXPECT_FALSE(KeyExists(L"TypeLib\\" + GuidText(LIBID_NUVOLEXLib)));
    }

  private:
    /// Not by the DLL, which is what is tested here.
    static void RemoveEverything() {
        std::vector<std::wstring> keys = KeysOfTypeLibrary();
        for (const Class& row : classes) {
            keys.insert(keys.end(), {row.ProgId(), row.VersionedProgId(), ClassKey(row)});
        }
        for (const std::wstring& key : keys) {
            RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
        }
    }
};

struct Folder {
    const char* kind;
    std::wstring name;

    friend std::ostream& operator<<(std::ostream& out, const Folder& folder) { return out << folder.kind; }
};

const Folder folders[] = {
    {"Plain", L"plain"},
    {"Blanks", L"with  two blanks and more"},
    {"Apostrophe", L"the user's"},
    {"ApostropheAtTheEndOfAWord", L"the users' folder"},
    {"ApostropheAtBothEnds", L"'quoted'"},
    {"TwoApostrophes", L"Rock 'n' Roll's"},
    {"NothingButApostrophes", L"''"},
    {"Umlauts", L"Gr\u00F6\u00DFe \u00E4ndern"},
    {"Greek", L"\u0394\u03BF\u03BA\u03B9\u03BC\u03AE"},
    {"Cjk", L"\u6587\u5B57\u5217"},
    {"SurrogatePair", L"\U0001D11E"},
    {"PercentSigns", L"100% %MODULE% %"},
    {"Braces", L"{HKCR} = s"},
    {"LongerThan200Characters", std::wstring(100, L'a') + L"\\" + std::wstring(100, L'b')},
};

class RegisteredFrom : public InRealRegistry, public testing::WithParamInterface<Folder> {
  protected:
    static void ExpectCreates(const Class& row, const std::wstring& progId, const std::wstring& path) {
        CLSID clsid = {};
        ASSERT_EQ(Result(CLSIDFromProgID(progId.c_str(), &clsid)), Result(S_OK)) << row;
        CComPtr<IDispatch> object;
        ASSERT_EQ(Result(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                          reinterpret_cast<void**>(&object))),
                  Result(S_OK))
            << row;
        EXPECT_NE(GetModuleHandleW(path.c_str()), nullptr);
        std::wstring name = row.member;
        OLECHAR* names[] = {name.data()};
        DISPID dispid = DISPID_UNKNOWN;
        EXPECT_EQ(Result(object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &dispid)), Result(S_OK)) << row;
    }

    Copy m_copy{GetParam().name};
    const std::wstring m_path = m_copy.Path().wstring();
};

TEST_P(RegisteredFrom, Folder_IsWhereClientsFindTheClassesAndTheTypeLibrary) {
    {
        const Dll dll(m_path);
        ASSERT_EQ(Result(dll.RegisterServer()), Result(S_OK));
    }
    EXPECT_EQ(GetModuleHandleW(m_path.c_str()), nullptr);
    ExpectRegistered(m_path);
    for (const Class& row : classes) {
        ExpectCreates(row, row.ProgId(), m_path);
        ExpectCreates(row, row.VersionedProgId(), m_path);
    }
    CComPtr<ITypeLib> library;
    ASSERT_EQ(Result(LoadRegTypeLib(LIBID_NUVOLEXLib, 1, 0, libraryLocale, &library)), Result(S_OK));
    EXPECT_EQ(library->GetTypeInfoCount(), 14u);
    library.Release();

    ASSERT_EQ(Result(Dll(m_path).UnregisterServer()), Result(S_OK));
    ExpectUnregistered();
}

INSTANTIATE_TEST_SUITE_P(Folders, RegisteredFrom, testing::ValuesIn(folders),
                         [](const testing::TestParamInfo<Folder>& row) { return std::string(row.param.kind); });

class RegisteredFromAnother : public InRealRegistry {};

TEST_F(RegisteredFromAnother, Folder_IsTheNewPlace) {
    const Copy first(L"first");
    const Copy second(L"second");
    ASSERT_EQ(Result(Dll(first.Path()).RegisterServer()), Result(S_OK));
    ExpectRegistered(first.Path());
    ASSERT_EQ(Result(Dll(second.Path()).RegisterServer()), Result(S_OK));
    ExpectRegistered(second.Path());
    ASSERT_EQ(Result(Dll(second.Path()).UnregisterServer()), Result(S_OK));
    ExpectUnregistered();
}

class TypeInformation : public InRealRegistry, public testing::WithParamInterface<Class> {};

/// Objects describe themselves even then, since the DLL has the type library in itself.
TEST_P(TypeInformation, WhenTheRegisteredFileIsGone_IsThere) {
    {
        const Copy copy(L"gone");
        ASSERT_EQ(Result(Dll(copy.Path()).RegisterServer()), Result(S_OK));
    }
    CComPtr<ITypeLib> library;
    ASSERT_TRUE(FAILED(LoadRegTypeLib(LIBID_NUVOLEXLib, 1, 0, libraryLocale, &library)));

    const Dll dll;
    const CComPtr<IDispatch> object = dll.Object(GetParam());
    ASSERT_NE(object, nullptr);
    CComPtr<ITypeInfo> type;
    EXPECT_EQ(Result(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &type)), Result(S_OK));
    EXPECT_NE(type, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Classes, TypeInformation, testing::ValuesIn(classes), NameOf);

// ----------------------------------------------------------------------------------------------- by the system's
// program

class Regsvr32 : public InRealRegistry {
  protected:
    /// Runs it to its end.
    static DWORD ExitCodeOf(const std::wstring& arguments) {
        std::wstring commandLine = L"regsvr32 " + arguments;
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process = {};
        EXPECT_TRUE(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                                   &process));
        WaitForSingleObject(process.hProcess, INFINITE);
        DWORD exitCode = STILL_ACTIVE;
        GetExitCodeProcess(process.hProcess, &exitCode);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        return exitCode;
    }
    static std::wstring Quoted(const std::filesystem::path& path) { return L'"' + path.wstring() + L'"'; }
};

TEST_F(Regsvr32, RegistersAndUnregisters) {
    EXPECT_EQ(ExitCodeOf(L"/s " + Quoted(DllPath())), 0u);
    ExpectRegistered(DllPath());
    EXPECT_EQ(ExitCodeOf(L"/u /s " + Quoted(DllPath())), 0u);
    ExpectUnregistered();
}

TEST_F(Regsvr32, FolderWithBlanksApostrophesAndForeignLetters_RegistersAndUnregisters) {
    const Copy copy(L"Rock 'n' Roll's Gr\u00F6\u00DFe");
    EXPECT_EQ(ExitCodeOf(L"/s " + Quoted(copy.Path())), 0u);
    ExpectRegistered(copy.Path());
    EXPECT_EQ(ExitCodeOf(L"/u /s " + Quoted(copy.Path())), 0u);
    ExpectUnregistered();
}

TEST_F(Regsvr32, Again_Succeeds) {
    EXPECT_EQ(ExitCodeOf(L"/s " + Quoted(DllPath())), 0u);
    EXPECT_EQ(ExitCodeOf(L"/s " + Quoted(DllPath())), 0u);
    ExpectRegistered(DllPath());
    EXPECT_EQ(ExitCodeOf(L"/u /s " + Quoted(DllPath())), 0u);
    EXPECT_EQ(ExitCodeOf(L"/u /s " + Quoted(DllPath())), 0u);
    ExpectUnregistered();
}

TEST_F(Regsvr32, WhenAStepFails_SaysSoInItsExitCode) {
    const RegistryKey unusable(classes[0].ProgId(), REG_OPTION_VOLATILE);
    EXPECT_NE(ExitCodeOf(L"/s " + Quoted(DllPath())), 0u);
}

} // namespace
