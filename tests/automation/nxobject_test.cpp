// The base of the automation classes, with small classes of the test's own that implement INXString.

#include <cstddef>
#include <functional>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include <comdef.h>
#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxobject.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/module.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/imports.h"

namespace {

using support::Bstr;
using support::DispatchObject;
using support::ExpectNoLeaks;
using support::Reply;

// {6E9C5B1D-2A0F-4E0B-9B57-0D6A3C1F8E42}: registered nowhere
const GUID unregistered = {0x6E9C5B1D, 0x2A0F, 0x4E0B, {0x9B, 0x57, 0x0D, 0x6A, 0x3C, 0x1F, 0x8E, 0x42}};

/// The members of INXString. Each calls `member`.
template <class Base> class StringMembers : public Base {
  public:
    std::function<HRESULT()> member = [] { return S_OK; };

    HRESULT STDMETHODCALLTYPE TrimLeft(int*) override { return member(); }
    HRESULT STDMETHODCALLTYPE TrimRight(int*) override { return member(); }
    HRESULT STDMETHODCALLTYPE Trim(int*) override { return member(); }
    HRESULT STDMETHODCALLTYPE Left(int, BSTR*) override { return member(); }
    HRESULT STDMETHODCALLTYPE Right(int, BSTR*) override { return member(); }
    HRESULT STDMETHODCALLTYPE Mid(int, int, BSTR*) override { return member(); }
    HRESULT STDMETHODCALLTYPE Clear() override { return member(); }
    HRESULT STDMETHODCALLTYPE get_Value(BSTR*) override { return member(); }
    HRESULT STDMETHODCALLTYPE put_Value(BSTR) override { return member(); }
    HRESULT STDMETHODCALLTYPE get_Length(long*) override { return member(); }
};

/// An automation class of the test's own. Counts its living objects.
template <const CLSID* pclsid = &CLSID_NXString>
class Probe : public StringMembers<CNXObject<Probe<pclsid>, INXString, pclsid, &IID_INXString>> {
  public:
    static std::span<const CNXMember> Members() noexcept {
        static constexpr CNXMember members[] = {
            NXMethod<&Probe::Left>(0x60020003, L"Left", L"nLength"),
            NXMethod<&Probe::Clear>(0x60020006, L"Clear"),
            NXGet<&Probe::get_Value>(0x60020007, L"Value"),
            NXPut<&Probe::put_Value>(0x60020007, L"Value"),
        };
        return members;
    }

    Probe() { ++living; }
    ~Probe() { --living; }

    HRESULT FinalConstruct() noexcept { return finalConstruction; }

    static inline int living = 0;
    static inline HRESULT finalConstruction = S_OK;
};

using ProbeObject = CComObject<Probe<>>;

class NXObjectTest : public ::testing::Test {
  protected:
    NXObjectTest() { SetErrorInfo(0, nullptr); }
    ~NXObjectTest() override { SetErrorInfo(0, nullptr); }

    static CComPtr<ProbeObject> NewProbe() {
        ProbeObject* created = nullptr;
        support::Require(ProbeObject::CreateInstance(&created), "CreateInstance");
        return created;
    }
    static DispatchObject LateBound(ProbeObject* object) { return DispatchObject(object); }

  private:
    const support::ExpectNoObjectsLeft m_noObjectsLeft;

