/// nuvolex-doctor.exe: diagnoses the registration of nuvolex.dll, writes it and removes it.

#include <algorithm>
#include <exception>
#include <string>
#include <variant>
#include <vector>

#include <windows.h>

#include "doctor/activation.h"
#include "doctor/arguments.h"
#include "doctor/console.h"
#include "doctor/diagnosis.h"
#include "doctor/files.h"
#include "doctor/findings.h"
#include "doctor/registration.h"
#include "doctor/registry.h"
#include "doctor/report.h"
#include "doctor/version.h"

namespace {

using namespace doctor; // NOLINT(google-build-using-namespace): the whole program is in it

enum ExitCode { exitOk = 0, exitFault = 1, exitUsage = 2 };

int Print(const std::wstring& text, int exitCode = exitOk) {
    return Write(GetStdHandle(STD_OUTPUT_HANDLE), text) ? exitCode : exitFault;
}

int PrintError(const std::wstring& text, int exitCode) {
    Write(GetStdHandle(STD_ERROR_HANDLE), L"nuvolex-doctor: " + text + L"\n");
    return exitCode;
}

int Diagnose(bool json) {
    const Facts facts = GatherFacts();
    const std::vector<Finding> findings = Judge(facts);
    return Print(json ? JsonReport(facts, findings) : TextReport(facts, findings),
                 HasErrors(findings) ? exitFault : exitOk);
}

std::wstring PathBesideProgram() {
    const std::wstring program = PathOfModule(nullptr);
    return program.substr(0, program.find_last_of(L'\\') + 1) + L"nuvolex.dll";
}

/// Registers and diagnoses: entries of the other scope may still take precedence.
int Register(const Command& command) {
    const std::wstring path = command.path.empty() ? PathBesideProgram() : command.path;
    const Outcome outcome = RegisterLibrary(command.scope, path);
    if (!outcome.succeeded) {
        return PrintError(outcome.message, exitFault);
    }
    std::vector<Finding> findings = Judge(GatherFacts());
    if (command.scope == Scope::user) {
        // Not a fault: only elevated programs such as this one ignore the new entries.
        for (Finding& finding : findings) {
            finding.severity = finding.id == FindingId::userEntriesUnseen ? Severity::note : finding.severity;
        }
    }
    return Print(outcome.message + L"\n" + TextOfFindings(findings), HasErrors(findings) ? exitFault : exitOk);
}

int Unregister(const Command& command) {
    const Outcome outcome = UnregisterLibrary(command.scope);
    if (!outcome.succeeded) {
        return PrintError(outcome.message, exitFault);
    }
    const Scope other = command.scope == Scope::user ? Scope::machine : Scope::user;
    const std::wstring rest =
        ReadScope(other).HasEntries() ? std::wstring(L"It is still registered for ") + NameOf(other) + L".\n" : L"";
    return Print(outcome.message + L"\n" + rest);
}

int Run(const Command& command) {
    switch (command.action) {
    case Action::help:
        return Print(helpText);
    case Action::version:
        return Print(L"nuvolex-doctor " NUVOLEX_DOCTOR_VERSION L"\n");
    default:
        break;
    }
    const ComApartment apartment;
    switch (command.action) {
    case Action::registerLibrary:
        return Register(command);
    case Action::unregisterLibrary:
        return Unregister(command);
    default:
        return Diagnose(command.json);
    }
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    try {
        const auto parsed = ParseArguments(std::vector<std::wstring>(argv + std::min(argc, 1), argv + argc));
        if (const auto* const error = std::get_if<UsageError>(&parsed); error != nullptr) {
            return PrintError(error->message + L"\nnuvolex-doctor --help lists the arguments.", exitUsage);
        }
        return Run(std::get<Command>(parsed));
    } catch (const std::exception& error) {
        const std::string what = error.what();
        return PrintError(std::wstring(what.begin(), what.end()), exitFault);
    }
}
