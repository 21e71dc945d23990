// NXVariantCollection, the object in the registered DLL: every member through the vtable and late-bound, then what is
// special to either way to call.

#include <climits>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/stackobject.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/bstr.h"

namespace {

using namespace std::string_view_literals;
using support::AllocationFault;
using support::Bstr;
using support::CallFailure;
using support::CountLiveAllocations;
using support::Create;
using support::DispatchObject;
using support::EnumeratorOf;
using support::ExpectNoLeaks;
using support::ForEachAllocationFailure;
using support::Invocation;
using support::NextOf;
using support::Reply;
using support::Require;
using support::Variant;
using support::Way;

using Ints = std::vector<int>;
using Object = support::StackAutomationObject<IDispatch>;

// The members' DISPIDs, which compiled scripts contain.
constexpr DISPID idAdd = 0x60020000;
constexpr DISPID idRemove = 0x60020001;
constexpr DISPID idCount = 0x60020002;
constexpr DISPID idItem = DISPID_VALUE;

// Those of parameters are their places.
constexpr DISPID idItemOfAdd = 0;
constexpr DISPID idPositionOfAdd = 1;
constexpr DISPID idIndexOfRemove = 0;

constexpr long noElements[] = {0, 1, 2, -1, LONG_MIN, LONG_MAX};

void WarmUp() {
    support::WarmUp(CLSID_NXVariantCollection, {.member = idRemove, .arguments = {5}},
                    {.member = idAdd, .arguments = {5}});
}

// ---------------------------------------------------------------------------------------------------------------------
// Values

/// A VARIANT on its way through a call of support::Client.
struct Passed : VARIANT {};

Variant Packed(Passed& argument) {
    Variant packed;
    Require(VariantCopy(packed.Raw(), &argument), "VariantCopy");
    return packed;
}
void Unpack(Variant& value, Passed& result) {
    static_cast<VARIANT&>(result) = std::exchange(*value.Raw(), VARIANT{});
}
Variant Owned(const Passed& result) {
    Variant owner;
    *owner.Raw() = result;
    return owner;
}

/// A VARIANT of any type, which owns what is in it.
template <class Value> Variant Of(int type, Value value) {
    Variant made;
    std::memcpy(&V_I8(made.Raw()), &value, sizeof(value));
    V_VT(made.Raw()) = static_cast<VARTYPE>(type);
    return made;
}

Variant Decimal() {
    Variant made;
    Require(VarDecFromStr(Bstr(L"-79228162514264337593.54395"), 0x0409, 0, &V_DECIMAL(made.Raw())), "VarDecFromStr");
    V_VT(made.Raw()) = VT_DECIMAL;
    return made;
}

Variant OddBytes() {
    return Of(VT_BSTR, SysAllocStringByteLen("a\0b", 3));
}

Variant UnknownOf(IUnknown* object) {
    object->AddRef();
    return Of(VT_UNKNOWN, object);
}

/// An array with one dimension, whose elements Put stores: put(index, array) for each of `count`.
template <class Put> Variant ArrayOf(int type, long first, ULONG count, Put put) {
    SAFEARRAY* const array = SafeArrayCreateVector(static_cast<VARTYPE>(type), first, count);
    Variant made = Of(VT_ARRAY | type, array);
    for (long index = first; index < first + static_cast<long>(count); ++index) {
        put(index, array);
    }
    return made;
}

Variant Bytes(ULONG count) {
    return ArrayOf(VT_UI1, 0, count, [](long index, SAFEARRAY* array) {
        auto byte = static_cast<unsigned char>(index * 7);
        Require(SafeArrayPutElement(array, &index, &byte), "put byte");
    });
}

Variant Texts() {
    return ArrayOf(VT_BSTR, 5, 3, [](long index, SAFEARRAY* array) {
        const Bstr text(std::to_wstring(index) + L'\0');
        Require(SafeArrayPutElement(array, &index, static_cast<BSTR>(text)), "put text");
    });
}

/// What a script's Array(7, "text", object, Array(...)) is.
Variant Mixture(IDispatch* object) {
    return ArrayOf(VT_VARIANT, 0, 4, [object](long index, SAFEARRAY* array) {
        const Variant elements[] = {7, L"text", object, Bytes(3)};
        Require(SafeArrayPutElement(array, &index, elements[index].Raw()), "put value");
    });
}

Variant Objects(IDispatch* object) {
    return ArrayOf(VT_DISPATCH, 1, 2, [object](long index, SAFEARRAY* array) {
        Require(SafeArrayPutElement(array, &index, object), "put object");
    });
}

/// Two by three numbers, from (-1, 1) on.
Variant Matrix() {
    SAFEARRAYBOUND bounds[] = {{2, -1}, {3, 1}};
    SAFEARRAY* const array = SafeArrayCreate(VT_I4, 2, bounds);
    Variant made = Of(VT_ARRAY | VT_I4, array);
    for (int index = 0; index < 6; ++index) {
        static_cast<int*>(array->pvData)[index] = index * 1000;
    }
    return made;
}

/// A value of some kind, which `make` makes anew.
struct Kind {
    const char* name;
    std::function<Variant()> make;
};

/// A value of every VARIANT type. `object` and `unknown` are what objects refer to.
std::vector<Kind> AllKinds(IDispatch* object, IUnknown* unknown) {
    return {
        {"EMPTY", [] { return Variant(); }},
        {"NULL", [] { return Variant::Null(); }},
        {"I1", [] { return Of<signed char>(VT_I1, -128); }},
        {"I2", [] { return Of<short>(VT_I2, SHRT_MIN); }},
        {"I4", [] { return Of<long>(VT_I4, LONG_MIN); }},
        {"I8", [] { return Of<long long>(VT_I8, LLONG_MIN); }},
        {"UI1", [] { return Of<unsigned char>(VT_UI1, 255); }},
        {"UI2", [] { return Of<unsigned short>(VT_UI2, USHRT_MAX); }},
        {"UI4", [] { return Of<unsigned long>(VT_UI4, ULONG_MAX); }},
        {"UI8", [] { return Of<unsigned long long>(VT_UI8, ULLONG_MAX); }},
        {"INT", [] { return Of<int>(VT_INT, INT_MAX); }},
        {"UINT", [] { return Of<unsigned int>(VT_UINT, UINT_MAX); }},
        {"R4", [] { return Of<float>(VT_R4, -0.0F); }},
        {"R8", [] { return Of<double>(VT_R8, 0.1); }},
        {"R8, not a number", [] { return Of<double>(VT_R8, std::numeric_limits<double>::quiet_NaN()); }},
        {"CY", [] { return Of<long long>(VT_CY, -12345678901234567); }},
        {"DATE", [] { return Of<double>(VT_DATE, 36526.75); }},
        {"BOOL, true", [] { return Variant(true); }},
        {"BOOL, false", [] { return Variant(false); }},
        {"ERROR", [] { return Of<SCODE>(VT_ERROR, E_ACCESSDENIED); }},
        {"DECIMAL", Decimal},
        {"BSTR", [] { return Variant(L"text"); }},
        {"BSTR of zero length", [] { return Variant(L""); }},
        {"BSTR, null", [] { return Variant::NullText(); }},
        {"BSTR with NULs", [] { return Variant(L"\0a\0\0b\0"sv); }},
        {"BSTR with an odd number of bytes", OddBytes},
        {"UNKNOWN", [unknown] { return UnknownOf(unknown); }},
        {"UNKNOWN, null", [] { return Of<IUnknown*>(VT_UNKNOWN, nullptr); }},
        {"DISPATCH", [object] { return Variant(object); }},
        {"DISPATCH, null", [] { return Variant(static_cast<IDispatch*>(nullptr)); }},
        {"array of bytes", [] { return Bytes(300); }},
        {"array of nothing", [] { return Bytes(0); }},
        {"array, null", [] { return Of<SAFEARRAY*>(VT_ARRAY | VT_I4, nullptr); }},
        {"array of two dimensions", Matrix},
        {"array of texts", Texts},
        {"array of values", [object] { return Mixture(object); }},
        {"array of objects", [object] { return Objects(object); }},
    };
}

bool AreSame(const VARIANT& one, const VARIANT& other);

bool AreSameTexts(BSTR one, BSTR other) {
    const UINT length = SysStringByteLen(one);
    return length == SysStringByteLen(other) && (length == 0 || std::memcmp(one, other, length) == 0);
}

bool AreSameArrays(SAFEARRAY* one, SAFEARRAY* other) {
    if (one == nullptr || other == nullptr) {
        return one == other;
    }
    VARTYPE type = VT_EMPTY;
    VARTYPE otherType = VT_EMPTY;
    SafeArrayGetVartype(one, &type);
    SafeArrayGetVartype(other, &otherType);
    if (type != otherType || one->cDims != other->cDims ||
        std::memcmp(one->rgsabound, other->rgsabound, one->cDims * sizeof(SAFEARRAYBOUND)) != 0) {
        return false;
    }
    ULONG count = 1;
    for (USHORT dimension = 0; dimension < one->cDims; ++dimension) {
        count *= one->rgsabound[dimension].cElements;
    }
    for (ULONG index = 0; index < count; ++index) {
        const bool same =
            type == VT_BSTR
                ? AreSameTexts(static_cast<BSTR*>(one->pvData)[index], static_cast<BSTR*>(other->pvData)[index])
            : type == VT_VARIANT
                ? AreSame(static_cast<VARIANT*>(one->pvData)[index], static_cast<VARIANT*>(other->pvData)[index])
                : std::memcmp(static_cast<char*>(one->pvData) + index * one->cbElements,
                              static_cast<char*>(other->pvData) + index * one->cbElements, one->cbElements) == 0;
        if (!same) {
            return false;
        }
    }
    return true;
}

/// Whether two values are of the same type and the same, objects by identity. A null text equals one of zero length,
/// because Wine's VariantCopy makes the latter of the former; the other way round would be a mistake.
bool AreSame(const VARIANT& one, const VARIANT& other) {
    if (V_VT(&one) != V_VT(&other)) {
        return false;
    }
    if (V_ISARRAY(&one)) {
        return AreSameArrays(V_ARRAY(&one), V_ARRAY(&other));
    }
    const auto haveSame = [&](std::size_t size) { return std::memcmp(&V_I8(&one), &V_I8(&other), size) == 0; };
    switch (V_VT(&one)) {
    case VT_EMPTY:
    case VT_NULL:
        return true;
    case VT_I1:
    case VT_UI1:
        return haveSame(1);
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        return haveSame(2);
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
        return haveSame(4);
    case VT_BSTR:
        return AreSameTexts(V_BSTR(&one), V_BSTR(&other)) && (V_BSTR(&one) != nullptr || V_BSTR(&other) == nullptr);
    case VT_DECIMAL: {
        const DECIMAL& a = V_DECIMAL(&one);
        const DECIMAL& b = V_DECIMAL(&other);
        return a.scale == b.scale && a.sign == b.sign && a.Hi32 == b.Hi32 && a.Lo64 == b.Lo64;
    }
    default:
        return haveSame(8);
    }
}

::testing::AssertionResult Is(const Variant& actual, const Variant& expected) {
    if (AreSame(*actual.Raw(), *expected.Raw())) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "of type " << actual.Type() << ", wanted type " << expected.Type()
                                         << (actual.Type() == expected.Type() ? " and another value" : "");
}

/// Whether there can be references to values of this type.
bool CanBeReferred(const Variant& value) {
    return value.Type() != VT_EMPTY && value.Type() != VT_NULL;
}

/// A by-reference value: what is in `variable` now and whatever will be.
Variant ReferenceTo(Variant& variable) {
    VARIANT* const raw = variable.Raw();
    void* const place = V_VT(raw) == VT_DECIMAL ? static_cast<void*>(&V_DECIMAL(raw)) : static_cast<void*>(&V_I8(raw));
    return Of(VT_BYREF | V_VT(raw), place);
}

// ---------------------------------------------------------------------------------------------------------------------
// Either way to call

class VariantCollection : public support::Client<INXVariantCollection> {
  public:
    explicit VariantCollection(Way way) : Client(way, CLSID_NXVariantCollection) {}
    VariantCollection(Way way, std::initializer_list<int> values) : VariantCollection(way) {
        for (const int value : values) {
            Add(value);
        }
    }

