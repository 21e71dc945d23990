/// The two lists of automation objects as clients, so that one test covers both. See tests/automation/client.h.
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

/// NXTokenStringList and its elements.
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

    /// Stores a string in an element, by which the test recognises it.
    static void Mark(Element* element, const wchar_t* mark) { element->put_Value(Bstr(mark)); }
    static Bstr MarkOf(Element* element) {
        Bstr mark;
        element->get_Value(mark.Out());
        return mark;
    }

    /// Releases the result of AddNew through the vtable, if the caller owns it. Here the list lends it.
    static void ReleaseAdded(Element* /*lent*/) noexcept {}
};

/// NXFileStreamList and its elements.
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

    /// A stream also stores the name of a file that it cannot open.
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

    /// Here the caller owns it.
    static void ReleaseAdded(Element* owned) noexcept { owned->Release(); }
};

/// A list of objects of one kind.
template <class Kind> class ObjectList : public Client<typename Kind::List> {
    using List = typename Kind::List;
    using Element = typename Kind::Element;

  public:
    static REFCLSID Clsid() { return Kind::ListClass(); }

    explicit ObjectList(Binding binding) : Client<List>(binding, Clsid()) {}

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
    /// The caller owns a reference, with either binding.
    CComPtr<Element> AddNew() const {
        if (this->GetBinding() == Binding::LateBound) {
            return this->template CallFor<Element*>(L"AddNew", &List::AddNew);
        }
        Element* added = nullptr;
        Require(this->Raw()->AddNew(&added), "AddNew");
        CComPtr<Element> owned(added);
        Kind::ReleaseAdded(added);
        return owned;
    }

    template <class Action> [[nodiscard]] ::testing::AssertionResult RefusesIndex(Action action) const {
        return this->IsRefused(L"Index out of bounds!", Kind::source, action);
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

    /// A new object for the list.
    static CComPtr<Element> NewElement() { return CreateInstance<Element>(Kind::ElementClass()); }

    /// See support::WarmUp.
    static void WarmUp() {
        support::WarmUp(Kind::ListClass(), {.member = Kind::idRemove, .arguments = {5}},
                        {.member = Kind::idAdd, .arguments = {static_cast<IDispatch*>(nullptr)}});
        support::WarmUp(Kind::ElementClass(), Kind::FailingCall(), Kind::AllocatingCall());
        static_cast<void>(Create(CLSID_NXString)); // makes the class's factory, which stays
    }
};

} // namespace support
