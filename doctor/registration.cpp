#include "doctor/registration.h"

#include <array>
#include <optional>

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
    if (file.error != ERROR_SUCCESS) {
        return L"The file cannot be read (error " + std::to_wstring(file.error) + L"): " + file.path;
    }
    if (!file.isNuvolex) {
        return L"This is not the Nuvolex library: " + file.path;
    }
    return file.machine != L"x64" ? L"This is not the library for 64-bit programs (x64): " + file.path : L"";
}

/// The flags of the type library in a file; none if there is no type library of ours in it.
std::optional<WORD> LibraryFlags(const std::wstring& path) {
    CComPtr<ITypeLib> library;
    TLIBATTR* attributes = nullptr;
    if (FAILED(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library)) || FAILED(library->GetLibAttr(&attributes))) {
        return std::nullopt;
    }
    const bool isOurs = attributes->guid == LIBID_NUVOLEXLib;
    const WORD flags = attributes->wLibFlags;
    library->ReleaseTLibAttr(attributes);
    return isOurs ? std::optional(flags) : std::nullopt;
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

/// Removes what would otherwise stay behind below the keys of the classes, such as entries of another library.
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
constexpr std::array<const wchar_t*, 5> sharedUserKeys = {L"CLSID", L"Interface", L"TypeLib", L"Wow6432Node\\Interface",
                                                          L"Wow6432Node"};

} // namespace

Outcome RegisterLibrary(Scope scope, const std::wstring& path) {
    const FileFacts file = ReadFile(FullPath(path));
    if (const std::wstring refusal = Refusal(file); !refusal.empty()) {
        return {false, refusal};
    }
    const std::optional<WORD> flags = LibraryFlags(file.path);
    if (!flags.has_value()) {
        return {false, L"The file has no type library of Nuvolex in it; it may be damaged: " + file.path};
    }
    if (Outcome removed = RemoveClassKeys(scope); !removed.succeeded) {
        return removed;
    }
    for (const Entry& entry : EntriesOf(file.path, *flags)) {
        if (const LSTATUS status = WriteEntry(scope, entry); status != ERROR_SUCCESS) {
            return Failed(status, scope, L"write", entry.key);
        }
    }
    return {true, std::wstring(L"Registered for ") + NameOf(scope) + L": " + file.path};
}

Outcome UnregisterLibrary(Scope scope) {
    for (const std::wstring& key : OwnedKeys()) {
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
    return {true, std::wstring(L"Nuvolex is no longer registered for ") + NameOf(scope) + L"."};
}

} // namespace doctor