    /// A late-bound caller's value is gone when this returns; the vtable's must stay.
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
        return IsIndexError(L"Nuvolex.NXVariantCollection.1", action);
    }
    /// Expects the whole explanation of a bad position.
    void ExpectPositionRefused(long position) const {
        try {
            Add(99, position);
            ADD_FAILURE() << "The call succeeded.";
        } catch (const CallFailure& failure) {
            EXPECT_HR(failure.hr, E_FAIL);
            EXPECT_STREQ(failure.description.c_str(), L"Position invalid!");
            EXPECT_STREQ(failure.source.c_str(), L"Nuvolex.NXVariantCollection.1");
            EXPECT_STREQ(failure.helpFile.c_str(), L"");
            EXPECT_EQ(failure.helpContext, 0u);
            EXPECT_TRUE(WayToCall() == Way::LateBound || IsEqualIID(failure.iid, IID_INXVariantCollection));
        }
    }

    /// All elements, numbers, read one by one.
    [[nodiscard]] Ints All() const {
        Ints all;
        for (long index = 1; index <= Count(); ++index) {
            all.push_back(Item(index).Int());
        }
        return all;
    }
};

/// All that an enumerator delivers, also where it is empty.
std::vector<Variant> ElementsOf(IEnumVARIANT* enumerator) {
    std::vector<Variant> elements;
    for (;;) {
        Variant element;
        const HRESULT hr = enumerator->Next(1, element.Raw(), nullptr);
        if (hr != S_OK) {
            EXPECT_HR(hr, S_FALSE);
            return elements;
        }
        elements.push_back(std::move(element));
    }
}

Ints IntsOf(IEnumVARIANT* enumerator) {
    Ints ints;
    for (const Variant& element : ElementsOf(enumerator)) {
        ints.push_back(element.Int());
    }
    return ints;
}

class NXVariantCollectionTest : public ::testing::TestWithParam<Way> {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    static VariantCollection NewCollection(std::initializer_list<int> values) { return {GetParam(), values}; }

    Object object;
    support::StackObject<IUnknown> unknown;
    VariantCollection collection = NewCollection({});
    const VariantCollection numbers = NewCollection({1, 2, 3});
};

INSTANTIATE_TEST_SUITE_P(ByWayToCall, NXVariantCollectionTest, ::testing::Values(Way::Vtable, Way::LateBound),
                         support::NameOfWay);

// Count, Add, Remove, Item

TEST_P(NXVariantCollectionTest, New_IsEmpty) {
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_TRUE(ElementsOf(collection.NewEnum()).empty());
}

TEST_P(NXVariantCollectionTest, Add_AtPosition0_Appends) {
    collection.Add(1);
    EXPECT_EQ(collection.Count(), 1);
    collection.Add(2, 0);
    collection.Add(3);
    EXPECT_EQ(collection.All(), (Ints{1, 2, 3}));
}

TEST_P(NXVariantCollectionTest, Add_AtAPosition_InsertsBeforeTheElementOfThatNumber) {
    numbers.Add(9, 2);
    EXPECT_EQ(numbers.All(), (Ints{1, 9, 2, 3}));
    numbers.Add(7, 4);
    EXPECT_EQ(numbers.All(), (Ints{1, 9, 2, 7, 3})) << "the count as position is before the last";
    numbers.Add(5, 1);
    EXPECT_EQ(numbers.All(), (Ints{5, 1, 9, 2, 7, 3}));
}

TEST_P(NXVariantCollectionTest, Add_BehindTheLastByNumber_IsRefused) {
    numbers.ExpectPositionRefused(4);
    EXPECT_EQ(numbers.All(), (Ints{1, 2, 3}));
    numbers.Add(9, 2);
    numbers.Add(7, 4);
    numbers.ExpectPositionRefused(6);
    EXPECT_EQ(numbers.All(), (Ints{1, 9, 2, 7, 3}));
}

TEST_P(NXVariantCollectionTest, Add_OutsideTheCollection_IsRefusedAndNothingChanges) {
    for (const long position : {4L, 5L, 1000000L, LONG_MAX, -1L, -2L, -3L, -4L, LONG_MIN + 1, LONG_MIN}) {
        SCOPED_TRACE(position);
        numbers.ExpectPositionRefused(position);
    }
    EXPECT_EQ(numbers.All(), (Ints{1, 2, 3}));
}

TEST_P(NXVariantCollectionTest, Add_ToAnEmptyCollection_TakesPosition0Only) {
    for (const long position : {1L, 2L, -1L, LONG_MIN, LONG_MAX}) {
        SCOPED_TRACE(position);
        collection.ExpectPositionRefused(position);
    }
    EXPECT_EQ(collection.Count(), 0);
    collection.Add(1, 0);
    collection.Add(2, 1);
    EXPECT_EQ(collection.All(), (Ints{2, 1}));
}

TEST_P(NXVariantCollectionTest, Remove_OfANumber_MovesTheLaterOnesDown) {
    numbers.Remove(2);
    EXPECT_EQ(numbers.All(), (Ints{1, 3}));
    numbers.Remove(1);
    EXPECT_EQ(numbers.All(), Ints{3});
    numbers.Remove(1);
    EXPECT_EQ(numbers.Count(), 0);
    numbers.Add(4);
    EXPECT_EQ(numbers.All(), Ints{4});
}

