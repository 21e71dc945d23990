#include "doctor/registration.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include <atlbase.h>
#include <oleauto.h>

#include "doctor/classes.h"
#include "doctor/files.h"
#include "doctor/findings.h"
#include "doctor/registry.h"
#include "doctor/text.h"

namespace doctor {

namespace {

std::wstring FullPath(const std::wstring& path) {
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    return full.empty() ? path : full;
}

/// Why the file cannot be registered; empty if it can.
std::wstring Refusal(const FileFacts& file) {
    if (file.IsMissing()) {
        return L"There is no such file: " + file.path +
               L"\nGive the path of nuvolex.dll, or put it beside nuvolex-doctor.exe.";
    }
    if (file.isFolder) {
        return L"This is a folder, not the file: " + file.path +
               L"\nGive the path of nuvolex.dll itself, with the name of the file.";
    }
    if (file.error != ERROR_SUCCESS) {
        return L"The file cannot be read (error " + std::to_wstring(file.error) + L"): " + file.path;
    }
    if (!file.isNuvolex && file.version.empty()) {
        return L"This file is damaged, or not the Nuvolex library: " + file.path;
    }
    if (!file.isNuvolex) {
        return L"This is not the Nuvolex library: " + file.path;
    }
    return file.machine != L"x64" ? L"This is not the library for 64-bit programs (x64): " + file.path : L"";
}

/// Gets the flags of the type library in a file. TYPE_E_UNSUPFORMAT if it is another library.
HRESULT GetLibraryFlags(const std::wstring& path, WORD& flags) {
    CComPtr<ITypeLib> library;
    TLIBATTR* attributes = nullptr;
    HRESULT result = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
    if (SUCCEEDED(result)) {
        result = library->GetLibAttr(&attributes);
    }
    if (FAILED(result)) {
        return result;
    }
    flags = attributes->wLibFlags;
    result = attributes->guid == LIBID_NUVOLEXLib ? S_OK : TYPE_E_UNSUPFORMAT;
    library->ReleaseTLibAttr(attributes);
    return result;
}

Outcome Failed(LSTATUS status, Scope scope, const wchar_t* what, const std::wstring& key) {
    const std::wstring place = scope == Scope::user ? L"HKEY_CURRENT_USER\\" : L"HKEY_LOCAL_MACHINE\\";
    std::wstring message = std::wstring(L"Cannot ") + what + L" " + place + classesKey + L"\\" + key + L": " +
                           DescribeResult(HRESULT_FROM_WIN32(static_cast<DWORD>(status)));
    if (status == ERROR_ACCESS_DENIED) {
        message +=
            scope == Scope::machine
                ? L"\nChanging the registration for the machine takes administrator rights. Open a command prompt "
                  L"with \"Run as administrator\" and try again, or add --user to change the registration for "
                  L"this user only."
                : L"\nAsk an administrator to give you full access to this key.";
    }
    return {false, message};
}

/// Adds the existing entries with which 32-bit programs use the classes.
void AddKeptEntries(Scope scope, std::vector<Entry>& entries) {
    for (const ClassRow& row : classRows) {
        const std::wstring key = ClassKey(*row.clsid);
        if (EqualNoCase(ReadValue(scope, key, L"AppID").text, surrogateAppId)) {
            entries.push_back({key, L"AppID", surrogateAppId});
        }
    }
}

/// Removes what may be left below the keys of the classes, such as entries of another library.
Outcome RemoveClassKeys(Scope scope) {
    for (const ClassRow& row : classRows) {
        const std::wstring key = ClassKey(*row.clsid);
        if (const LSTATUS status = RemoveTree(scope, key); status != ERROR_SUCCESS) {
            return Failed(status, scope, L"remove", key);
        }
    }
    return {true, L""};
}

/// Keys that other programs use too. Registering for a user may have created them; those of the machine always exist.
constexpr std::array<const wchar_t*, 6> sharedUserKeys = {
    L"AppID", L"CLSID", L"Interface", L"TypeLib", L"Wow6432Node\\Interface", L"Wow6432Node"};

} // namespace

Outcome RegisterLibrary(Scope scope, const std::wstring& path) {
    const FileFacts file = ReadFile(FullPath(path));
    if (const std::wstring refusal = Refusal(file); !refusal.empty()) {
        return {false, refusal};
    }
    WORD flags = 0;
    if (const HRESULT result = GetLibraryFlags(file.path, flags); FAILED(result)) {
        return {false, L"The type library in the file cannot be used: " + DescribeResult(result) + L": " + file.path};
    }
    std::vector<Entry> entries = EntriesOf(file.path, flags);
    AddKeptEntries(scope, entries);
    if (Outcome removed = RemoveClassKeys(scope); !removed.succeeded) {
        return removed;
    }
    for (const Entry& entry : entries) {
        if (const LSTATUS status = WriteEntry(scope, entry); status != ERROR_SUCCESS) {
            return Failed(status, scope, L"write", entry.key);
        }
    }
    return {true, std::wstring(L"Registered for ") + NameOf(scope) + L": " + file.path};
}

Outcome UnregisterLibrary(Scope scope) {
    const std::vector<std::wstring> keys = OwnedKeys();
    const bool wasThere =
        std::any_of(keys.begin(), keys.end(), [scope](const std::wstring& key) { return HasKey(scope, key); });
    for (const std::wstring& key : keys) {
        if (const LSTATUS status = RemoveTree(scope, key); status != ERROR_SUCCESS) {
            return Failed(status, scope, L"remove", key);
        }
    }
    const std::wstring library = L"TypeLib\\" + FormatGuid(LIBID_NUVOLEXLib);
    if (const LSTATUS status = RemoveIfEmpty(scope, library); status != ERROR_SUCCESS) {
        return Failed(status, scope, L"remove", library);
    }
    if (scope == Scope::user) {
        for (const wchar_t* const key : sharedUserKeys) {
            if (const LSTATUS status = RemoveIfEmpty(scope, key); status != ERROR_SUCCESS) {
                return Failed(status, scope, L"remove", key);
            }
        }
    }
    const std::wstring what = wasThere ? L"Nuvolex is no longer registered for " : L"Nuvolex was not registered for ";
    return {true, what + NameOf(scope) + L"."};
}

} // namespace doctor