  protected:
    const CComPtr<ProbeObject> probe = NewProbe();
    const DispatchObject lateBound = LateBound(probe);
};

// ---------------------------------------------------------------------------------------------------------------------
// Exceptions

struct Exception {
    const char* name;
    std::function<HRESULT()> thrown;
    HRESULT hr;
};

const Exception exceptions[] = {
    {"_com_error", []() -> HRESULT { throw _com_error(E_ACCESSDENIED); }, E_ACCESSDENIED},
    {"_com_error for memory", []() -> HRESULT { throw _com_error(E_OUTOFMEMORY); }, E_OUTOFMEMORY},
    {"std::bad_alloc", []() -> HRESULT { throw std::bad_alloc(); }, E_OUTOFMEMORY},
    {"std::runtime_error", []() -> HRESULT { throw std::runtime_error("text"); }, E_UNEXPECTED},
    {"an int", []() -> HRESULT { throw 42; }, E_UNEXPECTED},
};

TEST_F(NXObjectTest, Exceptions_BecomeTheirHresult) {
    for (const Exception& exception : exceptions) {
        SCOPED_TRACE(exception.name);
        probe->member = exception.thrown;
        EXPECT_HR(lateBound.Call(L"Clear").hr, exception.hr);
        EXPECT_HR(lateBound.Get(L"Value").hr, exception.hr);
        EXPECT_HR(lateBound.Call(L"Left", 3).hr, exception.hr);
    }
}

TEST_F(NXObjectTest, Exceptions_ReachACallerOfTheVtable) {
    probe->member = []() -> HRESULT { throw _com_error(E_OUTOFMEMORY); };
    EXPECT_THROW(static_cast<void>(probe->Clear()), _com_error);
}

TEST_F(NXObjectTest, Exceptions_LeaveNoTemporaries) {
    probe->member = []() -> HRESULT { throw std::bad_alloc(); };
    EXPECT_HR(lateBound.Put(L"Value", 42).hr, E_OUTOFMEMORY) << "the first call also allocates what is allocated once";
    const ExpectNoLeaks noLeaks;
    EXPECT_HR(lateBound.Put(L"Value", 42).hr, E_OUTOFMEMORY) << "42 becomes a BSTR for the call";
    EXPECT_HR(lateBound.Get(L"Value").hr, E_OUTOFMEMORY);
}

TEST_F(NXObjectTest, Exceptions_OfAVtableCallWithinALateBoundOne_ReachTheVtableCaller) {
    bool within = false;
    probe->member = [&]() -> HRESULT {
        if (std::exchange(within, true)) {
            throw std::bad_alloc();
        }
        EXPECT_THROW(static_cast<void>(probe->Clear()), std::bad_alloc);
        return S_OK;
    };
    EXPECT_HR(lateBound.Call(L"Clear").hr, S_OK);
}

TEST_F(NXObjectTest, Exceptions_OfOneCall_DoNotAffectTheNext) {
    probe->member = []() -> HRESULT { throw std::bad_alloc(); };
    EXPECT_HR(lateBound.Call(L"Clear").hr, E_OUTOFMEMORY);
    probe->member = [] { return S_OK; };
    EXPECT_HR(lateBound.Call(L"Clear").hr, S_OK);
}

TEST_F(NXObjectTest, Results_ReachTheCaller) {
    for (const HRESULT result : {S_OK, S_FALSE}) {
        probe->member = [&] { return result; };
        EXPECT_HR(probe->Clear(), result);
        EXPECT_HR(lateBound.Call(L"Clear").hr, result);
    }
    probe->member = [] { return E_ACCESSDENIED; };
    EXPECT_HR(probe->Clear(), E_ACCESSDENIED);
    const Reply reply = lateBound.Call(L"Clear");
    EXPECT_HR(reply.hr, DISP_E_EXCEPTION);
    EXPECT_HR(reply.exception->scode, E_ACCESSDENIED);
}

// ---------------------------------------------------------------------------------------------------------------------
// Error records

/// Takes the thread's error record.
struct ErrorRecord {
    ErrorRecord() {
        CComPtr<IErrorInfo> info;
        exists = GetErrorInfo(0, &info) == S_OK;
        if (exists) {
            info->GetDescription(description.Out());
            info->GetSource(source.Out());
            info->GetHelpFile(helpFile.Out());
            info->GetHelpContext(&helpContext);
            info->GetGUID(&iid);
        }
    }

