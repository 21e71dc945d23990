#include "tests/automation/dispatchcall.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "tests/automation/dispatch.h"
#include "tests/automation/localobject.h"
#include "tests/support/bstr.h"

namespace comparison {

using namespace std::string_literals;
using support::PrintedHr;
using support::Require;

namespace {

/// An argument during a call, with the variables that it refers to.
class PassedArgument {
  public:
    PassedArgument(const Argument& argument, World& world) {
        Make(*argument.value, world);
        switch (argument.passing) {
        case Passing::ByValue:
            m_passed = m_value;
            break;
        case Passing::Reference:
            Refer(m_passed, V_VT(&m_value), Payload());
            break;
        case Passing::Variable:
            Refer(m_passed, VT_VARIANT, &m_value);
            break;
        case Passing::VariableReference:
            Refer(m_variable, V_VT(&m_value), Payload());
            Refer(m_passed, VT_VARIANT, &m_variable);
            break;
        case Passing::VariableOfVariable:
            Refer(m_variable, VT_VARIANT, &m_value);
            Refer(m_passed, VT_VARIANT, &m_variable);
            break;
        case Passing::NullReference:
            Refer(m_passed, V_VT(&m_value), nullptr);
            break;
        case Passing::NullVariable:
            Refer(m_passed, VT_VARIANT, nullptr);
            break;
        }
    }
    PassedArgument(const PassedArgument&) = delete;
    PassedArgument& operator=(const PassedArgument&) = delete;
    ~PassedArgument() { VariantClear(&m_value); }

    [[nodiscard]] const VARIANT& Passed() const noexcept { return m_passed; }
    [[nodiscard]] const VARIANT& ReferredTo() const noexcept { return m_value; }

  private:
    void Make(const Value& value, World& world) {
        V_I8(&m_value) = value.bits; // a shorter payload is its low part
        V_VT(&m_value) = value.type;
        if (value.type == VT_BSTR) {
            const std::wstring_view text = value.bits == pathOfFile ? world.path : value.text;
            V_BSTR(&m_value) =
                text.data() != nullptr ? SysAllocStringLen(text.data(), static_cast<UINT>(text.size())) : nullptr;
        } else if (value.type == VT_DECIMAL) {
            DECIMAL number = {};
            number.Lo64 = static_cast<ULONGLONG>(value.bits);
            V_DECIMAL(&m_value) = number;
            V_VT(&m_value) = value.type;
        } else if ((value.type & VT_ARRAY) != 0) {
            V_ARRAY(&m_value) = SafeArrayCreateVector(value.type & VT_TYPEMASK, 0, static_cast<ULONG>(value.bits));
        } else if (value.type == VT_DISPATCH || value.type == VT_UNKNOWN) {
            IDispatch* const objects[] = {nullptr, world.object, world.tokens, world.stream, &world.foreign};
            V_DISPATCH(&m_value) = objects[value.bits];
            if (V_DISPATCH(&m_value) != nullptr) {
                V_DISPATCH(&m_value)->AddRef();
            }
        }
    }

    void* Payload() noexcept { return V_VT(&m_value) == VT_DECIMAL ? static_cast<void*>(&m_value) : &V_I8(&m_value); }

    static void Refer(VARIANT& reference, VARTYPE type, void* referredTo) noexcept {
        V_VT(&reference) = static_cast<VARTYPE>(type | VT_BYREF);
        V_BYREF(&reference) = referredTo;
    }

