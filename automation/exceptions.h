/// How the core's exceptions become HRESULTs.
#pragma once

#include "core/nkstring.h"

/// The HRESULT that stands for the exception being handled: the one a _com_error carries, E_OUTOFMEMORY for
/// std::bad_alloc, E_UNEXPECTED for anything else. To be called in a catch block. The thread's error record goes: an
/// earlier failure's must not be taken for this one's.
[[nodiscard]] HRESULT HResultOfCurrentException() noexcept;

/// Gives the caller a copy of `text` in *pbsCopy, byte for byte, null for a null string. When memory runs out, the
/// result is E_OUTOFMEMORY and *pbsCopy stays as it was.
HRESULT CopyText(const CNKString& text, BSTR* pbsCopy) noexcept;

/// The same for a `text` that is not needed any more: one that nothing else shares goes to the caller without a copy.
HRESULT HandOver(CNKString&& text, BSTR* pbsCopy) noexcept;
