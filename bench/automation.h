/// Automation objects in benchmarks.
#pragma once

#include <comdef.h>

#include <cstddef>
#include <vector>

#include <atlbase.h>

#include "bench/measure.h"

namespace bench {

/// A new object of a registered class.
template <class Interface> [[nodiscard]] CComPtr<Interface> Create(REFCLSID clsid) {
    CComPtr<Interface> object;
    Check(
        CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface), reinterpret_cast<void**>(&object)));
    return object;
}
[[nodiscard]] CComPtr<IDispatch> Create(const wchar_t* progId);

/// The identifier of an object's member.
[[nodiscard]] DISPID IdOf(IDispatch* object, const wchar_t* member);

/// How script engines ask for a value: they cannot tell a method from a property.
inline constexpr WORD valueFlags = DISPATCH_METHOD | DISPATCH_PROPERTYGET;

/// A late-bound call, made ready once and repeated, as a script engine does it in a loop.
class Call {
  public:
    /// The arguments in the order of the member's parameters.
    Call(CComPtr<IDispatch> object, DISPID member, WORD flags, std::vector<_variant_t> arguments = {});
    Call(const CComPtr<IDispatch>& object, const wchar_t* member, WORD flags, std::vector<_variant_t> arguments = {})
        : Call(object, IdOf(object, member), flags, std::move(arguments)) {}

    /// Argument `n` of the next call.
    [[nodiscard]] _variant_t& Argument(std::size_t n) { return m_arguments[m_arguments.size() - 1 - n]; }

    /// Calls; *result, if it is wanted, holds nothing before and belongs to the caller afterwards.
    void operator()(VARIANT* result = nullptr) {
        DISPPARAMS parameters = {m_arguments.data(), nullptr, static_cast<UINT>(m_arguments.size()), 0};
        EXCEPINFO exception = {};
        UINT badArgument = 0;
        Check(m_object->Invoke(m_member, IID_NULL, m_locale, m_flags, &parameters, result, &exception, &badArgument));
    }
    /// The result of a call.
    [[nodiscard]] _variant_t Value() {
        _variant_t result;
        (*this)(&result);
        return result;
    }

  private:
    CComPtr<IDispatch> m_object;
    DISPID m_member;
    WORD m_flags;
    LCID m_locale;
    std::vector<_variant_t> m_arguments; // last parameter first
};

/// Walks a collection by its enumerator, `batch` elements at a time, and releases each; returns how many there were.
[[nodiscard]] std::size_t Walk(const CComPtr<IDispatch>& collection, std::size_t batch);

} // namespace bench
