/// The automation class NXTokenString.
#pragma once

#include "automation/nxobject.h"
#include "core/nktokenstring.h"

/// A string split into tokens by a separator. Positions are 0-based. A new object has no tokens, a null separator, and
/// MultiCharacter is VARIANT_FALSE.
///
/// BSTR arguments are used up to their first NUL; the caller owns BSTR results. Members do not check out-pointers. If
/// out of memory, Separator and Token return E_OUTOFMEMORY and the others raise an exception (late-bound, Invoke
/// returns its HRESULT).
class CNXTokenString : public CNXObject<CNXTokenString, INXTokenString, &CLSID_NXTokenString, &IID_INXTokenString> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// The tokens joined; null without tokens.
    HRESULT STDMETHODCALLTYPE get_Value(BSTR* pVal) override;
    /// Replaces the tokens with those of newVal.
    HRESULT STDMETHODCALLTYPE put_Value(BSTR newVal) override;

    /// The separator; null until set.
    HRESULT STDMETHODCALLTYPE get_Separator(BSTR* pVal) override;
    /// Joins the tokens with the old separator and splits the result at each character of the new one. Sets
    /// MultiCharacter to VARIANT_FALSE, so set that afterwards.
    HRESULT STDMETHODCALLTYPE put_Separator(BSTR newVal) override;

    /// Whether the separator as a whole separates, instead of each of its characters.
    HRESULT STDMETHODCALLTYPE get_MultiCharacter(VARIANT_BOOL* pVal) override;
    /// Joins the tokens in the old mode and splits the result in the new one, even if the mode is the same. Any value
    /// other than VARIANT_TRUE (-1) is taken for VARIANT_FALSE.
    HRESULT STDMETHODCALLTYPE put_MultiCharacter(VARIANT_BOOL newVal) override;

    /// Appends Item unsplit.
    HRESULT STDMETHODCALLTYPE Add(BSTR Item) override;

    HRESULT STDMETHODCALLTYPE get_Count(long* pVal) override;

    /// A copy of token `n`. An invalid index returns E_FAIL with the error record "Index out of bounds!" and leaves
    /// *pVal unchanged.
    HRESULT STDMETHODCALLTYPE get_Token(long n, BSTR* pVal) override;
    /// An IEnumVARIANT over the live tokens, as VT_BSTR. The caller owns it.
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override;

  private:
    CNKTokenString m_tokens;
};
