/// The classes of the registered DLL as clients whose members a test calls with either binding; see
/// tests/automation/client.h. The lists of automation objects are in tests/automation/objectlist.h.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/dispids.h"
#include "tests/support/bstr.h"

namespace support {

class String : public Client<INXString> {
  public:
    static REFCLSID Clsid() { return CLSID_NXString; }
    static void WarmUp() {
        support::WarmUp(Clsid(), {.member = StringId::Mid, .arguments = {9, 9}},
                        {.member = StringId::Left, .arguments = {1}});
    }

    explicit String(Binding binding) : Client(binding, Clsid()) {}
    String(Binding binding, const wchar_t* value) : String(binding) { SetValue(value); }

    int TrimLeft() const { return CallFor<int>(L"TrimLeft", &INXString::TrimLeft); }
    int TrimRight() const { return CallFor<int>(L"TrimRight", &INXString::TrimRight); }
    int Trim() const { return CallFor<int>(L"Trim", &INXString::Trim); }
    Bstr Left(int length) const { return CallFor<BSTR>(L"Left", &INXString::Left, length); }
    Bstr Right(int length) const { return CallFor<BSTR>(L"Right", &INXString::Right, length); }
    Bstr Mid(int start, int length) const { return CallFor<BSTR>(L"Mid", &INXString::Mid, start, length); }
    void Clear() const { Call(L"Clear", &INXString::Clear); }
    Bstr Value() const { return Get<BSTR>(L"Value", &INXString::get_Value); }
    void SetValue(BSTR value) const { Put(L"Value", &INXString::put_Value, value); }
    /// A null `value` stands for a null BSTR.
    void SetValue(const wchar_t* value) const { SetValue(value == nullptr ? Bstr() : Bstr(value)); }
    void SetValue(const Bstr& value) const { SetValue(static_cast<BSTR>(value)); }
    void SetNullValue() const { SetValue(static_cast<BSTR>(nullptr)); }
    long Length() const { return Get<long>(L"Length", &INXString::get_Length); }
};

class TokenString : public Client<INXTokenString> {
  public:
    static REFCLSID Clsid() { return CLSID_NXTokenString; }
    static void WarmUp() {
        support::WarmUp(Clsid(), {.member = TokenStringId::Token, .flags = DISPATCH_PROPERTYGET, .arguments = {5}},
                        {.member = TokenStringId::Add, .arguments = {L"x"}});
    }

    explicit TokenString(Binding binding) : Client(binding, Clsid()) {}
    TokenString(Binding binding, const wchar_t* separator, const wchar_t* value) : TokenString(binding) {
        SetSeparator(separator);
        SetValue(value);
    }

    Bstr Value() const { return Get<BSTR>(L"Value", &INXTokenString::get_Value); }
    void SetValue(BSTR value) const { Put(L"Value", &INXTokenString::put_Value, value); }
    void SetValue(const wchar_t* value) const { SetValue(static_cast<BSTR>(Bstr(value))); }
    Bstr Separator() const { return Get<BSTR>(L"Separator", &INXTokenString::get_Separator); }
    void SetSeparator(BSTR value) const { Put(L"Separator", &INXTokenString::put_Separator, value); }
    void SetSeparator(const wchar_t* value) const { SetSeparator(static_cast<BSTR>(Bstr(value))); }
    VARIANT_BOOL MultiCharacter() const {
        return Get<VARIANT_BOOL>(L"MultiCharacter", &INXTokenString::get_MultiCharacter);
    }
    void SetMultiCharacter(VARIANT_BOOL value) const {
        Put(L"MultiCharacter", &INXTokenString::put_MultiCharacter, value);
    }
    void Add(BSTR token) const { Call(L"Add", &INXTokenString::Add, token); }
    void Add(const wchar_t* token) const { Add(static_cast<BSTR>(Bstr(token))); }
    long Count() const { return Get<long>(L"Count", &INXTokenString::get_Count); }
    Bstr Token(long n) const { return Get<BSTR>(DISPID_VALUE, &INXTokenString::get_Token, n); }
    CComPtr<IEnumVARIANT> NewEnum() const {
        return EnumeratorOf(Get<IUnknown*>(DISPID_NEWENUM, &INXTokenString::get__NewEnum));
    }

    template <class Action> [[nodiscard]] ::testing::AssertionResult RefusesIndex(Action action) const {
        return IsRefused(L"Index out of bounds!", L"Nuvolex.NXTokenString.1", action);
    }

