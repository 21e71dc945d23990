/// What the diagnosis finds out about this machine, as plain data.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include "doctor/classes.h"
#include "doctor/entries.h"

namespace doctor {

/// An entry of the table, and what the registry has for it.
struct EntryFact {
    Entry entry;
    LSTATUS status = ERROR_SUCCESS; ///< of reading it; ERROR_FILE_NOT_FOUND if it is missing
    std::wstring value;

    [[nodiscard]] bool IsMissing() const noexcept { return status == ERROR_FILE_NOT_FOUND; }
    [[nodiscard]] bool IsDenied() const noexcept { return status == ERROR_ACCESS_DENIED; }
    [[nodiscard]] bool IsChanged() const noexcept;
    /// "CLSID\{...}\InprocServer32 [ThreadingModel]".
    [[nodiscard]] std::wstring Name() const;
};

/// How 32-bit programs use a class.
enum class Access32 {
    none,
    inProcess, ///< an InprocServer32 entry in their view, which does not work with a 64-bit DLL
    surrogate, ///< through the system's surrogate process
};

/// The registration of the user or of the machine.
struct ScopeFacts {
    std::vector<EntryFact> entries;
    std::array<std::optional<std::wstring>, classRows.size()> servers; ///< the file of each class
    std::array<bool, classRows.size()> treatAs = {};                   ///< whether another class replaces it
    Access32 access32 = Access32::none;                                ///< of the first class

    /// Whether there is an entry that 64-bit programs see, readable or not.
    [[nodiscard]] bool HasEntries() const noexcept;
    /// Whether all required entries are correct.
    [[nodiscard]] bool IsComplete() const noexcept;
};

/// A file that the registry names.
struct FileFacts {
    std::wstring path;
    DWORD error = ERROR_SUCCESS;     ///< of opening it
    bool isFolder = false;           ///< and so could not be opened
    int bits = 0;                    ///< 64 or 32; 0 if it is not a program file for a known machine
    std::wstring machine;            ///< "x64", "x86", "ARM64"; else empty
    std::wstring version;            ///< "1.0.0.0"; empty if it has no version resource
    std::wstring product;            ///< "Nuvolex"
    bool isNuvolex = false;          ///< by its version resource
    DWORD loadError = ERROR_SUCCESS; ///< of loading it, which is tried only if it is Nuvolex for x64

    [[nodiscard]] bool IsMissing() const noexcept;
};

/// What is at the path of the type library.
enum class LibraryFile { ours, missing, unreadable, foreign };

struct TypeLibraryFacts {
    HRESULT result = E_UNEXPECTED;        ///< of looking it up and, if the file is ours, loading it
    std::wstring path;                    ///< the registered path; empty if there is none
    LibraryFile file = LibraryFile::ours; ///< others are not loaded

    [[nodiscard]] bool Loads() const noexcept { return SUCCEEDED(result) && file == LibraryFile::ours; }
};

/// Whether an object was created, or why not. No code of other libraries is run.
enum class Trial {
    done,
    otherFile,  ///< a registered file is not, or may not be, this library
    redirected, ///< by a TreatAs entry
    otherName,  ///< the name leads to another class
};

/// One class, created by its name as a script does.
struct ClassFacts {
    Trial trial = Trial::otherFile;
    HRESULT nameResult = E_UNEXPECTED;   ///< of looking up the name
    HRESULT result = E_UNEXPECTED;       ///< of creating an object
    HRESULT memberResult = E_UNEXPECTED; ///< of calling ClassRow::member; S_FALSE if its value is wrong
    std::wstring servedBy;               ///< the file whose code the object runs

    [[nodiscard]] bool IsTried() const noexcept { return trial == Trial::done; }
    [[nodiscard]] bool Works() const noexcept { return IsTried() && nameResult == S_OK && memberResult == S_OK; }
};

struct Facts {
    std::wstring toolVersion;
    bool elevated = false; ///< then COM ignores the user's classes
    ScopeFacts user;
    ScopeFacts machine;
    std::vector<FileFacts> files; ///< each file that an InprocServer32 entry has with its full path
    TypeLibraryFacts typeLibrary;
    std::array<ClassFacts, classRows.size()> classes;

    [[nodiscard]] const ScopeFacts& Of(Scope scope) const noexcept { return scope == Scope::user ? user : machine; }
    /// Null if it is in no entry.
    [[nodiscard]] const FileFacts* File(const std::wstring& path) const noexcept;
    /// Whose entry COM uses in this process for a class, as documented; none if there is no entry.
    [[nodiscard]] std::optional<Scope> WinnerOf(std::size_t classIndex) const noexcept;
    /// The same for the first class that has an entry.
    [[nodiscard]] std::optional<Scope> Winner() const noexcept;
};

} // namespace doctor
