// Compares the pages in docs/reference/ with the DLL's type library: each class has a page, each member its heading and
// declaration there, and no page describes a member that does not exist.

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/module/typelibrary.h"

namespace {

// ------------------------------------------------------------------------------------- what the type library declares

struct Parameter {
    std::string type; ///< in C++
    std::string name; ///< empty for a result or a new value
    bool result;
    bool optional;
};

/// A function of the vtable. A property that can be read and written is two.
struct Function {
    MEMBERID id;
    INVOKEKIND kind;
    std::string name;
    std::vector<Parameter> parameters;
};

/// The interface of a class, in vtable order.
CComPtr<ITypeInfo> InterfaceOf(const std::string& className) {
    const CComPtr<ITypeLib> library = LoadTypeLibrary();
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        if (DocumentationOf(*library, static_cast<int>(i)).name == className) {
            CComPtr<ITypeInfo> type;
            Must(library->GetTypeInfo(i, &type), "GetTypeInfo");
            return Implemented(*Implemented(*type, 0), -1);
        }
    }
    throw std::runtime_error("no class " + className);
}

Function Described(const CComPtr<ITypeInfo>& type, const FUNCDESC& function) {
    const std::vector<Text> names = NamesOf(*type, function.memid);
    Function described = {function.memid, function.invkind, names.at(0).value(), {}};
    for (int i = 0; i < function.cParams; ++i) {
        const ELEMDESC& element = function.lprgelemdescParam[i];
        const USHORT flags = element.paramdesc.wParamFlags;
        const bool result = (flags & PARAMFLAG_FRETVAL) != 0;
        const bool newValue = function.invkind == INVOKE_PROPERTYPUT && i == function.cParams - 1;
        const std::string name = result || newValue ? "" : names.at(static_cast<std::size_t>(i) + 1).value();
        described.parameters.push_back({TypeText(*type, element.tdesc), name, result, (flags & PARAMFLAG_FOPT) != 0});
    }
    return described;
}

std::vector<Function> FunctionsOf(const std::string& className) {
    const CComPtr<ITypeInfo> type = InterfaceOf(className);
    std::vector<Function> functions;
    for (UINT i = 0; i < AttributesOf(type)->cFuncs; ++i) {
        functions.push_back(Described(type, *FunctionOf(type, i)));
    }
    return functions;
}

// ---------------------------------------------------------------------------------------- how a page has to write that

/// The declaration for compiled clients: `HRESULT get_Item(long index, BSTR*);`.
std::string CppDeclaration(const Function& function) {
    std::string text = "HRESULT ";
    if (function.kind == INVOKE_PROPERTYGET) {
        text += "get_";
    } else if (function.kind == INVOKE_PROPERTYPUT) {
        text += "put_";
    }
    text += function.name + "(";
    std::string_view separator;
    for (const Parameter& parameter : function.parameters) {
        text.append(separator).append(parameter.type).append(parameter.name.empty() ? "" : " " + parameter.name);
        separator = ", ";
    }
    return text + ");";
}

/// A type for script authors: `Long` for `long`, `NXFileStream` for `INXFileStream*`.
std::string ScriptType(const std::string& type) {
    static const std::pair<const char*, const char*> names[] = {{"int", "Long"},
                                                                {"long", "Long"},
                                                                {"VARIANT_BOOL", "Boolean"},
                                                                {"BSTR", "String"},
                                                                {"VARIANT", "Variant"},
                                                                {"IUnknown*", "Unknown"},
                                                                {"INXTokenString*", "NXTokenString"},
                                                                {"INXFileStream*", "NXFileStream"}};
    for (const auto& [name, scriptName] : names) {
        if (type == name) {
            return scriptName;
        }
    }
    throw std::runtime_error("no name for the type " + type);
}

/// The heading and declaration of a member on a page.
struct Entry {
    std::string heading;     ///< `Add(Item [, Position])`, `Token(n)`, `Count`
    std::string declaration; ///< `Property Count As Long ' read-only`

    auto operator<=>(const Entry&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Entry& entry) {
        return out << "\n    ### " << entry.heading << "\n        " << entry.declaration;
    }
};

/// The entry of a member, given its method, or the get of its property.
Entry EntryOf(const Function& function, bool readOnly) {
    std::string shortList;
    std::string list;
    std::string result;
    for (const Parameter& parameter : function.parameters) {
        if (parameter.result) {
            result = " As " + ScriptType(parameter.type.substr(0, parameter.type.size() - 1));
            continue;
        }
        const std::string separator = list.empty() ? "" : ", ";
        const std::string declared = parameter.name + " As " + ScriptType(parameter.type);
        if (parameter.optional) {
            shortList += (list.empty() ? "[" : " [, ") + parameter.name + "]";
            list += separator + "[" + declared + " = 0]";
        } else {
            shortList += separator + parameter.name;
            list += separator + declared;
        }
    }
    if (function.kind == INVOKE_FUNC) {
        const std::string keyword = result.empty() ? "Sub " : "Function ";
        return {function.name + "(" + shortList + ")", keyword + function.name + "(" + list + ")" + result};
    }
    if (!list.empty()) {
        shortList = "(" + shortList + ")";
        list = "(" + list + ")";
    }
    std::string remark = readOnly ? " ' read-only" : "";
    if (function.id == DISPID_VALUE) {
        remark += ", default member";
    }
    return {function.name + shortList, "Property " + function.name + list + result + remark};
}

