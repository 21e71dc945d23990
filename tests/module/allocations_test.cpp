// How many allocations each member makes, late-bound and through the vtable: those of the DLL and those that COM makes
// for it. They are the same on every machine. tools/bench prints the table, too.

#include <array>
#include <cstdio>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <windows.h>

#include <atlbase.h>
#include <comdef.h>
#include <gtest/gtest.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "tests/core/textfiles.h"
#include "tests/module/dll.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"
#include "tests/support/module_faults.h"

namespace {

using support::Bstr;

constexpr WORD get = DISPATCH_PROPERTYGET;
constexpr WORD put = DISPATCH_PROPERTYPUT;
constexpr WORD method = DISPATCH_METHOD;

/// A late-bound call, made ready so that the call itself is all that allocates.
class PreparedCall {
  public:
    PreparedCall(const CComPtr<IDispatch>& object, const wchar_t* member, WORD kind, std::vector<_variant_t> arguments)
        : m_object(object), m_kind(kind), m_arguments(arguments.rbegin(), arguments.rend()) {
        auto* name = const_cast<LPOLESTR>(member);
        EXPECT_EQ(Result(object->GetIDsOfNames(IID_NULL, &name, 1, 0x0409, &m_id)), Result(S_OK)) << m_id;
    }

    void operator()() {
        DISPID newValue = DISPID_PROPERTYPUT;
        DISPPARAMS parameters = {m_arguments.data(), &newValue, static_cast<UINT>(m_arguments.size()),
                                 m_kind == put ? 1U : 0U};
        VARIANT result = {};
        const HRESULT hr = m_object->Invoke(m_id, IID_NULL, 0x0409, m_kind, &parameters, &result, nullptr, nullptr);
        VariantClear(&result);
        ASSERT_EQ(Result(hr), Result(S_OK));
    }

  private:
    CComPtr<IDispatch> m_object;
    DISPID m_id = DISPID_UNKNOWN;
    WORD m_kind;
    std::vector<_variant_t> m_arguments;
};

using Objects = std::function<CComPtr<IDispatch>(const CLSID&)>;
using Use = std::function<void(IDispatch*)>;

/// A use of an object through the vtable of its interface.
template <class Interface> Use Directly(void (*use)(Interface&)) {
    return [use](IDispatch* object) { use(*static_cast<Interface*>(object)); };
}

struct Row {
    const char* name;
    const CLSID* clsid;
    Use prepare;
    const wchar_t* member;
    WORD kind;
    std::vector<_variant_t> arguments;
    Use direct;
    std::size_t lateBound; ///< allocations
    std::size_t vtable;

    friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }
};

/// The BSTR that a call gives, which is freed.
template <class Interface, class... Parameters, class... Arguments>
void Read(Interface& object, HRESULT (STDMETHODCALLTYPE Interface::*member)(Parameters...), Arguments... arguments) {
    BSTR text = nullptr;
    EXPECT_EQ(Result((object.*member)(arguments..., &text)), Result(S_OK));
    SysFreeString(text);
}

const Bstr comma(L",");
const Bstr fields(L"one,two,three");
const Bstr padded(L"  padded  ");
const Bstr word(L"word");

const Use nothing = [](IDispatch*) {};
const Use padString = Directly<INXString>([](INXString& string) { string.put_Value(padded); });
const Use fillString = Directly<INXString>([](INXString& string) { string.put_Value(word); });
const Use setSeparator = Directly<INXTokenString>([](INXTokenString& tokens) { tokens.put_Separator(comma); });
const Use fillTokens = Directly<INXTokenString>([](INXTokenString& tokens) {
    tokens.put_Separator(comma);
    tokens.put_Value(fields);
});
/// Three strings, and room for a fourth.
const Use fillList = Directly<INXStringList>([](INXStringList& list) {
    for (int i = 0; i < 3; ++i) {
        list.Add(word);
    }
});

