#include <algorithm>

#include "doctor/report.h"
#include "doctor/text.h"

namespace doctor {

namespace {

std::wstring Line(const std::wstring& text) {
    return text + L"\n";
}

/// A line of two columns.
std::wstring Row(std::wstring name, const std::wstring& value) {
    constexpr std::size_t width = 29;
    name.resize(std::max(width, name.size() + 1), L' ');
    return Line(L"  " + name + value);
}

std::wstring TextOfScope(const ScopeFacts& scope) {
    if (!scope.HasEntries()) {
        return L"not registered";
    }
    const auto first =
        std::find_if(scope.servers.begin(), scope.servers.end(), [](const auto& path) { return path.has_value(); });
    const std::wstring path = first != scope.servers.end() ? **first : L"no file";
    return scope.IsComplete() ? path : path + L" (incomplete)";
}

std::wstring TextOfFile(const FileFacts& file) {
    if (file.isFolder) {
        return L"a folder, not a file";
    }
    if (file.error != ERROR_SUCCESS) {
        return file.IsMissing() ? L"not there" : L"cannot be read (error " + std::to_wstring(file.error) + L")";
    }
    const std::wstring product = file.isNuvolex ? L"Nuvolex" : L"not Nuvolex";
    const std::wstring bits =
        file.bits == 0 ? L"not a program file" : std::to_wstring(file.bits) + L"-bit (" + file.machine + L")";
    const std::wstring load =
        file.loadError == ERROR_SUCCESS ? L"" : L", cannot be loaded (error " + std::to_wstring(file.loadError) + L")";
    return product + (file.version.empty() ? L"" : L" " + file.version) + L", " + bits + load;
}

std::wstring TextOfClass(const ClassFacts& facts, const wchar_t* member) {
    switch (facts.trial) {
    case Trial::otherFile:
        return L"not tried: its file is not, or may not be, the Nuvolex library";
    case Trial::redirected:
        return L"not tried: a TreatAs entry redirects it";
    case Trial::otherName:
        return L"not tried: its name leads to another class";
    default:
        break;
    }
    if (FAILED(facts.result)) {
        return L"cannot be created: " + DescribeResult(facts.result);
    }
    if (facts.memberResult != S_OK) {
        return L"created, but " + std::wstring(member) + L" fails: " + DescribeResult(facts.memberResult);
    }
    return facts.nameResult == S_OK ? L"works" : L"works, but not by its name: " + DescribeResult(facts.nameResult);
}

std::wstring TextOfTypeLibrary(const TypeLibraryFacts& library) {
    if (library.file != LibraryFile::ours) {
        return L"not loaded: its file is not, or may not be, the Nuvolex library: " + library.path;
    }
    return SUCCEEDED(library.result) ? L"loads: " + library.path : DescribeResult(library.result);
}

std::wstring TextOfWinner(const Facts& facts) {
    const std::optional<Scope> winner = facts.Winner();
    const std::wstring name = winner.has_value() ? NameOf(*winner) : L"nobody";
    return L"the entries for " + name + (facts.elevated ? L" (this program runs elevated)" : L"");
}

std::wstring Section(const wchar_t* title, const std::vector<Finding>& findings, Severity severity) {
    std::wstring text;
    for (const Finding& finding : findings) {
        if (finding.severity == severity) {
            const std::wstring id(finding.name.begin(), finding.name.end());
            text += Line(L"  [" + id + L"] " + finding.text) + Line(L"    What to do: " + finding.cure);
        }
    }
    return text.empty() ? text : Line(L"") + Line(title) + text;
}

std::wstring Verdict(const std::vector<Finding>& findings) {
    const auto count = std::count_if(findings.begin(), findings.end(),
                                     [](const Finding& finding) { return finding.severity == Severity::error; });
    if (count == 0) {
        return L"Verdict: all is well. Nuvolex is registered, and all classes work.";
    }
    return L"Verdict: something is wrong (" + std::to_wstring(count) + (count == 1 ? L" fault" : L" faults") +
           L"). See above for what to do.";
}

} // namespace

std::wstring TextOfFindings(const std::vector<Finding>& findings) {
    return Section(L"Faults", findings, Severity::error) + Section(L"Notes", findings, Severity::note);
}

std::wstring TextReport(const Facts& facts, const std::vector<Finding>& findings) {
    std::wstring text = Line(L"Nuvolex doctor " + facts.toolVersion) + Line(L"");
    text += Line(L"Registration for 64-bit programs");
    text += Row(L"for this user", TextOfScope(facts.user));
    text += Row(L"for the machine", TextOfScope(facts.machine));
    if (facts.Winner().has_value()) {
        text += Row(L"in use here", TextOfWinner(facts));
    }
    if (!facts.files.empty()) {
        text += Line(L"") + Line(L"Files");
    }
    for (const FileFacts& file : facts.files) {
        text += Line(L"  " + file.path) + Line(L"    " + TextOfFile(file));
    }
    text += Line(L"") + Line(L"Type library");
    text += Line(L"  " + TextOfTypeLibrary(facts.typeLibrary));
    text += Line(L"") + Line(L"Classes");
    for (std::size_t i = 0; i < classRows.size(); ++i) {
        text += Row(classRows[i].ProgId(), TextOfClass(facts.classes[i], classRows[i].member));
    }
    return text + TextOfFindings(findings) + Line(L"") + Line(Verdict(findings));
}

} // namespace doctor
