// The number of allocations that each member makes, late-bound and through the vtable: those of the DLL and those that
// COM makes for it. They are the same on every machine. tools/bench prints the table.

#include <array>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
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

/// A late-bound call. The DISPID and the arguments are made before it, so that only the call allocates.
class PreparedCall {
  public:
    PreparedCall(const CComPtr<IDispatch>& object, const std::wstring& member, WORD kind,
                 const std::vector<_variant_t>& arguments)
        : m_object(object), m_kind(kind), m_arguments(arguments.rbegin(), arguments.rend()) {
        auto* name = const_cast<LPOLESTR>(member.c_str());
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

using Use = std::function<void(IDispatch*)>;

/// The state of an object before the call that is counted.
struct State {
    const char* className;
    const CLSID* clsid;
    Use prepare;
};

template <class Interface> Use Prepare(void (*prepare)(Interface&)) {
    return [prepare](IDispatch* object) { prepare(*static_cast<Interface*>(object)); };
}

const Bstr comma(L",");
const Bstr fields(L"one,two,three");
const Bstr padded(L"  padded  ");
const Bstr word(L"word");

const State string = {"NXString", &CLSID_NXString, Prepare<INXString>([](INXString& made) { made.put_Value(word); })};
const State paddedString = {"NXString", &CLSID_NXString,
                            Prepare<INXString>([](INXString& made) { made.put_Value(padded); })};
/// Three strings, and room for a fourth.
const State list = {"NXStringList", &CLSID_NXStringList, Prepare<INXStringList>([](INXStringList& made) {
                        for (int i = 0; i < 3; ++i) {
                            made.Add(word);
                        }
                    })};
const State noTokens = {"NXTokenString", &CLSID_NXTokenString,
                        Prepare<INXTokenString>([](INXTokenString& made) { made.put_Separator(comma); })};
const State tokens = {"NXTokenString", &CLSID_NXTokenString, Prepare<INXTokenString>([](INXTokenString& made) {
                          made.put_Separator(comma);
                          made.put_Value(fields);
                      })};
/// A file with lines that are not comments; one of them has been read, and one as long has been written.
const State file = {"NXFileStream", &CLSID_NXFileStream, Prepare<INXFileStream>([](INXFileStream& made) {
                        static const support::TemporaryFolder folder;
                        const std::wstring path = folder / L"lines.txt";
                        support::WriteBytes(path, "first line\r\nsecond line\r\nthird line\r\n");
                        VARIANT_BOOL done = VARIANT_FALSE;
                        made.Open(Bstr(path), VARIANT_FALSE, &done);
                        EXPECT_EQ(done, VARIANT_TRUE);
                        made.WriteLine(word, &done);
                        BSTR lent = nullptr;
                        made.ReadNextLine(&lent);
                    })};
const State objects = {"NXTokenStringList", &CLSID_NXTokenStringList,
                       Prepare<INXTokenStringList>([](INXTokenStringList& made) {
                           for (int i = 0; i < 3; ++i) {
                               INXTokenString* lent = nullptr;
                               made.AddNew(&lent);
                           }
                       })};
const State streams = {"NXFileStreamList", &CLSID_NXFileStreamList,
                       Prepare<INXFileStreamList>([](INXFileStreamList& made) {
                           for (int i = 0; i < 3; ++i) {
                               CComPtr<INXFileStream> stream;
                               made.AddNew(&stream);
                           }
                       })};
/// Three strings that live as long as the program, and room for a fourth.
const State values = {"NXVariantCollection", &CLSID_NXVariantCollection,
                      Prepare<INXVariantCollection>([](INXVariantCollection& made) {
                          for (int i = 0; i < 3; ++i) {
                              VARIANT lent = {};
                              V_VT(&lent) = VT_BSTR;
                              V_BSTR(&lent) = word;
                              made.Add(lent, 0);
                          }
                      })};

void Free(BSTR text) {
    SysFreeString(text);
}
void Free(IUnknown* object) {
    object->Release();
}
void Free(VARIANT& value) {
    VariantClear(&value);
}
template <class Number>
requires std::is_arithmetic_v<Number>
void Free(Number /*result*/) {}

enum class Ownership { Callers, Lent };

/// A call through the vtable. The caller frees the result, if there is one, unless it is lent.
template <Ownership ownership = Ownership::Callers, class Interface, class... Parameters, class... Arguments>
Use Call(HRESULT (STDMETHODCALLTYPE Interface::*member)(Parameters...), Arguments... arguments) {
    return [=](IDispatch* object) {
        auto& called = *static_cast<Interface*>(object);
        if constexpr (sizeof...(Parameters) == sizeof...(Arguments)) {
            EXPECT_EQ(Result((called.*member)(arguments...)), Result(S_OK));
        } else {
            using Out = std::tuple_element_t<sizeof...(Arguments), std::tuple<Parameters...>>;
            std::remove_pointer_t<Out> result = {};
            EXPECT_EQ(Result((called.*member)(arguments..., &result)), Result(S_OK));
            if constexpr (ownership == Ownership::Callers) {
                Free(result);
            }
        }
    };
}

struct Row {
    const State& state;
    std::string_view member; ///< its name, which a comma or a blank ends, and a remark
    WORD kind;
    std::vector<_variant_t> arguments;
    Use direct;
    std::size_t lateBound; ///< allocations
    std::size_t vtable;

    [[nodiscard]] std::string Name() const { return std::string(state.className) + "." + std::string(member); }
    [[nodiscard]] std::wstring MemberName() const {
        const std::string_view name = member.substr(0, member.find_first_of(", "));
        return {name.begin(), name.end()};
    }
};

std::vector<Row> Rows() {
    constexpr auto lent = Ownership::Lent;
    const BSTR text = word;
    const BSTR separator = comma;
    const BSTR value = fields;
    return {
        {string, "Value, read", get, {}, Call(&INXString::get_Value), 1, 1},
        {string, "Value, written", put, {L"text"}, Call(&INXString::put_Value, text), 1, 1},
        {string, "Length", get, {}, Call(&INXString::get_Length), 0, 0},
        {string, "Left", method, {2L}, Call(&INXString::Left, 2), 1, 1},
        {string, "Right", method, {2L}, Call(&INXString::Right, 2), 1, 1},
        {string, "Mid", method, {1L, 2L}, Call(&INXString::Mid, 1, 2), 1, 1},
        {paddedString, "Trim", method, {}, Call(&INXString::Trim), 1, 1},
        {string, "Trim, nothing to trim", method, {}, Call(&INXString::Trim), 0, 0},
        {string, "Clear", method, {}, Call(&INXString::Clear), 0, 0},

        {list, "Add", method, {L"word"}, Call(&INXStringList::Add, text), 2, 2},
        {list, "Item, read", get, {1L}, Call(&INXStringList::get_Item, 1), 1, 1},
        {list, "Item, written", put, {1L, L"word"}, Call(&INXStringList::put_Item, 1, text), 1, 1},
        {list, "Remove", method, {1L}, Call(&INXStringList::Remove, 1), 0, 0},
        {list, "Count", get, {}, Call(&INXStringList::get_Count), 0, 0},

        // The value, and a record and a BSTR for each token.
        {noTokens, "Value, written (3 tokens)", put, {L"one,two,three"}, Call(&INXTokenString::put_Value, value), 7, 7},
        {tokens, "Value, read", get, {}, Call(&INXTokenString::get_Value), 1, 1},
        {tokens, "Token", get, {1L}, Call(&INXTokenString::get_Token, 1L), 1, 1},
        {tokens, "Count", get, {}, Call(&INXTokenString::get_Count), 0, 0},
        {tokens, "MultiCharacter, read", get, {}, Call(&INXTokenString::get_MultiCharacter), 0, 0},
        {tokens, "Separator, read", get, {}, Call(&INXTokenString::get_Separator), 1, 1},
        // A record and a BSTR for the joined value, the separator, and each token.
        {tokens, "Separator, written (3 tokens)", put, {L","}, Call(&INXTokenString::put_Separator, separator), 10, 10},
        // A record and a BSTR for the token, and for the attempt to split it.
        {tokens, "Add", method, {L"word"}, Call(&INXTokenString::Add, text), 4, 4},

        {file, "ReadNextLine", method, {}, Call<lent>(&INXFileStream::ReadNextLine), 1, 1},
        {file, "WriteLine", method, {L"word"}, Call(&INXFileStream::WriteLine, text), 0, 0},
        {file, "IsEOF", method, {}, Call(&INXFileStream::IsEOF), 0, 0},
        {file, "IsCommentLine", method, {L"# word"}, Call(&INXFileStream::IsCommentLine, text), 0, 0},
        {file, "UngetLine", method, {}, Call(&INXFileStream::UngetLine), 0, 0},
        {file, "fileName", get, {}, Call(&INXFileStream::get_fileName), 1, 1},

        {objects, "Item", get, {1L}, Call(&INXTokenStringList::get_Item, 1L), 0, 0},
        // The object; the list has room.
        {objects, "AddNew", method, {}, Call<lent>(&INXTokenStringList::AddNew), 1, 1},
        {objects, "Count", get, {}, Call(&INXTokenStringList::get_Count), 0, 0},
        {objects, "Remove", method, {1L}, Call(&INXTokenStringList::Remove, 1L), 0, 0},
        {streams, "AddNew", method, {}, Call(&INXFileStreamList::AddNew), 1, 1},
        {streams, "Item", get, {1L}, Call(&INXFileStreamList::get_Item, 1L), 0, 0},

        // Late-bound the collection copies the string.
        {values, "Add of text", method, {L"word"}, Call(&INXVariantCollection::Add, VARIANT{}, 0L), 1, 0},
        {values, "Item of text", get, {1L}, Call(&INXVariantCollection::get_Item, 1L), 1, 1},
        {values, "Count", get, {}, Call(&INXVariantCollection::get_Count), 0, 0},
        {values, "Remove", method, {1L}, Call(&INXVariantCollection::Remove, 1L), 0, 0},
    };
}

class Allocations : public testing::Test {
  protected:
    void SetUp() override {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        static_cast<void>(support::CountLiveAllocations()); // BSTRs are counted from now on
        support::TrackAllocations(m_dll.Module());
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

    /// The allocations of the second call. The first one of its kind may make some that are made once.
    std::size_t LateBound(const Row& row) const {
        std::size_t count = 0;
        for (int i = 0; i < 2; ++i) {
            const auto object = NewObject(*row.state.clsid);
            row.state.prepare(object);
            PreparedCall call(object, row.MemberName(), row.kind, row.arguments);
            count = support::CountRequests(call);
        }
        return count;
    }
    std::size_t Direct(const Row& row) const {
        std::size_t count = 0;
        for (int i = 0; i < 2; ++i) {
            const auto object = NewObject(*row.state.clsid);
            row.state.prepare(object);
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
        std::printf("| %s | %zu | %zu |\n", row.Name().c_str(), lateBound, direct);
        EXPECT_EQ(lateBound, row.lateBound) << row.Name();
        EXPECT_EQ(direct, row.vtable) << row.Name();
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
    list.prepare(object);
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