TEST_P(NXVariantCollectionTest, Remove_OfTheCount_RemovesTheLast) {
    numbers.Remove(3);
    EXPECT_EQ(numbers.All(), (Ints{1, 2}));
}

TEST_P(NXVariantCollectionTest, Remove_Of0_RemovesTheLast) {
    numbers.Remove(0);
    EXPECT_EQ(numbers.All(), (Ints{1, 2}));
    numbers.Remove(0);
    numbers.Remove(0);
    EXPECT_EQ(numbers.Count(), 0);
}

TEST_P(NXVariantCollectionTest, Remove_Of0FromNothing_Succeeds) {
    collection.Remove(0);
    collection.Remove(0);
    EXPECT_EQ(collection.Count(), 0);
    collection.Add(1);
    EXPECT_EQ(collection.All(), Ints{1});
}

TEST_P(NXVariantCollectionTest, Remove_OutsideTheCollection_IsRefusedAndNothingChanges) {
    for (const long index : {4L, 5L, 1000000L, LONG_MAX, -1L, -2L, -3L, -4L, LONG_MIN + 1, LONG_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(numbers.RefusesIndex([&] { numbers.Remove(index); }));
    }
    EXPECT_EQ(numbers.All(), (Ints{1, 2, 3}));
    for (const long index : {1L, -1L, LONG_MIN, LONG_MAX}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(collection.RefusesIndex([&] { collection.Remove(index); }));
    }
    EXPECT_EQ(collection.Count(), 0);
}

TEST_P(NXVariantCollectionTest, Item_CountsFrom1) {
    EXPECT_EQ(numbers.Item(1).Int(), 1);
    EXPECT_EQ(numbers.Item(2).Int(), 2);
    EXPECT_EQ(numbers.Item(3).Int(), 3);
}

TEST_P(NXVariantCollectionTest, Item_OutsideTheCollection_IsRefused) {
    for (const long index : {0L, 4L, 5L, 1000000L, LONG_MAX, -1L, -2L, -3L, LONG_MIN + 1, LONG_MIN}) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(numbers.RefusesIndex([&] { numbers.Item(index); }));
    }
    for (const long index : noElements) {
        SCOPED_TRACE(index);
        EXPECT_TRUE(collection.RefusesIndex([&] { collection.Item(index); }));
    }
}

TEST_P(NXVariantCollectionTest, Item_OfARemovedElement_IsRefused) {
    numbers.Remove(3);
    EXPECT_TRUE(numbers.RefusesIndex([&] { numbers.Item(3); }));
}

// Values

TEST_P(NXVariantCollectionTest, Values_OfEveryKind_AreKept) {
    const auto kinds = AllKinds(&object, &unknown);
    std::vector<Variant> originals;
    for (const Kind& kind : kinds) {
        originals.push_back(kind.make());
    }
    for (const Variant& original : originals) {
        collection.Add(original);
    }
    const auto elements = ElementsOf(collection.NewEnum());
    ASSERT_EQ(collection.Count(), static_cast<long>(kinds.size()));
    ASSERT_EQ(elements.size(), kinds.size());
    for (std::size_t index = 0; index < kinds.size(); ++index) {
        SCOPED_TRACE(kinds[index].name);
        EXPECT_TRUE(Is(collection.Item(static_cast<long>(index) + 1), originals[index]));
        EXPECT_TRUE(Is(elements[index], originals[index]));
    }
    collection.Release(); // before its values
}

TEST_P(NXVariantCollectionTest, Values_OfEveryKind_MoveAsTheCollectionChanges) {
    const auto kinds = AllKinds(&object, &unknown);
    std::vector<Variant> originals;
    for (const Kind& kind : kinds) {
        originals.push_back(kind.make());
    }
    for (const Variant& original : originals) {
        collection.Add(original, collection.Count() == 0 ? 0 : 1); // all move up
    }
    for (std::size_t index = kinds.size(); index-- > 0;) {
        SCOPED_TRACE(kinds[index].name);
        EXPECT_TRUE(Is(collection.Item(1), originals[index]));
        collection.Remove(1);
    }
    EXPECT_EQ(collection.Count(), 0);
}

TEST_P(NXVariantCollectionTest, Item_IsACopyOfItsOwn) {
    const Variant text(L"text");
    const Variant values(Mixture(&object));
    collection.Add(text);
    collection.Add(values);
    const Variant first = collection.Item(1);
    const Variant second = collection.Item(1);
    first.Text()[0] = L'X';
    EXPECT_BSTR(second.Text(), L"text");
    EXPECT_BSTR(collection.Item(1).Text(), L"text");
    const Variant array = collection.Item(2);
    V_I4(static_cast<VARIANT*>(V_ARRAY(array.Raw())->pvData)) = 8;
    EXPECT_TRUE(Is(collection.Item(2), values));
    collection.Remove(1);
    collection.Release();
    EXPECT_BSTR(first.Text(), L"Xext");
}

TEST_P(NXVariantCollectionTest, Item_OfAnObject_GivesTheCallerAReference) {
    const Variant value(static_cast<IDispatch*>(&object));
    collection.Add(value);
    const ULONG before = object.references;
    {
        const Variant item = collection.Item(1);
        EXPECT_EQ(item.Object(), &object);
        EXPECT_EQ(object.references, before + 1);
    }
    EXPECT_EQ(object.references, before);
    collection.Release();
}

TEST_P(NXVariantCollectionTest, Collections_AreIndependent) {
    collection.Add(numbers.Item(2));
    numbers.Remove(2);
    EXPECT_EQ(collection.All(), Ints{2});
    EXPECT_EQ(numbers.All(), (Ints{1, 3}));
}

TEST_P(NXVariantCollectionTest, TenThousandAdditionsAndRemovals_LeaveNothingBehind) {
    const Variant text(L"text");
    const Variant dispatch(static_cast<IDispatch*>(&object));
    const Variant array(Texts());
    const auto before = CountLiveAllocations();
    for (int round = 0; round < 10000 / 4; ++round) {
        collection.Add(round);
        collection.Add(text, round % 7 == 0 ? 1 : 0);
        collection.Add(dispatch);
        collection.Add(array, 2);
    }
    ASSERT_EQ(collection.Count(), 10000);
    for (long left = 10000; left > 0; --left) {
        collection.Remove(left % 3 == 0 ? 0 : left / 2 + 1);
    }
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_EQ(object.references, 1u);
    EXPECT_EQ(CountLiveAllocations().bstrs, before.bstrs) << "texts and arrays";
    collection.Release();
    EXPECT_EQ(CountLiveAllocations().objects, before.objects - 1) << "less the collection";
}

// Enumeration

TEST_P(NXVariantCollectionTest, NewEnum_WalksAllElementsInOrder) {
    EXPECT_EQ(IntsOf(numbers.NewEnum()), (Ints{1, 2, 3}));
    EXPECT_TRUE(IntsOf(collection.NewEnum()).empty());
}

TEST_P(NXVariantCollectionTest, NewEnum_DeliversSeveralAtATime) {
    VARIANT values[4] = {};
    ULONG fetched = 99;
    const auto enumerator = numbers.NewEnum();
    EXPECT_HR(enumerator->Next(2, values, nullptr), E_POINTER);
    EXPECT_HR(enumerator->Next(1, nullptr, &fetched), E_POINTER);
    EXPECT_EQ(V_VT(&values[0]), VT_EMPTY);
    EXPECT_HR(enumerator->Next(0, values, &fetched), S_OK);
    EXPECT_EQ(fetched, 0u);
    EXPECT_HR(enumerator->Next(2, values, &fetched), S_OK);
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_I4(&values[1]), 2);
    EXPECT_HR(enumerator->Next(2, values, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 1u);
    EXPECT_EQ(V_I4(&values[0]), 3);
}

TEST_P(NXVariantCollectionTest, NewEnum_SkipsResetsAndClones) {
    const auto enumerator = numbers.NewEnum();
    EXPECT_HR(enumerator->Skip(1), S_OK);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    EXPECT_HR(enumerator->Skip(2), S_OK) << "just to the end";
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    EXPECT_EQ(IntsOf(clone), (Ints{2, 3}));
    EXPECT_HR(enumerator->Reset(), S_OK);
    EXPECT_EQ(IntsOf(enumerator), (Ints{1, 2, 3}));
    EXPECT_HR(enumerator->Clone(nullptr), E_POINTER);
}

