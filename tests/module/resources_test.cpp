// The DLL's resources, and that their identifiers agree.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/dll.h"

namespace {

const LPCWSTR stringType = MAKEINTRESOURCEW(6);
const LPCWSTR versionType = MAKEINTRESOURCEW(16);

/// A resource's type or name as text: "#1" for a number.
std::wstring IdText(LPCWSTR id) {
    return IS_INTRESOURCE(id) ? L"#" + std::to_wstring(reinterpret_cast<std::uintptr_t>(id)) : std::wstring(id);
}

/// The DLL's file, loaded for its resources only.
class Resources {
  public:
    /// Names (see IdText), each with its languages.
    using Names = std::map<std::wstring, std::set<WORD>>;

    Resources() : m_file(LoadLibraryExW(DllPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE)) {
        if (m_file == nullptr) {
            throw std::runtime_error("cannot open the DLL");
        }
    }
    Resources(const Resources&) = delete;
    Resources& operator=(const Resources&) = delete;
    ~Resources() { FreeLibrary(m_file); }

    [[nodiscard]] std::set<std::wstring> Types() const {
        std::set<std::wstring> types;
        EnumResourceTypesW(
            m_file,
            [](HMODULE, LPWSTR type, LONG_PTR context) -> BOOL {
                reinterpret_cast<std::set<std::wstring>*>(context)->insert(IdText(type));
                return TRUE;
            },
            reinterpret_cast<LONG_PTR>(&types));
        return types;
    }

    [[nodiscard]] Names NamesOf(LPCWSTR wantedType) const {
        Names names;
        EnumResourceNamesW(
            m_file, wantedType,
            [](HMODULE file, LPCWSTR type, LPWSTR name, LONG_PTR context) -> BOOL {
                std::set<WORD>& languages = (*reinterpret_cast<Names*>(context))[IdText(name)];
                return EnumResourceLanguagesW(
                    file, type, name,
                    [](HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR found) -> BOOL {
                        reinterpret_cast<std::set<WORD>*>(found)->insert(language);
                        return TRUE;
                    },
                    reinterpret_cast<LONG_PTR>(&languages));
            },
            reinterpret_cast<LONG_PTR>(&names));
        return names;
    }

    [[nodiscard]] std::string_view Bytes(LPCWSTR type, UINT id) const {
        const HRSRC resource = FindResourceW(m_file, MAKEINTRESOURCEW(id), type);
        if (resource == nullptr) {
            throw std::runtime_error("no such resource: " + std::to_string(id));
        }
        return {static_cast<const char*>(LockResource(LoadResource(m_file, resource))),
                SizeofResource(m_file, resource)};
    }

  private:
    HMODULE m_file;
};

constexpr WORD neutral = MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL);
constexpr WORD german = 1031;
constexpr WORD english = 1033;

std::string Narrow(std::wstring_view text) {
    return {text.begin(), text.end()};
}

std::string GuidText(const GUID& guid) {
    wchar_t text[39];
    StringFromGUID2(guid, text, static_cast<int>(std::size(text)));
    return Narrow(text);
}

TEST(Resources, AreOfFourTypes) {
    EXPECT_EQ(Resources().Types(),
              (std::set<std::wstring>{L"TYPELIB", L"REGISTRY", IdText(stringType), IdText(versionType)}));
}

TEST(Resources, TypeLibrary_IsNumberOneAlone) {
    EXPECT_EQ(Resources().NamesOf(L"TYPELIB"), (Resources::Names{{L"#1", {neutral}}}));
}

TEST(Resources, RegistryScripts_AreOneForEachClass) {
    Resources::Names wanted;
    for (const Class& row : classes) {
        wanted[L"#" + std::to_wstring(row.script)] = {neutral};
    }
    EXPECT_EQ(wanted.size(), 7u);
    EXPECT_EQ(Resources().NamesOf(L"REGISTRY"), wanted);
}

/// Strings are stored in blocks of sixteen, each as its length and characters.
TEST(Resources, Strings_AreTwoInGerman) {
    constexpr UINT firstOfBlock = 96;
    constexpr UINT blockName = firstOfBlock / 16 + 1;
    const Resources resources;
    EXPECT_EQ(resources.NamesOf(stringType), (Resources::Names{{L"#" + std::to_wstring(blockName), {german}}}));

    const std::string_view bytes = resources.Bytes(stringType, blockName);
    std::wstring units(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(units.data(), bytes.data(), units.size() * sizeof(wchar_t));
    std::map<UINT, std::wstring> strings;
    std::size_t position = 0;
    for (UINT i = 0; i < 16; ++i) {
        const std::size_t length = units.at(position);
        if (length != 0) {
            strings[firstOfBlock + i] = units.substr(position + 1, length);
        }
        position += 1 + length;
    }
    EXPECT_EQ(strings, (std::map<UINT, std::wstring>{{100, L"Nuvolex"}, {106, L"NXTokenStringList-Klasse"}}));
}

// ------------------------------------------------------------------------------------------------- version resource

class VersionResource : public testing::Test {
  protected:
    void SetUp() override {
        const std::wstring path = DllPath().wstring();
        m_block.resize(GetFileVersionInfoSizeW(path.c_str(), nullptr));
        ASSERT_FALSE(m_block.empty());
        ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(m_block.size()), m_block.data()));
    }

    /// A value of the resource, or null.
    template <class T> [[nodiscard]] const T* Value(const wchar_t* path, UINT& length) const {
        void* value = nullptr;
        return VerQueryValueW(m_block.data(), path, &value, &length) != FALSE ? static_cast<const T*>(value) : nullptr;
    }

    [[nodiscard]] std::string String(const std::wstring& name) const {
        UINT length = 0;
        const auto* const text = Value<wchar_t>((L"\\StringFileInfo\\040904B0\\" + name).c_str(), length);
        return text != nullptr ? Narrow(text) : "(none)";
    }

  private:
    std::vector<std::byte> m_block;
};

