/// A plain model of the library's objects: what each member does, as simply as possible, with standard containers. It
/// shares no code with the product.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <windows.h>

#include <oleauto.h>

namespace model {

/// A BSTR; none for null, which differs from length zero.
using Text = std::optional<std::wstring>;

struct Object;
using Ref = std::shared_ptr<Object>;

/// The content of a VARIANT.
struct Value {
    VARTYPE type = VT_EMPTY;
    std::int64_t bits = 0;        ///< of a number; of a reference, the address
    Text text = {};               ///< of a VT_BSTR
    Ref object = {};              ///< of a VT_DISPATCH or VT_UNKNOWN; may be null
    std::vector<long> array = {}; ///< of a VT_ARRAY | VT_I4

    static Value Long(long number) { return {.type = VT_I4, .bits = number}; }
    static Value Bool(bool truth) { return {.type = VT_BOOL, .bits = truth ? VARIANT_TRUE : VARIANT_FALSE}; }
    static Value Of(Text text) { return {.type = VT_BSTR, .text = std::move(text)}; }
    static Value Of(Ref object) { return {.type = VT_DISPATCH, .object = std::move(object)}; }
};

enum class Kind { String, Tokens, Strings, Stream, TokensList, StreamList, Collection, Enumerator };

/// The result of a member.
struct Outcome {
    HRESULT hr = S_OK;
    Value value = {};                 ///< VT_EMPTY: no result
    const wchar_t* message = nullptr; ///< of the error record; null if there is none

    static Outcome Failed(const wchar_t* message) { return {E_FAIL, {}, message}; }
    static Outcome BadIndex() { return Failed(L"Index out of bounds!"); }
};

/// An object. The number of Refs to it must be the real object's number of references.
struct Object {
    explicit Object(Kind kindOfObject) : kind(kindOfObject) {}
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;

    /// The elements for an enumerator.
    [[nodiscard]] virtual std::size_t Size() const { return 0; }
    [[nodiscard]] virtual Value At(std::size_t) const { return {}; }

    const Kind kind;
    IUnknown* identity = nullptr; ///< the real object's; not a counted reference
};

/// The text up to its first NUL, which an object stores of a BSTR.
Text UpToNul(const Text& text);

struct String final : Object {
    String() : Object(Kind::String) {}

    long TrimLeft();
    long TrimRight();
    [[nodiscard]] Text Mid(std::uint64_t start, std::uint64_t count) const;
    [[nodiscard]] Text Right(std::uint64_t count) const;
    [[nodiscard]] std::size_t Length() const { return text ? text->size() : 0; }

    Text text;
};

struct Tokens final : Object {
    Tokens() : Object(Kind::Tokens) {}
    [[nodiscard]] std::size_t Size() const override { return tokens.size(); }
    [[nodiscard]] Value At(std::size_t index) const override { return Value::Of(tokens[index]); }

    void Split(const Text& value);
    [[nodiscard]] Text Join() const;
    void SetSeparator(const Text& newSeparator, bool newWhole);

    std::vector<Text> tokens;
    Text separator;
    bool whole = false; ///< the whole separator separates, not each of its characters
};

struct Strings final : Object {
    Strings() : Object(Kind::Strings) {}
    [[nodiscard]] std::size_t Size() const override { return items.size(); }
    [[nodiscard]] Value At(std::size_t index) const override { return Value::Of(items[index]); }

    std::vector<Text> items;
};

/// A list of token strings or of streams.
struct Objects final : Object {
    using Object::Object;
    [[nodiscard]] std::size_t Size() const override { return entries.size(); }
    [[nodiscard]] Value At(std::size_t index) const override { return Value::Of(entries[index]); }

    std::vector<Ref> entries;
};

/// A value that its caller keeps alive while a collection refers to it.
struct Loan {
    virtual ~Loan() = default;
};

struct Collection final : Object {
    struct Element {
        Value value;
        std::shared_ptr<Loan> loan; ///< null: the collection owns the value. Destroyed before `value`.
    };

    Collection() : Object(Kind::Collection) {}
    [[nodiscard]] std::size_t Size() const override { return elements.size(); }
    [[nodiscard]] Value At(std::size_t index) const override;

    std::vector<Element> elements;
};

/// The bytes of the files, by number; none if the file does not exist.
using Files = std::vector<std::optional<std::string>>;

/// The file number of a name that is not one of the files.
constexpr int notAFile = -1;

struct Stream final : Object {
    explicit Stream(Files& allFiles) : Object(Kind::Stream), files(allFiles) {}

    bool Open(const Text& newName, int newFile, bool inBinary);
    void Close();
    void Clear();
    void ReadNextLine();
    bool UngetLine();
    bool WriteLine(const Text& line);
    [[nodiscard]] bool IsEof() const { return !isOpen || endOfFile; }

    Files& files;
    Text name;
    int file = notAFile; ///< the file of the name
    bool isOpen = false;
    bool binary = false;
    std::size_t position = 0;
    bool endOfFile = false;
    bool failed = false;
    Text lastLine;
    unsigned changes = 0; ///< how often lastLine has been written
    // What the real stream has lent, and the number of changes at that time.
    const wchar_t* lent = nullptr;
    unsigned lentChange = 0;

  private:
    std::string& Bytes() { return *files[static_cast<std::size_t>(file)]; }
    void SetLastLine(Text line);
    std::string ReadPiece();
    void Put(char byte);
};

bool IsCommentLine(const Text& line);

struct Enumerator final : Object {
    explicit Enumerator(Ref collection, std::size_t start = 0)
        : Object(Kind::Enumerator), owner(std::move(collection)), position(start) {}

    /// The next elements, at most `count`.
    std::vector<Value> Next(std::size_t count);
    /// Returns false if fewer were left.
    bool Skip(std::size_t count);

    const Ref owner;
    std::size_t position;
};

/// Whether `object` is or refers to `other`.
bool Reaches(const Ref& object, const Object* other);

} // namespace model
