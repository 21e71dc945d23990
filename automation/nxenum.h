/// Enumerators of the collection classes.
#pragma once

#include <vector>

#include <atlcom.h>

#include "automation/nxexceptions.h"

/// Copies a core string to a VT_BSTR that the caller owns; a null string to a null BSTR.
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

/// Copies an interface pointer to a VT_DISPATCH with a reference of its own; null to a null VT_DISPATCH.
template <class Adapted> class _CopyVARIANTFromInterface {
  public:
    static void init(VARIANT* p) noexcept { *p = {}; }
    static HRESULT copy(VARIANT* to, const Adapted* from) noexcept {
        // Holds a reference, since QueryInterface runs the element's code, which may remove it from the container.
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

/// Enumerates a container of core strings as VT_BSTR.
template <class Container> using CNXStringEnum = CNXEnum<_CopyVARIANTFromString<CNKString>, Container>;
/// A list of automation objects: one counted reference per entry, may be null.
template <class Interface> using CNXInterfaceList = std::vector<CAdapt<CComPtr<Interface>>>;
/// Enumerates a list of automation objects as VT_DISPATCH.
template <class Interface>
using CNXInterfaceEnum = CNXEnum<_CopyVARIANTFromInterface<CAdapt<CComPtr<Interface>>>, CNXInterfaceList<Interface>>;
/// Enumerates a list of VARIANTs, or of a derived class with its own _Copy, as copies.
template <class Container> using CNXVariantEnum = CNXEnum<_Copy<typename Container::value_type>, Container>;

/// Creates an enumerator over `container`, which must live as long as `owner` has references. On failure *ppEnum is
/// null.
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
