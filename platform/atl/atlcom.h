/// The part of ATL that this system uses: object roots and wrappers, class factory, interface maps, type information,
/// error records, enumerators. See atlbase.h.
#pragma once

#include <climits>
#include <new>
#include <span>

#include <atlbase.h>

// ---------------------------------------------------------------------------------------------------------------------
// Object roots and interface maps

/// An interface of an object: its IID, and the cast from the object to it.
struct _ATL_INTMAP_ENTRY {
    const IID* piid;
    IUnknown* (*pfnCast)(void* pThis) noexcept;
};

/// The reference count of an object, and the lookup of its interfaces.
class CComObjectRootBase {
  public:
    /// Called after construction and before destruction. Derived classes may hide them.
    HRESULT FinalConstruct() noexcept { return S_OK; }
    void FinalRelease() noexcept {}
    /// Receives the creator's `pv`. Only class factories use it.
    void SetVoid(void* /*pv*/) noexcept {}

    static void WINAPI ObjectMain(bool /*bStarting*/) noexcept {}

    /// QueryInterface of the object `pThis`. Its IUnknown is the first entry of the map.
    static HRESULT InternalQueryInterface(void* pThis, std::span<const _ATL_INTMAP_ENTRY> entries, REFIID iid,
                                          void** ppvObject) noexcept {
        if (ppvObject == nullptr) {
            return E_POINTER;
        }
        *ppvObject = nullptr;
        const bool wantsUnknown = iid == IID_IUnknown;
        for (const _ATL_INTMAP_ENTRY& entry : entries) {
            if (wantsUnknown || iid == *entry.piid) {
                IUnknown* const found = entry.pfnCast(pThis);
                found->AddRef();
                *ppvObject = found;
                return S_OK;
            }
        }
        return E_NOINTERFACE;
    }

  protected:
    LONG m_dwRef = 0;
};

/// The object root with the reference counting of `ThreadModel`.
template <class ThreadModel> class CComObjectRootEx : public CComObjectRootBase {
  public:
    using _ThreadModel = ThreadModel;

    ULONG InternalAddRef() noexcept { return ThreadModel::Increment(&m_dwRef); }
    ULONG InternalRelease() noexcept { return ThreadModel::Decrement(&m_dwRef); }
};

// clang-format off
/// The interfaces of class x, in the order of lookup. The first one is also its IUnknown.
#define BEGIN_COM_MAP(x)                                                                                               \
  public:                                                                                                              \
    using _ComMapClass = x;                                                                                            \
    IUnknown* GetUnknown() noexcept { return _GetEntries()[0].pfnCast(this); }                                         \
    HRESULT _InternalQueryInterface(REFIID iid, void** ppvObject) noexcept {                                           \
        return CComObjectRootBase::InternalQueryInterface(this, _GetEntries(), iid, ppvObject);                        \
    }                                                                                                                  \
    static std::span<const _ATL_INTMAP_ENTRY> _GetEntries() noexcept {                                                 \
        static constexpr _ATL_INTMAP_ENTRY entries[] = {
#define COM_INTERFACE_ENTRY(x) COM_INTERFACE_ENTRY_IID(IID_##x, x)
#define COM_INTERFACE_ENTRY_IID(iid, x)                                                                                \
            {&(iid), [](void* pThis) noexcept -> IUnknown* {                                                           \
                return static_cast<x*>(static_cast<_ComMapClass*>(pThis));                                             \
            }},
#define END_COM_MAP()                                                                                                  \
        };                                                                                                             \
        return entries;                                                                                                \
    }
// clang-format on

// ---------------------------------------------------------------------------------------------------------------------
// Object wrappers: each adds IUnknown to a class, for one kind of lifetime

/// Keeps the module loaded. A wrapper's first base, so that the lock is released after everything else is destroyed.
struct ModuleLock {
    ModuleLock() noexcept { _Module.Lock(); }
    ModuleLock(const ModuleLock&) = delete;
    ModuleLock& operator=(const ModuleLock&) = delete;
    ~ModuleLock() { _Module.Unlock(); }
};

/// Release of an object that deletes itself with its last reference.
template <class Object> ULONG ReleaseOrDelete(Object* object) noexcept {
    const ULONG count = object->InternalRelease();
    if (count == 0) {
        delete object;
    }
    return count;
}