    bool exists = false;
    Bstr description;
    Bstr source;
    Bstr helpFile;
    DWORD helpContext = 99;
    GUID iid = {};
};

TEST_F(NXObjectTest, Error_LeavesARecordAndReturnsTheHresult) {
    EXPECT_HR(Probe<>::Error(L"Index out of bounds!", IID_INXString, E_FAIL), E_FAIL);
    const ErrorRecord record;
    ASSERT_TRUE(record.exists);
    EXPECT_BSTR(record.description, L"Index out of bounds!");
    EXPECT_BSTR(record.source, L"Nuvolex.NXString.1");
    EXPECT_TRUE(IsEqualGUID(record.iid, IID_INXString));
    EXPECT_EQ(SysStringLen(record.helpFile), 0u);
    EXPECT_EQ(record.helpContext, 0u);
}

TEST_F(NXObjectTest, Error_NamesTheInterfaceItIsGiven) {
    Probe<>::Error(L"Position invalid!", IID_INXVariantCollection, E_FAIL);
    EXPECT_TRUE(IsEqualGUID(ErrorRecord().iid, IID_INXVariantCollection));
}

TEST_F(NXObjectTest, Error_OfAnUnregisteredClass_HasNoSource) {
    EXPECT_HR(Probe<&unregistered>::Error(L"text", IID_INXString, E_FAIL), E_FAIL);
    const ErrorRecord record;
    ASSERT_TRUE(record.exists);
    EXPECT_BSTR(record.description, L"text");
    EXPECT_EQ(SysStringLen(record.source), 0u);
}

TEST_F(NXObjectTest, Error_WithoutAnHresult_IsDispEException) {
    EXPECT_HR(Probe<>::Error(L"text", IID_INXString, S_OK), DISP_E_EXCEPTION);
    EXPECT_BSTR(ErrorRecord().description, L"text");
}

TEST_F(NXObjectTest, Error_ReplacesAnEarlierRecord) {
    Probe<>::Error(L"first", IID_INXString, E_FAIL);
    Probe<>::Error(L"second", IID_INXString, E_FAIL);
    EXPECT_BSTR(ErrorRecord().description, L"second");
    EXPECT_FALSE(ErrorRecord().exists);
}

TEST_F(NXObjectTest, Error_OutOfMemory_StillReturnsTheHresult) {
    bool fired = true;
    for (std::size_t number = 1; fired; ++number) {
        {
            const support::AllocationFault fault(number);
            EXPECT_HR(Probe<>::Error(L"text", IID_INXString, E_FAIL), E_FAIL);
            fired = fault.Fired();
        }
        SetErrorInfo(0, nullptr);
    }
}

HRESULT WINAPI RefuseErrorInfo(ICreateErrorInfo** record) {
    *record = nullptr;
    return E_OUTOFMEMORY;
}

TEST_F(NXObjectTest, Error_WithoutANewRecord_ClearsTheEarlierOne) {
    Probe<>::Error(L"first", IID_INXString, E_FAIL);
    {
        const support::RedirectedImport refused(GetModuleHandleW(nullptr), "CreateErrorInfo", &RefuseErrorInfo);
        EXPECT_HR(Probe<>::Error(L"second", IID_INXString, E_ACCESSDENIED), E_ACCESSDENIED);
    }
    EXPECT_FALSE(ErrorRecord().exists);
}

TEST_F(NXObjectTest, Error_LateBound_ReachesTheCaller) {
    probe->member = [] { return Probe<>::Error(L"Index out of bounds!", IID_INXString, E_FAIL); };
    const Reply reply = lateBound.Call(L"Clear");
    EXPECT_HR(reply.hr, DISP_E_EXCEPTION);
    EXPECT_BSTR(reply.exception->bstrDescription, L"Index out of bounds!");
    EXPECT_BSTR(reply.exception->bstrSource, L"Nuvolex.NXString.1");
    EXPECT_EQ(SysStringLen(reply.exception->bstrHelpFile), 0u);
    EXPECT_EQ(reply.exception->dwHelpContext, 0u);
    EXPECT_HR(reply.exception->scode, E_FAIL);
    EXPECT_EQ(reply.exception->wCode, 0);
}

TEST_F(NXObjectTest, Exceptions_AreNotReportedWithAnEarlierRecord) {
    probe->member = []() -> HRESULT { throw _com_error(E_ACCESSDENIED); };
    Probe<>::Error(L"of an earlier call", IID_INXString, E_FAIL);
    const Reply reply = lateBound.Call(L"Clear");
    EXPECT_HR(reply.hr, E_ACCESSDENIED);
    EXPECT_NULL_BSTR(reply.exception->bstrDescription);
    EXPECT_NULL_BSTR(reply.exception->bstrSource);
    EXPECT_FALSE(ErrorRecord().exists);
}

TEST_F(NXObjectTest, InterfaceSupportsErrorInfo_OnlyOfItsOwn) {
    CComPtr<ISupportErrorInfo> support;
    ASSERT_HR(probe->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support)), S_OK);
    EXPECT_HR(support->InterfaceSupportsErrorInfo(IID_INXString), S_OK);
    EXPECT_HR(support->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
    EXPECT_HR(support->InterfaceSupportsErrorInfo(IID_INXTokenString), S_FALSE);
}

