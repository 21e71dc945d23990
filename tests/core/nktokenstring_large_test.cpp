// CNKTokenString with a million tokens: quadratic time would exceed the test's time limit, and no more memory is used
// than the tokens need.

#include "core/nktokenstring.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string_view>

#include <psapi.h>
#include <windows.h>

namespace {

constexpr std::size_t tokenLength = 33;
constexpr std::size_t tokenCount = 1'000'000;
constexpr std::size_t megabyte = 1'000'000;

/// The memory of a string of `length` units, with its record and the allocators' overhead.
constexpr std::size_t Cost(std::size_t length) {
    return 2 * length + 100;
}

/// The memory of a million tokens: the strings, and the array, of which up to half may be spare.
constexpr std::size_t tokensCost = tokenCount * Cost(tokenLength) + 2 * sizeof(void*) * tokenCount;

PROCESS_MEMORY_COUNTERS Memory() {
    PROCESS_MEMORY_COUNTERS memory = {};
    EXPECT_TRUE(GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory)));
    return memory;
}

/// A million tokens of 33 units, separated by `separator`: 68 MB and more.
CNKString LargeValue(std::wstring_view separator) {
    const std::size_t step = tokenLength + separator.size();
    CNKString value(nullptr, tokenCount * step - separator.size());
    wchar_t* to = value;
    for (std::size_t i = 0; i < tokenCount; ++i) {
        for (std::size_t unit = 0; unit < tokenLength; ++unit) {
            *to++ = static_cast<wchar_t>(L'a' + (i + unit) % 26);
        }
        if (i + 1 < tokenCount) {
            to += separator.copy(to, separator.size());
        }
    }
    return value;
}

/// `object` has a million tokens of 33 units.
void ExpectLargeTokens(const CNKTokenString& object) {
    ASSERT_EQ(object.GetCount(), tokenCount);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < tokenCount; ++i) {
        const std::wstring_view token = object.at(i).View();
        wrong += token.size() != tokenLength || token.front() != static_cast<wchar_t>(L'a' + i % 26);
    }
    EXPECT_EQ(wrong, 0u);
}

/// Splits a large value, whose tokens `joiner` separates, and joins it. Then does both again by setting the mode.
void SplitAndJoin(std::wstring_view joiner, const CNKString& separator, bool multiCharacter) {
    const CNKString value = LargeValue(joiner);
    const std::size_t before = Memory().WorkingSetSize;
    ASSERT_GT(before, 2 * value.GetLength()) << "memory use is unknown";

    CNKTokenString object(value, separator, multiCharacter);
    ExpectLargeTokens(object);
    EXPECT_TRUE(object.GetValue().View() == value.View());
    object.SetMultiCharacter(multiCharacter);
    ExpectLargeTokens(object);

    // All tokens once, and one joined value.
    EXPECT_LT(Memory().PeakWorkingSetSize - before, tokensCost + Cost(value.GetLength()) + 10 * megabyte);
}

TEST(NKTokenStringLarge, OneCharacter_SplitsInLinearTimeAndMemory) {
    SplitAndJoin(L",", L",", false);
}

TEST(NKTokenStringLarge, SeveralCharacters_SplitInLinearTimeAndMemory) {
    SplitAndJoin(L",", L",;|", false);
}

TEST(NKTokenStringLarge, WholeSeparator_SplitsInLinearTimeAndMemory) {
    SplitAndJoin(L",;", L",;", true);
}

TEST(NKTokenStringLarge, LongSeparatorThatNearlyMatchesEverywhere_SplitsInLinearTime) {
    const CNKString value(L'a', 4'000'000);
    const CNKString separator = CNKString(L'a', 100'000) + L'b';
    EXPECT_EQ(CNKTokenString(value, separator, true).GetCount(), 1u);
    EXPECT_EQ(CNKTokenString(value + separator + L"c", separator, true).GetToken(1), CNKString(L"c"));
}

TEST(NKTokenStringLarge, ManySeparatorCharacters_SplitInLinearTime) {
    CNKString separators(nullptr, 50'000);
    wchar_t* to = separators;
    for (wchar_t character = 50'000; character > 0; --character) {
        *to++ = static_cast<wchar_t>(character + 200);
    }
    const CNKString value(L'a', 4'000'000);
    EXPECT_EQ(CNKTokenString(value, separators, false).GetCount(), 1u);
    EXPECT_EQ(CNKTokenString(value + L'\xC9' + L"c", separators, false).GetToken(1), CNKString(L"c"));
}

} // namespace
