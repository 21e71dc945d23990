// Late-bound calls and look-ups of names, compared with those of the platform's dispatcher. Every member of all seven
// classes is called in every way that a script may find, on an object as it is and on one of the same class that the
// platform dispatches for. Where ours is meant to differ, the test knows how: see RefusalOf and Meant.

#include <algorithm>
#include <array>
#include <bit>
#include <cwctype>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxstring.h"
#include "automation/nxstringlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "automation/nxvariantcollection.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/module.h"
#include "tests/automation/objectlist.h"
#include "tests/automation/stackobject.h"
#include "tests/core/textfiles.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/wine.h"

namespace {

using namespace std::string_literals;
using support::AllocationFault;
using support::Bstr;
using support::CountLiveAllocations;
using support::DispatchObject;
using support::ExpectNoLeaks;
using support::Invocation;
using support::LiveAllocations;
using support::PrintedHr;
using support::Reply;
using support::Require;
using support::Variant;

// ---------------------------------------------------------------------------------------------------------------------
// The classes, and the small world in which each call happens

// The classes with the late-bound entries in the vtable, where the platform's dispatcher finds them.

template <class Class> class LateBoundVtable : public Class {
  protected:
    bool isDispatched = false;
};
template <> class LateBoundVtable<CNXFileStream> : public CNXFileStream {
  public:
    HRESULT STDMETHODCALLTYPE ReadNextLine(BSTR* pbsLine) override {
        return isDispatched ? CopyNextLine(pbsLine) : CNXFileStream::ReadNextLine(pbsLine);
    }

  protected:
    bool isDispatched = false;
};
template <> class LateBoundVtable<CNXTokenStringList> : public CNXTokenStringList {
  public:
    HRESULT STDMETHODCALLTYPE get__Item(long n, INXTokenString** pVal) override {
        const HRESULT hr = CNXTokenStringList::get__Item(n, pVal);
        if (FAILED(hr)) {
            SetErrorInfo(0, nullptr);
        }
        return hr;
    }
    HRESULT STDMETHODCALLTYPE AddNew(INXTokenString** pVal) override { return AppendNew(pVal); }

  protected:
    bool isDispatched = false;
};
template <> class LateBoundVtable<CNXVariantCollection> : public CNXVariantCollection {
  public:
    HRESULT STDMETHODCALLTYPE Add(VARIANT Item, long Position) override {
        if (!isDispatched) {
            return CNXVariantCollection::Add(Item, Position);
        }
        if (V_ISBYREF(&Item) && V_BYREF(&Item) == nullptr) {
            return E_INVALIDARG;
        }
        CNXVariant copy;
        const HRESULT hr = VariantCopyInd(&copy, &Item);
        return FAILED(hr) ? hr : AddOwned(std::move(copy), Position);
    }

  protected:
    bool isDispatched = false;
};

/// The class with the platform's dispatcher.
template <class Class, const IID* piid> class ThroughPlatform : public LateBoundVtable<Class> {
  public:
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispidMember, REFIID /*riid*/, LCID /*lcid*/, WORD wFlags,
                                     DISPPARAMS* pdispparams, VARIANT* pvarResult, EXCEPINFO* pexcepinfo,
                                     UINT* puArgErr) override {
        if (wFlags == DISPATCH_METHOD) {
            wFlags |= DISPATCH_PROPERTYGET;
        }
        if ((wFlags & DISPATCH_PROPERTYPUTREF) != 0) {
            wFlags = static_cast<WORD>((wFlags & ~DISPATCH_PROPERTYPUTREF) | DISPATCH_PROPERTYPUT);
        }
        CComPtr<ITypeInfo> info;
        Require(this->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info), "GetTypeInfo");
        constexpr VARTYPE untouched = 0x0FFF;
        VARIANT result = {};
        V_VT(&result) = untouched;
        this->isDispatched = true;
        const HRESULT hr = info->Invoke(static_cast<IDispatch*>(this), dispidMember, wFlags, pdispparams,
                                        pvarResult != nullptr ? &result : nullptr, pexcepinfo, puArgErr);
        this->isDispatched = false;
        if (V_VT(&result) != untouched && SUCCEEDED(hr)) {
            *pvarResult = result;
        } else if (V_VT(&result) != untouched) { // Wine stores a result also when the member fails
            VariantClear(&result);
        }
        if (hr == DISP_E_EXCEPTION && pexcepinfo != nullptr) { // Wine leaves what it has no value for
            pexcepinfo->wCode = 0;
            if (pexcepinfo->bstrDescription == nullptr) {
                pexcepinfo->dwHelpContext = 0;
            }
        }
        return hr;
    }
};

/// An object of somebody else's. Its default property is 1.
class Foreign : public support::StackAutomationObject<IDispatch> {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid != IID_IUnknown && iid != IID_IDispatch) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        return StackAutomationObject::QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                                     UINT*) override {
        ++calls;
        if (member != DISPID_VALUE || result == nullptr) {
            return DISP_E_MEMBERNOTFOUND;
        }
        V_VT(result) = VT_I4;
        V_I4(result) = 1;
        return S_OK;
    }

    int calls = 0;
};

/// What is in the file of each world when it begins.
constexpr std::string_view linesOfFile = "first\r\nsecond\r\n";

/// What a call can touch: the object, and others that it may be given.
struct World {
    explicit World(const std::wstring& file) : path(file) {}

    const std::wstring& path; ///< of a file with linesOfFile
    Bstr text{L"two"};        ///< in a variant collection, which does not own it
    Foreign foreign;
    CComPtr<INXTokenString> tokens;
    CComPtr<INXFileStream> stream;
    CComPtr<IDispatch> object;
};

/// Writes down what can be seen of values and objects, without a trace of where in memory they are.
class Record {
  public:
    explicit Record(const World& world) : m_world(world) { m_text.reserve(4096); }

    Record& operator<<(std::string_view text) {
        m_text += text;
        return *this;
    }
    Record& operator<<(const char* text) { return *this << std::string_view(text); }
    Record& operator<<(char character) { return *this << std::string_view(&character, 1); }
    Record& operator<<(BSTR text) {
        return *this << (text == nullptr ? "null BSTR"s : support::Printed({text, SysStringLen(text)}));
    }
    Record& operator<<(const Bstr& text) { return *this << static_cast<BSTR>(text); }
    Record& operator<<(long long number) { return *this << std::to_string(number); }
    Record& operator<<(const VARIANT& value);
    Record& operator<<(IUnknown* object);

    [[nodiscard]] const std::string& Text() const noexcept { return m_text; }
    [[nodiscard]] std::string Take() noexcept { return std::move(m_text); }

  private:
    const World& m_world;
    std::string m_text;
};

