// CNKTokenString compared with a model: random operations on both must lead to the same state.

#include "core/nktokenstring.h"

#include "tests/core/texts.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

using support::ExpectNoLeaks;
using support::Held;
using support::Make;
using support::Printed;
using support::TextOf;

namespace {

using OwnedText = std::optional<std::wstring>;
using Texts = std::vector<OwnedText>;

std::string Print(const OwnedText& text) {
    return text ? Printed(*text) : "null";
}

std::string Print(const Texts& texts) {
    std::string printed;
    for (const OwnedText& text : texts) {
        printed += "\n        " + Print(text);
    }
    return printed;
}

OwnedText Own(const CNKString& string) {
    return OwnedText(Held(string));
}

/// The state of a token string and its rules, written as simply as possible.
struct Model {
    Texts tokens;
    OwnedText separator;
    bool multiCharacter = false;

    bool operator==(const Model&) const = default;

    std::string Print() const {
        return std::string("\n    mode ") + (multiCharacter ? "whole separator" : "each character") + ", separator " +
               ::Print(separator) + ", tokens" + ::Print(tokens);
    }

    /// The length of the separator at `position` of `text`, which is before the first NUL; 0 if there is none.
    std::size_t SeparatorAt(const std::wstring& text, std::size_t position) const {
        const std::wstring all = separator.value_or(L"");
        if (multiCharacter && all.size() > 1) {
            const bool hasNul = all.find(L'\0') != std::wstring::npos;
            return !hasNul && text.substr(position, all.size()) == all ? all.size() : 0;
        }
        for (const wchar_t one : all) {
            if (one == L'\0') {
                return 0;
            }
            if (one == text[position]) {
                return 1;
            }
        }
        return 0;
    }

    Texts Pieces(const OwnedText& value) const {
        if (value.value_or(L"").empty()) {
            return {};
        }
        Texts pieces = {L""};
        bool searching = true;
        for (std::size_t position = 0; position < value->size();) {
            searching = searching && value->at(position) != L'\0';
            const std::size_t width = searching ? SeparatorAt(*value, position) : 0;
            if (width != 0) {
                pieces.emplace_back(L"");
                position += width;
            } else {
                *pieces.back() += value->at(position++);
            }
        }
        return pieces;
    }

    OwnedText Value() const {
        std::wstring joiner = separator.value_or(L"");
        if (!multiCharacter) {
            joiner = joiner.substr(0, 1) == std::wstring(1, L'\0') ? L"" : joiner.substr(0, 1);
        }
        OwnedText value;
        for (const OwnedText& token : tokens) {
            value = (value ? *value + joiner : L"") + token.value_or(L"");
        }
        return value;
    }

    void SetSeparator(const OwnedText& newSeparator, bool newMode) {
        const OwnedText value = Value();
        separator = newSeparator;
        multiCharacter = newMode;
        tokens = Pieces(value);
    }

    /// Inserts `added` before token `n`, or at the end.
    void Put(std::size_t n, const Texts& added) {
        Texts result;
        for (std::size_t i = 0; i < tokens.size() && i < n; ++i) {
            result.push_back(tokens[i]);
        }
        for (const OwnedText& text : added) {
            result.push_back(text);
        }
        for (std::size_t i = n; i < tokens.size(); ++i) {
            result.push_back(tokens[i]);
        }
        tokens = result;
    }

    void Insert(std::size_t n, const OwnedText& text) { Put(n, n < tokens.size() ? Pieces(text) : Texts{text}); }

    void Remove(std::size_t n) {
        Texts result;
        for (std::size_t i = 0; i < tokens.size(); ++i) {
            if (i != n) {
                result.push_back(tokens[i]);
            }
        }
        tokens = result;
    }
};

/// Whether each query of the object gives the state of the model.
bool Agrees(const CNKTokenString& object, const Model& model) {
    if (object.GetCount() != model.tokens.size() || object.GetMultiCharacter() != model.multiCharacter ||
        Own(object.GetSeparator()) != model.separator || Own(object.GetValue()) != model.Value() ||
        !object.GetToken(model.tokens.size()).IsEmpty()) {
        return false;
    }
    for (std::size_t i = 0; i < model.tokens.size(); ++i) {
        if (Own(object.at(i)) != model.tokens[i] || TextOf(object[i]) != TextOf(object.at(i))) {
            return false;
        }
    }
    return true;
}

/// An object and its model, both changed by the same random operations.
class Pair {
  public:
    explicit Pair(unsigned int seed) : m_random(seed) {}

