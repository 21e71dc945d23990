/// The automation class NXString.
#pragma once

#include "automation/nxobject.h"
#include "core/nkstring.h"

/// A string. Positions are 0-based; positions and lengths count UTF-16 code units. A new object holds the null string.
///
/// Members do not check out-pointers and set no error record. If out of memory, reading Value returns E_OUTOFMEMORY and
/// the others raise _com_error (late-bound, Invoke returns E_OUTOFMEMORY).
class CNXString : public CNXObject<CNXString, INXString, &CLSID_NXString, &IID_INXString> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// Remove white space at the start, at the end, or both; *pnCount receives the number of code units removed. If
    /// there is nothing else, the length becomes zero; a null string stays null.
    HRESULT STDMETHODCALLTYPE TrimLeft(int* pnCount) override;
    HRESULT STDMETHODCALLTYPE TrimRight(int* pnCount) override;
    HRESULT STDMETHODCALLTYPE Trim(int* pnCount) override;

    /// The first nLength code units, or all if nLength is negative or greater than the length. The caller owns
    /// *pbsPart.
    HRESULT STDMETHODCALLTYPE Left(int nLength, BSTR* pbsPart) override;
    /// The last nLength code units. Null if nLength is negative or greater than the length: of "abc", Right(4) is null
    /// and Left(4) is "abc". The caller owns *pbsPart.
    HRESULT STDMETHODCALLTYPE Right(int nLength, BSTR* pbsPart) override;
    /// nLength code units from position nStart, or all to the end if there are fewer or nLength is negative. Null if
    /// nStart is negative or greater than the length: of "abc", Mid(1, -1) is "bc" and Mid(4, 1) is null. The caller
    /// owns *pbsPart.
    HRESULT STDMETHODCALLTYPE Mid(int nStart, int nLength, BSTR* pbsPart) override;

    /// Makes the string null.
    HRESULT STDMETHODCALLTYPE Clear() override;

    /// A copy of the string, which the caller owns; null for a null string. On failure *pVal is unchanged.
    HRESULT STDMETHODCALLTYPE get_Value(BSTR* pVal) override;
    /// Replaces the string with a copy of newVal up to its first NUL, or with null.
    HRESULT STDMETHODCALLTYPE put_Value(BSTR newVal) override;

    HRESULT STDMETHODCALLTYPE get_Length(long* pVal) override;

  private:
    template <auto trim> HRESULT TrimWith(int* pnCount);

    CNKString m_text;
};
