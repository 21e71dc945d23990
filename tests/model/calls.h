/// Calls with all their random choices, so that they can be repeated, printed, and removed one by one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/model/members.h"

namespace model {

enum class Op {
    Create,     ///< slot = a new object
    Alias,      ///< slot = the object in another slot
    Release,    ///< slot = nothing
    Member,     ///< a member of the object in the slot; `target` receives a returned object
    Next,       ///< of the enumerator in the slot; `target` receives the first returned object
    Skip,       ///< of the enumerator
    Reset,      ///< of the enumerator
    Clone,      ///< target = a clone of the enumerator
    WriteFile,  ///< another program writes the file
    DeleteFile, ///< another program deletes the file
};

/// How an argument of a late-bound call is passed; `Direct` if the argument does not allow this.
enum class Pass {
    Direct,
    Reference,          ///< VT_BYREF to the value
    ToVariant,          ///< VT_BYREF | VT_VARIANT to the value
    ToVariantReference, ///< the same to a VT_BYREF to the value
    ToVariantToVariant, ///< one level too deep
    NullReference,
    AsShort,
    AsDouble,
    AsText,
    AsBool,
    AsEmpty,
    AsNull,
    AsUnknown,
    Garbage,     ///< a string that is not a number
    Huge,        ///< a number that does not fit in a long
    OtherObject, ///< an object that has no value
    LeftOut,     ///< f(, 1)
};
constexpr int passes = static_cast<int>(Pass::LeftOut) + 1;

/// What is special about the whole late-bound call.
enum class Shape {
    Plain,
    Named, ///< each argument by its parameter's name
    WrongIid,
    NoParameters, ///< null for the DISPPARAMS
    NoArray,      ///< a count of arguments without an array
    TooManyNames, ///< more names than arguments
    OneMore,      ///< one argument too many
    OneLess,      ///< the last argument is missing
    UnknownMember,
    WrongAccess,
    UnnamedValue, ///< the new value of a property is not called DISPID_PROPERTYPUT
    UnknownName,  ///< the last argument has a name of no parameter
};
constexpr int shapes = static_cast<int>(Shape::UnknownName) + 1;

struct Argument {
    Value value = {};
    int slot = -1;     ///< of the object, if there is one
    int fileName = -1; ///< number of the name that is the value
    Pass pass = Pass::Direct;
};

struct Call {
    Op op = Op::Member;
    int slot = 0;
    int target = -1; ///< none: a returned object is released
    int source = 0;  ///< of an Alias
    Kind kind = Kind::String;
    const Member* member = nullptr;
    std::vector<Argument> arguments = {}; ///< in the order of the parameters
    bool lateBound = false;
    Shape shape = Shape::Plain;
    unsigned variant = 0; ///< selects equivalent flags and orders
    bool byName = false;  ///< asks for the DISPID first
    bool wantsResult = true;
    bool wantsDetails = true;
    LCID locale = 0x0409;
    bool earlierError = false; ///< the thread has an error record
    unsigned long count = 0;   ///< of elements
    bool wantsFetched = true;
    bool nullArray = false; ///< Next with a null array
    int file = 0;
    std::string bytes = {};
};

/// The file names for streams: existing and missing files, then names that cannot be opened.
constexpr int regularFiles = 6;
enum FileName { InMissingFolder = regularFiles, Folder, NullName, EmptyName, WithNul, fileNames };

std::string Printed(const Text& text);
std::string PrintedBytes(const std::string& bytes);
std::string Printed(const Value& value);
std::string Printed(const Call& call);
std::string Printed(const std::vector<Call>& calls);

} // namespace model
