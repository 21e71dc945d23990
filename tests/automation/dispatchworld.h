/// The worlds in which tests compare late-bound calls with those of the platform's dispatcher: an object of each class,
/// in one world with our dispatcher and in the other with the platform's.
#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <atlbase.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/localobject.h"
#include "tests/support/bstr.h"

namespace comparison {

using support::Bstr;
using support::Foreign;

/// The file of each world before the call.
inline constexpr std::string_view linesOfFile = "first\r\nsecond\r\n";

/// The object that is called, and the objects that are its arguments.
struct World {
    explicit World(const std::wstring& file) : path(file) {}

    const std::wstring& path; ///< of a file with linesOfFile
    Bstr text{L"two"};        ///< borrowed by a variant collection
    Foreign foreign{1};
    CComPtr<INXTokenString> tokens;
    CComPtr<INXFileStream> stream;
    CComPtr<IDispatch> object;
};

/// Prints values and objects without their addresses, so that two worlds can be compared.
class Record {
  public:
    explicit Record(const World& world) : m_world(world) { m_text.reserve(4096); }

    Record& operator<<(std::string_view text) {
        m_text += text;
        return *this;
    }
    Record& operator<<(const char* text) { return *this << std::string_view(text); }
    Record& operator<<(char character) { return *this << std::string_view(&character, 1); }
    Record& operator<<(BSTR text) {
        return *this << (text == nullptr ? std::string("null BSTR") : support::Printed({text, SysStringLen(text)}));
    }
    Record& operator<<(const Bstr& text) { return *this << static_cast<BSTR>(text); }
    Record& operator<<(long long number) { return *this << std::to_string(number); }
    Record& operator<<(const VARIANT& value);
    Record& operator<<(IUnknown* object);

    [[nodiscard]] const std::string& Text() const noexcept { return m_text; }
    [[nodiscard]] std::string Take() noexcept { return std::move(m_text); }

  private:
    const World& m_world;
    std::string m_text;
};

/// A class, with our dispatcher and with the platform's.
struct Class {
    const char* name;
    HRESULT (*createOurs)(IDispatch** created);
    HRESULT (*createPlatforms)(IDispatch** created);
    const char* text;   ///< the Value for BSTR parameters
    const char* object; ///< the Value for object parameters; null: there are none
    int sparing;        ///< fills the object for one call of this many, because opening a file is slow
    void (*fill)(World& world);
    void (*write)(const World& world, Record& record);
};

void PrintTo(const Class& tested, std::ostream* stream);

/// All classes.
std::span<const Class> Classes();

} // namespace comparison
