/// Finds out from the facts what is wrong, why, and what to do. Pure functions.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "doctor/facts.h"

namespace doctor {

enum class Severity { error, note };

/// The names of the identifiers are part of the JSON output and never change. docs/doctor.md lists them.
enum class FindingId {
    notRegistered,
    registeredFor32BitOnly,
    entriesDamaged,
    accessDenied,
    fileMissing,
    fileUnreadable,
    foreignFile,
    fileUnidentified,
    wrongBitness,
    fileNotLoaded,
    mixedFiles,
    typeLibraryNotRegistered,
    typeLibraryNotLoaded,
    userEntriesUnseen,
    classNotRegistered,
    classNotCreated,
    memberFailed,
    servedByOtherFile,
    bothRegistered,
    userEntriesOnly,
    machineEntriesOnly,
    no32BitAccess,
    surrogateAccess,
};

struct Finding {
    FindingId id;
    std::string name; ///< of the identifier: "file-missing"
    Severity severity;
    std::optional<Scope> scope; ///< of the entries; none for both
    std::wstring subject;       ///< the file, key or classes; may be empty
    std::wstring text;          ///< what is wrong
    std::wstring cure;          ///< what to do
};

/// Errors first, then in the order of the identifiers. Consequences of an error are not reported.
[[nodiscard]] std::vector<Finding> Judge(const Facts& facts);

/// Whether any finding is an error.
[[nodiscard]] bool HasErrors(const std::vector<Finding>& findings) noexcept;

/// "this user" or "the machine".
[[nodiscard]] const wchar_t* NameOf(Scope scope) noexcept;

} // namespace doctor
