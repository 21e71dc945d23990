/// The members of the seven interfaces: how a client calls each, and what the model makes of the call.
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

/// A call of a member as the model sees it.
struct ModelCall {
    const Ref& self;
    const Arguments& arguments; ///< of the parameters' types
    bool lateBound;
    const std::function<Ref()>& makeStream;
    int file = notAFile;                  ///< the file that a file name stands for
    std::shared_ptr<Loan> loan = nullptr; ///< of a value added through the vtable
};

/// What a call through the vtable gave.
struct VtableReply {
    HRESULT hr = E_UNEXPECTED;
    bool untouched = false; ///< nothing was written to the out-parameter
};

/// A member as its interface declares it. Parameters and results have the types of the type library, but VT_I4 for
/// int; an interface pointer is a VT_DISPATCH.
struct Member {
    Kind kind;
    const char* name;
    DISPID id;
    WORD access;    ///< DISPATCH_METHOD, DISPATCH_PROPERTYGET or DISPATCH_PROPERTYPUT
    VARTYPE result; ///< VT_EMPTY: none
    std::vector<VARTYPE> parameters;
    std::vector<const char*> names; ///< of the parameters; a new value has none
    std::size_t optional = 0;       ///< how many parameters at the end may be left out
    Kind objects = Kind::Tokens;    ///< what a VT_DISPATCH parameter takes
    /// Calls the member of `object`, which is a pointer to the class's own interface. Arguments are of the parameters'
    /// very types; `result` holds what was there before when the result is a VARIANT.
    VtableReply (*vtable)(IDispatch* object, VARIANT* arguments, VARIANT& result);
    Outcome (*model)(const ModelCall& call);
    bool lends = false; ///< the result of a call through the vtable is not the caller's
};

/// All of them, class by class.
std::span<const Member> Members();
/// Those of a class.
std::span<const Member> MembersOf(Kind kind);

/// What stands for a class in messages, and names it for COM: NXString.
const char* NameOf(Kind kind);
const CLSID& ClsidOf(Kind kind);
const IID& IidOf(Kind kind);

inline constexpr std::array creatable = {Kind::String,     Kind::Tokens,     Kind::Strings,   Kind::Stream,
                                         Kind::TokensList, Kind::StreamList, Kind::Collection};

} // namespace model