Record& Record::operator<<(const VARIANT& value) {
    *this << "VARTYPE " << static_cast<long long>(V_VT(&value)) << ' ';
    if (V_ISBYREF(&value)) {
        return *this << "reference";
    }
    if (V_ISARRAY(&value)) {
        LONG last = -2;
        SafeArrayGetUBound(V_ARRAY(&value), 1, &last);
        return *this << "up to " << static_cast<long long>(last);
    }
    switch (V_VT(&value)) {
    case VT_EMPTY:
    case VT_NULL:
        return *this;
    case VT_BSTR:
        return *this << V_BSTR(&value);
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return *this << V_UNKNOWN(&value);
    case VT_DECIMAL:
        return *this << static_cast<long long>(V_DECIMAL(&value).Lo64);
    case VT_I1:
    case VT_UI1:
        return *this << static_cast<long long>(V_UI1(&value));
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        return *this << static_cast<long long>(V_I2(&value));
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
        return *this << static_cast<long long>(V_I4(&value));
    default:
        return *this << static_cast<long long>(V_I8(&value));
    }
}

Record& Record::operator<<(IUnknown* object) {
    const auto query = [&]<class Interface>(CComPtr<Interface>& other) {
        return SUCCEEDED(object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(&other)));
    };
    if (object == nullptr) {
        return *this << "null object";
    }
    if (support::AreSame(object, m_world.object)) {
        return *this << "the object itself";
    }
    if (support::AreSame(object, m_world.tokens)) {
        return *this << "the token string";
    }
    if (support::AreSame(object, m_world.stream)) {
        return *this << "the file stream";
    }
    if (CComPtr<INXTokenString> tokens; query(tokens)) {
        Bstr value;
        tokens->get_Value(value.Out());
        return *this << "NXTokenString " << value;
    }
    if (CComPtr<INXFileStream> stream; query(stream)) {
        Bstr name;
        stream->get_fileName(name.Out());
        return *this << "NXFileStream " << name;
    }
    if (CComPtr<IEnumVARIANT> enumerator; query(enumerator)) {
        *this << "enumerator";
        Variant element;
        while (enumerator->Next(1, element.Raw(), nullptr) == S_OK) {
            *this << " [" << *element.Raw() << ']';
            element = Variant();
        }
        return *this;
    }
    if (CComPtr<IDispatch> other; query(other)) {
        return *this << "another automation object";
    }
    return *this << "another object";
}

// The state that an object begins with.

void Fill(INXString* object, World&) {
    object->put_Value(Bstr(L"  text 1 "));
}
void Fill(INXTokenString* object, World&) {
    object->put_Separator(Bstr(L","));
    object->put_Value(Bstr(L"1,two"));
}
void Fill(INXStringList* object, World&) {
    object->Add(Bstr(L"1"));
    object->Add(nullptr);
    object->Add(Bstr(L"two"));
}
void Fill(INXFileStream* object, World& world) {
    VARIANT_BOOL open = VARIANT_FALSE;
    object->Open(Bstr(world.path), VARIANT_TRUE, &open);
    BSTR lent = nullptr;
    object->ReadNextLine(&lent);
}
void Fill(INXTokenStringList* object, World& world) {
    object->Add(world.tokens);
    object->Add(nullptr);
}
void Fill(INXFileStreamList* object, World& world) {
    object->Add(world.stream);
    object->Add(nullptr);
}
void Fill(INXVariantCollection* object, World& world) {
    VARIANT value;
    VariantInit(&value);
    V_VT(&value) = VT_BSTR;
    V_BSTR(&value) = world.text;
    object->Add(value, 0);
    object->Add(*Variant(2).Raw(), 0);
}

// The state that an object ends with.

void Write(INXString* object, const World&, Record& record) {
    Bstr value;
    object->get_Value(value.Out());
    record << value;
}
void Write(INXTokenString* object, const World&, Record& record) {
    Bstr text;
    object->get_Value(text.Out());
    record << text << ", separator ";
    object->get_Separator(text.Out());
    VARIANT_BOOL multi = VARIANT_FALSE;
    object->get_MultiCharacter(&multi);
    long count = 0;
    object->get_Count(&count);
    record << text << ", mode " << static_cast<long long>(multi) << ", tokens " << static_cast<long long>(count);
}
void Write(INXFileStream* object, const World& world, Record& record) {
    VARIANT_BOOL open = VARIANT_FALSE;
    object->IsOpen(&open);
    VARIANT_BOOL end = VARIANT_FALSE;
    object->IsEOF(&end);
    Bstr name;
    object->get_fileName(name.Out());
    BSTR line = nullptr;
    object->ReadNextLine(&line);
    record << name << (open != 0 ? " open" : " closed") << (end != 0 ? " at the end, " : " at ") << line;
    object->Close();
    if (name == nullptr) {
        return;
    }
    const std::string bytes = support::ReadBytes(world.path);
    record << ", file " << bytes;
    if (bytes != linesOfFile) {
        support::WriteBytes(world.path, linesOfFile);
    }
}
template <class Entry, class List> void WriteEntries(List* object, Record& record) {
    long count = 0;
    object->get_Count(&count);
    for (long index = 0; index < count; ++index) {
        Entry entry;
        if constexpr (std::is_same_v<Entry, Bstr>) {
            object->get_Item(index, entry.Out());
        } else {
            object->get_Item(index, &entry);
        }
        record << '[' << entry << ']';
    }
}
void Write(INXStringList* object, const World&, Record& record) {
    WriteEntries<Bstr>(object, record);
}
void Write(INXTokenStringList* object, const World&, Record& record) {
    WriteEntries<CComPtr<INXTokenString>>(object, record);
}
void Write(INXFileStreamList* object, const World&, Record& record) {
    WriteEntries<CComPtr<INXFileStream>>(object, record);
}
/// Empties the collection, too, which may contain itself.
void Write(INXVariantCollection* object, const World&, Record& record) {
    long count = 0;
    for (object->get_Count(&count); count > 0; object->get_Count(&count)) {
        Variant value;
        object->get_Item(count, value.Raw());
        record << '[' << *value.Raw() << ']';
        object->Remove(count);
    }
}

/// One of the seven, in both forms.
struct Class {
    const char* name;
    HRESULT (*createOurs)(IDispatch** created);
    HRESULT (*createPlatforms)(IDispatch** created);
    const char* text;   ///< the Value that its members expect as a text
    const char* object; ///< and as an object; null: never
    int sparing;        ///< of how many calls one finds the object filled: to open a file takes time
    void (*fill)(World& world);
    void (*write)(const World& world, Record& record);
};

template <class Object> HRESULT Create(IDispatch** created) {
    CComObject<Object>* object = nullptr;
    const HRESULT hr = CComObject<Object>::CreateInstance(&object);
    return SUCCEEDED(hr) ? object->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(created)) : hr;
}

template <class Implementation, class Interface, const IID* piid>
Class Describe(const char* name, const char* text = "BSTR 1", const char* object = nullptr) {
    using Platform = ThroughPlatform<Implementation, piid>;
    return {name,
            &Create<Implementation>,
            &Create<Platform>,
            text,
            object,
            std::is_same_v<Implementation, CNXFileStream> ? 13 : 1,
            [](World& world) { Fill(static_cast<Interface*>(world.object.p), world); },
            [](const World& world, Record& record) { Write(static_cast<Interface*>(world.object.p), world, record); }};
}

void PrintTo(const Class& tested, std::ostream* stream) {
    *stream << tested.name;
}

