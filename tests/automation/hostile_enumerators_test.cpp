// Enumerators of collections that change during the enumeration, with any number of elements at once.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "tests/automation/localobject.h"
#include "tests/support/bstr.h"

namespace {

using support::Bstr;
using support::DispatchObject;
using support::New;
using support::NewLateBound;
using support::Reply;
using support::Require;
using support::Variant;

/// A collection of numbered elements: how to add an element, remove all, and get the number of an element.
struct Kind {
    const char* name;
    std::function<DispatchObject()> create;
    std::function<void(const DispatchObject&, int number)> add;
    std::function<void(const DispatchObject&)> removeAll;
    std::function<int(const VARIANT&)> numberOf;

    friend std::ostream& operator<<(std::ostream& out, const Kind& kind) { return out << kind.name; }
};

int NumberOfText(const VARIANT& element) {
    return V_VT(&element) == VT_BSTR && V_BSTR(&element) != nullptr ? std::stoi(V_BSTR(&element)) : -1;
}

/// The number of an object that stores it in a string property.
int NumberOfObject(const VARIANT& element, const wchar_t* property) {
    if (V_VT(&element) != VT_DISPATCH || V_DISPATCH(&element) == nullptr) {
        return -1;
    }
    const Reply reply = DispatchObject(V_DISPATCH(&element)).Get(property);
    return reply.hr == S_OK ? std::stoi(reply.value.Text()) : -1;
}

void AddText(const DispatchObject& collection, int number) {
    Require(collection.Call(L"Add", std::to_wstring(number)).hr, "Add");
}

/// For collections whose first element is removed by Remove.
void RemoveEach(const DispatchObject& collection, int first) {
    while (collection.Get(L"Count").value.Int() > 0) {
        Require(collection.Call(L"Remove", first).hr, "Remove");
    }
}

const std::vector<Kind>& Kinds() {
    static const std::vector<Kind> kinds = {
        {"StringList", &NewLateBound<CNXStringList>, &AddText, [](const auto& list) { RemoveEach(list, 0); },
         &NumberOfText},
        {"TokenString", &NewLateBound<CNXTokenString>, &AddText,
         [](const auto& tokens) { Require(tokens.template As<INXTokenString>()->put_Value(nullptr), "put_Value"); },
         &NumberOfText},
        {"TokenStringList", &NewLateBound<CNXTokenStringList>,
         [](const auto& list, int number) {
             const Reply added = list.Call(L"AddNew");
             Require(DispatchObject(added.value.Object()).Put(L"Value", number).hr, "Value");
         },
         [](const auto& list) { RemoveEach(list, 0); },
         [](const VARIANT& element) { return NumberOfObject(element, L"Value"); }},
        {"FileStreamList", &NewLateBound<CNXFileStreamList>,
         [](const auto& list, int number) {
             const Reply added = list.Call(L"AddNew");
             Require(DispatchObject(added.value.Object()).Call(L"Open", std::to_wstring(number) + L"\\none", false).hr,
                     "Open");
         },
         [](const auto& list) { RemoveEach(list, 0); },
         [](const VARIANT& element) { return NumberOfObject(element, L"fileName"); }},
        {"VariantCollection", &NewLateBound<CNXVariantCollection>, &AddText,
         [](const auto& collection) { RemoveEach(collection, 1); }, &NumberOfText},
    };
    return kinds;
}

constexpr std::size_t roomForElements = 1'001;
const std::vector<unsigned char> garbage(roomForElements * sizeof(VARIANT), 0xCC);

/// A buffer for elements, full of garbage. It releases the elements received.
class Room {
  public:
    static constexpr std::size_t capacity = roomForElements;

    Room() : m_elements(capacity) { std::memset(m_elements.data(), 0xCC, capacity * sizeof(VARIANT)); }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;
    ~Room() {
        std::for_each_n(m_elements.begin(), fetched, [](VARIANT& element) { VariantClear(&element); });
    }

