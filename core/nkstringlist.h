/// The string list of the core library.
#pragma once

#include <vector>

#include "core/nkstring.h"

/// A list of strings. Copying an element shares its text.
class CNKStringList : public std::vector<CNKString> {};
