/// The part of the platform's COM template library that this system uses: module object, object map, smart pointers,
/// threading models. Names, parameters and behaviour are the documented ones, so that code written against these
/// headers reads like any other that uses the library. Nothing is here that this system does not need.
#pragma once

#include <atomic>
#include <cassert>
#include <memory>
#include <utility>

#include <objbase.h>
#include <oleauto.h>
#include <windows.h>

/// Holds one counted reference to an interface, or null.
template <class T> class CComPtr {
  public:
    CComPtr() noexcept = default;
    /// Shares `other`: takes a reference of its own.
    CComPtr(T* other) noexcept : p(other) { // NOLINT(google-explicit-constructor): a pointer is what it stands for
        if (p != nullptr) {
            p->AddRef();
        }
    }
    CComPtr(const CComPtr& other) noexcept : CComPtr(other.p) {}
    CComPtr(CComPtr&& other) noexcept : p(std::exchange(other.p, nullptr)) {}
    ~CComPtr() { Release(); }

    /// Takes the new reference before the old one goes. The old one goes last, when this pointer already holds the
    /// new value: its release may run foreign code.
    CComPtr& operator=(CComPtr other) noexcept {
        std::swap(p, other.p);
        return *this;
    }

    operator T*() const noexcept { return p; } // NOLINT(google-explicit-constructor)
    T* operator->() const noexcept { return p; }

    /// The address for a call that returns a reference, which this object then owns. It must be null before.
    T** operator&() noexcept { // NOLINT(google-runtime-operator): documented
        assert(p == nullptr);
        return &p;
    }

    /// Gives up the reference.
    void Release() noexcept {
        if (T* const old = std::exchange(p, nullptr); old != nullptr) {
            old->Release();
        }
    }

    /// Hands the reference over to the caller.
    [[nodiscard]] T* Detach() noexcept { return std::exchange(p, nullptr); }

    T* p = nullptr;
};

/// Owns a BSTR.
class CComBSTR {
  public:
    CComBSTR() noexcept = default;
    CComBSTR(const CComBSTR&) = delete;
    CComBSTR& operator=(const CComBSTR&) = delete;
    ~CComBSTR() { SysFreeString(m_str); }

    operator BSTR() const noexcept { return m_str; } // NOLINT(google-explicit-constructor)
    /// The address for a call that returns a BSTR, which this object then owns. It must be null before.
    BSTR* operator&() noexcept { // NOLINT(google-runtime-operator): documented
        assert(m_str == nullptr);
        return &m_str;
    }

    BSTR m_str = nullptr;
};

/// Wraps a class that overloads operator& for use as a container's element.
template <class T> class CAdapt {
  public:
    CAdapt() = default;
    CAdapt(T value) noexcept : m_T(std::move(value)) {} // NOLINT(google-explicit-constructor): transparent on purpose

    T m_T;
};

/// Reference counting of objects that stay on one thread.
struct CComSingleThreadModel {
    static ULONG WINAPI Increment(LONG* p) noexcept { return static_cast<ULONG>(++*p); }
    static ULONG WINAPI Decrement(LONG* p) noexcept { return static_cast<ULONG>(--*p); }
};

/// Reference counting of objects that any thread may use.
struct CComMultiThreadModel {
    static ULONG WINAPI Increment(LONG* p) noexcept { return static_cast<ULONG>(InterlockedIncrement(p)); }
    static ULONG WINAPI Decrement(LONG* p) noexcept { return static_cast<ULONG>(InterlockedDecrement(p)); }
};

/// A critical section that exists as long as its holder.
class CComAutoCriticalSection {
  public:
    CComAutoCriticalSection() noexcept { InitializeCriticalSection(&m_sec); }
    CComAutoCriticalSection(const CComAutoCriticalSection&) = delete;
    CComAutoCriticalSection& operator=(const CComAutoCriticalSection&) = delete;
    ~CComAutoCriticalSection() { DeleteCriticalSection(&m_sec); }

    void Lock() noexcept { EnterCriticalSection(&m_sec); }
    void Unlock() noexcept { LeaveCriticalSection(&m_sec); }

  private:
    CRITICAL_SECTION m_sec;
};

/// Holds a lock to the end of the block.
template <class TLock> class CComCritSecLock {
  public:
    explicit CComCritSecLock(TLock& lock) noexcept : m_lock(lock) { m_lock.Lock(); }
    CComCritSecLock(const CComCritSecLock&) = delete;
    CComCritSecLock& operator=(const CComCritSecLock&) = delete;
    ~CComCritSecLock() { m_lock.Unlock(); }

  private:
    TLock& m_lock;
};

