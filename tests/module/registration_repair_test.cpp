// Registrations that are incomplete or changed, or whose file has moved: registering again repairs them, and
// unregistering removes the rest and nothing else.

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/failures.h"
#include "tests/module/registration.h"
#include "tests/module/typelibrary.h"
#include "tests/support/bstr.h"

namespace {

/// A key or a value, parsed from its line.
class Entry {
  public:
    explicit Entry(const std::wstring& line) : m_key(line.substr(0, line.find(L" = "))) {
        if (m_key.size() == line.size()) {
            return;
        }
        m_valueName = L"";
        if (const std::size_t bracket = m_key.find(L" ["); bracket != std::wstring::npos) {
            m_valueName = m_key.substr(bracket + 2, m_key.size() - bracket - 3);
            m_key.resize(bracket);
        }
    }

    [[nodiscard]] bool IsValue() const noexcept { return m_valueName.has_value(); }
    void Remove() const {
        ASSERT_EQ(m_valueName.has_value() ? RegDeleteKeyValueW(HKEY_CLASSES_ROOT, m_key.c_str(), m_valueName->c_str())
                                          : RegDeleteTreeW(HKEY_CLASSES_ROOT, m_key.c_str()),
                  ERROR_SUCCESS);
    }
    void SetText(const std::wstring& text) const { RegistryKey(m_key).SetText(m_valueName.value(), text); }
    void SetNumber() const {
        const DWORD number = 1;
        ASSERT_EQ(
            RegSetKeyValueW(HKEY_CLASSES_ROOT, m_key.c_str(), m_valueName->c_str(), REG_DWORD, &number, sizeof(number)),
            ERROR_SUCCESS);
    }

  private:
    std::wstring m_key;
    std::optional<std::wstring> m_valueName; ///< none: the entry is the key
};

/// Registers the DLL before each test.
class DamagedRegistration : public Registration {
  protected:
    void SetUp() override {
        Registration::SetUp();
        Register();
        m_full = ClassesRoot();
    }

    /// The entries of the type library, of one class for each of the two kinds of scripts, and of their interfaces.
    [[nodiscard]] RegistryLines Entries() const {
        std::vector<std::wstring> keys = {libraryKey};
        for (const std::size_t i : {0U, 4U}) {
            const Class& row = classes[i];
            keys.insert(keys.end(),
                        {row.ProgId(), row.VersionedProgId(), ClassKey(row), L"Interface\\" + GuidText(*row.iid)});
        }
        return Below(keys, m_full);
    }

    /// Damages each entry and registers, then damages it again and unregisters.
    template <class Damage> void ForEachOf(const RegistryLines& entries, Damage damage) const {
        int count = 0;
        for (const std::wstring& line : entries) {
            SCOPED_TRACE(support::Printed(line));
            const Entry entry(line);
            if (!damage(entry)) {
                continue;
            }
            Register();
            ExpectClassesRoot(m_full);
            damage(entry);
            Unregister();
            ExpectClassesRoot(commonKeys);
            Register();
            ++count;
            if (HasFailure()) {
                return;
            }
        }
        EXPECT_GT(count, 0);
    }

    RegistryLines m_full;
};

TEST_F(DamagedRegistration, EntryMissing_IsRepairedOrRemoved) {
    ForEachOf(Entries(), [](const Entry& entry) {
        entry.Remove();
        return true;
    });
}

TEST_F(DamagedRegistration, ValueWithAnotherText_IsRepairedOrRemoved) {
    ForEachOf(Entries(), [](const Entry& entry) {
        if (entry.IsValue()) {
            entry.SetText(L"another");
        }
        return entry.IsValue();
    });
}

TEST_F(DamagedRegistration, TypeLibraryValueOfAnotherType_IsRepairedOrRemoved) {
    ForEachOf(Below({libraryKey}, m_full), [](const Entry& entry) {
        if (entry.IsValue()) {
            entry.SetNumber();
        }
        return entry.IsValue();
    });
}

TEST_F(DamagedRegistration, InterfacesOnly_AreRemoved) {
    ASSERT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, libraryKey.c_str()), ERROR_SUCCESS);
    for (const Class& row : classes) {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, row.ProgId().c_str());
        RegDeleteTreeW(HKEY_CLASSES_ROOT, row.VersionedProgId().c_str());
        RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey(row).c_str());
    }
    Unregister();
    ExpectClassesRoot(commonKeys);
}

