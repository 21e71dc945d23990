#include "core/nktokenstring.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace {

std::wstring_view View(const CNKString& text) noexcept {
    return {static_cast<const wchar_t*>(text), text.GetLength()};
}

/// The strings in a row, with `joiner` between them, in one allocation; null without strings.
CNKString Join(const CNKStringList& strings, std::wstring_view joiner) {
    if (strings.empty()) {
        return {};
    }
    if (strings.size() == 1 && !strings.front().IsEmpty()) {
        return strings.front(); // shares the text
    }
    std::size_t length = joiner.size() * (strings.size() - 1);
    for (const CNKString& string : strings) {
        length += string.GetLength();
    }

    return CNKString::Build(length, [&](wchar_t* to) {
        for (const CNKString& string : strings) {
            if (&string != &strings.front()) {
                to = std::copy(joiner.begin(), joiner.end(), to);
            }
            const std::wstring_view text = View(string);
            to = std::copy(text.begin(), text.end(), to);
        }
    });
}

/// Cuts `value`, which is not empty, at every separator and appends the pieces to `tokens`. `find` returns the next
/// separator from a place on, or null; it ends at the first NUL. A separator is `width` units wide.
template <class Find> void Cut(const CNKString& value, std::size_t width, CNKStringList& tokens, const Find& find) {
    const wchar_t* token = value;
    const wchar_t* const end = token + value.GetLength();
    const wchar_t* separator = find(token);
    if (separator == nullptr) {
        tokens.push_back(value); // shares the text
        return;
    }
    for (; separator != nullptr; separator = find(token)) {
        tokens.emplace_back(token, static_cast<std::size_t>(separator - token));
        token = separator + width;
    }
    tokens.emplace_back(token, static_cast<std::size_t>(end - token));
}

/// Up to this length, the run-time library's search is fast enough, which compares anew at each place.
constexpr std::size_t shortSeparator = 16;

/// Finds a long text by the method of Knuth, Morris and Pratt: it never goes back, so the time does not depend on the
/// text.
class TextFinder {
  public:
    /// For a `text` of two units or more, which has to stay where it is.
    explicit TextFinder(std::wstring_view text) : m_text(text), m_borders(text.size()) {
        for (std::size_t i = 1; i < text.size(); ++i) {
            m_borders[i] = Extend(m_borders[i - 1], text[i]);
        }
    }

    /// Where the text next begins from `p` on, null if it does not before the NUL.
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
    /// How much of the text's beginning is matched by what has matched so far, and this character.
    [[nodiscard]] std::size_t Extend(std::size_t matched, wchar_t character) const noexcept {
        while (matched > 0 && m_text[matched] != character) {
            matched = m_borders[matched - 1];
        }
        return m_text[matched] == character ? matched + 1 : 0;
    }

    std::wstring_view m_text;
    /// How long the longest beginning of the text is that ends, as a part of it, at each place.
    std::vector<std::size_t> m_borders;
};

} // namespace

CNKTokenString::CNKTokenString(const CNKString& value, CNKString separator, bool multiCharacter)
    : m_separator(std::move(separator)), m_multiCharacter(multiCharacter) {
    Split(value);
}

CNKTokenString::CNKTokenString(const CNKStringList& parts, const CNKString& separator, bool multiCharacter)
    : CNKTokenString(Join(parts, {}), separator, multiCharacter) {}

CNKTokenString& CNKTokenString::operator=(const CNKStringList& tokens) {
    CNKStringList::operator=(tokens);
    return *this;
}

CNKString CNKTokenString::GetValue() const {
    std::wstring_view joiner = View(m_separator);
    if (!m_multiCharacter) {
        joiner = joiner.substr(0, 1);
        if (joiner.starts_with(L'\0')) { // a character 0 adds nothing to a text
            joiner = {};
        }
    }
    return Join(*this, joiner);
}

CNKTokenString& CNKTokenString::SetValue(const CNKString& value) {
    Split(value);
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
    // A token that could not be split for want of memory is not added either, although it is added whole.
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
    const CNKString own = text; // NOLINT(performance-unnecessary-copy-initialization): may be the token that goes
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

/// Replaces the tokens by those of `value`, a handle of its own: the value may be one of the tokens that go. Linear in
/// the value's length whatever the separator.
void CNKTokenString::Split(CNKString value) {
    clear();
    if (value.GetLength() == 0) {
        return;
    }

    const std::wstring_view separator = View(m_separator);
    const bool wholeText = m_multiCharacter && separator.size() > 1;
    const std::size_t nul = separator.find(L'\0');
    if (separator.empty() || (wholeText && nul != std::wstring_view::npos)) {
        push_back(std::move(value)); // a search ends at a NUL, so it never finds one in a separator
    } else if (wholeText && separator.size() <= shortSeparator) {
        Cut(value, separator.size(), *this,
            [separator](const wchar_t* p) noexcept { return std::wcsstr(p, separator.data()); });
    } else if (wholeText) {
        Cut(value, separator.size(), *this, TextFinder(separator));
    } else if (separator.size() == 1) {
        Cut(value, 1, *this, [c = separator.front()](const wchar_t* p) noexcept -> const wchar_t* {
            for (; *p != L'\0'; ++p) {
                if (*p == c) {
                    return p;
                }
            }
            return nullptr;
        });
    } else {
        std::wstring set(separator.substr(0, nul));
        std::ranges::sort(set);
        Cut(value, 1, *this, [&set](const wchar_t* p) noexcept -> const wchar_t* {
            for (; *p != L'\0'; ++p) {
                if (std::ranges::binary_search(set, *p)) {
                    return p;
                }
            }
            return nullptr;
        });
    }
}