TEST_P(NXVariantCollectionTest, NewEnum_ElementsAreTheCallersCopies) {
    const Variant text(L"text");
    const Variant dispatch(static_cast<IDispatch*>(&object));
    collection.Add(text);
    collection.Add(dispatch);
    const ULONG before = object.references;
    {
        const auto elements = ElementsOf(collection.NewEnum());
        ASSERT_EQ(elements.size(), 2u);
        EXPECT_EQ(object.references, before + 1);
        elements[0].Text()[0] = L'X';
        EXPECT_BSTR(collection.Item(1).Text(), L"text");
        collection.Remove();
        collection.Remove();
        EXPECT_BSTR(elements[0].Text(), L"Xext");
        EXPECT_EQ(elements[1].Object(), &object);
    }
    EXPECT_EQ(object.references, 1u);
}

TEST_P(NXVariantCollectionTest, NewEnum_TakesWhatTheElementsHeldForGarbage) {
    VARIANT garbage;
    std::memset(&garbage, 0xEE, sizeof(garbage));
    EXPECT_HR(numbers.NewEnum()->Next(1, &garbage, nullptr), S_OK);
    EXPECT_EQ(V_VT(&garbage), VT_I4);
    EXPECT_EQ(V_I4(&garbage), 1);
}

TEST_P(NXVariantCollectionTest, NewEnum_EachIsItsOwn) {
    const auto first = numbers.NewEnum();
    const auto second = numbers.NewEnum();
    EXPECT_EQ(NextOf(first).Int(), 1);
    EXPECT_EQ(IntsOf(second), (Ints{1, 2, 3}));
    EXPECT_EQ(NextOf(first).Int(), 2);
}

TEST_P(NXVariantCollectionTest, NewEnum_KeepsTheCollectionAlive) {
    const Variant text(L"text");
    collection.Add(text);
    collection.Add(5);
    auto enumerator = collection.NewEnum();
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    collection.Release();
    EXPECT_BSTR(NextOf(enumerator).Text(), L"text");
    enumerator.Release();
    const auto elements = ElementsOf(clone);
    ASSERT_EQ(elements.size(), 2u);
    EXPECT_BSTR(elements[0].Text(), L"text");
    EXPECT_EQ(elements[1].Int(), 5);
}

TEST_P(NXVariantCollectionTest, NewEnum_SeesWhatIsAdded) {
    const auto enumerator = numbers.NewEnum();
    EXPECT_EQ(NextOf(enumerator).Int(), 1);
    for (int value = 4; value < 100; ++value) {
        numbers.Add(value);
    }
    EXPECT_EQ(IntsOf(enumerator).size(), 98u);
    numbers.Add(100);
    EXPECT_EQ(IntsOf(enumerator), Ints{100});
}

TEST_P(NXVariantCollectionTest, NewEnum_GoesOnWhenTheCollectionMovesUnderIt) {
    const auto enumerator = numbers.NewEnum();
    EXPECT_EQ(NextOf(enumerator).Int(), 1);
    numbers.Remove(1);
    EXPECT_EQ(NextOf(enumerator).Int(), 3);
    numbers.Add(9, 1);
    EXPECT_EQ(IntsOf(enumerator), Ints{3});
}

TEST_P(NXVariantCollectionTest, NewEnum_EndsWhenTheCollectionIsEmptied) {
    const auto enumerator = numbers.NewEnum();
    EXPECT_HR(enumerator->Skip(2), S_OK);
    for (int count = 3; count > 0; --count) {
        numbers.Remove();
    }
    EXPECT_TRUE(IntsOf(enumerator).empty());
    EXPECT_HR(enumerator->Skip(1), S_FALSE);
    CComPtr<IEnumVARIANT> clone;
    EXPECT_HR(enumerator->Clone(&clone), S_OK);
    EXPECT_TRUE(IntsOf(clone).empty());
    EXPECT_HR(enumerator->Reset(), S_OK);
    numbers.Add(7);
    EXPECT_EQ(IntsOf(enumerator), Ints{7});
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to the vtable

class NXVariantCollectionVtableTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    Object object;
    support::StackObject<IUnknown> unknown;
    VariantCollection collection{Way::Vtable};
    INXVariantCollection* const raw = collection.Raw();
};

TEST_F(NXVariantCollectionVtableTest, Text_IsTheCallersOwn_NotACopy) {
    const Variant text(L"text");
    const auto before = CountLiveAllocations();
    collection.Add(text);
    EXPECT_EQ(CountLiveAllocations().bstrs, before.bstrs);
    text.Text()[0] = L'X';
    EXPECT_BSTR(collection.Item(1).Text(), L"Xext");
    EXPECT_BSTR(NextOf(collection.NewEnum()).Text(), L"Xext");
    collection.Remove();
    EXPECT_EQ(CountLiveAllocations().bstrs, before.bstrs) << "still the caller's";
    EXPECT_BSTR(text.Text(), L"Xext");
    collection.Add(text);
    collection.Release();
    EXPECT_EQ(CountLiveAllocations().bstrs, before.bstrs) << "after the collection too";
}

TEST_F(NXVariantCollectionVtableTest, NothingIsReferencedOrCleared) {
    std::vector<Variant> originals;
    for (const Kind& kind : AllKinds(&object, &unknown)) {
        originals.push_back(kind.make());
    }
    const ULONG objectReferences = object.references;
    const ULONG unknownReferences = unknown.references;
    const auto bstrs = CountLiveAllocations().bstrs;
    const auto expectUntouched = [&] {
        EXPECT_EQ(object.references, objectReferences);
        EXPECT_EQ(unknown.references, unknownReferences);
        EXPECT_EQ(CountLiveAllocations().bstrs, bstrs);
    };
    for (const Variant& original : originals) {
        collection.Add(original);
    }
    expectUntouched();
    for (const long index : {0L, 1L, 5L}) {
        while (collection.Count() > 5) {
            collection.Remove(index);
        }
        expectUntouched();
        for (const Variant& original : originals) {
            collection.Add(original, 1);
        }
    }
    expectUntouched();
    collection.Release();
    expectUntouched();
}

TEST_F(NXVariantCollectionVtableTest, Reference_StaysOne_AndIsReadAnew) {
    long variable = 1;
    const Variant reference = Variant::To(variable);
    collection.Add(reference);
    const Variant item = collection.Item(1);
    EXPECT_EQ(item.Type(), VT_BYREF | VT_I4);
    EXPECT_EQ(V_I4REF(item.Raw()), &variable);
    const Variant element = NextOf(collection.NewEnum());
    EXPECT_EQ(element.Type(), VT_BYREF | VT_I4);
    EXPECT_EQ(V_I4REF(element.Raw()), &variable);
    variable = 2;
    EXPECT_EQ(*V_I4REF(collection.Item(1).Raw()), 2);
}

TEST_F(NXVariantCollectionVtableTest, References_OfEveryKind_StayAndAreNeverCleared) {
    for (const Kind& kind : AllKinds(&object, &unknown)) {
        SCOPED_TRACE(kind.name);
        VariantCollection own(Way::Vtable);
        Variant variable = kind.make();
        std::vector<Variant> references = {Variant::To(variable)};
        if (CanBeReferred(variable)) {
            references.push_back(ReferenceTo(variable));
        }
        for (const Variant& reference : references) {
            own.Add(reference);
            own.Add(reference);
            own.Remove(1);
            const Variant item = own.Item(own.Count());
            EXPECT_EQ(item.Type(), reference.Type());
            EXPECT_EQ(V_BYREF(item.Raw()), V_BYREF(reference.Raw()));
        }
        own.Release();
        EXPECT_TRUE(Is(variable, kind.make()));
    }
}

TEST_F(NXVariantCollectionVtableTest, Variable_ByReference_IsReadAsItIsNow) {
    Variant variable(L"before");
    const Variant reference = Variant::To(variable);
    collection.Add(reference);
    variable = 5;
    const Variant item = collection.Item(1);
    ASSERT_EQ(item.Type(), VT_BYREF | VT_VARIANT);
    EXPECT_EQ(V_VARIANTREF(item.Raw()), variable.Raw());
    Variant now;
    EXPECT_HR(VariantCopyInd(now.Raw(), item.Raw()), S_OK);
    EXPECT_EQ(now.Int(), 5);
}

TEST_F(NXVariantCollectionVtableTest, InvalidValue_IsStoredAndGivesNothing) {
    VARIANT invalid = {};
    V_VT(&invalid) = 0x0FFE;
    EXPECT_HR(raw->Add(invalid, 0), S_OK);
    collection.Add(5);
    EXPECT_EQ(collection.Count(), 2);
    EXPECT_EQ(collection.Item(1).Type(), VT_EMPTY) << "S_OK, though it cannot be copied";
    const auto enumerator = collection.NewEnum();
    VARIANT values[2] = {};
    ULONG fetched = 99;
    EXPECT_HR(enumerator->Next(2, values, &fetched), DISP_E_BADVARTYPE);
    EXPECT_EQ(fetched, 0u);
    EXPECT_HR(enumerator->Next(1, values, nullptr), DISP_E_BADVARTYPE) << "it stands there";
    collection.Remove(1);
    EXPECT_EQ(IntsOf(enumerator), Ints{5});
}

