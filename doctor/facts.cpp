#include "doctor/facts.h"

#include <algorithm>

#include "doctor/files.h"
#include "doctor/text.h"

namespace doctor {

bool EntryFact::IsChanged() const noexcept {
    const bool unreadable = status != ERROR_SUCCESS && !IsMissing() && !IsDenied(); // a value of the wrong type
    if (entry.kind == EntryKind::serverPath && status == ERROR_SUCCESS) {
        return !IsFullPath(value); // the loader would search for it
    }
    return unreadable || (entry.kind == EntryKind::text && status == ERROR_SUCCESS && !EqualNoCase(value, entry.value));
}

std::wstring EntryFact::Name() const {
    return entry.name.empty() ? entry.key : entry.key + L" [" + entry.name + L"]";
}

bool ScopeFacts::HasEntries() const noexcept {
    return std::any_of(entries.begin(), entries.end(),
                       [](const EntryFact& fact) { return fact.entry.required && !fact.IsMissing(); });
}

bool ScopeFacts::IsComplete() const noexcept {
    return std::all_of(entries.begin(), entries.end(), [](const EntryFact& fact) {
        return !fact.entry.required || (fact.status == ERROR_SUCCESS && !fact.IsChanged());
    });
}

bool FileFacts::IsMissing() const noexcept {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

const FileFacts* Facts::File(const std::wstring& path) const noexcept {
    const auto found = std::find_if(files.begin(), files.end(),
                                    [&path](const FileFacts& file) { return EqualNoCase(file.path, path); });
    return found == files.end() ? nullptr : &*found;
}

std::optional<Scope> Facts::WinnerOf(std::size_t classIndex) const noexcept {
    if (!elevated && user.servers[classIndex].has_value()) {
        return Scope::user;
    }
    return machine.servers[classIndex].has_value() ? std::optional(Scope::machine) : std::nullopt;
}

std::optional<Scope> Facts::Winner() const noexcept {
    for (std::size_t i = 0; i < classRows.size(); ++i) {
        if (const std::optional<Scope> winner = WinnerOf(i); winner.has_value()) {
            return winner;
        }
    }
    return std::nullopt;
}

} // namespace doctor
