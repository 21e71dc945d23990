/// The automation class NXString.
#pragma once

#include "automation/nxobject.h"
#include "core/nkstring.h"

/// One string that clients set, read, trim and cut into pieces. Positions are 0-based and, like lengths, count UTF-16
/// code units. A new object holds the null string.
///
/// No member tests its out-pointer or leaves an error record. A failure can only be lack of memory: reading Value
/// returns it as E_OUTOFMEMORY, every other member raises it as _com_error (called late-bound, Invoke returns it).
class CNXString : public CNXObject<CNXString, INXString, &CLSID_NXString, &IID_INXString> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// Remove white space at the start, at the end, or both; *pnCount receives the number of code units removed. Text
    /// that is all white space becomes a zero-length one; a null string stays null.
    HRESULT STDMETHODCALLTYPE TrimLeft(int* pnCount) override;
    HRESULT STDMETHODCALLTYPE TrimRight(int* pnCount) override;
    HRESULT STDMETHODCALLTYPE Trim(int* pnCount) override;

    /// The first nLength code units; all of them when nLength is negative or greater than the length. The caller owns
    /// *pbsPart.
    HRESULT STDMETHODCALLTYPE Left(int nLength, BSTR* pbsPart) override;
    /// The last nLength code units; null when nLength is negative or greater than the length (unlike Left). The caller
    /// owns *pbsPart.
    HRESULT STDMETHODCALLTYPE Right(int nLength, BSTR* pbsPart) override;
    /// nLength code units from position nStart, or all to the end when there are fewer or nLength is negative. Null
    /// when nStart is negative or greater than the length. The caller owns *pbsPart.
    HRESULT STDMETHODCALLTYPE Mid(int nStart, int nLength, BSTR* pbsPart) override;

    /// Makes the string null.
    HRESULT STDMETHODCALLTYPE Clear() override;

    /// A copy of the whole string, which the caller owns; null for a null string. E_OUTOFMEMORY leaves *pVal as it was.
    HRESULT STDMETHODCALLTYPE get_Value(BSTR* pVal) override;
    /// Replaces the string by a copy of newVal up to its first NUL; null makes it null.
    HRESULT STDMETHODCALLTYPE put_Value(BSTR newVal) override;

    HRESULT STDMETHODCALLTYPE get_Length(long* pVal) override;

  private:
    template <auto trim> HRESULT TrimWith(int* pnCount);

    CNKString m_text;
};
