/// Objects of the registered DLL, called through the vtable or late-bound with the same code.
/// tests/automation/clients.h has the classes.
///
///     class TokenString : public support::Client<INXTokenString> {
///       public:
///         long Count() const { return Get<long>(L"Count", &INXTokenString::get_Count); }
///     };
#pragma once

#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <ocidl.h>
#include <oleauto.h>

#include "tests/automation/dispatch.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace support {

inline HMODULE LoadedDll() {
    return GetModuleHandleW(L"nuvolex.dll");
}

/// Whether an object of the DLL is alive.
inline bool DllHoldsObjects() {
    const auto canUnloadNow = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(LoadedDll(), "DllCanUnloadNow")));
    return canUnloadNow() != S_OK;
}

enum class Binding { Vtable, LateBound };

inline std::string NameOfBinding(const ::testing::TestParamInfo<Binding>& test) {
    return test.param == Binding::Vtable ? "Vtable" : "LateBound";
}

/// The text of a BSTR. It is empty for a null BSTR as well; assert with EXPECT_BSTR or IsText where that matters.
inline std::wstring ToString(BSTR text) {
    return {text == nullptr ? L"" : text, SysStringLen(text)};
}

/// Whether a BSTR has this text. A null `expected` stands for a null BSTR, which is not an empty one.
inline ::testing::AssertionResult IsText(BSTR actual, const wchar_t* expected) {
    return expected == nullptr ? IsNullBstr("the string", actual) : IsBstr("the string", "", actual, expected);
}

/// A call that failed, with its explanation: the thread's error record or, late-bound, the EXCEPINFO.
struct CallFailure : std::runtime_error {
    explicit CallFailure(HRESULT result) : std::runtime_error("call: " + PrintedHr(result)), hr(result) {}

    HRESULT hr;
    bool explained = false; ///< whether there is a description
    std::wstring description;
    std::wstring source;
    std::wstring helpFile;
    DWORD helpContext = 0;
    IID iid = IID_NULL; ///< of the interface that failed; unknown late-bound
};

/// Takes the thread's error record. Returns false if there is none.
inline bool TakeErrorRecord(CallFailure& failure) {
    CComPtr<IErrorInfo> record;
    if (GetErrorInfo(0, &record) != S_OK) {
        return false;
    }
    const auto text = [&](auto method) {
        Bstr value;
        Require((record.p->*method)(value.Out()), "error record");
        return ToString(value);
    };
    failure.description = text(&IErrorInfo::GetDescription);
    failure.source = text(&IErrorInfo::GetSource);
    failure.helpFile = text(&IErrorInfo::GetHelpFile);
    Require(record->GetHelpContext(&failure.helpContext), "error record");
    Require(record->GetGUID(&failure.iid), "error record");
    return true;
}

// Results, with an owner where one is needed.

inline int Owned(int result) {
    return result;
}
inline long Owned(long result) {
    return result;
}
inline VARIANT_BOOL Owned(VARIANT_BOOL result) {
    return result;
}
inline Bstr Owned(BSTR result) {
    return Bstr(result);
}
template <class Interface> CComPtr<Interface> Owned(Interface* result) {
    CComPtr<Interface> owner;
    *&owner = result;
    return owner;
}

// Results out of the VARIANT of a late-bound call, which must have the member's type.

inline void Unpack(Variant& value, int& result) {
    result = value.Int();
}
inline void Unpack(Variant& value, long& result) {
    result = value.Int();
}
inline void Unpack(Variant& value, VARIANT_BOOL& result) {
    EXPECT_EQ(value.Type(), VT_BOOL);
    result = V_BOOL(value.Raw());
}
inline void Unpack(Variant& value, BSTR& result) {
    static_cast<void>(value.Text()); // throws when it is none
    result = std::exchange(V_BSTR(value.Raw()), nullptr);
}
inline void Unpack(Variant& value, IUnknown*& result) {
    EXPECT_EQ(value.Type(), VT_UNKNOWN);
    result = std::exchange(V_UNKNOWN(value.Raw()), nullptr);
}
template <class Interface> void Unpack(Variant& value, Interface*& result) {
    if (IDispatch* const object = value.Object(); object != nullptr) {
        Require(object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(&result)), "QueryInterface");
    }
}

// Arguments of a vtable call, for a late-bound one. A BSTR is passed by reference, so it is not copied.

