/// The string list of the text library.
#pragma once

#include <vector>

#include "core/nkstring.h"

/// An ordered list of strings, 0-based and without gaps. It is the standard array under a name of its own, which
/// enumerators and copy policies are instantiated for. Elements are handles: copying one shares its text.
class CNKStringList : public std::vector<CNKString> {};
