/// What clients rely on of each class of the DLL, apart from its interface.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include <windows.h>

#include "nuvolex.h"

struct Class {
    const char* name;
    const CLSID* clsid;
    const IID* iid;
    bool creatable; ///< whether the DLL offers it yet
    UINT script;    ///< resource identifier of its registry script
    const wchar_t* description;
    const wchar_t* threadingModel;
    bool sparse;           ///< registered without CurVer, Programmable and TypeLib
    bool enumerable;       ///< whether it has _NewEnum
    const wchar_t* member; ///< a member without arguments whose result is 0 in a new object
    std::size_t slot;      ///< where that member stands in the vtable

    [[nodiscard]] std::wstring WideName() const { return {name, name + std::strlen(name)}; }
    [[nodiscard]] std::wstring ProgId() const { return L"Nuvolex." + WideName(); }
    [[nodiscard]] std::wstring VersionedProgId() const { return ProgId() + L".1"; }

    friend std::ostream& operator<<(std::ostream& out, const Class& row) { return out << row.name; }
};

// In the order in which the DLL registers them.
// clang-format off
inline const Class classes[] = {
    {"NXString", &CLSID_NXString, &IID_INXString, true,
     101, L"NXString Class", L"Apartment", false, false, L"Length", 16},
    {"NXTokenString", &CLSID_NXTokenString, &IID_INXTokenString, true,
     102, L"NXTokenString Class", L"Apartment", false, true, L"Count", 14},
    {"NXStringList", &CLSID_NXStringList, &IID_INXStringList, true,
     103, L"NXStringList Class", L"Apartment", false, true, L"Count", 12},
    {"NXFileStream", &CLSID_NXFileStream, &IID_INXFileStream, false,
     104, L"NXFileStream Class", L"Apartment", false, false, L"IsOpen", 12},
    {"NXTokenStringList", &CLSID_NXTokenStringList, &IID_INXTokenStringList, true,
     107, L"NXTokenStringList-Klasse", L"both", true, true, L"Count", 13},
    {"NXFileStreamList", &CLSID_NXFileStreamList, &IID_INXFileStreamList, false,
     108, L"NXFileStreamList Class", L"Apartment", false, true, L"Count", 12},
    {"NXVariantCollection", &CLSID_NXVariantCollection, &IID_INXVariantCollection, false,
     110, L"NXVariantCollection Class", L"Apartment", false, true, L"Count", 9},
};
// clang-format on

/// Those of the classes that `wanted` chooses.
template <class Predicate> std::vector<Class> ClassesThat(Predicate wanted) {
    std::vector<Class> chosen;
    std::copy_if(std::begin(classes), std::end(classes), std::back_inserter(chosen), wanted);
    return chosen;
}

inline std::vector<Class> CreatableClasses() {
    return ClassesThat([](const Class& row) { return row.creatable; });
}

inline std::vector<Class> MissingClasses() {
    return ClassesThat([](const Class& row) { return !row.creatable; });
}