/// An object that is not aggregated. It deletes itself with its last reference.
template <class Base> class CComObject final : private ModuleLock, public Base {
  public:
    explicit CComObject(void* /*pv*/ = nullptr) noexcept {}
    ~CComObject() {
        // What FinalRelease releases may add and release a reference to this object, which must not delete it again.
        this->m_dwRef = LONG_MIN / 2;
        this->FinalRelease();
    }

    ULONG STDMETHODCALLTYPE AddRef() override { return this->InternalAddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return ReleaseOrDelete(this); }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppvObject) override {
        return this->_InternalQueryInterface(iid, ppvObject);
    }

    /// Creates an object with a reference count of 0. Returns E_OUTOFMEMORY, or what FinalConstruct returns.
    static HRESULT WINAPI CreateInstance(CComObject** pp) noexcept;
};

/// A class factory in the object map's cache: only references other than the cache's own keep the module loaded.
template <class Base> class CComObjectCached final : public Base {
  public:
    explicit CComObjectCached(void* /*pv*/ = nullptr) noexcept {}

    ULONG STDMETHODCALLTYPE AddRef() override {
        const ULONG count = this->InternalAddRef();
        if (count == 2) {
            _Module.Lock();
        }
        return count;
    }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG count = ReleaseOrDelete(this);
        if (count == 1) {
            _Module.Unlock();
        }
        return count;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppvObject) override {
        return this->_InternalQueryInterface(iid, ppvObject);
    }
};

/// The object inside an aggregate: its references and interfaces are the outer object's.
template <class Base> class CComContainedObject final : public Base {
  public:
    explicit CComContainedObject(void* pvOuter) noexcept : m_pOuterUnknown(static_cast<IUnknown*>(pvOuter)) {}

    ULONG STDMETHODCALLTYPE AddRef() override { return m_pOuterUnknown->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return m_pOuterUnknown->Release(); }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppvObject) override {
        return m_pOuterUnknown->QueryInterface(iid, ppvObject);
    }

  private:
    IUnknown* const m_pOuterUnknown; ///< not counted: the outer object owns this one
};

/// An aggregated object: the inner unknown, which holds the contained object. Only the outer object uses it.
template <class Contained>
class CComAggObject final : private ModuleLock,
                            public IUnknown,
                            public CComObjectRootEx<typename Contained::_ThreadModel> {
  public:
    explicit CComAggObject(void* pvOuter) noexcept : m_contained(pvOuter) {}
    ~CComAggObject() {
        this->m_dwRef = LONG_MIN / 2; // as in CComObject
        m_contained.FinalRelease();
    }

    HRESULT FinalConstruct() noexcept { return m_contained.FinalConstruct(); }

    ULONG STDMETHODCALLTYPE AddRef() override { return this->InternalAddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return ReleaseOrDelete(this); }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppvObject) override {
        if (ppvObject != nullptr && iid == IID_IUnknown) {
            *ppvObject = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        return m_contained._InternalQueryInterface(iid, ppvObject);
    }

  private:
    CComContainedObject<Contained> m_contained;
};

// ---------------------------------------------------------------------------------------------------------------------
// Creation

/// Creates a T with a reference count of 0, which the caller owns. On failure returns null and sets `hr`. Constructors
/// must not throw; what can fail belongs in FinalConstruct.
template <class T> T* ConstructObject(void* pv, HRESULT& hr) noexcept {
    T* const object = new (std::nothrow) T(pv);
    if (object == nullptr) {
        hr = E_OUTOFMEMORY;
        return nullptr;
    }
    object->SetVoid(pv);
    object->InternalAddRef(); // FinalConstruct may add and release references
    hr = object->FinalConstruct();
    object->InternalRelease();
    if (SUCCEEDED(hr)) {
        return object;
    }
    delete object;
    return nullptr;
}

template <class Base> HRESULT WINAPI CComObject<Base>::CreateInstance(CComObject** pp) noexcept {
    if (pp == nullptr) {
        return E_POINTER;
    }
    HRESULT hr = S_OK;
    *pp = ConstructObject<CComObject>(nullptr, hr);
    return hr;
}

/// Creates a T and returns its interface `riid`.
template <class T> struct CComCreator {
    static HRESULT WINAPI CreateInstance(void* pv, REFIID riid, void** ppv) noexcept {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        *ppv = nullptr;
        HRESULT hr = S_OK;
        T* const object = ConstructObject<T>(pv, hr);
        if (object == nullptr) {
            return hr;
        }
        hr = object->QueryInterface(riid, ppv);
        if (FAILED(hr)) {
            delete object;
        }
        return hr;
    }
};

