#include "automation/nxdispatch.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>

#include <atlbase.h>
#include <comdef.h>

namespace {

/// Compares names without regard to the case of ASCII letters. (That of other letters depends on the locale.) An empty
/// name matches nothing.
bool MatchesName(std::wstring_view given, std::wstring_view name) noexcept {
    const auto isSame = [](wchar_t one, wchar_t other) noexcept {
        const int lower = other | 0x20;
        return one == other || (lower >= L'a' && lower <= L'z' && (one | 0x20) == lower);
    };
    return given.size() == name.size() && !name.empty() && std::equal(given.begin(), given.end(), name.begin(), isSame);
}

/// The member with that DISPID and a kind that the flags allow, or null.
const CNXMember* FindMember(std::span<const CNXMember> members, DISPID id, int flags) noexcept {
    if (flags == DISPATCH_METHOD) { // all that some engines pass for _NewEnum, or for an unused value
        flags |= DISPATCH_PROPERTYGET;
    }
    if ((flags & DISPATCH_PROPERTYPUTREF) != 0) { // engines pass it for objects, some for every variable
        flags |= DISPATCH_PROPERTYPUT;
    }
    const auto found = std::ranges::find_if(
        members, [=](const CNXMember& member) { return member.id == id && (member.kind & flags) != 0; });
    return found != members.end() ? &*found : nullptr;
}

/// The arguments of a call in the order of the parameters; null if left out.
using MatchedArguments = std::array<const VARIANTARG*, std::tuple_size_v<CNXParameters>>;

/// Finds the argument of each parameter. rgvarg holds the named arguments first, then the positional ones in reverse.
HRESULT MatchArguments(const CNXMember& member, const DISPPARAMS& call, MatchedArguments& given,
                       UINT& badArgument) noexcept {
    if (call.cArgs > member.parameterCount || call.cArgs < member.requiredCount) {
        return DISP_E_BADPARAMCOUNT;
    }
    const UINT positionalCount = call.cArgs - call.cNamedArgs;
    for (UINT i = 0; i < positionalCount; ++i) {
        given[i] = call.rgvarg + (call.cArgs - 1 - i);
    }
    const bool isPut = member.kind == DISPATCH_PROPERTYPUT;
    const UINT nameCount = member.parameterCount - (isPut ? 1 : 0);
    if (positionalCount > nameCount) { // the new value must be named
        badArgument = 0;
        return DISP_E_PARAMNOTFOUND;
    }
    for (UINT i = call.cNamedArgs; i-- > 0;) {
        DISPID name = DISPID_UNKNOWN;
        std::memcpy(&name, call.rgdispidNamedArgs + i, sizeof(name)); // may be misaligned
        const bool isNewValue = isPut && name == DISPID_PROPERTYPUT;
        const UINT parameter = isNewValue ? nameCount : static_cast<UINT>(name);
        if ((!isNewValue && parameter >= nameCount) || given[parameter] != nullptr) {
            badArgument = i;
            return DISP_E_PARAMNOTFOUND;
        }
        given[parameter] = call.rgvarg + i;
    }
    return S_OK;
}

/// The size of a value of each VARTYPE; 0 if there are no references to it.
constexpr std::uint8_t sizes[] = {0, 0, 2, 4, 4, 8, 8, 8, 8, 8, 4, 2, 0, 8, 16, 0, 1, 1, 2, 4, 8, 8, 4, 4};
static_assert(sizes[VT_I2] == 2 && sizes[VT_BSTR] == 8 && sizes[VT_DECIMAL] == sizeof(DECIMAL) && sizes[VT_UINT] == 4);

/// Copies an argument to `value`, without ownership, after following up to two references. (VariantCopyInd does the
/// same, but does not check for null.) Returns false for a null or unsupported reference.
bool FollowReferences(const VARIANTARG* argument, VARIANT& value) noexcept {
    std::memcpy(&value, argument, sizeof(value)); // script engines may keep variables misaligned
    if (V_VT(&value) == (VT_BYREF | VT_VARIANT) && V_BYREF(&value) != nullptr) {
        std::memcpy(&value, V_BYREF(&value), sizeof(value));
    }
    if (!V_ISBYREF(&value)) {
        return true;
    }
    const unsigned type = V_VT(&value) & ~static_cast<unsigned>(VT_BYREF);
    const void* const variable = V_BYREF(&value);
    if (type != VT_RECORD) { // VT_RECORD holds a pointer with and without VT_BYREF
        const std::size_t size =
            (type & VT_ARRAY) != 0 ? sizeof(SAFEARRAY*) : sizes[type < std::size(sizes) ? type : 0];
        if (variable == nullptr || size == 0) {
            return false;
        }
        std::memcpy(type == VT_DECIMAL ? static_cast<void*>(&V_DECIMAL(&value)) : &V_I8(&value), variable, size);
    }
    V_VT(&value) = static_cast<VARTYPE>(type);
    return true;
}

/// Copies a value. A null BSTR stays null, where Wine's VariantCopy creates one of length zero.
HRESULT Copy(VARIANT& value, CNXVariant& copy) noexcept {
    const bool isNull = V_VT(&value) == VT_BSTR && V_BSTR(&value) == nullptr;
    if (isNull) {
        static_cast<VARIANT&>(copy) = value;
    }
    return isNull ? S_OK : VariantCopy(&copy, &value);
}

/// Converts argument.value to the parameter's type. This may run foreign code: VariantChangeTypeEx converts an object
/// by calling its default property.
HRESULT Convert(const CNXParameter& parameter, LCID lcid, CNXArgument& argument) {
    VARIANT& value = argument.value;
    CNXVariant& owner = argument.owner;
    const VARTYPE type = parameter.type == VT_INT ? static_cast<VARTYPE>(VT_I4) : parameter.type;
    const bool isObject = V_VT(&value) == VT_DISPATCH || V_VT(&value) == VT_UNKNOWN;
    if (type == VT_VARIANT) {
        return Copy(value, owner);
    }
    const CComPtr<IUnknown> object(isObject ? V_UNKNOWN(&value) : nullptr); // its own code may release it
    HRESULT hr = S_OK;
    if (type == VT_DISPATCH) {
        if (object == nullptr) {
            return isObject ? S_OK : DISP_E_TYPEMISMATCH;
        }
        hr = object->QueryInterface(*parameter.iid, reinterpret_cast<void**>(&V_DISPATCH(&owner)));
        V_VT(&owner) = static_cast<VARTYPE>(SUCCEEDED(hr) ? VT_DISPATCH : VT_EMPTY);
    } else if (type == VT_I4 && (V_VT(&value) == VT_I2 || V_VT(&value) == VT_INT)) {
        V_I4(&value) = V_VT(&value) == VT_I2 ? V_I2(&value) : V_INT(&value);
        return S_OK;
    } else if (V_VT(&value) == type) {
        return S_OK;
    } else {
        hr = VariantChangeTypeEx(&owner, &value, lcid, 0, type);
    }
    value = owner;
    return hr;
}

/// Reads and converts an argument, which is null if left out. Copies a string unless it is `last`, since foreign code
/// that runs while a later argument is converted may free it.
HRESULT ReadArgument(const CNXParameter& parameter, bool last, const VARIANTARG* given, LCID lcid,
                     CNXArgument& argument) {
    VARIANT& value = argument.value;
    if (given != nullptr && !FollowReferences(given, value)) {
        return DISP_E_TYPEMISMATCH;
    }
    if (given == nullptr || (V_VT(&value) == VT_ERROR && V_ERROR(&value) == DISP_E_PARAMNOTFOUND)) {
        value = {};
        return parameter.isOptional ? S_OK : DISP_E_PARAMNOTOPTIONAL;
    }
    HRESULT hr = Convert(parameter, lcid, argument);
    if (SUCCEEDED(hr) && !last && V_VT(&value) == VT_BSTR && V_VT(&argument.owner) == VT_EMPTY) {
        hr = Copy(value, argument.owner);
        value = argument.owner;
    }
    return SUCCEEDED(hr) || hr == DISP_E_OVERFLOW || hr == E_OUTOFMEMORY ? hr : DISP_E_TYPEMISMATCH;
}

/// Returns the HRESULT for the exception being handled. Clears the thread's error record, which is stale.
HRESULT HResultFromCurrentException() noexcept {
    SetErrorInfo(0, nullptr);
    try {
        throw;
    } catch (const _com_error& error) {
        return error.Error();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

/// Fills the EXCEPINFO from the error record that a failed member left. Writes every field, since some clients pass an
/// uninitialised one.
HRESULT ReportFailure(HRESULT failure, EXCEPINFO* pexcepinfo) noexcept {
    if (pexcepinfo != nullptr) {
        *pexcepinfo = {};
        pexcepinfo->scode = failure;
        CComPtr<IErrorInfo> record;
        // A member that runs out of memory sets no record; any record present is stale.
        if (GetErrorInfo(0, &record) == S_OK && failure != E_OUTOFMEMORY) {
            record->GetDescription(&pexcepinfo->bstrDescription);
            record->GetSource(&pexcepinfo->bstrSource);
            record->GetHelpFile(&pexcepinfo->bstrHelpFile);
            record->GetHelpContext(&pexcepinfo->dwHelpContext);
        }
    }
    return DISP_E_EXCEPTION;
}

} // namespace

HRESULT NXGetIDsOfNames(std::span<const CNXMember> members, LPOLESTR* rgszNames, UINT cNames,
                        DISPID* rgdispid) noexcept {
    if (rgszNames == nullptr || rgdispid == nullptr) {
        return E_POINTER;
    }
    std::fill_n(rgdispid, cNames, DISPID_UNKNOWN);
    if (cNames == 0) {
        return S_OK;
    }
    const auto named = [&](UINT i) {
        const std::wstring_view name = rgszNames[i] != nullptr ? rgszNames[i] : L"";
        return [=](const auto& candidate) { return MatchesName(name, candidate.name); };
    };
    const auto member = std::ranges::find_if(members, named(0));
    if (member == members.end()) {
        return DISP_E_UNKNOWNNAME;
    }
    rgdispid[0] = member->id;
    HRESULT hr = S_OK;
    for (UINT i = 1; i < cNames; ++i) {
        const auto parameter = std::ranges::find_if(member->parameters, named(i));
        if (parameter != member->parameters.end()) {
            rgdispid[i] = static_cast<DISPID>(parameter - member->parameters.begin());
        } else {
            hr = DISP_E_UNKNOWNNAME;
        }
    }
    return hr;
}

HRESULT NXInvoke(std::span<const CNXMember> members, IDispatch* object, DISPID dispidMember, REFIID riid, LCID lcid,
                 WORD wFlags, const DISPPARAMS* pdispparams, VARIANT* pvarResult, EXCEPINFO* pexcepinfo,
                 UINT* puArgErr) noexcept {
    if (riid != IID_NULL) {
        return DISP_E_UNKNOWNINTERFACE;
    }
    if (pdispparams == nullptr || pdispparams->cNamedArgs > pdispparams->cArgs ||
        (pdispparams->cArgs != 0 && pdispparams->rgvarg == nullptr) ||
        (pdispparams->cNamedArgs != 0 && pdispparams->rgdispidNamedArgs == nullptr)) {
        return E_INVALIDARG;
    }
    const CNXMember* const member = FindMember(members, dispidMember, wFlags);
    if (member == nullptr) {
        return DISP_E_MEMBERNOTFOUND;
    }

    const CComPtr<IDispatch> self(object); // foreign code may release the caller's reference
    CNXVariant result;
    MatchedArguments given = {};
    UINT unwanted = 0;
    UINT* const badArgument = puArgErr != nullptr ? puArgErr : &unwanted;
    HRESULT hr = MatchArguments(*member, *pdispparams, given, *badArgument);
    try {
        std::array<CNXArgument, std::tuple_size_v<MatchedArguments>> arguments;
        for (UINT i = 0; SUCCEEDED(hr) && i < member->parameterCount; ++i) {
            hr = ReadArgument(member->parameters[i], i + 1 == member->parameterCount, given[i], lcid, arguments[i]);
            if (hr == DISP_E_TYPEMISMATCH || hr == DISP_E_OVERFLOW) {
                *badArgument = static_cast<UINT>(given[i] - pdispparams->rgvarg);
            }
        }
        if (FAILED(hr)) {
            return hr;
        }
        hr = member->call(object, arguments.data(), result);
        if (FAILED(hr)) {
            // Before the arguments are released, which may run code that sets error records.
            return ReportFailure(hr, pexcepinfo);
        }
    } catch (...) {
        return HResultFromCurrentException();
    }
    if (pvarResult != nullptr && member->result != VT_VOID) {
        std::memcpy(pvarResult, static_cast<const VARIANT*>(&result), sizeof(*pvarResult));
        V_VT(&result) = VT_EMPTY;
    }
    return hr;
}