const Class classes[] = {
    Describe<CNXString, INXString, &IID_INXString>("NXString"),
    Describe<CNXTokenString, INXTokenString, &IID_INXTokenString>("NXTokenString"),
    Describe<CNXStringList, INXStringList, &IID_INXStringList>("NXStringList"),
    Describe<CNXFileStream, INXFileStream, &IID_INXFileStream>("NXFileStream", "BSTR with the file's name"),
    Describe<CNXTokenStringList, INXTokenStringList, &IID_INXTokenStringList>("NXTokenStringList", "BSTR 1",
                                                                              "DISPATCH of a token string"),
    Describe<CNXFileStreamList, INXFileStreamList, &IID_INXFileStreamList>("NXFileStreamList", "BSTR 1",
                                                                           "DISPATCH of a file stream"),
    Describe<CNXVariantCollection, INXVariantCollection, &IID_INXVariantCollection>("NXVariantCollection"),
};

// ---------------------------------------------------------------------------------------------------------------------
// Arguments

enum Object : long long { None, Itself, TokenString, FileStream, Other };
constexpr long long pathOfFile = 1; ///< the bits of a text that is known only when the test runs

/// An argument's value.
struct Value {
    const char* name;
    VARTYPE type;
    long long bits = 0; ///< the payload; an Object; the length of an array
    std::wstring_view text = {};
};

constexpr Value values[] = {
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

/// The value of that name.
const Value* ValueOf(std::string_view name) {
    for (const Value& value : values) {
        if (value.name == name) {
            return &value;
        }
    }
    throw std::logic_error("no such value");
}

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
constexpr const char* passings[] = {
    "by value",          "by reference",  "in a variable", "by reference in a variable", "in a variable in a variable",
    "by null reference", "in no variable"};

struct Argument {
    const Value* value;
    Passing passing = Passing::ByValue;
};

/// An argument during a call. What it refers to is here, too, and the caller's.
class PassedArgument {
  public:
    PassedArgument(const Argument& argument, World& world) {
        Make(*argument.value, world);
        switch (argument.passing) {
        case Passing::ByValue:
            m_passed = m_value;
            break;
        case Passing::Reference:
            Refer(m_passed, V_VT(&m_value), Payload());
            break;
        case Passing::Variable:
            Refer(m_passed, VT_VARIANT, &m_value);
            break;
        case Passing::VariableReference:
            Refer(m_variable, V_VT(&m_value), Payload());
            Refer(m_passed, VT_VARIANT, &m_variable);
            break;
        case Passing::VariableOfVariable:
            Refer(m_variable, VT_VARIANT, &m_value);
            Refer(m_passed, VT_VARIANT, &m_variable);
            break;
        case Passing::NullReference:
            Refer(m_passed, V_VT(&m_value), nullptr);
            break;
        case Passing::NullVariable:
            Refer(m_passed, VT_VARIANT, nullptr);
            break;
        }
    }
    PassedArgument(const PassedArgument&) = delete;
    PassedArgument& operator=(const PassedArgument&) = delete;
    ~PassedArgument() { VariantClear(&m_value); }

    [[nodiscard]] const VARIANT& Passed() const noexcept { return m_passed; }
    [[nodiscard]] const VARIANT& ReferredTo() const noexcept { return m_value; }

  private:
    void Make(const Value& value, World& world) {
        V_I8(&m_value) = value.bits; // a shorter payload is its low part
        V_VT(&m_value) = value.type;
        if (value.type == VT_BSTR) {
            const std::wstring_view text = value.bits == pathOfFile ? world.path : value.text;
            V_BSTR(&m_value) =
                text.data() != nullptr ? SysAllocStringLen(text.data(), static_cast<UINT>(text.size())) : nullptr;
        } else if (value.type == VT_DECIMAL) {
            DECIMAL number = {};
            number.Lo64 = static_cast<ULONGLONG>(value.bits);
            V_DECIMAL(&m_value) = number;
            V_VT(&m_value) = value.type;
        } else if ((value.type & VT_ARRAY) != 0) {
            V_ARRAY(&m_value) = SafeArrayCreateVector(value.type & VT_TYPEMASK, 0, static_cast<ULONG>(value.bits));
        } else if (value.type == VT_DISPATCH || value.type == VT_UNKNOWN) {
            IDispatch* const objects[] = {nullptr, world.object, world.tokens, world.stream, &world.foreign};
            V_DISPATCH(&m_value) = objects[value.bits];
            if (V_DISPATCH(&m_value) != nullptr) {
                V_DISPATCH(&m_value)->AddRef();
            }
        }
    }

    void* Payload() noexcept { return V_VT(&m_value) == VT_DECIMAL ? static_cast<void*>(&m_value) : &V_I8(&m_value); }

    static void Refer(VARIANT& reference, VARTYPE type, void* referredTo) noexcept {
        V_VT(&reference) = static_cast<VARTYPE>(type | VT_BYREF);
        V_BYREF(&reference) = referredTo;
    }

    VARIANT m_value = {};
    VARIANT m_variable = {};
    VARIANT m_passed = {};
};

// ---------------------------------------------------------------------------------------------------------------------
// Calls

/// What the caller's result variable holds before the call. A dispatcher does not free it.
enum class Result { Absent, Empty, Number, Text };

/// A call, and all around it that could matter.
struct Shape {
    DISPID member = 0;
    WORD flags = DISPATCH_METHOD;
    std::vector<Argument> arguments = {}; ///< in the order of the parameters
    std::vector<DISPID> names = {};       ///< of the arguments, from the last one on
    bool filled = true;                   ///< whether the object has a state other than that of a new one
    Result result = Result::Empty;
    bool wantsException = true;
    bool wantsBadArgument = true;
    bool earlierError = false; ///< whether the thread has the record of one
    bool noParameters = false; ///< no DISPPARAMS
    LCID locale = LOCALE_USER_DEFAULT;
    IID iid = IID_NULL;
};

std::string PrintedShape(const Shape& shape) {
    std::string text = "flags " + std::to_string(shape.flags) + ", arguments (";
    for (const Argument& argument : shape.arguments) {
        text += argument.value->name + " "s + passings[static_cast<int>(argument.passing)] + "; ";
    }
    text += "), names (";
    for (const DISPID name : shape.names) {
        text += std::to_string(name) + " ";
    }
    text += ")"s + (shape.filled ? "" : ", new object") + ", result " + std::to_string(static_cast<int>(shape.result));
    text += shape.wantsException ? "" : ", no EXCEPINFO";
    text += shape.wantsBadArgument ? "" : ", no puArgErr";
    text += shape.earlierError ? ", earlier error" : "";
    text += shape.noParameters ? ", no DISPPARAMS" : "";
    text += shape.iid == IID_NULL ? "" : ", an IID";
    return text + ", locale " + std::to_string(shape.locale);
}

void LeaveEarlierError() {
    CComPtr<ICreateErrorInfo> record;
    Require(CreateErrorInfo(&record), "CreateErrorInfo");
    record->SetGUID(IID_NULL);
    record->SetDescription(const_cast<LPOLESTR>(L"earlier"));
    CComPtr<IErrorInfo> info;
    Require(record->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), "IErrorInfo");
    SetErrorInfo(0, info);
}

