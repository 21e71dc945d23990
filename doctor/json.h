/// Writes JSON text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace doctor {

/// Builds a JSON value, indented by two blanks per level. Calls must be balanced:
///
///     JsonWriter json;
///     json.BeginObject();
///     json.Name(L"bits").Number(64);
///     json.EndObject();
///     json.Text() // {\n  "bits": 64\n}
class JsonWriter {
  public:
    JsonWriter& Name(std::wstring_view name);
    void BeginObject() { Begin(L'{'); }
    void EndObject() { End(L'}'); }
    void BeginArray() { Begin(L'['); }
    void EndArray() { End(L']'); }
    void String(std::wstring_view text);
    void Number(int number);
    void Bool(bool value);
    void Null();

    [[nodiscard]] const std::wstring& Text() const noexcept { return m_text; }

  private:
    void Begin(wchar_t bracket);
    void End(wchar_t bracket);
    void BeforeValue();
    void Value(std::wstring_view text);
    void NewLine();
    void Quote(std::wstring_view text);

    std::wstring m_text;
    std::size_t m_level = 0;
    bool m_isFirst = true; ///< in the innermost object or array
    bool m_afterName = false;
};

} // namespace doctor