TEST_F(NXVariantCollectionVtableTest, NewEnum_AtWhatCannotBeCopied_TakesBackWhatItGave) {
    const Variant text(L"text");
    VARIANT invalid = {};
    V_VT(&invalid) = 0x0FFE;
    collection.Add(text);
    EXPECT_HR(raw->Add(invalid, 0), S_OK);
    const auto bstrs = CountLiveAllocations().bstrs;
    VARIANT values[2] = {};
    ULONG fetched = 99;
    EXPECT_HR(collection.NewEnum()->Next(2, values, &fetched), DISP_E_BADVARTYPE);
    EXPECT_EQ(fetched, 0u);
    EXPECT_EQ(V_VT(&values[0]), VT_EMPTY);
    EXPECT_EQ(CountLiveAllocations().bstrs, bstrs);
    collection.Release();
}

TEST_F(NXVariantCollectionVtableTest, Item_ClearsWhatTheResultHeld) {
    collection.Add(5);
    collection.Add(6);
    Variant result(L"old");
    EXPECT_HR(raw->get_Item(1, result.Raw()), S_OK);
    EXPECT_EQ(result.Int(), 5);
    result = static_cast<IDispatch*>(&object);
    EXPECT_HR(raw->get_Item(2, result.Raw()), S_OK);
    EXPECT_EQ(object.references, 0u);
    EXPECT_EQ(result.Int(), 6);
}

TEST_F(NXVariantCollectionVtableTest, Item_IntoTheVeryValueStored_IsACopyOfIt) {
    Variant value(L"text");
    collection.Add(value);
    const BSTR before = value.Text();
    EXPECT_HR(raw->get_Item(1, value.Raw()), S_OK);
    EXPECT_BSTR(value.Text(), L"text");
    EXPECT_NE(value.Text(), before);
    collection.Release();
}

TEST_F(NXVariantCollectionVtableTest, Item_IntoAResultWhoseReleaseEmptiesTheCollection) {
    ASSERT_HR(collection.LateBound().Call(idAdd, L"text").hr, S_OK);
    Variant result(static_cast<IDispatch*>(&object));
    object.onRelease = [&] { EXPECT_HR(raw->Remove(1), S_OK); };
    EXPECT_HR(raw->get_Item(1, result.Raw()), S_OK);
    EXPECT_BSTR(result.Text(), L"text");
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_EQ(object.references, 0u);
}

TEST_F(NXVariantCollectionVtableTest, BadIndex_LeavesTheResultAsItWas) {
    const Variant result(L"untouched");
    const BSTR text = result.Text();
    for (const long index : noElements) {
        EXPECT_HR(raw->get_Item(index, result.Raw()), E_FAIL);
        EXPECT_EQ(result.Text(), text);
        EXPECT_BSTR(text, L"untouched");
    }
    SetErrorInfo(0, nullptr);
}

TEST_F(NXVariantCollectionVtableTest, Success_LeavesTheErrorRecordAsItWas) {
    const auto expectRecord = [](HRESULT expected) {
        CComPtr<IErrorInfo> record;
        EXPECT_HR(GetErrorInfo(0, &record), expected);
    };
    const auto succeed = [this] {
        EXPECT_HR(raw->Add(*Variant(5).Raw(), 0), S_OK);
        Variant result;
        EXPECT_HR(raw->get_Item(1, result.Raw()), S_OK);
        EXPECT_HR(raw->Remove(0), S_OK);
        EXPECT_HR(raw->Remove(0), S_OK) << "of nothing";
    };
    SetErrorInfo(0, nullptr);
    EXPECT_HR(raw->Remove(7), E_FAIL);
    succeed();
    expectRecord(S_OK);
    succeed();
    expectRecord(S_FALSE);
}

TEST_F(NXVariantCollectionVtableTest, Add_OutOfMemory_IsRaised_NothingAdded) {
    struct World {
        VariantCollection collection{Way::Vtable, {1, 2}};
        Variant text{L"new"};
    };
    for (const long position : {0L, 1L, 2L}) {
        SCOPED_TRACE(position);
        ForEachAllocationFailure(
            [] { return World{}; },
            [=](World& world) { Require(world.collection.Raw()->Add(*world.text.Raw(), position), "Add"); },
            [=](const World& world) {
                EXPECT_EQ(world.collection.All(), (Ints{1, 2}));
                world.collection.Add(world.text, position);
                EXPECT_EQ(world.collection.Count(), 3);
            },
            support::OutOfMemory::ComErrorOrBadAlloc);
    }
}

TEST_F(NXVariantCollectionVtableTest, Item_OutOfMemory_SucceedsWithAResultThatOwnsNothing) {
    for (const Variant& value : {Variant(L"text"), Bytes(3)}) { // Wine's copies of arrays of texts leak
        collection.Add(value);
        const std::size_t requests = support::CountRequests([&] { static_cast<void>(collection.Item(1)); });
        ASSERT_GE(requests, 1u);
        for (std::size_t number = 1; number <= requests; ++number) {
            SCOPED_TRACE(number);
            const ExpectNoLeaks noLeaks;
            Variant result;
            HRESULT hr = E_UNEXPECTED;
            {
                const AllocationFault fault(number);
                hr = raw->get_Item(1, result.Raw());
                EXPECT_TRUE(fault.Fired());
            }
            EXPECT_HR(hr, S_OK);
            EXPECT_TRUE(result.Type() == VT_EMPTY || V_BYREF(result.Raw()) == nullptr);
            EXPECT_TRUE(Is(collection.Item(1), value)) << "with memory again";
        }
        collection.Remove();
    }
}

TEST_F(NXVariantCollectionVtableTest, NewEnum_OutOfMemory_IsReturned) {
    struct World {
        VariantCollection collection{Way::Vtable};
        IUnknown* result = collection.Raw();
    };
    ForEachAllocationFailure([] { return World{}; },
                             [](World& world) {
                                 const HRESULT hr = world.collection.Raw()->get__NewEnum(&world.result);
                                 if (SUCCEEDED(hr)) {
                                     world.result->Release();
                                 }
                                 return hr;
                             },
                             [](const World& world) { EXPECT_EQ(world.result, nullptr); });
}

TEST_F(NXVariantCollectionVtableTest, Next_OutOfMemory_TakesBackWhatItGaveAndStandsThere) {
    const Variant texts[] = {L"first", L"second"};
    for (const Variant& text : texts) {
        collection.Add(text);
    }
    for (std::size_t failing = 0; failing < 2; ++failing) {
        SCOPED_TRACE(failing);
        const auto enumerator = collection.NewEnum();
        VARIANT values[2] = {};
        ULONG fetched = 99;
        {
            const ExpectNoLeaks noLeaks;
            const AllocationFault fault(failing + 1);
            EXPECT_HR(enumerator->Next(2, values, &fetched), E_OUTOFMEMORY);
        }
        EXPECT_EQ(fetched, 0u);
        EXPECT_BSTR(NextOf(enumerator).Text(), texts[failing].Text());
    }
    collection.Release();
}

TEST_F(NXVariantCollectionVtableTest, ReadsOfNumbersAndRemove_AllocateNothing) {
    collection.Add(1);
    collection.Add(2);
    EXPECT_EQ(support::CountRequests([&] {
                  Variant result;
                  raw->get_Item(1, result.Raw());
                  raw->Remove(1);
                  raw->Add(*result.Raw(), 1);
                  raw->Remove(0);
              }),
              0u);
}

// ---------------------------------------------------------------------------------------------------------------------
// What is special to late-bound calls

class NXVariantCollectionLateBoundTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;

  protected:
    /// Adds a value, which is gone when this returns.
    [[nodiscard]] HRESULT AddBits(const VARIANT& bits) const {
        Invocation call = {.member = idAdd};
        call.arguments.emplace_back();
        *call.arguments.front().Raw() = bits;
        const Reply reply = object.Invoke(call);
        *call.arguments.front().Raw() = {}; // what it refers to is the test's
        return reply.Failure();
    }

    Object element;
    support::StackObject<IUnknown> unknown;
    VariantCollection collection{Way::LateBound};
    DispatchObject object = collection.LateBound();

    /// Lets the collection go.
    void ReleaseCollection() {
        collection.Release();
        object = DispatchObject(nullptr);
    }
};

// Names and arguments

TEST_F(NXVariantCollectionLateBoundTest, Added_FromAVariableAtAnOddAddress_IsCopied) {
    alignas(VARIANT) char memory[2 * sizeof(VARIANT)];
    const Variant seven(7);
    std::memcpy(memory + 4, seven.Raw(), sizeof(VARIANT));
    VARIANT reference = {};
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_BYREF(&reference) = memory + 4;
    EXPECT_HR(AddBits(reference), S_OK);
    EXPECT_TRUE(Is(collection.Item(1), seven));
}