    /// All tokens, read one by one.
    [[nodiscard]] std::vector<std::wstring> All() const {
        std::vector<std::wstring> all;
        for (long n = 0; n < Count(); ++n) {
            all.push_back(ToString(Token(n)));
        }
        return all;
    }
};

class StringList : public Client<INXStringList> {
  public:
    static REFCLSID Clsid() { return CLSID_NXStringList; }
    static void WarmUp() {
        support::WarmUp(Clsid(), {.member = StringListId::Remove, .arguments = {5}},
                        {.member = StringListId::Add, .arguments = {L"x"}});
    }

    explicit StringList(Binding binding, std::initializer_list<const wchar_t*> strings = {})
        : Client(binding, Clsid()) {
        for (const wchar_t* const string : strings) {
            Add(string);
        }
    }

    Bstr Item(int index) const { return Get<BSTR>(L"Item", &INXStringList::get_Item, index); }
    void SetItem(int index, BSTR value) const { Put(L"Item", &INXStringList::put_Item, index, value); }
    void SetItem(int index, const wchar_t* value) const { SetItem(index, static_cast<BSTR>(Bstr(value))); }
    Bstr New() const { return Get<BSTR>(L"New", &INXStringList::get_New); }
    void SetNew(BSTR value) const { Put(L"New", &INXStringList::put_New, value); }
    void SetNew(const wchar_t* value) const { SetNew(static_cast<BSTR>(Bstr(value))); }
    void Remove(int index) const { Call(L"Remove", &INXStringList::Remove, index); }
    long Count() const { return Get<long>(L"Count", &INXStringList::get_Count); }
    Bstr DefaultItem(long index) const { return Get<BSTR>(DISPID_VALUE, &INXStringList::get__Item, index); }
    CComPtr<IEnumVARIANT> NewEnum() const {
        return EnumeratorOf(Get<IUnknown*>(DISPID_NEWENUM, &INXStringList::get__NewEnum));
    }
    void Add(BSTR value) const { Call(L"Add", &INXStringList::Add, value); }
    void Add(const wchar_t* value) const { Add(static_cast<BSTR>(Bstr(value))); }

    template <class Action> [[nodiscard]] ::testing::AssertionResult RefusesIndex(Action action) const {
        return IsRefused(L"Index out of bounds!", L"Nuvolex.NXStringList.1", action);
    }

    /// All strings, read one by one.
    [[nodiscard]] std::vector<std::wstring> All() const {
        std::vector<std::wstring> all;
        for (int index = 0; index < Count(); ++index) {
            all.push_back(ToString(Item(index)));
        }
        return all;
    }
};

class FileStream : public Client<INXFileStream> {
  public:
    static constexpr VARIANT_BOOL textMode = VARIANT_FALSE;
    static constexpr VARIANT_BOOL binaryMode = VARIANT_TRUE;

    static REFCLSID Clsid() { return CLSID_NXFileStream; }
    static void WarmUp() {
        support::WarmUp(Clsid(), {.member = FileStreamId::Open},
                        {.member = FileStreamId::IsCommentLine, .arguments = {L"x"}});
    }

    explicit FileStream(Binding binding) : Client(binding, Clsid()) {}

    void Clear() const { Call(L"Clear", &INXFileStream::Clear); }
    void Close() const { Call(L"Close", &INXFileStream::Close); }
    VARIANT_BOOL Flush() const { return CallFor<VARIANT_BOOL>(L"Flush", &INXFileStream::Flush); }
    VARIANT_BOOL IsCommentLine(const Bstr& line) const {
        return CallFor<VARIANT_BOOL>(L"IsCommentLine", &INXFileStream::IsCommentLine, static_cast<BSTR>(line));
    }
    VARIANT_BOOL IsCommentLine(std::wstring_view line) const { return IsCommentLine(Bstr(line)); }
    VARIANT_BOOL IsEOF() const { return CallFor<VARIANT_BOOL>(L"IsEOF", &INXFileStream::IsEOF); }
    VARIANT_BOOL IsOpen() const { return CallFor<VARIANT_BOOL>(L"IsOpen", &INXFileStream::IsOpen); }
    /// A copy that the caller owns, with either binding.
    Bstr ReadNextLine() const {
        if (GetBinding() == Binding::LateBound) {
            return CallFor<BSTR>(L"ReadNextLine", &INXFileStream::ReadNextLine);
        }
        const BSTR lent = LentLine();
        return lent == nullptr ? Bstr() : Bstr(std::wstring_view(lent, SysStringLen(lent)));
    }
    VARIANT_BOOL Open(const Bstr& fileName, VARIANT_BOOL mode = textMode) const {
        return CallFor<VARIANT_BOOL>(L"Open", &INXFileStream::Open, static_cast<BSTR>(fileName), mode);
    }
    VARIANT_BOOL Open(std::wstring_view fileName, VARIANT_BOOL mode = textMode) const {
        return Open(Bstr(fileName), mode);
    }
    VARIANT_BOOL UngetLine() const { return CallFor<VARIANT_BOOL>(L"UngetLine", &INXFileStream::UngetLine); }
    VARIANT_BOOL WriteLine(const Bstr& line) const {
        return CallFor<VARIANT_BOOL>(L"WriteLine", &INXFileStream::WriteLine, static_cast<BSTR>(line));
    }
    VARIANT_BOOL WriteLine(std::wstring_view line) const { return WriteLine(Bstr(line)); }
    Bstr FileName() const { return Get<BSTR>(L"fileName", &INXFileStream::get_fileName); }

