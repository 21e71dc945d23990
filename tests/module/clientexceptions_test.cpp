// C++ exceptions of the DLL in a client with its own C++ runtime. Client and DLL may be from different compilers.

#include <exception>
#include <new>

#include <windows.h>

#include <atlbase.h>
#include <comdef.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/dll.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using support::Bstr;

enum class Caught { Nothing, ComError, BadAlloc, Other };

/// Calls `call` and returns which exception it raised. Does not allocate.
template <class Call> Caught Catch(Call call) {
    try {
        call();
    } catch (const _com_error& error) {
        return error.Error() == E_OUTOFMEMORY ? Caught::ComError : Caught::Other;
    } catch (const std::bad_alloc&) {
        return Caught::BadAlloc;
    } catch (...) {
        return Caught::Other;
    }
    return Caught::Nothing;
}

class ClientExceptions : public testing::Test {
  protected:
    ClientExceptions() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        support::TrackAllocations(m_dll.Module());
        m_string = Create<INXString>(CLSID_NXString);
        EXPECT_HRESULT_SUCCEEDED(m_string->put_Value(Bstr(L"some text")));
        // At a thread's first exception, the runtimes allocate memory that they keep.
        EXPECT_EQ(Catch([this] { FailingLeft(); }), Caught::ComError);
    }
    ~ClientExceptions() override {
        m_string.Release();
        CoUninitialize();
    }

    template <class Interface> CComPtr<Interface> Create(REFCLSID clsid) const {
        CComPtr<IClassFactory> factory;
        EXPECT_HRESULT_SUCCEEDED(m_dll.GetClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory)));
        CComPtr<Interface> object;
        EXPECT_HRESULT_SUCCEEDED(
            factory->CreateInstance(nullptr, __uuidof(Interface), reinterpret_cast<void**>(&object)));
        return object;
    }

    /// Calls a member whose result cannot be allocated.
    void FailingLeft() {
        const support::AllocationFault fault(1);
        BSTR part = nullptr;
        static_cast<void>(m_string->Left(4, &part));
    }

    Dll m_dll;
    CComPtr<INXString> m_string;
};

TEST_F(ClientExceptions, ComError_IsCaughtByItsType) {
    EXPECT_EQ(Catch([this] { FailingLeft(); }), Caught::ComError);
}

TEST_F(ClientExceptions, BadAlloc_IsCaughtByItsType) {
    const Bstr text(L"x");
    bool sawBadAlloc = false;
    for (std::size_t number = 1;; ++number) {
        const CComPtr<INXStringList> list = Create<INXStringList>(CLSID_NXStringList);
        Caught caught{};
        bool fired = false;
        {
            const support::AllocationFault fault(number);
            caught = Catch([&] { static_cast<void>(list->Add(text)); });
            fired = fault.Fired();
        }
        if (!fired) {
            EXPECT_EQ(caught, Caught::Nothing);
            break;
        }
        EXPECT_TRUE(caught == Caught::ComError || caught == Caught::BadAlloc) << "failing allocation: " << number;
        sawBadAlloc = sawBadAlloc || caught == Caught::BadAlloc;
    }
    EXPECT_TRUE(sawBadAlloc);
}

TEST_F(ClientExceptions, Unwinding_RunsTheClientsDestructors) {
    const auto references = [this] {
        m_string.p->AddRef();
        return m_string.p->Release();
    };
    const ULONG before = references();
    EXPECT_EQ(Catch([this] {
                  const CComPtr<INXString> local = m_string;
                  FailingLeft();
              }),
              Caught::ComError);
    EXPECT_EQ(references(), before);
}

TEST_F(ClientExceptions, ObjectAfterwards_IsUnchangedAndUsable) {
    EXPECT_EQ(Catch([this] { FailingLeft(); }), Caught::ComError);

    Bstr part;
    EXPECT_HRESULT_SUCCEEDED(m_string->Left(4, part.Out()));
    EXPECT_BSTR(part, L"some");
}

TEST_F(ClientExceptions, ManyExceptions_LeakNothing) {
    const support::ExpectNoLeaks noLeaks;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(Catch([this] { FailingLeft(); }), Caught::ComError);
    }
}

TEST_F(ClientExceptions, ExceptionRaisedAgainByTheClient_IsCaughtByItsType) {
    const support::ExpectNoLeaks noLeaks;
    EXPECT_EQ(Catch([this] {
                  try {
                      FailingLeft();
                  } catch (...) {
                      throw;
                  }
              }),
              Caught::ComError);
}

TEST_F(ClientExceptions, ExceptionKeptByTheClient_IsRaisedAgain) {
    std::exception_ptr kept;
    try {
        FailingLeft();
    } catch (...) {
        kept = std::current_exception();
    }
    EXPECT_EQ(Catch([&] { std::rethrow_exception(kept); }), Caught::ComError);
}

/// The DLL's runtime counts the exception when it is raised, the client's when it is caught.
TEST_F(ClientExceptions, UncaughtExceptions_DoesNotCountTheDllsExceptions) {
    const int before = std::uncaught_exceptions();
    EXPECT_EQ(Catch([this] { FailingLeft(); }), Caught::ComError);
    EXPECT_EQ(std::uncaught_exceptions(), before - 1);
}

} // namespace
