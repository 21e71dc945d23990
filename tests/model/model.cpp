#include "tests/model/model.h"

#include <algorithm>
#include <cwctype>
#include <string_view>

namespace model {

Text UpToNul(const Text& text) {
    return text ? Text(std::wstring(text->c_str())) : text;
}

// Strings

long String::TrimLeft() {
    long count = 0;
    while (Length() > 0 && std::iswspace(static_cast<std::wint_t>(text->front())) != 0) {
        text->erase(0, 1);
        ++count;
    }
    return count;
}

long String::TrimRight() {
    long count = 0;
    while (Length() > 0 && std::iswspace(static_cast<std::wint_t>(text->back())) != 0) {
        text->pop_back();
        ++count;
    }
    return count;
}

Text String::Mid(std::uint64_t start, std::uint64_t count) const {
    if (start > Length()) {
        return {};
    }
    return text.value_or(L"").substr(start, count);
}

Text String::Right(std::uint64_t count) const {
    return Mid(Length() - count, count); // wraps around and is then past the end
}

// Token strings

void Tokens::Split(const Text& value) {
    tokens.clear();
    if (!value || value->empty()) {
        return;
    }
    const std::wstring separators = separator.value_or(L"");
    const bool one = whole || separators.size() == 1;
    std::wstring token;
    std::size_t i = 0;
    while (i < value->size()) {
        const bool found = !separators.empty() && (one ? value->compare(i, separators.size(), separators) == 0
                                                       : separators.find((*value)[i]) != std::wstring::npos);
        if (found) {
            tokens.emplace_back(token);
            token.clear();
            i += one ? separators.size() : 1;
        } else {
            token += (*value)[i];
            ++i;
        }
    }
    tokens.emplace_back(token);
}

Text Tokens::Join() const {
    if (tokens.empty()) {
        return {};
    }
    const std::wstring separators = separator.value_or(L"");
    std::wstring joined;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        if (i > 0) {
            joined += whole ? separators : separators.substr(0, 1);
        }
        joined += tokens[i].value_or(L"");
    }
    return joined;
}

void Tokens::SetSeparator(const Text& newSeparator, bool newWhole) {
    const Text value = Join();
    separator = newSeparator;
    whole = newWhole;
    Split(value);
}

// Collections

Value Collection::At(std::size_t index) const {
    Value value = elements[index].value;
    if (value.type == VT_BSTR && !value.text) {
        // The platform makes the copy, and not every platform copies a null BSTR as null.
        VARIANT null = {};
        V_VT(&null) = VT_BSTR;
        VARIANT copy = {};
        VariantCopy(&copy, &null);
        value.text = V_BSTR(&copy) == nullptr ? Text() : Text(L"");
        VariantClear(&copy);
    }
    return value;
}

// File streams

void Stream::SetLastLine(Text line) {
    lastLine = std::move(line);
    ++changes;
}

bool Stream::Open(const Text& newName, int newFile, bool inBinary) {
    SetLastLine({});
    Close();
    name = newName;
    file = newFile;
    binary = inBinary;
    position = 0;
    isOpen = file != notAFile && files[static_cast<std::size_t>(file)].has_value();
    return isOpen;
}

void Stream::Close() {
    isOpen = false;
    endOfFile = false;
    failed = false;
}

void Stream::Clear() {
    SetLastLine({});
    Close();
    if (file != notAFile) {
        files[static_cast<std::size_t>(file)] = "";
    }
}

/// What std::istream::getline reads into a buffer of 127 characters and the NUL.
std::string Stream::ReadPiece() {
    std::string piece;
    if (endOfFile || failed) {
        failed = true;
        return piece;
    }
    const std::string& bytes = Bytes();
    bool extracted = false;
    while (position < bytes.size()) {
        if (!binary && bytes.compare(position, 2, "\r\n") == 0) {
            ++position;
        }
        if (bytes[position] == '\n') {
            ++position;
            return piece;
        }
        if (piece.size() == 127) {
            failed = true;
            return piece;
        }
        piece += bytes[position];
        ++position;
        extracted = true;
    }
    endOfFile = true;
    failed = !extracted;
    return piece;
}

void Stream::ReadNextLine() {
    if (IsEof()) {
        return;
    }
    std::wstring line;
    std::string piece;
    do {
        piece = ReadPiece().c_str(); // up to a NUL
        for (const char byte : piece) {
            line += static_cast<wchar_t>(static_cast<unsigned char>(byte));
        }
    } while (piece.size() == 127);
    SetLastLine(line);
}

bool Stream::UngetLine() {
    if (!isOpen) {
        return false;
    }
    const std::size_t back = 2 + (endOfFile || !lastLine ? 0 : lastLine->size());
    const bool moves = !failed && back <= position;
    if (moves) {
        position -= back;
    }
    endOfFile = false;
    failed = false;
    return moves;
}

void Stream::Put(char byte) {
    std::string& bytes = Bytes();
    bytes.resize(std::max(bytes.size(), position + 1));
    bytes[position] = byte;
    ++position;
}

bool Stream::WriteLine(const Text& line) {
    if (!isOpen) {
        return false;
    }
    if (failed && !endOfFile) { // inside a line that was cut
        return true;
    }
    for (const wchar_t character : line.value_or(L"") + L'\n') {
        if (character == L'\n' && !binary) {
            Put('\r');
        }
        Put(static_cast<char>(character));
    }
    return true;
}

bool IsCommentLine(const Text& line) {
    const std::wstring text = line.value_or(L"");
    return text.empty() || text[0] == L';' || text[0] == L'#' ||
           std::all_of(text.begin(), text.end(),
                       [](wchar_t unit) { return std::iswspace(static_cast<std::wint_t>(unit)) != 0; });
}

// Enumerators

std::vector<Value> Enumerator::Next(std::size_t count) {
    std::vector<Value> values;
    while (values.size() < count && position < owner->Size()) {
        values.push_back(owner->At(position));
        ++position;
    }
    return values;
}

bool Enumerator::Skip(std::size_t count) {
    for (; count > 0; --count) {
        if (position >= owner->Size()) {
            return false;
        }
        ++position;
    }
    return true;
}

bool Reaches(const Ref& object, const Object* other) {
    if (object == nullptr) {
        return false;
    }
    if (object.get() == other) {
        return true;
    }
    if (const auto* const enumerator = dynamic_cast<const Enumerator*>(object.get())) {
        return Reaches(enumerator->owner, other);
    }
    for (std::size_t i = 0; i < object->Size(); ++i) {
        if (Reaches(object->At(i).object, other)) {
            return true;
        }
    }
    return false;
}

} // namespace model
