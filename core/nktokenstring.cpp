#include "core/nktokenstring.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace {

/// The strings joined with `joiner`, as a BSTR that the caller frees; null without strings.
BSTR Join(const CNKStringList& strings, std::wstring_view joiner) {
    if (strings.empty()) {
        return nullptr;
    }
    std::size_t length = joiner.size() * (strings.size() - 1);
    for (const CNKString& string : strings) {
        length += string.GetLength();
    }
    const BSTR joined = CNKString::AllocateBstr(nullptr, length);
    wchar_t* to = joined;
    for (const CNKString& string : strings) {
        if (&string != &strings.front()) {
            for (const wchar_t character : joiner) { // usually one: memcpy would be slower
                *to++ = character;
            }
        }
        const std::wstring_view text = string.View();
        to = std::copy(text.begin(), text.end(), to);
    }
    return joined;
}

/// A value to split, not of length zero.
struct Value {
    const wchar_t* begin;    ///< a NUL follows the text
    const wchar_t* end;      ///< null: the first NUL, found only when needed
    const CNKString* shared; ///< a string with that text, or null

    /// The text from `position` on.
    [[nodiscard]] std::wstring_view From(const wchar_t* position) const noexcept {
        return end != nullptr ? std::wstring_view(position, end) : std::wstring_view(position);
    }
};

void Append(std::wstring_view token, CNKStringList& tokens) {
    tokens.emplace_back(token.data(), token.size());
}

void AppendUnsplit(const Value& value, CNKStringList& tokens) {
    if (value.shared != nullptr) {
        tokens.push_back(*value.shared);
    } else {
        Append(value.From(value.begin), tokens);
    }
}

/// Appends the parts of `value` between separators to `tokens`, after counting them to allocate once. `find` returns
/// the next separator at or after a position, or null; it stops at the first NUL. A separator is `width` units wide.
template <class Find> void SplitAt(const Value& value, std::size_t width, CNKStringList& tokens, const Find& find) {
    std::size_t separatorCount = 0;
    for (const wchar_t* p = find(value.begin); p != nullptr; p = find(p + width)) {
        ++separatorCount;
    }
    tokens.reserve(separatorCount + 1);
    if (separatorCount == 0) {
        AppendUnsplit(value, tokens);
        return;
    }
    const wchar_t* token = value.begin;
    for (; separatorCount > 0; --separatorCount) {
        const wchar_t* const separator = find(token);
        Append({token, separator}, tokens);
        token = separator + width;
    }
    Append(value.From(token), tokens);
}

/// Finds a character.
class FindCharacter {
  public:
    explicit FindCharacter(wchar_t character) noexcept : m_character(character) {}
    const wchar_t* operator()(const wchar_t* p) const noexcept {
        while (*p != m_character && *p != L'\0') {
            ++p;
        }
        return *p != L'\0' ? p : nullptr;
    }

  private:
    wchar_t m_character;
};

/// Finds any of several characters.
class FindAnyOf {
  public:
    explicit FindAnyOf(std::wstring_view characters) : m_characters(characters) { std::ranges::sort(m_characters); }
    const wchar_t* operator()(const wchar_t* p) const noexcept {
        while (*p != L'\0' && !std::ranges::binary_search(m_characters, *p)) {
            ++p;
        }
        return *p != L'\0' ? p : nullptr;
    }

  private:
    std::wstring m_characters;
};

/// Finds a short string with wcsstr, which takes quadratic time at worst.
class FindShortText {
  public:
    explicit FindShortText(const wchar_t* text) noexcept : m_text(text) {}
    const wchar_t* operator()(const wchar_t* p) const noexcept { return std::wcsstr(p, m_text); }

  private:
    const wchar_t* m_text;
};

/// Up to this length, FindShortText is fast enough.
constexpr std::size_t maxShortText = 16;

/// Finds a string with the Knuth-Morris-Pratt algorithm, in linear time.
class FindLongText {
  public:
    /// `text` has two units or more and must outlive this object.
    explicit FindLongText(std::wstring_view text) : m_text(text), m_borders(text.size()) {
        for (std::size_t i = 1; i < text.size(); ++i) {
            m_borders[i] = Extend(m_borders[i - 1], text[i]);
        }
    }

    const wchar_t* operator()(const wchar_t* p) const noexcept {
        for (std::size_t matched = 0; *p != L'\0'; ++p) {
            matched = Extend(matched, *p);
            if (matched == m_text.size()) {
                return p + 1 - matched;
            }
        }
        return nullptr;
    }

  private:
    /// The number of units matched after `character`, given the number before it.
    [[nodiscard]] std::size_t Extend(std::size_t matched, wchar_t character) const noexcept {
        while (matched > 0 && m_text[matched] != character) {
            matched = m_borders[matched - 1];
        }
        return m_text[matched] == character ? matched + 1 : 0;
    }