TEST_F(VersionResource, IsNumberOneInEnglish) {
    EXPECT_EQ(Resources().NamesOf(versionType), (Resources::Names{{L"#1", {english}}}));
}

TEST_F(VersionResource, NumbersAreTheProjectsVersion) {
    UINT length = 0;
    const auto* const fixed = Value<VS_FIXEDFILEINFO>(L"\\", length);
    ASSERT_NE(fixed, nullptr);
    ASSERT_EQ(length, sizeof(VS_FIXEDFILEINFO));
    const auto dotted = [](DWORD high, DWORD low) {
        return std::to_string(HIWORD(high)) + '.' + std::to_string(LOWORD(high)) + '.' + std::to_string(HIWORD(low)) +
               '.' + std::to_string(LOWORD(low));
    };
    const std::string version = Environment("NUVOLEX_VERSION") + ".0";
    EXPECT_EQ(dotted(fixed->dwFileVersionMS, fixed->dwFileVersionLS), version);
    EXPECT_EQ(dotted(fixed->dwProductVersionMS, fixed->dwProductVersionLS), version);
    EXPECT_EQ(String(L"FileVersion"), version);
    EXPECT_EQ(String(L"ProductVersion"), version);
}

TEST_F(VersionResource, DescribesTheFile) {
    UINT length = 0;
    const auto* const fixed = Value<VS_FIXEDFILEINFO>(L"\\", length);
    ASSERT_NE(fixed, nullptr);
    EXPECT_EQ(fixed->dwSignature, 0xFEEF04BDu);
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_DLL));
    EXPECT_EQ(fixed->dwFileOS, static_cast<DWORD>(VOS_NT_WINDOWS32));
    EXPECT_EQ(fixed->dwFileFlags & fixed->dwFileFlagsMask, 0u);

    EXPECT_EQ(String(L"CompanyName"), "Quarvin");
    EXPECT_EQ(String(L"ProductName"), "Nuvolex");
    EXPECT_EQ(String(L"InternalName"), "nuvolex");
    EXPECT_EQ(String(L"OriginalFilename"), "nuvolex.dll");
    EXPECT_EQ(String(L"FileDescription"), Environment("NUVOLEX_DESCRIPTION"));
}

TEST_F(VersionResource, TranslationNamesTheStringsBlock) {
    UINT length = 0;
    const auto* const translation = Value<WORD>(L"\\VarFileInfo\\Translation", length);
    ASSERT_NE(translation, nullptr);
    ASSERT_EQ(length, 2 * sizeof(WORD));
    EXPECT_EQ(translation[0], 0x0409);
    EXPECT_EQ(translation[1], 0x04B0);
}

// -------------------------------------------------------------------------------------------- one GUID for each class

class IdentifiersOf : public testing::TestWithParam<Class> {};

/// A class's script contains its CLSID and, unless it is sparse, the LIBID.
TEST_P(IdentifiersOf, RegistryScript_AreTheContracts) {
    const std::string script(Resources().Bytes(L"REGISTRY", GetParam().script));
    const std::regex guid("\\{[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}\\}");
    const std::set<std::string> found(std::sregex_token_iterator(script.begin(), script.end(), guid),
                                      std::sregex_token_iterator());
    std::set<std::string> wanted = {GuidText(*GetParam().clsid)};
    if (!GetParam().sparse) {
        wanted.insert(GuidText(LIBID_NUVOLEXLib));
    }
    EXPECT_EQ(found, wanted);
}

TEST_P(IdentifiersOf, TypeLibrarysCoclass_AreTheContracts) {
    CComPtr<ITypeLib> library;
    ASSERT_EQ(Result(LoadTypeLibEx(DllPath().c_str(), REGKIND_NONE, &library)), Result(S_OK));
    CComPtr<ITypeInfo> coclass;
    ASSERT_EQ(Result(library->GetTypeInfoOfGuid(*GetParam().clsid, &coclass)), Result(S_OK));
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(Result(coclass->GetTypeAttr(&attributes)), Result(S_OK));
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    coclass->ReleaseTypeAttr(attributes);
    BSTR name = nullptr;
    ASSERT_EQ(Result(coclass->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr)), Result(S_OK));
    EXPECT_EQ(Narrow(name), GetParam().name);
    SysFreeString(name);
}

INSTANTIATE_TEST_SUITE_P(Classes, IdentifiersOf, testing::ValuesIn(classes),
                         [](const testing::TestParamInfo<Class>& row) { return std::string(row.param.name); });

} // namespace
