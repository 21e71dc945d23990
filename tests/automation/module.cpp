// The test program as a COM client and as a module with automation objects.

#include <cwchar>

#include <atlcom.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/support/wine.h"

CComModule _Module;

namespace {

BEGIN_OBJECT_MAP(noClasses)
END_OBJECT_MAP()

/// The language that NUVOLEX_LOCALE asks tools/lib/wine for.
LCID WantedLocale() {
    const wchar_t* const wanted = _wgetenv(L"NUVOLEX_LOCALE");
    if (wanted == nullptr) {
        return 0x0409;
    }
    return std::wcscmp(wanted, L"de_DE.UTF-8") == 0 ? 0x0407 : 0x0411;
}

/// Initialises COM and the module.
class ComClient : public ::testing::Environment {
    void SetUp() override {
        if (support::RunningUnderWine()) { // on Windows the tests run with the user's own
            ASSERT_EQ(GetUserDefaultLCID(), WantedLocale());
        }
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        _Module.Init(noClasses, GetModuleHandleW(nullptr), &LIBID_NUVOLEXLib);
    }
    void TearDown() override {
        _Module.Term();
        EXPECT_EQ(_Module.GetLockCount(), 0) << "Objects of the test program are left.";
        CoUninitialize();
    }
};

const auto* const comClient = ::testing::AddGlobalTestEnvironment(new ComClient);

} // namespace
