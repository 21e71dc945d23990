/// The table of registry entries. `register` writes them, `unregister` removes them, the diagnosis compares the
/// registry with them. Keys are relative to Software\Classes of the user or the machine.
#pragma once

#include <array>
#include <string>
#include <vector>

#include <windows.h>

#include "doctor/appid.h"

namespace doctor {

/// The registration of the current user (HKEY_CURRENT_USER) or of the machine (HKEY_LOCAL_MACHINE).
enum class Scope { user, machine };

inline constexpr std::array<Scope, 2> scopes = {Scope::user, Scope::machine};

/// HKEY_CURRENT_USER or HKEY_LOCAL_MACHINE.
[[nodiscard]] HKEY RootOf(Scope scope) noexcept;

inline constexpr const wchar_t* classesKey = L"Software\\Classes";

/// What a value is, and so how the diagnosis checks it.
enum class EntryKind {
    text,        ///< a fixed text, compared without case
    key,         ///< no value: the key itself is the entry
    serverPath,  ///< the file of a class, in the order of classRows
    libraryPath, ///< the file of the type library
    detail,      ///< depends on the file or the system; not checked
};

struct Entry {
    std::wstring key;
    std::wstring name; ///< of the value; empty for the default value
    std::wstring value;
    EntryKind kind = EntryKind::text;
    /// Whether the classes need it. What only some systems write is not required.
    bool required = true;
};

/// All entries of the file at `path`. `libraryFlags` are those of its type library (TLIBATTR::wLibFlags).
[[nodiscard]] std::vector<Entry> EntriesOf(const std::wstring& path, WORD libraryFlags);

/// The keys that belong only to this registration. They are removed with everything below them.
[[nodiscard]] std::vector<std::wstring> OwnedKeys();

/// The key of a class: "CLSID\{...}".
[[nodiscard]] std::wstring ClassKey(REFCLSID clsid);

/// The AppID with which 32-bit programs use the classes: a value of each class, and a key below "AppID".
inline constexpr const wchar_t* surrogateAppId = NUVOLEX_SURROGATE_APPID;

/// "Wow6432Node\", the key of the entries that 32-bit programs see.
inline constexpr const wchar_t* view32 = L"Wow6432Node\\";

} // namespace doctor