inline Variant Packed(long& argument) {
    return {static_cast<int>(argument)};
}
inline Variant Packed(int& argument) {
    return {argument};
}
inline Variant Packed(VARIANT_BOOL& argument) {
    Variant packed(true);
    V_BOOL(packed.Raw()) = argument;
    return packed;
}
inline Variant Packed(BSTR& argument) {
    return Variant::To(argument);
}
inline Variant Packed(IDispatch* argument) {
    return {argument};
}

/// An object and how it is called. A call that fails throws a CallFailure.
template <class Interface> class Client {
  public:
    using Type = Interface;

    Client(Binding binding, REFCLSID clsid) : m_binding(binding), m_object(CreateInstance<Interface>(clsid)) {}
    Client(Binding binding, Interface* object) : m_binding(binding), m_object(object) {}

    [[nodiscard]] Interface* Raw() const noexcept { return m_object; }
    [[nodiscard]] DispatchObject LateBound() const { return DispatchObject(m_object); }

    void Release() { m_object.Release(); }

    /// Whether a call in `action` fails with E_FAIL and this explanation. `source` is the versioned ProgID.
    template <class Action>
    [[nodiscard]] ::testing::AssertionResult IsRefused(const wchar_t* description, const wchar_t* source,
                                                       Action action) const {
        try {
            action();
        } catch (const CallFailure& failure) {
            const bool rightInterface = m_binding == Binding::LateBound || IsEqualIID(failure.iid, __uuidof(Interface));
            if (failure.hr == E_FAIL && failure.explained && failure.description == description &&
                failure.source == source && failure.helpFile.empty() && failure.helpContext == 0 && rightInterface) {
                return ::testing::AssertionSuccess();
            }
            return ::testing::AssertionFailure()
                   << failure.what() << (failure.explained ? "" : ", unexplained") << ", description "
                   << Printed(failure.description) << ", source " << Printed(failure.source)
                   << (rightInterface ? "" : ", another interface");
        }
        return ::testing::AssertionFailure() << "The call succeeded.";
    }

  protected:
    /// Reads a property.
    template <class Result, class Method, class... Arguments>
    auto Get(Member member, Method method, Arguments... arguments) const {
        return ResultOf<Result>([&] { return LateBound().Get(member, Packed(arguments)...); }, method, arguments...);
    }
    /// Calls a method with a result.
    template <class Result, class Method, class... Arguments>
    auto CallFor(Member member, Method method, Arguments... arguments) const {
        return ResultOf<Result>([&] { return LateBound().Call(member, Packed(arguments)...); }, method, arguments...);
    }
    template <class Method, class... Arguments> void Put(Member member, Method method, Arguments... arguments) const {
        if (m_binding == Binding::Vtable) {
            CallVtable(method, arguments...);
        } else {
            EXPECT_EQ(ValueOf(LateBound().Put(member, Packed(arguments)...)).Type(), VT_EMPTY);
        }
    }
    template <class Method, class... Arguments> void Call(Member member, Method method, Arguments... arguments) const {
        if (m_binding == Binding::Vtable) {
            CallVtable(method, arguments...);
        } else {
            EXPECT_EQ(ValueOf(LateBound().Call(member, Packed(arguments)...)).Type(), VT_EMPTY);
        }
    }

    [[nodiscard]] Binding GetBinding() const noexcept { return m_binding; }

    static Variant ValueOf(Reply reply) {
        if (reply.hr != S_OK) {
            throw FailureOf(reply);
        }
        return std::move(reply.value);
    }

  private:
    template <class Result, class CallLateBound, class Method, class... Arguments>
    auto ResultOf(CallLateBound callLateBound, Method method, Arguments... arguments) const {
        Result result = {};
        if (m_binding == Binding::Vtable) {
            CallVtable(method, arguments..., &result);
        } else {
            Variant value = ValueOf(callLateBound());
            Unpack(value, result);
        }
        return Owned(result);
    }

    static CallFailure FailureOf(const Reply& reply) {
        CallFailure failure(reply.Failure());
        failure.explained = reply.exception->bstrDescription != nullptr;
        failure.description = ToString(reply.exception->bstrDescription);
        failure.source = ToString(reply.exception->bstrSource);
        failure.helpFile = ToString(reply.exception->bstrHelpFile);
        failure.helpContext = reply.exception->dwHelpContext;
        return failure;
    }

    /// The failure that a call through the vtable has just returned.
    static CallFailure FailureOf(HRESULT hr) {
        CallFailure failure(hr);
        failure.explained = TakeErrorRecord(failure);
        return failure;
    }

    template <class Method, class... Arguments> void CallVtable(Method method, Arguments... arguments) const {
        SetErrorInfo(0, nullptr);
        if (const HRESULT hr = (m_object.p->*method)(arguments...); hr != S_OK) {
            throw FailureOf(hr);
        }
    }

    Binding m_binding;
    CComPtr<Interface> m_object;
};

