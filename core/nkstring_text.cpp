// Operations on the text of a CNKString. Storage and ownership are in nkstring.cpp.
#include "core/nkstring.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <iterator>
#include <string_view>

/// wcstod of the C runtime, through its import table entry. The toolchain's headers define an inline wcstod instead,
/// which copies the whole string first and does not skip all white space that iswspace knows. Declaring the function
/// under another name works with GCC only: clang takes it for the inline one.
extern "C" double(__cdecl* const CrtWcstod)(const wchar_t* text, wchar_t** end) noexcept __asm__("__imp_wcstod");

namespace {

std::wstring_view View(const wchar_t* text) noexcept {
    return text == nullptr ? std::wstring_view() : std::wstring_view(text);
}

/// The text, or "" for a null string.
const wchar_t* CStr(const CNKString& text) noexcept {
    return text.IsEmpty() ? L"" : static_cast<const wchar_t*>(text);
}

CNKString Copy(std::wstring_view text) {
    return {text.data(), text.size()};
}

CNKString Concatenate(std::wstring_view left, std::wstring_view right) {
    const BSTR text = CNKString::AllocateBstr(nullptr, left.size() + right.size());
    std::ranges::copy(right, std::ranges::copy(left, text).out);
    return {text, false};
}

wchar_t SignExtend(char character) noexcept {
    return static_cast<wchar_t>(static_cast<signed char>(character));
}

/// The text of a number, formatted without an allocation. Empty if formatting fails.
class FormattedNumber {
  public:
    explicit FormattedNumber(unsigned int value) noexcept
        : m_length(swprintf_s(m_text, 30, L"%d", static_cast<int>(value))) {}
    explicit FormattedNumber(double value) noexcept
        : m_length(swprintf_s(m_text, std::size(m_text), L"%.20lf", value)) {}

    std::wstring_view Get() const noexcept { return {m_text, static_cast<std::size_t>((std::max)(m_length, 0))}; }

