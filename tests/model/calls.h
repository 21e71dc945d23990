/// Calls with everything that was chosen for them at random, so that they can be repeated, printed, and left out one by
/// one.
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
    Member,     ///< a member of the object in the slot; an object that comes out goes to `target`
    Next,       ///< of the enumerator in the slot; the first object that comes out goes to `target`
    Skip,       ///< of the enumerator
    Reset,      ///< of the enumerator
    Clone,      ///< target = a clone of the enumerator
    WriteFile,  ///< another program writes the file
    DeleteFile, ///< another program deletes the file
};

/// How an argument of a late-bound call is passed. What does not suit an argument is `Direct`.
enum class Pass {
    Direct,
    Reference,          ///< VT_BYREF to the value
    ToVariant,          ///< VT_BYREF | VT_VARIANT to the value
    ToVariantReference, ///< the same to a VT_BYREF to the value
    ToVariantToVariant, ///< one step more than there may be
    NullReference,
    AsShort,
    AsDouble,
    AsText,
    AsBool,
    AsEmpty,
    AsNull,
    AsUnknown,
    Garbage,     ///< a string that is no number
    Huge,        ///< a number that no long can hold
    OtherObject, ///< an object that is no value
    LeftOut,     ///< f(, 1)
};
constexpr int passes = static_cast<int>(Pass::LeftOut) + 1;

/// What is special about a late-bound call as a whole.
enum class Shape {
    Plain,
    Named, ///< each argument by its parameter's name
    WrongIid,
    NoParameters, ///< null for the DISPPARAMS
    NoArray,      ///< arguments are counted, but not there
    TooManyNames, ///< more names than arguments
    OneMore,      ///< an argument too many
    OneLess,      ///< the last argument is not there
    UnknownMember,
    WrongAccess,
    UnnamedValue, ///< the new value of a property is not called DISPID_PROPERTYPUT
    UnknownName,  ///< the last argument has a name that no parameter has
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
    int target = -1; ///< none: what comes out is released
    int source = 0;  ///< of an Alias
    Kind kind = Kind::String;
    const Member* member = nullptr;
    std::vector<Argument> arguments = {}; ///< in the order of the parameters
    bool lateBound = false;
    Shape shape = Shape::Plain;
    unsigned variant = 0; ///< chooses among flags that mean the same, and among orders
    bool byName = false;  ///< asks for the DISPID first
    bool wantsResult = true;
    bool wantsDetails = true;
    LCID locale = 0x0409;
    bool earlierError = false; ///< the thread has an error record
    unsigned long count = 0;   ///< of elements
    bool wantsFetched = true;
    bool nullArray = false; ///< Next without a place for the elements
    int file = 0;
    std::string bytes = {};
};

/// The names of files that streams are given: existing and missing files, then names that open nothing.
constexpr int regularFiles = 6;
enum FileName { InMissingFolder = regularFiles, Folder, NullName, EmptyName, WithNul, fileNames };

std::string Printed(const Text& text);
std::string PrintedBytes(const std::string& bytes);
std::string Printed(const Value& value);
std::string Printed(const Call& call);
std::string Printed(const std::vector<Call>& calls);

} // namespace model
