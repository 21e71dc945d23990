/// BSTRs in tests: an owner, and assertions in which a null BSTR differs from one of length zero.
#pragma once

#include <comdef.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

namespace support {

/// Owns a BSTR, which may be null.
class Bstr {
  public:
    Bstr() noexcept = default;
    /// Takes ownership of what a call returned.
    explicit Bstr(BSTR owned) noexcept : m_text(owned) {}
    /// A new BSTR with all of `text`, NULs included. Out of memory raises _com_error.
    explicit Bstr(std::wstring_view text) : m_text(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {
        if (m_text == nullptr) {
            _com_issue_error(E_OUTOFMEMORY);
        }
    }
    explicit Bstr(const wchar_t* text) : Bstr(std::wstring_view(text)) {}
    Bstr(Bstr&& other) noexcept : m_text(other.Release()) {}
    Bstr& operator=(Bstr other) noexcept {
        std::swap(m_text, other.m_text);
        return *this;
    }
    ~Bstr() { SysFreeString(m_text); }

    /// The BSTR, still owned here: for an [in] argument or an assertion.
    operator BSTR() const noexcept { return m_text; } // NOLINT(google-explicit-constructor): used like the BSTR itself
    /// The address where a call stores its result: `object->get_Value(text.Out())`. Frees the BSTR held before.
    [[nodiscard]] BSTR* Out() noexcept {
        SysFreeString(Release());
        return &m_text;
    }
    /// Transfers ownership to the caller.
    [[nodiscard]] BSTR Release() noexcept { return std::exchange(m_text, nullptr); }

  private:
    BSTR m_text = nullptr;
};

/// `text` for a test's message: L"ab\x00e4\x0000c" (5 units).
inline std::string Printed(std::wstring_view text) {
    std::string printed = "L\"";
    for (const wchar_t unit : text) {
        if (unit >= 0x20 && unit < 0x7f) {
            printed += static_cast<char>(unit);
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\x%04x", static_cast<unsigned int>(unit));
            printed += escaped;
        }
    }
    return printed + "\" (" + std::to_string(text.size()) + " units)";
}

/// The predicates of EXPECT_BSTR and EXPECT_NULL_BSTR.
inline ::testing::AssertionResult IsBstr(const char* actualCode, const char*, const wchar_t* actual,
                                         std::wstring_view expected) {
    if (actual == nullptr) {
        return ::testing::AssertionFailure() << actualCode << "\n    is: a null BSTR\nwanted: " << Printed(expected);
    }
    const std::wstring_view text(actual, SysStringLen(const_cast<BSTR>(actual)));
    if (text != expected) {
        return ::testing::AssertionFailure()
               << actualCode << "\n    is: " << Printed(text) << "\nwanted: " << Printed(expected);
    }
    return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult IsNullBstr(const char* actualCode, const wchar_t* actual) {
    if (actual != nullptr) {
        return ::testing::AssertionFailure()
               << actualCode << "\n    is: " << Printed({actual, SysStringLen(const_cast<BSTR>(actual))})
               << "\nwanted: a null BSTR";
    }
    return ::testing::AssertionSuccess();
}

} // namespace support

/// `actual` (a BSTR, a Bstr or a CNKString) is not null and has exactly the code units of `expected`, a
/// std::wstring_view: EXPECT_BSTR(text, L"a\0b"sv), EXPECT_BSTR(text, L"").
#define EXPECT_BSTR(actual, expected) EXPECT_PRED_FORMAT2(::support::IsBstr, actual, expected)
/// `actual` is a null BSTR, not one of length zero.
#define EXPECT_NULL_BSTR(actual) EXPECT_PRED_FORMAT1(::support::IsNullBstr, actual)