/// A file with lines that are not comments; one of them has been read, and one as long has been written.
const Use openLines = Directly<INXFileStream>([](INXFileStream& stream) {
    static const support::TemporaryFolder folder;
    const std::wstring path = folder / L"lines.txt";
    support::WriteBytes(path, "first line\r\nsecond line\r\nthird line\r\n");
    VARIANT_BOOL done = VARIANT_FALSE;
    stream.Open(Bstr(path), VARIANT_FALSE, &done);
    EXPECT_EQ(done, VARIANT_TRUE);
    stream.WriteLine(word, &done);
    BSTR lent = nullptr;
    stream.ReadNextLine(&lent);
});
const Use fillObjects = Directly<INXTokenStringList>([](INXTokenStringList& list) {
    for (int i = 0; i < 3; ++i) {
        INXTokenString* lent = nullptr;
        list.AddNew(&lent);
    }
});
const Use fillStreams = Directly<INXFileStreamList>([](INXFileStreamList& list) {
    for (int i = 0; i < 3; ++i) {
        CComPtr<INXFileStream> stream;
        list.AddNew(&stream);
    }
});
/// Three strings that live as long as the program, and room for a fourth.
const Use fillValues = Directly<INXVariantCollection>([](INXVariantCollection& values) {
    for (int i = 0; i < 3; ++i) {
        VARIANT lent = {};
        V_VT(&lent) = VT_BSTR;
        V_BSTR(&lent) = word;
        values.Add(lent, 0);
    }
});

