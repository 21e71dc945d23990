#include <atlbase.h>
#include <atliface.h>

#include <array>
#include <cassert>
#include <cwchar>
#include <memory>
#include <new>
#include <utility>

namespace {

// This file allocates without exceptions, since its functions return HRESULTs.
using WideBuffer = std::unique_ptr<wchar_t[]>;

WideBuffer NewBuffer(std::size_t capacity) noexcept {
    return WideBuffer(new (std::nothrow) wchar_t[capacity]);
}

/// The full path of a module's file, of any length.
HRESULT ModulePath(HINSTANCE module, WideBuffer& path) noexcept {
    for (DWORD capacity = MAX_PATH;; capacity *= 2) {
        path = NewBuffer(capacity);
        if (path == nullptr) {
            return E_OUTOFMEMORY;
        }
        const DWORD length = GetModuleFileNameW(module, path.get(), capacity);
        if (length == 0) {
            return HRESULT_FROM_WIN32(GetLastError());
        }
        if (length < capacity) {
            return S_OK;
        }
    }
}

/// `text` for a quoted string in a registry script: with every apostrophe doubled. Null if out of memory.
WideBuffer EscapeForScript(const wchar_t* text) noexcept {
    WideBuffer quoted = NewBuffer(2 * std::wcslen(text) + 1);
    if (quoted != nullptr) {
        wchar_t* to = quoted.get();
        for (; *text != L'\0'; ++text) {
            if (*text == L'\'') {
                *to++ = L'\'';
            }
            *to++ = *text;
        }
        *to = L'\0';
    }
    return quoted;
}

/// Registers a type library, with the folder of its file as help folder. Without one, RegisterTypeLib would keep the
/// help folder of an earlier registration, perhaps from elsewhere.
HRESULT RegisterTypeLibOfFile(ITypeLib* library, BSTR path) noexcept {
    const auto folderLength = static_cast<UINT>(std::wcsrchr(path, L'\\') - path); // a full path
    CComBSTR folder;
    folder.m_str = SysAllocStringLen(path, folderLength);
    return folder != nullptr ? RegisterTypeLib(library, path, folder) : E_OUTOFMEMORY;
}

HRESULT RegisterModuleTypeLib(HINSTANCE module) noexcept {
    CComPtr<ITypeLib> library;
    CComBSTR path;
    const HRESULT hr = LoadModuleTypeLib(module, &path, &library);
    return FAILED(hr) ? hr : RegisterTypeLibOfFile(library, path);
}

/// Whether HKEY_CLASSES_ROOT has the key parent\{guid}child. A key that cannot be opened counts as existing.
bool KeyExists(const wchar_t* parent, REFGUID guid, const wchar_t* child) noexcept {
    std::array<wchar_t, 39> guidText = {};
    StringFromGUID2(guid, guidText.data(), static_cast<int>(guidText.size()));
    std::array<wchar_t, 80> path = {};
    swprintf_s(path.data(), path.size(), L"%ls\\%ls%ls", parent, guidText.data(), child);
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(HKEY_CLASSES_ROOT, path.data(), 0, KEY_QUERY_VALUE, &key);
    if (status == ERROR_SUCCESS) {
        RegCloseKey(key);
    }
    return status != ERROR_FILE_NOT_FOUND;
}

/// Whether the registry has any entry of this version of the library or of its interfaces.
bool HasEntries(REFGUID libid, ITypeLib& library, const TLIBATTR& attributes) noexcept {
    std::array<wchar_t, 16> version = {};
    swprintf_s(version.data(), version.size(), L"\\%x.%x", attributes.wMajorVerNum, attributes.wMinorVerNum);
    if (KeyExists(L"TypeLib", libid, version.data())) {
        return true;
    }
    for (UINT i = 0; i < library.GetTypeInfoCount(); ++i) {
        CComPtr<ITypeInfo> type;
        TYPEATTR* raw = nullptr;
        if (SUCCEEDED(library.GetTypeInfo(i, &type)) && SUCCEEDED(type->GetTypeAttr(&raw))) {
            const IID iid = raw->guid;
            type->ReleaseTypeAttr(raw);
            if (KeyExists(L"Interface", iid, L"")) {
                return true;
            }
        }
    }
    return false;
}

HRESULT UnregisterModuleTypeLib(HINSTANCE module, REFGUID libid) noexcept {
    CComPtr<ITypeLib> library;
    CComBSTR path;
    HRESULT hr = LoadModuleTypeLib(module, &path, &library);
    if (FAILED(hr)) {
        return hr;
    }
    TLIBATTR* raw = nullptr;
    hr = library->GetLibAttr(&raw);
    if (FAILED(hr)) {
        return hr;
    }
    const TLIBATTR attributes = *raw;
    library->ReleaseTLibAttr(raw);
    if (!HasEntries(libid, *library.p, attributes)) {
        return S_OK; // nothing to remove
    }
    // UnRegisterTypeLib loads the registered file to find out what to remove. Register this one first: the entries may
    // be incomplete, or name a file that was moved or is another library.
    hr = RegisterTypeLibOfFile(library, path);
    return FAILED(hr) ? hr
                      : UnRegisterTypeLib(libid, attributes.wMajorVerNum, attributes.wMinorVerNum, attributes.lcid,
                                          attributes.syskind);
}

} // namespace

