// Each interface is described twice: in the type library, which clients read, and in the table for late-bound calls.
// These tests compare both, member by member.

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <iterator>
#include <memory>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxdispatch.h"
#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxstring.h"
#include "automation/nxstringlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "automation/nxvariantcollection.h"
#include "tests/automation/dispatch.h"
#include "tests/support/bstr.h"

namespace {

using support::Bstr;
using support::Require;

/// One of the seven classes.
struct Class {
    const char* name;
    const IID* iid;
    int memberCount; ///< known from the contract, so that two empty descriptions cannot pass as equal
    std::span<const CNXMember> (*members)() noexcept;
    HRESULT (*create)(IDispatch** created);
};

template <class Object> HRESULT Create(IDispatch** created) {
    CComObject<Object>* object = nullptr;
    const HRESULT hr = CComObject<Object>::CreateInstance(&object);
    return SUCCEEDED(hr) ? object->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(created)) : hr;
}

template <class Object> Class Describe(const char* name, const IID& iid, int memberCount) {
    return {name, &iid, memberCount, &Object::Members, &Create<Object>};
}

void PrintTo(const Class& tested, std::ostream* stream) {
    *stream << tested.name;
}

const Class classes[] = {
    Describe<CNXString>("NXString", IID_INXString, 10),
    Describe<CNXTokenString>("NXTokenString", IID_INXTokenString, 10),
    Describe<CNXStringList>("NXStringList", IID_INXStringList, 9),
    Describe<CNXFileStream>("NXFileStream", IID_INXFileStream, 11),
    Describe<CNXTokenStringList>("NXTokenStringList", IID_INXTokenStringList, 10),
    Describe<CNXFileStreamList>("NXFileStreamList", IID_INXFileStreamList, 10),
    Describe<CNXVariantCollection>("NXVariantCollection", IID_INXVariantCollection, 5),
};

// ---------------------------------------------------------------------------------------------------------------------
// Members as lines of text: get 0x60020000 Item(int index) as BSTR

/// Names are ASCII. Any other character is printed in a form that equals nothing else.
std::string Narrow(std::wstring_view text) {
    std::string narrow;
    for (const wchar_t c : text) {
        narrow += c > 0 && c < 0x80 ? std::string(1, static_cast<char>(c)) : "<" + std::to_string(c) + ">";
    }
    return narrow;
}

std::string Printed(const GUID& guid) {
    wchar_t text[64] = {};
    StringFromGUID2(guid, text, static_cast<int>(std::size(text)));
    return Narrow(text);
}

/// `interfaceOf` gives the interface of a VT_DISPATCH.
std::string PrintedType(
    VARTYPE type, const std::function<std::string()>& interfaceOf = [] { return ""; }) {
    switch (type) {
    case VT_VOID:
        return "void";
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
    case VT_DISPATCH:
        return "object" + interfaceOf();
    default:
        return "type " + std::to_string(type);
    }
}

std::string PrintedKind(int kind) {
    switch (kind) {
    case DISPATCH_METHOD:
        return "method";
    case DISPATCH_PROPERTYGET:
        return "get";
    case DISPATCH_PROPERTYPUT:
        return "put";
    default:
        return "kind " + std::to_string(kind);
    }
}

std::string PrintedId(DISPID id) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08lX", static_cast<unsigned long>(id));
    return text;
}

constexpr const char* optional = " = 0"; ///< follows the name of an optional parameter

/// The line of a member. `parameters`: " TYPE NAME" each.
std::string Line(int kind, DISPID id, const std::string& name, const std::vector<std::string>& parameters,
                 std::size_t requiredCount, const std::string& result) {
    std::string line = PrintedKind(kind) + " " + PrintedId(id) + " " + name + "(";
    for (const std::string& parameter : parameters) {
        line += parameter + ";";
    }
    return line + ") as " + result + ", " + std::to_string(requiredCount) + " required";
}