/// Takes the thread's error record and writes it down.
void WriteErrorRecord(Record& record) {
    CComPtr<IErrorInfo> info;
    if (GetErrorInfo(0, &info) != S_OK) {
        record << "none";
        return;
    }
    Bstr text;
    info->GetDescription(text.Out());
    record << text << ' ';
    info->GetSource(text.Out());
    record << text << ' ';
    info->GetHelpFile(text.Out());
    DWORD context = 0;
    info->GetHelpContext(&context);
    GUID iid = {};
    info->GetGUID(&iid);
    wchar_t name[64] = {};
    StringFromGUID2(iid, name, 64);
    record << text << ' ' << static_cast<long long>(context) << ' ' << support::Printed(name);
}

void WriteException(const EXCEPINFO& exception, Record& record) {
    record << static_cast<long long>(exception.wCode) << ' ' << static_cast<long long>(exception.wReserved) << ' '
           << exception.bstrSource << ' ' << exception.bstrDescription << ' ' << exception.bstrHelpFile << ' '
           << static_cast<long long>(exception.dwHelpContext) << (exception.pvReserved != nullptr ? " reserved" : "")
           << (exception.pfnDeferredFillIn != nullptr ? " deferred " : " ") << PrintedHr(exception.scode);
}

/// Why ours refuses a call, whatever the platform does with it.
enum class Rule { ReservedIid, ArgumentCount, ArgumentLeftOut, ArgumentName, BadReference, OtherObject, Conversion };
constexpr const char* rules[] = {
    "riid is reserved",
    "too many or too few arguments",
    "a required argument is left out",
    "a name that is no parameter's, is given twice, or a new value without its name",
    "a null reference, one of a type that has none, or one too deep",
    "an object of another interface, or none at all",
    "a value that does not convert",
};

/// A call that does not reach a member. Nothing changes, and the caller gets the HRESULT and the wrong argument.
struct Refusal {
    Rule rule;
    HRESULT hr;
    std::optional<UINT> badArgument = {};
    std::size_t parameter = 0; ///< the one that the argument was for
};

/// Calls world.object, or refuses the call, and writes down what the caller gets.
HRESULT Call(World& world, const Shape& shape, const std::optional<Refusal>& refusal, Record& record) {
    std::array<std::optional<PassedArgument>, 10> passed;
    std::array<VARIANT, 10> arguments = {};
    const std::size_t count = shape.arguments.size();
    for (std::size_t i = 0; i < count; ++i) {
        passed.at(i).emplace(shape.arguments[i], world);
        arguments.at(count - 1 - i) = passed.at(i)->Passed();
    }
    std::vector<DISPID> names = shape.names;
    DISPPARAMS parameters = {arguments.data(), names.data(), static_cast<UINT>(count), static_cast<UINT>(names.size())};
    VARIANT result = {};
    V_VT(&result) = shape.result == Result::Number ? VT_I4 : shape.result == Result::Text ? VT_BSTR : VT_EMPTY;
    const Bstr before(L"before");
    if (shape.result == Result::Text) {
        V_BSTR(&result) = before;
    }
    EXCEPINFO exception = {};
    exception.wCode = 7;
    exception.dwHelpContext = 7;
    exception.scode = 7;
    UINT badArgument = 99;
    SetErrorInfo(0, nullptr);
    if (shape.earlierError) {
        LeaveEarlierError();
    }

    HRESULT hr = S_OK;
    if (refusal.has_value()) {
        hr = refusal->hr;
        badArgument = shape.wantsBadArgument ? refusal->badArgument.value_or(badArgument) : badArgument;
    } else {
        hr = world.object->Invoke(
            shape.member, shape.iid, shape.locale, shape.flags, shape.noParameters ? nullptr : &parameters,
            shape.result != Result::Absent ? &result : nullptr, shape.wantsException ? &exception : nullptr,
            shape.wantsBadArgument ? &badArgument : nullptr);
    }

    record << "HRESULT " << PrintedHr(hr) << "\nerror record ";
    WriteErrorRecord(record);
    record << "\nresult " << result << "\nexception ";
    WriteException(exception, record);
    record << "\nbad argument " << static_cast<long long>(badArgument) << "\narguments ";
    for (std::size_t i = 0; i < count; ++i) {
        record << '[' << passed.at(i)->ReferredTo() << ']';
    }
    if (V_VT(&result) != VT_BSTR || V_BSTR(&result) != before) {
        VariantClear(&result);
    }
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    return hr;
}

/// A member as the type information describes it.
struct Member {
    std::string name;
    DISPID id = 0;
    WORD kind = 0;
    bool own = true; ///< not IDispatch's
    std::vector<VARTYPE> parameters;
    std::size_t required = 0;        ///< of the parameters
    std::vector<std::wstring> names; ///< its own, and those of the parameters that have one
};

CComPtr<ITypeInfo> TypeInfoOf(const Class& tested) {
    CComPtr<IDispatch> object;
    Require(tested.createOurs(&object), tested.name);
    CComPtr<ITypeInfo> info;
    Require(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, &info), "GetTypeInfo");
    return info;
}

std::vector<Member> MembersOf(const Class& tested) {
    const CComPtr<ITypeInfo> info = TypeInfoOf(tested);
    TYPEATTR* attributes = nullptr;
    Require(info->GetTypeAttr(&attributes), "GetTypeAttr");
    std::vector<Member> members(attributes->cFuncs);
    info->ReleaseTypeAttr(attributes);
    for (UINT i = 0; i < members.size(); ++i) {
        FUNCDESC* function = nullptr;
        Require(info->GetFuncDesc(i, &function), "GetFuncDesc");
        Member& member = members[i];
        member.id = function->memid;
        member.kind = static_cast<WORD>(function->invkind);
        member.own = function->oVft >= static_cast<SHORT>(7 * sizeof(void*));
        for (SHORT parameter = 0; parameter < function->cParams; ++parameter) {
            const ELEMDESC& description = function->lprgelemdescParam[parameter];
            member.parameters.push_back(description.tdesc.vt);
            member.required += (description.paramdesc.wParamFlags & PARAMFLAG_FOPT) == 0 ? 1 : 0;
        }
        info->ReleaseFuncDesc(function);

        std::array<BSTR, 10> names = {};
        UINT count = 0;
        Require(info->GetNames(member.id, names.data(), 10, &count), "GetNames");
        for (UINT n = 0; n < count; ++n) {
            member.names.emplace_back(Bstr(names.at(n)));
        }
        member.name = (member.kind == DISPATCH_PROPERTYPUT ? "put " : "") + support::Printed(member.names.at(0));
    }
    return members;
}

/// A call of the member as its author meant it.
Shape PlainCall(const Class& tested, const Member& member) {
    Shape shape = {.member = member.id, .flags = member.kind};
    for (const VARTYPE type : member.parameters) {
        const char* const value = type == VT_BSTR                              ? tested.text
                                  : type == VT_BOOL                            ? "BOOL -1"
                                  : type == VT_PTR && tested.object != nullptr ? tested.object
                                                                               : "I4 1";
        shape.arguments.push_back({ValueOf(value)});
    }
    if (!member.own) {
        shape.arguments.resize(std::min<std::size_t>(shape.arguments.size(), 1)); // not to be reached, whatever comes
    }
    if (member.kind == DISPATCH_PROPERTYPUT) {
        shape.names = {DISPID_PROPERTYPUT};
    }
    return shape;
}

