/// VARIANTs of the model's values, and the other way round.
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

/// A new BSTR; a null one for no text.
BSTR MakeBstr(const Text& text);

/// Fills an empty VARIANT, whose owner owns what is in it. `object` is what the value's object is in reality.
void Fill(VARIANT& variant, const Value& value, IDispatch* object);

/// What a VARIANT holds that has no object.
Value ValueOf(const VARIANT& variant);

/// Whether the VARIANT is what the model wants; if not, what it is. Objects of the model that have none yet get their
/// identity.
std::string Difference(const VARIANT& actual, const Value& wanted);

/// A value that a collection refers to and that its caller owns. `complain` is told when somebody else has freed it.
std::shared_ptr<Loan> Lend(VARIANT& variant, const Value& value, IDispatch* object,
                           std::function<void(const std::string&)> complain);

} // namespace model