  private:
    wchar_t m_text[50];
    int m_length;
};

/// iswspace, with a fast path for ASCII.
bool IsWhiteSpace(wchar_t character) noexcept {
    constexpr wchar_t endOfAscii = 0x80;
    return character < endOfAscii ? character == L' ' || (character >= L'\t' && character <= L'\r')
                                  : std::iswspace(character) != 0;
}

std::size_t LeadingWhiteSpace(std::wstring_view text) noexcept {
    return static_cast<std::size_t>(std::ranges::find_if_not(text, IsWhiteSpace) - text.begin());
}

std::size_t LengthWithoutTrailingWhiteSpace(std::wstring_view text) noexcept {
    while (!text.empty() && IsWhiteSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text.size();
}

/// Stores the number that `parse` reads from the start of the text. Returns whether it read everything.
template <class Value, class Parse> bool ParseAll(const CNKString& text, Value* value, Parse parse) noexcept {
    wchar_t* end = nullptr;
    *value = parse(CStr(text), &end);
    return *end == L'\0';
}

CNKString MapEach(const CNKString& text, wint_t (*map)(wint_t)) {
    const BSTR mapped = text.copy();
    if (mapped == nullptr) {
        return {};
    }
    std::transform(mapped, mapped + text.GetLength(), mapped,
                   [map](wchar_t character) { return static_cast<wchar_t>(map(character)); });
    return {mapped, false};
}

} // namespace

// From characters and numbers

CNKString::CNKString(char character, std::size_t count) : CNKString(SignExtend(character), count) {}

CNKString::CNKString(unsigned int value) : CNKString(Copy(FormattedNumber(value).Get())) {}

CNKString::CNKString(double value) : CNKString(Copy(FormattedNumber(value).Get())) {}

// Queries

const CNKString& CNKString::Empty() noexcept {
    static const CNKString empty;
    return empty;
}

bool CNKString::IsBlank() const noexcept {
    return std::ranges::all_of(View(), IsWhiteSpace);
}

bool CNKString::IsAlpha() const noexcept {
    return std::ranges::all_of(View(), [](wchar_t character) { return std::iswalpha(character) != 0; });
}

bool CNKString::GetAt(int index, wchar_t* character) const noexcept {
    const std::wstring_view text = View();
    if (index >= 0 && static_cast<std::size_t>(index) < text.size()) {
        *character = text[static_cast<std::size_t>(index)];
    }
    return true;
}

wchar_t CNKString::First() const noexcept {
    return *CStr(*this);
}

std::size_t CNKString::Find(const CNKString& wanted) const noexcept {
    const wchar_t* const text = CStr(*this);
    const wchar_t* const found = std::wcsstr(text, CStr(wanted));
    return found == nullptr ? GetLength() : static_cast<std::size_t>(found - text);
}

// Parts

BSTR CNKString::CopyMid(std::size_t start, std::size_t count) const {
    std::wstring_view text = View();
    if (start > text.size()) {
        return nullptr;
    }
    text.remove_prefix(start);
    return AllocateBstr(text.data(), (std::min)(count, text.size()));
}

BSTR CNKString::CopyRight(std::size_t count) const {
    // With fewer than `count` units the difference wraps around to a start beyond the end: null.
    return CopyMid(GetLength() - count, count);
}

CNKString CNKString::Mid(std::size_t start, std::size_t count) const {
    const BSTR part = CopyMid(start, count);
    return part != nullptr ? CNKString(part, false) : Empty();
}

CNKString CNKString::Right(std::size_t count) const {
    const BSTR part = CopyRight(count);
    return part != nullptr ? CNKString(part, false) : Empty();
}

// Numbers and case

bool CNKString::ToDouble(double* value) const noexcept {
    return ParseAll(*this, value, CrtWcstod);
}

bool CNKString::ToLong(int* value) const noexcept {
    return ParseAll(*this, value, [](const wchar_t* text, wchar_t** end) { return std::wcstol(text, end, 0); });
}

bool CNKString::ToULong(unsigned int* value) const noexcept {
    return ParseAll(*this, value, [](const wchar_t* text, wchar_t** end) { return std::wcstoul(text, end, 0); });
}

double CNKString::AsDouble() const noexcept {
    return CrtWcstod(CStr(*this), nullptr);
}

long CNKString::AsLong() const noexcept {
    return std::wcstol(CStr(*this), nullptr, 0);
}

CNKString CNKString::ToUpper() const {
    return MapEach(*this, std::towupper);
}

CNKString CNKString::ToLower() const {
    return MapEach(*this, std::towlower);
}

// Changes

CNKString& CNKString::KeepRange(std::size_t start, std::size_t end) {
    if (start != 0 || end != GetLength()) {
        Adopt(CopyMid(start, end - start));
    }
    return *this;
}

CNKString& CNKString::TrimLeft() {
    const std::wstring_view text = View();
    return KeepRange(LeadingWhiteSpace(text), text.size());
}

CNKString& CNKString::TrimRight() {
    return KeepRange(0, LengthWithoutTrailingWhiteSpace(View()));
}

CNKString& CNKString::Trim() {
    std::wstring_view text = View();
    const std::size_t start = LeadingWhiteSpace(text);
    text.remove_prefix(start);
    return KeepRange(start, start + LengthWithoutTrailingWhiteSpace(text));
}

CNKString& CNKString::Truncate(std::size_t count) {
    return KeepRange(0, (std::min)(count, GetLength()));
}

CNKString& CNKString::MakeUpper() {
    return *this = ToUpper();
}

CNKString& CNKString::MakeLower() {
    return *this = ToLower();
}

CNKString& CNKString::Format(const wchar_t* format, va_list arguments) {
    wchar_t text[1000];
    if (_vsnwprintf_s(text, std::size(text), sizeof(text), format, arguments) < 0) {
        text[0] = L'\0';
    }
    return *this = text;
}

CNKString& CNKString::Format(const char* format, va_list arguments) {
    char text[1000];
    if (_vsnprintf_s(text, std::size(text), sizeof(text), format, arguments) < 0) {
        text[0] = '\0';
    }
    return *this = text;
}

CNKString& CNKString::operator+=(const CNKString& tail) {
    return *this = *this + tail;
}

CNKString& CNKString::operator+=(const wchar_t* tail) {
    return *this = *this + tail;
}

CNKString& CNKString::operator+=(const char* tail) {
    return *this = *this + tail;
}

CNKString& CNKString::operator+=(wchar_t tail) {
    const wchar_t text[] = {tail, L'\0'};
    return *this += text;
}

CNKString& CNKString::operator+=(char tail) {
    const char text[] = {tail, '\0'};
    return *this += text;
}

// Concatenation

CNKString operator+(const CNKString& left, const CNKString& right) {
    return Concatenate(left.View(), right.View());
}

CNKString operator+(const CNKString& left, const wchar_t* right) {
    return Concatenate(left.View(), View(right));
}

CNKString operator+(const CNKString& left, const char* right) {
    return left + CNKString(right);
}

CNKString operator+(const CNKString& left, wchar_t right) {
    return Concatenate(left.View(), {&right, 1});
}

CNKString operator+(const CNKString& left, char right) {
    return left + SignExtend(right);
}

CNKString operator+(const CNKString& left, unsigned int right) {
    return Concatenate(left.View(), FormattedNumber(right).Get());
}

CNKString operator+(const CNKString& left, double right) {
    return Concatenate(left.View(), FormattedNumber(right).Get());
}

CNKString operator+(const wchar_t* left, const CNKString& right) {
    return Concatenate(View(left), right.View());
}

CNKString operator+(const char* left, const CNKString& right) {
    return CNKString(left) + right;
}

CNKString operator+(wchar_t left, const CNKString& right) {
    return Concatenate({&left, 1}, right.View());
}

CNKString operator+(char left, const CNKString& right) {
    return SignExtend(left) + right;
}

CNKString operator+(unsigned int left, const CNKString& right) {
    return Concatenate(FormattedNumber(left).Get(), right.View());
}

CNKString operator+(double left, const CNKString& right) {
    return Concatenate(FormattedNumber(left).Get(), right.View());
}
