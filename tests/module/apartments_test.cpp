// Objects in many apartments at the same time, and used from another apartment through a proxy.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/automation/dispatch.h"
#include "tests/module/dll.h"
#include "tests/module/registry.h"
#include "tests/module/stathread.h"
#include "tests/module/threads.h"
#include "tests/module/useclasses.h"
#include "tests/support/bstr.h"

namespace {

using support::Bstr;
using support::DispatchObject;
using support::Require;

using Clock = std::chrono::steady_clock;

std::string NameOf(const testing::TestParamInfo<Class>& row) {
    return row.param.name;
}

const Class& ClassOf(REFCLSID clsid) {
    for (const Class& row : classes) {
        if (*row.clsid == clsid) {
            return row;
        }
    }
    throw std::logic_error("no such class");
}

// ---------------------------------------------------------------------------------------------------------------------
// Many threads

/// The work of each thread until the time is over. Counts its rounds.
class Worker {
  public:
    Worker(const Dll& dll, std::size_t number) : m_dll(dll), m_name(L"thread " + std::to_wstring(number)) {}

    void DoRound() {
        for (const Class& row : classes) {
            const CComPtr<IClassFactory> factory = m_dll.Factory(row);
            EXPECT_EQ(Result(factory->LockServer(TRUE)), Result(S_OK));
            CComPtr<IDispatch> object;
            Require(factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&object)), row.name);
            EXPECT_EQ(Result(factory->LockServer(FALSE)), Result(S_OK));
            Use(row, DispatchObject(object), m_name);
            CComPtr<ITypeInfo> type;
            EXPECT_EQ(Result(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &type)), Result(S_OK));
            EXPECT_EQ(Result(m_dll.CanUnloadNow()), Result(S_FALSE)) << "an object of this thread lives";
        }
        if (++rounds % 20 == 0) { // through COM; this class may live in any apartment
            UseTokenStringList(support::Create(CLSID_NXTokenStringList), m_name);
            CoFreeUnusedLibraries();
        }
    }

    int rounds = 0;

  private:
    const Dll& m_dll;
    const std::wstring m_name;
};