    std::wstring_view m_text;
    /// m_borders[i]: length of the longest proper prefix of m_text[0..i] that is also its suffix.
    std::vector<std::size_t> m_borders;
};

} // namespace

CNKTokenString::CNKTokenString(const CNKString& value, CNKString separator, bool multiCharacter)
    : m_separator(std::move(separator)), m_multiCharacter(multiCharacter) {
    Split(value);
}

CNKTokenString::CNKTokenString(const CNKStringList& parts, const CNKString& separator, bool multiCharacter)
    : CNKTokenString(CNKString(Join(parts, {}), false), separator, multiCharacter) {}

CNKTokenString& CNKTokenString::operator=(const CNKStringList& tokens) {
    CNKStringList::operator=(tokens);
    return *this;
}

CNKString CNKTokenString::GetValue() const {
    if (size() == 1 && !front().IsEmpty()) {
        return front(); // shares the text
    }
    const BSTR value = CopyValue();
    return value != nullptr ? CNKString(value, false) : CNKString();
}

BSTR CNKTokenString::CopyValue() const {
    std::wstring_view joiner = m_separator.View();
    if (!m_multiCharacter) {
        joiner = joiner.substr(0, 1);
        if (joiner.starts_with(L'\0')) { // a NUL adds nothing
            joiner = {};
        }
    }
    return Join(*this, joiner);
}

CNKTokenString& CNKTokenString::SetValue(const CNKString& value) {
    Split(value);
    return *this;
}

CNKTokenString& CNKTokenString::SetValue(const wchar_t* value) {
    Split(value, nullptr, nullptr);
    return *this;
}

CNKTokenString& CNKTokenString::SetSeparator(const CNKString& separator, bool multiCharacter) {
    const CNKString value = GetValue();
    m_separator = separator;
    m_multiCharacter = multiCharacter;
    Split(value);
    return *this;
}

CNKTokenString& CNKTokenString::Add(const CNKString& token) {
    // Split and discard: so Add throws when out of memory in the same cases as Insert.
    const CNKTokenString probe(token, m_separator, m_multiCharacter);
    push_back(token);
    return *this;
}

CNKTokenString& CNKTokenString::Insert(size_type n, const CNKString& text) {
    if (n >= size()) {
        return Add(text);
    }
    CNKTokenString tokens(text, m_separator, m_multiCharacter);
    insert(begin() + Offset(n), std::make_move_iterator(tokens.begin()), std::make_move_iterator(tokens.end()));
    return *this;
}

CNKTokenString& CNKTokenString::SetToken(size_type n, const CNKString& text) {
    const CNKString own = text; // NOLINT(performance-unnecessary-copy-initialization): may be the erased token
    erase(begin() + Offset(n));
    return Insert(n, own);
}

CNKTokenString& CNKTokenString::SetToken(const_iterator pos, const CNKString& text) {
    return SetToken(static_cast<size_type>(pos - begin()), text);
}

CNKTokenString& CNKTokenString::AddList(const CNKStringList& list) {
    return InsertList(size(), list);
}

CNKTokenString& CNKTokenString::InsertList(size_type n, const CNKStringList& list) {
    if (&list == this) {
        return InsertList(n, CNKStringList(list));
    }
    insert(begin() + Offset(n), list.begin(), list.end());
    return *this;
}

CNKTokenString& CNKTokenString::InsertAt(size_type n, const CNKString& token) {
    insert(begin() + Offset(n), token);
    return *this;
}

void CNKTokenString::Split(const CNKString& value) {
    const CNKString own = value; // NOLINT(performance-unnecessary-copy-initialization): may be a token
    const std::wstring_view text = own.View();
    Split(text.data(), text.data() + text.size(), &own);
}

/// Replaces the tokens with those of the text from `begin` to `end`, or to the first NUL if `end` is null. Takes linear
/// time. `shared` is a string with that text, or null.
void CNKTokenString::Split(const wchar_t* begin, const wchar_t* end, const CNKString* shared) {
    clear();
    if (begin == end || (end == nullptr && *begin == L'\0')) {
        return;
    }

    const Value value = {begin, end, shared};
    const std::wstring_view separator = m_separator.View();
    const bool wholeSeparator = m_multiCharacter && separator.size() > 1;
    const std::size_t nul = separator.find(L'\0');
    if (separator.empty() || (wholeSeparator && nul != std::wstring_view::npos)) {
        AppendUnsplit(value, *this); // searches stop at the first NUL of the value
    } else if (separator.size() == 1) {
        SplitAt(value, 1, *this, FindCharacter(separator.front()));
    } else if (!wholeSeparator) {
        SplitAt(value, 1, *this, FindAnyOf(separator.substr(0, nul)));
    } else if (separator.size() <= maxShortText) {
        SplitAt(value, separator.size(), *this, FindShortText(separator.data()));
    } else {
        SplitAt(value, separator.size(), *this, FindLongText(separator));
    }
}
