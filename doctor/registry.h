/// The registry below Software\Classes of the user or the machine.
#pragma once

#include <string>

#include <windows.h>

#include "doctor/entries.h"
#include "doctor/facts.h"

namespace doctor {

/// A value as it was read. Environment variables in it are expanded.
struct RegistryValue {
    LSTATUS status = ERROR_FILE_NOT_FOUND;
    std::wstring text;
};

[[nodiscard]] RegistryValue ReadValue(Scope scope, const std::wstring& key, const std::wstring& name);

/// Whether there is such a key, or one that may not be read.
[[nodiscard]] bool HasKey(Scope scope, const std::wstring& key);

/// Reads what is there of all entries.
[[nodiscard]] ScopeFacts ReadScope(Scope scope);

/// Writes an entry, and creates its key.
[[nodiscard]] LSTATUS WriteEntry(Scope scope, const Entry& entry);

/// Removes a key and what is below it. A key that is not there is no error.
[[nodiscard]] LSTATUS RemoveTree(Scope scope, const std::wstring& key);

/// Removes a key if nothing is in it. A key that is not empty, or not there, is no error.
[[nodiscard]] LSTATUS RemoveIfEmpty(Scope scope, const std::wstring& key);

} // namespace doctor
