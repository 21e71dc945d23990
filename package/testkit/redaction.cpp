#include "package/testkit/redaction.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <windows.h>

#include "package/testkit/text.h"

namespace {

std::wstring Variable(const wchar_t* name) {
    std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

std::wstring ComputerName(COMPUTER_NAME_FORMAT format) {
    DWORD size = 0;
    GetComputerNameExW(format, nullptr, &size);
    std::wstring name(size, L'\0');
    return GetComputerNameExW(format, name.data(), &size) != FALSE ? name.substr(0, size) : std::wstring();
}

/// `path` with long or short file names: `Convert` is GetLongPathNameW or GetShortPathNameW.
template <class Function> std::wstring Converted(Function Convert, const std::wstring& path) {
    std::wstring converted(Convert(path.c_str(), nullptr, 0), L'\0');
    converted.resize(Convert(path.c_str(), converted.data(), static_cast<DWORD>(converted.size())));
    return converted;
}

std::wstring InLowerCase(std::wstring text) {
    CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

std::wstring InUpperCase(std::wstring text) {
    CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

char AsciiLower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsSlash(char c) noexcept {
    return c == '\\' || c == '/';
}

bool IsWordCharacter(char c) noexcept {
    const char lower = AsciiLower(c);
    return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9');
}

} // namespace

Redaction::Redaction(const std::filesystem::path& kit) {
    const std::wstring profile = Variable(L"USERPROFILE");
    AddPath(kit.wstring(), "<kit>");
    AddPath(Variable(L"TEMP"), "<temp>");
    AddPath(Variable(L"TMP"), "<temp>");
    AddPath(profile, "<profile>");
    // The folder may be named differently from the user.
    AddName(std::filesystem::path(Converted(GetLongPathNameW, profile)).filename(), "<user>");
    AddName(std::filesystem::path(Converted(GetShortPathNameW, profile)).filename(), "<user>");
    AddName(Variable(L"USERNAME"), "<user>");
    AddName(Variable(L"COMPUTERNAME"), "<computer>");
    AddName(ComputerName(ComputerNameDnsHostname), "<computer>");
    AddName(ComputerName(ComputerNameDnsDomain), "<domain>");
    AddName(Variable(L"USERDOMAIN"), "<domain>"); // the computer's name for a local user
    std::stable_sort(m_rules.begin(), m_rules.end(),
                     [](const Rule& a, const Rule& b) { return a.text.size() > b.text.size(); });
}

std::string Redaction::Apply(const std::string& text) const {
    std::string redacted;
    for (std::size_t i = 0; i < text.size();) {
        const auto rule =
            std::find_if(m_rules.begin(), m_rules.end(), [&](const Rule& each) { return Match(each, text, i) != 0; });
        if (rule == m_rules.end()) {
            redacted += text[i++];
        } else {
            redacted += rule->placeholder;
            i += Match(*rule, text, i);
        }
    }
    return redacted;
}

std::size_t Redaction::Match(const Rule& rule, const std::string& text, std::size_t position) noexcept {
    std::size_t end = position;
    for (const char c : rule.text) {
        if (end == text.size() || (AsciiLower(text[end]) != c && !(IsSlash(c) && IsSlash(text[end])))) {
            return 0;
        }
        ++end;
        if (IsSlash(c) && end < text.size() && text[end] == '\\') {
            ++end; // doubled, as in JSON
        }
    }
    const bool isPartOfWord =
        (position > 0 && IsWordCharacter(text[position - 1])) || (end < text.size() && IsWordCharacter(text[end]));
    return rule.isName && isPartOfWord ? 0 : end - position;
}

void Redaction::AddPath(const std::wstring& path, const std::string& placeholder) {
    for (std::wstring form : {path, Converted(GetLongPathNameW, path), Converted(GetShortPathNameW, path)}) {
        while (form.ends_with(L'\\') || form.ends_with(L'/')) {
            form.pop_back();
        }
        AddRules(form, placeholder, false);
    }
}

void Redaction::AddName(const std::wstring& name, const std::string& placeholder) {
    AddRules(name, placeholder, true);
}

void Redaction::AddRules(const std::wstring& text, const std::string& placeholder, bool isName) {
    // The comparison folds the case of ASCII letters only.
    for (const std::wstring& form : {text, InLowerCase(text), InUpperCase(text)}) {
        for (const UINT codePage : {static_cast<UINT>(CP_UTF8), GetACP(), GetOEMCP()}) {
            // Paths are printed with "?" for characters missing in the code page. A name might become only "?".
            Rule rule = {Narrow(form, codePage, !isName), placeholder, isName};
            std::transform(rule.text.begin(), rule.text.end(), rule.text.begin(), AsciiLower);
            const bool isKnown =
                std::any_of(m_rules.begin(), m_rules.end(), [&](const Rule& each) { return each.text == rule.text; });
            if (!rule.text.empty() && !isKnown) {
                m_rules.push_back(std::move(rule));
            }
        }
    }
}
