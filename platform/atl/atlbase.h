/// The part of ATL that this system uses: module object, object map, smart pointers, threading models. Names,
/// parameters and behaviour are the documented ones.
#pragma once

#include <atomic>
#include <cassert>
#include <memory>
#include <utility>

#include <objbase.h>
#include <oleauto.h>
#include <windows.h>

/// Owns a reference to an interface, or is null.
template <class T> class CComPtr {
  public:
    CComPtr() noexcept = default;
    /// Adds a reference.
    CComPtr(T* other) noexcept : p(other) { // NOLINT(google-explicit-constructor): documented
        if (p != nullptr) {
            p->AddRef();
        }
    }
    CComPtr(const CComPtr& other) noexcept : CComPtr(other.p) {}
    CComPtr(CComPtr&& other) noexcept : p(std::exchange(other.p, nullptr)) {}
    ~CComPtr() { Release(); }

    /// Releases the old reference last, when this object holds the new one, since Release may run foreign code.
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

    /// Releases the reference and sets the pointer to null.
    void Release() noexcept {
        if (T* const old = std::exchange(p, nullptr); old != nullptr) {
            old->Release();
        }
    }

    /// Transfers the reference to the caller.
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

/// Wraps a class that overloads operator&, for use in containers.
template <class T> class CAdapt {
  public:
    CAdapt() = default;
    CAdapt(T value) noexcept : m_T(std::move(value)) {} // NOLINT(google-explicit-constructor): documented

    T m_T;
};

/// Reference counting for objects used by one thread.
struct CComSingleThreadModel {
    static ULONG WINAPI Increment(LONG* p) noexcept { return static_cast<ULONG>(++*p); }
    static ULONG WINAPI Decrement(LONG* p) noexcept { return static_cast<ULONG>(--*p); }
};

/// Reference counting for objects used by several threads.
struct CComMultiThreadModel {
    static ULONG WINAPI Increment(LONG* p) noexcept { return static_cast<ULONG>(InterlockedIncrement(p)); }
    static ULONG WINAPI Decrement(LONG* p) noexcept { return static_cast<ULONG>(InterlockedDecrement(p)); }
};

/// A critical section, initialised by the constructor and deleted by the destructor.
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

/// Holds a lock until the end of the scope.
template <class TLock> class CComCritSecLock {
  public:
    explicit CComCritSecLock(TLock& lock) noexcept : m_lock(lock) { m_lock.Lock(); }
    CComCritSecLock(const CComCritSecLock&) = delete;
    CComCritSecLock& operator=(const CComCritSecLock&) = delete;
    ~CComCritSecLock() { m_lock.Unlock(); }

  private:
    TLock& m_lock;
};

/// Creates an object and returns its interface `riid`. `pv` is the outer unknown, or what the creator expects.
using _ATL_CREATORFUNC = HRESULT WINAPI(void* pv, REFIID riid, void** ppv);
/// A function called when the module terminates.
using _ATL_TERMFUNC = void WINAPI(DWORD_PTR dw);

struct _ATL_CATMAP_ENTRY;

/// One creatable class of a module.
struct _ATL_OBJMAP_ENTRY {
    const CLSID* pclsid;
    HRESULT(WINAPI* pfnUpdateRegistry)(BOOL bRegister); ///< runs the class's registry script
    _ATL_CREATORFUNC* pfnGetClassObject;                ///< creates the class factory
    _ATL_CREATORFUNC* pfnCreateInstance;                ///< creates an object; what the factory calls
    IUnknown* pCF;                                      ///< the cached factory or null; owned by the module
    LPCTSTR(WINAPI* pfnGetObjectDescription)();
    const _ATL_CATMAP_ENTRY* (*pfnGetCategoryMap)();
    void(WINAPI* pfnObjectMain)(bool bStarting); ///< called when the module starts and ends
};

// clang-format off
#define BEGIN_OBJECT_MAP(x) static _ATL_OBJMAP_ENTRY x[] = {
#define OBJECT_ENTRY(clsid, class)                                                                                     \
    {&clsid, &class::UpdateRegistry, &class::_ClassFactoryCreatorClass::CreateInstance,                                \
     &class::_CreatorClass::CreateInstance, nullptr, &class::GetObjectDescription, &class::GetCategoryMap,             \
     &class::ObjectMain},
#define END_OBJECT_MAP() {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
// clang-format on

/// The module object of a DLL: object map, lock count, registration. The only one is _Module.
class CComModule {
  public:
    /// Sets the object map, which ends with a null entry, the DLL's handle and the LIBID of its type library.
    HRESULT Init(_ATL_OBJMAP_ENTRY* p, HINSTANCE h, const GUID* plibid) noexcept;
    /// Releases the cached class factories and calls the termination functions.
    void Term() noexcept;

    /// Increment and decrement the count of what keeps the DLL loaded. Return the new count.
    LONG Lock() noexcept { return ++m_nLockCnt; }
    LONG Unlock() noexcept { return --m_nLockCnt; }
    [[nodiscard]] LONG GetLockCount() const noexcept { return m_nLockCnt; }

    [[nodiscard]] HINSTANCE GetModuleInstance() const noexcept { return m_hInst; }

    /// Adds a function to be called with `dw` when the module terminates.
    HRESULT AddTermFunc(_ATL_TERMFUNC* pFunc, DWORD_PTR dw) noexcept;

    /// Returns the factory of class `rclsid`, which is created at the first request and cached.
    /// CLASS_E_CLASSNOTAVAILABLE if the module has no such class.
    HRESULT GetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) noexcept;

    /// Runs the registry script of each class, then registers the type library if `bRegTypeLib`. Stops at the first
    /// failure, without rollback.
    HRESULT RegisterServer(BOOL bRegTypeLib) noexcept;
    /// The reverse. It is no failure if something is not registered.
    HRESULT UnregisterServer(BOOL bUnRegTypeLib) noexcept;

    /// Runs the REGISTRY resource `nResID` of the module. In it %MODULE% is the DLL's full path.
    HRESULT UpdateRegistryFromResource(UINT nResID, BOOL bRegister) noexcept;

    /// Guards cached factories and type information.
    CComAutoCriticalSection m_csObjMap;

  private:
    /// A list of termination functions, last one first.
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

/// The module object, defined by the program or DLL.
extern CComModule _Module;

/// Loads the type library in resource 1 of the module's file and returns it and the file's path. The caller owns both.
HRESULT LoadModuleTypeLib(HINSTANCE module, BSTR* path, ITypeLib** library) noexcept;
