/// The content of a type library in a form for tests. A failing query throws and ends the test.
#pragma once

#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <oleauto.h>

#include "nuvolex.h"
#include "tests/module/dll.h"
#include "tests/support/bstr.h"

using support::Bstr;

/// A string of the type library; none for a null BSTR.
using Text = std::optional<std::string>;
constexpr std::nullopt_t none = std::nullopt;

/// Throws unless a query succeeded.
inline void Must(HRESULT result, std::string_view query) {
    if (result == S_OK) {
        return;
    }
    std::ostringstream message;
    message << query << " gives " << Result(result);
    throw std::runtime_error(message.str());
}

/// The contract is ASCII; any other character is replaced by one that it does not contain, so that it is a difference.
inline std::string Narrow(std::wstring_view text) {
    std::string result;
    for (const wchar_t c : text) {
        result += c < 0x80 ? static_cast<char>(c) : '\x1A';
    }
    return result;
}

inline std::wstring Widen(std::string_view text) {
    return {text.begin(), text.end()};
}

/// The language of the DLL's type library.
inline constexpr LCID libraryLocale = 0x0409;

/// Writes a type library with the DLL's LIBID, version and language and one interface `iid`.
inline void CreateOtherLibrary(const std::filesystem::path& file, std::string_view name, const IID& iid) {
    CComPtr<ICreateTypeLib2> library;
    Must(CreateTypeLib2(SYS_WIN64, file.c_str(), &library), "CreateTypeLib2");
    Must(library->SetName(Widen(name).data()), "SetName");
    Must(library->SetGuid(LIBID_NUVOLEXLib), "SetGuid");
    Must(library->SetVersion(1, 0), "SetVersion");
    Must(library->SetLcid(libraryLocale), "SetLcid");
    CComPtr<ICreateTypeInfo> type;
    Must(library->CreateTypeInfo(const_cast<LPOLESTR>(L"IOther"), TKIND_INTERFACE, &type), "CreateTypeInfo");
    Must(type->SetGuid(iid), "SetGuid");
    Must(type->LayOut(), "LayOut");
    Must(library->SaveAllChanges(), "SaveAllChanges");
}

inline Text TextOf(const Bstr& string) {
    const BSTR text = string;
    if (text == nullptr) {
        return none;
    }
    return Narrow({text, SysStringLen(text)});
}

inline std::string TextOf(const GUID& guid) {
    wchar_t text[40];
    StringFromGUID2(guid, text, static_cast<int>(std::size(text)));
    return Narrow(text);
}

inline CComPtr<ITypeLib> LoadTypeLibrary() {
    CComPtr<ITypeLib> library;
    Must(LoadTypeLibEx(DllPath().c_str(), REGKIND_NONE, &library), "LoadTypeLibEx of " + DllPath().string());
    return library;
}

/// The result of GetTypeAttr, released automatically.
inline auto AttributesOf(const CComPtr<ITypeInfo>& type) {
    TYPEATTR* attributes = nullptr;
    Must(type->GetTypeAttr(&attributes), "GetTypeAttr");
    auto release = [type](TYPEATTR* p) { type->ReleaseTypeAttr(p); };
    return std::unique_ptr<TYPEATTR, decltype(release)>(attributes, std::move(release));
}

/// The result of GetLibAttr, released automatically.
inline auto AttributesOf(const CComPtr<ITypeLib>& library) {
    TLIBATTR* attributes = nullptr;
    Must(library->GetLibAttr(&attributes), "GetLibAttr");
    auto release = [library](TLIBATTR* p) { library->ReleaseTLibAttr(p); };
    return std::unique_ptr<TLIBATTR, decltype(release)>(attributes, std::move(release));
}

/// The result of GetFuncDesc for function `index`, released automatically.
inline auto FunctionOf(const CComPtr<ITypeInfo>& type, UINT index) {
    FUNCDESC* function = nullptr;
    Must(type->GetFuncDesc(index, &function), "GetFuncDesc");
    auto release = [type](FUNCDESC* p) { type->ReleaseFuncDesc(p); };
    return std::unique_ptr<FUNCDESC, decltype(release)>(function, std::move(release));
}

struct Documentation {
    Text name;
    Text help;
};

/// Name and help string of a library (or its types, by index) or of a type (or its members, by DISPID); -1 means the
/// library or type itself.
template <class Described> Documentation DocumentationOf(Described& described, int part = -1) {
    Bstr name;
    Bstr help;
    Must(described.GetDocumentation(part, name.Out(), help.Out(), nullptr, nullptr), "GetDocumentation");
    return {TextOf(name), TextOf(help)};
}

inline CComPtr<ITypeInfo> Referenced(ITypeInfo& by, HREFTYPE reference) {
    CComPtr<ITypeInfo> type;
    Must(by.GetRefTypeInfo(reference, &type), "GetRefTypeInfo");
    return type;
}

/// The `index`th implemented or inherited interface. For a dual interface, -1 is the other of its vtable and dispatch
/// views.
inline CComPtr<ITypeInfo> Implemented(ITypeInfo& by, int index) {
    HREFTYPE reference = 0;
    Must(by.GetRefTypeOfImplType(static_cast<UINT>(index), &reference), "GetRefTypeOfImplType");
    return Referenced(by, reference);
}

/// The library that contains a type, and its index there.
inline std::pair<GUID, UINT> PlaceOf(ITypeInfo& type) {
    CComPtr<ITypeLib> library;
    UINT index = 0;
    Must(type.GetContainingTypeLib(&library, &index), "GetContainingTypeLib");
    return {AttributesOf(library)->guid, index};
}

/// A type in C++ notation. A type from another library includes that library's identifier.
inline std::string TypeText(ITypeInfo& context, const TYPEDESC& type) {
    switch (type.vt) {
    case VT_VOID:
        return "void";
    case VT_HRESULT:
        return "HRESULT";
    case VT_INT:
        return "int";
    case VT_I4:
        return "long";
    case VT_BOOL:
        return "VARIANT_BOOL";
    case VT_BSTR:
        return "BSTR";
    case VT_VARIANT:
        return "VARIANT";
    case VT_UNKNOWN:
        return "IUnknown*";
    case VT_PTR:
        return TypeText(context, *type.lptdesc) + "*";
    case VT_USERDEFINED: {
        const CComPtr<ITypeInfo> target = Referenced(context, type.hreftype);
        const GUID library = PlaceOf(*target).first;
        const std::string name = DocumentationOf(*target).name.value_or("(unnamed type)");
        return library == LIBID_NUVOLEXLib ? name : TextOf(library) + "." + name;
    }
    default:
        return "type " + std::to_string(type.vt);
    }
}

/// The names of the library's types of one kind, in order.
inline std::vector<Text> TypesOfKind(TYPEKIND kind) {
    const CComPtr<ITypeLib> library = LoadTypeLibrary();
    std::vector<Text> names;
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        TYPEKIND found = TKIND_MAX;
        Must(library->GetTypeInfoType(i, &found), "GetTypeInfoType");
        if (found == kind) {
            names.push_back(DocumentationOf(*library, static_cast<int>(i)).name);
        }
    }
    return names;
}

/// The names of a member and of its parameters.
inline std::vector<Text> NamesOf(ITypeInfo& type, MEMBERID id) {
    BSTR received[8] = {};
    UINT count = 0;
    Must(type.GetNames(id, received, static_cast<UINT>(std::size(received)), &count), "GetNames");
    std::vector<Text> names;
    for (const BSTR name : std::span(received).first(count)) {
        names.push_back(TextOf(Bstr(name)));
    }
    return names;
}