    /// The result of ReadNextLine through the vtable, which the stream owns.
    BSTR LentLine() const {
        OLECHAR garbage[] = L"not a BSTR";
        BSTR line = garbage;
        Require(Raw()->ReadNextLine(&line), "ReadNextLine");
        return line;
    }

    /// The lines up to the end of the file. Stops after a hundred.
    [[nodiscard]] std::vector<std::wstring> Rest() const {
        std::vector<std::wstring> lines;
        while (IsEOF() == VARIANT_FALSE && lines.size() < 100) {
            const Bstr line = ReadNextLine();
            EXPECT_NE(static_cast<BSTR>(line), nullptr) << "A line that was read is not null.";
            lines.push_back(ToString(line));
        }
        return lines;
    }
};

/// A VARIANT as an argument or result of Client's functions.
struct Passed : VARIANT {};

inline Variant Packed(Passed& argument) {
    Variant packed;
    Require(VariantCopy(packed.Raw(), &argument), "VariantCopy");
    return packed;
}
inline void Unpack(Variant& value, Passed& result) {
    static_cast<VARIANT&>(result) = std::exchange(*value.Raw(), VARIANT{});
}
inline Variant Owned(const Passed& result) {
    Variant owner;
    *owner.Raw() = result;
    return owner;
}

class VariantCollection : public Client<INXVariantCollection> {
  public:
    static REFCLSID Clsid() { return CLSID_NXVariantCollection; }
    static void WarmUp() {
        support::WarmUp(Clsid(), {.member = CollectionId::Remove, .arguments = {5}},
                        {.member = CollectionId::Add, .arguments = {5}});
    }

    explicit VariantCollection(Binding binding, const std::vector<int>& numbers = {}) : Client(binding, Clsid()) {
        for (const int number : numbers) {
            Add(number);
        }
    }

    /// Late-bound the collection copies the value. Through the vtable it does not, so the value must outlive it.
    void Add(const Variant& value, long position = 0) const {
        Call(L"Add", &INXVariantCollection::Add, Passed{*value.Raw()}, position);
    }
    void Remove(long index = 0) const { Call(L"Remove", &INXVariantCollection::Remove, index); }
    long Count() const { return Get<long>(L"Count", &INXVariantCollection::get_Count); }
    Variant Item(long index) const { return Get<Passed>(L"Item", &INXVariantCollection::get_Item, index); }
    CComPtr<IEnumVARIANT> NewEnum() const {
        return EnumeratorOf(Get<IUnknown*>(DISPID_NEWENUM, &INXVariantCollection::get__NewEnum));
    }

    template <class Action> [[nodiscard]] ::testing::AssertionResult RefusesIndex(Action action) const {
        return IsRefused(L"Index out of bounds!", L"Nuvolex.NXVariantCollection.1", action);
    }
    [[nodiscard]] ::testing::AssertionResult RefusesPosition(long position) const {
        return IsRefused(L"Position invalid!", L"Nuvolex.NXVariantCollection.1", [&] { Add(99, position); });
    }

    /// All elements, which are numbers, read one by one.
    [[nodiscard]] std::vector<int> All() const {
        std::vector<int> all;
        for (long index = 1; index <= Count(); ++index) {
            all.push_back(Item(index).Int());
        }
        return all;
    }
};

} // namespace support