    VARIANT* Begin() { return m_elements.data(); }
    [[nodiscard]] std::span<const VARIANT> Received() const { return std::span(m_elements).first(fetched); }
    [[nodiscard]] bool RestIsUntouched() const {
        return std::memcmp(&m_elements[fetched], garbage.data(), (capacity - fetched) * sizeof(VARIANT)) == 0;
    }

    ULONG fetched = 0;

  private:
    std::vector<VARIANT> m_elements;
};

class HostileEnumeratorOf : public ::testing::TestWithParam<Kind> {
  protected:
    /// Makes the allocations that happen once in a process.
    static void SetUpTestSuite() {
        static_cast<void>(support::CountLiveAllocations());
        const ::testing::ScopedTrace trace(__FILE__, __LINE__, "first");
        const ::testing::ScopedTrace second(__FILE__, __LINE__, "second");
        EXPECT_NO_FATAL_FAILURE(static_cast<void>(Kinds()));
    }
    DispatchObject NewCollection(int count) const {
        const DispatchObject collection = GetParam().create();
        Append(collection, 0, count);
        return collection;
    }
    static void Append(const DispatchObject& collection, int from, int to) {
        for (int number = from; number < to; ++number) {
            GetParam().add(collection, number);
        }
    }
    /// Fills the collection with the numbers from 0 to `count` - 1, each at a new address.
    static void Refill(const DispatchObject& collection, int count) {
        GetParam().removeAll(collection);
        Append(collection, 0, count);
    }

    static CComPtr<IEnumVARIANT> EnumeratorAt(const DispatchObject& collection, ULONG position) {
        const Reply reply = collection.Get(DISPID_NEWENUM);
        Require(reply.hr, "_NewEnum");
        CComPtr<IEnumVARIANT> enumerator;
        Require(V_UNKNOWN(reply.value.Raw())->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)),
                "IEnumVARIANT");
        Require(enumerator->Skip(position), "Skip");
        return enumerator;
    }

    /// Requests `wanted` elements of a collection that has `count` now.
    static void ExpectNext(IEnumVARIANT* enumerator, ULONG wanted, ULONG position, ULONG count) {
        const ULONG left = position < count ? count - position : 0;
        Room room;
        const HRESULT hr = enumerator->Next(wanted, room.Begin(), &room.fetched);
        ASSERT_HR(hr, wanted <= left ? S_OK : S_FALSE);
        ASSERT_EQ(room.fetched, (std::min)(wanted, left));
        EXPECT_TRUE(room.RestIsUntouched());
        int expected = static_cast<int>(position);
        for (const VARIANT& element : room.Received()) {
            ASSERT_EQ(GetParam().numberOf(element), expected++);
        }
    }

  private:
    const support::ExpectNoLeaks m_noLeaks;
    const support::ExpectNoObjectsLeft m_noObjectsLeft;
};

struct Change {
    const char* name;
    ULONG count; ///< of elements afterwards
};

constexpr ULONG before = 20;
constexpr Change changes[] = {{"unchanged", before}, {"emptied", 0}, {"shrunk", 7}, {"grown", 50}};

TEST_P(HostileEnumeratorOf, Next_OfOneToAThousand_AfterAChange_DeliversTheElements) {
    const DispatchObject collection = NewCollection(before);
    for (const Change& change : changes) {
        SCOPED_TRACE(change.name);
        for (const ULONG position : {0U, 1U, 10U, 20U}) {
            SCOPED_TRACE(position);
            Refill(collection, before);
            const auto enumerator = EnumeratorAt(collection, position);
            Refill(collection, static_cast<int>(change.count));
            for (ULONG wanted = 1; wanted <= 1'000; ++wanted) {
                CComPtr<IEnumVARIANT> clone;
                ASSERT_HR(enumerator->Clone(&clone), S_OK);
                ASSERT_NO_FATAL_FAILURE(ExpectNext(clone, wanted, position, change.count)) << wanted;
            }
        }
    }
}

