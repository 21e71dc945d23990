/// Objects of the registered DLL whose members a test calls either way, through the vtable or late-bound, in the same
/// words.
///
///     class Tokens : public support::Client<INXTokenString> {
///       public:
///         long Count() const { return Get<long>(L"Count", &INXTokenString::get_Count); }
///     };
#pragma once

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

/// Whether anything that the DLL has made is alive.
inline bool DllHoldsObjects() {
    const auto canUnloadNow = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(LoadedDll(), "DllCanUnloadNow")));
    return canUnloadNow() != S_OK;
}

enum class Way { Vtable, LateBound };

inline std::string NameOfWay(const ::testing::TestParamInfo<Way>& test) {
    return test.param == Way::Vtable ? "Vtable" : "LateBound";
}

/// A call that did not succeed, with what its caller learns of the reason: the thread's error record or, late-bound,
/// the EXCEPINFO.
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

/// Takes the thread's error record. False: there is none.
inline bool TakeErrorRecord(CallFailure& failure) {
    CComPtr<IErrorInfo> record;
    if (GetErrorInfo(0, &record) != S_OK) {
        return false;
    }
    const auto text = [&](auto method) {
        Bstr value;
        Require((record.p->*method)(value.Out()), "error record");
        return std::wstring(value == nullptr ? L"" : static_cast<BSTR>(value), SysStringLen(value));
    };
    failure.description = text(&IErrorInfo::GetDescription);
    failure.source = text(&IErrorInfo::GetSource);
    failure.helpFile = text(&IErrorInfo::GetHelpFile);
    Require(record->GetHelpContext(&failure.helpContext), "error record");
    Require(record->GetGUID(&failure.iid), "error record");
    return true;
}

// Results, owned.

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

// The same out of the VARIANT that a late-bound call gave, which must be of the member's type.

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

// Arguments of a vtable call, for a late-bound one. A BSTR goes by reference, so that it is the caller's own.

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