/// The lines of a table.
std::vector<std::string> LinesOf(std::span<const CNXMember> members) {
    std::vector<std::string> lines;
    for (const CNXMember& member : members) {
        std::vector<std::string> parameters;
        for (UINT i = 0; i < member.parameters.size(); ++i) {
            const CNXParameter& parameter = member.parameters[i];
            const auto interfaceOf = [&] { return parameter.iid != nullptr ? " " + Printed(*parameter.iid) : ""; };
            if (i < member.parameterCount) {
                parameters.push_back(" " + PrintedType(parameter.type, interfaceOf) + " " + Narrow(parameter.name) +
                                     (parameter.isOptional ? optional : ""));
            } else if (!parameter.name.empty()) {
                parameters.push_back(" name of no parameter: " + Narrow(parameter.name));
            }
        }
        std::string line = Line(member.kind, member.id, Narrow(member.name), parameters, member.requiredCount,
                                PrintedType(member.result));
        lines.push_back(member.call != nullptr ? line : line + ", calls nothing");
    }
    return lines;
}

// ---------------------------------------------------------------------------------------------------------------------
// Members of the type library as lines of text

/// The type of an argument or result. Of objects it is the interface.
std::string PrintedType(ITypeInfo& info, const TYPEDESC& type, bool withInterface) {
    if (type.vt != VT_PTR || type.lptdesc->vt != VT_USERDEFINED) {
        return PrintedType(type.vt);
    }
    CComPtr<ITypeInfo> referred;
    Require(info.GetRefTypeInfo(type.lptdesc->hreftype, &referred), "GetRefTypeInfo");
    TYPEATTR* attributes = nullptr;
    Require(referred->GetTypeAttr(&attributes), "GetTypeAttr");
    const bool isDual = attributes->typekind == TKIND_DISPATCH && (attributes->wTypeFlags & TYPEFLAG_FDUAL) != 0;
    const std::string interfaceId = isDual ? Printed(attributes->guid) : "that is not dual";
    referred->ReleaseTypeAttr(attributes);
    return PrintedType(VT_DISPATCH, [&] { return withInterface || !isDual ? " " + interfaceId : ""; });
}

/// The suffix for the flags of a parameter.
std::string PrintedFlags(const PARAMDESC& parameter) {
    constexpr USHORT optionalFlags = PARAMFLAG_FIN | PARAMFLAG_FOPT | PARAMFLAG_FHASDEFAULT;
    if (parameter.wParamFlags == PARAMFLAG_FIN) {
        return "";
    }
    if (parameter.wParamFlags != optionalFlags) {
        return " with flags " + std::to_string(parameter.wParamFlags);
    }
    const VARIANT& value = parameter.pparamdescex->varDefaultValue;
    return V_VT(&value) == VT_I4 && V_I4(&value) == 0 ? optional : " with another default value";
}

/// The names of a member and its parameters. The type library stores them by DISPID, so a put has those of its get, and
/// the new value has none.
std::vector<std::string> NamesOf(ITypeInfo& info, DISPID id) {
    std::array<BSTR, 10> texts = {};
    UINT count = 0;
    Require(info.GetNames(id, texts.data(), static_cast<UINT>(texts.size()), &count), "GetNames");
    std::vector<std::string> names;
    for (UINT i = 0; i < count; ++i) {
        const Bstr text(texts.at(i));
        names.push_back(Narrow({text, SysStringLen(text)}));
    }
    return names;
}

std::string LineOf(ITypeInfo& info, const FUNCDESC& function) {
    const std::vector<std::string> names = NamesOf(info, function.memid);
    std::vector<std::string> parameters;
    std::size_t requiredCount = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(function.cParams); ++i) {
        const ELEMDESC& parameter = function.lprgelemdescParam[i];
        const std::string flags = PrintedFlags(parameter.paramdesc);
        const std::string name = i + 1 < names.size() ? names[i + 1] : "";
        requiredCount += flags == optional ? 0U : 1U;
        parameters.push_back(" " + PrintedType(info, parameter.tdesc, true) + " " + name + flags);
    }
    for (std::size_t i = parameters.size() + 1; i < names.size(); ++i) {
        parameters.push_back(" name of no parameter: " + names[i]);
    }
    return Line(function.invkind, function.memid, names.at(0), parameters, requiredCount,
                PrintedType(info, function.elemdescFunc.tdesc, false));
}