std::vector<Row> Rows() {
    return {
        {"NXString.Value, read",
         &CLSID_NXString,
         fillString,
         L"Value",
         get,
         {},
         Directly<INXString>([](INXString& string) { Read(string, &INXString::get_Value); }),
         1,
         1},
        {"NXString.Value, written",
         &CLSID_NXString,
         fillString,
         L"Value",
         put,
         {L"text"},
         Directly<INXString>([](INXString& string) { string.put_Value(word); }),
         1,
         1},
        {"NXString.Length",
         &CLSID_NXString,
         fillString,
         L"Length",
         get,
         {},
         Directly<INXString>([](INXString& string) {
             long length = 0;
             string.get_Length(&length);
         }),
         0,
         0},
        {"NXString.Left",
         &CLSID_NXString,
         fillString,
         L"Left",
         method,
         {2L},
         Directly<INXString>([](INXString& string) { Read(string, &INXString::Left, 2); }),
         1,
         1},
        {"NXString.Right",
         &CLSID_NXString,
         fillString,
         L"Right",
         method,
         {2L},
         Directly<INXString>([](INXString& string) { Read(string, &INXString::Right, 2); }),
         1,
         1},
        {"NXString.Mid",
         &CLSID_NXString,
         fillString,
         L"Mid",
         method,
         {1L, 2L},
         Directly<INXString>([](INXString& string) { Read(string, &INXString::Mid, 1, 2); }),
         1,
         1},
        {"NXString.Trim",
         &CLSID_NXString,
         padString,
         L"Trim",
         method,
         {},
         Directly<INXString>([](INXString& string) {
             int count = 0;
             string.Trim(&count);
         }),
         1,
         1},
        {"NXString.Trim, nothing to trim",
         &CLSID_NXString,
         fillString,
         L"Trim",
         method,
         {},
         Directly<INXString>([](INXString& string) {
             int count = 0;
             string.Trim(&count);
         }),
         0,
         0},
        {"NXString.Clear",
         &CLSID_NXString,
         fillString,
         L"Clear",
         method,
         {},
         Directly<INXString>([](INXString& string) { string.Clear(); }),
         0,
         0},

        {"NXStringList.Add",
         &CLSID_NXStringList,
         fillList,
         L"Add",
         method,
         {L"word"},
         Directly<INXStringList>([](INXStringList& list) { list.Add(word); }),
         2,
         2},
        {"NXStringList.Item, read",
         &CLSID_NXStringList,
         fillList,
         L"Item",
         get,
         {1L},
         Directly<INXStringList>([](INXStringList& list) { Read(list, &INXStringList::get_Item, 1); }),
         1,
         1},
        {"NXStringList.Item, written",
         &CLSID_NXStringList,
         fillList,
         L"Item",
         put,
         {1L, L"word"},
         Directly<INXStringList>([](INXStringList& list) { list.put_Item(1, word); }),
         1,
         1},
        {"NXStringList.Remove",
         &CLSID_NXStringList,
         fillList,
         L"Remove",
         method,
         {1L},
         Directly<INXStringList>([](INXStringList& list) { list.Remove(1); }),
         0,
         0},
        {"NXStringList.Count",
         &CLSID_NXStringList,
         fillList,
         L"Count",
         get,
         {},
         Directly<INXStringList>([](INXStringList& list) {
             long count = 0;
             list.get_Count(&count);
         }),
         0,
         0},

        {"NXTokenString.Value, written (3 tokens)",
         &CLSID_NXTokenString,
         setSeparator,
         L"Value",
         put,
         {L"one,two,three"},
         Directly<INXTokenString>([](INXTokenString& tokens) { tokens.put_Value(fields); }),
         1 + 3 * 2,
         1 + 3 * 2},
        {"NXTokenString.Value, read",
         &CLSID_NXTokenString,
         fillTokens,
         L"Value",
         get,
         {},
         Directly<INXTokenString>([](INXTokenString& tokens) { Read(tokens, &INXTokenString::get_Value); }),
         1,
         1},
        {"NXTokenString.Token",
         &CLSID_NXTokenString,
         fillTokens,
         L"Token",
         get,
         {1L},
         Directly<INXTokenString>([](INXTokenString& tokens) { Read(tokens, &INXTokenString::get_Token, 1L); }),
         1,
         1},
        {"NXTokenString.Count",
         &CLSID_NXTokenString,
         fillTokens,
         L"Count",
         get,
         {},
         Directly<INXTokenString>([](INXTokenString& tokens) {
             long count = 0;
             tokens.get_Count(&count);
         }),
         0,
         0},
        {"NXTokenString.MultiCharacter, read",
         &CLSID_NXTokenString,
         fillTokens,
         L"MultiCharacter",
         get,
         {},
         Directly<INXTokenString>([](INXTokenString& tokens) {
             VARIANT_BOOL multiCharacter = VARIANT_FALSE;
             tokens.get_MultiCharacter(&multiCharacter);
         }),
         0,
         0},

        {"NXTokenString.Separator, read",
         &CLSID_NXTokenString,
         fillTokens,
         L"Separator",
         get,
         {},
         Directly<INXTokenString>([](INXTokenString& tokens) { Read(tokens, &INXTokenString::get_Separator); }),
         1,
         1},
        // Twice a BSTR and a record, for the joined value and the separator; the tokens as above.
        {"NXTokenString.Separator, written (3 tokens)",
         &CLSID_NXTokenString,
         fillTokens,
         L"Separator",
         put,
         {L","},
         Directly<INXTokenString>([](INXTokenString& tokens) { tokens.put_Separator(comma); }),
         2 * 2 + 3 * 2,
         2 * 2 + 3 * 2},
        // The token, and another one to try whether it can be split.
        {"NXTokenString.Add",
         &CLSID_NXTokenString,
         fillTokens,
         L"Add",
         method,
         {L"word"},
         Directly<INXTokenString>([](INXTokenString& tokens) { tokens.Add(word); }),
         4,
         4},

        {"NXFileStream.ReadNextLine",
         &CLSID_NXFileStream,
         openLines,
         L"ReadNextLine",
         method,
         {},
         Directly<INXFileStream>([](INXFileStream& stream) {
             BSTR lent = nullptr;
             stream.ReadNextLine(&lent);
         }),
         1,
         1},
        {"NXFileStream.WriteLine",
         &CLSID_NXFileStream,
         openLines,
         L"WriteLine",
         method,
         {L"word"},
         Directly<INXFileStream>([](INXFileStream& stream) {
             VARIANT_BOOL written = VARIANT_FALSE;
             stream.WriteLine(word, &written);
         }),
         0,
         0},
        {"NXFileStream.IsEOF",
         &CLSID_NXFileStream,
         openLines,
         L"IsEOF",
         method,
         {},
         Directly<INXFileStream>([](INXFileStream& stream) {
             VARIANT_BOOL ended = VARIANT_FALSE;
             stream.IsEOF(&ended);
         }),
         0,
         0},
        {"NXFileStream.IsCommentLine",
         &CLSID_NXFileStream,
         openLines,
         L"IsCommentLine",
         method,
         {L"# word"},
         Directly<INXFileStream>([](INXFileStream& stream) {
             VARIANT_BOOL isComment = VARIANT_FALSE;
             stream.IsCommentLine(word, &isComment);
         }),
         0,
         0},
        {"NXFileStream.UngetLine",
         &CLSID_NXFileStream,
         openLines,
         L"UngetLine",
         method,
         {},
         Directly<INXFileStream>([](INXFileStream& stream) {
             VARIANT_BOOL moved = VARIANT_FALSE;
             stream.UngetLine(&moved);
         }),
         0,
         0},
        {"NXFileStream.fileName",
         &CLSID_NXFileStream,
         openLines,
         L"fileName",
         get,
         {},
         Directly<INXFileStream>([](INXFileStream& stream) { Read(stream, &INXFileStream::get_fileName); }),
         1,
         1},

        {"NXTokenStringList.Item",
         &CLSID_NXTokenStringList,
         fillObjects,
         L"Item",
         get,
         {1L},
         Directly<INXTokenStringList>([](INXTokenStringList& list) {
             CComPtr<INXTokenString> tokens;
             list.get_Item(1, &tokens);
         }),
         0,
         0},
        // The object; the list has room.
        {"NXTokenStringList.AddNew",
         &CLSID_NXTokenStringList,
         fillObjects,
         L"AddNew",
         method,
         {},
         Directly<INXTokenStringList>([](INXTokenStringList& list) {
             INXTokenString* lent = nullptr;
             list.AddNew(&lent);
         }),
         1,
         1},
        {"NXTokenStringList.Count",
         &CLSID_NXTokenStringList,
         fillObjects,
         L"Count",
         get,
         {},
         Directly<INXTokenStringList>([](INXTokenStringList& list) {
             long count = 0;
             list.get_Count(&count);
         }),
         0,
         0},
        {"NXTokenStringList.Remove",
         &CLSID_NXTokenStringList,
         fillObjects,
         L"Remove",
         method,
         {1L},
         Directly<INXTokenStringList>([](INXTokenStringList& list) { list.Remove(1); }),
         0,
         0},
        {"NXFileStreamList.AddNew",
         &CLSID_NXFileStreamList,
         fillStreams,
         L"AddNew",
         method,
         {},
         Directly<INXFileStreamList>([](INXFileStreamList& list) {
             CComPtr<INXFileStream> stream;
             list.AddNew(&stream);
         }),
         1,
         1},
        {"NXFileStreamList.Item",
         &CLSID_NXFileStreamList,
         fillStreams,
         L"Item",
         get,
         {1L},
         Directly<INXFileStreamList>([](INXFileStreamList& list) {
             CComPtr<INXFileStream> stream;
             list.get_Item(1, &stream);
         }),
         0,
         0},

        // Late-bound the collection has a copy of its own.
        {"NXVariantCollection.Add of text",
         &CLSID_NXVariantCollection,
         fillValues,
         L"Add",
         method,
         {L"word"},
         Directly<INXVariantCollection>([](INXVariantCollection& values) {
             VARIANT lent = {};
             values.Add(lent, 0);
         }),
         1,
         0},
        {"NXVariantCollection.Item of text",
         &CLSID_NXVariantCollection,
         fillValues,
         L"Item",
         get,
         {1L},
         Directly<INXVariantCollection>([](INXVariantCollection& values) {
             _variant_t value;
             values.get_Item(1, &value);
         }),
         1,
         1},
        {"NXVariantCollection.Count",
         &CLSID_NXVariantCollection,
         fillValues,
         L"Count",
         get,
         {},
         Directly<INXVariantCollection>([](INXVariantCollection& values) {
             long count = 0;
             values.get_Count(&count);
         }),
         0,
         0},
        {"NXVariantCollection.Remove",
         &CLSID_NXVariantCollection,
         fillValues,
         L"Remove",
         method,
         {1L},
         Directly<INXVariantCollection>([](INXVariantCollection& values) { values.Remove(1); }),
         0,
         0},
    };
}

