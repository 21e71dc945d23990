#include "doctor/json.h"
#include "doctor/report.h"
#include "doctor/text.h"

namespace doctor {

namespace {

void Member(JsonWriter& json, const wchar_t* name, const std::wstring& text) {
    json.Name(name).String(text);
}

/// A string, or null if it is empty.
void OptionalMember(JsonWriter& json, const wchar_t* name, const std::wstring& text) {
    json.Name(name);
    if (text.empty()) {
        json.Null();
    } else {
        json.String(text);
    }
}

const wchar_t* IdOf(Scope scope) noexcept {
    return scope == Scope::user ? L"user" : L"machine";
}

void ScopeMember(JsonWriter& json, const wchar_t* name, std::optional<Scope> scope) {
    OptionalMember(json, name, scope.has_value() ? IdOf(*scope) : L"");
}

/// The names of entries; none without a registration.
template <class Condition>
void EntryNames(JsonWriter& json, const wchar_t* name, const ScopeFacts& scope, Condition condition) {
    json.Name(name).BeginArray();
    for (const EntryFact& fact : scope.entries) {
        if (scope.HasEntries() && fact.entry.required && condition(fact)) {
            json.String(fact.Name());
        }
    }
    json.EndArray();
}

const wchar_t* IdOf(Access32 access) noexcept {
    switch (access) {
    case Access32::inProcess:
        return L"in-process";
    case Access32::surrogate:
        return L"surrogate";
    default:
        return L"none";
    }
}

const wchar_t* StateOf(const ScopeFacts& scope) noexcept {
    if (!scope.HasEntries()) {
        return L"none";
    }
    return scope.IsComplete() ? L"complete" : L"incomplete";
}

void WriteScope(JsonWriter& json, const wchar_t* name, const ScopeFacts& scope) {
    json.Name(name).BeginObject();
    Member(json, L"state", StateOf(scope));
    json.Name(L"files").BeginObject();
    for (std::size_t i = 0; i < classRows.size(); ++i) {
        OptionalMember(json, classRows[i].name, scope.servers[i].value_or(L""));
    }
    json.EndObject();
    EntryNames(json, L"missing", scope, [](const EntryFact& fact) { return fact.IsMissing(); });
    EntryNames(json, L"changed", scope, [](const EntryFact& fact) { return fact.IsChanged(); });
    EntryNames(json, L"denied", scope, [](const EntryFact& fact) { return fact.IsDenied(); });
    Member(json, L"access32", IdOf(scope.access32));
    json.EndObject();
}

void WriteFile(JsonWriter& json, const FileFacts& file) {
    json.BeginObject();
    Member(json, L"path", file.path);
    json.Name(L"error").Number(static_cast<int>(file.error));
    json.Name(L"bits").Number(file.bits);
    OptionalMember(json, L"machine", file.machine);
    OptionalMember(json, L"product", file.product);
    OptionalMember(json, L"version", file.version);
    json.Name(L"isNuvolex").Bool(file.isNuvolex);
    json.Name(L"loadError").Number(static_cast<int>(file.loadError));
    json.EndObject();
}

void WriteClass(JsonWriter& json, const ClassRow& row, const ClassFacts& facts) {
    const auto result = [&json](const wchar_t* name, bool isKnown, HRESULT value) {
        OptionalMember(json, name, isKnown ? FormatResult(value) : L"");
    };
    json.BeginObject();
    Member(json, L"name", row.ProgId());
    Member(json, L"clsid", FormatGuid(*row.clsid));
    json.Name(L"works").Bool(facts.Works());
    result(L"nameResult", facts.IsTried(), facts.nameResult);
    result(L"createResult", facts.IsTried(), facts.result);
    Member(json, L"member", row.member);
    result(L"memberResult", facts.IsTried() && SUCCEEDED(facts.result), facts.memberResult);
    OptionalMember(json, L"servedBy", facts.servedBy);
    json.EndObject();
}

void WriteFacts(JsonWriter& json, const Facts& facts) {
    json.Name(L"facts").BeginObject();
    json.Name(L"elevated").Bool(facts.elevated);
    json.Name(L"registration").BeginObject();
    WriteScope(json, L"user", facts.user);
    WriteScope(json, L"machine", facts.machine);
    ScopeMember(json, L"inUse", facts.Winner());
    json.EndObject();
    json.Name(L"files").BeginArray();
    for (const FileFacts& file : facts.files) {
        WriteFile(json, file);
    }
    json.EndArray();
    json.Name(L"typeLibrary").BeginObject();
    const bool wasLoaded = facts.typeLibrary.file == LibraryFile::ours;
    OptionalMember(json, L"result", wasLoaded ? FormatResult(facts.typeLibrary.result) : L"");
    OptionalMember(json, L"path", facts.typeLibrary.path);
    json.EndObject();
    json.Name(L"classes").BeginArray();
    for (std::size_t i = 0; i < classRows.size(); ++i) {
        WriteClass(json, classRows[i], facts.classes[i]);
    }
    json.EndArray();
    json.EndObject();
}

void WriteFinding(JsonWriter& json, const Finding& finding) {
    json.BeginObject();
    Member(json, L"id", std::wstring(finding.name.begin(), finding.name.end()));
    Member(json, L"severity", finding.severity == Severity::error ? L"error" : L"note");
    ScopeMember(json, L"scope", finding.scope);
    OptionalMember(json, L"subject", finding.subject);
    Member(json, L"text", finding.text);
    Member(json, L"cure", finding.cure);
    json.EndObject();
}

} // namespace

std::wstring JsonReport(const Facts& facts, const std::vector<Finding>& findings) {
    JsonWriter json;
    json.BeginObject();
    json.Name(L"tool").BeginObject();
    Member(json, L"name", L"nuvolex-doctor");
    Member(json, L"version", facts.toolVersion);
    json.EndObject();
    WriteFacts(json, facts);
    json.Name(L"findings").BeginArray();
    for (const Finding& finding : findings) {
        WriteFinding(json, finding);
    }
    json.EndArray();
    Member(json, L"verdict", HasErrors(findings) ? L"faulty" : L"ok");
    json.EndObject();
    return json.Text() + L"\n";
}

} // namespace doctor