/// The lines of an interface, without the members that every dual interface inherits.
std::vector<std::string> LinesOf(ITypeInfo& info) {
    constexpr SHORT ownSlots = 7 * sizeof(void*);
    TYPEATTR* attributes = nullptr;
    Require(info.GetTypeAttr(&attributes), "GetTypeAttr");
    const UINT count = attributes->cFuncs;
    info.ReleaseTypeAttr(attributes);
    std::vector<std::string> lines;
    for (UINT i = 0; i < count; ++i) {
        FUNCDESC* function = nullptr;
        Require(info.GetFuncDesc(i, &function), "GetFuncDesc");
        if (function->oVft >= ownSlots) {
            lines.push_back(LineOf(info, *function));
        }
        info.ReleaseFuncDesc(function);
    }
    return lines;
}

/// The interface in the type library of the registered DLL.
CComPtr<ITypeInfo> LibraryTypeOf(const Class& tested) {
    CComPtr<ITypeLib> library;
    Require(LoadRegTypeLib(LIBID_NUVOLEXLib, 1, 0, 0x0409, &library), "LoadRegTypeLib");
    CComPtr<ITypeInfo> info;
    Require(library->GetTypeInfoOfGuid(*tested.iid, &info), "GetTypeInfoOfGuid");
    return info;
}

/// The interface that GetTypeInfo of an object returns.
CComPtr<ITypeInfo> ObjectsTypeOf(const Class& tested) {
    CComPtr<IDispatch> object;
    Require(tested.create(&object), tested.name);
    CComPtr<ITypeInfo> info;
    Require(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info), "GetTypeInfo");
    return info;
}

// ---------------------------------------------------------------------------------------------------------------------

class NXDispatchTableTest : public ::testing::TestWithParam<Class> {
  protected:
    /// Adds a failure for each line that differs or is missing on one side.
    static void ExpectSame(const std::vector<std::string>& table, const std::vector<std::string>& library) {
        for (std::size_t i = 0; i < std::max(table.size(), library.size()); ++i) {
            EXPECT_EQ(i < table.size() ? table[i] : "nothing in the table",
                      i < library.size() ? library[i] : "nothing in the type library")
                << "member " << i;
        }
    }

    const Class& tested = GetParam();
};

TEST_P(NXDispatchTableTest, Table_SaysWhatTheTypeLibrarySays) {
    const std::vector<std::string> library = LinesOf(*LibraryTypeOf(tested));
    EXPECT_EQ(static_cast<int>(library.size()), tested.memberCount);
    ExpectSame(LinesOf(tested.members()), library);
}

