/// Gathers all facts.
#pragma once

#include "doctor/facts.h"

namespace doctor {

/// Needs a ComApartment. Creates each class whose registered file is this library; the code of other files is not run.
[[nodiscard]] Facts GatherFacts();

} // namespace doctor
