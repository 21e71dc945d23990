// Registration of the DLL in various folders: clients find the classes through the registry.
//
// These tests use the real HKEY_CLASSES_ROOT and leave nothing registered: they need their own Wine prefix.

#include <ostream>
#include <string>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/registration.h"

namespace {

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

/// The DLL contains the type library.
TEST_P(TypeInformation, WhenTheRegisteredFileIsMissing_IsAvailable) {
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

// ------------------------------------------------------------------------------------------ by the system's program

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

TEST_F(Regsvr32, WithoutPermission_ReturnsAnErrorCode) {
    ASSERT_EQ(ExitCodeOf(L"/s " + Quoted(DllPath())), 0u);
    {
        const RestrictedKey readOnly(classes[0].ProgId(), KEY_READ);
        ExpectFailure(ExitCodeOf(L"/s " + Quoted(DllPath())));
    }
    EXPECT_EQ(ExitCodeOf(L"/s " + Quoted(DllPath())), 0u);
    {
        const RestrictedKey readOnly(L"TypeLib\\" + GuidText(LIBID_NUVOLEXLib) + L"\\1.0", KEY_READ);
        ExpectFailure(ExitCodeOf(L"/u /s " + Quoted(DllPath())));
    }
    EXPECT_EQ(ExitCodeOf(L"/u /s " + Quoted(DllPath())), 0u);
    ExpectUnregistered();
}

TEST_F(Regsvr32, WhenAStepFails_ReturnsAnErrorCode) {
    const RegistryKey unusable(classes[0].ProgId(), REG_OPTION_VOLATILE);
    ExpectFailure(ExitCodeOf(L"/s " + Quoted(DllPath())));
}

} // namespace
