// Compares the DLL's type library, fact by fact, with the contract that clients rely on, `contract` below. It may be
// extended, but never changed.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "nuvolex.h"
#include "tests/module/typelibrary.h"

namespace {

// --------------------------------------------------------------------------------------------------- the contract

constexpr std::nullopt_t unnamed = std::nullopt;

constexpr const char* in = "[in]";
constexpr const char* retval = "[out, retval]";
constexpr const char* zeroByDefault = "[in, optional, defaultvalue(0)]";

constexpr INVOKEKIND method = INVOKE_FUNC;
constexpr INVOKEKIND get = INVOKE_PROPERTYGET;
constexpr INVOKEKIND put = INVOKE_PROPERTYPUT;

struct Parameter {
    std::string type; ///< int is VT_INT, long is VT_I4
    Text name;
    std::string direction;

    bool operator==(const Parameter&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Parameter& parameter) {
        return out << parameter.type << ' ' << parameter.name.value_or("(unnamed)") << ' ' << parameter.direction;
    }
};

struct Member {
    int slot; ///< in the vtable, counted from QueryInterface
    std::uint32_t dispid;
    INVOKEKIND kind;
    std::string name;
    std::vector<Parameter> parameters;
    Text help;
};

/// A creatable class and its description.
struct Coclass {
    std::string name;
    CLSID clsid;
    std::string help;
};

struct Interface {
    std::string name;
    IID iid;
    std::string help;
    Coclass implementedBy;
    std::vector<Member> members;