class Allocations : public testing::Test {
  protected:
    void SetUp() override {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        static_cast<void>(support::CountLiveAllocations()); // BSTRs are counted from now on
        support::FollowAllocations(m_dll.Module());
    }
    void TearDown() override { CoUninitialize(); }

    CComPtr<IDispatch> NewObject(const CLSID& clsid) const {
        for (const Class& row : classes) {
            if (*row.clsid == clsid) {
                return m_dll.Object(row);
            }
        }
        return nullptr;
    }

    /// How many allocations the second call makes. What the first call of its kind makes once is left out.
    std::size_t LateBound(const Row& row) const {
        std::size_t count = 0;
        for (int i = 0; i < 2; ++i) {
            const auto object = NewObject(*row.clsid);
            row.prepare(object);
            PreparedCall call(object, row.member, row.kind, row.arguments);
            count = support::CountRequests(call);
        }
        return count;
    }
    std::size_t Direct(const Row& row) const {
        std::size_t count = 0;
        for (int i = 0; i < 2; ++i) {
            const auto object = NewObject(*row.clsid);
            row.prepare(object);
            count = support::CountRequests([&] { row.direct(object); });
        }
        return count;
    }

    const Dll m_dll;
};

TEST_F(Allocations, OfEachMember_AreThoseOfItsResult) {
    std::printf("| Allocations of | late-bound | through the vtable |\n|---|---|---|\n");
    for (const Row& row : Rows()) {
        const std::size_t lateBound = LateBound(row);
        const std::size_t direct = Direct(row);
        std::printf("| %s | %zu | %zu |\n", row.name, lateBound, direct);
        EXPECT_EQ(lateBound, row.lateBound) << row;
        EXPECT_EQ(direct, row.vtable) << row;
    }
}

