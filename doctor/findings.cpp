#include "doctor/findings.h"

#include <algorithm>
#include <array>
#include <utility>

#include "doctor/findingtable.h"
#include "doctor/text.h"

namespace doctor {

namespace {

/// Collects the findings. The order of the calls in Judge matters: consequences of a fault are not reported.
class Judgement {
  public:
    explicit Judgement(const Facts& facts) : m_facts(facts) {}

    void JudgePresence();
    void JudgeEntries(Scope scope);
    void JudgeFiles(Scope scope);
    void JudgeTypeLibrary();
    void JudgeClasses();
    void AddNotes();

    [[nodiscard]] bool IsRegistered() const noexcept {
        return m_facts.user.HasEntries() || m_facts.machine.HasEntries();
    }
    [[nodiscard]] std::vector<Finding> Take();

  private:
    /// Classes that fail in the same way.
    struct Failure {
        FindingId id;
        std::wstring detail;
        std::optional<Scope> scope;
        std::vector<std::wstring> classes;
    };

    void Add(FindingId id, FindingDetails details = {}) { m_findings.push_back(MakeFinding(id, std::move(details))); }
    void JudgeFile(Scope scope, const FileFacts& file);
    void AddFailure(FindingId id, const std::wstring& detail, std::optional<Scope> scope, std::size_t classIndex);
    void JudgeUntried(std::size_t classIndex);
    void JudgeClass(std::size_t classIndex);
    [[nodiscard]] bool IsExplained(std::size_t classIndex) const noexcept;
    [[nodiscard]] bool LacksOnlyTypeLibrary(const ScopeFacts& scope) const;
    [[nodiscard]] bool IsRegisteredFile(const std::wstring& path) const noexcept {
        return m_facts.File(path) != nullptr;
    }
    [[nodiscard]] bool& FilesBroken(Scope scope) noexcept { return m_filesBroken[static_cast<std::size_t>(scope)]; }
    [[nodiscard]] bool& EntriesBroken(Scope scope) noexcept { return m_entriesBroken[static_cast<std::size_t>(scope)]; }

