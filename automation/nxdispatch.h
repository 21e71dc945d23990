/// Late-bound calls: tables that describe the members of an interface, and the dispatcher that uses them.
#pragma once

#include <array>
#include <concepts>
#include <cstdlib>
#include <span>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include <oaidl.h>
#include <oleauto.h>

/// Owns a VARIANT.
class CNXVariant : public VARIANT {
  public:
    CNXVariant() noexcept { V_VT(this) = VT_EMPTY; }
    CNXVariant(CNXVariant&& other) noexcept : VARIANT(other) { V_VT(&other) = VT_EMPTY; }
    CNXVariant& operator=(CNXVariant&&) = delete;
    ~CNXVariant() {
        if (V_VT(this) != VT_EMPTY) {
            VariantClear(this);
        }
    }
};

/// An argument, converted to its parameter's type.
struct CNXArgument {
    VARIANT value;    ///< what the member receives; points to memory of the caller or of `owner`
    CNXVariant owner; ///< what the conversion allocated
};

/// A parameter of a member.
struct CNXParameter {
    consteval CNXParameter(const wchar_t* parameterName = L"", bool optional = false) // NOLINT(*-explicit-*)
        : name(parameterName), isOptional(optional) {}

    std::wstring_view name; ///< empty for the new value of a property, which is passed as DISPID_PROPERTYPUT
    bool isOptional;        ///< 0 if left out
    VARTYPE type = VT_EMPTY;
    const IID* iid = nullptr; ///< the interface of a VT_DISPATCH
};

consteval CNXParameter NXOptional(const wchar_t* name) {
    return {name, true};
}

using CNXParameters = std::array<CNXParameter, 2>; // no member has more

/// A member of an interface, for late-bound callers.
struct CNXMember {
    DISPID id;
    WORD kind;      ///< DISPATCH_METHOD, DISPATCH_PROPERTYGET or DISPATCH_PROPERTYPUT
    VARTYPE result; ///< VT_VOID if there is none
    std::wstring_view name;
    UINT parameterCount;
    UINT requiredCount; ///< number of parameters that are not optional; they come first
    CNXParameters parameters;
    /// Calls the member of `object`. The caller owns `result`, even on failure. May throw.
    HRESULT (*call)(IDispatch* object, CNXArgument* arguments, VARIANT& result);
};

