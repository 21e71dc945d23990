// Late-bound calls: how they are made, and their results by the rules before they reach the member.

#include <algorithm>
#include <cstring>

#include "tests/automation/hresult.h"
#include "tests/model/world.h"

using support::PrintedHr;

namespace model {
namespace {

constexpr long untouched = 0x5a5a5a5a;
constexpr DISPID noSuchMember = 0x60029999;
constexpr DISPID noSuchParameter = 77;

std::string Differs(const char* what, const std::string& is, const std::string& wanted) {
    return std::string(what) + "\n    is: " + is + "\nwanted: " + wanted;
}

/// Whether there are variables of the type, for a VT_BYREF.
bool HasReferences(VARTYPE type) {
    return type != VT_EMPTY && type != VT_NULL && (type & VT_BYREF) == 0;
}

bool IsObject(VARTYPE type) {
    return type == VT_DISPATCH || type == VT_UNKNOWN;
}

/// Replaces a value with one that converts to it, or with one that does not. Returns false if there is none.
bool Replace(Pass pass, VARTYPE parameter, const Value& given, VARIANT& value) {
    const bool isNumber = parameter == VT_I4 || parameter == VT_BOOL;
    const auto set = [&](const Value& other) {
        VariantClear(&value);
        Fill(value, other, nullptr);
        return true;
    };
    const auto real = [](double number) {
        Value other = {.type = VT_R8};
        std::memcpy(&other.bits, &number, sizeof(number));
        return other;
    };
    if (parameter == VT_VARIANT || (parameter == VT_DISPATCH && pass != Pass::AsEmpty && pass != Pass::AsNull)) {
        return false;
    }
    switch (pass) {
    case Pass::AsShort:
        return (!isNumber || (given.bits >= -32768 && given.bits <= 32767)) &&
               set({.type = VT_I2, .bits = isNumber ? given.bits : 12});
    case Pass::AsDouble:
        return set(real(isNumber ? static_cast<double>(given.bits) + 0.25 : 1.5));
    case Pass::AsText:
        return isNumber && set(Value::Of(Text(std::to_wstring(given.bits))));
    case Pass::AsBool:
        return set(Value::Bool(given.bits % 2 != 0));
    case Pass::AsEmpty:
        return set({});
    case Pass::AsNull:
        return set({.type = VT_NULL});
    case Pass::Garbage:
        return isNumber && set(Value::Of(Text(L"x1")));
    case Pass::Huge:
        return parameter == VT_I4 && set(real(1e30));
    default:
        return false;
    }
}

/// The result of the conversion to a parameter's type, by the platform's rules.
HRESULT Convert(const Member& member, std::size_t i, LCID locale, VARIANT& value, const Ref& object, Value& converted) {
    const VARTYPE type = member.parameters[i];
    if (type == VT_VARIANT || V_VT(&value) == type) {
        converted = ValueOf(value);
        converted.object = object;
    }
    if (type == VT_VARIANT) {
        return S_OK;
    }
    if (type == VT_DISPATCH) {
        converted = Value::Of(object);
        const bool fits = IsObject(V_VT(&value)) && (object == nullptr || object->kind == member.objects);
        return fits ? S_OK : DISP_E_TYPEMISMATCH;
    }
    if (V_VT(&value) == type) {
        return S_OK;
    }
    if (object != nullptr) { // no class has a default property without parameters
        return DISP_E_TYPEMISMATCH;
    }
    Variant changed;
    const HRESULT hr = VariantChangeTypeEx(&changed, &value, locale, 0, type);
    converted = ValueOf(changed);
    return hr == S_OK || hr == DISP_E_OVERFLOW ? hr : DISP_E_TYPEMISMATCH;
}

/// The order in which a call passes its arguments: each one's parameter and, if any, name.
struct Passed {
    std::size_t parameter;
    bool named;
    DISPID name;
};

std::vector<Passed> OrderOf(const Call& call) {
    const bool isPut = call.member->access == DISPATCH_PROPERTYPUT;
    const std::size_t count = call.arguments.size();
    std::vector<Passed> order;
    for (std::size_t i = count; i-- > 0;) {
        const bool isNewValue = isPut && i + 1 == count;
        const bool last = i + 1 == count;
        Passed passed = {i, isNewValue || call.shape == Shape::Named,
                         isNewValue ? DISPID_PROPERTYPUT : static_cast<DISPID>(i)};
        if (call.shape == Shape::UnnamedValue) {
            passed.named = false;
        } else if (call.shape == Shape::UnknownName && last) {
            passed = {i, true, noSuchParameter};
        }
        order.push_back(passed);
    }
    if (call.shape == Shape::Named && count > 0) {
        std::ranges::rotate(order, order.begin() + static_cast<std::ptrdiff_t>(call.variant % count));
    }
    return order;
}

WORD FlagsOf(const Call& call) {
    static constexpr WORD gets[] = {DISPATCH_PROPERTYGET, DISPATCH_METHOD, DISPATCH_PROPERTYGET | DISPATCH_METHOD};
    static constexpr WORD puts[] = {DISPATCH_PROPERTYPUT, DISPATCH_PROPERTYPUTREF,
                                    DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF};
    static constexpr WORD methods[] = {DISPATCH_METHOD, DISPATCH_METHOD | DISPATCH_PROPERTYGET, DISPATCH_METHOD};
    const std::size_t which = call.variant % 3;
    if (call.shape == Shape::WrongAccess) {
        return call.member->access == DISPATCH_METHOD ? DISPATCH_PROPERTYGET : DISPATCH_PROPERTYPUT;
    }
    return call.member->access == DISPATCH_METHOD        ? methods[which]
           : call.member->access == DISPATCH_PROPERTYGET ? gets[which]
                                                         : puts[which];
}

/// Whether the shape makes a difference for the member; if not, the call is an ordinary one.
bool Suits(const Call& call) {
    const Member& member = *call.member;
    const auto hasPut = [&] {
        return std::ranges::any_of(MembersOf(member.kind), [&](const Member& other) {
            return other.id == member.id && other.access == DISPATCH_PROPERTYPUT;
        });
    };
    switch (call.shape) {
    case Shape::NoArray:
    case Shape::OneLess:
    case Shape::UnknownName:
        return !call.arguments.empty();
    case Shape::WrongAccess:
        return !hasPut();
    case Shape::UnnamedValue:
        return member.access == DISPATCH_PROPERTYPUT;
    case Shape::OneMore:
        return call.arguments.size() == member.parameters.size();
    default:
        return true;
    }
}

} // namespace

void World::Pack(const Call& call, std::size_t i, const Value& value, Packed& packed) const {
    const Argument& argument = call.arguments[i];
    const VARTYPE parameter = call.member->parameters[i];
    IDispatch* const object =
        argument.slot >= 0 ? m_slots[static_cast<std::size_t>(argument.slot)].Dispatch() : nullptr;
    if (value.type == (VT_BYREF | VT_I4)) { // its value counts, however it is passed
        Fill(packed.sent, value, nullptr);
        Fill(packed.value, Value::Long(*V_I4REF(&packed.sent)), nullptr);
        return;
    }
    Fill(packed.value, value, object);
    packed.sent = packed.value;
    const auto refer = [](VARIANT& from, VARTYPE type, void* to) {
        V_VT(&from) = static_cast<VARTYPE>(type | VT_BYREF);
        V_BYREF(&from) = to;
    };
    const VARTYPE type = V_VT(&packed.value);
    switch (argument.pass) {
    case Pass::Direct:
    case Pass::OtherObject:
        break;
    case Pass::Reference:
        if (HasReferences(type)) {
            refer(packed.sent, type, &V_I8(&packed.value));
        }
        break;
    case Pass::ToVariant:
        refer(packed.sent, VT_VARIANT, &packed.value);
        break;
    case Pass::ToVariantReference:
        if (HasReferences(type)) {
            refer(packed.middle, type, &V_I8(&packed.value));
            refer(packed.sent, VT_VARIANT, &packed.middle);
        }
        break;
    case Pass::ToVariantToVariant:
        refer(packed.middle, VT_VARIANT, &packed.value);
        refer(packed.sent, VT_VARIANT, &packed.middle);
        break;
    case Pass::NullReference:
        refer(packed.sent, parameter, nullptr);
        break;
    case Pass::LeftOut:
        V_VT(&packed.sent) = VT_ERROR;
        V_ERROR(&packed.sent) = DISP_E_PARAMNOTFOUND;
        break;
    case Pass::AsUnknown:
        if (type == VT_DISPATCH) {
            V_VT(&packed.value) = VT_UNKNOWN;
            packed.sent = packed.value;
        }
        break;
    default:
        Replace(argument.pass, parameter, value, packed.value);
        packed.sent = packed.value;
    }
}

World::Expectation World::Expect(const Call& call, const Arguments& given, std::vector<Packed>& packed) {
    const Member& member = *call.member;
    const std::size_t required = member.parameters.size() - member.optional;
    switch (call.shape) {
    case Shape::WrongIid:
        return {DISP_E_UNKNOWNINTERFACE};
    case Shape::NoParameters:
    case Shape::NoArray:
    case Shape::TooManyNames:
        return {E_INVALIDARG};
    case Shape::UnknownMember:
    case Shape::WrongAccess:
        return {DISP_E_MEMBERNOTFOUND};
    case Shape::OneMore:
        return {DISP_E_BADPARAMCOUNT};
    case Shape::UnnamedValue:
    case Shape::UnknownName:
        return {DISP_E_PARAMNOTFOUND};
    case Shape::OneLess:
        if (given.size() - 1 < required) {
            return {DISP_E_BADPARAMCOUNT};
        }
        break;
    default:
        break;
    }
    Expectation expected;
    const std::size_t count = given.size() - (call.shape == Shape::OneLess ? 1 : 0);
    for (std::size_t i = 0; i < member.parameters.size(); ++i) {
        Value converted = Value::Long(0);
        HRESULT hr = S_OK;
        if (i >= count || call.arguments[i].pass == Pass::LeftOut) {
            hr = i < required ? DISP_E_PARAMNOTOPTIONAL : S_OK;
        } else if (call.arguments[i].pass == Pass::NullReference ||
                   call.arguments[i].pass == Pass::ToVariantToVariant) {
            hr = DISP_E_TYPEMISMATCH;
        } else {
            hr = Convert(member, i, call.locale, packed[i].value, given[i].object, converted);
        }
        if (hr != S_OK) {
            return {hr, hr == DISP_E_PARAMNOTOPTIONAL ? -1 : static_cast<int>(i)};
        }
        expected.arguments.push_back(std::move(converted));
    }
    return expected;
}

std::string World::CallLateBound(const Call& call, const Arguments& given) {
    if (!Suits(call)) {
        return "";
    }
    const Member& member = *call.member;
    std::vector<Packed> packed(given.size());
    for (std::size_t i = 0; i < given.size(); ++i) {
        Pack(call, i, given[i], packed[i]);
    }
    const Expectation expected = Expect(call, given, packed);
    if (!Settled(call, expected.arguments)) {
        return "";
    }
    ++m_callsMade;
    if (call.byName) {
        std::string difference = CheckNames(call);
        if (!difference.empty()) {
            return difference;
        }
    }

    std::vector<VARIANT> arguments;
    std::vector<DISPID> names;
    std::vector<std::size_t> parameters;
    for (const Passed& passed : OrderOf(call)) {
        if (call.shape == Shape::OneLess && passed.parameter + 1 == given.size()) {
            continue;
        }
        arguments.push_back(packed[passed.parameter].sent);
        parameters.push_back(passed.parameter);
        if (passed.named) {
            names.push_back(passed.name);
        }
    }
    if (call.shape == Shape::OneMore) {
        VARIANT more = {};
        V_VT(&more) = VT_I4;
        arguments.push_back(more);
    }
    const auto count = static_cast<UINT>(arguments.size());
    const auto nameCount = static_cast<UINT>(names.size());
    names.resize(arguments.size() + 1, noSuchParameter);
    DISPPARAMS passedOn = {call.shape == Shape::NoArray ? nullptr : arguments.data(), names.data(), count,
                           call.shape == Shape::TooManyNames ? count + 1 : nameCount};
    VARIANT result = {};
    V_VT(&result) = VT_I4;
    V_I4(&result) = untouched;
    EXCEPINFO info;
    std::memset(&info, 0xcc, sizeof(info));
    UINT badArgument = 99;
    const Ref self = ObjectIn(call.slot);
    const CComPtr<IDispatch> real = SlotOf(call.slot).Dispatch(); // the result may replace it
    SetErrorInfo(0, call.earlierError ? m_earlierError.p : nullptr);
    const HRESULT hr =
        real->Invoke(call.shape == Shape::UnknownMember ? noSuchMember : member.id,
                     call.shape == Shape::WrongIid ? IID_IDispatch : IID_NULL, call.locale, FlagsOf(call),
                     call.shape == Shape::NoParameters ? nullptr : &passedOn, call.wantsResult ? &result : nullptr,
                     call.wantsDetails ? &info : nullptr, call.wantsDetails ? &badArgument : nullptr);
    if (expected.hr != S_OK) {
        if (hr != expected.hr) {
            return Differs("result", PrintedHr(hr), PrintedHr(expected.hr));
        }
        if (expected.badParameter >= 0 && call.wantsDetails &&
            (badArgument >= count || parameters[badArgument] != static_cast<std::size_t>(expected.badParameter))) {
            return "*puArgErr is " + std::to_string(badArgument) + ", not that of parameter " +
                   std::to_string(expected.badParameter);
        }
        return Difference(result, Value::Long(untouched));
    }
    Outcome outcome = member.model(ToModel(call, expected.arguments));
    return CheckReply(call, hr, result, info, outcome);
}

std::string World::CheckReply(const Call& call, HRESULT hr, VARIANT& result, const EXCEPINFO& info,
                              const Outcome& outcome) {
    const HRESULT wanted = FAILED(outcome.hr) ? DISP_E_EXCEPTION : S_OK;
    if (hr != wanted) {
        return Differs("result", PrintedHr(hr), PrintedHr(wanted));
    }
    if (call.member->result == VT_EMPTY || !call.wantsResult || FAILED(hr)) {
        const std::string difference = Difference(result, Value::Long(untouched));
        if (!difference.empty()) {
            return "the result VARIANT has been touched\n" + difference;
        }
    } else {
        std::string difference = TakeResult(call, result, outcome.value, false);
        VariantClear(&result);
        return difference;
    }
    return FAILED(hr) && call.wantsDetails ? CheckException(call, info, outcome) : "";
}

std::string World::CheckException(const Call& call, const EXCEPINFO& info, const Outcome& outcome) const {
    std::string difference;
    const auto check = [&](const char* what, BSTR actual, const Text& wanted) {
        const Text is = actual == nullptr ? Text() : Text(std::wstring(actual, SysStringLen(actual)));
        if (is != wanted && difference.empty()) {
            difference = Differs(what, Printed(is), Printed(wanted));
        }
    };
    const std::string name = NameOf(call.member->kind);
    const Text source = L"Nuvolex." + std::wstring(name.begin(), name.end()) + L".1";
    const bool described = outcome.message != nullptr;
    if (info.scode != outcome.hr || info.wCode != 0) {
        difference = Differs("scode", PrintedHr(info.scode), PrintedHr(outcome.hr));
    } else if (info.dwHelpContext != 0 || info.pvReserved != nullptr || info.pfnDeferredFillIn != nullptr ||
               info.wReserved != 0) {
        return "a field of the EXCEPINFO has not been written";
    }
    check("description", info.bstrDescription, described ? Text(outcome.message) : Text());
    check("source", info.bstrSource, described ? source : Text());
    check("help file", info.bstrHelpFile, {});
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrHelpFile);
    return difference;
}

