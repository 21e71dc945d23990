/// Typical late-bound use of an object of each class, wherever it is and however it was created.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <atlbase.h>
#include <gtest/gtest.h>
#include <oaidl.h>

#include "tests/automation/dispatch.h"
#include "tests/module/classes.h"
#include "tests/support/bstr.h"

/// The number of elements that the object's enumerator returns, one by one.
inline int CountByWalking(const support::DispatchObject& object) {
    const support::Reply reply = object.Get(DISPID_NEWENUM);
    support::Require(reply.hr, "_NewEnum");
    CComPtr<IEnumVARIANT> enumerator;
    support::Require(
        V_UNKNOWN(reply.value.Raw())->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)),
        "IEnumVARIANT");
    int count = 0;
    for (;; ++count) {
        support::Variant element;
        ULONG fetched = 0;
        if (enumerator->Next(1, element.Raw(), &fetched) != S_OK) {
            return count;
        }
    }
}

/// Whether two interface pointers belong to one object. Proxies of one object may have several IDispatch pointers.
inline bool IsSameObject(IDispatch* one, IDispatch* other) {
    CComPtr<IUnknown> oneIdentity;
    CComPtr<IUnknown> otherIdentity;
    support::Require(one->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&oneIdentity)), "IUnknown");
    support::Require(other->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&otherIdentity)), "IUnknown");
    return oneIdentity.p == otherIdentity.p;
}

inline void ExpectIndexError(const support::Reply& reply, std::wstring_view source) {
    EXPECT_HR(reply.hr, DISP_E_EXCEPTION);
    EXPECT_HR(reply.exception->scode, E_FAIL);
    EXPECT_BSTR(reply.exception->bstrDescription, L"Index out of bounds!");
    EXPECT_BSTR(reply.exception->bstrSource, source);
}

// One function for each class.

inline void UseString(const support::DispatchObject& object, const std::wstring& text) {
    EXPECT_HR(object.Put(L"Value", L"  " + text + L" ").hr, S_OK);
    EXPECT_EQ(object.Call(L"Trim").value.Int(), 3);
    EXPECT_BSTR(object.Get(L"Value").value.Text(), text);
    EXPECT_BSTR(object.Call(L"Left", 3).value.Text(), text.substr(0, 3));
    EXPECT_EQ(object.Get(L"Length").value.Int(), static_cast<int>(text.size()));
    EXPECT_HR(object.Call(L"Mid", L"no number", 1).hr, DISP_E_TYPEMISMATCH);
    EXPECT_HR(object.Call(L"NoSuchMember").hr, DISP_E_UNKNOWNNAME);
}

inline void UseStringList(const support::DispatchObject& object, const std::wstring& text) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_HR(object.Call(L"Add", text + std::to_wstring(i)).hr, S_OK);
    }
    EXPECT_EQ(CountByWalking(object), 3);
    EXPECT_BSTR(object.Get(L"Item", 2).value.Text(), text + L"2");
    ExpectIndexError(object.Get(L"Item", 3), L"Nuvolex.NXStringList.1");
    EXPECT_HR(object.Call(L"Remove", 0).hr, S_OK);
    EXPECT_EQ(object.Get(L"Count").value.Int(), 2);
}

inline void UseTokenString(const support::DispatchObject& object, const std::wstring& text) {
    EXPECT_HR(object.Put(L"Separator", L",").hr, S_OK);
    EXPECT_HR(object.Put(L"Value", text + L"," + text + L",").hr, S_OK);
    EXPECT_BSTR(object.Get(L"Token", 1).value.Text(), text);
    EXPECT_BSTR(object.Get(L"Token", 2).value.Text(), L"");
    EXPECT_EQ(CountByWalking(object), 3);
    ExpectIndexError(object.Get(L"Token", 3), L"Nuvolex.NXTokenString.1");
}

inline void UseFileStream(const support::DispatchObject& object, const std::wstring& text) {
    const support::Reply opened = object.Call(L"Open", L"no such folder\\" + text, false);
    EXPECT_HR(opened.hr, S_OK);
    EXPECT_EQ(V_BOOL(opened.value.Raw()), VARIANT_FALSE);
    EXPECT_BSTR(object.Get(L"fileName").value.Text(), L"no such folder\\" + text);
}

inline void UseTokenStringList(const support::DispatchObject& object, const std::wstring& text) {
    const support::Reply added = object.Call(L"AddNew");
    ASSERT_HR(added.hr, S_OK);
    UseTokenString(support::DispatchObject(added.value.Object()), text);
    EXPECT_HR(object.Call(L"Add", added.value.Object()).hr, S_OK);
    EXPECT_EQ(CountByWalking(object), 2);
    EXPECT_TRUE(IsSameObject(object.Get(L"Item", 1).value.Object(), added.value.Object()));
    EXPECT_HR(object.Call(L"Remove", 0).hr, S_OK);
    EXPECT_EQ(object.Get(L"Count").value.Int(), 1);
}

inline void UseFileStreamList(const support::DispatchObject& object, const std::wstring& text) {
    const support::Reply added = object.Call(L"AddNew");
    ASSERT_HR(added.hr, S_OK);
    UseFileStream(support::DispatchObject(added.value.Object()), text);
    EXPECT_EQ(CountByWalking(object), 1);
    ExpectIndexError(object.Get(L"Item", 1), L"Nuvolex.NXFileStreamList.1");
}

inline void UseVariantCollection(const support::DispatchObject& object, const std::wstring& text) {
    EXPECT_HR(object.Call(L"Add", text).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", 2.5, 1).hr, S_OK);
    EXPECT_HR(object.Call(L"Add", object.Raw()).hr, S_OK);
    EXPECT_EQ(CountByWalking(object), 3);
    EXPECT_BSTR(object.Get(L"Item", 2).value.Text(), text);
    EXPECT_TRUE(IsSameObject(object.Get(L"Item", 3).value.Object(), object.Raw()));
    ExpectIndexError(object.Get(L"Item", 4), L"Nuvolex.NXVariantCollection.1");
    EXPECT_HR(object.Call(L"Remove").hr, S_OK);
    EXPECT_EQ(object.Get(L"Count").value.Int(), 2);
}

/// Calls an object of the class `row` late-bound. `text` must contain no commas and no blanks at its ends.
inline void Use(const Class& row, const support::DispatchObject& object, const std::wstring& text) {
    using UseObject = void(const support::DispatchObject&, const std::wstring&);
    constexpr std::pair<const CLSID*, UseObject*> uses[] = {
        {&CLSID_NXString, &UseString},
        {&CLSID_NXStringList, &UseStringList},
        {&CLSID_NXTokenString, &UseTokenString},
        {&CLSID_NXFileStream, &UseFileStream},
        {&CLSID_NXTokenStringList, &UseTokenStringList},
        {&CLSID_NXFileStreamList, &UseFileStreamList},
        {&CLSID_NXVariantCollection, &UseVariantCollection},
    };
    for (const auto& [clsid, use] : uses) {
        if (*clsid == *row.clsid) {
            use(object, text);
        }
    }
}
