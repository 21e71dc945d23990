#include "tests/model/members.h"

#include <algorithm>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

#include "nuvolex.h"

namespace model {
namespace {

// Through the vtable

template <class T> constexpr bool isObject = std::is_base_of_v<IDispatch, std::remove_pointer_t<T>>;

template <class T> T ArgumentFrom(VARIANT& value) {
    // clang-format off
    if constexpr (std::is_same_v<T, VARIANT>) { return value; }
    else if constexpr (std::is_same_v<T, BSTR>) { return V_BSTR(&value); }
    else if constexpr (std::is_same_v<T, VARIANT_BOOL>) { return V_BOOL(&value); }
    else if constexpr (isObject<T>) { return static_cast<T>(V_DISPATCH(&value)); }
    else { return static_cast<T>(V_I4(&value)); }
    // clang-format on
}

template <class T> void StoreResult(T value, VARIANT& result) {
    // clang-format off
    if constexpr (std::is_same_v<T, BSTR>) { V_VT(&result) = VT_BSTR; V_BSTR(&result) = value; }
    else if constexpr (std::is_same_v<T, VARIANT_BOOL>) { V_VT(&result) = VT_BOOL; V_BOOL(&result) = value; }
    else if constexpr (std::is_same_v<T, IUnknown*>) { V_VT(&result) = VT_UNKNOWN; V_UNKNOWN(&result) = value; }
    else if constexpr (isObject<T>) { V_VT(&result) = VT_DISPATCH; V_DISPATCH(&result) = value; }
    else { V_VT(&result) = VT_I4; V_I4(&result) = value; }
    // clang-format on
}

/// The result types among the parameter types. (A BSTR is a pointer, but not a result.)
template <class T> constexpr bool isResult = false;
template <class T> constexpr bool isResult<T*> = !isObject<T*> && !std::is_same_v<T*, BSTR>;

template <auto method> struct Vtable;
template <class Interface, class... Types, HRESULT (STDMETHODCALLTYPE Interface::*method)(Types...)>
struct Vtable<method> {
    static VtableReply Call(IDispatch* object, VARIANT* arguments, VARIANT& result) {
        return Call(object, arguments, result, std::index_sequence_for<Types...>());
    }

  private:
    template <class T> static T Pass(VARIANT* argument, [[maybe_unused]] void* out) {
        if constexpr (isResult<T>) {
            return static_cast<T>(out);
        } else {
            return ArgumentFrom<T>(*argument);
        }
    }