/// The name as callers may spell it.
std::wstring InAsciiLowerCase(std::wstring name) {
    for (wchar_t& c : name) {
        c = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c | 0x20) : c;
    }
    return name;
}

class NXDispatchTest : public ::testing::TestWithParam<Class> {
  protected:
    NXDispatchTest() {
        support::WriteBytes(path, linesOfFile);
        static_cast<void>(CountLiveAllocations());
        for (const Class& any : classes) { // what is made once in a process is no leak
            static_cast<void>(TypeInfoOf(any));
        }
        const Shape nothing = {.member = DISPID_UNKNOWN};
        static_cast<void>(Observe(nothing, tested.createOurs));
        static_cast<void>(Observe(nothing, tested.createPlatforms));
    }
    ~NXDispatchTest() override { SetErrorInfo(0, nullptr); }

    /// Makes the call in both worlds. What the caller and the object have of it must be the same, unless the call is
    /// one that ours refuses by a rule of its own.
    void Compare(const std::string& member, Shape shape) {
        shape.filled = shape.filled && ++m_calls % tested.sparing == 0;
        const std::string ours = Observe(shape, tested.createOurs);
        std::string wanted = WantedOf(shape);
        if (const std::size_t place = wanted.find(emptyText); place != std::string::npos && IsNullText(ours)) {
            wanted.replace(place, emptyText.size(), nullText); // Wine makes a null BSTR result a zero-length one
        }
        Check(ours == wanted, member, shape, ours, wanted);
    }

    const Class& tested = GetParam();
    const support::TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";
    const std::vector<Member> members = MembersOf(tested);

    /// Whether an own member has that name, in whatever case its ASCII letters are.
    [[nodiscard]] bool IsOwnName(const std::wstring& name) const {
        return std::ranges::any_of(members, [&](const Member& member) {
            return member.own && InAsciiLowerCase(member.names[0]) == InAsciiLowerCase(name);
        });
    }

    static void TearDownTestSuite() {
        if (GTEST_FLAG_GET(filter) == "*" && support::RunningUnderWine()) { // Windows may differ in fewer cases
            for (std::size_t i = 0; i < std::size(rules); ++i) {
                EXPECT_GT(differences.at(i), 0) << "nothing differs from the platform here any more: " << rules[i];
            }
        }
    }

  private:
    static constexpr std::string_view nullText = "\nresult VARTYPE 8 null BSTR\n";
    static constexpr std::string_view emptyText = "\nresult VARTYPE 8 L\"\" (0 units)\n";
    static bool IsNullText(const std::string& observed) { return observed.find(nullText) != std::string::npos; }

    /// What is to be observed of the call.
    std::string WantedOf(const Shape& shape) {
        std::optional<Refusal> refusal = RefusalOf(shape);
        if (Reached(shape) != nullptr && IsConsistent(shape) && (!refusal.has_value() || refusal->parameter > 0)) {
            refusal = ConversionFailure(shape, refusal);
        }
        if (!refusal.has_value()) {
            return ObservePlatform(shape);
        }
        const std::string refused = Observe(shape, tested.createOurs, refusal);
        // Wine loses references to objects that it refuses, so it is not asked about those.
        const bool isDifferent = refusal->rule == Rule::OtherObject || refused != ObservePlatform(shape);
        differences.at(static_cast<std::size_t>(refusal->rule)) += isDifferent ? 1 : 0;
        return refused;
    }

    static bool IsConsistent(const Shape& shape) {
        return !shape.noParameters && shape.names.size() <= shape.arguments.size();
    }

    /// What the platform does. It takes arguments by value in which it sees something else by reference: Wine makes a
    /// null BSTR a zero-length one, and takes an argument that is left out for a value.
    std::string ObservePlatform(Shape shape) const {
        for (Argument& argument : shape.arguments) {
            const Value& value = *argument.value;
            const bool isNullText = value.type == VT_BSTR && value.bits == 0 && value.text.data() == nullptr;
            const bool isLeftOut = value.type == VT_ERROR && value.bits == DISP_E_PARAMNOTFOUND;
            if ((isNullText || isLeftOut) && argument.passing <= Passing::VariableReference) {
                argument.passing = Passing::ByValue;
            }
        }
        return Observe(shape, tested.createPlatforms);
    }

    /// The failure of the platform to convert the first argument that does not convert, if that comes before the one
    /// for which there is a refusal already. Wine does not tell which argument that is.
    std::optional<Refusal> ConversionFailure(const Shape& shape, const std::optional<Refusal>& refusal) {
        const Member& member = *Reached(shape);
        const std::vector<Argument> plain = PlainCall(tested, member).arguments;
        const std::size_t count = refusal.has_value() ? refusal->parameter : plain.size();
        const auto given = ArgumentsOf(shape, member);
        for (std::size_t parameter = 0; parameter < count; ++parameter) {
            if (!given[parameter].has_value()) {
                continue;
            }
            Shape alone = PlainCall(tested, member);
            alone.arguments.at(parameter) = shape.arguments.at(shape.arguments.size() - 1 - *given[parameter]);
            alone.locale = shape.locale;
            const std::string platforms = ObservePlatform(alone);
            for (const HRESULT hr : {DISP_E_TYPEMISMATCH, DISP_E_OVERFLOW, DISP_E_BADVARTYPE}) {
                if (platforms.starts_with("HRESULT " + PrintedHr(hr))) {
                    return Refusal{Rule::Conversion, hr == DISP_E_OVERFLOW ? hr : DISP_E_TYPEMISMATCH,
                                   static_cast<UINT>(*given[parameter]), parameter};
                }
            }
        }
        return refusal;
    }

    /// The own member that this call reaches, or null.
    [[nodiscard]] const Member* Reached(const Shape& shape) const {
        int flags = shape.flags;
        flags |= flags == DISPATCH_METHOD ? DISPATCH_PROPERTYGET : 0;
        flags |= (flags & DISPATCH_PROPERTYPUTREF) != 0 ? DISPATCH_PROPERTYPUT : 0;
        const auto found = std::ranges::find_if(members, [&](const Member& member) {
            return member.own && member.id == shape.member && (member.kind & flags) != 0;
        });
        return found != members.end() ? &*found : nullptr;
    }

    /// For each parameter, which of rgvarg is its argument.
    using ArgumentIndices = std::vector<std::optional<std::size_t>>;

