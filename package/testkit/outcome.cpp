#include "package/testkit/outcome.h"

#include <regex>

namespace {

/// The number in the first place that `pattern` matches; 0 if there is none.
int NumberIn(const std::string& text, const char* pattern) {
    std::smatch match;
    return std::regex_search(text, match, std::regex(pattern)) ? std::stoi(match[1]) : 0;
}

} // namespace

void JudgeProgram(const std::string& output, Outcome& outcome) {
    outcome.passed = NumberIn(output, R"(\[  PASSED  \] (\d+) test)");
    outcome.failed = NumberIn(output, R"(\[  FAILED  \] (\d+) test)");
    outcome.skipped = NumberIn(output, R"(\[  SKIPPED \] (\d+) test)");
    if (outcome.exitCode != 0) {
        outcome.reason = "exit code " + std::to_string(outcome.exitCode);
    } else if (output.find("[  PASSED  ]") == std::string::npos) {
        outcome.reason = "it ended before its summary";
    } else if (outcome.passed == 0 && outcome.skipped == 0) {
        outcome.reason = "it ran no test";
    }
}

void JudgeScript(const std::string& output, int leastChecks, Outcome& outcome) {
    std::smatch match;
    if (std::regex_match(output, match, std::regex(R"((\d+) checks passed\n)"))) {
        outcome.passed = std::stoi(match[1]);
        outcome.reason = outcome.passed < leastChecks ? "not all of its checks ran" : "";
    } else {
        outcome.failed = NumberIn(output, R"((\d+) of \d+ checks failed)");
        outcome.reason = "it did not say that its checks passed";
    }
}

void JudgeExample(const std::string& output, const std::string& expected, Outcome& outcome) {
    outcome.passed = output == expected ? 1 : 0;
    outcome.failed = 1 - outcome.passed;
    outcome.reason = outcome.passed == 1 ? "" : "it did not print what its page says";
}
