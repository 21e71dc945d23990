/// The registry entries of a registration, in one table: `register` writes them, `unregister` removes them, and the
/// diagnosis compares the registry with them. Keys are relative to Software\Classes of the user or the machine.
#pragma once

#include <array>
#include <string>
#include <vector>

#include <windows.h>

#include "doctor/appid.h"

namespace doctor {

/// Whose classes: those of the current user (HKEY_CURRENT_USER), or those of the machine (HKEY_LOCAL_MACHINE).
enum class Scope { user, machine };

inline constexpr std::array<Scope, 2> scopes = {Scope::user, Scope::machine};

/// HKEY_CURRENT_USER or HKEY_LOCAL_MACHINE.
[[nodiscard]] HKEY RootOf(Scope scope) noexcept;

inline constexpr const wchar_t* classesKey = L"Software\\Classes";

/// What a value says, and so how the diagnosis checks it.
enum class EntryKind {
    text,        ///< always the same text, regardless of case
    key,         ///< no value: the key itself is the entry
    serverPath,  ///< the file of a class; one for each class, in the order of classRows
    libraryPath, ///< the file of the type library
    detail,      ///< depends on the file or the system; not checked
};

struct Entry {
    std::wstring key;
    std::wstring name; ///< of the value; empty for the default value
    std::wstring value;
    EntryKind kind = EntryKind::text;
    /// Whether the classes need it. What some systems write and others do not is not required.
    bool required = true;
};

/// All entries of the file at `path`. `libraryFlags` are those of its type library (TLIBATTR::wLibFlags).
[[nodiscard]] std::vector<Entry> EntriesOf(const std::wstring& path, WORD libraryFlags);

/// The keys that belong to the registration alone and are removed with all that is below them.
[[nodiscard]] std::vector<std::wstring> OwnedKeys();

/// The key of a class: "CLSID\{...}".
[[nodiscard]] std::wstring ClassKey(REFCLSID clsid);

/// The value of a class, and the key below "AppID", with which 32-bit programs reach it.
inline constexpr const wchar_t* surrogateAppId = NUVOLEX_SURROGATE_APPID;

/// "Wow6432Node\": below it are the entries that 32-bit programs see.
inline constexpr const wchar_t* view32 = L"Wow6432Node\\";

} // namespace doctor
