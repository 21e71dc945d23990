/// Writes and removes the registration of one scope, and touches nothing of the other.
#pragma once

#include <string>

#include "doctor/entries.h"

namespace doctor {

struct Outcome {
    bool succeeded = false;
    std::wstring message; ///< what was done; or what failed, and what to do
};

/// Registers the library at `path`. Whatever else is below the keys of its classes is removed,
/// except what lets 32-bit programs use them through the surrogate process. If the file is not this
/// library for 64-bit programs, nothing is written.
[[nodiscard]] Outcome RegisterLibrary(Scope scope, const std::wstring& path);

/// Removes all entries. Needs no file: it may have been deleted already.
[[nodiscard]] Outcome UnregisterLibrary(Scope scope);

} // namespace doctor
