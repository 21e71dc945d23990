/// Values of every VARIANT type, and their comparison.
#pragma once

#include <climits>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <oleauto.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/support/bstr.h"

namespace support {

/// A VARIANT of any type. It owns its payload.
template <class Value> Variant Of(int type, Value value) {
    Variant made;
    std::memcpy(&V_I8(made.Raw()), &value, sizeof(value));
    V_VT(made.Raw()) = static_cast<VARTYPE>(type);
    return made;
}

inline Variant Decimal() {
    Variant made;
    Require(VarDecFromStr(Bstr(L"-79228162514264337593.54395"), 0x0409, 0, &V_DECIMAL(made.Raw())), "VarDecFromStr");
    V_VT(made.Raw()) = VT_DECIMAL;
    return made;
}

inline Variant OddBytes() {
    return Of(VT_BSTR, SysAllocStringByteLen("a\0b", 3));
}

inline Variant UnknownOf(IUnknown* object) {
    object->AddRef();
    return Of(VT_UNKNOWN, object);
}

/// An array with one dimension. `put(index, array)` stores each of its `count` elements.
template <class Put> Variant ArrayOf(int type, long first, ULONG count, Put put) {
    SAFEARRAY* const array = SafeArrayCreateVector(static_cast<VARTYPE>(type), first, count);
    Variant made = Of(VT_ARRAY | type, array);
    for (long index = first; index < first + static_cast<long>(count); ++index) {
        put(index, array);
    }
    return made;
}

inline Variant Bytes(ULONG count) {
    return ArrayOf(VT_UI1, 0, count, [](long index, SAFEARRAY* array) {
        auto byte = static_cast<unsigned char>(index * 7);
        Require(SafeArrayPutElement(array, &index, &byte), "put byte");
    });
}

inline Variant ArrayOfStrings() {
    return ArrayOf(VT_BSTR, 5, 3, [](long index, SAFEARRAY* array) {
        const Bstr text(std::to_wstring(index) + L'\0');
        Require(SafeArrayPutElement(array, &index, static_cast<BSTR>(text)), "put string");
    });
}

/// Array(7, "text", object, Array(...)) of a script.
inline Variant ArrayOfValues(IDispatch* object) {
    return ArrayOf(VT_VARIANT, 0, 4, [object](long index, SAFEARRAY* array) {
        const Variant elements[] = {7, L"text", object, Bytes(3)};
        Require(SafeArrayPutElement(array, &index, elements[index].Raw()), "put value");
    });
}

inline Variant ArrayOfObjects(IDispatch* object) {
    return ArrayOf(VT_DISPATCH, 1, 2, [object](long index, SAFEARRAY* array) {
        Require(SafeArrayPutElement(array, &index, object), "put object");
    });
}

/// Two by three numbers with the lower bounds -1 and 1.
inline Variant Matrix() {
    SAFEARRAYBOUND bounds[] = {{2, -1}, {3, 1}};
    SAFEARRAY* const array = SafeArrayCreate(VT_I4, 2, bounds);
    Variant made = Of(VT_ARRAY | VT_I4, array);
    for (int index = 0; index < 6; ++index) {
        static_cast<int*>(array->pvData)[index] = index * 1000;
    }
    return made;
}

/// A kind of value. `make` makes a new one.
struct Kind {
    const char* name;
    std::function<Variant()> make;
};

/// A kind for every VARIANT type. Values with an object refer to `object` or `unknown`.
inline std::vector<Kind> AllKinds(IDispatch* object, IUnknown* unknown) {
    using namespace std::string_view_literals;
    return {
        {"EMPTY", [] { return Variant(); }},
        {"NULL", [] { return Variant::Null(); }},
        {"I1", [] { return Of<signed char>(VT_I1, -128); }},
        {"I2", [] { return Of<short>(VT_I2, SHRT_MIN); }},
        {"I4", [] { return Of<long>(VT_I4, LONG_MIN); }},
        {"I8", [] { return Of<long long>(VT_I8, LLONG_MIN); }},
        {"UI1", [] { return Of<unsigned char>(VT_UI1, 255); }},
        {"UI2", [] { return Of<unsigned short>(VT_UI2, USHRT_MAX); }},
        {"UI4", [] { return Of<unsigned long>(VT_UI4, ULONG_MAX); }},
        {"UI8", [] { return Of<unsigned long long>(VT_UI8, ULLONG_MAX); }},
        {"INT", [] { return Of<int>(VT_INT, INT_MAX); }},
        {"UINT", [] { return Of<unsigned int>(VT_UINT, UINT_MAX); }},
        {"R4", [] { return Of<float>(VT_R4, -0.0F); }},
        {"R8", [] { return Of<double>(VT_R8, 0.1); }},
        {"R8, not a number", [] { return Of<double>(VT_R8, std::numeric_limits<double>::quiet_NaN()); }},
        {"CY", [] { return Of<long long>(VT_CY, -12345678901234567); }},
        {"DATE", [] { return Of<double>(VT_DATE, 36526.75); }},
        {"BOOL, true", [] { return Variant(true); }},
        {"BOOL, false", [] { return Variant(false); }},
        {"ERROR", [] { return Of<SCODE>(VT_ERROR, E_ACCESSDENIED); }},
        {"DECIMAL", Decimal},
        {"BSTR", [] { return Variant(L"text"); }},
        {"BSTR, empty", [] { return Variant(L""); }},
        {"BSTR, null", [] { return Variant::NullText(); }},
        {"BSTR with NULs", [] { return Variant(L"\0a\0\0b\0"sv); }},
        {"BSTR with an odd number of bytes", OddBytes},
        {"UNKNOWN", [unknown] { return UnknownOf(unknown); }},
        {"UNKNOWN, null", [] { return Of<IUnknown*>(VT_UNKNOWN, nullptr); }},
        {"DISPATCH", [object] { return Variant(object); }},
        {"DISPATCH, null", [] { return Variant(static_cast<IDispatch*>(nullptr)); }},
        {"array of bytes", [] { return Bytes(300); }},
        {"empty array", [] { return Bytes(0); }},
        {"array, null", [] { return Of<SAFEARRAY*>(VT_ARRAY | VT_I4, nullptr); }},
        {"array of two dimensions", Matrix},
        {"array of strings", ArrayOfStrings},
        {"array of values", [object] { return ArrayOfValues(object); }},
        {"array of objects", [object] { return ArrayOfObjects(object); }},
    };
}

inline bool AreSame(const VARIANT& one, const VARIANT& other);

inline bool AreSameTexts(BSTR one, BSTR other) {
    const UINT length = SysStringByteLen(one);
    return length == SysStringByteLen(other) && (length == 0 || std::memcmp(one, other, length) == 0);
}

inline bool AreSameArrays(SAFEARRAY* one, SAFEARRAY* other) {
    if (one == nullptr || other == nullptr) {
        return one == other;
    }
    VARTYPE type = VT_EMPTY;
    VARTYPE otherType = VT_EMPTY;
    SafeArrayGetVartype(one, &type);
    SafeArrayGetVartype(other, &otherType);
    if (type != otherType || one->cDims != other->cDims ||
        std::memcmp(one->rgsabound, other->rgsabound, one->cDims * sizeof(SAFEARRAYBOUND)) != 0) {
        return false;
    }
    ULONG count = 1;
    for (USHORT dimension = 0; dimension < one->cDims; ++dimension) {
        count *= one->rgsabound[dimension].cElements;
    }
    for (ULONG index = 0; index < count; ++index) {
        const bool same =
            type == VT_BSTR
                ? AreSameTexts(static_cast<BSTR*>(one->pvData)[index], static_cast<BSTR*>(other->pvData)[index])
            : type == VT_VARIANT
                ? AreSame(static_cast<VARIANT*>(one->pvData)[index], static_cast<VARIANT*>(other->pvData)[index])
                : std::memcmp(static_cast<char*>(one->pvData) + index * one->cbElements,
                              static_cast<char*>(other->pvData) + index * one->cbElements, one->cbElements) == 0;
        if (!same) {
            return false;
        }
    }
    return true;
}

/// Whether `one` equals `other`: the same type and value, for objects the same object. An empty string for `one` equals
/// a null BSTR for `other`, because Wine's VariantCopy copies a null BSTR so. The reverse is a difference.
inline bool AreSame(const VARIANT& one, const VARIANT& other) {
    if (V_VT(&one) != V_VT(&other)) {
        return false;
    }
    if (V_ISARRAY(&one)) {
        return AreSameArrays(V_ARRAY(&one), V_ARRAY(&other));
    }
    const auto haveSame = [&](std::size_t size) { return std::memcmp(&V_I8(&one), &V_I8(&other), size) == 0; };
    switch (V_VT(&one)) {
    case VT_EMPTY:
    case VT_NULL:
        return true;
    case VT_I1:
    case VT_UI1:
        return haveSame(1);
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        return haveSame(2);
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
        return haveSame(4);
    case VT_BSTR:
        return AreSameTexts(V_BSTR(&one), V_BSTR(&other)) && (V_BSTR(&one) != nullptr || V_BSTR(&other) == nullptr);
    case VT_DECIMAL: {
        const DECIMAL& a = V_DECIMAL(&one);
        const DECIMAL& b = V_DECIMAL(&other);
        return a.scale == b.scale && a.sign == b.sign && a.Hi32 == b.Hi32 && a.Lo64 == b.Lo64;
    }
    default:
        return haveSame(8);
    }
}

inline ::testing::AssertionResult Is(const Variant& actual, const Variant& expected) {
    if (AreSame(*actual.Raw(), *expected.Raw())) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "of type " << actual.Type() << ", wanted type " << expected.Type()
                                         << (actual.Type() == expected.Type() ? " and another value" : "");
}

/// Whether VT_BYREF is valid with the type.
inline bool CanBeReferred(const Variant& value) {
    return value.Type() != VT_EMPTY && value.Type() != VT_NULL;
}

/// A VARIANT with a reference to the payload of `variable`.
inline Variant ReferenceTo(Variant& variable) {
    VARIANT* const raw = variable.Raw();
    void* const payload =
        V_VT(raw) == VT_DECIMAL ? static_cast<void*>(&V_DECIMAL(raw)) : static_cast<void*>(&V_I8(raw));
    return Of(VT_BYREF | V_VT(raw), payload);
}

/// The numbers from the enumerator's position to the end.
inline std::vector<int> IntsOf(IEnumVARIANT* enumerator) {
    std::vector<int> ints;
    for (const Variant& element : RestOf(enumerator)) {
        ints.push_back(element.Int());
    }
    return ints;
}

} // namespace support
