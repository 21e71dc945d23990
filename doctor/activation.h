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

/// Loads the type library by its identifier.
[[nodiscard]] TypeLibraryFacts LoadTypeLibrary();

/// Creates an object by the name of its class, as a script does, and calls one member. Without such a name, it is
/// created by its identifier.
[[nodiscard]] ClassFacts CreateAndCall(const ClassRow& row);

/// Whether COM ignores the user's classes in this process: its integrity level is higher than medium.
[[nodiscard]] bool IsElevated();

} // namespace doctor