    /// Where the arguments of a call are. One entry more tells an argument with a wrong name.
    static ArgumentIndices ArgumentsOf(const Shape& shape, const Member& member) {
        ArgumentIndices given(member.parameters.size());
        const bool isPut = member.kind == DISPATCH_PROPERTYPUT;
        const std::size_t names = member.parameters.size() - (isPut ? 1 : 0);
        const std::size_t count = shape.arguments.size();
        for (std::size_t i = 0; i < count - shape.names.size(); ++i) {
            given[i] = count - 1 - i;
        }
        if (isPut && given.back().has_value()) {
            given.emplace_back(0);
            return given;
        }
        for (std::size_t i = shape.names.size(); i-- > 0;) {
            const bool isNewValue = isPut && shape.names[i] == DISPID_PROPERTYPUT;
            const auto parameter = isNewValue ? names : static_cast<std::size_t>(shape.names[i]);
            if ((parameter >= names && !isNewValue) || given[parameter].has_value()) {
                given.emplace_back(i);
                return given;
            }
            given[parameter] = i;
        }
        return given;
    }

    /// The rule by which ours refuses the call, whatever the platform does.
    [[nodiscard]] std::optional<Refusal> RefusalOf(const Shape& shape) const {
        if (shape.iid != IID_NULL) {
            return Refusal{Rule::ReservedIid, DISP_E_UNKNOWNINTERFACE};
        }
        const std::size_t count = shape.arguments.size();
        const Member* const member = Reached(shape);
        if (member == nullptr || !IsConsistent(shape)) {
            return std::nullopt;
        }
        if (count > member->parameters.size() || count < member->required) {
            return Refusal{Rule::ArgumentCount, DISP_E_BADPARAMCOUNT};
        }

        const ArgumentIndices given = ArgumentsOf(shape, *member);
        if (given.size() > member->parameters.size()) {
            return Refusal{Rule::ArgumentName, DISP_E_PARAMNOTFOUND, static_cast<UINT>(*given.back())};
        }
        for (std::size_t parameter = 0; parameter < given.size(); ++parameter) {
            std::optional<Refusal> refusal;
            if (given[parameter].has_value()) {
                const std::size_t index = *given[parameter];
                refusal = RefusalOf(shape.arguments[count - 1 - index], *member, parameter);
                if (refusal.has_value() && refusal->hr == DISP_E_TYPEMISMATCH) {
                    refusal->badArgument = static_cast<UINT>(index);
                }
            } else if (parameter < member->required) {
                refusal = Refusal{Rule::ArgumentLeftOut, DISP_E_PARAMNOTOPTIONAL, {}, parameter};
            }
            if (refusal.has_value()) {
                return refusal;
            }
        }
        return std::nullopt;
    }

    /// The same for the argument of a parameter.
    [[nodiscard]] std::optional<Refusal> RefusalOf(const Argument& argument, const Member& member,
                                                   std::size_t parameter) const {
        const Value& value = *argument.value;
        const bool isReference =
            argument.passing == Passing::Reference || argument.passing == Passing::VariableReference;
        if (argument.passing >= Passing::VariableOfVariable ||
            (isReference && (value.type == VT_EMPTY || value.type == VT_NULL))) {
            return Refusal{Rule::BadReference, DISP_E_TYPEMISMATCH, {}, parameter};
        }
        if (value.type == VT_ERROR && value.bits == DISP_E_PARAMNOTFOUND) {
            return parameter < member.required
                       ? std::optional(Refusal{Rule::ArgumentLeftOut, DISP_E_PARAMNOTOPTIONAL, {}, parameter})
                       : std::nullopt;
        }
        if (member.parameters[parameter] == VT_PTR) {
            const bool isObject = value.type == VT_DISPATCH || value.type == VT_UNKNOWN;
            if (!isObject || (value.bits != None && value.bits != ValueOf(tested.object)->bits)) {
                return Refusal{Rule::OtherObject, DISP_E_TYPEMISMATCH, {}, parameter};
            }
        }
        return std::nullopt;
    }

    /// Makes a world and the call, and writes down what came of both.
    [[nodiscard]] std::string Observe(const Shape& shape, HRESULT (*create)(IDispatch**),
                                      const std::optional<Refusal>& refusal = {}) const {
        std::string text(64, ' ');
        const LiveAllocations before = CountLiveAllocations();
        {
            World world{path};
            CComPtr<IDispatch> other;
            Require(Create<CNXTokenString>(&other), "token string");
            world.tokens = static_cast<INXTokenString*>(other.p);
            other.Release();
            Require(Create<CNXFileStream>(&other), "file stream");
            world.stream = static_cast<INXFileStream*>(other.p);
            other.Release();
            Require(create(&world.object), tested.name);
            if (shape.filled) {
                tested.fill(world);
            }
            Record record(world);
            try {
                Call(world, shape, refusal, record);
            } catch (...) {
                record << "An exception came out.";
            }
            record << "\nobject ";
            tested.write(world, record);
            world.object.Release();
            if (record.Text().starts_with("HRESULT " + PrintedHr(S_OK))) { // else how far it came does not matter
                record << "\ncalls of the other object " << static_cast<long long>(world.foreign.calls);
            }
            if (world.foreign.references != 0) {
                record << "\nleft references: " << static_cast<long long>(world.foreign.references);
            }
            text = record.Take();
        }
        const LiveAllocations after = CountLiveAllocations();
        if (after.objects != before.objects) {
            text += "\nleft objects: " + std::to_string(after.objects - before.objects);
        }
        if (after.bstrs != before.bstrs) {
            text += "\nleft texts: " + std::to_string(after.bstrs - before.bstrs);
        }
        return text;
    }

    void Check(bool isRight, const std::string& member, const Shape& shape, const std::string& actual,
               const std::string& expected) {
        constexpr int enough = 10;
        if (!isRight && ++m_failures <= enough) {
            ADD_FAILURE() << tested.name << ", " << member << ", " << PrintedShape(shape) << "\n"
                          << actual << "\n--- wanted:\n"
                          << expected;
        }
    }

    /// For each rule, how many calls the platform answers otherwise.
    static inline std::array<int, std::size(rules)> differences = {};

    int m_calls = 0;
    int m_failures = 0;
};

TEST_P(NXDispatchTest, EveryArgument_IsTakenAsByThePlatform_OrRefusedByARule) {
    for (const Member& member : members) {
        const Shape plain = PlainCall(tested, member);
        for (std::size_t place = 0; member.own && place < member.parameters.size(); ++place) {
            for (const Value& value : values) {
                for (std::size_t passing = 0; passing < std::size(passings); ++passing) {
                    const Argument argument = {&value, static_cast<Passing>(passing)};
                    const bool isFirstOfType = &value == values || (&value)[-1].type != value.type;
                    if (argument.passing >= Passing::NullReference && !isFirstOfType) {
                        continue; // nobody sees the value
                    }
                    Shape shape = plain;
                    shape.arguments[place] = argument;
                    Compare(member.name, shape);
                }
            }
        }
    }
}

TEST_P(NXDispatchTest, TwoArguments_AreTakenAsByThePlatform_OrRefusedByARule) {
    std::vector<Argument> arguments;
    for (const char* const name :
         {"I2 1", "I4 0", "I4 3", "BOOL -1", "null BSTR", "BSTR 1", "BSTR text", "missing", "null DISPATCH",
          tested.object != nullptr ? tested.object : "DISPATCH of another object"}) {
        for (const Passing passing : {Passing::ByValue, Passing::Variable}) {
            arguments.push_back({ValueOf(name), passing});
        }
    }
    for (const Member& member : members) {
        if (member.own && member.parameters.size() == 2) {
            Shape shape = PlainCall(tested, member);
            for (const Argument& first : arguments) {
                for (const Argument& second : arguments) {
                    shape.arguments = {first, second};
                    Compare(member.name, shape);
                }
            }
        }
    }
}

