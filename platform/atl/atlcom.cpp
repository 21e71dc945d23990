#include <atlcom.h>

HRESULT CComClassFactory::CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObj) {
    if (ppvObj == nullptr) {
        return E_POINTER;
    }
    *ppvObj = nullptr;
    if (pUnkOuter != nullptr && riid != IID_IUnknown) {
        return CLASS_E_NOAGGREGATION;
    }
    return m_pfnCreateInstance(pUnkOuter, riid, ppvObj);
}

HRESULT CComClassFactory::LockServer(BOOL fLock) {
    if (fLock != FALSE) {
        _Module.Lock();
    } else {
        _Module.Unlock();
    }
    return S_OK;
}

HRESULT WINAPI AtlReportError(REFCLSID clsid, LPCOLESTR lpszDesc, REFIID iid, HRESULT hRes) noexcept {
    CComPtr<ICreateErrorInfo> record;
    if (SUCCEEDED(CreateErrorInfo(&record))) {
        record->SetGUID(iid);
        record->SetDescription(const_cast<LPOLESTR>(lpszDesc)); // only read
        LPOLESTR progId = nullptr;
        if (SUCCEEDED(ProgIDFromCLSID(clsid, &progId))) {
            record->SetSource(progId);
            CoTaskMemFree(progId);
        }
        CComPtr<IErrorInfo> info;
        if (SUCCEEDED(record->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
            SetErrorInfo(0, info);
        }
    }
    return hRes == S_OK ? DISP_E_EXCEPTION : hRes;
}

HRESULT CComTypeInfoHolder::LoadTI(ITypeInfo** ppInfo) const noexcept {
    // The library is looked up in the one language it has: with the caller's, the lookup would fail.
    constexpr LCID libraryLocale = MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT);
    CComPtr<ITypeLib> registered;
    if (SUCCEEDED(LoadRegTypeLib(*m_plibid, m_wMajor, m_wMinor, libraryLocale, &registered)) &&
        SUCCEEDED(registered->GetTypeInfoOfGuid(*m_pguid, ppInfo))) {
        return S_OK;
    }

    // Not registered, or damaged: the module carries the library itself.
    CComPtr<ITypeLib> own;
    BSTR path = nullptr;
    const HRESULT hr = AtlLoadTypeLib(_Module.GetModuleInstance(), &path, &own);
    SysFreeString(path);
    return FAILED(hr) ? hr : own->GetTypeInfoOfGuid(*m_pguid, ppInfo);
}

HRESULT CComTypeInfoHolder::EnsureTI(ITypeInfo** ppInfo) noexcept {
    *ppInfo = m_pInfo.load(std::memory_order_acquire);
    if (*ppInfo != nullptr) {
        return S_OK;
    }
    const CComCritSecLock lock(_Module.m_csObjMap);
    *ppInfo = m_pInfo.load(std::memory_order_relaxed);
    if (*ppInfo != nullptr) {
        return S_OK;
    }
    HRESULT hr = LoadTI(ppInfo);
    if (FAILED(hr)) {
        return hr;
    }
    hr = _Module.AddTermFunc(&Cleanup, reinterpret_cast<DWORD_PTR>(this));
    if (FAILED(hr)) {
        std::exchange(*ppInfo, nullptr)->Release();
        return hr;
    }
    m_pInfo.store(*ppInfo, std::memory_order_release);
    return S_OK;
}

void WINAPI CComTypeInfoHolder::Cleanup(DWORD_PTR dw) noexcept {
    auto* const holder = reinterpret_cast<CComTypeInfoHolder*>(dw);
    holder->m_pInfo.exchange(nullptr)->Release();
}

HRESULT CComTypeInfoHolder::GetTypeInfo(UINT itinfo, LCID /*lcid*/, ITypeInfo** pptinfo) noexcept {
    if (pptinfo == nullptr) {
        return E_POINTER;
    }
    *pptinfo = nullptr;
    if (itinfo != 0) {
        return DISP_E_BADINDEX;
    }
    ITypeInfo* info = nullptr;
    const HRESULT hr = EnsureTI(&info);
    if (FAILED(hr)) {
        return hr;
    }
    info->AddRef();
    *pptinfo = info;
    return S_OK;
}

HRESULT CComTypeInfoHolder::GetIDsOfNames(REFIID /*riid*/, LPOLESTR* rgszNames, UINT cNames, LCID /*lcid*/,
                                          DISPID* rgdispid) noexcept {
    if (rgszNames == nullptr || rgdispid == nullptr) {
        return E_POINTER;
    }
    ITypeInfo* info = nullptr;
    const HRESULT hr = EnsureTI(&info);
    return FAILED(hr) ? hr : info->GetIDsOfNames(rgszNames, cNames, rgdispid);
}

HRESULT CComTypeInfoHolder::Invoke(IDispatch* p, DISPID dispidMember, REFIID /*riid*/, LCID /*lcid*/, WORD wFlags,
                                   DISPPARAMS* pdispparams, VARIANT* pvarResult, EXCEPINFO* pexcepinfo,
                                   UINT* puArgErr) {
    ITypeInfo* info = nullptr;
    const HRESULT hr = EnsureTI(&info);
    return FAILED(hr) ? hr : info->Invoke(p, dispidMember, wFlags, pdispparams, pvarResult, pexcepinfo, puArgErr);
}