/// Asks the object for the DISPIDs of the member and of its parameters, in mixed case.
std::string World::CheckNames(const Call& call) const {
    const Member& member = *call.member;
    std::vector<std::wstring> names = {{}};
    for (const char* const letter : {member.name}) {
        names[0].assign(letter, letter + std::strlen(letter));
    }
    for (const char* const name : member.names) {
        names.emplace_back(name, name + std::strlen(name));
    }
    std::vector<LPOLESTR> pointers;
    unsigned bits = call.variant;
    for (std::wstring& name : names) {
        for (wchar_t& letter : name) {
            const bool isLetter = (letter >= L'a' && letter <= L'z') || (letter >= L'A' && letter <= L'Z');
            letter = isLetter && (bits & 1U) != 0 ? static_cast<wchar_t>(letter ^ 0x20) : letter;
            bits = (bits >> 1) | (bits << 31);
        }
        pointers.push_back(name.data());
    }
    if (call.shape == Shape::UnknownMember) {
        names[0] += L'x';
        pointers[0] = names[0].data();
    }
    std::vector<DISPID> ids(names.size(), 99);
    const HRESULT hr = m_slots[static_cast<std::size_t>(call.slot)].Dispatch()->GetIDsOfNames(
        IID_NULL, pointers.data(), static_cast<UINT>(pointers.size()), call.locale, ids.data());
    const HRESULT wanted = call.shape == Shape::UnknownMember ? DISP_E_UNKNOWNNAME : S_OK;
    if (hr != wanted) {
        return Differs("GetIDsOfNames", PrintedHr(hr), PrintedHr(wanted));
    }
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const DISPID id = hr != S_OK ? DISPID_UNKNOWN : i == 0 ? member.id : static_cast<DISPID>(i - 1);
        if (ids[i] != id) {
            return Differs("DISPID", std::to_string(ids[i]), std::to_string(id));
        }
    }
    return "";
}

} // namespace model
