/// A strict JSON parser.
#pragma once

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A JSON value. Access to a missing member throws.
struct JsonValue {
    enum class Kind { nothing, truth, number, string, array, object };

    Kind kind = Kind::nothing;
    bool truth = false;
    double number = 0;
    std::string string; ///< UTF-8
    std::vector<JsonValue> items;
    std::map<std::string, JsonValue> members;

    const JsonValue& operator[](const std::string& name) const { return members.at(name); }
    const JsonValue& operator[](std::size_t index) const { return items.at(index); }
};

class JsonParser {
  public:
    /// Parses a text that contains one value.
    static JsonValue Parse(std::string_view text) {
        JsonParser parser(text);
        JsonValue value = parser.Value();
        parser.SkipBlanks();
        parser.Require(parser.m_rest.empty());
        return value;
    }

  private:
    explicit JsonParser(std::string_view text) : m_rest(text) {}

    static void Require(bool condition) {
        if (!condition) {
            throw std::runtime_error("invalid JSON");
        }
    }
    void SkipBlanks() { m_rest.remove_prefix(std::min(m_rest.find_first_not_of(" \t\r\n"), m_rest.size())); }
    char Take() {
        Require(!m_rest.empty());
        const char next = m_rest.front();
        m_rest.remove_prefix(1);
        return next;
    }
    bool TakeIf(std::string_view word) {
        const bool isNext = m_rest.starts_with(word);
        m_rest.remove_prefix(isNext ? word.size() : 0);
        return isNext;
    }

    JsonValue Value() {
        SkipBlanks();
        JsonValue value;
        if (TakeIf("{")) {
            value.kind = JsonValue::Kind::object;
            List('}', [&] {
                std::string name = String();
                SkipBlanks();
                Require(Take() == ':');
                Require(value.members.emplace(std::move(name), Value()).second);
            });
        } else if (TakeIf("[")) {
            value.kind = JsonValue::Kind::array;
            List(']', [&] { value.items.push_back(Value()); });
        } else if (m_rest.starts_with('"')) {
            value.kind = JsonValue::Kind::string;
            value.string = String();
        } else if (!TakeIf("null")) {
            Scalar(value);
        }
        return value;
    }
    template <class Item> void List(char end, Item item) {
        SkipBlanks();
        if (TakeIf(std::string_view(&end, 1))) {
            return;
        }
        char next = ',';
        while (next == ',') {
            SkipBlanks();
            item();
            SkipBlanks();
            next = Take();
        }
        Require(next == end);
    }
    void Scalar(JsonValue& value) {
        value.kind = JsonValue::Kind::truth;
        value.truth = TakeIf("true");
        if (value.truth || TakeIf("false")) {
            return;
        }
        value.kind = JsonValue::Kind::number;
        std::string digits;
        while (!m_rest.empty() && (std::isdigit(static_cast<unsigned char>(m_rest.front())) != 0 ||
                                   (digits.empty() && m_rest.front() == '-'))) {
            digits += Take();
        }
        Require(!digits.empty());
        value.number = std::strtod(digits.c_str(), nullptr);
    }
    std::string String() {
        Require(Take() == '"');
        std::string text;
        for (char next = Take(); next != '"'; next = Take()) {
            Require(static_cast<unsigned char>(next) >= 0x20);
            text += next == '\\' ? Escaped() : next;
        }
        return text;
    }
    /// Only ASCII; other characters must be UTF-8.
    char Escaped() {
        const char kind = Take();
        if (kind == 'u') {
            const std::string digits{Take(), Take(), Take(), Take()};
            const long unit = std::strtol(digits.c_str(), nullptr, 16);
            Require(unit > 0 && unit < 0x80);
            return static_cast<char>(unit);
        }
        Require(kind == '"' || kind == '\\');
        return kind;
    }

    std::string_view m_rest;
};
