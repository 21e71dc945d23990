/// Tokens and lists of strings, each against its floor: the same work with BSTRs in a plain array.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>

#include <nuvolex.h>

#include "bench/automation.h"
#include "bench/measure.h"

namespace bench {

namespace {

/// Owns its BSTRs.
class PlainList {
  public:
    PlainList() = default;
    PlainList(const PlainList&) = delete;
    PlainList& operator=(const PlainList&) = delete;
    ~PlainList() { std::ranges::for_each(m_texts, SysFreeString); }

    void Add(std::wstring_view text) {
        m_texts.push_back(SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
    }
    [[nodiscard]] const std::vector<BSTR>& Texts() const { return m_texts; }

  private:
    std::vector<BSTR> m_texts;
};

constexpr wchar_t separator = L',';
constexpr std::size_t tokenLength = 10;

std::wstring_view View(BSTR text) {
    return {text, SysStringLen(text)};
}

/// `count` different tokens with separators: "0000000000,0000000001,...".
_bstr_t TokenText(std::size_t count) {
    const std::size_t length = count * (tokenLength + 1) - 1;
    _bstr_t text(SysAllocStringLen(nullptr, static_cast<UINT>(length)), false);
    wchar_t* to = text;
    for (std::size_t i = 0; i < count; ++i) {
        wchar_t token[tokenLength + 1];
        std::swprintf(token, std::size(token), L"%010u", static_cast<unsigned int>(i));
        to = std::copy_n(token, tokenLength, to);
        if (i + 1 < count) {
            *to++ = separator;
        }
    }
    return text;
}

/// Calls `add` with each token.
template <class Add> void SplitPlain(std::wstring_view value, Add add) {
    for (const wchar_t *token = value.data(), *const end = token + value.size();;) {
        const wchar_t* const tokenEnd = std::find(token, end, separator);
        add(std::wstring_view(token, tokenEnd));
        if (tokenEnd == end) {
            return;
        }
        token = tokenEnd + 1;
    }
}

_bstr_t JoinPlain(const PlainList& tokens) {
    std::size_t length = tokens.Texts().size() - 1;
    for (const BSTR token : tokens.Texts()) {
        length += SysStringLen(token);
    }
    const BSTR value = SysAllocStringLen(nullptr, static_cast<UINT>(length));
    wchar_t* to = value;
    for (const BSTR token : tokens.Texts()) {
        if (to != value) {
            *to++ = separator;
        }
        to = std::ranges::copy(View(token), to).out;
    }
    return {value, false};
}

CComPtr<INXTokenString> NewTokenString() {
    auto tokens = Create<INXTokenString>(CLSID_NXTokenString);
    Check(tokens->put_Separator(_bstr_t(L",")));
    return tokens;
}

/// Compares the number of tokens and the last one with TokenText(count).
void CheckTokens(INXTokenString* tokens, std::size_t count, const _bstr_t& value) {
    long actual = 0;
    Check(tokens->get_Count(&actual));
    Check(actual == static_cast<long>(count));
    _bstr_t last;
    Check(tokens->get_Token(actual - 1, last.GetAddress()));
    Check(View(value).ends_with(View(last)) && last.length() == tokenLength);
}

Round PutValue(std::size_t count) {
    return [value = TokenText(count), count] {
        const auto tokens = NewTokenString();
        const Nanoseconds time = Time([&] { Check(tokens->put_Value(value)); });
        CheckTokens(tokens, count, value);
        return time;
    };
}

Round SplitFloor(std::size_t count) {
    return [value = TokenText(count), count] {
        PlainList tokens;
        const Nanoseconds time =
            Time([&] { SplitPlain(View(value), [&](std::wstring_view token) { tokens.Add(token); }); });
        Check(tokens.Texts().size() == count && View(value).ends_with(View(tokens.Texts().back())));
        return time;
    };
}

/// The same plus a memory block per token, as large as a string's reference-counted record: the least that a token
/// costs as a string of the library.
Round SplitRecordsFloor(std::size_t count) {
    using Record = std::array<char, 24>;
    return [value = TokenText(count), count] {
        PlainList tokens;
        std::vector<std::unique_ptr<Record>> records;
        const Nanoseconds time = Time([&] {
            SplitPlain(View(value), [&](std::wstring_view token) {
                tokens.Add(token);
                records.push_back(std::make_unique<Record>());
            });
        });
        Check(tokens.Texts().size() == count && records.size() == count);
        return time;
    };
}

Round GetValue(std::size_t count) {
    const auto tokens = NewTokenString();
    const _bstr_t value = TokenText(count);
    Check(tokens->put_Value(value));
    return [tokens, value] {
        _bstr_t joined;
        const Nanoseconds time = Time([&] { Check(tokens->get_Value(joined.GetAddress())); });
        Check(joined == value);
        return time;
    };
}

Round JoinFloor(std::size_t count) {
    const _bstr_t value = TokenText(count);
    const auto tokens = std::make_shared<PlainList>();
    SplitPlain(View(value), [&](std::wstring_view token) { tokens->Add(token); });
    return [tokens, value] {
        _bstr_t joined;
        const Nanoseconds time = Time([&] { joined = JoinPlain(*tokens); });
        Check(joined == value);
        return time;
    };
}

const std::wstring_view element = L"0123456789a";

Round Append(std::size_t count) {
    return [text = _bstr_t(element.data()), count] {
        const auto list = Create<INXStringList>(CLSID_NXStringList);
        const Nanoseconds time = Time([&] {
            for (std::size_t i = 0; i < count; ++i) {
                Check(list->Add(text));
            }
        });
        long actual = 0;
        Check(list->get_Count(&actual));
        Check(actual == static_cast<long>(count));
        return time;
    };
}

Round AppendFloor(std::size_t count) {
    return [count] {
        PlainList list;
        const Nanoseconds time = Time([&] {
            for (std::size_t i = 0; i < count; ++i) {
                list.Add(element);
            }
        });
        Check(list.Texts().size() == count);
        return time;
    };
}

constexpr std::size_t batch = 100;

Round WalkList(std::size_t count) {
    const auto list = Create<INXStringList>(CLSID_NXStringList);
    for (std::size_t i = 0; i < count; ++i) {
        Check(list->Add(_bstr_t(element.data())));
    }
    return [list = CComPtr<IDispatch>(list), count] {
        std::size_t walked = 0;
        const Nanoseconds time = Time([&] { walked = Walk(list, batch); });
        Check(walked == count);
        return time;
    };
}

Round WalkFloor(std::size_t count) {
    const auto list = std::make_shared<PlainList>();
    for (std::size_t i = 0; i < count; ++i) {
        list->Add(element);
    }
    return [list] {
        return Time([&] {
            std::vector<VARIANT> copies(batch);
            for (auto from = list->Texts().begin(), end = list->Texts().end(); from != end;) {
                const auto batchEnd = from + std::min<std::ptrdiff_t>(batch, end - from);
                auto to = copies.begin();
                for (; from != batchEnd; ++from, ++to) {
                    V_VT(&*to) = VT_BSTR;
                    V_BSTR(&*to) = SysAllocStringLen(*from, SysStringLen(*from));
                }
                std::for_each(copies.begin(), to, [](VARIANT& copy) { VariantClear(&copy); });
            }
        });
    };
}

constexpr int partLength = 100;

Round Mid(std::size_t count) {
    const auto string = Create<INXString>(CLSID_NXString);
    const _bstr_t value = TokenText(100);
    Check(string->put_Value(value));
    return [string, value, count] {
        _bstr_t part;
        Check(string->Mid(partLength, partLength, part.GetAddress()));
        Check(View(part) == View(value).substr(partLength, partLength));
        return Time([&] {
            for (std::size_t i = 0; i < count; ++i) {
                BSTR result = nullptr;
                Check(string->Mid(partLength, partLength, &result));
                SysFreeString(result);
            }
        });
    };
}

Round MidFloor(std::size_t count) {
    return [value = TokenText(100), count] {
        return Time([&] {
            for (std::size_t i = 0; i < count; ++i) {
                SysFreeString(SysAllocStringLen(static_cast<const wchar_t*>(value) + partLength, partLength));
            }
        });
    };
}

// Cutting a column out of many padded lines: the blanks are counted and trimmed, then a part is copied.

constexpr std::wstring_view paddedLine = L"    name    0123456789    ";
constexpr std::wstring_view blanks = L" \t";
constexpr int blanksAround = 8;
constexpr int column = 8;
constexpr int columnWidth = 8;

Round CutColumns(std::size_t count) {
    return [string = Create<INXString>(CLSID_NXString), line = _bstr_t(paddedLine.data()), count] {
        _bstr_t last;
        const Nanoseconds time = Time([&] {
            for (std::size_t i = 0; i < count; ++i) {
                Check(string->put_Value(line));
                int trimmed = 0;
                Check(string->Trim(&trimmed));
                Check(trimmed == blanksAround);
                Check(string->Mid(column, columnWidth, last.GetAddress()));
            }
        });
        Check(View(last) == L"01234567");
        return time;
    };
}

Round CutColumnsFloor(std::size_t count) {
    return [line = _bstr_t(paddedLine.data()), count] {
        _bstr_t last;
        const Nanoseconds time = Time([&] {
            for (std::size_t i = 0; i < count; ++i) {
                const BSTR value = SysAllocStringLen(line, line.length());
                const std::wstring_view text = View(value);
                const std::size_t first = text.find_first_not_of(blanks);
                const std::size_t end = text.find_last_not_of(blanks) + 1;
                Check(static_cast<int>(first + text.size() - end) == blanksAround);
                const BSTR trimmed = SysAllocStringLen(text.data() + first, static_cast<UINT>(end - first));
                SysFreeString(value);
                last.Attach(SysAllocStringLen(trimmed + column, columnWidth));
                SysFreeString(trimmed);
            }
        });
        Check(View(last) == L"01234567");
        return time;
    };
}

} // namespace

std::vector<Case> TextCases() {
    return {
        {"tokens.Value.put", "scan, one SysAllocStringLen a token", PutValue, SplitFloor, 1.8, 100'000},
        {"tokens.Value.put.rec", "the same, and 24 bytes of memory a token", PutValue, SplitRecordsFloor, std::nullopt,
         100'000},
        {"tokens.Value.get", "one SysAllocStringLen, one copy a token", GetValue, JoinFloor, 1.3, 100'000},
        {"string.Mid", "one SysAllocStringLen of 100 characters", Mid, MidFloor, 1.05, 10'000},
        {"string.columns", "the value, the trimmed text and the column as BSTRs", CutColumns, CutColumnsFloor, 1.2,
         10'000},
    };
}

std::vector<Growth> TextGrowths() {
    return {
        {"growth.split", PutValue, SplitFloor},
        {"growth.join", GetValue, JoinFloor},
        {"growth.append", Append, AppendFloor},
        {"growth.walk", WalkList, WalkFloor},
    };
}

} // namespace bench
