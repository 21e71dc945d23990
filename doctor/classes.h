/// The seven classes of nuvolex.dll: what their registration has, and a member to call.
#pragma once

#include <array>
#include <string>

#include <windows.h>

#include <nuvolex.h>

namespace doctor {

struct ClassRow {
    const wchar_t* name;
    const CLSID* clsid;
    const IID* iid;
    const wchar_t* description;
    const wchar_t* threadingModel;
    bool sparse;           ///< registered without CurVer, Programmable and TypeLib
    const wchar_t* member; ///< takes no arguments and returns 0 in a new object

    [[nodiscard]] std::wstring ProgId() const { return std::wstring(L"Nuvolex.") + name; }
};

inline const std::array<ClassRow, 7> classRows = {{
    {L"NXString", &CLSID_NXString, &IID_INXString, L"NXString Class", L"Apartment", false, L"Length"},
    {L"NXTokenString", &CLSID_NXTokenString, &IID_INXTokenString, L"NXTokenString Class", L"Apartment", false,
     L"Count"},
    {L"NXStringList", &CLSID_NXStringList, &IID_INXStringList, L"NXStringList Class", L"Apartment", false, L"Count"},
    {L"NXFileStream", &CLSID_NXFileStream, &IID_INXFileStream, L"NXFileStream Class", L"Apartment", false, L"IsOpen"},
    {L"NXTokenStringList", &CLSID_NXTokenStringList, &IID_INXTokenStringList, L"NXTokenStringList-Klasse", L"both",
     true, L"Count"},
    {L"NXFileStreamList", &CLSID_NXFileStreamList, &IID_INXFileStreamList, L"NXFileStreamList Class", L"Apartment",
     false, L"Count"},
    {L"NXVariantCollection", &CLSID_NXVariantCollection, &IID_INXVariantCollection, L"NXVariantCollection Class",
     L"Apartment", false, L"Count"},
}};

inline constexpr const wchar_t* libraryDescription = L"Quarvin Nuvolex 1.0 Typbibliothek";
inline constexpr LCID libraryLocale = 0x0409;

} // namespace doctor