    const Facts& m_facts;
    std::vector<Finding> m_findings;
    std::vector<Failure> m_failures;
    std::array<bool, scopes.size()> m_filesBroken = {};
    std::array<bool, scopes.size()> m_entriesBroken = {};
    bool m_unseen = false; ///< the user's entries are ignored in this elevated process
};

bool IsFault(const EntryFact& fact) noexcept {
    return fact.entry.required && (fact.IsMissing() || fact.IsChanged());
}

/// The file of the first class that has an entry.
std::wstring FirstServer(const ScopeFacts& scope) {
    for (const std::optional<std::wstring>& path : scope.servers) {
        if (path.has_value()) {
            return *path;
        }
    }
    return L"no file";
}

/// The different files of a scope, each once.
std::vector<std::wstring> DistinctServers(const ScopeFacts& scope) {
    std::vector<std::wstring> paths;
    for (const std::optional<std::wstring>& path : scope.servers) {
        const bool isNew = path.has_value() && std::none_of(paths.begin(), paths.end(), [&path](const auto& known) {
                               return EqualNoCase(known, *path);
                           });
        if (isNew) {
            paths.push_back(*path);
        }
    }
    return paths;
}

void Judgement::JudgePresence() {
    if (!IsRegistered()) {
        const bool for32Bit =
            m_facts.user.access32 == Access32::inProcess || m_facts.machine.access32 == Access32::inProcess;
        Add(for32Bit ? FindingId::registeredFor32BitOnly : FindingId::notRegistered);
        return;
    }
    const bool allWork = std::all_of(m_facts.classes.begin(), m_facts.classes.end(),
                                     [](const ClassFacts& facts) { return facts.Works(); });
    m_unseen = m_facts.elevated && m_facts.user.HasEntries() && !m_facts.machine.HasEntries() && !allWork;
    if (m_unseen) {
        Add(FindingId::userEntriesUnseen);
    }
}

bool Judgement::LacksOnlyTypeLibrary(const ScopeFacts& scope) const {
    return m_facts.typeLibrary.result == TYPE_E_LIBNOTREGISTERED &&
           std::all_of(scope.entries.begin(), scope.entries.end(), [](const EntryFact& fact) {
               return !IsFault(fact) || fact.entry.key.starts_with(L"TypeLib\\");
           });
}

void Judgement::JudgeEntries(Scope scope) {
    const ScopeFacts& facts = m_facts.Of(scope);
    if (!facts.HasEntries()) {
        return;
    }
    const auto denied =
        std::find_if(facts.entries.begin(), facts.entries.end(), [](const EntryFact& fact) { return fact.IsDenied(); });
    if (denied != facts.entries.end()) {
        EntriesBroken(scope) = true;
        Add(FindingId::accessDenied, {scope, L"registry key " + denied->entry.key, L""});
    }
    const auto first = std::find_if(facts.entries.begin(), facts.entries.end(), IsFault);
    if (first == facts.entries.end() || (LacksOnlyTypeLibrary(facts) && !m_unseen)) {
        return;
    }
    EntriesBroken(scope) = true;
    const auto count = [&facts](auto condition) {
        return std::count_if(facts.entries.begin(), facts.entries.end(), condition);
    };
    const auto missing = count([](const EntryFact& fact) { return fact.entry.required && fact.IsMissing(); });
    const auto changed = count([](const EntryFact& fact) { return fact.entry.required && fact.IsChanged(); });
    const auto all = count([](const EntryFact& fact) { return fact.entry.required; });
    std::vector<std::wstring> faults;
    for (const auto& [number, what] : {std::pair(missing, L"missing"), std::pair(changed, L"changed")}) {
        if (number > 0) {
            faults.push_back(std::to_wstring(number) + (number == 1 ? L" is " : L" are ") + what);
        }
    }
    Add(FindingId::entriesDamaged,
        {scope, first->Name(), L"of " + std::to_wstring(all) + L" entries, " + Join(faults, L" and ") + L"."});
}

void Judgement::JudgeFile(Scope scope, const FileFacts& file) {
    if (file.IsMissing()) {
        Add(FindingId::fileMissing, {scope, file.path, L""});
    } else if (file.isFolder) {
        Add(FindingId::fileUnreadable, {scope, file.path, L"it is a folder"});
    } else if (file.error == ERROR_ACCESS_DENIED || file.loadError == ERROR_ACCESS_DENIED) {
        Add(FindingId::accessDenied, {scope, file.path, L""});
    } else if (file.error != ERROR_SUCCESS) {
        Add(FindingId::fileUnreadable, {scope, file.path, L"error " + std::to_wstring(file.error)});
    } else if (!file.isNuvolex && file.version.empty()) {
        Add(FindingId::fileUnidentified, {scope, file.path, L""});
    } else if (!file.isNuvolex) {
        Add(FindingId::foreignFile,
            {scope, file.path, file.product.empty() ? L"product unknown" : L"product: " + file.product});
    } else if (file.machine != L"x64") {
        Add(FindingId::wrongBitness, {scope, file.path, file.machine.empty() ? L"unknown" : file.machine});
    } else if (file.loadError != ERROR_SUCCESS) {
        Add(FindingId::fileNotLoaded, {scope, file.path, DescribeResult(HRESULT_FROM_WIN32(file.loadError))});
    } else {
        return;
    }
    FilesBroken(scope) = true;
}

void Judgement::JudgeFiles(Scope scope) {
    const std::vector<std::wstring> paths = DistinctServers(m_facts.Of(scope));
    for (const std::wstring& path : paths) {
        if (const FileFacts* const file = m_facts.File(path); file != nullptr) {
            JudgeFile(scope, *file);
        }
    }
    if (paths.size() > 1) {
        Add(FindingId::mixedFiles, {scope, L"", Join(paths, L"; ")});
    }
}

/// Why the type library does not load.
std::wstring ReasonOf(const TypeLibraryFacts& library) {
    switch (library.file) {
    case LibraryFile::missing:
        return L"programs get " + DescribeResult(TYPE_E_CANTLOADLIBRARY) + L", because its file is not there";
    case LibraryFile::unreadable:
        return L"its file cannot be read";
    case LibraryFile::foreign:
        return L"its file is not the Nuvolex library and was not loaded";
    default:
        return DescribeResult(library.result);
    }
}

void Judgement::JudgeTypeLibrary() {
    const TypeLibraryFacts& library = m_facts.typeLibrary;
    const std::optional<Scope> scope = m_facts.Winner();
    if (library.Loads() || m_unseen || (scope.has_value() && FilesBroken(*scope))) {
        return;
    }
    if (library.result == TYPE_E_LIBNOTREGISTERED) {
        Add(FindingId::typeLibraryNotRegistered, {scope, L"", L""});
    } else {
        Add(FindingId::typeLibraryNotLoaded, {scope, library.path, ReasonOf(library)});
    }
}

bool Judgement::IsExplained(std::size_t classIndex) const noexcept {
    const auto isBroken = [this](std::size_t scope) { return m_filesBroken[scope] || m_entriesBroken[scope]; };
    const std::optional<Scope> winner = m_facts.WinnerOf(classIndex);
    return m_unseen || (winner.has_value() ? isBroken(static_cast<std::size_t>(*winner)) : isBroken(0) || isBroken(1));
}

void Judgement::AddFailure(FindingId id, const std::wstring& detail, std::optional<Scope> scope,
                           std::size_t classIndex) {
    const auto known = std::find_if(m_failures.begin(), m_failures.end(), [&](const Failure& failure) {
        return failure.id == id && failure.detail == detail && failure.scope == scope;
    });
    Failure& failure = known != m_failures.end() ? *known : m_failures.emplace_back(Failure{id, detail, scope, {}});
    failure.classes.push_back(classRows[classIndex].ProgId());
}

/// A file that is not ours was reported before.
void Judgement::JudgeUntried(std::size_t classIndex) {
    const Trial trial = m_facts.classes[classIndex].trial;
    if (trial == Trial::redirected) {
        const Scope scope = m_facts.user.treatAs[classIndex] ? Scope::user : Scope::machine;
        AddFailure(FindingId::servedByOtherFile, std::wstring(L"a TreatAs entry for ") + NameOf(scope), scope,
                   classIndex);
    } else if (trial == Trial::otherName) {
        AddFailure(FindingId::servedByOtherFile, L"the name leads to another class", m_facts.WinnerOf(classIndex),
                   classIndex);
    }
}

void Judgement::JudgeClass(std::size_t classIndex) {
    const ClassFacts& facts = m_facts.classes[classIndex];
    if (IsExplained(classIndex)) {
        return;
    }
    const auto add = [&](FindingId id, HRESULT result) {
        AddFailure(id, DescribeResult(result), m_facts.WinnerOf(classIndex), classIndex);
    };
    if (!facts.IsTried()) {
        JudgeUntried(classIndex);
    } else if (facts.result == REGDB_E_CLASSNOTREG) {
        add(FindingId::classNotRegistered, facts.result);
    } else if (facts.result == E_ACCESSDENIED) {
        add(FindingId::accessDenied, facts.result);
    } else if (FAILED(facts.result)) {
        add(FindingId::classNotCreated, facts.result);
    } else if (!IsRegisteredFile(facts.servedBy)) {
        AddFailure(FindingId::servedByOtherFile, facts.servedBy, m_facts.WinnerOf(classIndex), classIndex);
    } else if (facts.memberResult != S_OK) {
        add(FindingId::memberFailed, facts.memberResult);
    } else if (facts.nameResult != S_OK) {
        add(FindingId::classNotRegistered, facts.nameResult);
    }
}

void Judgement::JudgeClasses() {
    for (std::size_t i = 0; i < classRows.size(); ++i) {
        JudgeClass(i);
    }
    for (const Failure& failure : m_failures) {
        Add(failure.id, {failure.scope, Join(failure.classes, L", "), failure.detail});
    }
}

void Judgement::AddNotes() {
    const bool user = m_facts.user.HasEntries();
    const bool machine = m_facts.machine.HasEntries();
    if (user && machine) {
        Add(FindingId::bothRegistered, {std::nullopt, FirstServer(m_facts.user), FirstServer(m_facts.machine)});
    } else if (machine) {
        Add(FindingId::machineEntriesOnly, {Scope::machine, L"", L""});
    } else if (!m_unseen) {
        Add(FindingId::userEntriesOnly, {Scope::user, L"", L""});
    }
    const auto has = [this](Access32 access) {
        return m_facts.user.access32 == access || m_facts.machine.access32 == access;
    };
    if (has(Access32::surrogate)) {
        Add(FindingId::surrogateAccess);
    } else if (!has(Access32::inProcess)) {
        Add(FindingId::no32BitAccess);
    }
}

std::vector<Finding> Judgement::Take() {
    std::stable_sort(m_findings.begin(), m_findings.end(),
                     [](const Finding& left, const Finding& right) { return left.id < right.id; });
    return std::move(m_findings);
}

} // namespace

std::vector<Finding> Judge(const Facts& facts) {
    Judgement judgement(facts);
    judgement.JudgePresence();
    if (judgement.IsRegistered()) {
        for (const Scope scope : scopes) {
            judgement.JudgeEntries(scope);
            judgement.JudgeFiles(scope);
        }
        judgement.JudgeTypeLibrary();
        judgement.JudgeClasses();
        judgement.AddNotes();
    }
    return judgement.Take();
}

bool HasErrors(const std::vector<Finding>& findings) noexcept {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.severity == Severity::error; });
}

} // namespace doctor
