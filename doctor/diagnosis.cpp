#include "doctor/diagnosis.h"

#include <algorithm>

#include "doctor/activation.h"
#include "doctor/files.h"
#include "doctor/registry.h"
#include "doctor/version.h"

namespace doctor {

namespace {

void AddFiles(const ScopeFacts& scope, Facts& facts) {
    for (const std::optional<std::wstring>& path : scope.servers) {
        if (path.has_value() && IsFullPath(*path) && facts.File(*path) == nullptr) {
            FileFacts& file = facts.files.emplace_back(ReadFile(*path));
            file.loadError = file.isNuvolex && file.machine == L"x64" ? TryToLoad(*path) : DWORD{ERROR_SUCCESS};
        }
    }
}

/// Whether the registered file of a class is this library, or the scope has no entry for it.
bool IsOursOrNone(const Facts& facts, Scope scope, std::size_t classIndex) {
    if (const std::optional<std::wstring>& path = facts.Of(scope).servers[classIndex]; path.has_value()) {
        const FileFacts* const file = facts.File(*path);
        return file != nullptr && file->error == ERROR_SUCCESS && file->isNuvolex;
    }
    const std::vector<EntryFact>& entries = facts.Of(scope).entries;
    const std::wstring key = ClassKey(*classRows[classIndex].clsid) + L"\\";
    return std::all_of(entries.begin(), entries.end(), [&key](const EntryFact& fact) {
        return fact.entry.kind != EntryKind::serverPath || !fact.entry.key.starts_with(key) || fact.IsMissing();
    });
}

/// Whether a class may be created without running code of another library. Both the user's and the machine's entries
/// must be ours, whichever COM uses.
Trial MayTry(const Facts& facts, std::size_t classIndex) {
    for (const Scope scope : scopes) {
        if (facts.Of(scope).treatAs[classIndex]) {
            return Trial::redirected;
        }
        if (!IsOursOrNone(facts, scope, classIndex)) {
            return Trial::otherFile;
        }
    }
    return Trial::done;
}

/// The loader may spell a path differently from the registry, for example without short names.
void UseRegisteredSpelling(const std::vector<FileFacts>& files, std::wstring& path) {
    for (const FileFacts& file : files) {
        if (!path.empty() && IsSameFile(file.path, path)) {
            path = file.path;
            return;
        }
    }
}

} // namespace

Facts GatherFacts() {
    Facts facts;
    facts.toolVersion = NUVOLEX_DOCTOR_VERSION;
    facts.elevated = IsElevated();
    facts.user = ReadScope(Scope::user);
    facts.machine = ReadScope(Scope::machine);
    AddFiles(facts.user, facts);
    AddFiles(facts.machine, facts);
    facts.typeLibrary = LoadTypeLibrary();
    for (std::size_t i = 0; i < classRows.size(); ++i) {
        facts.classes[i].trial = MayTry(facts, i);
        if (facts.classes[i].IsTried()) {
            facts.classes[i] = CreateAndCall(classRows[i]);
            UseRegisteredSpelling(facts.files, facts.classes[i].servedBy);
        }
    }
    return facts;
}

} // namespace doctor
