/// Judges facts: what is wrong, why, and what to do. Pure functions; they ask nothing of the system.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "doctor/facts.h"

namespace doctor {

enum class Severity { error, note };

/// The identifiers are part of the JSON output and never change; docs/doctor.md lists them.
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
    std::optional<Scope> scope; ///< whose entries it is about; none for all
    std::wstring subject;       ///< the file, key or classes that it is about; may be empty
    std::wstring text;          ///< what is wrong, in whole sentences
    std::wstring cure;          ///< what to do
};

/// Errors first, each group in the order of the identifiers. What follows from an error is not reported again.
[[nodiscard]] std::vector<Finding> Judge(const Facts& facts);

/// Whether any finding is an error.
[[nodiscard]] bool HasErrors(const std::vector<Finding>& findings) noexcept;

/// "this user" or "the machine".
[[nodiscard]] const wchar_t* NameOf(Scope scope) noexcept;

} // namespace doctor
