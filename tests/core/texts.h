/// Strings and lists of strings in tests: made in one expression, and compared with null told from length zero.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "core/nkstringlist.h"
#include "tests/support/bstr.h"

namespace support {

/// What a string holds; nothing for a null string.
using Text = std::optional<std::wstring_view>;

/// A string with all of `text`, NULs included.
inline CNKString Make(Text text) {
    return text ? CNKString(text->data(), text->size()) : CNKString();
}

inline CNKStringList MakeList(std::initializer_list<Text> texts) {
    CNKStringList list;
    for (const Text& text : texts) {
        list.push_back(Make(text));
    }
    return list;
}

inline Text Held(const CNKString& string) {
    return string.IsEmpty() ? Text() : std::wstring_view(string, string.GetLength());
}

/// Where a string's text lies: equal for strings that share it.
inline const wchar_t* TextOf(const CNKString& string) {
    return string;
}

/// The predicate behind EXPECT_TEXTS.
inline ::testing::AssertionResult HasTexts(const char* actualCode, const char*, const CNKStringList& actual,
                                           std::initializer_list<Text> expected) {
    bool same = actual.size() == expected.size();
    for (std::size_t i = 0; same && i < actual.size(); ++i) {
        same = Held(actual[i]) == expected.begin()[i];
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

/// The strings of a list are exactly these std::wstring_views, std::nullopt standing for a null string:
/// EXPECT_TEXTS(list, L"a", L"b\0c"sv, std::nullopt). EXPECT_TEXTS(list) expects an empty list.
#define EXPECT_TEXTS(actual, ...)                                                                                      \
    EXPECT_PRED_FORMAT2(::support::HasTexts, actual, (std::initializer_list<::support::Text>{__VA_ARGS__}))
