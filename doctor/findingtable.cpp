#include "doctor/findingtable.h"

#include <array>
#include <string_view>
#include <utility>

namespace doctor {

namespace {

struct FindingRow {
    FindingId id;
    const char* name;
    Severity severity;
    const wchar_t* text;
    const wchar_t* cure;
};

// clang-format off
constexpr std::array<FindingRow, 23> findingRows = {{
    {FindingId::notRegistered, "not-registered", Severity::error,
     L"Nuvolex is not registered. Programs get 0x80040154 (class not registered), scripts \"can't create object\".",
     L"Register it: nuvolex-doctor register (as administrator, for all users) or nuvolex-doctor register --user."},
    {FindingId::registeredFor32BitOnly, "registered-for-32-bit-only", Severity::error,
     L"Nuvolex is registered for 32-bit programs only. 64-bit programs get 0x80040154 (class not registered).",
     L"Register the 64-bit library: nuvolex-doctor register or nuvolex-doctor register --user."},
    {FindingId::entriesDamaged, "entries-damaged", Severity::error,
     L"The registration for {scope} is damaged: {detail} The first of them: {subject}",
     L"Register again with nuvolex-doctor register{option}, or remove the rest with nuvolex-doctor unregister{option}."},
    {FindingId::accessDenied, "access-denied", Severity::error,
     L"Access is denied (0x80070005): {subject}",
     L"Ask an administrator for the right to read it (a file: to read and execute; classes: their file and their "
     L"registry keys)."},
    {FindingId::fileMissing, "file-missing", Severity::error,
     L"The file that is registered for {scope} is not there; it was moved, renamed or deleted: {subject}",
     L"Put the file back, or register it where it is now: nuvolex-doctor register{option} \"C:\\Path\\to\\nuvolex.dll\". "
     L"If it is not needed any more: nuvolex-doctor unregister{option}."},
    {FindingId::fileUnreadable, "file-unreadable", Severity::error,
     L"The file that is registered for {scope} cannot be read ({detail}): {subject}",
     L"Check that the drive or network folder is available, or register a copy on a local drive: "
     L"nuvolex-doctor register{option} \"C:\\Path\\to\\nuvolex.dll\"."},
    {FindingId::foreignFile, "foreign-file", Severity::error,
     L"The file that is registered for {scope} is not the Nuvolex library ({detail}). Its code was not run: {subject}",
     L"Find out which program registered it. To register Nuvolex in its place: nuvolex-doctor register{option}."},
    {FindingId::fileUnidentified, "file-unidentified", Severity::error,
     L"The file that is registered for {scope} is damaged, or not the Nuvolex library: it has no version resource. Its "
     L"code was not run: {subject}",
     L"Replace it by the nuvolex.dll of the package, and register that: nuvolex-doctor register{option}."},
    {FindingId::wrongBitness, "wrong-bitness", Severity::error,
     L"The file that is registered for {scope} is not for this kind of program ({detail}, needed: x64). 64-bit programs "
     L"cannot load it: {subject}",
     L"Register the 64-bit library: nuvolex-doctor register{option}."},
    {FindingId::fileNotLoaded, "file-not-loaded", Severity::error,
     L"The file that is registered for {scope} cannot be loaded ({detail}). It is damaged, or something blocks it: "
     L"{subject}",
     L"Replace it by the nuvolex.dll of the package, and register that: nuvolex-doctor register{option}. If that does "
     L"not help, look for a security product or a policy that blocks the library."},
    {FindingId::mixedFiles, "mixed-files", Severity::error,
     L"The classes are registered for {scope} with different files: {detail}",
     L"Register all of them with one file: nuvolex-doctor register{option}."},
    {FindingId::typeLibraryNotRegistered, "type-library-not-registered", Severity::error,
     L"The type library is not registered: 0x8002801D. Programs that need it fail, such as those that call objects of "
     L"another thread or process.",
     L"Register again: nuvolex-doctor register{option}."},
    {FindingId::typeLibraryNotLoaded, "type-library-not-loaded", Severity::error,
     L"The type library is registered but cannot be loaded: {detail}. Its file: {subject}",
     L"Register again: nuvolex-doctor register{option}."},
    {FindingId::userEntriesUnseen, "user-entries-unseen", Severity::error,
     L"Nuvolex is registered for this user only, and this program runs elevated. COM ignores the user's entries in "
     L"elevated programs: they get 0x80040154 (class not registered).",
     L"Start the program without \"Run as administrator\", or register for the machine: nuvolex-doctor register."},
    {FindingId::classNotRegistered, "class-not-registered", Severity::error,
     L"COM reports {detail}, although the entries are there: {subject}",
     L"Register again: nuvolex-doctor register{option}. If that does not help, look for a security product or a policy "
     L"that blocks the library."},
    {FindingId::classNotCreated, "class-not-created", Severity::error,
     L"Objects cannot be created: {detail}. Classes: {subject}",
     L"Replace nuvolex.dll, which may be damaged, and register again: nuvolex-doctor register{option}."},
    {FindingId::memberFailed, "member-failed", Severity::error,
     L"Objects can be created, but a call fails: {detail}. Classes: {subject}",
     L"Replace nuvolex.dll, which may be damaged, and register again: nuvolex-doctor register{option}."},
    {FindingId::servedByOtherFile, "served-by-other-file", Severity::error,
     L"Objects come from another file than the one that is registered ({detail}). Classes: {subject}",
     L"Register again with nuvolex-doctor register{option}, or remove the registration with nuvolex-doctor "
     L"unregister{option}: both remove a TreatAs entry. If there is none, look for an application manifest that redirects "
     L"the class."},
    {FindingId::bothRegistered, "both-registered", Severity::note,
     L"Nuvolex is registered for this user and for the machine. Normal programs of this user use the user's entries "
     L"({subject}), elevated programs, services and other users the machine's ({detail}).",
     L"To use the machine's everywhere: nuvolex-doctor unregister --user."},
    {FindingId::userEntriesOnly, "user-entries-only", Severity::note,
     L"Nuvolex is registered for this user only. Elevated programs, services and other users do not see it.",
     L"If they need it: nuvolex-doctor register (as administrator)."},
    {FindingId::machineEntriesOnly, "machine-entries-only", Severity::note,
     L"Nuvolex is registered for the machine: all users and elevated programs see it. Only an administrator can change "
     L"that.",
     L"To use another file for this user alone: nuvolex-doctor register --user \"C:\\Path\\to\\nuvolex.dll\"."},
    {FindingId::no32BitAccess, "no-32-bit-access", Severity::note,
     L"32-bit programs, such as 32-bit Office and C:\\Windows\\SysWOW64\\cscript.exe, cannot use the library: they get "
     L"0x80040154 (class not registered).",
     L"Use a 64-bit program, or enable 32-bit access through the surrogate process: docs\\install.html says how."},
    {FindingId::surrogateAccess, "surrogate-access", Severity::note,
     L"32-bit programs use the library through the system's surrogate process.",
     L"Nothing to do."},
}};
// clang-format on

/// The text for a placeholder.
std::wstring ValueOf(std::wstring_view name, const FindingDetails& details) {
    if (name == L"scope") {
        return details.scope.has_value() ? NameOf(*details.scope) : L"";
    }
    if (name == L"option") {
        return details.scope == Scope::user ? L" --user" : L"";
    }
    return name == L"subject" ? details.subject : details.detail;
}

/// Replaces the placeholders. Braces in the replacements, for example in a path, are kept.
std::wstring Fill(std::wstring_view pattern, const FindingDetails& details) {
    std::wstring text;
    for (std::size_t from = 0; from < pattern.size();) {
        const std::size_t open = pattern.find(L'{', from);
        if (open == std::wstring_view::npos) {
            return text += pattern.substr(from);
        }
        const std::size_t close = pattern.find(L'}', open);
        text += pattern.substr(from, open - from);
        text += ValueOf(pattern.substr(open + 1, close - open - 1), details);
        from = close + 1;
    }
    return text;
}

const FindingRow& RowOf(FindingId id) {
    return findingRows.at(static_cast<std::size_t>(id));
}

constexpr bool RowsAreInOrder() {
    for (std::size_t i = 0; i < findingRows.size(); ++i) {
        if (findingRows[i].id != static_cast<FindingId>(i)) {
            return false;
        }
    }
    return true;
}
static_assert(RowsAreInOrder());

} // namespace

Finding MakeFinding(FindingId id, FindingDetails details) {
    const FindingRow& row = RowOf(id);
    Finding finding{id, row.name, row.severity, details.scope, L"", Fill(row.text, details), Fill(row.cure, details)};
    finding.subject = std::move(details.subject);
    return finding;
}

const wchar_t* NameOf(Scope scope) noexcept {
    return scope == Scope::user ? L"this user" : L"the machine";
}

} // namespace doctor
