// Objects as arguments of late-bound calls. Their code runs during the call: their default property where a value is
// expected, QueryInterface where an object is.

#include <algorithm>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <nuvolex.h>

#include "automation/nxfilestream.h"
#include "automation/nxfilestreamlist.h"
#include "automation/nxstringlist.h"
#include "automation/nxtokenstring.h"
#include "automation/nxtokenstringlist.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/localobject.h"
#include "tests/automation/objectlist.h"
#include "tests/automation/stackobject.h"
#include "tests/support/bstr.h"

namespace {

using support::Answers;
using support::CollectionOf;
using support::CountOf;
using support::DispatchObject;
using support::Foreign;
using support::ListOf;
using support::New;
using support::NewLateBound;
using support::Nothing;
using support::ReferencesOf;
using support::ReferenceTo;
using support::Reply;
using support::StringId;
using support::StringListId;
using support::StringOf;
using support::TextOf;
using support::TokenStrings;
using support::Typed;
using support::Variant;

constexpr WORD get = DISPATCH_PROPERTYGET;

using NXDispatchObjectsTest = support::DispatchTest;

/// A class that records whether its object is alive. There is one at a time.
template <class Class> class Watched : public Class {
  public:
    Watched() { alive = true; }
    ~Watched() { alive = false; }
    static inline bool alive = false;
};

// ---------------------------------------------------------------------------------------------------------------------
// Objects for string and number parameters

TEST_F(NXDispatchObjectsTest, Object_GivesItsDefaultProperty) {
    Foreign number{2};
    Foreign text{L"text"};
    Foreign numberAsText{L"3"};
    Variant variable(&number);
    const DispatchObject object = StringOf(L"abcdef");
    EXPECT_BSTR(object.Call(L"Left", &number).value.Text(), L"ab");
    EXPECT_BSTR(object.Call(L"Left", Variant::To(variable)).value.Text(), L"ab");
    EXPECT_BSTR(object.Call(L"Mid", &number, &numberAsText).value.Text(), L"cde");
    EXPECT_EQ(number.calls, 3);
    EXPECT_HR(object.Put(L"Value", &text).hr, S_OK);
    EXPECT_BSTR(TextOf(object), L"text");
    variable = Variant();
    EXPECT_EQ(number.references + text.references + numberAsText.references, 0u);
}

TEST_F(NXDispatchObjectsTest, Object_WithoutASuitableDefaultProperty_IsAMismatch) {
    Foreign object{L"x"};
    const auto read = [&] { return StringOf(L"abc").Call(L"Mid", &object, 1); };
    EXPECT_HR(read().hr, DISP_E_TYPEMISMATCH) << "no number";
    EXPECT_EQ(read().badArgument, 1u);
    for (const HRESULT failure : {E_FAIL, DISP_E_MEMBERNOTFOUND, DISP_E_EXCEPTION, E_NOTIMPL}) {
        object.failure = failure;
        EXPECT_HR(read().hr, DISP_E_TYPEMISMATCH);
    }
    object.failure = S_OK;
    object.value = Variant(1e300);
    EXPECT_HR(read().hr, DISP_E_OVERFLOW);
    EXPECT_EQ(object.references, 0u);
}

/// An object whose last reference the caller releases when the argument's default property is read.
template <class Class> struct LastReference {
    LastReference() : caller(static_cast<IDispatch*>(New<Watched<Class>>().p)) {
        argument.onRead = [this] {
            caller.Release();
            aliveAfterwards = Watched<Class>::alive;
        };
    }
    CComPtr<IDispatch> caller;
    Foreign argument{0};
    bool aliveAfterwards = false;
};

TEST_F(NXDispatchObjectsTest, DefaultProperty_MayReleaseTheObjectOfTheCall) {
    LastReference<CNXStringList> world;
    ASSERT_HR(DispatchObject(world.caller).Call(L"Add", L"zero").hr, S_OK);
    const Variant argument(&world.argument);
    Answers answers;
    EXPECT_HR(Call(world.caller, StringListId::Item, get, {*argument.Raw()}, answers), S_OK);
    EXPECT_TRUE(world.aliveAfterwards);
    EXPECT_FALSE(Watched<CNXStringList>::alive) << "no reference is left";
    ASSERT_EQ(V_VT(&answers.result), VT_BSTR);
    EXPECT_BSTR(V_BSTR(&answers.result), L"zero");
    VariantClear(&answers.result);
}

TEST_F(NXDispatchObjectsTest, DefaultProperty_MayReleaseTheObjectOfACallThatFails) {
    LastReference<CNXStringList> world;
    const Variant argument(&world.argument);
    Answers answers;
    EXPECT_HR(Call(world.caller, StringListId::Item, get, {*argument.Raw()}, answers), DISP_E_EXCEPTION);
    EXPECT_TRUE(world.aliveAfterwards);
    EXPECT_FALSE(Watched<CNXStringList>::alive);
    EXPECT_BSTR(answers.exception.bstrDescription, L"Index out of bounds!");
    SysFreeString(answers.exception.bstrDescription);
    SysFreeString(answers.exception.bstrSource);
    SysFreeString(answers.exception.bstrHelpFile);
}

/// Makes calls in which the default property of a later argument changes the string of an earlier one.
void ExpectTextOfBeforeIsTaken(const std::function<void(BSTR& variable)>& change) {
    BSTR variable = SysAllocString(L"no such folder\\before");
    Foreign binary{true};
    binary.onRead = [&] { change(variable); };
    const DispatchObject file = NewLateBound<CNXFileStream>();
    EXPECT_HR(file.Call(L"Open", Variant::To(variable), &binary).hr, S_OK);
    EXPECT_EQ(binary.calls, 1);
    EXPECT_BSTR(file.Get(L"fileName").value.Text(), L"no such folder\\before");
    SysFreeString(variable);

    Variant container(L"before");
    Foreign position{0};
    position.onRead = [&] { change(V_BSTR(container.Raw())); };
    const DispatchObject collection = CollectionOf(0);
    EXPECT_HR(collection.Call(L"Add", Variant::To(container), &position).hr, S_OK);
    EXPECT_EQ(position.calls, 1);
    EXPECT_BSTR(collection.Get(L"Item", 1).value.Text(), L"before");
}

TEST_F(NXDispatchObjectsTest, DefaultProperty_MayFreeTheTextOfAnEarlierArgument) {
    ExpectTextOfBeforeIsTaken([](BSTR& variable) {
        std::fill_n(variable, SysStringLen(variable), L'x'); // so that a later read is noticed
        SysFreeString(std::exchange(variable, nullptr));
    });
}

TEST_F(NXDispatchObjectsTest, DefaultProperty_MayReplaceTheTextOfAnEarlierArgument) {
    ExpectTextOfBeforeIsTaken([](BSTR& variable) {
        std::fill_n(variable, SysStringLen(variable), L'x');
        EXPECT_TRUE(SysReAllocString(&variable, L"no such folder\\after"));
    });
}

TEST_F(NXDispatchObjectsTest, DefaultProperty_DoesNotAffectTheConvertedStringOfAnEarlierArgument) {
    Foreign binary{true};
    const DispatchObject file = NewLateBound<CNXFileStream>();
    EXPECT_HR(file.Call(L"Open", 12345, &binary).hr, S_OK);
    EXPECT_BSTR(file.Get(L"fileName").value.Text(), L"12345");
}

TEST_F(NXDispatchObjectsTest, DefaultProperty_MayReplaceTheTextOfALaterArgument) {
    BSTR variable = SysAllocString(L"before");
    Foreign index{0};
    index.onRead = [&] { SysReAllocString(&variable, L"after"); };
    const DispatchObject list = ListOf({L"zero"});
    EXPECT_HR(list.Put(L"Item", &index, Variant::To(variable)).hr, S_OK);
    EXPECT_BSTR(list.Get(L"Item", 0).value.Text(), L"after") << "arguments are read in their order";
    SysFreeString(variable);
}

TEST_F(NXDispatchObjectsTest, DefaultProperty_MayReleaseItsOwnObject) {
    for (const bool inVariant : {false, true}) {
        Foreign object{2};
        object.AddRef();
        IDispatch* variable = &object;
        VARIANT container = ReferenceTo(VT_DISPATCH, &variable);
        ULONG referencesAfterwards = 0;
        object.onRead = [&] {
            std::exchange(variable, nullptr)->Release();
            referencesAfterwards = object.references;
        };
        Answers answers;
        EXPECT_HR(Call(StringOf(L"abc").Raw(), StringId::Left, DISPATCH_METHOD,
                       {inVariant ? ReferenceTo(VT_VARIANT, &container) : container}, answers),
                  S_OK);
        EXPECT_GT(referencesAfterwards, 0u) << "its code is still running";
        EXPECT_EQ(object.references, 0u);
        ASSERT_EQ(V_VT(&answers.result), VT_BSTR);
        EXPECT_BSTR(V_BSTR(&answers.result), L"ab");
        VariantClear(&answers.result);
    }
}

TEST_F(NXDispatchObjectsTest, DefaultProperty_MayCallTheSameObject) {
    const DispatchObject object = StringOf(L"abcdef");
    Foreign argument{2};
    argument.onRead = [&] { EXPECT_HR(object.Put(L"Value", L"other").hr, S_OK); };
    EXPECT_BSTR(object.Call(L"Left", &argument).value.Text(), L"ot");
}

// ---------------------------------------------------------------------------------------------------------------------
// Objects for object parameters

TEST_F(NXDispatchObjectsTest, ObjectParameter_TakesItsInterface) {
    const auto element = New<CNXTokenString>();
    IDispatch* variable = element;
    IUnknown* unknown = variable;
    VARIANT direct = *Variant(variable).Raw();
    for (const VARIANT& argument : {direct, ReferenceTo(VT_DISPATCH, &variable), ReferenceTo(VT_UNKNOWN, &unknown),
                                    ReferenceTo(VT_VARIANT, &direct)}) {
        const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
        Answers answers;
        EXPECT_HR(Call(tokens.Raw(), TokenStrings::idAdd, DISPATCH_METHOD, {argument}, answers), S_OK);
        EXPECT_EQ(ReferencesOf(variable), 2u) << "the caller's and the list's";
        EXPECT_EQ(tokens.Get(L"Item", 0).value.Object(), variable);
    }
    EXPECT_EQ(ReferencesOf(variable), 1u);
}

TEST_F(NXDispatchObjectsTest, ObjectParameter_AsksForItsInterface) {
    support::StackTokenString tokens;
    support::StackFileStream stream;
    const DispatchObject tokenList = NewLateBound<CNXTokenStringList>();
    const DispatchObject streams = NewLateBound<CNXFileStreamList>();
    EXPECT_HR(tokenList.Call(L"Add", &tokens).hr, S_OK);
    EXPECT_HR(streams.Call(L"Add", &stream).hr, S_OK);
    EXPECT_TRUE(IsEqualIID(tokens.queried, IID_INXTokenString));
    EXPECT_TRUE(IsEqualIID(stream.queried, IID_INXFileStream));
    EXPECT_EQ(tokens.references, 1u);
    EXPECT_HR(tokenList.Call(L"Remove", 0).hr, S_OK);
    EXPECT_HR(streams.Call(L"Remove", 0).hr, S_OK);
    EXPECT_EQ(tokens.references + stream.references, 0u);
}

TEST_F(NXDispatchObjectsTest, ObjectParameter_RefusesOtherInterfaces) {
    const auto stream = New<CNXFileStream>();
    Foreign foreign{1};
    const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
    ASSERT_HR(tokens.Call(L"Add", Nothing()).hr, S_OK);
    for (IDispatch* const object : {static_cast<IDispatch*>(stream), static_cast<IDispatch*>(&foreign)}) {
        const Reply added = tokens.Call(L"Add", object);
        EXPECT_HR(added.hr, DISP_E_TYPEMISMATCH);
        EXPECT_EQ(added.badArgument, 0u);
        EXPECT_HR(tokens.Put(L"Item", 0, object).hr, DISP_E_TYPEMISMATCH);
        EXPECT_HR(tokens.Put(L"New", object).hr, DISP_E_TYPEMISMATCH);
    }
    EXPECT_EQ(ReferencesOf(static_cast<IDispatch*>(stream)), 1u);
    EXPECT_EQ(foreign.references, 0u);
    EXPECT_EQ(foreign.calls, 0) << "its default property is not read";
    EXPECT_EQ(CountOf<INXTokenStringList>(tokens), 1);
}

TEST_F(NXDispatchObjectsTest, ObjectParameter_RefusesOtherTypes) {
    const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
    for (const Variant& value : {Variant(1), Variant(L"text"), Variant(), Variant::Null(), Variant(true)}) {
        const Reply reply = tokens.Call(L"Add", value);
        EXPECT_HR(reply.hr, DISP_E_TYPEMISMATCH) << value.Type();
        EXPECT_EQ(reply.badArgument, 0u) << value.Type();
    }
    EXPECT_EQ(CountOf<INXTokenStringList>(tokens), 0);
}

TEST_F(NXDispatchObjectsTest, ObjectParameter_TakesNull) {
    IDispatch* dispatch = nullptr;
    Variant variable = Typed(VT_DISPATCH, 0);
    for (const Variant& nothing : {Typed(VT_DISPATCH, 0), Typed(VT_UNKNOWN, 0), Variant::To(variable)}) {
        const DispatchObject tokens = NewLateBound<CNXTokenStringList>();
        EXPECT_HR(tokens.Call(L"Add", nothing).hr, S_OK);
        EXPECT_HR(tokens.Put(L"Item", 0, nothing).hr, S_OK);
        EXPECT_EQ(CountOf<INXTokenStringList>(tokens), 1);
        const Reply reply = tokens.Get(L"Item", 0);
        EXPECT_HR(reply.hr, S_OK);
        EXPECT_EQ(reply.value.Object(), nullptr);
    }
    Answers answers;
    const DispatchObject streams = NewLateBound<CNXFileStreamList>();
    EXPECT_HR(Call(streams.Raw(), support::FileStreams::idAdd, DISPATCH_METHOD, {ReferenceTo(VT_DISPATCH, &dispatch)},
                   answers),
              S_OK);
    EXPECT_EQ(CountOf<INXFileStreamList>(streams), 1);
}

TEST_F(NXDispatchObjectsTest, ObjectParameter_MayReleaseTheObjectOfTheCallInQueryInterface) {
    support::StackTokenString element;
    CComPtr<IDispatch> caller(static_cast<IDispatch*>(New<Watched<CNXTokenStringList>>().p));
    bool aliveAfterwards = false;
    element.onQuery = [&] {
        caller.Release();
        aliveAfterwards = Watched<CNXTokenStringList>::alive;
        return S_OK;
    };
    const Variant argument(&element);
    Answers answers;
    EXPECT_HR(Call(caller, TokenStrings::idAdd, DISPATCH_METHOD, {*argument.Raw()}, answers), S_OK);
    EXPECT_TRUE(aliveAfterwards);
    EXPECT_FALSE(Watched<CNXTokenStringList>::alive);
    EXPECT_EQ(element.references, 1u) << "the argument's";
}

TEST_F(NXDispatchObjectsTest, ObjectParameter_MayReleaseItselfInQueryInterface) {
    support::StackTokenString element;
    element.AddRef();
    IDispatch* variable = &element;
    ULONG referencesAfterwards = 0;
    element.onQuery = [&] {
        std::exchange(variable, nullptr)->Release();
        referencesAfterwards = element.references;
        return E_NOINTERFACE;
    };
    Answers answers;
    EXPECT_HR(Call(NewLateBound<CNXTokenStringList>().Raw(), TokenStrings::idAdd, DISPATCH_METHOD,
                   {ReferenceTo(VT_DISPATCH, &variable)}, answers),
              DISP_E_TYPEMISMATCH);
    EXPECT_GT(referencesAfterwards, 0u) << "its code is still running";
    EXPECT_EQ(element.references, 0u);
}

TEST_F(NXDispatchObjectsTest, ObjectParameter_ThatRefusesWithoutWritingNull_IsAMismatch) {
    class Silent final : public support::StackTokenString {
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    };
    Silent element;
    Variant argument(static_cast<IDispatch*>(&element));
    const Reply reply = NewLateBound<CNXTokenStringList>().Call(L"Add", argument);
    EXPECT_HR(reply.hr, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(element.references, 1u) << "the variant's";
}

TEST_F(NXDispatchObjectsTest, CodeOfAnArgument_ThatThrows_IsAnHresult) {
    Foreign value{1};
    value.onRead = [] { throw std::runtime_error("from a default property"); };
    EXPECT_HR(StringOf(L"abc").Call(L"Left", &value).hr, E_UNEXPECTED);
    support::StackTokenString element;
    element.onQuery = []() -> HRESULT { throw std::bad_alloc(); };
    EXPECT_HR(NewLateBound<CNXTokenStringList>().Call(L"Add", &element).hr, E_OUTOFMEMORY);
    EXPECT_EQ(element.references, 0u);
}

} // namespace
