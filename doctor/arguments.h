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
    std::wstring path = {};       ///< for registerLibrary; empty for nuvolex.dll beside the program
};

struct UsageError {
    std::wstring message;
};

/// `arguments` are those after the program's name.
[[nodiscard]] std::variant<Command, UsageError> ParseArguments(const std::vector<std::wstring>& arguments);

extern const wchar_t* const helpText;

} // namespace doctor
