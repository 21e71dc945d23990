/// The DLL under test, loaded as a client would load it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <stdexcept>
#include <string>

#include <windows.h>

#include <atlbase.h>

#include "tests/module/classes.h"

/// An environment variable that CTest sets for the tests.
inline std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    if (value == nullptr) {
        throw std::runtime_error(std::string("the environment variable is missing: ") + name);
    }
    return value;
}

/// The file under test.
inline std::filesystem::path DllPath() {
    return std::filesystem::absolute(Environment("NUVOLEX_DLL")).make_preferred();
}

/// An HRESULT that assertions print in hexadecimal: EXPECT_EQ(Result(call()), Result(E_POINTER)).
struct Result {
    explicit Result(HRESULT hresult) : value(hresult) {}
    HRESULT value;

    bool operator==(const Result&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Result& result) {
        return out << "0x" << std::hex << static_cast<unsigned long>(result.value) << std::dec;
    }
};

/// Loads a DLL and frees it in the destructor.
class Dll {
  public:
    explicit Dll(const std::filesystem::path& path = DllPath()) : m_module(LoadLibraryW(path.c_str())) {
        if (m_module == nullptr) {
            throw std::runtime_error("cannot load " + path.string());
        }
    }
    Dll(const Dll&) = delete;
    Dll& operator=(const Dll&) = delete;
    ~Dll() { FreeLibrary(m_module); }

    [[nodiscard]] HMODULE Module() const noexcept { return m_module; }

    // The entry points.

    [[nodiscard]] HRESULT CanUnloadNow() const { return Entry<HRESULT STDAPICALLTYPE()>("DllCanUnloadNow")(); }
    [[nodiscard]] HRESULT RegisterServer() const { return Entry<HRESULT STDAPICALLTYPE()>("DllRegisterServer")(); }
    [[nodiscard]] HRESULT UnregisterServer() const { return Entry<HRESULT STDAPICALLTYPE()>("DllUnregisterServer")(); }
    HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) const {
        return Entry<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject")(clsid, iid, object);
    }

    // Shortcuts; null if the DLL refuses.

    [[nodiscard]] CComPtr<IClassFactory> Factory(const Class& row) const {
        CComPtr<IClassFactory> factory;
        GetClassObject(*row.clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory));
        return factory;
    }
    [[nodiscard]] CComPtr<IDispatch> Object(const Class& row) const {
        CComPtr<IDispatch> object;
        if (const CComPtr<IClassFactory> factory = Factory(row); factory != nullptr) {
            factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&object));
        }
        return object;
    }

  private:
    template <class Function> Function* Entry(const char* name) const {
        const FARPROC entry = GetProcAddress(m_module, name);
        if (entry == nullptr) {
            throw std::runtime_error(std::string("the DLL does not export ") + name);
        }
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(entry));
    }

    HMODULE m_module;
};
