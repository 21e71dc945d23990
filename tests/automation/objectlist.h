/// The two lists of automation objects, for tests in the same words: which classes, members and texts belong to which,
/// and their common members, called either way.
#pragma once

#include <string>
#include <vector>

#include <atlbase.h>
#include <nuvolex.h>

#include "tests/automation/client.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/stackobject.h"
#include "tests/support/bstr.h"

namespace support {

/// References to an object that are held right now.
inline ULONG ReferencesOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

/// Whether two interfaces are those of one object.
inline bool AreSame(IUnknown* one, IUnknown* other) {
    if (one == nullptr || other == nullptr) {
        return one == other;
    }
    CComPtr<IUnknown> first;
    CComPtr<IUnknown> second;
    one->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&first));
    other->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&second));
    return first.p == second.p;
}

/// What NXTokenStringList is, and its members' DISPIDs, which compiled scripts contain.
struct TokenStrings {
    using List = INXTokenStringList;
    using Element = INXTokenString;
    using StackElement = StackTokenString;

    static REFCLSID ListClass() { return CLSID_NXTokenStringList; }
    static REFCLSID ElementClass() { return CLSID_NXTokenString; }
    static constexpr const wchar_t* source = L"Nuvolex.NXTokenStringList.1";

    static constexpr DISPID idItem = 0x60020000;
    static constexpr DISPID idRemove = 0x60020002;
    static constexpr DISPID idNew = 0x60020003;
    static constexpr DISPID idAdd = 0x60020005;
    static constexpr DISPID idCount = 0x60020006;
    static constexpr DISPID idAddNew = 0x60020009;

    /// A call of an element that fails, and one that allocates.
    static Invocation FailingCall() {
        return {.member = DISPID_VALUE, .flags = DISPATCH_PROPERTYGET, .arguments = {5}};
    }
    static Invocation AllocatingCall() { return {.member = 0x60020006, .arguments = {L"x"}}; }

    /// Stores a text in an element, to know it again.
    static void Mark(Element* element, const wchar_t* mark) { element->put_Value(Bstr(mark)); }
    static Bstr MarkOf(Element* element) {
        Bstr mark;
        element->get_Value(mark.Out());
        return mark;
    }

    /// Lets go of what AddNew gave through the vtable, which the list lends.
    static void ReleaseAdded(Element* /*lent*/) noexcept {}
};

/// The same of NXFileStreamList.
struct FileStreams {
    using List = INXFileStreamList;
    using Element = INXFileStream;
    using StackElement = StackFileStream;

    static REFCLSID ListClass() { return CLSID_NXFileStreamList; }
    static REFCLSID ElementClass() { return CLSID_NXFileStream; }
    static constexpr const wchar_t* source = L"Nuvolex.NXFileStreamList.1";

    static constexpr DISPID idNew = 0x60020000;
    static constexpr DISPID idItem = 0x60020002;
    static constexpr DISPID idRemove = 0x60020004;
    static constexpr DISPID idCount = 0x60020005;
    static constexpr DISPID idAdd = 0x60020008;
    static constexpr DISPID idAddNew = 0x60020009;

    static Invocation FailingCall() { return {.member = 0x60020007}; }
    static Invocation AllocatingCall() { return {.member = 0x60020003, .arguments = {L"x"}}; }

    /// The name of a file that cannot be opened is stored too.
    static void Mark(Element* element, const wchar_t* mark) {
        VARIANT_BOOL open = VARIANT_TRUE;
        element->Open(Bstr(std::wstring(L"no such folder\\") + mark), VARIANT_FALSE, &open);
        EXPECT_EQ(open, VARIANT_FALSE);
    }
    static Bstr MarkOf(Element* element) {
        Bstr name;
        element->get_fileName(name.Out());
        return Bstr(std::wstring_view(name).substr(std::wstring_view(L"no such folder\\").size()));
    }

    /// The caller has a reference.
    static void ReleaseAdded(Element* owned) noexcept { owned->Release(); }
};

/// A list object whose members are called either way.
template <class Kind> class ObjectList : public Client<typename Kind::List> {
    using List = typename Kind::List;
    using Element = typename Kind::Element;

  public:
    explicit ObjectList(Way way) : Client<List>(way, Kind::ListClass()) {}

    CComPtr<Element> Item(long index) const { return this->template Get<Element*>(L"Item", &List::get_Item, index); }
    void SetItem(long index, Element* element) const { this->Put(L"Item", &List::put_Item, index, element); }
    void Remove(long index) const { this->Call(L"Remove", &List::Remove, index); }
    CComPtr<Element> New() const { return this->template Get<Element*>(L"New", &List::get_New); }
    void SetNew(Element* element) const { this->Put(L"New", &List::put_New, element); }
    void Add(Element* element) const { this->Call(L"Add", &List::Add, element); }
    long Count() const { return this->template Get<long>(L"Count", &List::get_Count); }
    CComPtr<Element> DefaultItem(long index) const {
        return this->template Get<Element*>(DISPID_VALUE, &List::get__Item, index);
    }
    CComPtr<IEnumVARIANT> NewEnum() const {
        return EnumeratorOf(this->template Get<IUnknown*>(DISPID_NEWENUM, &List::get__NewEnum));
    }
    /// With a reference for the caller, either way.
    CComPtr<Element> AddNew() const {
        if (this->WayToCall() == Way::LateBound) {
            return this->template CallFor<Element*>(L"AddNew", &List::AddNew);
        }
        Element* added = nullptr;
        Require(this->Raw()->AddNew(&added), "AddNew");
        CComPtr<Element> owned(added);
        Kind::ReleaseAdded(added);
        return owned;
    }

    template <class Action> [[nodiscard]] ::testing::AssertionResult Refuses(Action action) const {
        return this->IsIndexError(Kind::source, action);
    }

    /// Whether the entries are these objects.
    [[nodiscard]] ::testing::AssertionResult Holds(const std::vector<Element*>& expected) const {
        if (Count() != static_cast<long>(expected.size())) {
            return ::testing::AssertionFailure() << Count() << " entries";
        }
        for (std::size_t index = 0; index < expected.size(); ++index) {
            if (!AreSame(Item(static_cast<long>(index)), expected[index])) {
                return ::testing::AssertionFailure() << "entry " << index << " is another object";
            }
        }
        return ::testing::AssertionSuccess();
    }

    /// A new object of the class that the list is for.
    static CComPtr<Element> NewElement() { return CreateInstance<Element>(Kind::ElementClass()); }

    /// Prepares for counting; see support::WarmUp.
    static void WarmUp() {
        support::WarmUp(Kind::ListClass(), {.member = Kind::idRemove, .arguments = {5}},
                        {.member = Kind::idAdd, .arguments = {static_cast<IDispatch*>(nullptr)}});
        support::WarmUp(Kind::ElementClass(), Kind::FailingCall(), Kind::AllocatingCall());
        static_cast<void>(Create(CLSID_NXString)); // makes the class's factory, which stays
    }
};

} // namespace support
