/// Automation objects for benchmarks.
#pragma once

#include <comdef.h>

#include <cstddef>
#include <utility>
#include <vector>

#include <atlbase.h>

#include "bench/measure.h"

namespace bench {

/// (`==` is ambiguous in C++20.)
inline bool AreEqual(const _variant_t& one, const _variant_t& other) {
    return one.operator==(other);
}

/// A new object of a registered class.
template <class Interface> [[nodiscard]] CComPtr<Interface> Create(REFCLSID clsid) {
    CComPtr<Interface> object;
    Check(
        CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface), reinterpret_cast<void**>(&object)));
    return object;
}
[[nodiscard]] CLSID ClassOf(const wchar_t* progId);
[[nodiscard]] inline CComPtr<IDispatch> Create(const wchar_t* progId) {
    return Create<IDispatch>(ClassOf(progId));
}

/// The DISPID of a member.
[[nodiscard]] DISPID IdOf(IDispatch* object, const wchar_t* member);

/// The flags that script engines pass to read a value, since they cannot distinguish methods from properties.
inline constexpr WORD valueFlags = DISPATCH_METHOD | DISPATCH_PROPERTYGET;

/// The arguments of a late-bound call, last one first.
using Arguments = std::vector<_variant_t>;

/// A late-bound call, prepared once and repeated, as by a script engine in a loop.
class Call {
  public:
    Call(CComPtr<IDispatch> object, DISPID member, WORD flags)
        : m_object(std::move(object)), m_member(member), m_flags(flags), m_locale(GetUserDefaultLCID()) {}
    Call(const CComPtr<IDispatch>& object, const wchar_t* member, WORD flags)
        : Call(object, IdOf(object, member), flags) {}

    /// Calls the member. *result must be empty before; the caller owns it afterwards.
    void operator()(Arguments& arguments, VARIANT* result = nullptr) const {
        DISPPARAMS parameters = {arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
        EXCEPINFO exception = {};
        UINT badArgument = 0;
        Check(m_object->Invoke(m_member, IID_NULL, m_locale, m_flags, &parameters, result, &exception, &badArgument));
    }
    /// The result of a call.
    [[nodiscard]] _variant_t Value(Arguments arguments = {}) const {
        _variant_t result;
        (*this)(arguments, &result);
        return result;
    }

  private:
    CComPtr<IDispatch> m_object;
    DISPID m_member;
    WORD m_flags;
    LCID m_locale;
};

/// Enumerates a collection of strings, `batch` elements at a time, and frees them. Returns their number.
[[nodiscard]] std::size_t Walk(const CComPtr<IDispatch>& collection, std::size_t batch);

} // namespace bench
