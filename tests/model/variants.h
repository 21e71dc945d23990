/// Conversions between VARIANTs and the model's values.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <atlbase.h>
#include <oleauto.h>

#include "tests/model/model.h"

namespace model {

/// Owns a VARIANT. Cannot be moved, so references to it stay valid.
class Variant : public VARIANT {
  public:
    Variant() noexcept : VARIANT{} {}
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    ~Variant() { VariantClear(this); }
};

/// A new BSTR; null for no text.
BSTR MakeBstr(const Text& text);

/// Stores a value in an empty VARIANT, which owns it. `object` is the real object of the value.
void Fill(VARIANT& variant, const Value& value, IDispatch* object);

/// The value of a VARIANT without an object.
Value ValueOf(const VARIANT& variant);

/// Compares a VARIANT with the model's value and describes a difference. Sets the identity of objects of the model that
/// have none yet.
std::string Difference(const VARIANT& actual, const Value& wanted);

/// A value that a collection refers to and the caller owns. Calls `complain` if somebody else has freed it.
std::shared_ptr<Loan> Lend(VARIANT& variant, const Value& value, IDispatch* object,
                           std::function<void(const std::string&)> complain);

} // namespace model