TEST_P(HostileEnumeratorOf, CollectionOfAThousand_ChangedBetweenCalls_IsDeliveredToItsEnd) {
    const DispatchObject collection = NewCollection(1'000);
    const auto enumerator = EnumeratorAt(collection, 0);
    ASSERT_NO_FATAL_FAILURE(ExpectNext(enumerator, 400, 0, 1'000));
    Refill(collection, 500);
    ASSERT_NO_FATAL_FAILURE(ExpectNext(enumerator, 50, 400, 500));
    Refill(collection, 100);
    ASSERT_NO_FATAL_FAILURE(ExpectNext(enumerator, 1'000, 450, 100));
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    EXPECT_HR(enumerator->Skip(ULONG_MAX), S_FALSE);
    Refill(collection, 460);
    ASSERT_NO_FATAL_FAILURE(ExpectNext(enumerator, 1'000, 450, 460));
    EXPECT_HR(enumerator->Reset(), S_OK);
    ASSERT_NO_FATAL_FAILURE(ExpectNext(enumerator, 1'000, 0, 460));
}

/// The caller claims a larger buffer than it has. The rest of it must not be touched.
TEST_P(HostileEnumeratorOf, Next_OfMoreThanPossible_DeliversTheElements) {
    const DispatchObject collection = NewCollection(3);
    for (const ULONG wanted : {0x7FFFFFFFUL, 0x80000000UL, 0xFFFFFFFFUL}) {
        ASSERT_NO_FATAL_FAILURE(ExpectNext(EnumeratorAt(collection, 1), wanted, 1, 3));
    }
}

TEST_P(HostileEnumeratorOf, Next_IntoAnUnalignedBuffer_DeliversTheElements) {
    const DispatchObject collection = NewCollection(3);
    support::AtOddAddress<std::array<VARIANT, 4>> elements({});
    ULONG fetched = 0;
    EXPECT_HR(EnumeratorAt(collection, 1)->Next(4, reinterpret_cast<VARIANT*>(elements.Address()), &fetched), S_FALSE);
    ASSERT_EQ(fetched, 2U);
    std::array<VARIANT, 4> received = elements.Value();
    EXPECT_EQ(GetParam().numberOf(received[0]), 1);
    EXPECT_EQ(GetParam().numberOf(received[1]), 2);
    VariantClear(&received[0]);
    VariantClear(&received[1]);
}

TEST_P(HostileEnumeratorOf, Next_WithoutPointers_IsRefusedAndStaysWhereItIs) {
    const DispatchObject collection = NewCollection(3);
    const auto enumerator = EnumeratorAt(collection, 0);
    ULONG fetched = 77;
    Room room;
    EXPECT_HR(enumerator->Next(1, nullptr, &fetched), E_POINTER);
    EXPECT_HR(enumerator->Next(2, room.Begin(), nullptr), E_POINTER);
    EXPECT_TRUE(room.RestIsUntouched());
    EXPECT_HR(enumerator->Clone(nullptr), E_POINTER);
    ASSERT_NO_FATAL_FAILURE(ExpectNext(enumerator, 3, 0, 3));
}

TEST_P(HostileEnumeratorOf, Collection_ReleasedBeforeItsEnumerator_IsDeliveredToItsEnd) {
    CComPtr<IEnumVARIANT> enumerator;
    {
        const DispatchObject collection = NewCollection(10);
        enumerator = EnumeratorAt(collection, 4);
        Refill(collection, 8);
    }
    CComPtr<IEnumVARIANT> clone;
    ASSERT_HR(enumerator->Clone(&clone), S_OK);
    enumerator.Release();
    ASSERT_NO_FATAL_FAILURE(ExpectNext(clone, 1'000, 4, 8));
}

INSTANTIATE_TEST_SUITE_P(Kinds, HostileEnumeratorOf, ::testing::ValuesIn(Kinds()),
                         [](const ::testing::TestParamInfo<Kind>& kind) { return std::string(kind.param.name); });

} // namespace
