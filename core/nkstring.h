/// The text value of the core library.
#pragma once

#include <comdef.h>

#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

/// A cheap-to-copy handle to shared UTF-16 text, kept as a BSTR.
///
///     CNKString name(L"  Nuvolex ");
///     const CNKString before = name;                  // shares the text
///     name.Trim();                                    // "Nuvolex"; `before` keeps its blanks
///     const CNKString line = L"<" + name + L'>';      // "<Nuvolex>"
///     fputws(line, stdout);                           // a string reads as const wchar_t*
///
/// Text: lengths and positions count UTF-16 code units. Text may contain NULs; what takes or searches a plain pointer
/// ends at the first one. A string is null (its BSTR is null) or has text, which may be of length zero; queries treat
/// null like an empty text, and IsEmpty tells the two apart. Narrow text is in the system's ANSI code page.
///
/// Sharing: copies share one reference-counted record and any thread may copy or drop its own handle. Changing a string
/// never writes into shared text but gives this one string a new record. One handle belongs to one thread at a time,
/// and so does the making of the narrow view, which all handles to a record share.
///
/// Arguments may point into the string's own text: they are taken as they were before the call.
///
/// Errors: the only one is lack of memory, raised as _com_error with E_OUTOFMEMORY. A failed assignment leaves the
/// string null, any other failed change leaves it as it was.
///
/// From _bstr_t come the views as `const wchar_t*` (the BSTR itself, null for a null string) and as `const char*` (made
/// at first use), both valid as long as some string holds the text; and the comparisons of two strings, in which null
/// comes before all text.
class CNKString : public _bstr_t {
  public:
    /// The null string.
    CNKString() noexcept = default;
    CNKString(const CNKString& other) noexcept = default;
    /// Takes over the other's reference; the other becomes null.
    CNKString(CNKString&& other) noexcept { swap(other); }
    ~CNKString() = default;

    /// A copy of `text` up to its first NUL. A null pointer gives a null string.
    CNKString(const wchar_t* text); // NOLINT(google-explicit-constructor): a text literal is a string
    CNKString(const char* text);    // NOLINT(google-explicit-constructor)

    /// A BSTR, NULs included: copied byte for byte, or else adopted, so that the string frees it from now on (also when
    /// this constructor fails). The flag must be a bool, lest a count be taken for it.
    CNKString(BSTR text, std::same_as<bool> auto fCopy) { AdoptOrCopy(text, fCopy); }

    /// Exactly `length` code units from `text`, NULs included. With a null pointer their values are unspecified.
    CNKString(const wchar_t* text, std::size_t length);

    /// A BSTR of `length` code units for the caller to fill in and to free.
    [[nodiscard]] static BSTR AllocateBstr(std::size_t length);

    /// `count` times the same character. A char is widened by its sign: 0xE4 becomes U+FFE4.
    CNKString(wchar_t character, std::size_t count);
    CNKString(char character, std::size_t count);

    /// The value's decimal text, the value taken as a signed int: 4294967295 gives "-1".
    explicit CNKString(unsigned int value);
    /// Fixed-point text with 20 digits after the point. Text longer than 49 code units does not fit: that is the
    /// run-time library's invalid-parameter condition, and if its handler returns, the text is empty.
    explicit CNKString(double value);

    // Assignment

    CNKString& operator=(const CNKString& other) noexcept = default;
    CNKString& operator=(CNKString&& other) noexcept;
    /// As the constructor. Assigning the string's own text pointer changes nothing, so that NULs in it are kept.
    CNKString& operator=(const wchar_t* text);
    CNKString& operator=(const char* text);

    /// Makes the string null.
    CNKString& Clear() noexcept;

    void swap(CNKString& other) noexcept;
    friend void swap(CNKString& left, CNKString& right) noexcept { left.swap(right); }

    // Queries

    /// The one null string that lives as long as the program.
    [[nodiscard]] static const CNKString& Empty() noexcept;

    /// The code units, valid as long as some string holds the text; an empty view for a null string.
    [[nodiscard]] std::wstring_view View() const noexcept {
        const auto* const text = static_cast<const wchar_t*>(*this);
        return {text, ByteLength(text) / sizeof(wchar_t)};
    }
    /// Number of code units, 0 for a null string.
    [[nodiscard]] std::size_t GetLength() const noexcept { return View().size(); }
    /// Whether the string is null. A text of length zero is not empty by this test.
    [[nodiscard]] bool IsEmpty() const noexcept { return !*this; }
    /// Whether there is nothing but white space, or nothing at all.
    [[nodiscard]] bool IsBlank() const noexcept;
    /// Whether there is nothing but letters, or nothing at all.
    [[nodiscard]] bool IsAlpha() const noexcept;

    /// Stores the code unit at `index` in *character, or leaves that alone when there is none. Always true.
    bool GetAt(int index, wchar_t* character) const noexcept;
    /// The first code unit, NUL when there is none.
    [[nodiscard]] wchar_t First() const noexcept;
    /// Position of the first occurrence of `wanted`; the length of this string when there is none.
    [[nodiscard]] std::size_t Find(const CNKString& wanted) const noexcept;

    // Parts

