/// Gathers the facts.
#pragma once

#include "doctor/facts.h"

namespace doctor {

/// Needs a ComApartment. Creates an object of each class that is registered with our file. Runs no code of other files.
[[nodiscard]] Facts GatherFacts();

} // namespace doctor
