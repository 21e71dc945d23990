/// The members of the seven interfaces: how to call each, and what the model does.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include <windows.h>

#include <oaidl.h>

#include "tests/model/model.h"

namespace model {

using Arguments = std::vector<Value>;

/// A call of a member in the model.
struct ModelCall {
    const Ref& self;
    const Arguments& arguments; ///< of the parameters' types
    bool lateBound;
    const std::function<Ref()>& makeStream;
    int file = notAFile;                  ///< the file of a file name
    std::shared_ptr<Loan> loan = nullptr; ///< of a value added through the vtable
};

/// The result of a call through the vtable.
struct VtableReply {
    HRESULT hr = E_UNEXPECTED;
    bool untouched = false; ///< nothing was written to the out-parameter
};

/// A member as declared by its interface. Types are those of the type library, but VT_I4 for int and VT_DISPATCH for
/// interface pointers.
struct Member {
    Kind kind;
    const char* name;
    DISPID id;
    WORD access;    ///< DISPATCH_METHOD, DISPATCH_PROPERTYGET or DISPATCH_PROPERTYPUT
    VARTYPE result; ///< VT_EMPTY: none
    std::vector<VARTYPE> parameters;
    std::vector<const char*> names; ///< of the parameters; a new value has none
    std::size_t optional = 0;       ///< number of optional parameters, which are last
    Kind objects = Kind::Tokens;    ///< the class of VT_DISPATCH parameters
    /// Calls the member of `object`, a pointer to the class's own interface. Arguments have exactly the parameter
    /// types; `result` is the previous value if the result is a VARIANT.
    VtableReply (*vtable)(IDispatch* object, VARIANT* arguments, VARIANT& result);
    Outcome (*model)(const ModelCall& call);
    bool lends = false; ///< the caller does not own the result of a vtable call
};

/// All members, by class.
std::span<const Member> Members();
/// The members of a class.
std::span<const Member> MembersOf(Kind kind);

/// The name of a class in messages and for COM: NXString.
const char* NameOf(Kind kind);
const CLSID& ClsidOf(Kind kind);
const IID& IidOf(Kind kind);

inline constexpr std::array creatable = {Kind::String,     Kind::Tokens,     Kind::Strings,   Kind::Stream,
                                         Kind::TokensList, Kind::StreamList, Kind::Collection};

} // namespace model
