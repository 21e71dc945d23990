/// Calls to the core that return an HRESULT instead of raising an exception.
#pragma once

#include "core/nkstring.h"

/// Stores a copy of `text`, byte for byte, in *pbsCopy; null for a null string. The caller frees it. If out of memory,
/// returns E_OUTOFMEMORY and leaves *pbsCopy unchanged.
HRESULT CopyToBstr(const CNKString& text, BSTR* pbsCopy) noexcept;