TEST_P(NXDispatchTest, EveryFlag_DoesWhatItDoesOnThePlatform_OrIsRefusedByARule) {
    for (const Member& member : members) {
        Shape shape = PlainCall(tested, member);
        std::vector<Argument> arguments = shape.arguments;
        arguments.push_back({ValueOf("I4 1")});
        for (const int flags : {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 15, 0x4000}) {
            for (std::size_t count = 0; count <= arguments.size(); ++count) {
                for (const bool named : {false, true}) {
                    for (const bool filled : {false, true}) {
                        shape.flags = static_cast<WORD>(flags);
                        shape.arguments.assign(arguments.begin(),
                                               arguments.begin() + static_cast<std::ptrdiff_t>(count));
                        shape.names.assign(named ? 1 : 0, DISPID_PROPERTYPUT);
                        shape.filled = filled;
                        Compare(member.name, shape);
                    }
                }
            }
        }
    }
}

TEST_P(NXDispatchTest, NamedArguments_AreTakenAsByThePlatform_OrRefusedByARule) {
    const std::vector<DISPID> names[] = {{},
                                         {DISPID_PROPERTYPUT},
                                         {-99},
                                         {0},
                                         {1},
                                         {2},
                                         {0, 1},
                                         {1, 0},
                                         {0, 0},
                                         {DISPID_PROPERTYPUT, 0}, // not the other way round: the platform refuses that
                                         {DISPID_PROPERTYPUT, DISPID_PROPERTYPUT}};
    for (const Member& member : members) {
        const Shape plain = PlainCall(tested, member);
        for (const WORD flags : {member.kind, static_cast<WORD>(DISPATCH_METHOD | DISPATCH_PROPERTYGET),
                                 static_cast<WORD>(DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)}) {
            for (const std::vector<DISPID>& named : names) {
                for (std::size_t count = 0; count <= plain.arguments.size(); ++count) {
                    Shape shape = plain;
                    shape.flags = flags;
                    shape.names = named;
                    shape.arguments.resize(count);
                    Compare(member.name, shape);
                }
            }
        }
    }
}

TEST_P(NXDispatchTest, WhateverTheCallerWants_ItGetsWhatThePlatformGives) {
    for (const Member& member : members) {
        const Shape plain = PlainCall(tested, member);
        std::vector<Shape> shapes = {plain};
        for (const char* const wrong : {"BSTR text", "I4 -1"}) {
            for (std::size_t place = 0; place < plain.arguments.size(); ++place) {
                shapes.push_back(plain);
                shapes.back().arguments[place].value = ValueOf(wrong);
            }
        }
        for (Shape& shape : shapes) {
            for (int wants = 0; wants < 16; ++wants) {
                for (const Result result : {Result::Absent, Result::Number, Result::Text}) {
                    shape.filled = (wants & 1) != 0;
                    shape.wantsException = (wants & 2) != 0;
                    shape.wantsBadArgument = (wants & 4) != 0;
                    shape.earlierError = (wants & 8) != 0;
                    shape.result = result;
                    Compare(member.name, shape);
                }
            }
        }
        Shape shape = plain;
        shape.noParameters = true;
        Compare(member.name, shape);
    }
}

TEST_P(NXDispatchTest, Locale_ChangesNothing_AndAnIidIsRefused) {
    for (const Member& member : members) {
        Shape shape = PlainCall(tested, member);
        for (const LCID locale : {0x0000u, 0x0407u, 0x0409u, 0x0411u, 0xFFFFu}) {
            for (const IID& iid : {IID_NULL, IID_IDispatch}) {
                shape.locale = locale;
                shape.iid = iid;
                Compare(member.name, shape);
            }
        }
    }
}

TEST_P(NXDispatchTest, UnknownMembers_AreRefusedAsThePlatformRefusesThem) {
    for (const DISPID id : {DISPID_UNKNOWN, -2, DISPID_PROPERTYPUT, DISPID_NEWENUM, DISPID_EVALUATE, DISPID_VALUE, 1, 2,
                            0x5FFFFFFF, 0x60010004, 0x6002000A, 0x6002000B, 0x60020FFF, 0x60030000}) {
        for (const int flags : {1, 2, 3, 4, 8, 12, 15}) {
            for (const std::size_t count : {0u, 1u, 2u}) {
                const Shape shape = {.member = id,
                                     .flags = static_cast<WORD>(flags),
                                     .arguments = std::vector<Argument>(count, {ValueOf("I4 1")})};
                Compare("member " + std::to_string(id), shape);
            }
        }
    }
}

/// Copies of a name in every case, and names like it.
std::vector<std::wstring> NamesLike(const std::wstring& name) {
    std::vector<std::wstring> names(4, name);
    const auto convert = [](std::wstring& text, auto function) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            text[i] = static_cast<wchar_t>(function(text[i], i));
        }
    };
    convert(names[1], [](wchar_t c, std::size_t) { return std::towupper(c); });
    convert(names[2], [](wchar_t c, std::size_t) { return std::towlower(c); });
    convert(names[3], [](wchar_t c, std::size_t i) { return i % 2 == 0 ? std::towlower(c) : std::towupper(c); });
    names.insert(names.end(),
                 {name + L"x", L"x" + name, name.substr(1), name.substr(0, name.size() - 1), name + L" ", L" " + name,
                  name + L"\x00AD", name + L"\x0301", name + name, name + L"0123456789012345"});
    const std::pair<wchar_t, wchar_t> others[] = {{L'k', 0x212A}, {L'i', 0x0131}, {L'i', 0x0130}, {L's', 0x017F},
                                                  {L'a', 0x00C5}, {L'e', 0x00E9}, {L'n', 0xFF4E}, {L't', 0x24E3},
                                                  {L'_', 0xFF3F}, {L'm', L'\r'},  {L'l', L'1'}};
    for (const auto& other : others) {
        std::wstring changed = name;
        convert(changed, [&](wchar_t c, std::size_t) { return (c | 0x20) == other.first ? other.second : c; });
        names.push_back(changed);
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
        std::wstring changed = name;
        changed[i] ^= 0x20; // of a letter the other case, of others another character
        names.push_back(changed);
        changed[i] = static_cast<wchar_t>(name[i] | 0x100);
        names.push_back(changed);
    }
    return names;
}