/// Creates an object and answers its interface `riid`; `pv` is the outer unknown, or what the creator expects.
using _ATL_CREATORFUNC = HRESULT WINAPI(void* pv, REFIID riid, void** ppv);
/// Called when the module terminates.
using _ATL_TERMFUNC = void WINAPI(DWORD_PTR dw);

struct _ATL_CATMAP_ENTRY;

/// One creatable class of a module.
struct _ATL_OBJMAP_ENTRY {
    const CLSID* pclsid;
    HRESULT(WINAPI* pfnUpdateRegistry)(BOOL bRegister); ///< runs the class's registry script
    _ATL_CREATORFUNC* pfnGetClassObject;                ///< creates the class factory
    _ATL_CREATORFUNC* pfnCreateInstance;                ///< creates an object; what the factory calls
    IUnknown* pCF;                                      ///< the factory, once created; owned by the module
    LPCTSTR(WINAPI* pfnGetObjectDescription)();
    const _ATL_CATMAP_ENTRY* (*pfnGetCategoryMap)();
    void(WINAPI* pfnObjectMain)(bool bStarting); ///< told when the module starts and when it ends
};

// clang-format off
#define BEGIN_OBJECT_MAP(x) static _ATL_OBJMAP_ENTRY x[] = {
#define OBJECT_ENTRY(clsid, class)                                                                                     \
    {&clsid, &class::UpdateRegistry, &class::_ClassFactoryCreatorClass::CreateInstance,                                \
     &class::_CreatorClass::CreateInstance, nullptr, &class::GetObjectDescription, &class::GetCategoryMap,             \
     &class::ObjectMain},
#define END_OBJECT_MAP() {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
// clang-format on

/// The module object of a DLL: its object map, its lock count, its registration. There is one, named _Module.
class CComModule {
  public:
    /// Takes the object map (which ends with an entry without a class), the DLL's handle and the identifier of its
    /// type library.
    HRESULT Init(_ATL_OBJMAP_ENTRY* p, HINSTANCE h, const GUID* plibid) noexcept;
    /// Calls the termination functions and releases the cached class factories.
    void Term() noexcept;

    /// Counts one thing more (less) that keeps the DLL loaded. Both return the new count.
    LONG Lock() noexcept { return ++m_nLockCnt; }
    LONG Unlock() noexcept { return --m_nLockCnt; }
    [[nodiscard]] LONG GetLockCount() const noexcept { return m_nLockCnt; }

    [[nodiscard]] HINSTANCE GetModuleInstance() const noexcept { return m_hInst; }

    /// Has `pFunc` called with `dw` when the module terminates.
    HRESULT AddTermFunc(_ATL_TERMFUNC* pFunc, DWORD_PTR dw) noexcept;

    /// Answers the factory of class `rclsid`, which is created at the first request and then kept.
    /// CLASS_E_CLASSNOTAVAILABLE: no such class here.
    HRESULT GetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) noexcept;

    /// Runs every class's registry script, then registers the type library too if asked; stops at the first failure
    /// and returns it. What was written until then stays.
    HRESULT RegisterServer(BOOL bRegTypeLib) noexcept;
    /// The reverse. What is not registered is no failure.
    HRESULT UnregisterServer(BOOL bUnRegTypeLib) noexcept;

    /// Runs the REGISTRY resource `nResID` of this module, in which %MODULE% stands for the DLL's full path.
    HRESULT UpdateRegistryFromResource(UINT nResID, BOOL bRegister) noexcept;

    /// Guards the object map's factories and whatever else is made once per module.
    CComAutoCriticalSection m_csObjMap;

  private:
    /// A function to be called at the end, the one added last first.
    struct TermFunc {
        _ATL_TERMFUNC* pFunc;
        DWORD_PTR dw;
        std::unique_ptr<TermFunc> next;
    };

    HRESULT UpdateClasses(BOOL bRegister) noexcept;

    _ATL_OBJMAP_ENTRY* m_pObjMap = nullptr;
    HINSTANCE m_hInst = nullptr;
    const GUID* m_plibid = nullptr;
    std::atomic<LONG> m_nLockCnt = 0;
    std::unique_ptr<TermFunc> m_termFuncs;
};

/// The module that this code is linked into.
extern CComModule _Module;

/// Loads the type library in resource 1 of the module's file and returns it and the file's path. The caller owns both.
HRESULT LoadModuleTypeLib(HINSTANCE module, BSTR* path, ITypeLib** library) noexcept;
