/// The string class of the core library.
#pragma once

#include <comdef.h>

#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

/// A UTF-16 string that is cheap to copy: copies share one BSTR.
///
///     CNKString name(L"  Nuvolex ");
///     const CNKString before = name;                  // shares the text
///     name.Trim();                                    // "Nuvolex"; `before` keeps its blanks
///     const CNKString line = L"<" + name + L'>';      // "<Nuvolex>"
///     fputws(line, stdout);                           // converts to const wchar_t*
///
/// Text: lengths and positions count UTF-16 code units. A string may contain NULs; functions that take or search a
/// plain pointer stop at the first one. A string may be null (its BSTR is null) or of length zero; of the queries only
/// IsEmpty distinguishes the two. Narrow text is in the system's ANSI code page.
///
/// Sharing and threads: copies share one reference-counted record. A change gives the string a record of its own and
/// never writes into shared text. Different threads may use different copies, but not the same one at the same time;
/// nor may they create the narrow text of copies at the same time, since it is part of the record.
///
/// Arguments may point into the string's own text.
///
/// Errors: out of memory, raised as _com_error with E_OUTOFMEMORY. A failed assignment leaves the string null, any
/// other failed change leaves it unchanged.
///
/// Inherited from _bstr_t: the conversions to `const wchar_t*` (the BSTR; null for a null string) and to `const char*`
/// (created at first use), both valid while any copy holds the text; and comparisons, where null is less than any text.
class CNKString : public _bstr_t {
  public:
    /// The null string.
    CNKString() noexcept = default;
    CNKString(const CNKString& other) noexcept = default;
    /// Moves the reference; `other` becomes null.
    CNKString(CNKString&& other) noexcept { swap(other); }
    ~CNKString() = default;

    /// A copy of `text` up to its first NUL. A null pointer makes a null string.
    CNKString(const wchar_t* text); // NOLINT(google-explicit-constructor): literals convert
    CNKString(const char* text);    // NOLINT(google-explicit-constructor)

    /// Copies a BSTR byte for byte or, if `fCopy` is false, takes ownership of it, even if the constructor fails. The
    /// flag must be a bool, so that a length cannot be passed by mistake.
    CNKString(BSTR text, std::same_as<bool> auto fCopy) { AdoptOrCopy(text, fCopy); }

    /// Copies `length` code units from `text`, NULs included. If `text` is null, their values are unspecified.
    CNKString(const wchar_t* text, std::size_t length);

    /// A BSTR with a copy of `length` code units of `text`, or uninitialised if `text` is null. The caller frees it.
    [[nodiscard]] static BSTR AllocateBstr(const wchar_t* text, std::size_t length);

    /// Repeats a character `count` times. A char is sign-extended: 0xE4 becomes U+FFE4.
    CNKString(wchar_t character, std::size_t count);
    CNKString(char character, std::size_t count);

    /// The value in decimal, as a signed int: 4294967295 gives "-1".
    explicit CNKString(unsigned int value);
    /// The value in fixed-point notation with 20 decimal places. Output of more than 49 characters invokes the C
    /// runtime's invalid-parameter handler; if that returns, the string is of length zero.
    explicit CNKString(double value);

    // Assignment

    CNKString& operator=(const CNKString& other) noexcept = default;
    CNKString& operator=(CNKString&& other) noexcept;
    /// As the constructor. Assigning the string's own text pointer keeps it all, NULs included.
    CNKString& operator=(const wchar_t* text);
    CNKString& operator=(const char* text);

    /// Makes the string null.
    CNKString& Clear() noexcept;

    void swap(CNKString& other) noexcept;
    friend void swap(CNKString& left, CNKString& right) noexcept { left.swap(right); }

    // Queries

    /// A null string with static lifetime.
    [[nodiscard]] static const CNKString& Empty() noexcept;

    /// The text, valid while any copy holds it; an empty view for a null string.
    [[nodiscard]] std::wstring_view View() const noexcept {
        const auto* const text = static_cast<const wchar_t*>(*this);
        return {text, ByteLength(text) / sizeof(wchar_t)};
    }
    /// Number of code units, 0 for a null string.
    [[nodiscard]] std::size_t GetLength() const noexcept { return View().size(); }
    /// Whether the string is null. False for a string of length zero.
    [[nodiscard]] bool IsEmpty() const noexcept { return !*this; }
    /// Whether all characters are white space. True for length zero.
    [[nodiscard]] bool IsBlank() const noexcept;
    /// Whether all characters are letters. True for length zero.
    [[nodiscard]] bool IsAlpha() const noexcept;

    /// Stores the code unit at `index` in *character, which an invalid index leaves unchanged. Always returns true.
    bool GetAt(int index, wchar_t* character) const noexcept;
    /// The first code unit; NUL if there is none.
    [[nodiscard]] wchar_t First() const noexcept;
    /// The position of the first occurrence of `wanted`; the length of this string if there is none.
    [[nodiscard]] std::size_t Find(const CNKString& wanted) const noexcept;

