#include "tests/automation/dispatchworld.h"

#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxstring.h"
#include "automation/nxstringlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "automation/nxvariantcollection.h"
#include "tests/automation/dispatch.h"
#include "tests/core/textfiles.h"

namespace comparison {

using support::Require;
using support::Variant;

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

namespace {

// The platform's dispatcher calls through the vtable. Where a late-bound call of ours differs from that, these classes
// have the late-bound behaviour in the vtable.

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

// The state of an object before the call.

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

// The state of an object after the call.

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
/// Also empties the collection, which may contain itself.
void Write(INXVariantCollection* object, const World&, Record& record) {
    long count = 0;
    for (object->get_Count(&count); count > 0; object->get_Count(&count)) {
        Variant value;
        object->get_Item(count, value.Raw());
        record << '[' << *value.Raw() << ']';
        object->Remove(count);
    }
}

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

} // namespace

void PrintTo(const Class& tested, std::ostream* stream) {
    *stream << tested.name;
}

std::span<const Class> Classes() {
    return classes;
}

} // namespace comparison
