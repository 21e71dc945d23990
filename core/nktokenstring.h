/// The token string of the text library.
#pragma once

#include "core/nkstringlist.h"

/// A text held as the list of its tokens: split at separators when it is set, joined again when it is asked for.
///
///     CNKTokenString path(L"usr;local,bin", L";,", false);
///     path.GetToken(1);                                      // local
///     path.GetValue();                                       // usr;local;bin
///
/// The separator is a set of characters, each of which separates, or, in multi-character mode, one text. Adjacent
/// separators enclose an empty token, and so does a separator at either end; tokens are never trimmed. The tokens are
/// the state: the value is joined anew each time. Positions are 0-based and no position is an error, unless noted.
///
/// Arguments may be parts of the object itself: they are taken as they were before the call. Lack of memory raises
/// _com_error (E_OUTOFMEMORY) or std::bad_alloc. An object that fails while it splits keeps the tokens it has by then.
class CNKTokenString : public CNKStringList {
  public:
    /// No tokens, a null separator, character mode.
    CNKTokenString() noexcept = default;
    CNKTokenString(const CNKString& value, CNKString separator, bool multiCharacter);
    /// Splits all `parts` as one text, with nothing in between: where a part ends is not kept.
    CNKTokenString(const CNKStringList& parts, const CNKString& separator, bool multiCharacter);

    /// Takes the strings of `tokens` as they are, unsplit; separator and mode stay.
    CNKTokenString& operator=(const CNKStringList& tokens);

    /// The tokens joined with the separator (in character mode, with its first character); null without tokens.
    [[nodiscard]] CNKString GetValue() const;
    /// The same as a BSTR that the caller frees.
    [[nodiscard]] BSTR CopyValue() const;
    /// Replaces all tokens by those of `value`. An empty value has none.
    CNKTokenString& SetValue(const CNKString& value);
    /// The same up to the first NUL of `value`, which must not be the text of a token. Copies only the tokens.
    CNKTokenString& SetValue(const wchar_t* value);

    [[nodiscard]] CNKString GetSeparator() const noexcept { return m_separator; }
    [[nodiscard]] bool GetMultiCharacter() const noexcept { return m_multiCharacter; }
    /// Joins the tokens under the old rule and splits the result under the new one. The rule is the new one even when
    /// that split fails.
    CNKTokenString& SetSeparator(const CNKString& separator, bool multiCharacter);
    /// The same with the separator there is.
    CNKTokenString& SetMultiCharacter(bool multiCharacter) { return SetSeparator(m_separator, multiCharacter); }

    /// The number of tokens.
    [[nodiscard]] size_type GetCount() const noexcept { return size(); }
    /// Token `n`; null behind the last.
    [[nodiscard]] CNKString GetToken(size_type n) const noexcept { return GetToken(begin() + Offset(n)); }
    [[nodiscard]] CNKString GetToken(const_iterator pos) const noexcept { return pos != end() ? *pos : CNKString(); }
    [[nodiscard]] CNKString operator[](size_type n) const noexcept { return GetToken(n); }

    /// Appends `token` as one token, whatever separators it contains.
    CNKTokenString& Add(const CNKString& token);
    /// Puts the tokens of `text` before token `n`. Behind the last token there is nothing to split for: there `text`
    /// is appended as one, as by Add.
    CNKTokenString& Insert(size_type n, const CNKString& text);
    /// Removes token `n`, which must exist, and inserts `text` in its place as Insert does.
    CNKTokenString& SetToken(size_type n, const CNKString& text);
    CNKTokenString& SetToken(const_iterator pos, const CNKString& text);

    /// Append, or put before token `n` (behind the last: append), strings as they are, unsplit.
    CNKTokenString& AddList(const CNKStringList& list);
    CNKTokenString& InsertList(size_type n, const CNKStringList& list);
    CNKTokenString& InsertAt(size_type n, const CNKString& token);

  private:
    /// The way from the first token to token `n`, or to the end.
    [[nodiscard]] difference_type Offset(size_type n) const noexcept {
        return static_cast<difference_type>(n < size() ? n : size());
    }
    void Split(const CNKString& value);
    void Split(const wchar_t* begin, const wchar_t* end, const CNKString* shared);

    CNKString m_separator;
    bool m_multiCharacter = false;
};