    // Parts

    /// `count` code units from position `start`, or fewer at the end. Null if `start` is greater than the length.
    ///
    ///     CNKString(L"abc").Mid(1, 5) // "bc"
    ///     CNKString(L"abc").Mid(3, 1) // "", and Mid(4, 1) is null
    [[nodiscard]] CNKString Mid(std::size_t start, std::size_t count) const;
    /// The first `count` code units, or all if there are fewer.
    [[nodiscard]] CNKString Left(std::size_t count) const { return Mid(0, count); }
    /// The last `count` code units. Null if there are fewer: CNKString(L"abc").Right(4) is null, Left(4) is "abc".
    [[nodiscard]] CNKString Right(std::size_t count) const;
    /// Mid and Right, returning a BSTR that the caller frees.
    [[nodiscard]] BSTR CopyMid(std::size_t start, std::size_t count) const;
    [[nodiscard]] BSTR CopyRight(std::size_t count) const;

    // Numbers and case

    /// Store the number at the start of the text, after white space; 0 if there is none. Return whether the whole text
    /// was parsed. Integers may be hexadecimal (0x1A) or octal (017).
    bool ToDouble(double* value) const noexcept;
    bool ToLong(int* value) const noexcept;
    bool ToULong(unsigned int* value) const noexcept;
    /// Like ToDouble and ToLong, but return the number.
    [[nodiscard]] double AsDouble() const noexcept;
    [[nodiscard]] long AsLong() const noexcept;

    /// A copy in upper or lower case; null for a null string.
    [[nodiscard]] CNKString ToUpper() const;
    [[nodiscard]] CNKString ToLower() const;

    // Changes; each returns this string

    /// Remove white space at the start, at the end, or both. If there is nothing else, the length becomes zero.
    CNKString& TrimLeft();
    CNKString& TrimRight();
    CNKString& Trim();
    /// Keeps the first `count` code units.
    CNKString& Truncate(std::size_t count);

    CNKString& MakeUpper();
    CNKString& MakeLower();

    /// Replaces the text with the output of _vsnprintf_s or its wide version, at most 999 characters. Longer output
    /// invokes the C runtime's invalid-parameter handler; if that returns, the string is of length zero. In a wide
    /// format %s is wide.
    CNKString& Format(const wchar_t* format, va_list arguments);
    CNKString& Format(const char* format, va_list arguments);

    /// Append. The result is never null, even of two null strings. A NUL character appends nothing. A char is converted
    /// from the code page, while `+` sign-extends it.
    CNKString& operator+=(const CNKString& tail);
    CNKString& operator+=(const wchar_t* tail);
    CNKString& operator+=(const char* tail);
    CNKString& operator+=(wchar_t tail);
    CNKString& operator+=(char tail);

    // Access to the BSTR, as in _bstr_t

    /// A copy of the BSTR, byte for byte, which the caller frees; null for a null string.
    [[nodiscard]] BSTR copy() const;
    /// Transfers ownership of the BSTR to the caller and makes this string null. If other strings share the text, the
    /// caller gets a copy; if that fails, nothing changes.
    [[nodiscard]] BSTR Detach();
    /// Replaces the text and takes ownership of `text`, even if this fails. Keeps the record unless it is shared.
    void Attach(BSTR text);
    /// Replaces the text with a copy of `text`, byte for byte.
    void Assign(BSTR text);
    /// The record's BSTR. Changing it changes all strings that share it.
    [[nodiscard]] BSTR& GetBSTR();
    /// Makes the string null and returns the address of its BSTR, for an [out] argument.
    [[nodiscard]] BSTR* GetAddress();

  private:
    /// An inline SysStringByteLen; the call is several times slower. A BSTR's length is stored before its text.
    [[nodiscard]] static std::size_t ByteLength(const wchar_t* text) noexcept {
        std::uint32_t length = 0;
        if (text != nullptr) {
            std::memcpy(&length, reinterpret_cast<const char*>(text) - sizeof(length), sizeof(length));
        }
        return length;
    }

    /// A copy of a BSTR, byte for byte; null for null.
    [[nodiscard]] static BSTR CopyOf(const wchar_t* text);
    /// Whether the string has a record that is not shared.
    [[nodiscard]] bool OwnsRecord() noexcept;
    /// Replaces the text with `text` or a copy of it.
    void AdoptOrCopy(BSTR text, bool fCopy);
    /// Takes ownership of `text`, in a new record unless this string has one that is not shared. On failure frees
    /// `text` and leaves the string unchanged.
    void Adopt(BSTR text);
    /// Replaces the text with the BSTR that `make` returns.
    template <class Make> void Replace(Make make);
    /// Keeps the code units from `start` up to `end`. Keeps the record if those are all.
    CNKString& KeepRange(std::size_t start, std::size_t end);
};

/// Concatenation. The result is never null. Numbers and characters are converted as by the constructors.
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
