// Failing conversions between narrow text and BSTRs. No ANSI code page makes the system's conversions fail, so the test
// program's imports of them are redirected.

#include <comdef.h>
#include <windows.h>

#include <gtest/gtest.h>

#include "core/nkstring.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/imports.h"

namespace {

using support::Bstr;

int WINAPI FailToWiden(UINT, DWORD, LPCCH, int, LPWSTR, int) {
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return 0;
}

int WINAPI FailToNarrow(UINT, DWORD, LPCWCH, int, LPSTR, int, LPCCH, LPBOOL) {
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
}

/// The HRESULT of the _com_error that `action` raises, S_OK if it raises none.
template <class Action> HRESULT RaisedBy(Action action) {
    try {
        action();
    } catch (const _com_error& error) {
        return error.Error();
    }
    return S_OK;
}

class ComSuppTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        RaisedBy([] { _com_issue_error(E_FAIL); }); // a thread's first exception allocates memory that stays
        static_cast<void>(support::CountLiveAllocations());
    }

    const support::RedirectedImport m_failingWidening{GetModuleHandleW(nullptr), "MultiByteToWideChar", &FailToWiden};
    const support::RedirectedImport m_failingNarrowing{GetModuleHandleW(nullptr), "WideCharToMultiByte", &FailToNarrow};
    const support::ExpectNoLeaks m_noLeaks;
};

TEST_F(ComSuppTest, ConvertStringToBSTR_WhenTheSystemFails_RaisesItsError) {
    const HRESULT hr = RaisedBy([] { const Bstr unused(_com_util::ConvertStringToBSTR("a\xe4")); });
    EXPECT_EQ(hr, HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION));
}

TEST_F(ComSuppTest, ConvertBSTRToString_WhenTheSystemFails_RaisesItsError) {
    const Bstr text(L"a\x00e4");
    const HRESULT hr = RaisedBy([&] { delete[] _com_util::ConvertBSTRToString(text); });
    EXPECT_EQ(hr, HRESULT_FROM_WIN32(ERROR_INVALID_FLAGS));
}

/// ASCII is converted without the system.
TEST_F(ComSuppTest, Ascii_WhenTheSystemFails_IsConverted) {
    EXPECT_BSTR(Bstr(_com_util::ConvertStringToBSTR("a")), L"a");
    EXPECT_EQ(RaisedBy([] { delete[] _com_util::ConvertBSTRToString(Bstr(L"a")); }), S_OK);
}

TEST_F(ComSuppTest, String_WhenTheSystemFails_RaisesItsErrorAndKeepsItsText) {
    CNKString text(L"before");
    EXPECT_EQ(RaisedBy([&] { text += "\xe4"; }), HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION));
    EXPECT_BSTR(text, L"before");
    const CNKString wide(L"\x00e4");
    EXPECT_EQ(RaisedBy([&] { static_cast<void>(static_cast<const char*>(wide)); }),
              HRESULT_FROM_WIN32(ERROR_INVALID_FLAGS));
    EXPECT_BSTR(wide, L"\x00e4");
}

} // namespace
