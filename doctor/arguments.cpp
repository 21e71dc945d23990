#include "doctor/arguments.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace doctor {

const wchar_t* const helpText = LR"(nuvolex-doctor says whether Nuvolex works on this machine, and registers it.

  nuvolex-doctor                           diagnose, and say what to do
  nuvolex-doctor --json                    the same as JSON
  nuvolex-doctor register [--user] [PATH]  register nuvolex.dll, for the machine
                                           or for this user only
  nuvolex-doctor unregister [--user]       remove the registration, for the
                                           machine or for this user only
  nuvolex-doctor --help                    show this text
  nuvolex-doctor --version                 show the version

PATH is the file to register; without it, nuvolex.dll in the folder of
nuvolex-doctor.exe. For the machine, open the command prompt with "Run as
administrator". Programs that run elevated do not see what is registered
for a user.

Exit code: 0 all is well, 1 something is wrong, 2 wrong arguments.
)";

namespace {

constexpr std::array<std::wstring_view, 3> helpOptions = {L"--help", L"-h", L"/?"};

UsageError Unknown(const std::wstring& argument) {
    return {L"Unknown argument: " + argument};
}

/// The last backslash of "C:\folder\" on the command line escapes the quote, which becomes part of the argument.
std::wstring WithoutQuoteAtEnd(std::wstring path) {
    if (path.ends_with(L'"')) {
        path.pop_back();
    }
    return path;
}

/// Parses what follows `register` or `unregister`.
std::variant<Command, UsageError> ParseRegistration(Action action, const std::vector<std::wstring>& arguments) {
    Command command;
    command.action = action;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::wstring argument = WithoutQuoteAtEnd(arguments[i]);
        if (argument == L"--user") {
            command.scope = Scope::user;
        } else if (action == Action::registerLibrary && command.path.empty() && !argument.empty() &&
                   !argument.starts_with(L'-')) {
            command.path = argument;
        } else {
            return Unknown(arguments[i]);
        }
    }
    return command;
}

} // namespace

std::variant<Command, UsageError> ParseArguments(const std::vector<std::wstring>& arguments) {
    if (arguments.empty()) {
        return Command{};
    }
    const bool wantsHelp = std::find_first_of(arguments.begin(), arguments.end(), helpOptions.begin(),
                                              helpOptions.end()) != arguments.end();
    if (wantsHelp || arguments.front() == L"help") {
        return Command{.action = Action::help};
    }
    const std::wstring& first = arguments.front();
    if (first == L"register") {
        return ParseRegistration(Action::registerLibrary, arguments);
    }
    if (first == L"unregister") {
        return ParseRegistration(Action::unregisterLibrary, arguments);
    }
    const bool isJson = first == L"--json";
    if (!isJson && first != L"--version") {
        return Unknown(first);
    }
    if (arguments.size() > 1) {
        return Unknown(arguments[1]);
    }
    return Command{.action = isJson ? Action::diagnose : Action::version, .json = isJson};
}

} // namespace doctor
