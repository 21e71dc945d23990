/// The table of findings, with their messages.
#pragma once

#include <string>

#include "doctor/findings.h"

namespace doctor {

/// What a finding is about. The messages have its parts as placeholders.
struct FindingDetails {
    std::optional<Scope> scope; ///< {scope}: "this user"; {option}: " --user", or nothing for the machine
    std::wstring subject;       ///< {subject}
    std::wstring detail;        ///< {detail}
};

/// Makes a finding from its row of the table.
[[nodiscard]] Finding MakeFinding(FindingId id, FindingDetails details = {});

} // namespace doctor
