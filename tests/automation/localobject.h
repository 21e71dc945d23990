/// Late-bound calls of automation objects that are linked into the test program, so that their allocations are counted
/// like the caller's.
///
///     const DispatchObject text = support::StringOf(L"abcdef");
///     EXPECT_BSTR(text.Call(L"Mid", 1, 3).value.Text(), L"bcd");
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <span>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxstring.h"
#include "automation/nxstringlist.h"
#include "automation/nxvariantcollection.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/automation/module.h"
#include "tests/automation/stackobject.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace support {

constexpr LCID english = 0x0409;
constexpr LCID german = 0x0407;
constexpr UINT noArgument = UINT_MAX;  ///< Reply::badArgument if no argument is wrong
constexpr UINT untouchedArgument = 99; ///< Answers::badArgument if no argument is wrong

template <class Class> CComPtr<CComObject<Class>> New() {
    CComObject<Class>* created = nullptr;
    Require(CComObject<Class>::CreateInstance(&created), "CreateInstance");
    return created;
}

template <class Class> DispatchObject NewLateBound() {
    return DispatchObject(New<Class>());
}

inline DispatchObject StringOf(const wchar_t* text) {
    const auto object = New<CNXString>();
    Require(object->put_Value(Bstr(text)), "put_Value");
    return DispatchObject(object);
}

inline DispatchObject ListOf(std::initializer_list<const wchar_t*> texts) {
    const auto object = New<CNXStringList>();
    for (const wchar_t* const text : texts) {
        Require(object->Add(Bstr(text)), "Add");
    }
    return DispatchObject(object);
}

inline DispatchObject CollectionOf(int count) {
    const auto object = New<CNXVariantCollection>();
    for (int number = 1; number <= count; ++number) {
        Require(object->Add(*Variant(number).Raw(), 0), "Add");
    }
    return DispatchObject(object);
}

/// A VARIANT of any type without an allocation.
inline Variant Typed(int type, long long bits) {
    Variant value;
    V_I8(value.Raw()) = bits; // a shorter value is its low part
    V_VT(value.Raw()) = static_cast<VARTYPE>(type);
    return value;
}

/// A null object.
inline Variant Nothing() {
    return {static_cast<IDispatch*>(nullptr)};
}

/// The value of an NXString, read through the vtable.
inline Bstr TextOf(const DispatchObject& string) {
    Bstr text;
    Require(string.As<INXString>()->get_Value(text.Out()), "get_Value");
    return text;
}

template <class Interface> long CountOf(const DispatchObject& list) {
    long count = -1;
    Require(list.As<Interface>()->get_Count(&count), "get_Count");
    return count;
}

/// An object of another class on the test's stack. It has IDispatch and a default property.
class Foreign : public StackAutomationObject<IDispatch> {
  public:
    explicit Foreign(Variant defaultValue) : value(std::move(defaultValue)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        return iid == IID_IUnknown || iid == IID_IDispatch ? StackAutomationObject::QueryInterface(iid, object)
                                                           : E_NOINTERFACE;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                                     UINT*) override {
        ++calls;
        if (member != DISPID_VALUE || result == nullptr) {
            return DISP_E_MEMBERNOTFOUND;
        }
        onRead();
        return failure != S_OK ? failure : VariantCopy(result, value.Raw());
    }

    Variant value;
    HRESULT failure = S_OK;
    std::function<void()> onRead = [] {}; ///< runs when the default property is read
    int calls = 0;
};

/// The variables for the results of a call. They hold garbage.
struct Answers {
    Answers() {
        std::memset(&result, 0xCC, sizeof(result));
        std::memset(&exception, 0xCC, sizeof(exception));
    }
    [[nodiscard]] bool ResultIsUntouched() const { return IsGarbage(std::as_bytes(std::span(&result, 1))); }
    [[nodiscard]] bool ExceptionIsUntouched() const { return IsGarbage(std::as_bytes(std::span(&exception, 1))); }

    VARIANT result;
    EXCEPINFO exception;
    UINT badArgument = untouchedArgument;

  private:
    static bool IsGarbage(std::span<const std::byte> bytes) {
        return std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0xCC}; });
    }
};

/// Makes a call without names. The arguments are in the order of DISPPARAMS, the last one first.
inline HRESULT Call(IDispatch* object, DISPID member, WORD flags, std::vector<VARIANT> arguments, Answers& answers) {
    DISPPARAMS parameters = {arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    return object->Invoke(member, IID_NULL, english, flags, &parameters, &answers.result, &answers.exception,
                          &answers.badArgument);
}

/// Writes the Value of an NXString.
inline HRESULT PutText(const DispatchObject& object, const VARIANT& argument) {
    VARIANT value = argument;
    DISPID name = DISPID_PROPERTYPUT;
    DISPPARAMS parameters = {&value, &name, 1, 1};
    return object.Raw()->Invoke(StringId::Value, IID_NULL, english, DISPATCH_PROPERTYPUT, &parameters, nullptr, nullptr,
                                nullptr);
}

/// Sets the thread's error record, as a failed call does.
inline void LeaveErrorRecord(const wchar_t* source, const wchar_t* description, const wchar_t* helpFile = nullptr,
                             DWORD helpContext = 0) {
    CComPtr<ICreateErrorInfo> record;
    Require(CreateErrorInfo(&record), "CreateErrorInfo");
    record->SetSource(const_cast<LPOLESTR>(source));
    record->SetDescription(const_cast<LPOLESTR>(description));
    record->SetHelpFile(const_cast<LPOLESTR>(helpFile));
    record->SetHelpContext(helpContext);
    CComPtr<IErrorInfo> info;
    Require(record->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), "IErrorInfo");
    SetErrorInfo(0, info);
}

/// Takes the thread's error record. Returns false if there is none.
inline bool HasErrorRecord() {
    CComPtr<IErrorInfo> info;
    return GetErrorInfo(0, &info) == S_OK;
}

/// A VARIANT that refers to a variable.
inline VARIANT ReferenceTo(int type, void* variable) {
    VARIANT reference = {};
    V_VT(&reference) = static_cast<VARTYPE>(type | VT_BYREF);
    V_BYREF(&reference) = variable;
    return reference;
}

/// An unaligned copy of a value. Script engines may have unaligned variables.
template <class T> class AtOddAddress {
  public:
    explicit AtOddAddress(const T& value) { std::memcpy(&m_bytes[1], &value, sizeof(T)); }
    T* Address() { return reinterpret_cast<T*>(&m_bytes[1]); }
    [[nodiscard]] T Value() const {
        T value;
        std::memcpy(&value, &m_bytes[1], sizeof(T));
        return value;
    }

  private:
    alignas(16) std::array<std::byte, sizeof(T) + 1> m_bytes;
};

/// A test fails if it leaves memory or objects.
class DispatchTest : public ::testing::Test {
  protected:
    /// Makes the allocations that happen once in a process.
    static void SetUpTestSuite() {
        static_cast<void>(CountLiveAllocations());
        const ::testing::ScopedTrace trace(__FILE__, __LINE__, "first");
        static_cast<void>(NewLateBound<CNXStringList>().Get(L"Item", 9));
        const DispatchObject object = StringOf(L"text");
        const Invocation call = {.member = StringId::Left, .arguments = {2}};
        const AllocationFault fault(1);
        static_cast<void>(object.Invoke(call));
    }
    DispatchTest() { SetErrorInfo(0, nullptr); }
    ~DispatchTest() override { SetErrorInfo(0, nullptr); }

  private:
    const ExpectNoLeaks m_noLeaks;
    const ExpectNoObjectsLeft m_noObjectsLeft;
};

} // namespace support
