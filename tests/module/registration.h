/// The entries of the DLL's registration, and registries and folders for tests.
#pragma once

#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include <windows.h>

#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/dll.h"
#include "tests/module/registry.h"
#include "tests/module/typelibrary.h"
#include "tests/support/bstr.h"

inline std::string NameOf(const testing::TestParamInfo<Class>& row) {
    return row.param.name;
}

inline std::wstring GuidText(const GUID& guid) {
    wchar_t text[39];
    StringFromGUID2(guid, text, static_cast<int>(std::size(text)));
    return text;
}

inline std::wstring ClassKey(const Class& row) {
    return L"CLSID\\" + GuidText(*row.clsid);
}

/// The key of the type library.
inline const std::wstring libraryKey = L"TypeLib\\" + GuidText(LIBID_NUVOLEXLib);

/// All registry entries of a class whose DLL is at `path`.
inline RegistryLines EntriesOf(const Class& row, const std::wstring& path) {
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

/// The required entries of the type library. The platform adds others below the same keys.
inline RegistryLines EntriesOfTypeLibrary(const std::wstring& path) {
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
            // the platform's marshaler for interfaces described by a type library
            interfaceKey + L"\\ProxyStubClsid32 = {00020424-0000-0000-C000-000000000046}",
        });
    }
    return lines;
}

/// The keys below which the platform registers type libraries.
inline std::vector<std::wstring> KeysOfTypeLibrary() {
    std::vector<std::wstring> keys = {L"TypeLib\\" + GuidText(LIBID_NUVOLEXLib)};
    for (const Class& row : classes) {
        keys.push_back(L"Interface\\" + GuidText(*row.iid));
        keys.push_back(L"Wow6432Node\\Interface\\" + GuidText(*row.iid));
    }
    return keys;
}

/// The keys that contain all this and exist on every Windows.
inline const RegistryLines commonKeys = {L"CLSID", L"Interface", L"TypeLib", L"Wow6432Node", L"Wow6432Node\\Interface"};

/// All entries that registering the DLL at `path` writes, except those of the type library.
inline RegistryLines EntriesOfAllClasses(const std::wstring& path) {
    RegistryLines lines;
    for (const Class& row : classes) {
        lines.merge(EntriesOf(row, path));
    }
    return lines;
}

/// Expects exactly `wanted` below HKEY_CLASSES_ROOT. Prints only differences.
inline void ExpectClassesRoot(const RegistryLines& wanted) {
    const RegistryLines now = ClassesRoot();
    EXPECT_EQ(Without(now, wanted), RegistryLines()) << "unexpected";
    EXPECT_EQ(Without(wanted, now), RegistryLines()) << "missing";
}

/// Redirects HKEY_CLASSES_ROOT to an empty key.
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

    /// The current entries.
    static RegistryLines Registered() { return Without(ClassesRoot(), commonKeys); }
    static void ExpectCommonKeysAreThere() { EXPECT_EQ(Without(commonKeys, ClassesRoot()), RegistryLines()); }

  private:
    static constexpr const wchar_t* place = L"Software\\NuvolexRegistrationTest";
    HKEY m_root = nullptr;
};

/// The DLL with such a registry.
class Registration : public InBareRegistry {
  protected:
    void Register() const { ASSERT_EQ(Result(m_dll.RegisterServer()), Result(S_OK)); }
    void Unregister() const { ASSERT_EQ(Result(m_dll.UnregisterServer()), Result(S_OK)); }

    Dll m_dll;
    std::wstring m_path = DllPath().wstring();
};

/// A copy of the DLL in its own folder, which the destructor removes.
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

/// Uses the real registry. The DLL is not registered before and after.
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
    /// Not with the DLL's code, which is under test.
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

/// The system's program that registers DLLs.
class Regsvr32 : public InRealRegistry {
  protected:
    /// Runs it and waits.
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
    /// A failure that the program reports, not a crash.
    static void ExpectFailure(DWORD exitCode) {
        EXPECT_GT(exitCode, 0U);
        EXPECT_LT(exitCode, 10U);
    }
    static std::wstring Quoted(const std::filesystem::path& path) { return L'"' + path.wstring() + L'"'; }
};
