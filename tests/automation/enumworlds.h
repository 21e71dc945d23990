/// Containers for tests of the enumerators, and the VARIANTs that an enumerator fills in.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include <atlcom.h>
#include <nuvolex.h>
#include <oleauto.h>

#include "automation/nxenum.h"
#include "core/nktokenstring.h"
#include "tests/automation/dispatch.h"
#include "tests/automation/stackobject.h"
#include "tests/support/bstr.h"

namespace support {

/// The owner of an enumerated container.
using EnumOwner = StackObject<IUnknown>;

/// VARIANTs that an enumerator fills in. It owns them.
class Variants {
  public:
    explicit Variants(std::size_t size) : m_values(size) {
        for (VARIANT& value : m_values) {
            VariantInit(&value);
        }
    }
    Variants(const Variants&) = delete;
    Variants& operator=(const Variants&) = delete;
    ~Variants() {
        for (VARIANT& value : m_values) {
            VariantClear(&value);
        }
    }

    VARIANT* Raw() noexcept { return m_values.data(); }
    const VARIANT& operator[](std::size_t index) const { return m_values.at(index); }

    /// Whether all are VT_EMPTY.
    [[nodiscard]] bool AreEmpty() const {
        return std::all_of(m_values.begin(), m_values.end(), [](const VARIANT& v) { return V_VT(&v) == VT_EMPTY; });
    }

  private:
    std::vector<VARIANT> m_values;
};

template <class Enum, class Container> CComPtr<IEnumVARIANT> NewEnum(IUnknown* owner, Container& container) {
    CComPtr<IUnknown> unknown;
    Require(CreateEnum<Enum>(owner, container, &unknown), "CreateEnum");
    CComPtr<IEnumVARIANT> enumerator;
    Require(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)), "QueryInterface");
    return enumerator;
}

// A world is a kind of container and its elements. Make(n) makes the element that Is(value, n) recognises.

template <class List> struct StringWorld {
    using Container = List;
    using Enum = CNXStringEnum<Container>;
    static CNKString Make(unsigned int index) { return CNKString(index); }
    static bool Is(const VARIANT& value, unsigned int index) {
        return V_VT(&value) == VT_BSTR && IsBstr("", "", V_BSTR(&value), std::to_wstring(index));
    }
};

template <class Interface, class Object> struct InterfaceWorld {
    using Container = CNXInterfaceList<Interface>;
    using Enum = CNXInterfaceEnum<Interface>;
    CAdapt<CComPtr<Interface>> Make(unsigned int index) { return CComPtr<Interface>(&objects[index]); }
    bool Is(const VARIANT& value, unsigned int index) {
        return V_VT(&value) == VT_DISPATCH && V_DISPATCH(&value) == &objects[index];
    }
    Object objects[8];
};

struct VariantWorld {
    using Container = std::vector<VARIANT>;
    using Enum = CNXVariantEnum<std::vector<VARIANT>>;
    static VARIANT Make(unsigned int index) { return *Variant(static_cast<int>(index)).Raw(); }
    static bool Is(const VARIANT& value, unsigned int index) {
        return V_VT(&value) == VT_I4 && V_I4(&value) == static_cast<long>(index);
    }
};

} // namespace support