    /// Sets a random value, sometimes after a random separator and mode.
    void SetValue() {
        if (Chance(3)) {
            SetSeparator();
        }
        Begin("SetValue");
        const Argument value = RandomArgument(12);
        m_model.tokens = m_model.Pieces(value.text);
        m_object.SetValue(value.string);
    }

    /// Does a random operation other than SetValue.
    void Operate() {
        switch (Below(13)) {
        case 0:
            return SetSeparator();
        case 1:
            return SetMultiCharacter();
        case 2:
            return Add();
        case 3:
        case 4:
            return Insert();
        case 5:
        case 6:
            return SetToken();
        case 7:
            return AddList();
        case 8:
            return InsertList();
        case 9:
            return InsertAt();
        case 10:
            return AssignList();
        case 11:
            return Construct();
        default:
            return ConstructFromParts();
        }
    }

    /// Whether object and model are in the same state.
    bool Agree() const { return Agrees(m_object, m_model); }

    /// The last operation, and the states around it.
    std::string Print() const {
        Model actual;
        for (const CNKString& token : m_object) {
            actual.tokens.push_back(Own(token));
        }
        actual.separator = Own(m_object.GetSeparator());
        actual.multiCharacter = m_object.GetMultiCharacter();
        return std::string("\noperation: ") + m_operation + " with n = " + std::to_string(m_position) +
               ", flag = " + (m_flag ? "true" : "false") + ", arguments" + ::Print(m_arguments) +
               "\nbefore:" + m_before.Print() + "\nwanted:" + m_model.Print() + "\n    value " +
               ::Print(m_model.Value()) + "\nis:" + actual.Print() + "\n    value " + ::Print(Own(m_object.GetValue()));
    }

  private:
    /// A random argument: a string to pass, which may be a token of the object itself, and its text.
    struct Argument {
        const CNKString& string;
        OwnedText text;
    };

    std::size_t Below(std::size_t limit) { return m_random() % limit; }
    bool Chance(std::size_t oneIn) { return Below(oneIn) == 0; }

    void Begin(const char* operation) {
        m_operation = operation;
        m_before = m_model;
        m_arguments.clear();
    }

    bool RandomFlag() { return m_flag = Chance(2); }
    std::size_t RandomPosition(std::size_t limit) { return m_position = Below(limit); }

    /// A random text of fewer than `limit` units, or null.
    OwnedText RandomText(std::size_t limit) {
        // Separators are frequent, NULs less so.
        static constexpr wchar_t alphabet[] = {L'a', L'b', L',', L',', L';', L';', L',', L';', L'a', L'\0'};
        OwnedText text;
        if (!Chance(20)) {
            text = L"";
            for (std::size_t length = Below(limit); length > 0; --length) {
                *text += alphabet[Below(std::size(alphabet) - (Chance(3) ? 0 : 1))];
            }
        }
        m_arguments.push_back(text);
        return text;
    }

    Argument RandomArgument(std::size_t limit) {
        if (!m_model.tokens.empty() && Chance(5)) {
            const std::size_t own = Below(m_model.tokens.size());
            m_arguments.push_back(m_model.tokens[own]);
            return {m_object.at(own), m_model.tokens[own]};
        }
        const OwnedText text = RandomText(limit);
        return {m_fresh = Make(text), text};
    }

    /// A list of up to three random strings, or the object itself.
    std::pair<const CNKStringList&, Texts> RandomList() {
        if (m_model.tokens.size() < 20 && Chance(5)) {
            m_arguments = m_model.tokens;
            return {m_object, m_model.tokens};
        }
        m_freshList.clear();
        for (std::size_t count = Below(4); count > 0; --count) {
            m_freshList.push_back(Make(RandomText(6)));
        }
        return {m_freshList, m_arguments};
    }