/// Creates through T1 without an outer unknown, and through T2 with one.
template <class T1, class T2> struct CComCreator2 {
    static HRESULT WINAPI CreateInstance(void* pvOuter, REFIID riid, void** ppv) noexcept {
        return pvOuter == nullptr ? T1::CreateInstance(nullptr, riid, ppv) : T2::CreateInstance(pvOuter, riid, ppv);
    }
};

/// The class factory of every class. SetVoid receives the function that creates the objects.
class CComClassFactory : public IClassFactory, public CComObjectRootEx<CComMultiThreadModel> {
  public:
    BEGIN_COM_MAP(CComClassFactory)
        COM_INTERFACE_ENTRY(IClassFactory)
    END_COM_MAP()

    void SetVoid(void* pv) noexcept { m_pfnCreateInstance = reinterpret_cast<_ATL_CREATORFUNC*>(pv); }

    /// CLASS_E_NOAGGREGATION if there is an outer object and `riid` is not IUnknown, as the rules of aggregation
    /// demand.
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObj) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) override;

  private:
    _ATL_CREATORFUNC* m_pfnCreateInstance = nullptr;
};

#define DECLARE_CLASSFACTORY() using _ClassFactoryCreatorClass = CComCreator<CComObjectCached<CComClassFactory>>;
#define DECLARE_AGGREGATABLE(x)                                                                                        \
    using _CreatorClass = CComCreator2<CComCreator<CComObject<x>>, CComCreator<CComAggObject<x>>>;
#define DECLARE_REGISTRY_RESOURCEID(x)                                                                                 \
    static HRESULT WINAPI UpdateRegistry(BOOL bRegister) noexcept {                                                    \
        return _Module.UpdateRegistryFromResource(x, bRegister);                                                       \
    }

/// Sets the calling thread's error record and returns `hRes`, or DISP_E_EXCEPTION if that is 0. The record's source is
/// the ProgID registered for `clsid`, or empty.
HRESULT WINAPI AtlReportError(REFCLSID clsid, LPCOLESTR lpszDesc, REFIID iid, HRESULT hRes) noexcept;

/// Makes a class creatable: class factory, aggregation and error reporting.
template <class T, const CLSID* pclsid> class CComCoClass {
  public:
    DECLARE_CLASSFACTORY()
    DECLARE_AGGREGATABLE(T)

    static LPCTSTR WINAPI GetObjectDescription() noexcept { return nullptr; }
    static const _ATL_CATMAP_ENTRY* GetCategoryMap() noexcept { return nullptr; }

    static HRESULT WINAPI Error(LPCOLESTR lpszDesc, const IID& iid, HRESULT hRes) noexcept {
        return AtlReportError(*pclsid, lpszDesc, iid, hRes);
    }
};

/// ISupportErrorInfo of an object with the interface *piid.
template <const IID* piid> class ISupportErrorInfoImpl : public ISupportErrorInfo {
  public:
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override {
        return riid == *piid ? S_OK : S_FALSE;
    }
};

// ---------------------------------------------------------------------------------------------------------------------
// Dual dispatch

/// The type information of an interface, loaded at first use and cached until the module terminates.
class CComTypeInfoHolder {
  public:
    constexpr CComTypeInfoHolder(const GUID* pguid, const GUID* plibid, WORD wMajor, WORD wMinor) noexcept
        : m_pguid(pguid), m_plibid(plibid), m_wMajor(wMajor), m_wMinor(wMinor) {}

    /// Returns the type information with a reference for the caller.
    HRESULT GetTypeInfo(UINT itinfo, LCID lcid, ITypeInfo** pptinfo) noexcept;

  private:
    HRESULT LoadTI(ITypeInfo** ppInfo) const noexcept;
    static void WINAPI Cleanup(DWORD_PTR dw) noexcept;

    const GUID* m_pguid;
    const GUID* m_plibid;
    WORD m_wMajor;
    WORD m_wMinor;
    ITypeInfo* m_pInfo = nullptr; ///< guarded by the module's lock
};

/// GetTypeInfo and GetTypeInfoCount of the dual interface T. The derived class has GetIDsOfNames and Invoke.
template <class T, const IID* piid, const GUID* plibid, WORD wMajor, WORD wMinor> class IDispatchImpl : public T {
  public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) override {
        if (pctinfo == nullptr) {
            return E_POINTER;
        }
        *pctinfo = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT itinfo, LCID lcid, ITypeInfo** pptinfo) override {
        return _tih.GetTypeInfo(itinfo, lcid, pptinfo);
    }

  private:
    static constinit inline CComTypeInfoHolder _tih{piid, plibid, wMajor, wMinor};
};

#include "atlenum.h"
