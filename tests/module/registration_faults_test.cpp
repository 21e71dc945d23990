// Registration when a step fails, when access to the registry is denied, and when memory runs out.

#include <string>
#include <tuple>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/failures.h"
#include "tests/module/registration.h"

namespace {

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

} // namespace
