#include "doctor/json.h"

#include <array>
#include <cstdio>
#include <cwchar>

#include <windows.h>

namespace doctor {

JsonWriter& JsonWriter::Name(std::wstring_view name) {
    BeforeValue();
    Quote(name);
    m_text += L": ";
    m_afterName = true;
    return *this;
}

void JsonWriter::String(std::wstring_view text) {
    BeforeValue();
    Quote(text);
}

void JsonWriter::Number(int number) {
    Value(std::to_wstring(number));
}

void JsonWriter::Bool(bool value) {
    Value(value ? L"true" : L"false");
}

void JsonWriter::Null() {
    Value(L"null");
}

void JsonWriter::Begin(wchar_t bracket) {
    BeforeValue();
    m_text += bracket;
    ++m_level;
    m_isFirst = true;
}

void JsonWriter::End(wchar_t bracket) {
    --m_level;
    if (!m_isFirst) {
        NewLine();
    }
    m_text += bracket;
    m_isFirst = false;
}

void JsonWriter::BeforeValue() {
    if (m_afterName) {
        m_afterName = false;
        return;
    }
    if (!m_isFirst) {
        m_text += L',';
    }
    if (m_level > 0) {
        NewLine();
    }
    m_isFirst = false;
}

void JsonWriter::Value(std::wstring_view text) {
    BeforeValue();
    m_text += text;
}

void JsonWriter::NewLine() {
    m_text += L'\n';
    m_text.append(2 * m_level, L' ');
}

void JsonWriter::Quote(std::wstring_view text) {
    m_text += L'"';
    for (const wchar_t unit : text) {
        if (unit == L'"' || unit == L'\\') {
            m_text += L'\\';
            m_text += unit;
        } else if (unit < 0x20) {
            std::array<wchar_t, 7> escaped = {};
            swprintf_s(escaped.data(), escaped.size(), L"\\u%04x", static_cast<unsigned>(unit));
            m_text += escaped.data();
        } else {
            m_text += unit;
        }
    }
    m_text += L'"';
}

} // namespace doctor
