/// Enumerators of the collection classes.
#pragma once

#include <vector>

#include <atlcom.h>

#include "automation/nxexceptions.h"

/// Copies a core string into a VT_BSTR that the caller owns; a null string gives a null BSTR.
template <class String> class _CopyVARIANTFromString {
  public:
    static void init(VARIANT* p) noexcept { *p = {}; }
    static HRESULT copy(VARIANT* to, const String* from) noexcept {
        const HRESULT hr = CopyToBstr(*from, &V_BSTR(to));
        if (SUCCEEDED(hr)) {
            V_VT(to) = VT_BSTR;
        }
        return hr;
    }
    static void destroy(VARIANT* p) noexcept { VariantClear(p); }
};

/// Copies a held interface into a VT_DISPATCH with a reference of its own; a null entry gives a null VT_DISPATCH.
template <class Adapted> class _CopyVARIANTFromInterface {
  public:
    static void init(VARIANT* p) noexcept { *p = {}; }
    static HRESULT copy(VARIANT* to, const Adapted* from) noexcept {
        // A reference of its own: the query runs the element's code, which may take the element out of its container.
        const auto element = from->m_T;
        IDispatch* dispatch = nullptr;
        if (element != nullptr) {
            const HRESULT hr = element->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch));
            if (FAILED(hr)) {
                return hr;
            }
        }
        V_DISPATCH(to) = dispatch;
        V_VT(to) = VT_DISPATCH;
        return S_OK;
    }
    static void destroy(VARIANT* p) noexcept { VariantClear(p); }
};

template <class Copy, class Container>
using CNXEnum = CComEnumOnSTL<IEnumVARIANT, &IID_IEnumVARIANT, VARIANT, Copy, Container, CComSingleThreadModel>;

/// Walks a container of core strings; elements are VT_BSTR.
template <class Container> using CNXStringEnum = CNXEnum<_CopyVARIANTFromString<CNKString>, Container>;
/// A list of automation objects: one counted reference per entry, null allowed.
template <class Interface> using CNXInterfaceList = std::vector<CAdapt<CComPtr<Interface>>>;
/// Walks a list of automation objects; elements are VT_DISPATCH, the same objects.
template <class Interface>
using CNXInterfaceEnum = CNXEnum<_CopyVARIANTFromInterface<CAdapt<CComPtr<Interface>>>, CNXInterfaceList<Interface>>;
/// Walks a list of VARIANTs, or of a class derived from it that has a _Copy of its own; elements are copies.
template <class Container> using CNXVariantEnum = CNXEnum<_Copy<typename Container::value_type>, Container>;

/// Creates an enumerator over `container`, which lives as long as `owner` has references, and gives it to the caller
/// in *ppEnum. On failure *ppEnum is null.
template <class Enum, class Container>
HRESULT CreateEnum(IUnknown* owner, Container& container, IUnknown** ppEnum) noexcept {
    *ppEnum = nullptr;
    CComObject<Enum>* created = nullptr;
    HRESULT hr = CComObject<Enum>::CreateInstance(&created);
    if (FAILED(hr)) {
        return hr;
    }
    const CComPtr<IUnknown> enumerator(created);
    hr = created->Init(owner, container);
    return SUCCEEDED(hr) ? created->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(ppEnum)) : hr;
}
