/// Strings for callers that take failures as HRESULTs.
#pragma once

#include "core/nkstring.h"

/// Gives the caller a copy of `text` in *pbsCopy, byte for byte, null for a null string. When memory runs out, the
/// result is E_OUTOFMEMORY and *pbsCopy stays as it was.
HRESULT CopyToBstr(const CNKString& text, BSTR* pbsCopy) noexcept;