/// Hooks the DLL's allocator, then triggers the allocations that happen once in a process, so that no test counts them:
/// the type of the class is loaded, an error is reported, the C runtime prepares for exceptions. `failing` is a call
/// that fails or returns null; `raising` is one whose first allocation is the DLL's.
inline void WarmUp(REFCLSID clsid, const Invocation& failing, const Invocation& raising) {
    const DispatchObject object = Create(clsid);
    TrackAllocations(LoadedDll());
    CComPtr<ITypeInfo> info;
    static_cast<void>(object.Raw()->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info));
    static_cast<void>(object.Invoke(failing));
    static_cast<void>(object.Invoke(raising));
    SetErrorInfo(0, nullptr);
    SCOPED_TRACE("the first trace of the process");
    const AllocationFault fault(1);
    static_cast<void>(object.Invoke(raising));
}

/// Tests of a class in clients.h. A test fails if it leaves BSTRs or objects allocated.
template <class Tested> class ClassTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { Tested::WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;
};

/// The same, for tests that run once for each binding.
template <class Tested>
class BothBindingsTest : public ClassTest<Tested>, public ::testing::WithParamInterface<Binding> {};

/// Expects GetIDsOfNames to find each name.
inline void ExpectIds(const DispatchObject& object, std::initializer_list<std::pair<const wchar_t*, DISPID>> members) {
    for (const auto& [name, expected] : members) {
        SCOPED_TRACE(Printed(name));
        DISPID id = 0x7777;
        EXPECT_HR(Member(name).Resolve(object.Raw(), id), S_OK);
        EXPECT_EQ(id, expected);
    }
}

/// Expects GetIDsOfNames to find none of the names.
inline void ExpectNoIds(const DispatchObject& object, std::initializer_list<const wchar_t*> names) {
    for (const wchar_t* const name : names) {
        SCOPED_TRACE(Printed(name));
        DISPID id = 0x7777;
        EXPECT_HR(Member(name).Resolve(object.Raw(), id), DISP_E_UNKNOWNNAME);
        EXPECT_EQ(id, DISPID_UNKNOWN);
    }
}

/// The result of _NewEnum as an enumerator.
inline CComPtr<IEnumVARIANT> EnumeratorOf(const CComPtr<IUnknown>& unknown) {
    CComPtr<IEnumVARIANT> enumerator;
    Require(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)), "QueryInterface");
    return enumerator;
}

/// The next element; VT_EMPTY at the end.
inline Variant NextOf(IEnumVARIANT* enumerator) {
    Variant value;
    ULONG fetched = 99;
    const HRESULT hr = enumerator->Next(1, value.Raw(), &fetched);
    if (hr != S_OK && hr != S_FALSE) {
        throw CallFailure(hr);
    }
    EXPECT_EQ(fetched, hr == S_OK ? 1u : 0u);
    EXPECT_EQ(value.Type() == VT_EMPTY, hr == S_FALSE);
    return value;
}

/// The elements from the enumerator's position to the end. They may be VT_EMPTY.
inline std::vector<Variant> RestOf(IEnumVARIANT* enumerator) {
    std::vector<Variant> rest;
    for (;;) {
        Variant value;
        ULONG fetched = 99;
        const HRESULT hr = enumerator->Next(1, value.Raw(), &fetched);
        EXPECT_EQ(fetched, hr == S_OK ? 1u : 0u);
        if (hr != S_OK) {
            EXPECT_HR(hr, S_FALSE);
            EXPECT_EQ(value.Type(), VT_EMPTY);
            return rest;
        }
        rest.push_back(std::move(value));
    }
}

/// The same for strings.
inline std::vector<std::wstring> StringsOf(IEnumVARIANT* enumerator) {
    std::vector<std::wstring> strings;
    for (const Variant& value : RestOf(enumerator)) {
        strings.push_back(ToString(value.Text()));
    }
    return strings;
}

} // namespace support