TEST_P(NXDispatchTest, Names_AreThoseThatThePlatformKnows_UpToTheLocale) {
    CComPtr<IDispatch> object;
    ASSERT_HR(tested.createOurs(&object), S_OK);
    const CComPtr<ITypeInfo> platform = TypeInfoOf(tested);
    int unknownHere = 0;
    // Names that differ in more than the case of ASCII letters are equal to the platform in some locales. Here they are
    // not, and the members of IUnknown and IDispatch have no names for scripts.
    const auto compare = [&](std::vector<const wchar_t*> names, UINT count, bool mayBeUnknown = false,
                             REFIID iid = IID_NULL) {
        auto** const given = const_cast<LPOLESTR*>(names.data());
        std::array<DISPID, 4> ours = {77, 77, 77, 77};
        std::array<DISPID, 4> wanted = ours;
        const HRESULT ourResult = object->GetIDsOfNames(iid, given, count, LOCALE_USER_DEFAULT, ours.data());
        HRESULT result = platform->GetIDsOfNames(given, count, wanted.data());
        if (mayBeUnknown && wanted[0] != DISPID_UNKNOWN && count > 0) {
            std::fill_n(wanted.begin(), count, DISPID_UNKNOWN);
            result = DISP_E_UNKNOWNNAME;
            ++unknownHere;
        }
        if (ourResult != result || ours != wanted) {
            EXPECT_HR(ourResult, result);
            EXPECT_EQ(ours, wanted);
            ADD_FAILURE() << tested.name << ", names: " << support::Printed(names.empty() ? L"" : names[0]) << " and "
                          << count - 1 << " more";
        }
    };
    for (const Member& member : members) {
        for (const std::wstring& name : member.names) {
            for (const std::wstring& tried : NamesLike(name)) {
                compare({tried.c_str()}, 1, !IsOwnName(tried));
            }
            compare({name.c_str()}, 1, !member.own, IID_IDispatch);
            if (member.own && name == member.names[0]) {
                compare({name.c_str()}, 0);
            }
            for (const std::wstring& second : member.names) {
                compare({name.c_str(), second.c_str()}, 2, !member.own);
                compare({name.c_str(), second.c_str(), L"nonsense"}, 3, !member.own);
                compare({name.c_str(), L"nonsense", second.c_str()}, 3, !member.own);
            }
            ASSERT_FALSE(HasFailure());
        }
    }
    EXPECT_GT(unknownHere, 0) << "nothing differs from the platform here any more";
    compare({L""}, 1);
    compare({L"nonsense"}, 1);
    compare({L"nonsense", L"Count"}, 2);
    compare({L"0123456789012345678901234567890123456789"}, 1);
    compare({L"GetTypeInfoCountAndMore"}, 1);
}

TEST_P(NXDispatchTest, Names_Missing_AreRefused) {
    CComPtr<IDispatch> object;
    ASSERT_HR(tested.createOurs(&object), S_OK);
    auto* name = const_cast<LPOLESTR>(members.front().names[0].c_str());
    DISPID id = 77;
    EXPECT_HR(object->GetIDsOfNames(IID_NULL, nullptr, 1, 0, &id), E_POINTER);
    EXPECT_HR(object->GetIDsOfNames(IID_NULL, &name, 1, 0, nullptr), E_POINTER);
    EXPECT_EQ(id, 77);
    name = nullptr;
    EXPECT_HR(object->GetIDsOfNames(IID_NULL, &name, 1, 0, &id), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(id, DISPID_UNKNOWN);
}

// ---------------------------------------------------------------------------------------------------------------------
// Out of memory

/// A call of a member that needs memory.
struct NeedyCall {
    const char* type;
    const char* member;
    Invocation call;
    bool filled = true;
};

const NeedyCall needyCalls[] = {
    {"NXString", "Value", {.member = 0x60020007, .flags = DISPATCH_PROPERTYGET}},
    {"NXString",
     "put Value",
     {.member = 0x60020007, .flags = DISPATCH_PROPERTYPUT, .arguments = {L"new"}, .names = {DISPID_PROPERTYPUT}}},
    {"NXString", "Left", {.member = 0x60020003, .arguments = {3}}},
    {"NXTokenString", "Value", {.member = 0x60020000, .flags = DISPATCH_PROPERTYGET}},
    {"NXTokenString", "Add", {.member = 0x60020006, .arguments = {L"three"}}},
    {"NXTokenString", "Token", {.member = DISPID_VALUE, .flags = DISPATCH_PROPERTYGET, .arguments = {1}}},
    {"NXStringList", "Item", {.member = 0x60020000, .flags = DISPATCH_PROPERTYGET, .arguments = {2}}},
    {"NXStringList", "Add", {.member = 1, .arguments = {L"three"}}},
    {"NXFileStream", "ReadNextLine", {.member = 0x60020006}},
    {"NXFileStream", "fileName", {.member = 0x6002000A, .flags = DISPATCH_PROPERTYGET}},
    {"NXFileStream", "WriteLine", {.member = 0x60020009, .arguments = {L"more than a string holds in itself"}}},
};

class NXDispatchMemoryTest : public ::testing::Test {
  protected:
    std::unique_ptr<World> WorldFor(const NeedyCall& needy) const {
        auto world = std::make_unique<World>(path);
        const Class& type = *std::ranges::find(classes, std::string_view(needy.type), &Class::name);
        Require(type.createOurs(&world->object), type.name);
        if (needy.filled) {
            type.fill(*world);
        }
        return world;
    }

    /// Calls the member. No exception may come out.
    static Reply Call(const World& world, const NeedyCall& needy) {
        try {
            return DispatchObject(world.object).Invoke(needy.call);
        } catch (...) {
            return {};
        }
    }

    /// Makes the call once, so that everything is set up.
    void WarmUp(const NeedyCall& needy) const {
        EXPECT_HR(Call(*WorldFor(needy), needy).hr, S_OK);
        support::WriteBytes(path, linesOfFile);
    }

    const support::TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";
    const bool fileIsMade = (support::WriteBytes(path, linesOfFile), true);
};

TEST_F(NXDispatchMemoryTest, AnyAllocationFailing_IsAnHresult) {
    for (const NeedyCall& needy : needyCalls) {
        SCOPED_TRACE(needy.type + "."s + needy.member);
        WarmUp(needy);
        support::ForEachAllocationFailure(
            [&] { return WorldFor(needy); },
            [&](const std::unique_ptr<World>& world) { return Call(*world, needy).Failure(); },
            [](const std::unique_ptr<World>&) {});
    }
}

TEST_F(NXDispatchMemoryTest, ARefusedIndex_IsRefusedAlsoWithoutMemory) {
    const NeedyCall refused = {
        "NXStringList", "Item", {.member = 0x60020000, .flags = DISPATCH_PROPERTYGET, .arguments = {99}}};
    static_cast<void>(Call(*WorldFor(refused), refused));
    bool fired = true;
    for (std::size_t number = 1; fired; ++number) {
        const ExpectNoLeaks noLeaks;
        const auto world = WorldFor(refused);
        LeaveEarlierError();
        const Reply reply = [&] {
            const AllocationFault fault(number);
            Reply given = Call(*world, refused);
            fired = fault.Fired();
            return given;
        }();
        EXPECT_HR(reply.hr, DISP_E_EXCEPTION) << number;
        EXPECT_HR(reply.exception->scode, E_FAIL) << number;
        EXPECT_STRNE(reply.exception->bstrDescription, L"earlier") << number;
        SetErrorInfo(0, nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, NXDispatchTest, ::testing::ValuesIn(classes),
                         [](const ::testing::TestParamInfo<Class>& tested) { return tested.param.name; });

} // namespace
