/// The token string of the core library.
#pragma once

#include "core/nkstringlist.h"

/// A string held as the list of its tokens. Setting the value splits it, getting it joins the tokens.
///
///     CNKTokenString path(L"usr;local,bin", L";,", false);
///     path.GetToken(1);                                      // local
///     path.GetValue();                                       // usr;local;bin
///
/// Each character of the separator string is a separator; in multi-character mode the whole string is one. There is an
/// empty token between adjacent separators, and before or after one at the start or end. Tokens are never trimmed.
/// Positions are 0-based, and any position is valid unless noted.
///
/// Arguments may be parts of the object itself. Out of memory raises _com_error (E_OUTOFMEMORY) or std::bad_alloc; if
/// splitting fails, the object keeps the tokens split so far.
class CNKTokenString : public CNKStringList {
  public:
    /// No tokens, a null separator, not in multi-character mode.
    CNKTokenString() noexcept = default;
    CNKTokenString(const CNKString& value, CNKString separator, bool multiCharacter);
    /// Splits the concatenation of all `parts`.
    CNKTokenString(const CNKStringList& parts, const CNKString& separator, bool multiCharacter);

    /// Replaces the tokens with the strings of `tokens`, unsplit. Keeps separator and mode.
    CNKTokenString& operator=(const CNKStringList& tokens);

    /// The tokens, joined with the first character of the separator; in multi-character mode with all of it. Null
    /// without tokens.
    [[nodiscard]] CNKString GetValue() const;
    /// The same as a BSTR that the caller frees.
    [[nodiscard]] BSTR CopyValue() const;
    /// Replaces the tokens with those of `value`. A value of length zero has none.
    CNKTokenString& SetValue(const CNKString& value);
    /// The same up to the first NUL of `value`, which must not point into a token. Does not copy `value`.
    CNKTokenString& SetValue(const wchar_t* value);

    [[nodiscard]] CNKString GetSeparator() const noexcept { return m_separator; }
    [[nodiscard]] bool GetMultiCharacter() const noexcept { return m_multiCharacter; }
    /// Joins the tokens with the old separator and splits the result with the new one. If splitting fails, the new
    /// separator stays.
    CNKTokenString& SetSeparator(const CNKString& separator, bool multiCharacter);
    /// The same with the current separator.
    CNKTokenString& SetMultiCharacter(bool multiCharacter) { return SetSeparator(m_separator, multiCharacter); }

    /// The number of tokens.
    [[nodiscard]] size_type GetCount() const noexcept { return size(); }
    /// Token `n`; null after the last.
    [[nodiscard]] CNKString GetToken(size_type n) const noexcept { return GetToken(begin() + Offset(n)); }
    [[nodiscard]] CNKString GetToken(const_iterator pos) const noexcept { return pos != end() ? *pos : CNKString(); }
    [[nodiscard]] CNKString operator[](size_type n) const noexcept { return GetToken(n); }

    /// Appends `token` unsplit.
    CNKTokenString& Add(const CNKString& token);
    /// Splits `text` and inserts its tokens before token `n`. After the last token `text` is appended unsplit.
    ///
    ///     CNKTokenString path(L"usr;local", L";", false);
    ///     path.Insert(1, L"a;b"); // usr a b local: 4 tokens
    ///     path.Insert(4, L"c;d"); // one more token: "c;d"
    CNKTokenString& Insert(size_type n, const CNKString& text);
    /// Removes token `n`, which must exist, and then calls Insert.
    CNKTokenString& SetToken(size_type n, const CNKString& text);
    CNKTokenString& SetToken(const_iterator pos, const CNKString& text);

    /// Append strings, or insert them before token `n`, unsplit.
    CNKTokenString& AddList(const CNKStringList& list);
    CNKTokenString& InsertList(size_type n, const CNKStringList& list);
    CNKTokenString& InsertAt(size_type n, const CNKString& token);

  private:
    /// The offset of token `n`, or of the end, from begin().
    [[nodiscard]] difference_type Offset(size_type n) const noexcept {
        return static_cast<difference_type>(n < size() ? n : size());
    }
    void Split(const CNKString& value);
    void Split(const wchar_t* begin, const wchar_t* end, const CNKString* shared);

    CNKString m_separator;
    bool m_multiCharacter = false;
};