TEST_F(NXVariantCollectionLateBoundTest, Added_WhatItsCopyRuns_MayEmptyTheCollection) {
    collection.Add(Variant(1));
    collection.Add(Variant(2));
    unknown.onAddRef = [this] {
        while (collection.Count() > 0) {
            collection.Raw()->Remove(0);
        }
    };
    VARIANT value;
    V_VT(&value) = VT_UNKNOWN;
    V_UNKNOWN(&value) = &unknown;
    Invocation call = {.member = idAdd};
    call.arguments.emplace_back();
    *call.arguments.front().Raw() = value;
    call.arguments.emplace_back(2);
    const Reply reply = object.Invoke(call);
    *call.arguments.front().Raw() = {}; // the test's
    EXPECT_HR(reply.Failure(), E_FAIL);
    unknown.onAddRef = [] {};
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_EQ(unknown.references, 0u);
}

TEST_F(NXVariantCollectionLateBoundTest, GetIDsOfNames_KnowsEveryMember) {
    const std::pair<const wchar_t*, DISPID> members[] = {
        {L"Add", idAdd},     {L"ADD", idAdd},   {L"Remove", idRemove},
        {L"Count", idCount}, {L"Item", idItem}, {L"_NewEnum", DISPID_NEWENUM},
    };
    for (const auto& [name, expected] : members) {
        DISPID id = 0x7777;
        EXPECT_HR(support::Member(name).Resolve(object.Raw(), id), S_OK);
        EXPECT_EQ(id, expected);
    }
    DISPID id = 0;
    EXPECT_HR(support::Member(L"Clear").Resolve(object.Raw(), id), DISP_E_UNKNOWNNAME);
}

TEST_F(NXVariantCollectionLateBoundTest, GetIDsOfNames_KnowsTheParameters) {
    wchar_t add[] = L"Add";
    wchar_t item[] = L"Item";
    wchar_t position[] = L"position";
    LPOLESTR names[] = {add, item, position};
    DISPID ids[3] = {};
    EXPECT_HR(object.Raw()->GetIDsOfNames(IID_NULL, names, 3, LOCALE_USER_DEFAULT, ids), S_OK);
    EXPECT_EQ(ids[0], idAdd);
    EXPECT_EQ(ids[1], idItemOfAdd);
    EXPECT_EQ(ids[2], idPositionOfAdd);
}

TEST_F(NXVariantCollectionLateBoundTest, Members_AreReachedByDispid) {
    EXPECT_HR(object.Call(idAdd, L"a", 0).hr, S_OK);
    EXPECT_HR(object.Call(idAdd, L"b", 1).hr, S_OK);
    EXPECT_EQ(object.Get(idCount).value.Int(), 2);
    EXPECT_BSTR(object.Get(idItem, 1).value.Text(), L"b");
    EXPECT_HR(object.Call(idRemove, 1).hr, S_OK);
    EXPECT_BSTR(object.Get(idItem, 1).value.Text(), L"a");
    EXPECT_EQ(object.Get(DISPID_NEWENUM).value.Type(), VT_UNKNOWN);
}

TEST_F(NXVariantCollectionLateBoundTest, Properties_CalledAsMethods_AreRead) {
    EXPECT_HR(object.Call(L"Add", 5).hr, S_OK);
    EXPECT_EQ(object.Call(L"Item", 1).value.Int(), 5);
    EXPECT_EQ(object.Call(DISPID_VALUE, 1).value.Int(), 5);
    EXPECT_EQ(object.Call(L"Count").value.Int(), 1);
    const Reply reply = object.Call(DISPID_NEWENUM);
    ASSERT_EQ(reply.value.Type(), VT_UNKNOWN);
    EXPECT_EQ(IntsOf(EnumeratorOf(V_UNKNOWN(reply.value.Raw()))), Ints{5});
    EXPECT_HR(object.Invoke({.member = idItem, .arguments = {1}, .wantsValue = false}).hr, S_OK);
}

TEST_F(NXVariantCollectionLateBoundTest, Position_LeftOut_Appends) {
    EXPECT_HR(object.Call(L"Add", 1).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 2).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 3, Variant::Missing()).hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{1, 2, 3}));
}

TEST_F(NXVariantCollectionLateBoundTest, Position_ByName) {
    EXPECT_HR(object.Call(L"Add", 1).hr, S_OK);
    EXPECT_HR(object.Invoke({.member = idAdd, .arguments = {2, 1}, .names = {idPositionOfAdd}}).hr, S_OK);
    EXPECT_HR(object.Invoke({.member = idAdd, .arguments = {3, 1}, .names = {idItemOfAdd, idPositionOfAdd}}).hr, S_OK);
    EXPECT_HR(object.Invoke({.member = idAdd, .arguments = {2, 4}, .names = {idPositionOfAdd, idItemOfAdd}}).hr, S_OK);
    EXPECT_HR(object.Invoke({.member = idAdd, .arguments = {5}, .names = {idItemOfAdd}}).hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{3, 4, 2, 1, 5}));
}

TEST_F(NXVariantCollectionLateBoundTest, Index_LeftOut_RemovesTheLast) {
    for (const int value : {1, 2, 3}) {
        collection.Add(value);
    }
    EXPECT_HR(object.Call(L"Remove").hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{1, 2}));
    EXPECT_HR(object.Call(L"Remove", Variant::Missing()).hr, S_OK);
    EXPECT_EQ(collection.All(), Ints{1});
    EXPECT_HR(object.Invoke({.member = idRemove, .arguments = {1}, .names = {idIndexOfRemove}}).hr, S_OK);
    EXPECT_EQ(collection.Count(), 0);
    EXPECT_HR(object.Call(L"Remove").hr, S_OK) << "of nothing";
}

TEST_F(NXVariantCollectionLateBoundTest, Numbers_AreConverted) {
    long one = 1;
    EXPECT_HR(object.Call(L"Add", 1, L"0").hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 2, 1.2).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 3, Variant::To(one)).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 4, Variant()).hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{3, 2, 1, 4}));
    EXPECT_EQ(object.Get(L"Item", L"2").value.Int(), 2);
    EXPECT_EQ(object.Get(L"Item", Variant::To(one)).value.Int(), 3);
    EXPECT_HR(object.Call(L"Remove", short{1}).hr, S_OK);
    EXPECT_EQ(collection.All(), (Ints{2, 1, 4}));
}

