/// What COM does with the registration: it runs the registered code.
#pragma once

#include "doctor/facts.h"

namespace doctor {

/// Keeps COM ready on this thread, as a single-threaded apartment: objects of the library are then called directly.
class ComApartment {
  public:
    ComApartment();
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
    ~ComApartment();
};

/// Loads a library as COM does, runs its start-up code and releases it. Returns the system's error code.
[[nodiscard]] DWORD TryToLoad(const std::wstring& path);

/// Looks up the type library by its identifier, and loads it if its file is ours.
[[nodiscard]] TypeLibraryFacts LoadTypeLibrary();

/// Looks up the name of the class, as a script does, creates an object of the class and calls one member. If the name
/// leads to another class, nothing is created.
[[nodiscard]] ClassFacts CreateAndCall(const ClassRow& row);

/// Whether COM ignores the user's classes in this process: its integrity level is higher than medium.
[[nodiscard]] bool IsElevated();

} // namespace doctor
