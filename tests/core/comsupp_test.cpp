// Conversions between narrow text and BSTRs that the system refuses. No ANSI code page refuses anything by itself, so
// the test program's calls of the system are redirected.

#include <comdef.h>
#include <windows.h>

#include <gtest/gtest.h>

#include "core/nkstring.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/imports.h"

namespace {

using support::Bstr;

int WINAPI RefuseToWiden(UINT, DWORD, LPCCH, int, LPWSTR, int) {
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return 0;
}

int WINAPI RefuseToNarrow(UINT, DWORD, LPCWCH, int, LPSTR, int, LPCCH, LPBOOL) {
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
}

/// The HRESULT of the _com_error that `action` raises; S_OK: it raises none.
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
        RaisedBy([] { _com_issue_error(E_FAIL); }); // a thread's first exception allocates
        static_cast<void>(support::CountLiveAllocations());
    }

    const support::RedirectedImport m_noWidening{GetModuleHandleW(nullptr), "MultiByteToWideChar", &RefuseToWiden};
    const support::RedirectedImport m_noNarrowing{GetModuleHandleW(nullptr), "WideCharToMultiByte", &RefuseToNarrow};
    const support::ExpectNoLeaks m_noLeaks;
};

TEST_F(ComSuppTest, ConvertStringToBSTR_OfTextThatTheSystemRefuses_RaisesItsError) {
    const HRESULT hr = RaisedBy([] { const Bstr unused(_com_util::ConvertStringToBSTR("a\xe4")); });
    EXPECT_EQ(hr, HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION));
}

TEST_F(ComSuppTest, ConvertBSTRToString_OfTextThatTheSystemRefuses_RaisesItsError) {
    const Bstr text(L"a\x00e4");
    const HRESULT hr = RaisedBy([&] { delete[] _com_util::ConvertBSTRToString(text); });
    EXPECT_EQ(hr, HRESULT_FROM_WIN32(ERROR_INVALID_FLAGS));
}

/// ASCII needs no conversion, so it cannot fail.
TEST_F(ComSuppTest, Ascii_IsNeverRefused) {
    EXPECT_BSTR(Bstr(_com_util::ConvertStringToBSTR("a")), L"a");
    EXPECT_EQ(RaisedBy([] { delete[] _com_util::ConvertBSTRToString(Bstr(L"a")); }), S_OK);
}

TEST_F(ComSuppTest, String_OfTextThatTheSystemRefuses_RaisesItsErrorAndKeepsItsText) {
    CNKString text(L"before");
    EXPECT_EQ(RaisedBy([&] { text += "\xe4"; }), HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION));
    EXPECT_BSTR(text, L"before");
    const CNKString wide(L"\x00e4");
    EXPECT_EQ(RaisedBy([&] { static_cast<void>(static_cast<const char*>(wide)); }),
              HRESULT_FROM_WIN32(ERROR_INVALID_FLAGS));
    EXPECT_BSTR(wide, L"\x00e4");
}

} // namespace
