/// The calls with which tests compare our dispatcher and the platform's.
#pragma once

#include <bit>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <atlbase.h>
#include <oleauto.h>

#include "tests/automation/dispatchworld.h"

namespace comparison {

enum Object : long long { None, Itself, TokenString, FileStream, Other };
inline constexpr long long pathOfFile = 1; ///< the bits of the BSTR with the path of the world's file

/// An argument's value.
struct Value {
    const char* name;
    VARTYPE type;
    long long bits = 0; ///< the payload; for objects an Object, for arrays the length
    std::wstring_view text = {};
};

inline constexpr Value values[] = {
    {"I1 1", VT_I1, 1},
    {"UI1 1", VT_UI1, 1},
    {"I2 1", VT_I2, 1},
    {"I2 -1", VT_I2, 0xFFFF},
    {"UI2 1", VT_UI2, 1},
    {"UI2 65535", VT_UI2, 0xFFFF},
    {"I4 0", VT_I4, 0},
    {"I4 1", VT_I4, 1},
    {"I4 2", VT_I4, 2},
    {"I4 3", VT_I4, 3},
    {"I4 -1", VT_I4, 0xFFFFFFFF},
    {"I4 least", VT_I4, 0x80000000},
    {"UI4 1", VT_UI4, 1},
    {"UI4 most", VT_UI4, 0xFFFFFFFF},
    {"INT 1", VT_INT, 1},
    {"INT -1", VT_INT, 0xFFFFFFFF},
    {"UINT 1", VT_UINT, 1},
    {"UINT most", VT_UINT, 0xFFFFFFFF},
    {"I8 1", VT_I8, 1},
    {"I8 2^32 + 1", VT_I8, 0x100000001},
    {"UI8 1", VT_UI8, 1},
    {"R4 1.5", VT_R4, std::bit_cast<int>(1.5F)},
    {"R8 1.5", VT_R8, std::bit_cast<long long>(1.5)},
    {"R8 1e300", VT_R8, std::bit_cast<long long>(1e300)},
    {"CY 1", VT_CY, 10000},
    {"DATE 1", VT_DATE, std::bit_cast<long long>(1.0)},
    {"DECIMAL 1", VT_DECIMAL, 1},
    {"BOOL 0", VT_BOOL, 0},
    {"BOOL 1", VT_BOOL, 1},
    {"BOOL -1", VT_BOOL, 0xFFFF},
    {"null BSTR", VT_BSTR},
    {"BSTR of length 0", VT_BSTR, 0, L""},
    {"BSTR 1", VT_BSTR, 0, L"1"},
    {"BSTR text", VT_BSTR, 0, L"some, text"},
    {"BSTR with a NUL", VT_BSTR, 0, {L"1\0b", 3}},
    {"BSTR with the file's name", VT_BSTR, pathOfFile},
    {"EMPTY", VT_EMPTY},
    {"NULL", VT_NULL},
    {"missing", VT_ERROR, DISP_E_PARAMNOTFOUND},
    {"ERROR", VT_ERROR, E_FAIL},
    {"null DISPATCH", VT_DISPATCH, None},
    {"DISPATCH of the object", VT_DISPATCH, Itself},
    {"DISPATCH of a token string", VT_DISPATCH, TokenString},
    {"DISPATCH of a file stream", VT_DISPATCH, FileStream},
    {"DISPATCH of another object", VT_DISPATCH, Other},
    {"null UNKNOWN", VT_UNKNOWN, None},
    {"UNKNOWN of the object", VT_UNKNOWN, Itself},
    {"UNKNOWN of a token string", VT_UNKNOWN, TokenString},
    {"UNKNOWN of a file stream", VT_UNKNOWN, FileStream},
    {"UNKNOWN of another object", VT_UNKNOWN, Other},
    {"array of I4", VT_ARRAY | VT_I4, 1},
    {"array of BSTR", VT_ARRAY | VT_BSTR, 2},
    {"array of VARIANT", VT_ARRAY | VT_VARIANT, 1},
};

/// The value with this name.
const Value* ValueOf(std::string_view name);

/// How an argument refers to its value.
enum class Passing {
    ByValue,
    Reference,          ///< to a variable of the value's type
    Variable,           ///< to a VARIANT, as script engines pass their variables
    VariableReference,  ///< to a VARIANT that refers to a variable of the value's type
    VariableOfVariable, ///< to a VARIANT that refers to a VARIANT
    NullReference,      ///< of the value's type
    NullVariable,       ///< to no VARIANT
};
inline constexpr const char* passings[] = {
    "by value",          "by reference",  "in a variable", "by reference in a variable", "in a variable in a variable",
    "by null reference", "in no variable"};

struct Argument {
    const Value* value;
    Passing passing = Passing::ByValue;
};

/// The caller's result variable before the call. A dispatcher must not free it.
enum class Result { Absent, Empty, Number, Text };

/// A call with all its circumstances.
struct Shape {
    DISPID member = 0;
    WORD flags = DISPATCH_METHOD;
    std::vector<Argument> arguments = {}; ///< in the order of the parameters
    std::vector<DISPID> names = {};       ///< of the last arguments, the last one first
    bool filled = true;                   ///< whether the object has contents
    Result result = Result::Empty;
    bool wantsException = true;
    bool wantsBadArgument = true;
    bool earlierError = false; ///< whether the thread has an error record
    bool noParameters = false; ///< no DISPPARAMS
    LCID locale = LOCALE_USER_DEFAULT;
    IID iid = IID_NULL;
};

std::string PrintedShape(const Shape& shape);

/// The rules by which our dispatcher refuses a call, whatever the platform does with it.
enum class Rule { ReservedIid, ArgumentCount, ArgumentLeftOut, ArgumentName, BadReference, OtherObject, Conversion };
inline constexpr const char* rules[] = {
    "riid is reserved",
    "too many or too few arguments",
    "a required argument is left out",
    "an unknown name, one given twice, or a new value without its name",
    "a null reference, one of a type that has none, or one too deep",
    "an object of another interface, or none at all",
    "a value that does not convert",
};

/// A refused call. It changes nothing and sets only the HRESULT and *puArgErr.
struct Refusal {
    Rule rule;
    HRESULT hr;
    std::optional<UINT> badArgument = {};
    std::size_t parameter = 0; ///< the parameter of the argument
};

/// Calls world.object, or refuses the call, and prints what the caller gets.
HRESULT Call(World& world, const Shape& shape, const std::optional<Refusal>& refusal, Record& record);

/// A member according to the type information.
struct Member {
    std::string name;
    DISPID id = 0;
    WORD kind = 0;
    bool own = true; ///< not a member of IUnknown or IDispatch
    std::vector<VARTYPE> parameters;
    std::size_t required = 0;        ///< of the parameters
    std::vector<std::wstring> names; ///< of the member and its parameters
};

CComPtr<ITypeInfo> TypeInfoOf(const Class& tested);
std::vector<Member> MembersOf(const Class& tested);

/// A valid call of the member.
Shape PlainCall(const Class& tested, const Member& member);

} // namespace comparison
