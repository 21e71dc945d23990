/// How a test of the kit went.
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

// What the exit code and the output of a test mean: these functions fill in the counts and, if it failed, the reason.

/// A GoogleTest program.
void JudgeProgram(const std::string& output, Outcome& outcome);
/// A script that prints how many of its checks passed, of which it has at least `leastChecks`. The exit code does not
/// tell: the script's host ends with 0 even when the script fails.
void JudgeScript(const std::string& output, int leastChecks, Outcome& outcome);
/// A script that prints `expected`.
void JudgeExample(const std::string& output, const std::string& expected, Outcome& outcome);
