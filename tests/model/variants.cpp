#include "tests/model/variants.h"

#include <cstdio>
#include <utility>

#include "tests/model/calls.h"
#include "tests/support/allocation_faults.h"

namespace model {
namespace {

bool IsObject(VARTYPE type) {
    return type == VT_DISPATCH || type == VT_UNKNOWN;
}

/// The number of significant bytes of a VARIANT's value.
std::size_t SizeOf(VARTYPE type) {
    switch (type) {
    case VT_EMPTY:
    case VT_NULL:
        return 0;
    case VT_UI1:
        return 1;
    case VT_I2:
    case VT_BOOL:
        return 2;
    case VT_I4:
    case VT_ERROR:
    case VT_R4:
        return 4;
    default:
        return 8;
    }
}

class VariantLoan final : public Loan {
  public:
    VariantLoan(const Value& value, IDispatch* object, std::function<void(const std::string&)> complain)
        : m_complain(std::move(complain)) {
        Fill(m_variant, value, object);
    }
    ~VariantLoan() override {
        if (V_VT(&m_variant) != VT_BSTR || V_BSTR(&m_variant) == nullptr) {
            return;
        }
        const auto before = support::CountLiveAllocations().bstrs;
        VariantClear(&m_variant);
        if (support::CountLiveAllocations().bstrs != before - 1) {
            m_complain("a string that was only lent to a collection has been freed");
        }
    }
    [[nodiscard]] const VARIANT& Raw() const { return m_variant; }

  private:
    Variant m_variant;
    std::function<void(const std::string&)> m_complain;
};

} // namespace

BSTR MakeBstr(const Text& text) {
    return text ? SysAllocStringLen(text->data(), static_cast<UINT>(text->size())) : nullptr;
}

void Fill(VARIANT& variant, const Value& value, IDispatch* object) {
    V_VT(&variant) = value.type;
    if (value.type == VT_BSTR) {
        V_BSTR(&variant) = MakeBstr(value.text);
    } else if (IsObject(value.type)) {
        V_DISPATCH(&variant) = object;
        if (object != nullptr) {
            object->AddRef();
        }
    } else if (value.type == (VT_ARRAY | VT_I4)) {
        SAFEARRAY* const array = SafeArrayCreateVector(VT_I4, 0, static_cast<ULONG>(value.array.size()));
        for (std::size_t i = 0; i < value.array.size(); ++i) {
            static_cast<long*>(array->pvData)[i] = value.array[i];
        }
        V_ARRAY(&variant) = array;
    } else {
        V_I8(&variant) = value.bits;
    }
}

Value ValueOf(const VARIANT& variant) {
    Value value = {.type = V_VT(&variant)};
    if (value.type == VT_BSTR) {
        const BSTR text = V_BSTR(&variant);
        value.text = text == nullptr ? Text() : Text(std::wstring(text, SysStringLen(text)));
    } else if (value.type == (VT_ARRAY | VT_I4)) {
        SAFEARRAY* const array = V_ARRAY(&variant);
        if (array != nullptr && SafeArrayGetDim(array) == 1) {
            const auto* const numbers = static_cast<const long*>(array->pvData);
            value.array.assign(numbers, numbers + array->rgsabound[0].cElements);
        }
    } else if (!IsObject(value.type)) {
        // Only the bytes of the value; the others are unspecified.
        const std::size_t size = SizeOf(value.type);
        const auto bits = static_cast<std::uint64_t>(V_I8(&variant));
        const auto shift = 8 * (8 - size);
        value.bits = size == 0 ? 0 : static_cast<std::int64_t>(bits << shift) >> shift;
    }
    return value;
}

std::string Difference(const VARIANT& actual, const Value& wanted) {
    const auto text = [&](const std::string& is) { return "    is: " + is + "\nwanted: " + Printed(wanted); };
    if (V_VT(&actual) != wanted.type) {
        return text(IsObject(V_VT(&actual)) ? "an object" : Printed(ValueOf(actual))) + " (VARTYPE " +
               std::to_string(wanted.type) + ", is " + std::to_string(V_VT(&actual)) + ")";
    }
    if (!IsObject(wanted.type)) {
        const Value is = ValueOf(actual);
        const bool same = is.bits == wanted.bits && is.text == wanted.text && is.array == wanted.array;
        return same ? "" : text(Printed(is));
    }
    IUnknown* const object = V_UNKNOWN(&actual);
    if (object == nullptr || wanted.object == nullptr) {
        return object == nullptr && wanted.object == nullptr ? "" : text(object == nullptr ? "Nothing" : "an object");
    }
    CComPtr<IUnknown> identity;
    object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity));
    if (wanted.object->identity == nullptr) {
        wanted.object->identity = identity;
    }
    return identity == wanted.object->identity ? "" : text("another object");
}

std::shared_ptr<Loan> Lend(VARIANT& variant, const Value& value, IDispatch* object,
                           std::function<void(const std::string&)> complain) {
    auto loan = std::make_shared<VariantLoan>(value, object, std::move(complain));
    variant = loan->Raw();
    return loan;
}

} // namespace model