TEST(Apartments, EightThreadsForFiveSeconds_DoNotInterfere) {
    constexpr std::size_t threadCount = 8;
    auto dll = std::make_unique<Dll>();
    std::atomic<int> rounds = 0;
    std::atomic<bool> over = false;
    std::atomic<int> idleThreads = 0;
    long questions = 0;
    std::thread asking([&] {
        const ApartmentOf apartment(ApartmentOf::SingleThreaded);
        const auto start = Clock::now();
        CComPtr<IDispatch> kept = dll->Object(classes[0]);
        for (; Clock::now() < start + std::chrono::milliseconds(2'500); ++questions) {
            EXPECT_EQ(Result(dll->CanUnloadNow()), Result(S_FALSE));
        }
        kept.Release();
        for (; Clock::now() < start + std::chrono::milliseconds(5'000); ++questions) {
            const HRESULT hr = dll->CanUnloadNow();
            EXPECT_TRUE(hr == S_OK || hr == S_FALSE) << Result(hr);
        }
        over = true;
    });
    RunInApartments(threadCount, [&](std::size_t number) {
        Worker worker(*dll, number);
        try {
            while (!over) {
                worker.DoRound();
            }
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
        rounds += worker.rounds;
        idleThreads += worker.rounds == 0 ? 1 : 0;
    });
    asking.join();
    std::cout << rounds << " rounds over all classes, " << questions << " calls of DllCanUnloadNow\n";
    EXPECT_EQ(idleThreads, 0);
    EXPECT_EQ(Result(dll->CanUnloadNow()), Result(S_OK)) << "all objects are released";
    dll.reset();
    EXPECT_EQ(GetModuleHandleW(DllPath().c_str()), nullptr);
}

// ---------------------------------------------------------------------------------------------------------------------
// Proxies

/// An object in a single-threaded apartment, and a proxy in the multi-threaded one, where the test runs.
class ProxyOf : public testing::TestWithParam<Class> {
  protected:
    ~ProxyOf() override {
        m_sta.Do([this] {
            m_object.Release();
            EXPECT_EQ(Result(m_dll->CanUnloadNow()), Result(S_OK)) << "releasing the proxy releases the object";
        });
    }

    /// Creates an object and a proxy for one of its interfaces. Returns the first failure.
    template <class Interface> HRESULT MakeProxy(const Class& row, REFIID iid, CComPtr<Interface>& proxy) {
        IStream* stream = nullptr;
        HRESULT hr = E_UNEXPECTED;
        m_sta.Do([&] {
            m_object = m_dll->Object(row);
            CComPtr<IUnknown> marshaled;
            hr = m_object->QueryInterface(iid, reinterpret_cast<void**>(&marshaled));
            if (SUCCEEDED(hr)) {
                hr = CoMarshalInterThreadInterfaceInStream(iid, marshaled, &stream);
            }
        });
        return FAILED(hr) ? hr : CoGetInterfaceAndReleaseStream(stream, iid, reinterpret_cast<void**>(&proxy));
    }

    [[nodiscard]] bool IsTheObject(IUnknown* candidate) const { return candidate == m_object.p; }

  private:
    const ApartmentOf m_apartment{ApartmentOf::MultiThreaded};
    const std::unique_ptr<Dll> m_dll = std::make_unique<Dll>();
    StaThread m_sta;
    CComPtr<IDispatch> m_object;
};

TEST_P(ProxyOf, Dispatch_BehavesLikeTheObject) {
    CComPtr<IDispatch> proxy;
    ASSERT_EQ(Result(MakeProxy(GetParam(), IID_IDispatch, proxy)), Result(S_OK));
    ASSERT_FALSE(IsTheObject(proxy)) << "no proxy";
    Use(GetParam(), DispatchObject(proxy), L"through the proxy");
    UINT count = 0;
    EXPECT_EQ(Result(proxy->GetTypeInfoCount(&count)), Result(S_OK));
    EXPECT_EQ(count, 1u);
    CComPtr<ITypeInfo> type;
    ASSERT_EQ(Result(proxy->GetTypeInfo(0, LOCALE_USER_DEFAULT, &type)), Result(S_OK));
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(Result(type->GetTypeAttr(&attributes)), Result(S_OK));
    EXPECT_EQ(attributes->guid, *GetParam().iid);
    type->ReleaseTypeAttr(attributes);
}

/// The platform's marshaler for custom interfaces reads the registered type library. Wine 8's looks only for one in the
/// neutral language, which is not registered; Windows accepts any language.
class NeutralLanguageEntry {
  public:
    NeutralLanguageEntry() : m_key(Path(), REG_OPTION_VOLATILE) {
        RegistryKey(Path() + L"\\win64", REG_OPTION_VOLATILE).SetText(L"", DllPath().wstring());
    }
    NeutralLanguageEntry(const NeutralLanguageEntry&) = delete;
    NeutralLanguageEntry& operator=(const NeutralLanguageEntry&) = delete;
    ~NeutralLanguageEntry() { RegDeleteTreeW(HKEY_CLASSES_ROOT, Path().c_str()); }

  private:
    static std::wstring Path() {
        wchar_t libid[39];
        StringFromGUID2(LIBID_NUVOLEXLib, libid, static_cast<int>(std::size(libid)));
        return L"TypeLib\\" + std::wstring(libid) + L"\\1.0\\0";
    }

    const RegistryKey m_key;
};

/// Proxies of each class's own interface.
class OwnProxyOf : public ProxyOf {
  protected:
    /// Creates a proxy with the registration as it is, or else with the entry that this platform needs.
    void SetUp() override {
        const HRESULT hr = MakeProxy(GetParam(), *GetParam().iid, m_proxy);
        if (FAILED(hr)) {
            m_refusal = hr;
            m_entry = std::make_unique<NeutralLanguageEntry>();
            ASSERT_EQ(Result(MakeProxy(GetParam(), *GetParam().iid, m_proxy)), Result(S_OK))
                << "not only because of the language: " << Result(hr);
        }
        ASSERT_FALSE(IsTheObject(m_proxy)) << "no proxy";
    }
    void TearDown() override {
        m_proxy.Release();
        if (FAILED(m_refusal) && !HasFailure()) {
            GTEST_SKIP() << "NOT TESTED as registered: this platform refuses (" << Result(m_refusal)
                         << "). With a type library entry for the neutral language it does not, and the test passed.";
        }
    }

    template <class Interface> [[nodiscard]] CComPtr<Interface> Proxy() const {
        CComPtr<Interface> proxy;
        Require(m_proxy->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(&proxy)), "QueryInterface");
        return proxy;
    }

    CComPtr<IUnknown> m_proxy;

  private:
    HRESULT m_refusal = S_OK;
    std::unique_ptr<NeutralLanguageEntry> m_entry;
};

TEST_P(OwnProxyOf, Vtable_BehavesLikeTheObject) {
    using NumberMember = HRESULT STDMETHODCALLTYPE(IUnknown*, void*);
    NumberMember* const member = (*reinterpret_cast<NumberMember***>(m_proxy.p))[GetParam().slot];
    LONG result = -1; // room for a long or a VARIANT_BOOL
    EXPECT_EQ(Result(member(m_proxy, &result)), Result(S_OK));
    EXPECT_EQ(LOWORD(result), 0);
}

TEST_P(OwnProxyOf, DispatchOfTheProxy_BehavesLikeTheObject) {
    Use(GetParam(), DispatchObject(Proxy<IDispatch>()), L"through the proxy");
}

INSTANTIATE_TEST_SUITE_P(Classes, ProxyOf, testing::ValuesIn(classes), NameOf);
INSTANTIATE_TEST_SUITE_P(Classes, OwnProxyOf, testing::ValuesIn(classes), NameOf);

using OwnStringProxy = OwnProxyOf;

TEST_P(OwnStringProxy, Strings_ArePassedBothWays) {
    const auto proxy = Proxy<INXString>();
    EXPECT_HR(proxy->put_Value(Bstr(L"abcdef")), S_OK);
    Bstr part;
    EXPECT_HR(proxy->Mid(2, 3, part.Out()), S_OK);
    EXPECT_BSTR(part, L"cde");
    EXPECT_HR(proxy->put_Value(Bstr(L"")), S_OK);
    Bstr value;
    EXPECT_HR(proxy->get_Value(value.Out()), S_OK);
    EXPECT_BSTR(value, L"");
    EXPECT_HR(proxy->Clear(), S_OK);
    EXPECT_HR(proxy->get_Value(value.Out()), S_OK);
    EXPECT_NULL_BSTR(value);
}

INSTANTIATE_TEST_SUITE_P(String, OwnStringProxy, testing::Values(ClassOf(CLSID_NXString)), NameOf);

} // namespace
