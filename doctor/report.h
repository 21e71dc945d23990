/// The diagnosis as text and as JSON.
#pragma once

#include <string>
#include <vector>

#include "doctor/facts.h"
#include "doctor/findings.h"

namespace doctor {

/// The report for people. Lines end with LF.
[[nodiscard]] std::wstring TextReport(const Facts& facts, const std::vector<Finding>& findings);

/// Only the findings and their cures; empty if there are none.
[[nodiscard]] std::wstring TextOfFindings(const std::vector<Finding>& findings);

/// A JSON object and LF. docs/doctor.md describes its members.
[[nodiscard]] std::wstring JsonReport(const Facts& facts, const std::vector<Finding>& findings);

} // namespace doctor
