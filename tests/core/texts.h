/// Strings and lists of strings in tests: made in one expression, and compared so that null differs from zero length.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>

#include "core/nkstringlist.h"
#include "tests/support/bstr.h"

namespace support {

/// The text of a string; nothing for a null string.
using Text = std::optional<std::wstring_view>;

inline constexpr std::nullopt_t null = std::nullopt;

inline constexpr std::size_t minusOne = static_cast<std::size_t>(-1);

/// A string with all of `text`, NULs included.
inline CNKString Make(Text text) {
    return text ? CNKString(text->data(), text->size()) : CNKString();
}

inline CNKStringList MakeList(std::span<const Text> texts) {
    CNKStringList list;
    for (const Text& text : texts) {
        list.push_back(Make(text));
    }
    return list;
}

inline CNKStringList MakeList(std::initializer_list<Text> texts) {
    return MakeList(std::span(texts.begin(), texts.size()));
}

/// The text that `string` holds.
inline Text Held(const CNKString& string) {
    return string.IsEmpty() ? Text() : string.View();
}

/// The address of a string's text: equal for strings that share it.
inline const wchar_t* TextOf(const CNKString& string) {
    return string;
}

/// The predicate of EXPECT_TEXT.
inline ::testing::AssertionResult HasText(const char* actualCode, const char* expectedCode, const wchar_t* actual,
                                          const Text& expected) {
    return expected ? IsBstr(actualCode, expectedCode, actual, *expected) : IsNullBstr(actualCode, actual);
}

/// The predicate of EXPECT_TEXTS and EXPECT_TEXT_LIST.
inline ::testing::AssertionResult HasTexts(const char* actualCode, const char*, const CNKStringList& actual,
                                           std::span<const Text> expected) {
    bool same = actual.size() == expected.size();
    for (std::size_t i = 0; same && i < actual.size(); ++i) {
        same = Held(actual[i]) == expected[i];
    }
    if (same) {
        return ::testing::AssertionSuccess();
    }
    ::testing::AssertionResult failure = ::testing::AssertionFailure() << actualCode << "\n    is:";
    const auto print = [&failure](const Text& text) { failure << " " << (text ? Printed(*text) : "null"); };
    for (const CNKString& string : actual) {
        print(Held(string));
    }
    failure << "\nwanted:";
    for (const Text& text : expected) {
        print(text);
    }
    return failure;
}

} // namespace support

/// `actual` is a BSTR or string with exactly this Text, which is std::nullopt for null.
#define EXPECT_TEXT(actual, expected) EXPECT_PRED_FORMAT2(::support::HasText, actual, expected)
/// The strings of a list are exactly the Texts of a container: EXPECT_TEXT_LIST(list, row.tokens).
#define EXPECT_TEXT_LIST(actual, expected) EXPECT_PRED_FORMAT2(::support::HasTexts, actual, expected)
/// The same, with the Texts themselves: EXPECT_TEXTS(list, L"a", L"b\0c"sv, null). EXPECT_TEXTS(list) expects an empty
/// list.
#define EXPECT_TEXTS(actual, ...) EXPECT_TEXT_LIST(actual, (std::initializer_list<::support::Text>{__VA_ARGS__}))