// ---------------------------------------------------------------------------------------------------------------------
// Lifetime

TEST_F(NXObjectTest, Invoke_OfAMemberThatReleasesItsObject_KeepsItAlive) {
    const int living = Probe<>::living;
    CComPtr<ProbeObject> object = NewProbe();
    auto* const raw = object.p;
    int livingDuringTheCall = 0;
    raw->member = [&, living] {
        object.Release();
        livingDuringTheCall = Probe<>::living - living;
        return S_OK;
    };
    DISPPARAMS none = {};
    EXPECT_HR(raw->Invoke(0x60020006, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(livingDuringTheCall, 1);
    EXPECT_EQ(Probe<>::living, living);
}

TEST_F(NXObjectTest, Invoke_OfAMemberThatReleasesItsObjectAndThrows_KeepsItAlive) {
    const int living = Probe<>::living;
    CComPtr<ProbeObject> object = NewProbe();
    auto* const raw = object.p;
    raw->member = [&]() -> HRESULT {
        object.Release();
        throw std::bad_alloc();
    };
    DISPPARAMS none = {};
    EXPECT_HR(raw->Invoke(0x60020006, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr), E_OUTOFMEMORY);
    EXPECT_EQ(Probe<>::living, living);
}

TEST_F(NXObjectTest, Invoke_LeavesTheReferenceCount) {
    EXPECT_HR(lateBound.Call(L"Clear").hr, S_OK);
    EXPECT_HR(lateBound.Call(L"Nonsense").hr, DISP_E_UNKNOWNNAME);
    EXPECT_EQ(probe->AddRef(), 3u) << "the test's two, and this one";
    EXPECT_EQ(probe->Release(), 2u);
}

TEST_F(NXObjectTest, Objects_LockTheModule) {
    const LONG locks = _Module.GetLockCount();
    CComPtr<ProbeObject> object = NewProbe();
    EXPECT_EQ(_Module.GetLockCount(), locks + 1);
    object.Release();
    EXPECT_EQ(_Module.GetLockCount(), locks);
}

TEST_F(NXObjectTest, FinalConstruct_Failing_DestroysTheObject) {
    const int living = Probe<>::living;
    const LONG locks = _Module.GetLockCount();
    CComPtr<ProbeObject> outer = NewProbe();
    Probe<>::finalConstruction = E_ACCESSDENIED;
    for (IUnknown* const controlling : {static_cast<IUnknown*>(nullptr), outer->GetUnknown()}) {
        SCOPED_TRACE(controlling == nullptr ? "plain" : "aggregated");
        void* created = this;
        EXPECT_HR(Probe<>::_CreatorClass::CreateInstance(controlling, IID_IUnknown, &created), E_ACCESSDENIED);
        EXPECT_EQ(created, nullptr);
    }
    ProbeObject* created = probe;
    EXPECT_HR(ProbeObject::CreateInstance(&created), E_ACCESSDENIED);
    EXPECT_EQ(created, nullptr);
    Probe<>::finalConstruction = S_OK;
    outer.Release();
    EXPECT_EQ(Probe<>::living, living);
    EXPECT_EQ(_Module.GetLockCount(), locks);
}

TEST_F(NXObjectTest, Creation_OfAnInterfaceThatIsMissing_DestroysTheObject) {
    const int living = Probe<>::living;
    void* created = this;
    EXPECT_HR(Probe<>::_CreatorClass::CreateInstance(nullptr, IID_IEnumVARIANT, &created), E_NOINTERFACE);
    EXPECT_EQ(created, nullptr);
    EXPECT_EQ(Probe<>::living, living);
}

TEST_F(NXObjectTest, Creation_OutOfMemory_ReturnsTheFailure) {
    const int living = Probe<>::living;
    support::ForEachAllocationFailure([&] {
        void* created = this;
        const HRESULT hr = Probe<>::_CreatorClass::CreateInstance(nullptr, IID_INXString, &created);
        if (SUCCEEDED(hr)) {
            static_cast<IUnknown*>(created)->Release();
        } else {
            EXPECT_EQ(created, nullptr);
        }
        return hr;
    });
    EXPECT_EQ(Probe<>::living, living);
}

// ---------------------------------------------------------------------------------------------------------------------
// Aggregation

/// An object on the stack that aggregates a probe.
class Outer final : public IUnknown {
  public:
    Outer() {
        support::Require(Probe<>::_CreatorClass::CreateInstance(this, IID_IUnknown, reinterpret_cast<void**>(&inner)),
                         "aggregation");
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!IsEqualIID(iid, IID_IUnknown)) {
            return inner->QueryInterface(iid, object);
        }
        *object = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    ULONG references = 0;
    CComPtr<IUnknown> inner;
};

TEST_F(NXObjectTest, Aggregated_SharesTheOuterObjectsIdentityAndReferences) {
    Outer outer;
    EXPECT_EQ(outer.references, 0u) << "the inner object counts none";
    CComPtr<INXString> text;
    ASSERT_HR(outer.QueryInterface(IID_INXString, reinterpret_cast<void**>(&text)), S_OK);
    EXPECT_EQ(outer.references, 1u);
    CComPtr<IUnknown> identity;
    ASSERT_HR(text->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    EXPECT_EQ(identity.p, &outer);
    CComPtr<IDispatch> dispatch;
    ASSERT_HR(text->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch)), S_OK);
    EXPECT_EQ(dispatch.p, static_cast<IDispatch*>(text.p));
    EXPECT_EQ(outer.references, 3u);
}

TEST_F(NXObjectTest, Aggregated_InnerUnknownIsItsOwn) {
    Outer outer;
    CComPtr<IUnknown> unknown;
    ASSERT_HR(outer.inner->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), S_OK);
    EXPECT_EQ(unknown.p, outer.inner.p);
    EXPECT_EQ(outer.references, 0u);
    void* none = this;
    EXPECT_HR(outer.inner->QueryInterface(IID_IEnumVARIANT, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
}

TEST_F(NXObjectTest, Aggregated_IsCalledLateBound) {
    Outer outer;
    CComPtr<INXString> text;
    ASSERT_HR(outer.QueryInterface(IID_INXString, reinterpret_cast<void**>(&text)), S_OK);
    auto* const inside = static_cast<Probe<>*>(text.p);
    ULONG referencesDuringTheCall = 0;
    inside->member = [&] {
        referencesDuringTheCall = outer.references;
        return S_OK;
    };
    DISPPARAMS none = {};
    EXPECT_HR(text->Invoke(0x60020006, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(referencesDuringTheCall, 2u) << "the call keeps the outer object alive";
    EXPECT_EQ(outer.references, 1u);
}

TEST_F(NXObjectTest, Aggregated_LivesAsLongAsItsInnerUnknown) {
    const int living = Probe<>::living;
    const LONG locks = _Module.GetLockCount();
    {
        const Outer outer;
        EXPECT_EQ(Probe<>::living, living + 1);
        EXPECT_EQ(_Module.GetLockCount(), locks + 1);
    }
    EXPECT_EQ(Probe<>::living, living);
    EXPECT_EQ(_Module.GetLockCount(), locks);
}

// ---------------------------------------------------------------------------------------------------------------------
// Without type information

/// Type information from a type library that is neither registered nor in this program.
class Untyped : public CComObjectRootEx<CComSingleThreadModel>,
                public StringMembers<IDispatchImpl<INXString, &IID_INXString, &unregistered, 1, 0>> {
  public:
    BEGIN_COM_MAP(Untyped)
        COM_INTERFACE_ENTRY(IDispatch)
    END_COM_MAP()

    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
};

TEST_F(NXObjectTest, TypeInformation_Missing_IsAFailure) {
    CComObject<Untyped>* created = nullptr;
    ASSERT_HR(CComObject<Untyped>::CreateInstance(&created), S_OK);
    const CComPtr<IDispatch> object(created);
    for (int attempt = 0; attempt < 2; ++attempt) {
        auto* info = reinterpret_cast<ITypeInfo*>(1);
        EXPECT_TRUE(FAILED(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info)));
        EXPECT_EQ(info, nullptr);
    }
}

} // namespace
