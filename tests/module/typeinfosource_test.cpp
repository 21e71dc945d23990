// The source of type information: the registered type library is preferred to the DLL's own.

#include <filesystem>
#include <string>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/registry.h"
#include "tests/module/typelibrary.h"

namespace {

constexpr const char* otherLibrary = "OtherLibrary";
constexpr const char* ownLibrary = "NUVOLEXLib";

/// The type information of a new object in a newly loaded DLL, which has not cached any.
CComPtr<ITypeInfo> FreshTypeInfo(const Class& row) {
    const Dll dll;
    CComPtr<ITypeInfo> type;
    Must(dll.Object(row)->GetTypeInfo(0, LOCALE_USER_DEFAULT, &type), "GetTypeInfo");
    return type;
}

/// The name of a type's library.
Text LibraryOf(ITypeInfo& type) {
    CComPtr<ITypeLib> library;
    UINT index = 0;
    Must(type.GetContainingTypeLib(&library, &index), "GetContainingTypeLib");
    return DocumentationOf(*library.p).name;
}

/// Redirects HKEY_CLASSES_ROOT to an empty key.
class TypeInfoSource : public testing::Test {
  protected:
    TypeInfoSource() : m_file(std::filesystem::temp_directory_path() / L"nuvolex_other_library.tlb") {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        RegDeleteTreeW(HKEY_CURRENT_USER, place);
        RegCreateKeyExW(HKEY_CURRENT_USER, place, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &m_root,
                        nullptr);
        RegOverridePredefKey(HKEY_CLASSES_ROOT, m_root);
    }
    ~TypeInfoSource() override {
        RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
        RegCloseKey(m_root);
        RegDeleteTreeW(HKEY_CURRENT_USER, place);
        CoUninitialize();
        std::filesystem::remove(m_file);
    }

    /// Registers another file as the DLL's type library. It has one interface, `iid`.
    void RegisterOtherLibrary(const IID& iid) const {
        CreateOtherLibrary(m_file, otherLibrary, iid);
        RegisterFile(m_file);
    }
    static void RegisterFile(const std::filesystem::path& file) {
        wchar_t libid[39];
        StringFromGUID2(LIBID_NUVOLEXLib, libid, static_cast<int>(std::size(libid)));
        const std::wstring version = L"TypeLib\\" + std::wstring(libid) + L"\\1.0";
        RegistryKey(version).SetText(L"", L"library of a test");
        RegistryKey(version + L"\\409\\win64").SetText(L"", file.wstring());
    }

    [[nodiscard]] const std::filesystem::path& OtherFile() const noexcept { return m_file; }

  private:
    static constexpr const wchar_t* place = L"Software\\NuvolexTypeInfoSourceTest";
    const std::filesystem::path m_file;
    HKEY m_root = nullptr;
};

TEST_F(TypeInfoSource, RegisteredLibrary_IsPreferredToTheDllsOwn) {
    for (const Class& row : classes) {
        RegisterOtherLibrary(*row.iid);
        const CComPtr<ITypeInfo> type = FreshTypeInfo(row);
        EXPECT_EQ(LibraryOf(*type.p), otherLibrary) << row;
        EXPECT_EQ(AttributesOf(type)->guid, *row.iid) << row;
    }
}

TEST_F(TypeInfoSource, NothingRegistered_IsTheDllsOwn) {
    for (const Class& row : classes) {
        const CComPtr<ITypeInfo> type = FreshTypeInfo(row);
        EXPECT_EQ(LibraryOf(*type.p), ownLibrary) << row;
        EXPECT_EQ(AttributesOf(type)->guid, *row.iid) << row;
    }
}

TEST_F(TypeInfoSource, RegisteredLibraryWithoutTheInterface_IsSkipped) {
    RegisterOtherLibrary(IID_IPersist);
    for (const Class& row : classes) {
        EXPECT_EQ(LibraryOf(*FreshTypeInfo(row).p), ownLibrary) << row;
    }
}

TEST_F(TypeInfoSource, RegisteredFileThatIsMissing_IsSkipped) {
    RegisterFile(OtherFile());
    ASSERT_FALSE(std::filesystem::exists(OtherFile()));
    for (const Class& row : classes) {
        EXPECT_EQ(LibraryOf(*FreshTypeInfo(row).p), ownLibrary) << row;
    }
}

} // namespace
