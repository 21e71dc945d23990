/// What clients rely on for each class, apart from its interface.
#pragma once

#include <cstddef>
#include <cstring>
#include <ostream>
#include <string>

#include <windows.h>

#include "nuvolex.h"

struct Class {
    const char* name;
    const CLSID* clsid;
    const IID* iid;
    UINT script; ///< resource identifier of its registry script
    const wchar_t* description;
    const wchar_t* threadingModel;
    bool sparse;           ///< registered without CurVer, Programmable and TypeLib
    bool enumerable;       ///< whether it has _NewEnum
    const wchar_t* member; ///< a member without arguments whose result is 0 in a new object
    std::size_t slot;      ///< the vtable slot of that member

    [[nodiscard]] std::wstring WideName() const { return {name, name + std::strlen(name)}; }
    [[nodiscard]] std::wstring ProgId() const { return L"Nuvolex." + WideName(); }
    [[nodiscard]] std::wstring VersionedProgId() const { return ProgId() + L".1"; }

    friend std::ostream& operator<<(std::ostream& out, const Class& row) { return out << row.name; }
};

// In the order in which the DLL registers them.
// clang-format off
inline const Class classes[] = {
    {"NXString", &CLSID_NXString, &IID_INXString,
     101, L"NXString Class", L"Apartment", false, false, L"Length", 16},
    {"NXTokenString", &CLSID_NXTokenString, &IID_INXTokenString,
     102, L"NXTokenString Class", L"Apartment", false, true, L"Count", 14},
    {"NXStringList", &CLSID_NXStringList, &IID_INXStringList,
     103, L"NXStringList Class", L"Apartment", false, true, L"Count", 12},
    {"NXFileStream", &CLSID_NXFileStream, &IID_INXFileStream,
     104, L"NXFileStream Class", L"Apartment", false, false, L"IsOpen", 12},
    {"NXTokenStringList", &CLSID_NXTokenStringList, &IID_INXTokenStringList,
     107, L"NXTokenStringList-Klasse", L"both", true, true, L"Count", 13},
    {"NXFileStreamList", &CLSID_NXFileStreamList, &IID_INXFileStreamList,
     108, L"NXFileStreamList Class", L"Apartment", false, true, L"Count", 12},
    {"NXVariantCollection", &CLSID_NXVariantCollection, &IID_INXVariantCollection,
     110, L"NXVariantCollection Class", L"Apartment", false, true, L"Count", 9},
};
// clang-format on
