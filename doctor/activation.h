/// Use of the registration through COM, which runs the registered code.
#pragma once

#include "doctor/facts.h"

namespace doctor {

/// Initialises COM on this thread as a single-threaded apartment, so that objects are called directly.
class ComApartment {
  public:
    ComApartment();
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
    ~ComApartment();
};

/// Loads and frees a DLL as COM does, which runs its entry point. Returns the system's error code.
[[nodiscard]] DWORD TryToLoad(const std::wstring& path);

/// Looks up the type library by its LIBID, and loads it if the file is ours.
[[nodiscard]] TypeLibraryFacts LoadTypeLibrary();

/// Looks up the class by name, as a script does, creates an object and calls a member. If the name leads to another
/// class, nothing is created.
[[nodiscard]] ClassFacts CreateAndCall(const ClassRow& row);

/// Whether COM ignores the user's classes in this process: its integrity level is higher than medium.
[[nodiscard]] bool IsElevated();

} // namespace doctor