    template <std::size_t... i>
    static VtableReply Call(IDispatch* object, VARIANT* arguments, VARIANT& result, std::index_sequence<i...>) {
        auto* const self = static_cast<Interface*>(object);
        using Last = std::tuple_element_t<sizeof...(Types), std::tuple<void, Types...>>;
        if constexpr (isResult<Last>) {
            using Out = std::remove_pointer_t<Last>;
            if constexpr (std::is_same_v<Out, VARIANT>) {
                const VARIANT before = result;
                const HRESULT hr = (self->*method)(Pass<Types>(arguments + i, &result)...);
                return {hr, std::memcmp(&before, &result, sizeof(before)) == 0};
            } else {
                Out out = {};
                std::memset(&out, 0x5a, sizeof(out));
                const Out before = out;
                const HRESULT hr = (self->*method)(Pass<Types>(arguments + i, &out)...);
                if (hr == S_OK) {
                    StoreResult(out, result);
                }
                return {hr, out == before};
            }
        } else {
            return {(self->*method)(Pass<Types>(arguments + i, nullptr)...), true};
        }
    }
};

// In the model

template <class Class> Class& Self(const ModelCall& call) {
    return static_cast<Class&>(*call.self);
}
long LongOf(const ModelCall& call, std::size_t i) {
    return static_cast<long>(call.arguments[i].bits);
}
/// An int as converted by the core: negative ones become very large.
std::uint64_t Widened(const ModelCall& call, std::size_t i) {
    return static_cast<std::uint64_t>(call.arguments[i].bits);
}
Text TextOf(const ModelCall& call, std::size_t i) {
    return UpToNul(call.arguments[i].text);
}
bool IsIndex(const ModelCall& call, std::size_t size) {
    return LongOf(call, 0) >= 0 && static_cast<std::size_t>(LongOf(call, 0)) < size;
}
Outcome Give(Value value) {
    return {S_OK, std::move(value)};
}
Outcome GiveCount(std::size_t count) {
    return Give(Value::Long(static_cast<long>(count)));
}
Outcome GiveText(Text text) {
    return Give(Value::Of(std::move(text)));
}

Outcome Count(const ModelCall& call) {
    return GiveCount(call.self->Size());
}
Outcome NewEnum(const ModelCall& call) {
    return Give({.type = VT_UNKNOWN, .object = std::make_shared<Enumerator>(call.self)});
}
Outcome Item(const ModelCall& call) {
    if (!IsIndex(call, call.self->Size())) {
        return Outcome::BadIndex();
    }
    return Give(call.self->At(static_cast<std::size_t>(LongOf(call, 0))));
}

// Strings

template <bool left, bool right> Outcome Trim(const ModelCall& call) {
    auto& self = Self<String>(call);
    const long leading = left ? self.TrimLeft() : 0;
    return Give(Value::Long(leading + (right ? self.TrimRight() : 0)));
}

// String lists

Outcome AddText(const ModelCall& call) {
    Self<Strings>(call).items.push_back(TextOf(call, 0));
    return {};
}
Outcome PutText(const ModelCall& call) {
    auto& items = Self<Strings>(call).items;
    if (!IsIndex(call, items.size() + 1)) {
        return Outcome::BadIndex();
    }
    const auto index = static_cast<std::size_t>(LongOf(call, 0));
    items.resize(std::max(items.size(), index + 1));
    items[index] = TextOf(call, 1);
    return {};
}
Outcome RemoveText(const ModelCall& call) {
    auto& items = Self<Strings>(call).items;
    if (!IsIndex(call, items.size())) {
        return Outcome::BadIndex();
    }
    items.erase(items.begin() + LongOf(call, 0));
    return {};
}

// Lists of objects

template <class Class> Outcome AddNew(const ModelCall& call) {
    auto& self = Self<Objects>(call);
    if constexpr (std::is_same_v<Class, Stream>) {
        self.entries.push_back(call.makeStream());
    } else {
        self.entries.push_back(std::make_shared<Class>());
    }
    return Give(Value::Of(self.entries.back()));
}
Outcome AddObject(const ModelCall& call) {
    Self<Objects>(call).entries.push_back(call.arguments[0].object);
    return {};
}
/// `appends`: one past the end is a valid index too.
template <bool appends> Outcome PutObject(const ModelCall& call) {
    auto& entries = Self<Objects>(call).entries;
    if (!IsIndex(call, entries.size() + (appends ? 1 : 0))) {
        return Outcome::BadIndex();
    }
    const auto index = static_cast<std::size_t>(LongOf(call, 0));
    entries.resize(std::max(entries.size(), index + 1));
    entries[index] = call.arguments[1].object;
    return {};
}
Outcome RemoveObject(const ModelCall& call) {
    auto& entries = Self<Objects>(call).entries;
    if (!IsIndex(call, entries.size())) {
        return Outcome::BadIndex();
    }
    entries.erase(entries.begin() + LongOf(call, 0));
    return {};
}

// Variant collections

bool HasElement(long number, std::size_t size) {
    return number >= 1 && static_cast<std::size_t>(number) <= size;
}
Outcome AddValue(const ModelCall& call) {
    auto& elements = Self<Collection>(call).elements;
    const long position = LongOf(call, 1);
    if (position != 0 && !HasElement(position, elements.size())) {
        return Outcome::Failed(L"Position invalid!");
    }
    elements.insert(position == 0 ? elements.end() : elements.begin() + (position - 1), {call.arguments[0], call.loan});
    return {};
}
Outcome RemoveValue(const ModelCall& call) {
    auto& elements = Self<Collection>(call).elements;
    const long index = LongOf(call, 0);
    if (index != 0 && !HasElement(index, elements.size())) {
        return Outcome::BadIndex();
    }
    if (!elements.empty()) {
        elements.erase(index == 0 ? elements.end() - 1 : elements.begin() + (index - 1));
    }
    return {};
}

const std::vector<Member>& Table() {
    static const std::vector<Member> members = [] {
        constexpr WORD method = DISPATCH_METHOD;
        constexpr WORD get = DISPATCH_PROPERTYGET;
        constexpr WORD put = DISPATCH_PROPERTYPUT;
        constexpr VARTYPE none = VT_EMPTY;
        // clang-format off
        return std::vector<Member>{
            {Kind::String, "TrimLeft", 0x60020000, method, VT_I4, {}, {}, 0, {},
             &Vtable<&INXString::TrimLeft>::Call, &Trim<true, false>},
            {Kind::String, "TrimRight", 0x60020001, method, VT_I4, {}, {}, 0, {},
             &Vtable<&INXString::TrimRight>::Call, &Trim<false, true>},
            {Kind::String, "Trim", 0x60020002, method, VT_I4, {}, {}, 0, {},
             &Vtable<&INXString::Trim>::Call, &Trim<true, true>},
            {Kind::String, "Left", 0x60020003, method, VT_BSTR, {VT_I4}, {"nLength"}, 0, {},
             &Vtable<&INXString::Left>::Call,
             [](const ModelCall& call) { return GiveText(Self<String>(call).Mid(0, Widened(call, 0))); }},
            {Kind::String, "Right", 0x60020004, method, VT_BSTR, {VT_I4}, {"nLength"}, 0, {},
             &Vtable<&INXString::Right>::Call,
             [](const ModelCall& call) { return GiveText(Self<String>(call).Right(Widened(call, 0))); }},
            {Kind::String, "Mid", 0x60020005, method, VT_BSTR, {VT_I4, VT_I4}, {"nStart", "nLength"}, 0, {},
             &Vtable<&INXString::Mid>::Call,
             [](const ModelCall& call) {
                 return GiveText(Self<String>(call).Mid(Widened(call, 0), Widened(call, 1)));
             }},
            {Kind::String, "Clear", 0x60020006, method, none, {}, {}, 0, {}, &Vtable<&INXString::Clear>::Call,
             [](const ModelCall& call) { Self<String>(call).text = {}; return Outcome(); }},
            {Kind::String, "Value", 0x60020007, get, VT_BSTR, {}, {}, 0, {}, &Vtable<&INXString::get_Value>::Call,
             [](const ModelCall& call) { return GiveText(Self<String>(call).text); }},
            {Kind::String, "Value", 0x60020007, put, none, {VT_BSTR}, {}, 0, {}, &Vtable<&INXString::put_Value>::Call,
             [](const ModelCall& call) { Self<String>(call).text = TextOf(call, 0); return Outcome(); }},
            {Kind::String, "Length", 0x60020009, get, VT_I4, {}, {}, 0, {}, &Vtable<&INXString::get_Length>::Call,
             [](const ModelCall& call) { return GiveCount(Self<String>(call).Length()); }},

            {Kind::Tokens, "Value", 0x60020000, get, VT_BSTR, {}, {}, 0, {}, &Vtable<&INXTokenString::get_Value>::Call,
             [](const ModelCall& call) { return GiveText(Self<Tokens>(call).Join()); }},
            {Kind::Tokens, "Value", 0x60020000, put, none, {VT_BSTR}, {}, 0, {},
             &Vtable<&INXTokenString::put_Value>::Call,
             [](const ModelCall& call) { Self<Tokens>(call).Split(TextOf(call, 0)); return Outcome(); }},
            {Kind::Tokens, "Separator", 0x60020002, get, VT_BSTR, {}, {}, 0, {},
             &Vtable<&INXTokenString::get_Separator>::Call,
             [](const ModelCall& call) { return GiveText(Self<Tokens>(call).separator); }},
            {Kind::Tokens, "Separator", 0x60020002, put, none, {VT_BSTR}, {}, 0, {},
             &Vtable<&INXTokenString::put_Separator>::Call,
             [](const ModelCall& call) {
                 Self<Tokens>(call).SetSeparator(TextOf(call, 0), false);
                 return Outcome();
             }},
            {Kind::Tokens, "MultiCharacter", 0x60020004, get, VT_BOOL, {}, {}, 0, {},
             &Vtable<&INXTokenString::get_MultiCharacter>::Call,
             [](const ModelCall& call) { return Give(Value::Bool(Self<Tokens>(call).whole)); }},
            {Kind::Tokens, "MultiCharacter", 0x60020004, put, none, {VT_BOOL}, {}, 0, {},
             &Vtable<&INXTokenString::put_MultiCharacter>::Call,
             [](const ModelCall& call) {
                 auto& self = Self<Tokens>(call);
                 self.SetSeparator(self.separator, call.arguments[0].bits == VARIANT_TRUE);
                 return Outcome();
             }},
            {Kind::Tokens, "Add", 0x60020006, method, none, {VT_BSTR}, {"Item"}, 0, {},
             &Vtable<&INXTokenString::Add>::Call,
             [](const ModelCall& call) { Self<Tokens>(call).tokens.push_back(TextOf(call, 0)); return Outcome(); }},
            {Kind::Tokens, "Count", 0x60020007, get, VT_I4, {}, {}, 0, {},
             &Vtable<&INXTokenString::get_Count>::Call, &Count},
            {Kind::Tokens, "Token", DISPID_VALUE, get, VT_BSTR, {VT_I4}, {"n"}, 0, {},
             &Vtable<&INXTokenString::get_Token>::Call, &Item},
            {Kind::Tokens, "_NewEnum", DISPID_NEWENUM, get, VT_UNKNOWN, {}, {}, 0, {},
             &Vtable<&INXTokenString::get__NewEnum>::Call, &NewEnum},

            {Kind::Strings, "Item", 0x60020000, get, VT_BSTR, {VT_I4}, {"index"}, 0, {},
             &Vtable<&INXStringList::get_Item>::Call, &Item},
            {Kind::Strings, "Item", 0x60020000, put, none, {VT_I4, VT_BSTR}, {"index"}, 0, {},
             &Vtable<&INXStringList::put_Item>::Call, &PutText},
            {Kind::Strings, "New", 0x60020002, get, VT_BSTR, {}, {}, 0, {}, &Vtable<&INXStringList::get_New>::Call,
             [](const ModelCall&) { return GiveText({}); }},
            {Kind::Strings, "New", 0x60020002, put, none, {VT_BSTR}, {}, 0, {},
             &Vtable<&INXStringList::put_New>::Call, &AddText},
            {Kind::Strings, "Remove", 0x60020004, method, none, {VT_I4}, {"index"}, 0, {},
             &Vtable<&INXStringList::Remove>::Call, &RemoveText},
            {Kind::Strings, "Count", 0x60020005, get, VT_I4, {}, {}, 0, {},
             &Vtable<&INXStringList::get_Count>::Call, &Count},
            {Kind::Strings, "_Item", DISPID_VALUE, get, VT_BSTR, {VT_I4}, {"n"}, 0, {},
             &Vtable<&INXStringList::get__Item>::Call, &Item},
            {Kind::Strings, "_NewEnum", DISPID_NEWENUM, get, VT_UNKNOWN, {}, {}, 0, {},
             &Vtable<&INXStringList::get__NewEnum>::Call, &NewEnum},
            {Kind::Strings, "Add", 1, method, none, {VT_BSTR}, {"String"}, 0, {},
             &Vtable<&INXStringList::Add>::Call, &AddText},

            {Kind::Stream, "Clear", 0x60020000, method, none, {}, {}, 0, {}, &Vtable<&INXFileStream::Clear>::Call,
             [](const ModelCall& call) { Self<Stream>(call).Clear(); return Outcome(); }},
            {Kind::Stream, "Close", 0x60020001, method, none, {}, {}, 0, {}, &Vtable<&INXFileStream::Close>::Call,
             [](const ModelCall& call) { Self<Stream>(call).Close(); return Outcome(); }},
            {Kind::Stream, "Flush", 0x60020002, method, VT_BOOL, {}, {}, 0, {}, &Vtable<&INXFileStream::Flush>::Call,
             [](const ModelCall& call) { return Give(Value::Bool(Self<Stream>(call).isOpen)); }},
            {Kind::Stream, "IsCommentLine", 0x60020003, method, VT_BOOL, {VT_BSTR}, {"line"}, 0, {},
             &Vtable<&INXFileStream::IsCommentLine>::Call,
             [](const ModelCall& call) { return Give(Value::Bool(IsCommentLine(TextOf(call, 0)))); }},
            {Kind::Stream, "IsEOF", 0x60020004, method, VT_BOOL, {}, {}, 0, {}, &Vtable<&INXFileStream::IsEOF>::Call,
             [](const ModelCall& call) { return Give(Value::Bool(Self<Stream>(call).IsEof())); }},
            {Kind::Stream, "IsOpen", 0x60020005, method, VT_BOOL, {}, {}, 0, {}, &Vtable<&INXFileStream::IsOpen>::Call,
             [](const ModelCall& call) { return Give(Value::Bool(Self<Stream>(call).isOpen)); }},
            {Kind::Stream, "ReadNextLine", 0x60020006, method, VT_BSTR, {}, {}, 0, {},
             &Vtable<&INXFileStream::ReadNextLine>::Call,
             [](const ModelCall& call) {
                 Self<Stream>(call).ReadNextLine();
                 return GiveText(Self<Stream>(call).lastLine);
             }, true},
            {Kind::Stream, "Open", 0x60020007, method, VT_BOOL, {VT_BSTR, VT_BOOL}, {"fileName", "binary"}, 0, {},
             &Vtable<&INXFileStream::Open>::Call,
             [](const ModelCall& call) {
                 const bool binary = call.arguments[1].bits != 0;
                 return Give(Value::Bool(Self<Stream>(call).Open(TextOf(call, 0), call.file, binary)));
             }},
            {Kind::Stream, "UngetLine", 0x60020008, method, VT_BOOL, {}, {}, 0, {},
             &Vtable<&INXFileStream::UngetLine>::Call,
             [](const ModelCall& call) { return Give(Value::Bool(Self<Stream>(call).UngetLine())); }},
            {Kind::Stream, "WriteLine", 0x60020009, method, VT_BOOL, {VT_BSTR}, {"line"}, 0, {},
             &Vtable<&INXFileStream::WriteLine>::Call,
             [](const ModelCall& call) { return Give(Value::Bool(Self<Stream>(call).WriteLine(TextOf(call, 0)))); }},
            {Kind::Stream, "fileName", 0x6002000A, get, VT_BSTR, {}, {}, 0, {},
             &Vtable<&INXFileStream::get_fileName>::Call,
             [](const ModelCall& call) { return GiveText(Self<Stream>(call).name); }},

            {Kind::TokensList, "Item", 0x60020000, get, VT_DISPATCH, {VT_I4}, {"index"}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::get_Item>::Call, &Item},
            {Kind::TokensList, "Item", 0x60020000, put, none, {VT_I4, VT_DISPATCH}, {"index"}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::put_Item>::Call, &PutObject<true>},
            {Kind::TokensList, "Remove", 0x60020002, method, none, {VT_I4}, {"index"}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::Remove>::Call, &RemoveObject},
            {Kind::TokensList, "New", 0x60020003, get, VT_DISPATCH, {}, {}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::get_New>::Call, &AddNew<Tokens>},
            {Kind::TokensList, "New", 0x60020003, put, none, {VT_DISPATCH}, {}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::put_New>::Call, &AddObject},
            {Kind::TokensList, "Add", 0x60020005, method, none, {VT_DISPATCH}, {"newVal"}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::Add>::Call, &AddObject},
            {Kind::TokensList, "Count", 0x60020006, get, VT_I4, {}, {}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::get_Count>::Call, &Count},
            {Kind::TokensList, "_Item", DISPID_VALUE, get, VT_DISPATCH, {VT_I4}, {"n"}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::get__Item>::Call,
             [](const ModelCall& call) { // the only invalid index without an error record
                 Outcome outcome = Item(call);
                 outcome.message = nullptr;
                 return outcome;
             }},
            {Kind::TokensList, "_NewEnum", DISPID_NEWENUM, get, VT_UNKNOWN, {}, {}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::get__NewEnum>::Call, &NewEnum},
            {Kind::TokensList, "AddNew", 0x60020009, method, VT_DISPATCH, {}, {}, 0, Kind::Tokens,
             &Vtable<&INXTokenStringList::AddNew>::Call, &AddNew<Tokens>, true},

            {Kind::StreamList, "New", 0x60020000, get, VT_DISPATCH, {}, {}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::get_New>::Call, &AddNew<Stream>},
            {Kind::StreamList, "New", 0x60020000, put, none, {VT_DISPATCH}, {}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::put_New>::Call, &AddObject},
            {Kind::StreamList, "Item", 0x60020002, get, VT_DISPATCH, {VT_I4}, {"index"}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::get_Item>::Call, &Item},
            {Kind::StreamList, "Item", 0x60020002, put, none, {VT_I4, VT_DISPATCH}, {"index"}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::put_Item>::Call, &PutObject<false>},
            {Kind::StreamList, "Remove", 0x60020004, method, none, {VT_I4}, {"index"}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::Remove>::Call, &RemoveObject},
            {Kind::StreamList, "Count", 0x60020005, get, VT_I4, {}, {}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::get_Count>::Call, &Count},
            {Kind::StreamList, "_Item", DISPID_VALUE, get, VT_DISPATCH, {VT_I4}, {"n"}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::get__Item>::Call, &Item},
            {Kind::StreamList, "_NewEnum", DISPID_NEWENUM, get, VT_UNKNOWN, {}, {}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::get__NewEnum>::Call, &NewEnum},
            {Kind::StreamList, "Add", 0x60020008, method, none, {VT_DISPATCH}, {"FileStream"}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::Add>::Call, &AddObject},
            {Kind::StreamList, "AddNew", 0x60020009, method, VT_DISPATCH, {}, {}, 0, Kind::Stream,
             &Vtable<&INXFileStreamList::AddNew>::Call, &AddNew<Stream>},

            {Kind::Collection, "Add", 0x60020000, method, none, {VT_VARIANT, VT_I4}, {"Item", "Position"}, 1, {},
             &Vtable<&INXVariantCollection::Add>::Call, &AddValue},
            {Kind::Collection, "Remove", 0x60020001, method, none, {VT_I4}, {"index"}, 1, {},
             &Vtable<&INXVariantCollection::Remove>::Call, &RemoveValue},
            {Kind::Collection, "Count", 0x60020002, get, VT_I4, {}, {}, 0, {},
             &Vtable<&INXVariantCollection::get_Count>::Call, &Count},
            {Kind::Collection, "Item", DISPID_VALUE, get, VT_VARIANT, {VT_I4}, {"index"}, 0, {},
             &Vtable<&INXVariantCollection::get_Item>::Call,
             [](const ModelCall& call) {
                 const long index = LongOf(call, 0);
                 return HasElement(index, call.self->Size()) ? Give(call.self->At(static_cast<std::size_t>(index - 1)))
                                                           : Outcome::BadIndex();
             }},
            {Kind::Collection, "_NewEnum", DISPID_NEWENUM, get, VT_UNKNOWN, {}, {}, 0, {},
             &Vtable<&INXVariantCollection::get__NewEnum>::Call, &NewEnum},
        };
        // clang-format on
    }();
    return members;
}

struct Class {
    const char* name;
    const CLSID* clsid;
    const IID* iid;
};

const Class& ClassOf(Kind kind) {
    static const Class classes[] = {
        {"NXString", &CLSID_NXString, &IID_INXString},
        {"NXTokenString", &CLSID_NXTokenString, &IID_INXTokenString},
        {"NXStringList", &CLSID_NXStringList, &IID_INXStringList},
        {"NXFileStream", &CLSID_NXFileStream, &IID_INXFileStream},
        {"NXTokenStringList", &CLSID_NXTokenStringList, &IID_INXTokenStringList},
        {"NXFileStreamList", &CLSID_NXFileStreamList, &IID_INXFileStreamList},
        {"NXVariantCollection", &CLSID_NXVariantCollection, &IID_INXVariantCollection},
        {"enumerator", &CLSID_NULL, &IID_IEnumVARIANT},
    };
    return classes[static_cast<std::size_t>(kind)];
}

} // namespace

std::span<const Member> Members() {
    return Table();
}

std::span<const Member> MembersOf(Kind kind) {
    const auto [first, last] = std::ranges::equal_range(Members(), kind, {}, &Member::kind);
    return {first, last};
}

const char* NameOf(Kind kind) {
    return ClassOf(kind).name;
}
const CLSID& ClsidOf(Kind kind) {
    return *ClassOf(kind).clsid;
}
const IID& IidOf(Kind kind) {
    return *ClassOf(kind).iid;
}

} // namespace model