    void SetSeparator() {
        Begin("SetSeparator");
        const Argument separator = RandomArgument(4);
        const bool mode = RandomFlag();
        m_model.SetSeparator(separator.text, mode);
        m_object.SetSeparator(separator.string, mode);
    }

    void SetMultiCharacter() {
        Begin("SetMultiCharacter");
        const bool mode = RandomFlag();
        m_model.SetSeparator(m_model.separator, mode);
        m_object.SetMultiCharacter(mode);
    }

    void Add() {
        Begin("Add");
        const Argument token = RandomArgument(6);
        m_model.tokens.push_back(token.text);
        m_object.Add(token.string);
    }

    void Insert() {
        Begin("Insert");
        const Argument text = RandomArgument(8);
        const std::size_t n = RandomPosition(m_model.tokens.size() + 3);
        m_model.Insert(n, text.text);
        m_object.Insert(n, text.string);
    }

    void SetToken() {
        if (m_model.tokens.empty()) {
            return;
        }
        Begin("SetToken");
        const Argument text = RandomArgument(8);
        const std::size_t n = RandomPosition(m_model.tokens.size());
        m_model.Remove(n);
        m_model.Insert(n, text.text);
        if (RandomFlag()) {
            m_object.SetToken(n, text.string);
        } else {
            m_object.SetToken(m_object.begin() + static_cast<std::ptrdiff_t>(n), text.string);
        }
    }

    void AddList() {
        Begin("AddList");
        const auto [list, texts] = RandomList();
        m_model.Put(m_model.tokens.size(), texts);
        m_object.AddList(list);
    }

    void InsertList() {
        Begin("InsertList");
        const auto [list, texts] = RandomList();
        const std::size_t n = RandomPosition(m_model.tokens.size() + 3);
        m_model.Put(n, texts);
        m_object.InsertList(n, list);
    }

    void InsertAt() {
        Begin("InsertAt");
        const Argument token = RandomArgument(6);
        const std::size_t n = RandomPosition(m_model.tokens.size() + 1);
        m_model.Put(n, {token.text});
        m_object.InsertAt(n, token.string);
    }

    void AssignList() {
        Begin("operator=");
        const auto [list, texts] = RandomList();
        m_model.tokens = texts;
        m_object = list;
    }

    void Construct() {
        Begin("constructor from a value");
        const Argument value = RandomArgument(12);
        const Argument separator = {m_freshSeparator = Make(RandomText(4)), m_arguments.back()};
        const bool mode = RandomFlag();
        m_model = {{}, separator.text, mode};
        m_model.tokens = m_model.Pieces(value.text);
        m_object = CNKTokenString(value.string, separator.string, mode);
    }

    void ConstructFromParts() {
        Begin("constructor from parts");
        const auto [list, texts] = RandomList();
        std::wstring all;
        for (const OwnedText& text : texts) {
            all += text.value_or(L"");
        }
        const Argument separator = {m_freshSeparator = Make(RandomText(4)), m_arguments.back()};
        const bool mode = RandomFlag();
        m_model = {{}, separator.text, mode};
        m_model.tokens = m_model.Pieces(all);
        m_object = CNKTokenString(list, separator.string, mode);
    }

    std::mt19937 m_random;
    CNKTokenString m_object;
    Model m_model;

    // The arguments that are not part of the object.
    CNKString m_fresh;
    CNKString m_freshSeparator;
    CNKStringList m_freshList;

    // The last operation, for the failure message.
    const char* m_operation = "none";
    Model m_before;
    Texts m_arguments;
    std::size_t m_position = 0;
    bool m_flag = false;
};

TEST(NKTokenStringModel, RandomOperations_LeaveObjectAndModelInTheSameState) {
    const ExpectNoLeaks noLeaks;
    constexpr unsigned int seed = 20240229;
    constexpr int values = 100'000;
    Pair pair(seed);
    for (int step = 0; step < values; ++step) {
        pair.SetValue();
        ASSERT_TRUE(pair.Agree()) << "seed " << seed << ", step " << step << pair.Print();
        for (int operations = 2; operations > 0; --operations) {
            pair.Operate();
            ASSERT_TRUE(pair.Agree()) << "seed " << seed << ", step " << step << pair.Print();
        }
    }
}

} // namespace