TEST_F(NXVariantCollectionLateBoundTest, Arguments_ThatDoNotFit_ChangeNothing) {
    collection.Add(1);
    EXPECT_HR(object.Call(L"Add").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Call(L"Add", 1, 0, 0).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Call(L"Add", 1, L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Call(L"Add", 1, Variant::Null()).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Call(L"Add", 1, 3e9).hr, DISP_E_OVERFLOW);
    EXPECT_HR(object.Call(L"Remove", L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Call(L"Remove", 1, 1).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Get(L"Item").hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Get(L"Item", 1, 1).hr, DISP_E_BADPARAMCOUNT);
    EXPECT_HR(object.Get(L"Item", L"x").hr, DISP_E_TYPEMISMATCH);
    EXPECT_TRUE(FAILED(object.Put(L"Item", 1, 5).hr));
    EXPECT_TRUE(FAILED(object.Put(L"Count", 5).hr));
    EXPECT_EQ(collection.All(), Ints{1});
}

// The own copy

TEST_F(NXVariantCollectionLateBoundTest, Values_OfEveryKind_OutliveTheirOriginals) {
    const auto kinds = AllKinds(&element, &unknown);
    for (const Kind& kind : kinds) {
        collection.Add(kind.make());
    }
    const auto elements = ElementsOf(collection.NewEnum());
    ASSERT_EQ(elements.size(), kinds.size());
    for (std::size_t index = 0; index < kinds.size(); ++index) {
        SCOPED_TRACE(kinds[index].name);
        EXPECT_TRUE(Is(collection.Item(static_cast<long>(index) + 1), kinds[index].make()));
        EXPECT_TRUE(Is(elements[index], kinds[index].make()));
    }
}

TEST_F(NXVariantCollectionLateBoundTest, References_OfEveryKind_BecomeWhatTheyReferToNow) {
    for (const Kind& kind : AllKinds(&element, &unknown)) {
        SCOPED_TRACE(kind.name);
        {
            Variant variable = kind.make();
            if (CanBeReferred(variable)) {
                ASSERT_HR(AddBits(*ReferenceTo(variable).Raw()), S_OK);
                Variant reference = ReferenceTo(variable);
                ASSERT_HR(AddBits(*Variant::To(reference).Raw()), S_OK) << "a reference to a reference";
            }
            ASSERT_HR(AddBits(*Variant::To(variable).Raw()), S_OK);
            EXPECT_TRUE(Is(variable, kind.make())) << "the variable stays the caller's";
            variable = L"changed";
        }
        while (collection.Count() > 0) {
            EXPECT_TRUE(Is(collection.Item(1), kind.make()));
            collection.Remove(1);
        }
    }
}

TEST_F(NXVariantCollectionLateBoundTest, Text_IsACopy) {
    const Variant text(L"text");
    ASSERT_HR(AddBits(*text.Raw()), S_OK);
    text.Text()[0] = L'X';
    EXPECT_BSTR(collection.Item(1).Text(), L"text");
}

TEST_F(NXVariantCollectionLateBoundTest, Array_IsACopy) {
    const Variant array = Mixture(&element);
    ASSERT_HR(AddBits(*array.Raw()), S_OK);
    V_I4(static_cast<VARIANT*>(V_ARRAY(array.Raw())->pvData)) = 8;
    EXPECT_TRUE(Is(collection.Item(1), Mixture(&element)));
}

TEST_F(NXVariantCollectionLateBoundTest, Object_IsReferencedUntilItIsRemoved) {
    collection.Add(static_cast<IDispatch*>(&element));
    EXPECT_EQ(element.references, 1u);
    collection.Add(static_cast<IDispatch*>(&element), 1);
    EXPECT_EQ(element.references, 2u);
    collection.Add(UnknownOf(&unknown));
    EXPECT_EQ(unknown.references, 1u);
    collection.Add(Objects(&element));
    EXPECT_EQ(element.references, 4u);
    collection.Remove(1);
    EXPECT_EQ(element.references, 3u);
    collection.Remove();
    EXPECT_EQ(element.references, 1u);
    collection.Remove();
    EXPECT_EQ(unknown.references, 0u);
    EXPECT_EQ(element.references, 1u);
    collection.Remove(1);
    EXPECT_EQ(element.references, 0u);
}

TEST_F(NXVariantCollectionLateBoundTest, Object_IsReferencedUntilTheCollectionGoes) {
    for (int position = 0; position < 3; ++position) {
        collection.Add(static_cast<IDispatch*>(&element), position);
    }
    collection.Add(Mixture(&element));
    EXPECT_EQ(element.references, 4u);
    ReleaseCollection();
    EXPECT_EQ(element.references, 0u);
}

TEST_F(NXVariantCollectionLateBoundTest, Object_OfARefusedAdd_IsNotReferenced) {
    EXPECT_TRUE(FAILED(object.Call(L"Add", static_cast<IDispatch*>(&element), 1).hr));
    EXPECT_EQ(element.references, 0u);
}

TEST_F(NXVariantCollectionLateBoundTest, Collection_MayHoldItself) {
    EXPECT_HR(object.Call(L"Add", object.Raw()).hr, S_OK);
    EXPECT_EQ(collection.Item(1).Object(), object.Raw());
    EXPECT_HR(object.Call(L"Remove").hr, S_OK);
    EXPECT_EQ(collection.Count(), 0);
}

TEST_F(NXVariantCollectionLateBoundTest, BothWaysToAdd_KeepTheirRulesInOneCollection) {
    Object lent;
    const Variant text(L"lent");
    const Variant dispatch(static_cast<IDispatch*>(&lent));
    INXVariantCollection* const vtable = collection.Raw();
    EXPECT_HR(vtable->Add(*text.Raw(), 0), S_OK);
    collection.Add(L"own");
    EXPECT_HR(vtable->Add(*dispatch.Raw(), 1), S_OK);
    collection.Add(static_cast<IDispatch*>(&element), 2);
    EXPECT_EQ(lent.references, 1u) << "this test's";
    EXPECT_EQ(element.references, 1u) << "the collection's";
    text.Text()[0] = L'b';
    EXPECT_BSTR(collection.Item(3).Text(), L"bent");
    EXPECT_BSTR(collection.Item(4).Text(), L"own");
    EXPECT_HR(vtable->Remove(2), S_OK) << "through the vtable, but added late-bound";
    EXPECT_EQ(element.references, 0u);
    collection.Remove(1);
    EXPECT_EQ(lent.references, 1u);
    EXPECT_HR(vtable->Add(*dispatch.Raw(), 2), S_OK);
    collection.Add(static_cast<IDispatch*>(&element));
    ReleaseCollection();
    EXPECT_EQ(lent.references, 1u);
    EXPECT_EQ(element.references, 0u);
    EXPECT_BSTR(text.Text(), L"bent");
}

// Invalid values

TEST_F(NXVariantCollectionLateBoundTest, InvalidValue_IsRefusedAndNotStored) {
    collection.Add(1);
    for (const int type : {0xFFFF, 0x0FFE, 0x000F, VT_VOID + 0, VT_CLSID + 0, VT_BLOB + 0, VT_BYREF | VT_EMPTY,
                           VT_BYREF | VT_NULL, VT_ARRAY | VT_EMPTY, VT_VECTOR | VT_I4, VT_RESERVED | VT_I4}) {
        SCOPED_TRACE(type);
        VARIANT invalid = {};
        V_VT(&invalid) = static_cast<VARTYPE>(type);
        EXPECT_TRUE(FAILED(AddBits(invalid)));
        EXPECT_EQ(collection.All(), Ints{1});
    }
}

TEST_F(NXVariantCollectionLateBoundTest, InvalidReference_IsRefusedAndNotStored) {
    VARIANT invalid = {};
    V_VT(&invalid) = 0x0FFE;
    VARIANT reference = {};
    V_VT(&reference) = VT_BYREF | VT_VARIANT;
    V_VARIANTREF(&reference) = &invalid;
    EXPECT_TRUE(FAILED(AddBits(reference)));
    EXPECT_EQ(collection.Count(), 0);
}

TEST_F(NXVariantCollectionLateBoundTest, ReferenceToNothing_IsRefusedAndNotStored) {
    for (const int type : {VT_I4 + 0, VT_BSTR + 0, VT_DISPATCH + 0, VT_DECIMAL + 0, VT_VARIANT + 0, VT_ARRAY | VT_I4}) {
        SCOPED_TRACE(type);
        const Variant toNothing = Of<void*>(VT_BYREF | type, nullptr);
        EXPECT_TRUE(FAILED(AddBits(*toNothing.Raw())));
        const Variant toReference = Of(VT_BYREF | VT_VARIANT, toNothing.Raw());
        EXPECT_TRUE(FAILED(AddBits(*toReference.Raw())));
        EXPECT_EQ(collection.Count(), 0);
    }
}

// Lack of memory

TEST_F(NXVariantCollectionLateBoundTest, OutOfMemory_IsAnHresult) {
    std::vector<Invocation> calls = {
        {.member = DISPID_NEWENUM, .flags = DISPATCH_PROPERTYGET, .wantsValue = false},
    };
    // Not with references to texts, nor with arrays of texts: without memory, Wine's copies are wrong, or leak.
    Variant variable(L"new");
    Variant bytes = Bytes(3);
    for (const Variant& value : {Variant(5), variable, bytes, Variant::To(variable), ReferenceTo(bytes),
                                 Variant(static_cast<IDispatch*>(&element))}) {
        calls.push_back({.member = idAdd, .arguments = {value}, .wantsValue = false});
        calls.push_back({.member = idAdd, .arguments = {value, 2}, .wantsValue = false});
    }
    for (const Invocation& call : calls) {
        SCOPED_TRACE(call.arguments.empty() ? 0 : call.arguments.front().Type());
        const ULONG references = element.references;
        ForEachAllocationFailure(
            [] {
                return VariantCollection(Way::LateBound, {1, 2});
            },
            [&](const VariantCollection& made) { return made.LateBound().Invoke(call).Failure(); },
            [&](const VariantCollection& made) {
                EXPECT_EQ(made.All(), (Ints{1, 2}));
                EXPECT_EQ(element.references, references);
                EXPECT_HR(made.LateBound().Invoke(call).hr, S_OK) << "with memory again";
            });
        EXPECT_EQ(element.references, references);
    }
}

TEST_F(NXVariantCollectionLateBoundTest, Item_OutOfMemory_ChangesNothing) {
    const Invocation item = {.member = idItem, .flags = DISPATCH_PROPERTYGET, .arguments = {1}};
    for (const Variant& value : {Variant(L"text"), Bytes(3)}) { // Wine's copies of arrays of texts leak
        collection.Add(value);
        const std::size_t requests = support::CountRequests([&] { static_cast<void>(object.Invoke(item)); });
        ASSERT_GE(requests, 1u);
        for (std::size_t number = 1; number <= requests; ++number) {
            SCOPED_TRACE(number);
            const ExpectNoLeaks noLeaks;
            Reply reply;
            {
                const AllocationFault fault(number);
                reply.hr = object.Invoke(item).hr;
                EXPECT_TRUE(fault.Fired());
            }
            EXPECT_TRUE(reply.hr == S_OK || reply.hr == E_OUTOFMEMORY) << support::PrintedHr(reply.hr);
            EXPECT_TRUE(Is(collection.Item(1), value));
        }
        collection.Remove();
    }
}

// Elements whose release uses the collection

/// An object that, when it is released for good, does something once.
class Parting : public Object {
  public:
    explicit Parting(std::function<void()> action) {
        onRelease = [this, action = std::move(action)] {
            if (references == 1 && !std::exchange(m_gone, true)) {
                action();
            }
        };
    }

    [[nodiscard]] bool IsGone() const noexcept { return m_gone && references == 0; }

  private:
    bool m_gone = false;
};

TEST_F(NXVariantCollectionLateBoundTest, Element_Removed_MayEmptyTheCollection) {
    for (const bool lateBound : {false, true}) {
        for (const long index : {1L, 2L, 3L}) {
            Parting parting([&] {
                for (int count = 0; count < 4; ++count) {
                    EXPECT_HR(collection.Raw()->Remove(0), S_OK);
                }
            });
            for (long number = 1; number <= 3; ++number) {
                collection.Add(number == index ? Variant(static_cast<IDispatch*>(&parting)) : Variant(L"text"));
            }
            if (lateBound) {
                collection.Remove(index);
            } else {
                EXPECT_HR(collection.Raw()->Remove(index), S_OK);
            }
            EXPECT_TRUE(parting.IsGone());
            EXPECT_EQ(collection.Count(), 0);
        }
    }
}

TEST_F(NXVariantCollectionLateBoundTest, Element_Removed_MayFillTheCollection) {
    Parting parting([&] {
        for (int value = 0; value < 100; ++value) {
            EXPECT_HR(object.Call(L"Add", value).hr, S_OK);
        }
    });
    collection.Add(static_cast<IDispatch*>(&parting));
    collection.Remove();
    EXPECT_TRUE(parting.IsGone());
    EXPECT_EQ(collection.Count(), 100);
    EXPECT_EQ(collection.Item(100).Int(), 99);
}

TEST_F(NXVariantCollectionLateBoundTest, Element_RemovedLateBound_MayAddThroughTheVtable_ByItsRule) {
    const Variant text(L"lent");
    Parting parting([&] { EXPECT_HR(collection.Raw()->Add(*text.Raw(), 0), S_OK); });
    collection.Add(static_cast<IDispatch*>(&parting));
    collection.Remove();
    text.Text()[0] = L'b';
    EXPECT_BSTR(collection.Item(1).Text(), L"bent");
    collection.Add(L"own");
    EXPECT_BSTR(collection.Item(2).Text(), L"own");
    ReleaseCollection();
}

TEST_F(NXVariantCollectionLateBoundTest, Element_Removed_MayReadTheCollection) {
    Ints seen;
    Parting parting([&] { seen = IntsOf(collection.NewEnum()); });
    collection.Add(1);
    collection.Add(static_cast<IDispatch*>(&parting));
    collection.Add(2);
    collection.Remove(2);
    EXPECT_EQ(seen, (Ints{1, 2})) << "without the one that goes";
}

TEST_F(NXVariantCollectionLateBoundTest, Element_Removed_MayReleaseTheCollection) {
    for (const bool lateBound : {false, true}) {
        SCOPED_TRACE(lateBound);
        INXVariantCollection* last = nullptr;
        Parting parting([&] { last->Release(); });
        {
            const VariantCollection own(Way::LateBound);
            own.Add(static_cast<IDispatch*>(&parting));
            own.Add(L"text");
            last = own.Raw();
            last->AddRef();
        }
        if (lateBound) {
            VARIANT index = *Variant(1).Raw();
            DISPPARAMS parameters = {&index, nullptr, 1, 0};
            EXPECT_HR(last->Invoke(idRemove, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr,
                                   nullptr, nullptr),
                      S_OK);
        } else {
            EXPECT_HR(last->Remove(1), S_OK);
        }
        EXPECT_TRUE(parting.IsGone());
    }
    ReleaseCollection();
    EXPECT_FALSE(support::DllHoldsObjects());
}

// Such a collection has no references left; the element knows its address all the same, as a script's variable may.
TEST_F(NXVariantCollectionLateBoundTest, Element_OfACollectionThatGoes_MayUseItStill) {
    INXVariantCollection* const going = collection.Raw();
    Object another;
    long countSeen = -1;
    Parting parting([&] {
        const DispatchObject calledBack(going);
        countSeen = calledBack.Get(L"Count").value.Int();
        EXPECT_HR(calledBack.Call(L"Add", L"text").hr, S_OK);
        EXPECT_HR(calledBack.Call(L"Add", static_cast<IDispatch*>(&another), 1).hr, S_OK);
        EXPECT_HR(calledBack.Call(L"Remove").hr, S_OK);
        EXPECT_EQ(calledBack.Get(L"Item", 1).value.Object(), &another);
        EXPECT_EQ(calledBack.Get(DISPID_NEWENUM).value.Type(), VT_UNKNOWN);
    });
    collection.Add(L"before");
    collection.Add(static_cast<IDispatch*>(&parting));
    collection.Add(static_cast<IDispatch*>(&another));
    ReleaseCollection();
    EXPECT_TRUE(parting.IsGone());
    EXPECT_EQ(countSeen, 0) << "a collection that goes is empty";
    EXPECT_EQ(another.references, 0u);
    EXPECT_FALSE(support::DllHoldsObjects());
}

TEST_F(NXVariantCollectionLateBoundTest, Element_AddedWhileTheCollectionGoes_MayUseItToo) {
    INXVariantCollection* const going = collection.Raw();
    Parting last([&] { EXPECT_EQ(DispatchObject(going).Get(L"Count").value.Int(), 0); });
    Parting first([&] { EXPECT_HR(DispatchObject(going).Call(L"Add", static_cast<IDispatch*>(&last)).hr, S_OK); });
    collection.Add(static_cast<IDispatch*>(&first));
    ReleaseCollection();
    EXPECT_TRUE(first.IsGone());
    EXPECT_TRUE(last.IsGone());
}

TEST_F(NXVariantCollectionLateBoundTest, Element_OfAnAggregateThatGoes_MayUseItStill) {
    support::StackObject<IUnknown> outer;
    CComPtr<IUnknown> inner;
    ASSERT_HR(CoCreateInstance(CLSID_NXVariantCollection, &outer, CLSCTX_INPROC_SERVER, IID_IUnknown,
                               reinterpret_cast<void**>(&inner)),
              S_OK);
    IDispatch* going = nullptr;
    ASSERT_HR(inner->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&going)), S_OK);
    int called = 0;
    Parting parting([&] {
        const DispatchObject calledBack(going);
        EXPECT_HR(calledBack.Call(idAdd, L"text").hr, S_OK);
        called = calledBack.Get(idCount).value.Int();
    });
    EXPECT_HR(DispatchObject(going).Call(idAdd, static_cast<IDispatch*>(&parting)).hr, S_OK);
    going->Release();
    EXPECT_EQ(outer.references, 0u);
    inner.Release();
    EXPECT_TRUE(parting.IsGone());
    EXPECT_EQ(called, 1);
}

