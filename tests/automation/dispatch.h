/// Automation objects in tests: created from the registered DLL, and called late-bound as a script engine does it.
///
///     const DispatchObject text = Create(CLSID_NXString);
///     EXPECT_HR(text.Put(L"Value", L"abcdef").hr, S_OK);
///     EXPECT_BSTR(text.Call(L"Mid", 2, 3).value.Text(), L"cde");
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <atlbase.h>
#include <oleauto.h>

#include "tests/automation/hresult.h"

namespace support {

/// Throws, and so fails the test, unless `hr` is S_OK.
inline void Require(HRESULT hr, const std::string& what) {
    if (hr != S_OK) {
        throw std::runtime_error(what + ": " + PrintedHr(hr));
    }
}

/// Owns a VARIANT. Copies are deep, except of references.
class Variant {
  public:
    /// VT_EMPTY; also a variable for a result.
    Variant() noexcept { VariantInit(&m_value); }

    // Values as script engines send them. Arguments of a call, so the conversions are implicit.
    // NOLINTBEGIN(google-explicit-constructor)
    Variant(int value) noexcept : Variant(VT_I4) { V_I4(&m_value) = value; }
    Variant(short value) noexcept : Variant(VT_I2) { V_I2(&m_value) = value; }
    Variant(double value) noexcept : Variant(VT_R8) { V_R8(&m_value) = value; }
    Variant(bool value) noexcept : Variant(VT_BOOL) { V_BOOL(&m_value) = value ? VARIANT_TRUE : VARIANT_FALSE; }
    Variant(std::wstring_view text) : Variant(VT_BSTR) {
        V_BSTR(&m_value) = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    }
    Variant(const wchar_t* text) : Variant(std::wstring_view(text)) {}
    Variant(IDispatch* object) noexcept : Variant(VT_DISPATCH) {
        V_DISPATCH(&m_value) = object;
        if (object != nullptr) {
            object->AddRef();
        }
    }
    // NOLINTEND(google-explicit-constructor)
    static Variant Null() noexcept { return Variant(VT_NULL); }
    static Variant NullText() noexcept { return Variant(VT_BSTR); }
    /// An argument left out: f(1, , 3).
    static Variant Missing() noexcept {
        Variant missing(VT_ERROR);
        V_ERROR(&missing.m_value) = DISP_E_PARAMNOTFOUND;
        return missing;
    }

    // References to the caller's variables.
    static Variant To(long& variable) noexcept { return {VT_I4, &variable}; }
    static Variant To(short& variable) noexcept { return {VT_I2, &variable}; }
    static Variant To(BSTR& variable) noexcept { return {VT_BSTR, &variable}; }
    static Variant To(Variant& variable) noexcept { return {VT_VARIANT, &variable.m_value}; }

    Variant(const Variant& other) : Variant() {
        if (other.Type() == VT_BSTR && other.Text() == nullptr) { // Wine's VariantCopy would make an empty string
            V_VT(&m_value) = VT_BSTR;
        } else {
            Require(VariantCopy(&m_value, other.Raw()), "VariantCopy");
        }
    }
    Variant(Variant&& other) noexcept : m_value(std::exchange(other.m_value, VARIANT{})) {}
    Variant& operator=(Variant other) noexcept {
        std::swap(m_value, other.m_value);
        return *this;
    }
    ~Variant() { VariantClear(&m_value); }

    [[nodiscard]] VARTYPE Type() const noexcept { return V_VT(&m_value); }
    /// The text of a VT_BSTR, still owned here; throws when it is something else.
    [[nodiscard]] BSTR Text() const { return V_BSTR(Expect(Type() == VT_BSTR)); }
    /// The value of a VT_I4 or VT_INT.
    [[nodiscard]] int Int() const { return V_I4(Expect(Type() == VT_I4 || Type() == VT_INT)); }
    /// The object of a VT_DISPATCH, still owned here.
    [[nodiscard]] IDispatch* Object() const { return V_DISPATCH(Expect(Type() == VT_DISPATCH)); }

    /// The VARIANT itself, for calls that fill it in or, like the platform's, only read through a plain pointer.
    [[nodiscard]] VARIANT* Raw() const noexcept { return &m_value; }

  private:
    explicit Variant(VARENUM type) noexcept : Variant() { V_VT(&m_value) = static_cast<VARTYPE>(type); }
    Variant(VARENUM type, void* variable) noexcept : Variant() {
        V_VT(&m_value) = static_cast<VARTYPE>(type | VT_BYREF);
        V_BYREF(&m_value) = variable;
    }
    const VARIANT* Expect(bool rightType) const {
        if (!rightType) {
            throw std::logic_error("unexpected VARIANT type " + std::to_string(Type()));
        }
        return &m_value;
    }

    mutable VARIANT m_value;
};

/// The EXCEPINFO of a failed late-bound call. It owns the strings.
class ExceptionInfo {
  public:
    ExceptionInfo() noexcept = default;
    ExceptionInfo(ExceptionInfo&& other) noexcept : m_info(std::exchange(other.m_info, EXCEPINFO{})) {}
    ExceptionInfo& operator=(ExceptionInfo&&) = delete;
    ~ExceptionInfo() {
        SysFreeString(m_info.bstrSource);
        SysFreeString(m_info.bstrDescription);
        SysFreeString(m_info.bstrHelpFile);
    }

    EXCEPINFO* Raw() noexcept { return &m_info; }
    const EXCEPINFO* operator->() const noexcept { return &m_info; }

