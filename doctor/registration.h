/// Writes and removes the registration of one scope.
#pragma once

#include <string>

#include "doctor/entries.h"

namespace doctor {

struct Outcome {
    bool succeeded = false;
    std::wstring message; ///< what was done, or what failed and what to do
};

/// Registers the library at `path`. Removes everything else below the keys of its classes, except the entries of the
/// surrogate process for 32-bit programs. If the file is not Nuvolex for x64, writes nothing.
[[nodiscard]] Outcome RegisterLibrary(Scope scope, const std::wstring& path);

/// Removes all entries. The file need not exist any more.
[[nodiscard]] Outcome UnregisterLibrary(Scope scope);

} // namespace doctor