TEST_P(NXDispatchTableTest, Table_SaysWhatGetTypeInfoSays) {
    TYPEATTR* attributes = nullptr;
    const CComPtr<ITypeInfo> info = ObjectsTypeOf(tested);
    ASSERT_HR(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_TRUE(IsEqualGUID(attributes->guid, *tested.iid));
    info->ReleaseTypeAttr(attributes);
    ExpectSame(LinesOf(tested.members()), LinesOf(*info));
}

TEST_P(NXDispatchTableTest, Names_AreFoundUnderTheIdsOfTheTypeLibrary) {
    CComPtr<IDispatch> object;
    ASSERT_HR(tested.create(&object), S_OK);
    const CComPtr<ITypeInfo> info = LibraryTypeOf(tested);
    for (const CNXMember& member : tested.members()) {
        std::vector<std::wstring> names = {std::wstring(member.name)};
        for (const CNXParameter& parameter : member.parameters) {
            if (!parameter.name.empty() && member.kind != DISPATCH_PROPERTYPUT) {
                names.emplace_back(parameter.name);
            }
        }
        std::vector<LPOLESTR> given;
        for (std::wstring& name : names) {
            given.push_back(name.data());
        }
        std::vector<DISPID> ids(names.size(), 77);
        std::vector<DISPID> libraryIds(names.size(), 78);
        const auto count = static_cast<UINT>(names.size());
        EXPECT_HR(object->GetIDsOfNames(IID_NULL, given.data(), count, 0x0409, ids.data()), S_OK);
        EXPECT_HR(info->GetIDsOfNames(given.data(), count, libraryIds.data()), S_OK);
        EXPECT_EQ(ids, libraryIds) << Narrow(member.name);
        EXPECT_EQ(ids[0], member.id);
    }
}

/// A difference between a table and the type library.
struct Difference {
    const char* name;
    void (*make)(std::vector<CNXMember>& members);
};

/// Changes to the table of NXVariantCollection: Add(VARIANT Item; long Position = 0), Remove(long index = 0), ...
const Difference differences[] = {
    {"MissingMember", [](auto& members) { members.pop_back(); }},
    {"ExtraMember", [](auto& members) { members.push_back(members.back()); }},
    {"OrderOfMembers", [](auto& members) { std::swap(members[1], members[2]); }},
    {"Id", [](auto& members) { members[0].id ^= 1; }},
    {"Kind", [](auto& members) { members[2].kind = DISPATCH_METHOD; }},
    {"Name", [](auto& members) { members[0].name = L"Adds"; }},
    {"CaseOfName", [](auto& members) { members[0].name = L"add"; }},
    {"Result", [](auto& members) { members[2].result = VT_INT; }},
    {"NoResult", [](auto& members) { members[2].result = VT_VOID; }},
    {"FewerParameters", [](auto& members) { members[0].parameterCount = 1; }},
    {"MoreParameters", [](auto& members) { members[1].parameterCount = 2; }},
    {"RequiredCount", [](auto& members) { members[0].requiredCount = 2; }},
    {"ParameterName", [](auto& members) { members[0].parameters[1].name = L"position"; }},
    {"NoParameterName", [](auto& members) { members[0].parameters[0].name = L""; }},
    {"NameOfNoParameter", [](auto& members) { members[1].parameters[1].name = L"index"; }},
    {"ParameterType", [](auto& members) { members[0].parameters[1].type = VT_INT; }},
    {"ParameterInterface",
     [](auto& members) {
         members[0].parameters[0].type = VT_DISPATCH;
         members[0].parameters[0].iid = &IID_INXString;
     }},
    {"OrderOfParameters", [](auto& members) { std::swap(members[0].parameters[0], members[0].parameters[1]); }},
    {"OptionalParameter", [](auto& members) { members[0].parameters[1].isOptional = false; }},
    {"RequiredParameter", [](auto& members) { members[3].parameters[0].isOptional = true; }},
    {"Function", [](auto& members) { members[0].call = nullptr; }},
};

class NXDispatchDifferenceTest : public ::testing::TestWithParam<Difference> {};

TEST_P(NXDispatchDifferenceTest, Difference_IsFound) {
    const std::span<const CNXMember> table = CNXVariantCollection::Members();
    std::vector<CNXMember> members(table.begin(), table.end());
    GetParam().make(members);
    EXPECT_NE(LinesOf(members), LinesOf(*LibraryTypeOf(classes[std::size(classes) - 1])));
}

TEST(NXDispatchTable, Line_HasTheInterfaceOfAParameter) {
    const std::span<const CNXMember> table = CNXTokenStringList::Members();
    std::vector<CNXMember> members(table.begin(), table.end());
    ASSERT_TRUE(IsEqualIID(*members.at(5).parameters[0].iid, IID_INXTokenString)) << "Add";
    members[5].parameters[0].iid = &IID_INXFileStream;
    EXPECT_NE(LinesOf(members), LinesOf(table));
}

void PrintTo(const Difference& difference, std::ostream* stream) {
    *stream << difference.name;
}

INSTANTIATE_TEST_SUITE_P(Classes, NXDispatchTableTest, ::testing::ValuesIn(classes),
                         [](const ::testing::TestParamInfo<Class>& test) { return test.param.name; });
INSTANTIATE_TEST_SUITE_P(Differences, NXDispatchDifferenceTest, ::testing::ValuesIn(differences),
                         [](const ::testing::TestParamInfo<Difference>& test) { return test.param.name; });

} // namespace