HRESULT CComModule::Init(_ATL_OBJMAP_ENTRY* p, HINSTANCE h, const GUID* plibid) noexcept {
    m_pObjMap = p;
    m_hInst = h;
    m_plibid = plibid;
    for (const _ATL_OBJMAP_ENTRY* entry = m_pObjMap; entry->pclsid != nullptr; ++entry) {
        entry->pfnObjectMain(true);
    }
    return S_OK;
}

void CComModule::Term() noexcept {
    for (_ATL_OBJMAP_ENTRY* entry = m_pObjMap; entry->pclsid != nullptr; ++entry) {
        if (IUnknown* const factory = std::exchange(entry->pCF, nullptr); factory != nullptr) {
            factory->Release();
        }
        entry->pfnObjectMain(false);
    }
    while (m_termFuncs != nullptr) {
        m_termFuncs->pFunc(m_termFuncs->dw);
        m_termFuncs = std::move(m_termFuncs->next);
    }
}

HRESULT CComModule::AddTermFunc(_ATL_TERMFUNC* pFunc, DWORD_PTR dw) noexcept {
    const CComCritSecLock lock(m_csObjMap);
    std::unique_ptr<TermFunc> added(new (std::nothrow) TermFunc{pFunc, dw, nullptr});
    if (added == nullptr) {
        return E_OUTOFMEMORY;
    }
    added->next = std::move(m_termFuncs);
    m_termFuncs = std::move(added);
    return S_OK;
}

HRESULT CComModule::GetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) noexcept {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    for (_ATL_OBJMAP_ENTRY* entry = m_pObjMap; entry->pclsid != nullptr; ++entry) {
        if (entry->pfnGetClassObject == nullptr || rclsid != *entry->pclsid) {
            continue;
        }
        const std::atomic_ref<IUnknown*> cached(entry->pCF);
        if (cached.load(std::memory_order_acquire) == nullptr) {
            const CComCritSecLock lock(m_csObjMap);
            if (cached.load(std::memory_order_relaxed) == nullptr) {
                IUnknown* created = nullptr;
                const HRESULT hr = entry->pfnGetClassObject(reinterpret_cast<void*>(entry->pfnCreateInstance),
                                                            IID_IUnknown, reinterpret_cast<void**>(&created));
                if (FAILED(hr)) {
                    return hr;
                }
                cached.store(created, std::memory_order_release);
            }
        }
        return cached.load(std::memory_order_acquire)->QueryInterface(riid, ppv);
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT CComModule::UpdateClasses(BOOL bRegister) noexcept {
    for (const _ATL_OBJMAP_ENTRY* entry = m_pObjMap; entry->pclsid != nullptr; ++entry) {
        assert(entry->pfnGetCategoryMap() == nullptr); // categories are not supported here
        if (entry->pfnGetObjectDescription() != nullptr) {
            continue; // registered by other means
        }
        const HRESULT hr = entry->pfnUpdateRegistry(bRegister);
        if (FAILED(hr)) {
            return hr;
        }
    }
    return S_OK;
}

HRESULT CComModule::RegisterServer(BOOL bRegTypeLib) noexcept {
    const HRESULT hr = UpdateClasses(TRUE);
    return SUCCEEDED(hr) && bRegTypeLib != FALSE ? RegisterModuleTypeLib(m_hInst) : hr;
}

HRESULT CComModule::UnregisterServer(BOOL bUnRegTypeLib) noexcept {
    const HRESULT hr = UpdateClasses(FALSE);
    return SUCCEEDED(hr) && bUnRegTypeLib != FALSE ? UnregisterModuleTypeLib(m_hInst, *m_plibid) : hr;
}

HRESULT CComModule::UpdateRegistryFromResource(UINT nResID, BOOL bRegister) noexcept {
    WideBuffer path;
    HRESULT hr = ModulePath(m_hInst, path);
    if (FAILED(hr)) {
        return hr;
    }
    const WideBuffer quotedPath = EscapeForScript(path.get());
    if (quotedPath == nullptr) {
        return E_OUTOFMEMORY;
    }
    CComPtr<IRegistrar> registrar;
    hr = CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar,
                          reinterpret_cast<void**>(&registrar));
    if (FAILED(hr)) {
        return hr;
    }
    hr = registrar->AddReplacement(L"Module", quotedPath.get());
    if (FAILED(hr)) {
        return hr;
    }
    return bRegister != FALSE ? registrar->ResourceRegister(path.get(), nResID, L"REGISTRY")
                              : registrar->ResourceUnregister(path.get(), nResID, L"REGISTRY");
}

HRESULT LoadModuleTypeLib(HINSTANCE module, BSTR* path, ITypeLib** library) noexcept {
    *path = nullptr;
    *library = nullptr;
    WideBuffer file;
    HRESULT hr = ModulePath(module, file);
    if (FAILED(hr)) {
        return hr;
    }
    hr = LoadTypeLibEx(file.get(), REGKIND_NONE, library);
    if (FAILED(hr)) {
        return hr;
    }
    *path = SysAllocString(file.get());
    if (*path == nullptr) {
        std::exchange(*library, nullptr)->Release();
        return E_OUTOFMEMORY;
    }
    return S_OK;
}
