/// The outcome of a test.
#pragma once

#include <string>

#include <windows.h>

enum class Verdict { Passed, Failed, Skipped };

struct Outcome {
    Verdict verdict = Verdict::Failed;
    std::string reason; ///< why it failed or was skipped
    DWORD exitCode = 0;
    int passed = 0; ///< cases of a program, checks of a script
    int failed = 0;
    int skipped = 0;
};

// These functions interpret the output of a test. They set the counts and, if it failed, the reason.

/// A GoogleTest program.
void JudgeProgram(const std::string& output, Outcome& outcome);
/// A script that prints how many of its checks passed; it has at least `leastChecks`. The exit code does not matter: it
/// is 0 even if the script fails.
void JudgeScript(const std::string& output, int leastChecks, Outcome& outcome);
/// A script that prints `expected`.
void JudgeExample(const std::string& output, const std::string& expected, Outcome& outcome);