  private:
    EXCEPINFO m_info = {};
};

/// The results of a late-bound call.
struct Reply {
    HRESULT hr = E_UNEXPECTED;
    Variant value;
    ExceptionInfo exception;
    UINT badArgument = UINT_MAX; ///< index of the wrong argument, counted from the last one

    /// The HRESULT of the member if the call failed with DISP_E_EXCEPTION, else that of the call.
    [[nodiscard]] HRESULT Failure() const noexcept { return hr == DISP_E_EXCEPTION ? exception->scode : hr; }
};

/// A late-bound call in every detail.
struct Invocation {
    DISPID member = DISPID_UNKNOWN;
    WORD flags = DISPATCH_METHOD;
    std::vector<Variant> arguments = {}; ///< in the order of the member's parameters
    std::vector<DISPID> names = {};      ///< parameters of the last arguments, in the same order
    LCID locale = LOCALE_USER_DEFAULT;
    bool wantsValue = true;
    bool wantsDetails = true; ///< the exception and the wrong argument
};

/// An object's member, by name or by DISPID.
class Member {
  public:
    // NOLINTBEGIN(google-explicit-constructor): arguments of calls
    Member(const wchar_t* name) noexcept : m_name(name) {}
    Member(std::integral auto id) noexcept : m_id(static_cast<DISPID>(id)) {}
    // NOLINTEND(google-explicit-constructor)

    /// Stores the DISPID. A name is resolved with GetIDsOfNames.
    HRESULT Resolve(IDispatch* object, DISPID& id) const {
        id = m_id;
        auto* name = const_cast<LPOLESTR>(m_name);
        return name == nullptr ? S_OK : object->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id);
    }

  private:
    const wchar_t* m_name = nullptr;
    DISPID m_id = DISPID_UNKNOWN;
};

/// An object for late-bound calls.
class DispatchObject {
  public:
    explicit DispatchObject(IDispatch* object) noexcept : m_object(object) {}

    /// A call of a method, as a statement.
    template <class... Arguments> Reply Call(Member member, Arguments&&... arguments) const {
        return Invoke(member, DISPATCH_METHOD, {}, std::forward<Arguments>(arguments)...);
    }
    /// The read of a property.
    template <class... Arguments> Reply Get(Member member, Arguments&&... arguments) const {
        return Invoke(member, DISPATCH_PROPERTYGET, {}, std::forward<Arguments>(arguments)...);
    }
    /// The write of a property; the new value is the last argument.
    template <class... Arguments> Reply Put(Member member, Arguments&&... arguments) const {
        return Invoke(member, DISPATCH_PROPERTYPUT, {DISPID_PROPERTYPUT}, std::forward<Arguments>(arguments)...);
    }

    /// Makes the call. Allocates nothing itself, so that a test may make every allocation fail.
    Reply Invoke(const Invocation& call) const {
        std::array<VARIANT, 8> arguments;
        std::array<DISPID, 8> names;
        if (call.arguments.size() > arguments.size() || call.names.size() > call.arguments.size()) {
            throw std::logic_error("more arguments than a test can pass");
        }
        // Everything is passed in reverse order, arguments for named parameters first.
        for (std::size_t i = 0; i < call.arguments.size(); ++i) {
            arguments[call.arguments.size() - 1 - i] = *call.arguments[i].Raw();
        }
        for (std::size_t i = 0; i < call.names.size(); ++i) {
            names[call.names.size() - 1 - i] = call.names[i];
        }
        DISPPARAMS parameters = {arguments.data(), names.data(), static_cast<UINT>(call.arguments.size()),
                                 static_cast<UINT>(call.names.size())};
        Reply reply;
        reply.hr = m_object->Invoke(
            call.member, IID_NULL, call.locale, call.flags, &parameters, call.wantsValue ? reply.value.Raw() : nullptr,
            call.wantsDetails ? reply.exception.Raw() : nullptr, call.wantsDetails ? &reply.badArgument : nullptr);
        return reply;
    }

    [[nodiscard]] IDispatch* Raw() const noexcept { return m_object; }
    /// The same object, for calls through the vtable.
    template <class Interface> [[nodiscard]] CComPtr<Interface> As() const {
        CComPtr<Interface> other;
        Require(m_object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(&other)), "QueryInterface");
        return other;
    }

  private:
    template <class... Arguments>
    Reply Invoke(Member member, WORD flags, std::initializer_list<DISPID> names, Arguments&&... arguments) const {
        Invocation call = {
            .flags = flags, .arguments = {Variant(std::forward<Arguments>(arguments))...}, .names = names};
        Reply reply;
        reply.hr = member.Resolve(m_object, call.member);
        return reply.hr == S_OK ? Invoke(call) : std::move(reply);
    }

    CComPtr<IDispatch> m_object;
};

/// A new object of a registered class, for calls through the vtable.
template <class Interface> [[nodiscard]] CComPtr<Interface> CreateInstance(REFCLSID clsid) {
    CComPtr<Interface> object;
    Require(
        CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface), reinterpret_cast<void**>(&object)),
        "CoCreateInstance");
    return object;
}

/// A new object of a registered class, for late-bound calls.
[[nodiscard]] inline DispatchObject Create(REFCLSID clsid) {
    return DispatchObject(CreateInstance<IDispatch>(clsid));
}

/// The number of references to an object.
inline ULONG ReferencesOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

/// Whether two interfaces are those of one object.
inline bool AreSame(IUnknown* one, IUnknown* other) {
    if (one == nullptr || other == nullptr) {
        return one == other;
    }
    CComPtr<IUnknown> first;
    CComPtr<IUnknown> second;
    one->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&first));
    other->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&second));
    return first.p == second.p;
}

} // namespace support