/// Deduction of types from member functions.
namespace nxdispatch {

/// The automation type of a parameter or result; VT_VOID if T cannot be one.
template <class T> inline constexpr VARTYPE typeOf = VT_VOID;
template <> inline constexpr VARTYPE typeOf<int> = VT_INT;
template <> inline constexpr VARTYPE typeOf<long> = VT_I4;
template <> inline constexpr VARTYPE typeOf<VARIANT_BOOL> = VT_BOOL;
template <> inline constexpr VARTYPE typeOf<BSTR> = VT_BSTR;
template <> inline constexpr VARTYPE typeOf<VARIANT> = VT_VARIANT;
template <> inline constexpr VARTYPE typeOf<CNXVariant&&> = VT_VARIANT;
template <> inline constexpr VARTYPE typeOf<IUnknown*> = VT_UNKNOWN;
template <std::derived_from<IDispatch> Interface> inline constexpr VARTYPE typeOf<Interface*> = VT_DISPATCH;

/// The interface of a VT_DISPATCH.
template <class T> inline constexpr const IID* iidOf = nullptr;
template <std::derived_from<IDispatch> Interface> inline constexpr const IID* iidOf<Interface*> = &__uuidof(Interface);

/// The field of a VARIANT that holds a value of type T.
template <class T> auto& FieldOf(VARIANT& value) noexcept {
    // clang-format off
    if constexpr (typeOf<T> == VT_BOOL) { return V_BOOL(&value); }
    else if constexpr (typeOf<T> == VT_BSTR) { return V_BSTR(&value); }
    else if constexpr (typeOf<T> == VT_UNKNOWN) { return V_UNKNOWN(&value); }
    else if constexpr (typeOf<T> == VT_DISPATCH) { return V_DISPATCH(&value); }
    else { return V_I4(&value); }
    // clang-format on
}

/// The argument for a parameter of type T. A CNXVariant&& transfers ownership.
template <class T> T Pass(CNXArgument& argument) noexcept {
    if constexpr (typeOf<T> == VT_VARIANT) {
        return std::move(argument.owner);
    } else {
        return static_cast<T>(FieldOf<T>(argument.value));
    }
}

/// Transfers the result of a member to `result`. An int becomes VT_I4, since not every client knows VT_INT.
template <class T> void Store(const T& value, VARIANT& result) noexcept {
    if constexpr (typeOf<T> == VT_VARIANT) {
        result = value;
    } else {
        V_VT(&result) = typeOf<T> == VT_INT ? static_cast<VARTYPE>(VT_I4) : typeOf<T>;
        FieldOf<T>(result) = value;
    }
}

/// Deduces the parameter and result types of a member function, and calls it.
template <auto method> struct Function;
template <class Class, class... Types, HRESULT (STDMETHODCALLTYPE Class::*method)(Types...)> struct Function<method> {
    template <std::size_t i> using Type = std::tuple_element_t<i, std::tuple<Types..., void>>;
    using Last = Type<sizeof...(Types) == 0 ? 0 : sizeof...(Types) - 1>;
    /// What the last parameter points to, if that is an out-parameter.
    using Result = std::conditional_t<std::is_pointer_v<Last>, std::remove_pointer_t<Last>, void>;

    static constexpr bool hasResult = typeOf<Result> != VT_VOID;
    using Indices = std::make_index_sequence<sizeof...(Types) - (hasResult ? 1 : 0)>;

    static HRESULT Call(IDispatch* object, [[maybe_unused]] CNXArgument* arguments, [[maybe_unused]] VARIANT& result) {
        return [&]<std::size_t... i>(std::index_sequence<i...>) {
            auto& self = static_cast<Class&>(*object);
            if constexpr (hasResult) {
                Result value = {};
                const HRESULT hr = (self.*method)(Pass<Type<i>>(arguments[i])..., &value);
                Store(value, result);
                return hr;
            } else {
                return (self.*method)(Pass<Type<i>>(arguments[i])...);
            }
        }
        (Indices());
    }

    static consteval CNXMember Describe(WORD kind, DISPID id, std::wstring_view name, CNXParameters parameters) {
        const std::array<VARTYPE, sizeof...(Types)> types = {typeOf<Types>...};
        const std::array<const IID*, sizeof...(Types)> iids = {iidOf<Types>...};
        UINT required = 0;
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            const bool hasName = i < Indices::size() - (kind == DISPATCH_PROPERTYPUT ? 1 : 0);
            if (hasName == parameters[i].name.empty() || (i < Indices::size() && types[i] == VT_VOID)) {
                std::abort(); // fails to compile: a wrong number of names, or a type unknown to automation
            }
            if (i < Indices::size()) {
                parameters[i].type = types[i];
                parameters[i].iid = iids[i];
                required += parameters[i].isOptional ? 0U : 1U;
            }
        }
        return {id, kind, typeOf<Result>, name, Indices::size(), required, parameters, &Call};
    }
};

} // namespace nxdispatch

// The entries of a table: the member function, its DISPID, its name, and the names of its parameters:
//
//     NXMethod<&CNXString::Mid>(0x60020005, L"Mid", L"nStart", L"nLength")
//     NXPut<&CNXString::put_Value>(0x60020007, L"Value") // a new value has no name
//
// The function is the one in the vtable, unless the class has another one for late-bound callers, because the one in
// the vtable breaks a general rule of automation.

template <auto method> consteval CNXMember NXMethod(DISPID id, std::wstring_view name, auto... parameters) {
    return nxdispatch::Function<method>::Describe(DISPATCH_METHOD, id, name, {CNXParameter(parameters)...});
}
template <auto method> consteval CNXMember NXGet(DISPID id, std::wstring_view name, auto... parameters) {
    return nxdispatch::Function<method>::Describe(DISPATCH_PROPERTYGET, id, name, {CNXParameter(parameters)...});
}
template <auto method> consteval CNXMember NXPut(DISPID id, std::wstring_view name, auto... parameters) {
    return nxdispatch::Function<method>::Describe(DISPATCH_PROPERTYPUT, id, name, {CNXParameter(parameters)...});
}

/// IDispatch::GetIDsOfNames of an interface with these members. The first name is the member's, the others are its
/// parameters'. ASCII letters are compared without case.
HRESULT NXGetIDsOfNames(std::span<const CNXMember> members, LPOLESTR* rgszNames, UINT cNames,
                        DISPID* rgdispid) noexcept;

/// IDispatch::Invoke of `object`, whose interface has these members. See the rules in docs/architecture.md.
HRESULT NXInvoke(std::span<const CNXMember> members, IDispatch* object, DISPID dispidMember, REFIID riid, LCID lcid,
                 WORD wFlags, const DISPPARAMS* pdispparams, VARIANT* pvarResult, EXCEPINFO* pexcepinfo,
                 UINT* puArgErr) noexcept;
