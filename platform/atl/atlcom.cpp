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
    CComPtr<IErrorInfo> info; // null if out of memory: an older error record must not remain
    CComPtr<ICreateErrorInfo> record;
    if (SUCCEEDED(CreateErrorInfo(&record))) {
        record->SetGUID(iid);
        record->SetDescription(const_cast<LPOLESTR>(lpszDesc)); // only read
        LPOLESTR progId = nullptr;
        if (SUCCEEDED(ProgIDFromCLSID(clsid, &progId))) {
            record->SetSource(progId);
            CoTaskMemFree(progId);
        }
        record->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
    }
    SetErrorInfo(0, info);
    return hRes == S_OK ? DISP_E_EXCEPTION : hRes;
}

HRESULT CComTypeInfoHolder::LoadTI(ITypeInfo** ppInfo) const noexcept {
    // The library's only locale. With the caller's, the lookup may fail.
    constexpr LCID libraryLocale = MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT);
    CComPtr<ITypeLib> registered;
    if (SUCCEEDED(LoadRegTypeLib(*m_plibid, m_wMajor, m_wMinor, libraryLocale, &registered)) &&
        SUCCEEDED(registered->GetTypeInfoOfGuid(*m_pguid, ppInfo))) {
        return S_OK;
    }
    // Not registered, or damaged: use the module's own resource.
    CComPtr<ITypeLib> own;
    CComBSTR path;
    const HRESULT hr = LoadModuleTypeLib(_Module.GetModuleInstance(), &path, &own);
    return FAILED(hr) ? hr : own->GetTypeInfoOfGuid(*m_pguid, ppInfo);
}

HRESULT CComTypeInfoHolder::GetTypeInfo(UINT itinfo, LCID /*lcid*/, ITypeInfo** pptinfo) noexcept {
    if (pptinfo == nullptr) {
        return E_POINTER;
    }
    *pptinfo = nullptr;
    if (itinfo != 0) {
        return DISP_E_BADINDEX;
    }
    const CComCritSecLock lock(_Module.m_csObjMap);
    if (m_pInfo == nullptr) {
        CComPtr<ITypeInfo> info;
        HRESULT hr = LoadTI(&info);
        if (SUCCEEDED(hr)) {
            hr = _Module.AddTermFunc(&Cleanup, reinterpret_cast<DWORD_PTR>(this));
        }
        if (FAILED(hr)) {
            return hr;
        }
        m_pInfo = info.Detach();
    }
    m_pInfo->AddRef();
    *pptinfo = m_pInfo;
    return S_OK;
}

void WINAPI CComTypeInfoHolder::Cleanup(DWORD_PTR dw) noexcept {
    std::exchange(reinterpret_cast<CComTypeInfoHolder*>(dw)->m_pInfo, nullptr)->Release();
}
