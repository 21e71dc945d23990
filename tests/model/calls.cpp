#include "tests/model/calls.h"

#include <cstdio>
#include <iterator>

namespace model {
namespace {

/// A number in hexadecimal, with at least that many digits.
std::string Hex(unsigned long number, int digits) {
    char text[20];
    std::snprintf(text, sizeof(text), "%0*lx", digits, number);
    return text;
}

const char* NameOf(Pass pass) {
    static constexpr const char* names[] = {"",
                                            "by reference",
                                            "as VARIANT*",
                                            "as VARIANT* to a reference",
                                            "as VARIANT* to a VARIANT*",
                                            "as null*",
                                            "as short",
                                            "as double",
                                            "as text",
                                            "as bool",
                                            "as empty",
                                            "as null",
                                            "as unknown",
                                            "as garbage",
                                            "as 1e30",
                                            "as another object",
                                            "left out"};
    static_assert(std::size(names) == passes);
    return names[static_cast<std::size_t>(pass)];
}

const char* NameOf(Shape shape) {
    static constexpr const char* names[] = {"",
                                            "arguments by name",
                                            "wrong riid",
                                            "no DISPPARAMS",
                                            "no array of arguments",
                                            "more names than arguments",
                                            "one argument too many",
                                            "without the last argument",
                                            "unknown DISPID",
                                            "wrong access",
                                            "new value without its name",
                                            "unknown argument name"};
    static_assert(std::size(names) == shapes);
    return names[static_cast<std::size_t>(shape)];
}

std::string Printed(const Argument& argument) {
    static constexpr const char* special[] = {"missing folder\\x.txt", "the folder", "null BSTR", "\"\"",
                                              "file0, NUL, more"};
    std::string text;
    if (argument.fileName >= regularFiles) {
        text = special[argument.fileName - regularFiles];
    } else if (argument.fileName >= 0) {
        text = "file" + std::to_string(argument.fileName);
    } else if (argument.slot >= 0) {
        text = "s" + std::to_string(argument.slot);
    } else {
        text = Printed(argument.value);
    }
    const std::string pass = NameOf(argument.pass);
    return pass.empty() ? text : text + " " + pass;
}

std::string PrintedMember(const Call& call) {
    std::string text = std::string(".") + call.member->name;
    std::string list;
    for (const Argument& argument : call.arguments) {
        list += (list.empty() ? "" : ", ") + Printed(argument);
    }
    text += call.member->access == DISPATCH_PROPERTYPUT ? " = " + list : "(" + list + ")";
    if (!call.lateBound) {
        return text + "  [vtable" + (call.earlierError ? ", after an earlier error" : "") + "]";
    }
    text += "  [late-bound";
    const std::string shape = NameOf(call.shape);
    text += shape.empty() ? "" : ", " + shape;
    text += call.byName ? ", by name" : "";
    text += call.wantsResult ? "" : ", no result wanted";
    text += call.wantsDetails ? "" : ", no EXCEPINFO";
    text += call.earlierError ? ", after an earlier error" : "";
    return text + ", variant " + std::to_string(call.variant % 12) + ", locale " + Hex(call.locale, 4) + "]";
}

} // namespace

std::string Printed(const Text& text) {
    if (!text) {
        return "null BSTR";
    }
    std::string printed = "\"";
    for (const wchar_t unit : *text) {
        const bool plain = unit >= 0x20 && unit < 0x7f && unit != L'"' && unit != L'\\';
        printed += plain ? std::string(1, static_cast<char>(unit)) : "\\x" + Hex(unit, 4);
    }
    return printed + "\"" + (text->size() > 20 ? " (" + std::to_string(text->size()) + " units)" : "");
}

std::string PrintedBytes(const std::string& bytes) {
    std::string text = "\"";
    for (const char byte : bytes) {
        const bool plain = byte >= 0x20 && byte < 0x7f && byte != '"' && byte != '\\';
        text += plain ? std::string(1, byte) : "\\x" + Hex(static_cast<unsigned char>(byte), 2);
    }
    return text + "\" (" + std::to_string(bytes.size()) + " bytes)";
}

std::string Printed(const Value& value) {
    switch (value.type) {
    case VT_EMPTY:
        return "empty";
    case VT_BSTR:
        return Printed(value.text);
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return (value.type == VT_DISPATCH ? "" : "unknown ") +
               (value.object == nullptr ? std::string("Nothing") : std::string("an ") + NameOf(value.object->kind));
    case VT_BOOL:
        return value.bits == VARIANT_TRUE ? "true" : value.bits == 0 ? "false" : "bool " + std::to_string(value.bits);
    case VT_ARRAY | VT_I4: {
        std::string text = "array(";
        for (const long number : value.array) {
            text += (text.back() == '(' ? "" : ", ") + std::to_string(number);
        }
        return text + ")";
    }
    default:
        return std::to_string(value.bits) + (value.type == VT_I4 ? "" : " (VARTYPE 0x" + Hex(value.type, 0) + ")");
    }
}

std::string Printed(const Call& call) {
    const std::string slot = "s" + std::to_string(call.slot);
    const std::string target = call.target >= 0 ? "s" + std::to_string(call.target) + " = " : "";
    switch (call.op) {
    case Op::Create:
        return slot + " = new " + NameOf(call.kind);
    case Op::Alias:
        return slot + " = s" + std::to_string(call.source);
    case Op::Release:
        return slot + " = Nothing";
    case Op::Next:
        return target + slot + ".Next(" + std::to_string(call.count) + (call.nullArray ? ", null array" : "") +
               (call.wantsFetched ? "" : ", no count wanted") + ")";
    case Op::Skip:
        return slot + ".Skip(" + std::to_string(call.count) + ")";
    case Op::Reset:
        return slot + ".Reset()";
    case Op::Clone:
        return target + slot + ".Clone()";
    case Op::WriteFile:
        return "file" + std::to_string(call.file) + " is written: " + PrintedBytes(call.bytes);
    case Op::DeleteFile:
        return "file" + std::to_string(call.file) + " is deleted";
    default: {
        const VARTYPE result = call.member->result;
        const bool givesObject = result == VT_DISPATCH || result == VT_UNKNOWN || result == VT_VARIANT;
        return (givesObject ? target : "") + slot + PrintedMember(call);
    }
    }
}

std::string Printed(const std::vector<Call>& calls) {
    std::string text;
    for (const Call& call : calls) {
        text += "    " + Printed(call) + "\n";
    }
    return text;
}

} // namespace model
