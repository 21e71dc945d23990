/// What the diagnosis finds out about this machine. Plain data: no opinion about it.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "doctor/classes.h"
#include "doctor/entries.h"

namespace doctor {

/// An entry of the table, and what the registry has in its place.
struct EntryFact {
    Entry entry;
    LSTATUS status = ERROR_SUCCESS; ///< of reading it; ERROR_FILE_NOT_FOUND when it is missing
    std::wstring value;

    [[nodiscard]] bool IsMissing() const noexcept { return status == ERROR_FILE_NOT_FOUND; }
    [[nodiscard]] bool IsDenied() const noexcept { return status == ERROR_ACCESS_DENIED; }
    [[nodiscard]] bool IsChanged() const noexcept;
    /// "CLSID\{...}\InprocServer32 [ThreadingModel]".
    [[nodiscard]] std::wstring Name() const;
};

/// How 32-bit programs reach a class.
enum class Access32 {
    none,
    inProcess, ///< an InprocServer32 entry of their own, which a 64-bit DLL cannot serve
    surrogate, ///< through the system's surrogate process
};

/// What one of the two places in the registry has.
struct ScopeFacts {
    std::vector<EntryFact> entries;
    std::array<std::optional<std::wstring>, classRows.size()> servers; ///< the file of each class
    std::array<bool, classRows.size()> treatAs = {};                   ///< whether another class takes its place
    Access32 access32 = Access32::none;                                ///< of the first class

    /// Whether there is any entry that 64-bit programs see, or one that may not be read.
    [[nodiscard]] bool HasEntries() const noexcept;
    /// Whether all required entries are there and as they should be.
    [[nodiscard]] bool IsComplete() const noexcept;
};

/// A file that the registry names.
struct FileFacts {
    std::wstring path;
    DWORD error = ERROR_SUCCESS;     ///< of opening it
    bool isFolder = false;           ///< which is why it could not be opened
    int bits = 0;                    ///< 64, 32, or 0 if it is no program file of a known machine
    std::wstring machine;            ///< "x64", "x86", "ARM64"; else empty
    std::wstring version;            ///< "1.0.0.0"; empty if it has no version resource
    std::wstring product;            ///< "Nuvolex"
    bool isNuvolex = false;          ///< whether the version resource says that it is this library
    DWORD loadError = ERROR_SUCCESS; ///< of loading it; not tried unless it is this library for x64

    [[nodiscard]] bool IsMissing() const noexcept;
};

/// What the path of the type library leads to.
enum class LibraryFile { ours, missing, unreadable, foreign };

struct TypeLibraryFacts {
    HRESULT result = E_UNEXPECTED;        ///< of looking it up or, if its file is ours, of loading it
    std::wstring path;                    ///< where the system looks for it; empty if it is not registered
    LibraryFile file = LibraryFile::ours; ///< others are not loaded

    [[nodiscard]] bool Loads() const noexcept { return SUCCEEDED(result) && file == LibraryFile::ours; }
};

/// Whether an object was created, or why not: no code of other libraries is run.
enum class Trial {
    done,
    otherFile,  ///< a registered file is not known to be this library
    redirected, ///< by a TreatAs entry
    otherName,  ///< the name leads to another class
};

/// One class, created by its name as a script does.
struct ClassFacts {
    Trial trial = Trial::otherFile;
    HRESULT nameResult = E_UNEXPECTED;   ///< of looking up the name
    HRESULT result = E_UNEXPECTED;       ///< of creating an object
    HRESULT memberResult = E_UNEXPECTED; ///< of calling ClassRow::member; S_FALSE when its value is wrong
    std::wstring servedBy;               ///< the file whose code the object runs

    [[nodiscard]] bool IsTried() const noexcept { return trial == Trial::done; }
    [[nodiscard]] bool Works() const noexcept { return IsTried() && nameResult == S_OK && memberResult == S_OK; }
};

struct Facts {
    std::wstring toolVersion;
    bool elevated = false; ///< COM ignores the user's classes in such a process
    ScopeFacts user;
    ScopeFacts machine;
    std::vector<FileFacts> files; ///< each file that an InprocServer32 entry names with its full path, once
    TypeLibraryFacts typeLibrary;
    std::array<ClassFacts, classRows.size()> classes;

    [[nodiscard]] const ScopeFacts& Of(Scope scope) const noexcept { return scope == Scope::user ? user : machine; }
    /// Null if no entry names it.
    [[nodiscard]] const FileFacts* File(const std::wstring& path) const noexcept;
    /// Whose entry COM uses in this process for a class, by the documented rule; none if there is no entry.
    [[nodiscard]] std::optional<Scope> WinnerOf(std::size_t classIndex) const noexcept;
    /// The same for the library as a whole: that of the first class that has an entry.
    [[nodiscard]] std::optional<Scope> Winner() const noexcept;
};

} // namespace doctor