// ------------------------------------------------------------------------------------------- what others have written

/// Another type library with the DLL's LIBID and version.
class ForeignTypeLibrary : public DamagedRegistration {
  protected:
    ~ForeignTypeLibrary() override { std::filesystem::remove(m_file); }

    void SetUp() override {
        DamagedRegistration::SetUp();
        CreateOtherLibrary(m_file, "Foreign", foreignInterface);
        RegistryKey(libraryKey + L"\\1.0\\409\\win64").SetText(L"", m_file.wstring());
        RegistryKey(foreignInterfaceKey).SetText(L"", L"IForeign");
        RegistryKey(foreignInterfaceKey + L"\\TypeLib").SetText(L"", GuidText(LIBID_NUVOLEXLib));
    }

    static RegistryLines ForeignInterface() { return Below({foreignInterfaceKey}, ClassesRoot()); }

    // {5B3D1A60-2F2E-4C35-9B0C-7B3C7E0D1F11}
    static constexpr IID foreignInterface = {
        0x5B3D1A60, 0x2F2E, 0x4C35, {0x9B, 0x0C, 0x7B, 0x3C, 0x7E, 0x0D, 0x1F, 0x11}};
    static inline const std::wstring foreignInterfaceKey = L"Interface\\" + GuidText(foreignInterface);

  private:
    const std::filesystem::path m_file = std::filesystem::temp_directory_path() / L"nuvolex_foreign_library.tlb";
};

TEST_F(ForeignTypeLibrary, Registering_PutsTheDllsInItsPlace) {
    const RegistryLines foreign = ForeignInterface();
    Register();
    RegistryLines wanted = m_full;
    wanted.insert(foreign.begin(), foreign.end());
    ExpectClassesRoot(wanted);
}

TEST_F(ForeignTypeLibrary, Unregistering_RemovesTheDllsInterfacesAndLeavesTheForeignOne) {
    const RegistryLines foreign = ForeignInterface();
    Unregister();
    RegistryLines wanted = commonKeys;
    wanted.insert(foreign.begin(), foreign.end());
    ExpectClassesRoot(wanted);
}

/// Other entries below the DLL's keys.
struct Neighbour {
    const char* kind;
    std::wstring key; ///< below that of the type library

    friend std::ostream& operator<<(std::ostream& out, const Neighbour& neighbour) { return out << neighbour.kind; }
};

class NeighbouringTypeLibrary : public Registration, public testing::WithParamInterface<Neighbour> {
  protected:
    void SetUp() override {
        Registration::SetUp();
        const std::wstring key = libraryKey + L"\\" + GetParam().key;
        RegistryKey(key.substr(0, key.find(L'\\', libraryKey.size() + 1))).SetText(L"", L"Another library");
        RegistryKey(key + L"\\win64").SetText(L"", L"X:\\another.tlb");
        m_before = ClassesRoot();
    }
    RegistryLines m_before;
};

TEST_P(NeighbouringTypeLibrary, Registering_LeavesIt) {
    Register();
    EXPECT_EQ(Without(m_before, ClassesRoot()), RegistryLines());
    EXPECT_EQ(Without(EntriesOfTypeLibrary(m_path), ClassesRoot()), RegistryLines());
}

TEST_P(NeighbouringTypeLibrary, Unregistering_LeavesIt) {
    Register();
    Unregister();
    ExpectClassesRoot(m_before);
}

TEST_P(NeighbouringTypeLibrary, UnregisteringWhatWasNeverRegistered_ChangesNothing) {
    Unregister();
    ExpectClassesRoot(m_before);
}

INSTANTIATE_TEST_SUITE_P(Neighbours, NeighbouringTypeLibrary,
                         testing::Values(Neighbour{"LaterVersion", L"2.0\\409"}, Neighbour{"MinorVersion", L"1.1\\409"},
                                         Neighbour{"EarlierVersion", L"0.9\\0"}),
                         [](const testing::TestParamInfo<Neighbour>& row) { return std::string(row.param.kind); });

TEST_F(Registration, Unregistering_LeavesTheSameLibraryForAnotherPlatform) {
    Register();
    const std::wstring key = libraryKey + L"\\1.0\\409\\win32";
    RegistryKey(key).SetText(L"", L"X:\\nuvolex32.dll");
    Unregister();
    EXPECT_EQ(DefaultValue(key), L"X:\\nuvolex32.dll");
    EXPECT_FALSE(KeyExists(libraryKey + L"\\1.0\\409\\win64"));
    const RegistryLines before = ClassesRoot();
    Unregister();
    ExpectClassesRoot(before);
}

