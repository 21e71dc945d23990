/// The diagnosis as text for people and as JSON for programs.
#pragma once

#include <string>
#include <vector>

#include "doctor/facts.h"
#include "doctor/findings.h"

namespace doctor {

/// Lines that end with LF.
[[nodiscard]] std::wstring TextReport(const Facts& facts, const std::vector<Finding>& findings);

/// The findings alone, each with its cure; empty if there are none.
[[nodiscard]] std::wstring TextOfFindings(const std::vector<Finding>& findings);

/// One JSON object and LF. docs/doctor.md describes its members.
[[nodiscard]] std::wstring JsonReport(const Facts& facts, const std::vector<Finding>& findings);

} // namespace doctor