    VARIANT m_value = {};
    VARIANT m_variable = {};
    VARIANT m_passed = {};
};

/// Takes and prints the thread's error record.
void WriteErrorRecord(Record& record) {
    CComPtr<IErrorInfo> info;
    if (GetErrorInfo(0, &info) != S_OK) {
        record << "none";
        return;
    }
    Bstr text;
    info->GetDescription(text.Out());
    record << text << ' ';
    info->GetSource(text.Out());
    record << text << ' ';
    info->GetHelpFile(text.Out());
    DWORD context = 0;
    info->GetHelpContext(&context);
    GUID iid = {};
    info->GetGUID(&iid);
    wchar_t name[64] = {};
    StringFromGUID2(iid, name, 64);
    record << text << ' ' << static_cast<long long>(context) << ' ' << support::Printed(name);
}

void WriteException(const EXCEPINFO& exception, Record& record) {
    record << static_cast<long long>(exception.wCode) << ' ' << static_cast<long long>(exception.wReserved) << ' '
           << exception.bstrSource << ' ' << exception.bstrDescription << ' ' << exception.bstrHelpFile << ' '
           << static_cast<long long>(exception.dwHelpContext) << (exception.pvReserved != nullptr ? " reserved" : "")
           << (exception.pfnDeferredFillIn != nullptr ? " deferred " : " ") << PrintedHr(exception.scode);
}

} // namespace

const Value* ValueOf(std::string_view name) {
    for (const Value& value : values) {
        if (value.name == name) {
            return &value;
        }
    }
    throw std::logic_error("no such value");
}

std::string PrintedShape(const Shape& shape) {
    std::string text = "flags " + std::to_string(shape.flags) + ", arguments (";
    for (const Argument& argument : shape.arguments) {
        text += argument.value->name + " "s + passings[static_cast<int>(argument.passing)] + "; ";
    }
    text += "), names (";
    for (const DISPID name : shape.names) {
        text += std::to_string(name) + " ";
    }
    text += ")"s + (shape.filled ? "" : ", new object") + ", result " + std::to_string(static_cast<int>(shape.result));
    text += shape.wantsException ? "" : ", no EXCEPINFO";
    text += shape.wantsBadArgument ? "" : ", no puArgErr";
    text += shape.earlierError ? ", earlier error" : "";
    text += shape.noParameters ? ", no DISPPARAMS" : "";
    text += shape.iid == IID_NULL ? "" : ", an IID";
    return text + ", locale " + std::to_string(shape.locale);
}

HRESULT Call(World& world, const Shape& shape, const std::optional<Refusal>& refusal, Record& record) {
    std::array<std::optional<PassedArgument>, 10> passed;
    std::array<VARIANT, 10> arguments = {};
    const std::size_t count = shape.arguments.size();
    for (std::size_t i = 0; i < count; ++i) {
        passed.at(i).emplace(shape.arguments[i], world);
        arguments.at(count - 1 - i) = passed.at(i)->Passed();
    }
    std::vector<DISPID> names = shape.names;
    DISPPARAMS parameters = {arguments.data(), names.data(), static_cast<UINT>(count), static_cast<UINT>(names.size())};
    VARIANT result = {};
    V_VT(&result) = shape.result == Result::Number ? VT_I4 : shape.result == Result::Text ? VT_BSTR : VT_EMPTY;
    const Bstr before(L"before");
    if (shape.result == Result::Text) {
        V_BSTR(&result) = before;
    }
    EXCEPINFO exception = {};
    exception.wCode = 7;
    exception.dwHelpContext = 7;
    exception.scode = 7;
    UINT badArgument = 99;
    SetErrorInfo(0, nullptr);
    if (shape.earlierError) {
        support::LeaveErrorRecord(L"source", L"earlier");
    }

    HRESULT hr = S_OK;
    if (refusal.has_value()) {
        hr = refusal->hr;
        badArgument = shape.wantsBadArgument ? refusal->badArgument.value_or(badArgument) : badArgument;
    } else {
        hr = world.object->Invoke(
            shape.member, shape.iid, shape.locale, shape.flags, shape.noParameters ? nullptr : &parameters,
            shape.result != Result::Absent ? &result : nullptr, shape.wantsException ? &exception : nullptr,
            shape.wantsBadArgument ? &badArgument : nullptr);
    }

    record << "HRESULT " << PrintedHr(hr) << "\nerror record ";
    WriteErrorRecord(record);
    record << "\nresult " << result << "\nexception ";
    WriteException(exception, record);
    record << "\nbad argument " << static_cast<long long>(badArgument) << "\narguments ";
    for (std::size_t i = 0; i < count; ++i) {
        record << '[' << passed.at(i)->ReferredTo() << ']';
    }
    if (V_VT(&result) != VT_BSTR || V_BSTR(&result) != before) {
        VariantClear(&result);
    }
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    return hr;
}

CComPtr<ITypeInfo> TypeInfoOf(const Class& tested) {
    CComPtr<IDispatch> object;
    Require(tested.createOurs(&object), tested.name);
    CComPtr<ITypeInfo> info;
    Require(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info), "GetTypeInfo");
    return info;
}

std::vector<Member> MembersOf(const Class& tested) {
    const CComPtr<ITypeInfo> info = TypeInfoOf(tested);
    TYPEATTR* attributes = nullptr;
    Require(info->GetTypeAttr(&attributes), "GetTypeAttr");
    std::vector<Member> members(attributes->cFuncs);
    info->ReleaseTypeAttr(attributes);
    for (UINT i = 0; i < members.size(); ++i) {
        FUNCDESC* function = nullptr;
        Require(info->GetFuncDesc(i, &function), "GetFuncDesc");
        Member& member = members[i];
        member.id = function->memid;
        member.kind = static_cast<WORD>(function->invkind);
        member.own = function->oVft >= static_cast<SHORT>(7 * sizeof(void*));
        for (SHORT parameter = 0; parameter < function->cParams; ++parameter) {
            const ELEMDESC& description = function->lprgelemdescParam[parameter];
            member.parameters.push_back(description.tdesc.vt);
            member.required += (description.paramdesc.wParamFlags & PARAMFLAG_FOPT) == 0 ? 1 : 0;
        }
        info->ReleaseFuncDesc(function);

        std::array<BSTR, 10> names = {};
        UINT count = 0;
        Require(info->GetNames(member.id, names.data(), 10, &count), "GetNames");
        for (UINT n = 0; n < count; ++n) {
            member.names.emplace_back(Bstr(names.at(n)));
        }
        member.name = (member.kind == DISPATCH_PROPERTYPUT ? "put " : "") + support::Printed(member.names.at(0));
    }
    return members;
}

Shape PlainCall(const Class& tested, const Member& member) {
    Shape shape = {.member = member.id, .flags = member.kind};
    for (const VARTYPE type : member.parameters) {
        const char* const value = type == VT_BSTR                              ? tested.text
                                  : type == VT_BOOL                            ? "BOOL -1"
                                  : type == VT_PTR && tested.object != nullptr ? tested.object
                                                                               : "I4 1";
        shape.arguments.push_back({ValueOf(value)});
    }
    if (!member.own) {
        shape.arguments.resize(std::min<std::size_t>(shape.arguments.size(), 1)); // an invalid call, which is refused
    }
    if (member.kind == DISPATCH_PROPERTYPUT) {
        shape.names = {DISPID_PROPERTYPUT};
    }
    return shape;
}

} // namespace comparison