/// The registrar keeps keys that have other subkeys.
TEST_F(Registration, Unregistering_LeavesKeysOfOthersBelowProgIds) {
    Register();
    for (const Class& row : classes) {
        RegistryKey(row.ProgId() + L"\\DefaultIcon").SetText(L"", L"another.dll");
    }
    Unregister();
    for (const Class& row : classes) {
        EXPECT_EQ(DefaultValue(row.ProgId() + L"\\DefaultIcon"), L"another.dll") << row;
        EXPECT_FALSE(KeyExists(row.ProgId() + L"\\CLSID")) << row;
        EXPECT_FALSE(KeyExists(row.VersionedProgId())) << row;
        EXPECT_FALSE(KeyExists(ClassKey(row))) << row;
    }
}

// ------------------------------------------------------------------------ objects, whatever the type library's entries

struct Damage {
    const char* kind;
    void (*make)(const std::filesystem::path& file);

    friend std::ostream& operator<<(std::ostream& out, const Damage& damage) { return out << damage.kind; }
};

const Damage damages[] = {
    {"NoEntries", [](const std::filesystem::path&) { RegDeleteTreeW(HKEY_CLASSES_ROOT, libraryKey.c_str()); }},
    {"MissingFile",
     [](const std::filesystem::path& file) {
         RegistryKey(libraryKey + L"\\1.0\\409\\win64").SetText(L"", file.wstring());
     }},
    {"FileThatIsNoLibrary",
     [](const std::filesystem::path& file) {
         std::ofstream(file) << "This is not a type library.";
         RegistryKey(libraryKey + L"\\1.0\\409\\win64").SetText(L"", file.wstring());
     }},
    {"ForeignLibrary",
     [](const std::filesystem::path& file) {
         CreateOtherLibrary(file, "Foreign", IID_IPersist);
         RegistryKey(libraryKey + L"\\1.0\\409\\win64").SetText(L"", file.wstring());
     }},
    {"ForeignInterfaces",
     [](const std::filesystem::path&) {
         for (const Class& row : classes) {
             const std::wstring key = L"Interface\\" + GuidText(*row.iid);
             RegistryKey(key + L"\\ProxyStubClsid32").SetText(L"", GuidText(IID_IPersist));
             RegistryKey(key + L"\\TypeLib").SetText(L"", GuidText(IID_IPersist));
         }
     }},
};

class ObjectsWithDamagedTypeLibrary : public DamagedRegistration, public testing::WithParamInterface<Damage> {
  protected:
    ~ObjectsWithDamagedTypeLibrary() override { std::filesystem::remove(m_file); }

    const std::filesystem::path m_file = std::filesystem::temp_directory_path() / L"nuvolex_damaged_library.tlb";
};

TEST_P(ObjectsWithDamagedTypeLibrary, WorkLateBoundAndDescribeThemselves) {
    GetParam().make(m_file);
    for (const Class& row : classes) {
        const Dll fresh; // without cached type information
        const CComPtr<IDispatch> object = fresh.Object(row);
        ASSERT_NE(object, nullptr) << row;
        std::wstring name = row.member;
        OLECHAR* names[] = {name.data()};
        DISPID dispid = DISPID_UNKNOWN;
        ASSERT_EQ(Result(object->GetIDsOfNames(IID_NULL, names, 1, libraryLocale, &dispid)), Result(S_OK)) << row;
        DISPPARAMS none = {};
        VARIANT result = {};
        ASSERT_EQ(Result(object->Invoke(dispid, IID_NULL, libraryLocale, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &none,
                                        &result, nullptr, nullptr)),
                  Result(S_OK))
            << row;
        ASSERT_EQ(Result(VariantChangeType(&result, &result, 0, VT_I4)), Result(S_OK)) << row;
        EXPECT_EQ(V_I4(&result), 0) << row;
        CComPtr<ITypeInfo> type;
        ASSERT_EQ(Result(object->GetTypeInfo(0, libraryLocale, &type)), Result(S_OK)) << row;
        EXPECT_EQ(AttributesOf(type)->guid, *row.iid) << row;
    }
}

