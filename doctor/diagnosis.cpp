#include "doctor/diagnosis.h"

#include "doctor/activation.h"
#include "doctor/files.h"
#include "doctor/registry.h"
#include "doctor/version.h"

namespace doctor {

namespace {

void AddFiles(const ScopeFacts& scope, Facts& facts) {
    for (const std::optional<std::wstring>& path : scope.servers) {
        if (path.has_value() && facts.File(*path) == nullptr) {
            FileFacts& file = facts.files.emplace_back(ReadFile(*path));
            file.loadError = file.isNuvolex && file.machine == L"x64" ? TryToLoad(*path) : DWORD{ERROR_SUCCESS};
        }
    }
}

/// Whether a file that could be loaded for a class is another library. COM's choice between the user's and the
/// machine's entry is not foreseen here: either will do.
bool MayRunForeignCode(const Facts& facts, std::size_t classIndex) {
    for (const Scope scope : scopes) {
        const std::optional<std::wstring>& path = facts.Of(scope).servers[classIndex];
        const FileFacts* const file = path.has_value() ? facts.File(*path) : nullptr;
        if (file != nullptr && file->error == ERROR_SUCCESS && !file->isNuvolex) {
            return true;
        }
    }
    return false;
}

/// The loader may spell a path in another way than the registry, for example without short names.
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
        if (!MayRunForeignCode(facts, i)) {
            facts.classes[i] = CreateAndCall(classRows[i]);
            UseRegisteredSpelling(facts.files, facts.classes[i].servedBy);
        }
    }
    return facts;
}

} // namespace doctor
