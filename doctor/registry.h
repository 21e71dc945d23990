/// The registry below Software\Classes of the user or the machine.
#pragma once

#include <string>

#include <windows.h>

#include "doctor/entries.h"
#include "doctor/facts.h"

namespace doctor {

/// A value, with environment variables expanded.
struct RegistryValue {
    LSTATUS status = ERROR_FILE_NOT_FOUND;
    std::wstring text;
};

[[nodiscard]] RegistryValue ReadValue(Scope scope, const std::wstring& key, const std::wstring& name);

/// Whether the key exists, readable or not.
[[nodiscard]] bool HasKey(Scope scope, const std::wstring& key);

/// Reads all entries.
[[nodiscard]] ScopeFacts ReadScope(Scope scope);

/// Creates the key of an entry and writes the value.
[[nodiscard]] LSTATUS WriteEntry(Scope scope, const Entry& entry);

/// Removes a key and everything below it. A missing key is no error.
[[nodiscard]] LSTATUS RemoveTree(Scope scope, const std::wstring& key);

/// Removes a key if it is empty. A missing key is no error.
[[nodiscard]] LSTATUS RemoveIfEmpty(Scope scope, const std::wstring& key);

} // namespace doctor