/// An object and the way to call it. Calls that do not succeed throw a CallFailure.
template <class Interface> class Client {
  public:
    Client(Way way, REFCLSID clsid) : m_way(way), m_object(CreateInstance<Interface>(clsid)) {}
    Client(Way way, Interface* object) : m_way(way), m_object(object) {}

    [[nodiscard]] Interface* Raw() const noexcept { return m_object; }
    [[nodiscard]] DispatchObject LateBound() const { return DispatchObject(m_object); }

    /// Lets the object go.
    void Release() { m_object.Release(); }

    /// Whether `action` makes a call that is refused for its index, with the whole explanation. `source` is the
    /// versioned program identifier.
    template <class Action>
    [[nodiscard]] ::testing::AssertionResult IsIndexError(const wchar_t* source, Action action) const {
        try {
            action();
        } catch (const CallFailure& failure) {
            const bool rightInterface = m_way == Way::LateBound || IsEqualIID(failure.iid, __uuidof(Interface));
            if (failure.hr == E_FAIL && failure.explained && failure.description == L"Index out of bounds!" &&
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
    /// Calls a method that has a result.
    template <class Result, class Method, class... Arguments>
    auto CallFor(Member member, Method method, Arguments... arguments) const {
        return ResultOf<Result>([&] { return LateBound().Call(member, Packed(arguments)...); }, method, arguments...);
    }
    template <class Method, class... Arguments> void Put(Member member, Method method, Arguments... arguments) const {
        if (m_way == Way::Vtable) {
            CallVtable(method, arguments...);
        } else {
            EXPECT_EQ(ValueOf(LateBound().Put(member, Packed(arguments)...)).Type(), VT_EMPTY);
        }
    }
    template <class Method, class... Arguments> void Call(Member member, Method method, Arguments... arguments) const {
        if (m_way == Way::Vtable) {
            CallVtable(method, arguments...);
        } else {
            EXPECT_EQ(ValueOf(LateBound().Call(member, Packed(arguments)...)).Type(), VT_EMPTY);
        }
    }

    [[nodiscard]] Way WayToCall() const noexcept { return m_way; }

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
        if (m_way == Way::Vtable) {
            CallVtable(method, arguments..., &result);
        } else {
            Variant value = ValueOf(callLateBound());
            Unpack(value, result);
        }
        return Owned(result);
    }

    static CallFailure FailureOf(const Reply& reply) {
        CallFailure failure(reply.Failure());
        const auto text = [](BSTR value) { return std::wstring(value == nullptr ? L"" : value, SysStringLen(value)); };
        failure.explained = reply.exception->bstrDescription != nullptr;
        failure.description = text(reply.exception->bstrDescription);
        failure.source = text(reply.exception->bstrSource);
        failure.helpFile = text(reply.exception->bstrHelpFile);
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

    Way m_way;
    CComPtr<Interface> m_object;
};

/// Has the DLL's allocations followed, and lets happen what happens only once in a process with an object of the class
/// (its type is read, an error is reported, the first exception sets up the run-time library), so that tests can count.
/// `failing` is a call with a bad index; `raising` one whose first allocation belongs to the DLL.
inline void WarmUp(REFCLSID clsid, const Invocation& failing, const Invocation& raising) {
    const DispatchObject object = Create(clsid);
    FollowAllocations(LoadedDll());
    CComPtr<ITypeInfo> info;
    static_cast<void>(object.Raw()->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info));
    static_cast<void>(object.Invoke(failing));
    static_cast<void>(object.Invoke(raising));
    SetErrorInfo(0, nullptr);
    SCOPED_TRACE("the first trace of the process");
    const AllocationFault fault(1);
    static_cast<void>(object.Invoke(raising));
}

/// What is the same of all objects: which interfaces they have, that these are one object, and which of them explains
/// errors.
template <class Interface> void ExpectInterfacesOfObject(REFCLSID clsid) {
    const IID& own = __uuidof(Interface);
    const CComPtr<Interface> object = CreateInstance<Interface>(clsid);
    CComPtr<IUnknown> identity;
    ASSERT_HR(object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    for (const IID& iid : {IID_IUnknown, IID_IDispatch, own, IID_ISupportErrorInfo}) {
        CComPtr<IUnknown> answer;
        ASSERT_HR(object->QueryInterface(iid, reinterpret_cast<void**>(&answer)), S_OK);
        ASSERT_NE(answer.p, nullptr);
        CComPtr<IUnknown> unknown;
        EXPECT_HR(answer->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)), S_OK);
        EXPECT_EQ(unknown.p, identity.p);
        CComPtr<Interface> back;
        EXPECT_HR(answer->QueryInterface(own, reinterpret_cast<void**>(&back)), S_OK);
        EXPECT_EQ(back.p, object.p);
    }
    CComPtr<IDispatch> dispatch;
    EXPECT_HR(object->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch)), S_OK);
    EXPECT_EQ(dispatch.p, static_cast<IDispatch*>(object.p)) << "the dual interface";
    EXPECT_HR(object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);

    const CComPtr<ISupportErrorInfo> support = CreateInstance<ISupportErrorInfo>(clsid);
    EXPECT_HR(support->InterfaceSupportsErrorInfo(own), S_OK);
    for (const IID& other :
         {IID_IDispatch, IID_IUnknown, IID_ISupportErrorInfo, IID_INXString, IID_IEnumVARIANT, IID_NULL, clsid}) {
        EXPECT_HR(support->InterfaceSupportsErrorInfo(other), S_FALSE);
    }
    for (const IID& other : {IID_IEnumVARIANT, IID_IEnumUnknown, IID_IProvideClassInfo, IID_IMarshal, IID_IPersist,
                             IID_IClassFactory, IID_IErrorInfo, IID_INXString, IID_NULL, clsid}) {
        void* answer = &answer;
        EXPECT_HR(object->QueryInterface(other, &answer), E_NOINTERFACE);
        EXPECT_EQ(answer, nullptr);
    }
}

/// The enumerator behind what _NewEnum gave.
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

/// The elements from where the enumerator stands to the end.
inline std::vector<Variant> RestOf(IEnumVARIANT* enumerator) {
    std::vector<Variant> rest;
    for (Variant value = NextOf(enumerator); value.Type() != VT_EMPTY; value = NextOf(enumerator)) {
        rest.push_back(value);
    }
    return rest;
}

/// The same, texts all of them.
inline std::vector<std::wstring> TextsOf(IEnumVARIANT* enumerator) {
    std::vector<std::wstring> texts;
    for (const Variant& value : RestOf(enumerator)) {
        const BSTR text = value.Text();
        texts.emplace_back(text == nullptr ? L"" : text, SysStringLen(text));
    }
    return texts;
}

} // namespace support
