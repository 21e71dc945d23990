/// The automation class NXTokenString.
#pragma once

#include "automation/nxobject.h"
#include "core/nktokenstring.h"

/// A text split into tokens by a separator. Positions are 0-based. A new object has no tokens, a null separator, and
/// every character of the separator separates.
///
/// BSTR arguments stay the caller's and count up to their first NUL; BSTR results are the caller's own copies. No
/// member tests its out-pointer. When memory runs out, the members raise the exception (called late-bound, Invoke
/// returns its HRESULT), unless only the result's copy failed: that is E_OUTOFMEMORY.
class CNXTokenString : public CNXObject<CNXTokenString, INXTokenString, &CLSID_NXTokenString, &IID_INXTokenString> {
  public:
    static std::span<const CNXMember> Members() noexcept; ///< for late-bound callers

    /// The tokens joined; null without tokens.
    HRESULT STDMETHODCALLTYPE get_Value(BSTR* pVal) override;
    /// Replaces all tokens by those of newVal.
    HRESULT STDMETHODCALLTYPE put_Value(BSTR newVal) override;

    /// The separator; null until one is set.
    HRESULT STDMETHODCALLTYPE get_Separator(BSTR* pVal) override;
    /// Joins the tokens under the old rule and splits the result with the new separator, each of whose characters
    /// separates: MultiCharacter becomes FALSE. A client that wants the whole text as separator sets that afterwards.
    HRESULT STDMETHODCALLTYPE put_Separator(BSTR newVal) override;

    /// VARIANT_TRUE when the whole separator text separates, VARIANT_FALSE when each of its characters does.
    HRESULT STDMETHODCALLTYPE get_MultiCharacter(VARIANT_BOOL* pVal) override;
    /// Only VARIANT_TRUE (-1) counts as true. Joins the tokens under the old mode and splits the result under the new
    /// one, also when the mode stays the same.
    HRESULT STDMETHODCALLTYPE put_MultiCharacter(VARIANT_BOOL newVal) override;

    /// Appends Item as one token, whatever separators it contains.
    HRESULT STDMETHODCALLTYPE Add(BSTR Item) override;

    HRESULT STDMETHODCALLTYPE get_Count(long* pVal) override;

    /// A copy of token `n`. Behind the last, or negative: E_FAIL with the error record "Index out of bounds!", and
    /// *pVal stays as it was.
    HRESULT STDMETHODCALLTYPE get_Token(long n, BSTR* pVal) override;
    /// An IEnumVARIANT over the tokens as they are while it walks, each a VT_BSTR. The caller owns it.
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override;

  private:
    CNKTokenString m_tokens;
};
