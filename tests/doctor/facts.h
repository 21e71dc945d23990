/// Facts like those that the doctor gathers, without a registry.
#pragma once

#include <string>

#include "doctor/facts.h"

/// The path of the registered library in these facts.
inline const std::wstring registeredPath = L"C:\\Nuvolex\\nuvolex.dll";

/// A scope with all entries of the file at `path`.
inline doctor::ScopeFacts CompleteScope(const std::wstring& path = registeredPath) {
    doctor::ScopeFacts scope;
    for (doctor::Entry& entry : doctor::EntriesOf(path, 0)) {
        doctor::EntryFact fact;
        fact.value = entry.value;
        fact.entry = entry;
        scope.entries.push_back(fact);
    }
    scope.servers.fill(path);
    return scope;
}

/// A scope without entries.
inline doctor::ScopeFacts EmptyScope() {
    doctor::ScopeFacts scope = CompleteScope();
    for (doctor::EntryFact& fact : scope.entries) {
        fact.status = ERROR_FILE_NOT_FOUND;
        fact.value.clear();
    }
    scope.servers.fill(std::nullopt);
    return scope;
}

inline doctor::FileFacts GoodFile(const std::wstring& path = registeredPath) {
    doctor::FileFacts file;
    file.path = path;
    file.bits = 64;
    file.machine = L"x64";
    file.version = L"1.0.0.0";
    file.product = L"Nuvolex";
    file.isNuvolex = true;
    return file;
}

/// Registered for the machine and working.
inline doctor::Facts HealthyFacts() {
    doctor::Facts facts;
    facts.toolVersion = L"1.0.0";
    facts.user = EmptyScope();
    facts.machine = CompleteScope();
    facts.files = {GoodFile()};
    facts.typeLibrary = {S_OK, registeredPath};
    facts.classes.fill({doctor::Trial::done, S_OK, S_OK, S_OK, registeredPath});
    return facts;
}

/// Makes the creation of all classes fail.
inline void FailAllClasses(doctor::Facts& facts, HRESULT result) {
    facts.classes.fill({doctor::Trial::done, S_OK, result, E_UNEXPECTED, L""});
}

/// Not registered.
inline doctor::Facts UnregisteredFacts() {
    doctor::Facts facts = HealthyFacts();
    facts.machine = EmptyScope();
    facts.files.clear();
    facts.typeLibrary = {TYPE_E_LIBNOTREGISTERED, L""};
    facts.classes.fill({doctor::Trial::done, CO_E_CLASSSTRING, REGDB_E_CLASSNOTREG, E_UNEXPECTED, L""});
    return facts;
}

/// A class that could not be created, with the reason.
inline doctor::ClassFacts Untried(doctor::Trial why) {
    doctor::ClassFacts facts;
    facts.trial = why;
    return facts;
}