TEST_F(Allocations, OfAGrowingList_AreTwoAStringAndTheDoublingArray) {
    const auto object = NewObject(CLSID_NXStringList);
    PreparedCall add(object, L"Add", method, {L"word"});
    constexpr std::size_t count = 1'024;
    EXPECT_EQ(support::CountRequests([&] {
                  for (std::size_t i = 0; i < count; ++i) {
                      add();
                  }
              }),
              2 * count + 11); // room for 1, 2, 4 ... 1,024
}

TEST_F(Allocations, OfAnEnumerator_AreItselfAndEachString) {
    const auto object = NewObject(CLSID_NXStringList);
    fillList(object);
    CComPtr<IUnknown> created;
    EXPECT_EQ(support::CountRequests([&] { static_cast<INXStringList*>(object.p)->get__NewEnum(&created); }), 1U);
    CComPtr<IEnumVARIANT> enumerator;
    ASSERT_EQ(Result(created->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator))), Result(S_OK));
    std::array<VARIANT, 3> elements = {};
    EXPECT_EQ(support::CountRequests([&] { enumerator->Next(1, elements.data(), nullptr); }), 1U);
    ULONG fetched = 0;
    EXPECT_EQ(support::CountRequests([&] { enumerator->Next(2, &elements[1], &fetched); }), 2U);
    for (VARIANT& element : elements) {
        EXPECT_BSTR(V_BSTR(&element), L"word");
        VariantClear(&element);
    }
}

TEST_F(Allocations, OfNames_AreNone) {
    for (const Class& row : classes) {
        const auto object = NewObject(*row.clsid);
        auto* name = const_cast<LPOLESTR>(row.member);
        DISPID id = DISPID_UNKNOWN;
        EXPECT_EQ(support::CountRequests([&] { object->GetIDsOfNames(IID_NULL, &name, 1, 0x0409, &id); }), 0U) << row;
        EXPECT_NE(id, DISPID_UNKNOWN);
    }
}

} // namespace