    /// `count` code units from position `start`, or all to the end when there are fewer. Null when `start` lies beyond
    /// the end, zero-length text when it is the end.
    [[nodiscard]] CNKString Mid(std::size_t start, std::size_t count) const;
    /// The first `count` code units; the whole text when there are fewer.
    [[nodiscard]] CNKString Left(std::size_t count) const { return Mid(0, count); }
    /// The last `count` code units; null when there are fewer (unlike Left).
    [[nodiscard]] CNKString Right(std::size_t count) const;
    /// The parts that Mid and Right give, each as a BSTR that the caller frees. Null for null.
    [[nodiscard]] BSTR CopyMid(std::size_t start, std::size_t count) const;
    [[nodiscard]] BSTR CopyRight(std::size_t count) const;

    // Numbers and case

    /// Store the number that the text begins with, after white space, 0 if there is none; true when nothing is left
    /// unparsed. The integers may be hexadecimal (0x1A) or octal (017).
    bool ToDouble(double* value) const noexcept;
    bool ToLong(int* value) const noexcept;
    bool ToULong(unsigned int* value) const noexcept;
    /// The same values without the test.
    [[nodiscard]] double AsDouble() const noexcept;
    [[nodiscard]] long AsLong() const noexcept;

    /// A copy with every code unit in upper or lower case; null for a null string.
    [[nodiscard]] CNKString ToUpper() const;
    [[nodiscard]] CNKString ToLower() const;

    // Changes; each returns this string

    /// Remove white space at the start, at the end, or both. All-blank text becomes text of length zero.
    CNKString& TrimLeft();
    CNKString& TrimRight();
    CNKString& Trim();
    /// Keeps only the first `count` code units.
    CNKString& Truncate(std::size_t count);

    CNKString& MakeUpper();
    CNKString& MakeLower();

    /// Replaces the text by what the run-time library's formatter makes of `format`, at most 999 characters. More is
    /// its invalid-parameter condition, and if the handler returns, the text is empty. In a wide format %s is wide
    /// text.
    CNKString& Format(const wchar_t* format, va_list arguments);
    CNKString& Format(const char* format, va_list arguments);

    /// Append. The result always has text, even that of two null strings. A NUL character appends nothing; a char goes
    /// through the code page, where `+` widens it by its sign.
    CNKString& operator+=(const CNKString& tail);
    CNKString& operator+=(const wchar_t* tail);
    CNKString& operator+=(const char* tail);
    CNKString& operator+=(wchar_t tail);
    CNKString& operator+=(char tail);

    // The BSTR itself, for calls that take one over or fill one in

    // The members of _bstr_t that do such things, with this class's promises.

    /// A copy of the BSTR, byte for byte, that the caller frees. Null for a null string.
    [[nodiscard]] BSTR copy() const;
    /// Transfers ownership of the text to the caller; this string becomes null. Copies only when other strings share
    /// the text; when that copy fails, nothing changes. Null for a null string.
    [[nodiscard]] BSTR Detach();
    /// Replaces the text by `text`, which the string frees from now on (also when this call fails). Keeps its record
    /// unless other strings share it.
    void Attach(BSTR text);
    /// Replaces the text by a copy of `text`, byte for byte.
    void Assign(BSTR text);
    /// The BSTR of the record, which all strings that share it see change.
    [[nodiscard]] BSTR& GetBSTR();
    /// Makes the string null and gives the place in which a call may store a BSTR for it.
    [[nodiscard]] BSTR* GetAddress();

  private:
    /// The length of a BSTR in bytes. It is stored before the text, and read for every character that is compared or
    /// copied, which a call of the platform's function would make several times as slow.
    [[nodiscard]] static std::size_t ByteLength(const wchar_t* text) noexcept {
        std::uint32_t length = 0;
        if (text != nullptr) {
            std::memcpy(&length, reinterpret_cast<const char*>(text) - sizeof(length), sizeof(length));
        }
        return length;
    }

    /// A copy of a BSTR, byte for byte; null for null.
    [[nodiscard]] static BSTR CopyOf(const wchar_t* text);
    /// Whether there is a record that no other string shares.
    [[nodiscard]] bool OwnsRecord() noexcept;
    /// Replaces the text by a copy of `text`, or by `text` itself.
    void AdoptOrCopy(BSTR text, bool fCopy);
    /// Replaces the text by `text` itself, in a new record only if others share this string's or it has none. If that
    /// fails, `text` is freed and the string unchanged.
    void Adopt(BSTR text);
    /// Assigns the BSTR that `make` returns.
    template <class Make> void Replace(Make make);
    /// Keeps the code units from `start` up to `end`; the record stays when those are all.
    CNKString& KeepRange(std::size_t start, std::size_t end);
};

/// Concatenation: a new string, always with text. Numbers and single characters turn into text as the constructors do
/// it.
[[nodiscard]] CNKString operator+(const CNKString& left, const CNKString& right);
[[nodiscard]] CNKString operator+(const CNKString& left, const wchar_t* right);
[[nodiscard]] CNKString operator+(const CNKString& left, const char* right);
[[nodiscard]] CNKString operator+(const CNKString& left, wchar_t right);
[[nodiscard]] CNKString operator+(const CNKString& left, char right);
[[nodiscard]] CNKString operator+(const CNKString& left, unsigned int right);
[[nodiscard]] CNKString operator+(const CNKString& left, double right);
[[nodiscard]] CNKString operator+(const wchar_t* left, const CNKString& right);
[[nodiscard]] CNKString operator+(const char* left, const CNKString& right);
[[nodiscard]] CNKString operator+(wchar_t left, const CNKString& right);
[[nodiscard]] CNKString operator+(char left, const CNKString& right);
[[nodiscard]] CNKString operator+(unsigned int left, const CNKString& right);
[[nodiscard]] CNKString operator+(double left, const CNKString& right);
