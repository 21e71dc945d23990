// Registration when a system function fails. The DLL's imports are redirected, among others to the test's registrar, so
// that nothing is written.

#include <string>

#include <windows.h>

#include <atlbase.h>
#include <atliface.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/dll.h"
#include "tests/support/imports.h"

namespace {

using support::RedirectedImport;

/// A registrar that records calls and writes nothing.
class Registrar final : public IRegistrar {
  public:
    HRESULT replacement = S_OK; ///< what AddReplacement returns
    std::wstring module;
    int scriptCount = 0;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR /*key*/, LPCOLESTR item) override {
        module = item;
        return replacement;
    }
    HRESULT STDMETHODCALLTYPE ClearReplacements() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR, LPCOLESTR, LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR, LPCOLESTR, LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR, UINT, LPCOLESTR) override { return Count(); }
    HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR, UINT, LPCOLESTR) override { return Count(); }

  private:
    HRESULT Count() {
        ++scriptCount;
        return S_OK;
    }
};

/// A type library whose GetLibAttr fails.
class Library final : public ITypeLib {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    UINT STDMETHODCALLTYPE GetTypeInfoCount() override { return 0; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoType(UINT, TYPEKIND*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoOfGuid(REFGUID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetLibAttr(TLIBATTR**) override { return TYPE_E_IOERROR; }
    HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDocumentation(INT, BSTR*, BSTR*, DWORD*, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsName(LPOLESTR, ULONG, BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindName(LPOLESTR, ULONG, ITypeInfo**, MEMBERID*, USHORT*) override { return E_NOTIMPL; }
    void STDMETHODCALLTYPE ReleaseTLibAttr(TLIBATTR*) override {}

    ULONG references = 0;
};

Registrar* registrar = nullptr;
Library* library = nullptr;
const std::wstring longPath = L"X:\\" + std::wstring(2 * MAX_PATH, L'd') + L"\\nuvolex.dll";

HRESULT WINAPI CreateRegistrar(REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID* object) {
    *object = registrar;
    return S_OK;
}

HRESULT WINAPI CreateNothing(REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID* object) {
    *object = nullptr;
    return REGDB_E_CLASSNOTREG;
}

DWORD WINAPI NoFileName(HMODULE, LPWSTR, DWORD) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return 0;
}

/// Like the system, truncates a name that does not fit and returns the size of the buffer.
DWORD WINAPI LongFileName(HMODULE, LPWSTR name, DWORD size) {
    const std::size_t copied = longPath.copy(name, size - 1);
    name[copied] = L'\0';
    SetLastError(copied < longPath.size() ? ERROR_INSUFFICIENT_BUFFER : ERROR_SUCCESS);
    return copied < longPath.size() ? size : static_cast<DWORD>(copied);
}

HRESULT WINAPI LoadNothing(LPCOLESTR path, REGKIND, ITypeLib** loaded) {
    *loaded = nullptr;
    return path == longPath ? TYPE_E_CANTLOADLIBRARY : E_UNEXPECTED;
}

BSTR WINAPI AllocateNothing(const OLECHAR*) {
    return nullptr;
}

HRESULT WINAPI LoadLibraryOfTheTest(LPCOLESTR, REGKIND, ITypeLib** loaded) {
    library->AddRef();
    *loaded = library;
    return S_OK;
}

class SystemFailure : public testing::Test {
  protected:
    SystemFailure() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        registrar = &m_registrar;
        library = &m_library;
    }
    ~SystemFailure() override {
        EXPECT_EQ(m_library.references, 0u);
        CoUninitialize();
    }

    template <class Function> RedirectedImport Redirect(const char* name, Function* replacement) const {
        return RedirectedImport(m_dll.Module(), name, replacement);
    }

    Registrar m_registrar;
    Library m_library;
    Dll m_dll;
    const RedirectedImport m_registrarOfTheTest = Redirect("CoCreateInstance", &CreateRegistrar);
};

TEST_F(SystemFailure, NoRegistrar_EndsWithItsResult) {
    const RedirectedImport failing = Redirect("CoCreateInstance", &CreateNothing);
    EXPECT_EQ(Result(m_dll.RegisterServer()), Result(REGDB_E_CLASSNOTREG));
    EXPECT_EQ(Result(m_dll.UnregisterServer()), Result(REGDB_E_CLASSNOTREG));
}

TEST_F(SystemFailure, RegistrarThatRefusesTheDllsPath_RunsNoScript) {
    m_registrar.replacement = E_ACCESSDENIED;
    EXPECT_EQ(Result(m_dll.RegisterServer()), Result(E_ACCESSDENIED));
    EXPECT_EQ(Result(m_dll.UnregisterServer()), Result(E_ACCESSDENIED));
    EXPECT_EQ(m_registrar.scriptCount, 0);
}

TEST_F(SystemFailure, UnknownPathOfTheDll_EndsWithTheSystemsError) {
    const RedirectedImport failing = Redirect("GetModuleFileNameW", &NoFileName);
    EXPECT_EQ(Result(m_dll.RegisterServer()), Result(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)));
    EXPECT_EQ(m_registrar.scriptCount, 0);
}

/// Fails, since there is no type library at that path. (Wine's own search for one crashes.)
TEST_F(SystemFailure, LongPathOfTheDll_IsPassedOnWhole) {
    const RedirectedImport redirected = Redirect("GetModuleFileNameW", &LongFileName);
    const RedirectedImport missing = Redirect("LoadTypeLibEx", &LoadNothing);
    EXPECT_EQ(Result(m_dll.RegisterServer()), Result(TYPE_E_CANTLOADLIBRARY));
    EXPECT_EQ(m_registrar.module, longPath);
    EXPECT_EQ(m_registrar.scriptCount, 7);
}

TEST_F(SystemFailure, NoMemoryForThePathOfTheTypeLibrary_EndsWithOutOfMemory) {
    const RedirectedImport ofTheTest = Redirect("LoadTypeLibEx", &LoadLibraryOfTheTest);
    const RedirectedImport failing = Redirect("SysAllocString", &AllocateNothing);
    EXPECT_EQ(Result(m_dll.RegisterServer()), Result(E_OUTOFMEMORY));
    EXPECT_EQ(Result(m_dll.UnregisterServer()), Result(E_OUTOFMEMORY));
}

TEST_F(SystemFailure, TypeLibraryWithoutAttributes_UnregisteringEndsWithItsResult) {
    const RedirectedImport ofTheTest = Redirect("LoadTypeLibEx", &LoadLibraryOfTheTest);
    EXPECT_EQ(Result(m_dll.UnregisterServer()), Result(TYPE_E_IOERROR));
}

} // namespace