TEST_P(ObjectsWithDamagedTypeLibrary, RegisteringAgain_Repairs) {
    GetParam().make(m_file);
    Register();
    ExpectClassesRoot(m_full);
}

TEST_P(ObjectsWithDamagedTypeLibrary, Unregistering_LeavesNothing) {
    GetParam().make(m_file);
    Unregister();
    ExpectClassesRoot(commonKeys);
}

INSTANTIATE_TEST_SUITE_P(Damages, ObjectsWithDamagedTypeLibrary, testing::ValuesIn(damages),
                         [](const testing::TestParamInfo<Damage>& row) { return std::string(row.param.kind); });

// --------------------------------------------------------------------------------------------------------- moved files

class MovedDll : public InBareRegistry {
  protected:
    void SetUp() override {
        InBareRegistry::SetUp();
        ASSERT_EQ(Result(Dll(m_to.Path()).RegisterServer()), Result(S_OK));
        m_fullAtNewPlace = ClassesRoot();
        ASSERT_EQ(Result(Dll(m_to.Path()).UnregisterServer()), Result(S_OK));
        ASSERT_EQ(Result(Dll(m_from.Path()).RegisterServer()), Result(S_OK));
        ASSERT_TRUE(std::filesystem::remove(m_from.Path()));
    }

    const Copy m_from{L"old place"};
    const Copy m_to{L"new place"};
    RegistryLines m_fullAtNewPlace;
};

TEST_F(MovedDll, Registering_ReplacesAllEntries) {
    ASSERT_EQ(Result(Dll(m_to.Path()).RegisterServer()), Result(S_OK));
    ExpectClassesRoot(m_fullAtNewPlace);
}

TEST_F(MovedDll, Unregistering_RemovesTheEntriesOfTheOldPlace) {
    ASSERT_EQ(Result(Dll(m_to.Path()).UnregisterServer()), Result(S_OK));
    ExpectClassesRoot(commonKeys);
}

class UnusableClasses : public InRealRegistry {
  protected:
    static HRESULT Create(const Class& row) {
        CLSID clsid = {};
        const HRESULT hr = CLSIDFromProgID(row.ProgId().c_str(), &clsid);
        if (FAILED(hr)) {
            return hr;
        }
        return ResultWithOutPointer([&](void** object) {
            return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object);
        });
    }
    static void ExpectUsableAfterRegistering(const std::filesystem::path& path) {
        ASSERT_EQ(Result(Dll(path).RegisterServer()), Result(S_OK));
        ExpectRegistered(path);
        for (const Class& row : classes) {
            EXPECT_EQ(Result(Create(row)), Result(S_OK)) << row;
        }
    }
};

/// The copies exist until COM has unloaded them.
class MovedRegisteredDll : public UnusableClasses {
  protected:
    const Copy m_from{L"old place"};
    const Copy m_to{L"new place"};
};

TEST_F(MovedRegisteredDll, CreatingFailsUntilRegisteredAgain) {
    ASSERT_EQ(Result(Dll(m_from.Path()).RegisterServer()), Result(S_OK));
    ASSERT_TRUE(std::filesystem::remove(m_from.Path()));
    for (const Class& row : classes) {
        // The platform's result: HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND) on Windows, E_ACCESSDENIED under Wine.
        EXPECT_TRUE(FAILED(Create(row))) << row;
    }
    ExpectUsableAfterRegistering(m_to.Path());
}

TEST_F(UnusableClasses, AnotherDllUnderTheirIdentifiers_CreatingFailsUntilRegisteredAgain) {
    ASSERT_EQ(Result(Dll().RegisterServer()), Result(S_OK));
    for (const Class& row : classes) {
        RegistryKey(ClassKey(row) + L"\\InprocServer32").SetText(L"", L"version.dll"); // a DLL without class objects
        EXPECT_TRUE(FAILED(Create(row))) << row;
    }
    ExpectUsableAfterRegistering(DllPath());
}

TEST_F(UnusableClasses, ProgIdsOfAnotherClass_CreatingFailsUntilRegisteredAgain) {
    ASSERT_EQ(Result(Dll().RegisterServer()), Result(S_OK));
    for (const Class& row : classes) {
        RegistryKey(row.ProgId() + L"\\CLSID").SetText(L"", GuidText(IID_IPersist));
        EXPECT_EQ(Result(Create(row)), Result(REGDB_E_CLASSNOTREG)) << row;
    }
    ExpectUsableAfterRegistering(DllPath());
}

} // namespace