    friend std::ostream& operator<<(std::ostream& out, const Interface& row) { return out << row.name; }
};

// clang-format off
const std::vector<Interface> contract = {
    {"INXString", IID_INXString, "INXString-Schnittstelle",
     {"NXString", CLSID_NXString, "Strings; quite superfluous"},
     {{ 7, 0x60020000, method, "TrimLeft", {{"int*", "pnCount", retval}},
       "Trim leading blanks; returns number of blanks trimmed"},
      { 8, 0x60020001, method, "TrimRight", {{"int*", "pnCount", retval}},
       "Trim trailing blanks; returns number of blanks trimmed"},
      { 9, 0x60020002, method, "Trim", {{"int*", "pnCount", retval}},
       "Trim leading and trailing blanks; returns number of blanks trimmed"},
      {10, 0x60020003, method, "Left", {{"int", "nLength", in}, {"BSTR*", "pbsPart", retval}},
       "Returns first nLength characters"},
      {11, 0x60020004, method, "Right", {{"int", "nLength", in}, {"BSTR*", "pbsPart", retval}},
       "Returns last nLength characters"},
      {12, 0x60020005, method, "Mid", {{"int", "nStart", in}, {"int", "nLength", in}, {"BSTR*", "pbsPart", retval}},
       "Returns nLength characters, starting at nStart"},
      {13, 0x60020006, method, "Clear", {}, "Makes string empty"},
      {14, 0x60020007, get, "Value", {{"BSTR*", "pVal", retval}}, "The entire string"},
      {15, 0x60020007, put, "Value", {{"BSTR", unnamed, in}}, none},
      {16, 0x60020009, get, "Length", {{"long*", "pVal", retval}}, "Length of the string"}}},

    {"INXTokenString", IID_INXTokenString, "INXTokenString-Schnittstelle",
     {"NXTokenString", CLSID_NXTokenString, "Token string; COM collection"},
     {{ 7, 0x60020000, get, "Value", {{"BSTR*", "pVal", retval}}, "String of token(s)"},
      { 8, 0x60020000, put, "Value", {{"BSTR", unnamed, in}}, none},
      { 9, 0x60020002, get, "Separator", {{"BSTR*", "pVal", retval}}, "String of separator(s)"},
      {10, 0x60020002, put, "Separator", {{"BSTR", unnamed, in}}, none},
      {11, 0x60020004, get, "MultiCharacter", {{"VARIANT_BOOL*", "pVal", retval}},
       "FALSE: every character is separator; TRUE: entire string is"},
      {12, 0x60020004, put, "MultiCharacter", {{"VARIANT_BOOL", unnamed, in}}, none},
      {13, 0x60020006, method, "Add", {{"BSTR", "Item", in}}, "Methode Add"},
      {14, 0x60020007, get, "Count", {{"long*", "pVal", retval}}, "Number of tokens in string"},
      {15, 0x00000000, get, "Token", {{"long", "n", in}, {"BSTR*", "pVal", retval}}, "Token (0-based)"},
      {16, 0xFFFFFFFC, get, "_NewEnum", {{"IUnknown**", "ppEnum", retval}}, none}}},

    {"INXStringList", IID_INXStringList, "Was soll der Schwachsinn?",
     {"NXStringList", CLSID_NXStringList, "List of strings; provides FOR EACH functionality"},
     {{ 7, 0x60020000, get, "Item", {{"int", "index", in}, {"BSTR*", "pVal", retval}}, "String (0-based)"},
      { 8, 0x60020000, put, "Item", {{"int", "index", in}, {"BSTR", unnamed, in}}, none},
      { 9, 0x60020002, get, "New", {{"BSTR*", "pVal", retval}}, "Writing to appends"},
      {10, 0x60020002, put, "New", {{"BSTR", unnamed, in}}, none},
      {11, 0x60020004, method, "Remove", {{"int", "index", in}}, "Remove indicated string (0-based)"},
      {12, 0x60020005, get, "Count", {{"long*", "pVal", retval}}, "Number of strings in the list"},
      {13, 0x00000000, get, "_Item", {{"long", "n", in}, {"BSTR*", "pVal", retval}}, none},
      {14, 0xFFFFFFFC, get, "_NewEnum", {{"IUnknown**", "ppEnum", retval}}, none},
      {15, 0x00000001, method, "Add", {{"BSTR", "String", in}}, "Methode Add"}}},

    {"INXFileStream", IID_INXFileStream, "INXFileStream-Schnittstelle",
     {"NXFileStream", CLSID_NXFileStream, "NXFileStream Class"},
     {{ 7, 0x60020000, method, "Clear", {}, "Methode Clear"},
      { 8, 0x60020001, method, "Close", {}, "Methode Close"},
      { 9, 0x60020002, method, "Flush", {{"VARIANT_BOOL*", "__MIDL__INXFileStream0000", retval}}, "Methode Flush"},
      {10, 0x60020003, method, "IsCommentLine", {{"BSTR", "line", in},
       {"VARIANT_BOOL*", "__MIDL__INXFileStream0001", retval}}, "Methode IsCommentLine"},
      {11, 0x60020004, method, "IsEOF", {{"VARIANT_BOOL*", "__MIDL__INXFileStream0002", retval}}, "Methode IsEOF"},
      {12, 0x60020005, method, "IsOpen", {{"VARIANT_BOOL*", "__MIDL__INXFileStream0003", retval}}, "Methode IsOpen"},
      {13, 0x60020006, method, "ReadNextLine", {{"BSTR*", "__MIDL__INXFileStream0004", retval}},
       "Methode ReadNextLine"},
      {14, 0x60020007, method, "Open", {{"BSTR", "fileName", in}, {"VARIANT_BOOL", "binary", in},
       {"VARIANT_BOOL*", "__MIDL__INXFileStream0005", retval}}, "Methode Open"},
      {15, 0x60020008, method, "UngetLine", {{"VARIANT_BOOL*", "__MIDL__INXFileStream0006", retval}},
       "Methode UngetLine"},
      {16, 0x60020009, method, "WriteLine", {{"BSTR", "line", in},
       {"VARIANT_BOOL*", "__MIDL__INXFileStream0007", retval}}, "Methode WriteLine"},
      {17, 0x6002000A, get, "fileName", {{"BSTR*", "pVal", retval}}, "Eigenschaft FileName"}}},

    {"INXTokenStringList", IID_INXTokenStringList, "INXTokenStringList Interface",
     {"NXTokenStringList", CLSID_NXTokenStringList, "List of token strings; COM collection"},
     {{ 7, 0x60020000, get, "Item", {{"long", "index", in}, {"INXTokenString**", "pVal", retval}},
       "Token string (0-based)"},
      { 8, 0x60020000, put, "Item", {{"long", "index", in}, {"INXTokenString*", unnamed, in}}, none},
      { 9, 0x60020002, method, "Remove", {{"long", "index", in}}, "Remove indicated token string (0-based)"},
      {10, 0x60020003, get, "New", {{"INXTokenString**", "pVal", retval}}, "DEPRICATED!"},
      {11, 0x60020003, put, "New", {{"INXTokenString*", unnamed, in}}, "DEPRICATED!"},
      {12, 0x60020005, method, "Add", {{"INXTokenString*", "newVal", in}}, "Add a TokenString."},
      {13, 0x60020006, get, "Count", {{"long*", "pVal", retval}}, "Number of token strings in list"},
      {14, 0x00000000, get, "_Item", {{"long", "n", in}, {"INXTokenString**", "pVal", retval}}, none},
      {15, 0xFFFFFFFC, get, "_NewEnum", {{"IUnknown**", "ppEnum", retval}}, none},
      {16, 0x60020009, method, "AddNew", {{"INXTokenString**", "pVal", retval}},
       "Create a TokenString and add it to list."}}},

    {"INXFileStreamList", IID_INXFileStreamList, "INXFileStreamList-Schnittstelle",
     {"NXFileStreamList", CLSID_NXFileStreamList, "File stream list; COM collection"},
     {{ 7, 0x60020000, get, "New", {{"INXFileStream**", "pVal", retval}}, "DEPRICATED!"},
      { 8, 0x60020000, put, "New", {{"INXFileStream*", unnamed, in}}, none},
      { 9, 0x60020002, get, "Item", {{"long", "index", in}, {"INXFileStream**", "pVal", retval}},
       "File stream (0-based)"},
      {10, 0x60020002, put, "Item", {{"long", "index", in}, {"INXFileStream*", unnamed, in}}, none},
      {11, 0x60020004, method, "Remove", {{"int", "index", in}}, "Remove indicated file stream (0-based)"},
      {12, 0x60020005, get, "Count", {{"long*", "pVal", retval}}, "Number of file streams in list"},
      {13, 0x00000000, get, "_Item", {{"long", "n", in}, {"INXFileStream**", "pVal", retval}}, none},
      {14, 0xFFFFFFFC, get, "_NewEnum", {{"IUnknown**", "ppEnum", retval}}, none},
      {15, 0x60020008, method, "Add", {{"INXFileStream*", "FileStream", in}}, "Add file stream."},
      {16, 0x60020009, method, "AddNew", {{"INXFileStream**", "pVal", retval}},
       "Create file stream and add to list."}}},

    {"INXVariantCollection", IID_INXVariantCollection, "INXVariantCollection-Schnittstelle",
     {"NXVariantCollection", CLSID_NXVariantCollection, "NXVariantCollection Class"},
     {{ 7, 0x60020000, method, "Add", {{"VARIANT", "Item", in}, {"long", "Position", zeroByDefault}}, "Methode Add"},
      { 8, 0x60020001, method, "Remove", {{"long", "index", zeroByDefault}}, "Methode Remove"},
      { 9, 0x60020002, get, "Count", {{"long*", "pVal", retval}}, "Eigenschaft Count"},
      {10, 0x00000000, get, "Item", {{"long", "index", in}, {"VARIANT*", "pVal", retval}}, "1-based"},
      {11, 0xFFFFFFFC, get, "_NewEnum", {{"IUnknown**", "ppEnum", retval}}, none}}},
};
// clang-format on

constexpr GUID libidStdole = {0x00020430, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// The members that every dual interface inherits: those of IUnknown and of IDispatch.
constexpr int inheritedMembers = 7;
constexpr int slotSize = sizeof(void*);

// ---------------------------------------------------------------------------------------- querying the type library

/// The view of an interface for late-bound clients. The library returns this one.
CComPtr<ITypeInfo> DispatchView(const Interface& row) {
    CComPtr<ITypeInfo> type;
    Must(LoadTypeLibrary()->GetTypeInfoOfGuid(row.iid, &type), "GetTypeInfoOfGuid of " + row.name);
    return type;
}

/// The view of an interface for compiled clients.
CComPtr<ITypeInfo> VtableView(const Interface& row) {
    return Implemented(*DispatchView(row), -1);
}

std::string DirectionText(const PARAMDESC& parameter) {
    static constexpr std::pair<USHORT, const char*> names[] = {
        {PARAMFLAG_FIN, "in"}, {PARAMFLAG_FOUT, "out"}, {PARAMFLAG_FRETVAL, "retval"}, {PARAMFLAG_FOPT, "optional"}};
    USHORT rest = parameter.wParamFlags;
    std::string text;
    const auto append = [&text](const std::string& attribute) { text += (text.empty() ? "" : ", ") + attribute; };
    for (const auto& [flag, name] : names) {
        if ((rest & flag) != 0) {
            append(name);
        }
        rest = static_cast<USHORT>(rest & ~flag);
    }
    if ((rest & PARAMFLAG_FHASDEFAULT) != 0) {
        const VARIANT& value = parameter.pparamdescex->varDefaultValue;
        append("defaultvalue(" +
               (V_VT(&value) == VT_I4 ? std::to_string(V_I4(&value)) : "of type " + std::to_string(V_VT(&value))) +
               ")");
        rest = static_cast<USHORT>(rest & ~PARAMFLAG_FHASDEFAULT);
    }
    if (rest != 0) {
        append("flags " + std::to_string(rest));
    }
    return "[" + text + "]";
}

/// The parameters of a function without their names, which are stored elsewhere.
std::vector<Parameter> ParametersOf(ITypeInfo& context, const FUNCDESC& function) {
    std::vector<Parameter> parameters;
    for (int i = 0; i < function.cParams; ++i) {
        const ELEMDESC& element = function.lprgelemdescParam[i];
        parameters.push_back({TypeText(context, element.tdesc), unnamed, DirectionText(element.paramdesc)});
    }
    return parameters;
}

std::vector<Parameter> WithoutNames(std::vector<Parameter> parameters) {
    for (Parameter& parameter : parameters) {
        parameter.name = unnamed;
    }
    return parameters;
}

std::vector<Text> NamesOf(const std::vector<Parameter>& parameters) {
    std::vector<Text> names;
    std::ranges::transform(parameters, std::back_inserter(names), &Parameter::name);
    return names;
}

bool HasResult(const Member& member) {
    return !member.parameters.empty() && member.parameters.back().direction == retval;
}

/// The parameters for late-bound callers: all but the one for the result.
std::vector<Parameter> ArgumentsOf(const Member& member) {
    std::vector<Parameter> arguments = member.parameters;
    if (HasResult(member)) {
        arguments.pop_back();
    }
    return arguments;
}

/// The result type for late-bound callers: the type that the result parameter points to.
std::string ResultTypeOf(const Member& member) {
    if (!HasResult(member)) {
        return "void";
    }
    const std::string& pointer = member.parameters.back().type;
    return pointer.substr(0, pointer.size() - 1);
}

/// Queries for names and help strings are by DISPID and return those of the first member with it: for a property with a
/// get and a put, those of the get.
bool IsAnsweredByDispid(const Interface& row, const Member& member) {
    const auto first = std::ranges::find(row.members, member.dispid, &Member::dispid);
    return &*first == &member;
}

MEMBERID IdOf(const Member& member) {
    return static_cast<MEMBERID>(member.dispid);
}

std::string TraceOf(const Interface& row, const Member& member) {
    return row.name + ", slot " + std::to_string(member.slot) + ", " + member.name;
}

// ------------------------------------------------------------------------------------------ reading the stored bytes

/// The facts of a function that are only in the stored form: queries do not reach the name and help string of a put.
struct StoredFunction {
    Text name;
    Text help;
    std::vector<Text> parameterNames;
};

/// A type library in the MSFT format. Numbers are little-endian; an offset of -1 means "none".
class StoredLibrary {
  public:
    /// Reads resource TYPELIB 1 of the DLL.
    StoredLibrary() {
        const auto release = [](HMODULE p) { FreeLibrary(p); };
        const std::unique_ptr<std::remove_pointer_t<HMODULE>, decltype(release)> module(
            LoadLibraryExW(DllPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE), release);
        const HRSRC resource = FindResourceW(module.get(), MAKEINTRESOURCEW(1), L"TYPELIB");
        if (resource == nullptr) {
            throw std::runtime_error("no resource TYPELIB 1 in " + DllPath().string());
        }
        m_bytes.resize(SizeofResource(module.get(), resource));
        std::memcpy(m_bytes.data(), LockResource(LoadResource(module.get(), resource)), m_bytes.size());

        constexpr std::int32_t hasHelpDll = 0x100;
        const std::size_t typeCount = Read<std::uint32_t>(0x20);
        m_typeOffsets = (Read<std::int32_t>(0x14) & hasHelpDll) != 0 ? 0x58 : 0x54;
        m_segments = m_typeOffsets + 4 * typeCount;
    }

    /// The functions of the `index`th type, which has no variables, in vtable order. Stored are the total size of their
    /// records, the records, the DISPIDs and the names.
    [[nodiscard]] std::vector<StoredFunction> FunctionsOf(std::size_t index) const {
        const std::size_t type = Segment(0) + Read<std::uint32_t>(m_typeOffsets + 4 * index);
        const std::size_t count = Read<std::uint16_t>(type + 0x18);
        const std::size_t start = Read<std::uint32_t>(type + 4);
        std::size_t record = start + 4;
        std::size_t name = record + Read<std::uint32_t>(start) + 4 * count;
        std::vector<StoredFunction> functions;
        for (std::size_t i = 0; i < count; ++i) {
            functions.push_back(FunctionAt(record));
            functions.back().name = NameAt(Read<std::int32_t>(name));
            record += Read<std::uint16_t>(record);
            name += 4;
        }
        return functions;
    }

  private:
    /// A function without its name, which is stored elsewhere. A record has a fixed part, a variable number of further
    /// fields (the second is the help string), the default values if any, and the parameters.
    [[nodiscard]] StoredFunction FunctionAt(std::size_t record) const {
        constexpr std::size_t fixedSize = 0x18;
        constexpr std::size_t parameterSize = 12;
        constexpr std::int32_t hasDefaults = 0x1000;
        const std::size_t parameterCount = Read<std::uint16_t>(record + 0x14);
        const std::size_t defaultsSize =
            (Read<std::int32_t>(record + 0x10) & hasDefaults) != 0 ? 4 * parameterCount : 0;
        const std::size_t parameters = record + Read<std::uint16_t>(record) - parameterCount * parameterSize;
        const std::size_t furtherSize = parameters - defaultsSize - fixedSize - record;

        StoredFunction function;
        if (furtherSize >= 8) {
            function.help = StringAt(Read<std::int32_t>(record + fixedSize + 4));
        }
        for (std::size_t i = 0; i < parameterCount; ++i) {
            function.parameterNames.push_back(NameAt(Read<std::int32_t>(parameters + i * parameterSize + 4)));
        }
        return function;
    }

    [[nodiscard]] Text NameAt(std::int32_t offset) const {
        if (offset < 0) {
            return none;
        }
        const std::size_t name = Segment(7) + static_cast<std::size_t>(offset);
        return CharactersAt(name + 12, Read<std::uint8_t>(name + 8));
    }

    [[nodiscard]] Text StringAt(std::int32_t offset) const {
        if (offset < 0) {
            return none;
        }
        const std::size_t string = Segment(8) + static_cast<std::size_t>(offset);
        return CharactersAt(string + 2, Read<std::uint16_t>(string));
    }

    [[nodiscard]] std::string CharactersAt(std::size_t offset, std::size_t length) const {
        std::string characters;
        for (std::size_t i = 0; i < length; ++i) {
            characters += Read<char>(offset + i);
        }
        return characters;
    }

    /// The offset of the file's `index`th segment.
    [[nodiscard]] std::size_t Segment(std::size_t index) const { return Read<std::uint32_t>(m_segments + 16 * index); }

    template <class T> [[nodiscard]] T Read(std::size_t offset) const {
        T value;
        if (offset > m_bytes.size() || sizeof value > m_bytes.size() - offset) {
            throw std::runtime_error("unexpected format of the type library");
        }
        std::memcpy(&value, &m_bytes[offset], sizeof value);
        return value;
    }

    std::vector<std::byte> m_bytes;
    std::size_t m_typeOffsets = 0;
    std::size_t m_segments = 0;
};

// ---------------------------------------------------------------------------------------------------------- the tests

TEST(TypeLibrary, HasTheContractsAttributes) {
    const CComPtr<ITypeLib> library = LoadTypeLibrary();
    const auto attributes = AttributesOf(library);
    EXPECT_EQ(TextOf(attributes->guid), TextOf(LIBID_NUVOLEXLib));
    EXPECT_EQ(attributes->wMajorVerNum, 1);
    EXPECT_EQ(attributes->wMinorVerNum, 0);
    EXPECT_EQ(attributes->lcid, LCID{0x0409});
    EXPECT_EQ(attributes->syskind, SYS_WIN64);
    EXPECT_EQ(attributes->wLibFlags & (LIBFLAG_FRESTRICTED | LIBFLAG_FCONTROL | LIBFLAG_FHIDDEN), 0);

    const Documentation documentation = DocumentationOf(*library);
    EXPECT_EQ(documentation.name, "NUVOLEXLib");
    EXPECT_EQ(documentation.help, "Quarvin Nuvolex 1.0 Typbibliothek");
}

TEST(TypeLibrary, HoldsTheSevenInterfacesAndTheirClassesInOrderAndNothingElse) {
    std::vector<Text> interfaces;
    std::vector<Text> classes;
    for (const Interface& row : contract) {
        interfaces.emplace_back(row.name);
        classes.emplace_back(row.implementedBy.name);
    }
    EXPECT_EQ(TypesOfKind(TKIND_DISPATCH), interfaces);
    EXPECT_EQ(TypesOfKind(TKIND_COCLASS), classes);
    EXPECT_EQ(LoadTypeLibrary()->GetTypeInfoCount(), 14u);
}

TEST(TypeLibrary, IdentifiesEverythingByAnIdentifierOfItsOwn) {
    std::set<std::string> identifiers = {TextOf(LIBID_NUVOLEXLib)};
    for (const Interface& row : contract) {
        identifiers.insert(TextOf(row.iid));
        identifiers.insert(TextOf(row.implementedBy.clsid));
    }
    EXPECT_EQ(identifiers.size(), 15u);
}

class TypeLibraryInterface : public testing::TestWithParam<Interface> {};

TEST_P(TypeLibraryInterface, HasItsIdentifierAndHelpString) {
    const Interface& row = GetParam();
    for (const CComPtr<ITypeInfo>& view : {DispatchView(row), VtableView(row)}) {
        EXPECT_EQ(TextOf(AttributesOf(view)->guid), TextOf(row.iid));
        const Documentation documentation = DocumentationOf(*view);
        EXPECT_EQ(documentation.name, row.name);
        EXPECT_EQ(documentation.help, row.help);
    }
}

TEST_P(TypeLibraryInterface, IsDualOverIDispatch) {
    const CComPtr<ITypeInfo> dispatch = DispatchView(GetParam());
    const CComPtr<ITypeInfo> vtable = VtableView(GetParam());
    EXPECT_EQ(AttributesOf(dispatch)->typekind, TKIND_DISPATCH);
    EXPECT_EQ(AttributesOf(vtable)->typekind, TKIND_INTERFACE);
    EXPECT_EQ(AttributesOf(Implemented(*vtable, -1))->typekind, TKIND_DISPATCH);

    EXPECT_EQ(AttributesOf(vtable)->wTypeFlags, TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FDISPATCHABLE);
    // Whether the dispatch view has the vtable's oleautomation flag depends on the platform.
    EXPECT_EQ(AttributesOf(dispatch)->wTypeFlags | TYPEFLAG_FOLEAUTOMATION,
              TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FDISPATCHABLE);

    for (const CComPtr<ITypeInfo>& view : {dispatch, vtable}) {
        EXPECT_EQ(AttributesOf(view)->cImplTypes, 1);
        const CComPtr<ITypeInfo> base = Implemented(*view, 0);
        EXPECT_EQ(TextOf(AttributesOf(base)->guid), TextOf(IID_IDispatch));
        EXPECT_EQ(TextOf(PlaceOf(*base).first), TextOf(libidStdole));
    }
}

TEST_P(TypeLibraryInterface, HasExactlyItsMembers) {
    const auto count = static_cast<int>(GetParam().members.size());
    const auto vtable = AttributesOf(VtableView(GetParam()));
    EXPECT_EQ(vtable->cFuncs, count);
    EXPECT_EQ(vtable->cVars, 0);
    EXPECT_EQ(vtable->cbSizeVft, (inheritedMembers + count) * slotSize);

    const auto dispatch = AttributesOf(DispatchView(GetParam()));
    EXPECT_EQ(dispatch->cFuncs, inheritedMembers + count);
    EXPECT_EQ(dispatch->cVars, 0);
}

TEST_P(TypeLibraryInterface, MembersInTheVtableHaveTheirSlotsAndSignatures) {
    const CComPtr<ITypeInfo> view = VtableView(GetParam());
    UINT index = 0;
    for (const Member& member : GetParam().members) {
        SCOPED_TRACE(TraceOf(GetParam(), member));
        const auto function = FunctionOf(view, index++);
        EXPECT_EQ(function->oVft / slotSize, member.slot);
        EXPECT_EQ(function->memid, IdOf(member));
        EXPECT_EQ(function->invkind, member.kind);
        EXPECT_EQ(function->funckind, FUNC_PUREVIRTUAL);
        EXPECT_EQ(function->callconv, CC_STDCALL);
        EXPECT_EQ(function->wFuncFlags, 0);
        EXPECT_EQ(TypeText(*view, function->elemdescFunc.tdesc), "HRESULT");
        EXPECT_EQ(ParametersOf(*view, *function), WithoutNames(member.parameters));
        EXPECT_EQ(function->cParamsOpt, std::ranges::count(member.parameters, zeroByDefault, &Parameter::direction));
        EXPECT_EQ(DocumentationOf(*view, function->memid).name, member.name);
    }
}

TEST_P(TypeLibraryInterface, MembersThroughDispatchTakeTheirArgumentsAndReturnTheirResults) {
    const CComPtr<ITypeInfo> view = DispatchView(GetParam());
    UINT index = inheritedMembers;
    for (const Member& member : GetParam().members) {
        SCOPED_TRACE(TraceOf(GetParam(), member));
        const auto function = FunctionOf(view, index++);
        EXPECT_EQ(function->memid, IdOf(member));
        EXPECT_EQ(function->invkind, member.kind);
        EXPECT_EQ(function->funckind, FUNC_DISPATCH);
        EXPECT_EQ(TypeText(*view, function->elemdescFunc.tdesc), ResultTypeOf(member));
        EXPECT_EQ(ParametersOf(*view, *function), WithoutNames(ArgumentsOf(member)));
    }
}

TEST_P(TypeLibraryInterface, MembersReturnTheirNamesAndHelpStrings) {
    for (const CComPtr<ITypeInfo>& view : {DispatchView(GetParam()), VtableView(GetParam())}) {
        const bool isDispatch = AttributesOf(view)->typekind == TKIND_DISPATCH;
        for (const Member& member : GetParam().members) {
            if (!IsAnsweredByDispid(GetParam(), member)) {
                continue;
            }
            SCOPED_TRACE(TraceOf(GetParam(), member));
            const Documentation documentation = DocumentationOf(*view, IdOf(member));
            EXPECT_EQ(documentation.name, member.name);
            EXPECT_EQ(documentation.help, member.help);

            std::vector<Text> names = NamesOf(isDispatch ? ArgumentsOf(member) : member.parameters);
            names.insert(names.begin(), member.name);
            EXPECT_EQ(NamesOf(*view, IdOf(member)), names);
        }
    }
}

TEST_P(TypeLibraryInterface, MembersAreStoredWithNamesAndHelpStringsOfTheirOwn) {
    const std::vector<Member>& members = GetParam().members;
    const UINT index = PlaceOf(*DispatchView(GetParam())).second;
    const std::vector<StoredFunction> stored = StoredLibrary().FunctionsOf(index);
    ASSERT_EQ(stored.size(), members.size());
    for (std::size_t i = 0; i < members.size(); ++i) {
        SCOPED_TRACE(TraceOf(GetParam(), members[i]));
        EXPECT_EQ(stored[i].name, members[i].name);
        EXPECT_EQ(stored[i].help, members[i].help);
        EXPECT_EQ(stored[i].parameterNames, NamesOf(members[i].parameters));
    }
}

/// The DISPIDs that GetIDsOfNames finds for a member's name and those of its parameters.
std::vector<DISPID> DispidsOf(ITypeInfo& type, const std::vector<std::wstring>& names) {
    std::vector<OLECHAR*> pointers;
    std::ranges::transform(names, std::back_inserter(pointers),
                           [](const std::wstring& name) { return const_cast<OLECHAR*>(name.c_str()); });
    std::vector<DISPID> ids(names.size(), DISPID_UNKNOWN);
    Must(type.GetIDsOfNames(pointers.data(), static_cast<UINT>(pointers.size()), ids.data()), "GetIDsOfNames");
    return ids;
}

TEST_P(TypeLibraryInterface, NamesInAnyCaseLeadToTheirDispids) {
    const CComPtr<ITypeInfo> view = DispatchView(GetParam());
    for (const Member& member : GetParam().members) {
        SCOPED_TRACE(TraceOf(GetParam(), member));
        std::vector<std::wstring> names = {Widen(member.name)};
        std::vector<DISPID> dispids = {IdOf(member)};
        for (const Parameter& parameter : ArgumentsOf(member)) {
            if (parameter.name == unnamed) {
                continue;
            }
            dispids.push_back(static_cast<DISPID>(names.size()) - 1);
            names.push_back(Widen(*parameter.name));
        }
        EXPECT_EQ(DispidsOf(*view, names), dispids);
        for (std::wstring& name : names) {
            CharUpperW(name.data());
        }
        EXPECT_EQ(DispidsOf(*view, names), dispids);
        for (std::wstring& name : names) {
            CharLowerW(name.data());
        }
        EXPECT_EQ(DispidsOf(*view, names), dispids);
    }
}

TEST_P(TypeLibraryInterface, IsTheOnlyAndDefaultOneOfItsCreatableClass) {
    const Coclass& row = GetParam().implementedBy;
    CComPtr<ITypeInfo> type;
    Must(LoadTypeLibrary()->GetTypeInfoOfGuid(row.clsid, &type), "GetTypeInfoOfGuid of " + row.name);
    const auto attributes = AttributesOf(type);
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    EXPECT_EQ(attributes->wTypeFlags, TYPEFLAG_FCANCREATE);
    const Documentation documentation = DocumentationOf(*type);
    EXPECT_EQ(documentation.name, row.name);
    EXPECT_EQ(documentation.help, row.help);

    ASSERT_EQ(attributes->cImplTypes, 1);
    INT flags = 0;
    Must(type->GetImplTypeFlags(0, &flags), "GetImplTypeFlags");
    EXPECT_EQ(flags, IMPLTYPEFLAG_FDEFAULT);
    EXPECT_EQ(TextOf(AttributesOf(Implemented(*type, 0))->guid), TextOf(GetParam().iid));
}

INSTANTIATE_TEST_SUITE_P(Contract, TypeLibraryInterface, testing::ValuesIn(contract),
                         [](const testing::TestParamInfo<Interface>& row) { return row.param.name; });

/// Three similar names of the string list.
TEST(TypeLibraryNames, OfTheStringList_ItemUnderscoreItemAndAdd_AreThreeMembers) {
    const CComPtr<ITypeInfo> list = DispatchView(contract[2]);
    EXPECT_EQ(DispidsOf(*list, {L"Item"}), std::vector<DISPID>{0x60020000});
    EXPECT_EQ(DispidsOf(*list, {L"_Item"}), std::vector<DISPID>{DISPID_VALUE});
    EXPECT_EQ(DispidsOf(*list, {L"Add"}), std::vector<DISPID>{1});
}

} // namespace