/// The entries of a class, sorted.
std::vector<Entry> EntriesOf(const std::string& className) {
    const std::vector<Function> functions = FunctionsOf(className);
    std::vector<Entry> entries;
    for (const Function& function : functions) {
        if (function.kind != INVOKE_PROPERTYPUT) {
            const bool readOnly = std::ranges::count(functions, function.id, &Function::id) == 1;
            entries.push_back(EntryOf(function, readOnly));
        }
    }
    std::ranges::sort(entries);
    return entries;
}

// ---------------------------------------------------------------------------------------------------------- the pages

std::filesystem::path Folder() {
    return Environment("NUVOLEX_REFERENCE");
}

std::string PageName(std::string className) {
    std::ranges::transform(className, className.begin(), [](unsigned char c) { return std::tolower(c); });
    return className + ".md";
}

/// A parsed page.
struct Page {
    explicit Page(const std::string& name) {
        std::ifstream file(Folder() / name);
        if (!file) {
            throw std::runtime_error("no page " + name);
        }
        constexpr std::string_view fence = "```";
        std::string block;
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with(fence)) {
                block = block.empty() ? line : "";
            } else if (block.empty()) {
                TakeText(line);
            } else if (block == "```vb" && !entries.empty()) {
                entries.back().declaration += line;
            } else if (block == "```cpp") {
                cpp.push_back(line);
            }
        }
        std::ranges::sort(entries);
    }

    std::string title;
    std::vector<Entry> entries; ///< sorted
    std::vector<std::string> cpp;
    std::vector<std::string> links; ///< of the page's tables, in order

  private:
    void TakeText(const std::string& line) {
        constexpr std::string_view titleMark = "# ";
        constexpr std::string_view memberMark = "### ";
        constexpr std::string_view linkMark = "](";
        if (line.starts_with(titleMark)) {
            title = line.substr(titleMark.size());
        } else if (line.starts_with(memberMark)) {
            entries.push_back({line.substr(memberMark.size()), ""});
        } else if (line.starts_with('|') && line.find(linkMark) != std::string::npos) {
            const std::size_t start = line.find(linkMark) + linkMark.size();
            links.push_back(line.substr(start, line.find(')', start) - start));
        }
    }
};

/// The elements of one sorted list that are not in the other.
std::vector<Entry> Without(const std::vector<Entry>& entries, const std::vector<Entry>& others) {
    std::vector<Entry> rest;
    std::ranges::set_difference(entries, others, std::back_inserter(rest));
    return rest;
}

// ---------------------------------------------------------------------------------------------------------- the tests

std::vector<std::string> ClassNames() {
    std::vector<std::string> names;
    for (const Text& name : TypesOfKind(TKIND_COCLASS)) {
        names.push_back(name.value());
    }
    return names;
}

TEST(Reference, HasAPageForEachClassAndNoOther) {
    std::vector<std::string> expected = {"README.md"};
    for (const std::string& name : ClassNames()) {
        expected.push_back(PageName(name));
    }
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
        found.push_back(entry.path().filename().string());
    }
    std::ranges::sort(expected);
    std::ranges::sort(found);
    EXPECT_EQ(found, expected);
}

TEST(Reference, IndexLinksToThePagesInTheOrderOfTheTypeLibrary) {
    std::vector<std::string> expected;
    for (const std::string& name : ClassNames()) {
        expected.push_back(PageName(name));
    }
    EXPECT_EQ(Page("README.md").links, expected);
}

TEST(Reference, PagesDeclareAllMembersAndNoOthers) {
    for (const std::string& name : ClassNames()) {
        SCOPED_TRACE(PageName(name));
        const Page page(PageName(name));
        EXPECT_EQ(page.title, name);
        const std::vector<Entry> expected = EntriesOf(name);
        EXPECT_EQ(Without(expected, page.entries), std::vector<Entry>()) << "missing on the page";
        EXPECT_EQ(Without(page.entries, expected), std::vector<Entry>()) << "not in the type library";
    }
}

TEST(Reference, PagesDeclareTheVtableForCompiledClients) {
    for (const std::string& name : ClassNames()) {
        SCOPED_TRACE(PageName(name));
        std::vector<std::string> expected;
        std::ranges::transform(FunctionsOf(name), std::back_inserter(expected), CppDeclaration);
        EXPECT_EQ(Page(PageName(name)).cpp, expected);
    }
}

} // namespace
