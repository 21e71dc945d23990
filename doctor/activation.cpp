#include "doctor/activation.h"

#include <stdexcept>
#include <vector>

#include <atlbase.h>
#include <comdef.h>
#include <oleauto.h>

#include "doctor/files.h"
#include "doctor/handle.h"
#include "doctor/text.h"

namespace doctor {

namespace {

/// Reads a member of a new object, late-bound. S_FALSE if the value is not 0.
HRESULT CallMember(IDispatch& object, const wchar_t* member) {
    std::wstring name = member;
    OLECHAR* names = name.data();
    DISPID id = DISPID_UNKNOWN;
    HRESULT result = object.GetIDsOfNames(IID_NULL, &names, 1, libraryLocale, &id);
    if (FAILED(result)) {
        return result;
    }
    DISPPARAMS noArguments = {};
    VARIANT value = {};
    result = object.Invoke(id, IID_NULL, libraryLocale, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &noArguments, &value,
                           nullptr, nullptr);
    if (FAILED(result)) {
        return result;
    }
    const HRESULT converted = VariantChangeType(&value, &value, 0, VT_I4);
    const bool isZero = SUCCEEDED(converted) && value.lVal == 0;
    VariantClear(&value);
    return isZero ? S_OK : S_FALSE;
}

/// What is at the path of the type library. LoadTypeLibEx takes the path of a missing file for a moniker, so only our
/// own file is loaded.
LibraryFile KindOfLibraryFile(const std::wstring& path) {
    if (!IsFullPath(path)) {
        return LibraryFile::foreign;
    }
    const FileFacts file = ReadFile(path);
    if (file.IsMissing()) {
        return LibraryFile::missing;
    }
    if (file.error != ERROR_SUCCESS) {
        return LibraryFile::unreadable;
    }
    return file.isNuvolex ? LibraryFile::ours : LibraryFile::foreign;
}

/// The file with the code of an object's first method.
std::wstring FileOfCode(IUnknown* object) {
    const void* const* const vtable = *reinterpret_cast<const void* const* const*>(object);
    HMODULE module = nullptr;
    constexpr DWORD byAddress = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    const bool found = GetModuleHandleExW(byAddress, static_cast<LPCWSTR>(vtable[0]), &module) != FALSE;
    return found ? PathOfModule(module) : std::wstring();
}

} // namespace

ComApartment::ComApartment() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        throw std::runtime_error("COM cannot be initialized");
    }
}

ComApartment::~ComApartment() {
    CoUninitialize();
}

DWORD TryToLoad(const std::wstring& path) {
    const HMODULE module = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module == nullptr) {
        return GetLastError();
    }
    FreeLibrary(module);
    return ERROR_SUCCESS;
}

TypeLibraryFacts LoadTypeLibrary() {
    TypeLibraryFacts facts;
    _bstr_t path;
    facts.result = QueryPathOfRegTypeLib(LIBID_NUVOLEXLib, 1, 0, libraryLocale, path.GetAddress());
    if (FAILED(facts.result)) {
        return facts;
    }
    facts.path = static_cast<const wchar_t*>(path);
    facts.file = KindOfLibraryFile(facts.path);
    if (facts.file == LibraryFile::ours) {
        CComPtr<ITypeLib> library;
        facts.result = LoadTypeLibEx(path, REGKIND_NONE, &library);
    }
    return facts;
}

ClassFacts CreateAndCall(const ClassRow& row) {
    ClassFacts facts;
    CLSID clsid = {};
    facts.nameResult = CLSIDFromProgID(row.ProgId().c_str(), &clsid);
    if (SUCCEEDED(facts.nameResult) && clsid != *row.clsid) {
        facts.trial = Trial::otherName;
        return facts;
    }
    facts.trial = Trial::done;
    CComPtr<IDispatch> object;
    facts.result =
        CoCreateInstance(*row.clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, reinterpret_cast<void**>(&object));
    if (SUCCEEDED(facts.result)) {
        facts.servedBy = FileOfCode(object.p);
        facts.memberResult = CallMember(*object.p, row.member);
    }
    return facts;
}

bool IsElevated() {
    HANDLE raw = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &raw) == FALSE) {
        return false;
    }
    const HandleOwner token(raw);
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenIntegrityLevel, nullptr, 0, &size);
    std::vector<BYTE> memory(size);
    if (GetTokenInformation(token.get(), TokenIntegrityLevel, memory.data(), size, &size) == FALSE) {
        return false;
    }
    const SID_AND_ATTRIBUTES& label = reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(memory.data())->Label;
    const DWORD last = *GetSidSubAuthorityCount(label.Sid) - DWORD{1};
    return *GetSidSubAuthority(label.Sid, last) > SECURITY_MANDATORY_MEDIUM_RID;
}

} // namespace doctor