// ---------------------------------------------------------------------------------------------------------------------
// The object

class NXVariantCollectionObjectTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { WarmUp(); }

  private:
    const ExpectNoLeaks m_noLeaks;
};

TEST_F(NXVariantCollectionObjectTest, Interfaces_AreItsOwnAndTheGeneralOnes) {
    support::ExpectInterfacesOfObject<INXVariantCollection>(CLSID_NXVariantCollection);
}

TEST_F(NXVariantCollectionObjectTest, BothWaysToCall_ReachTheSameElements) {
    const DispatchObject lateBound = Create(CLSID_NXVariantCollection);
    const CComPtr<INXVariantCollection> vtable = lateBound.As<INXVariantCollection>();
    EXPECT_HR(vtable->Add(*Variant(1).Raw(), 0), S_OK);
    EXPECT_EQ(lateBound.Get(L"Item", 1).value.Int(), 1);
    EXPECT_HR(lateBound.Call(L"Add", 2).hr, S_OK);
    long count = 0;
    EXPECT_HR(vtable->get_Count(&count), S_OK);
    EXPECT_EQ(count, 2);
}

TEST_F(NXVariantCollectionObjectTest, LivingObjectOrEnumerator_KeepsTheDllLoaded) {
    ASSERT_FALSE(support::DllHoldsObjects());
    VariantCollection collection(Way::Vtable);
    auto enumerator = collection.NewEnum();
    collection.Release();
    EXPECT_TRUE(support::DllHoldsObjects());
    enumerator.Release();
    EXPECT_FALSE(support::DllHoldsObjects());
}

} // namespace
