/// The command line.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "doctor/entries.h"

namespace doctor {

enum class Action { diagnose, registerLibrary, unregisterLibrary, help, version };

struct Command {
    Action action = Action::diagnose;
    bool json = false;            ///< for diagnose
    Scope scope = Scope::machine; ///< for registerLibrary and unregisterLibrary
    std::wstring path = {};       ///< for registerLibrary; if empty, nuvolex.dll beside the program
};

struct UsageError {
    std::wstring message;
};

/// Parses the arguments, without the program's name.
[[nodiscard]] std::variant<Command, UsageError> ParseArguments(const std::vector<std::wstring>& arguments);

extern const wchar_t* const helpText;

} // namespace doctor
