// C++: the time zones that ten countries or more share. The same program as the others in this folder, early-bound: it
// calls through the vtables that nuvolex.h declares. <comdef.h> brings the owners of what calls return: smart pointers
// (_com_ptr_t), strings (_bstr_t) and VARIANTs (_variant_t).
//
//     x86_64-w64-mingw32-g++ -municode -static -I ..\..\include zones.cpp -o zones.exe ^
//         -lole32 -loleaut32 -luuid
//     zones.exe ..\data\zones.tab shared.txt
//
// The first file is read, the second one written.

#include <iostream>

#include <windows.h>

#include <comdef.h>

#include "nuvolex.h"

_COM_SMARTPTR_TYPEDEF(IUnknown, __uuidof(IUnknown));
_COM_SMARTPTR_TYPEDEF(IEnumVARIANT, __uuidof(IEnumVARIANT));
_COM_SMARTPTR_TYPEDEF(INXFileStream, __uuidof(INXFileStream));
_COM_SMARTPTR_TYPEDEF(INXStringList, __uuidof(INXStringList));
_COM_SMARTPTR_TYPEDEF(INXTokenString, __uuidof(INXTokenString));
_COM_SMARTPTR_TYPEDEF(INXTokenStringList, __uuidof(INXTokenStringList));
_COM_SMARTPTR_TYPEDEF(INXVariantCollection, __uuidof(INXVariantCollection));

namespace {

constexpr long many = 10;

/// Raises a failed call's error record as a _com_error.
void Check(HRESULT hr) {
    if (FAILED(hr)) {
        IErrorInfo* record = nullptr;
        GetErrorInfo(0, &record);
        _com_raise_error(hr, record);
    }
}

template <class Class, class Pointer> Pointer Create() {
    Pointer object;
    Check(object.CreateInstance(__uuidof(Class)));
    return object;
}

std::wostream& operator<<(std::wostream& out, const _bstr_t& text) {
    return out << static_cast<const wchar_t*>(text);
}

/// Strings that come out belong to the caller: _bstr_t::GetAddress takes them over.
_bstr_t Token(INXTokenString* row, long n) {
    _bstr_t token;
    Check(row->get_Token(n, token.GetAddress()));
    return token;
}

bool Open(INXFileStream* file, const _bstr_t& path) {
    VARIANT_BOOL open = VARIANT_FALSE;
    Check(file->Open(path, VARIANT_FALSE, &open));
    return open != VARIANT_FALSE;
}

/// Calls `use` with each line that is left in the file.
template <class Function> void ForEachLine(INXFileStream* file, Function use) {
    VARIANT_BOOL atEnd = VARIANT_FALSE;
    while (atEnd == VARIANT_FALSE) {
        BSTR line =
            nullptr; // ReadNextLine lends it: no _bstr_t takes it over. It is valid until the stream reads again.
        Check(file->ReadNextLine(&line));
        use(line);
        Check(file->IsEOF(&atEnd));
    }
}

/// Calls `use` with each element of a collection. The elements are copies, which _variant_t clears.
template <class Collection, class Function> void ForEach(Collection* collection, Function use) {
    IUnknownPtr enumerator;
    Check(collection->get__NewEnum(&enumerator));
    const IEnumVARIANTPtr walk = enumerator;
    for (_variant_t element; walk->Next(1, &element, nullptr) == S_OK; element.Clear()) {
        use(element);
    }
}

/// Reads a table: one row a line, split at tabs.
void ReadRows(INXFileStream* file, INXTokenStringList* rows) {
    ForEachLine(file, [=](BSTR line) {
        VARIANT_BOOL isComment = VARIANT_FALSE;
        Check(file->IsCommentLine(line, &isComment));
        if (isComment == VARIANT_FALSE) {    // begins with "#", or is empty like the one after the last line end
            INXTokenString* added = nullptr; // AddNew lends it, so `&row` of a smart pointer would be wrong here ...
            Check(rows->AddNew(&added));
            const INXTokenStringPtr row = added; // ... but this adds a reference of its own
            Check(row->put_Separator(_bstr_t(L"\t")));
            Check(row->put_Value(line));
        }
    });
}

/// Splits the first column at commas, and collects the names in the third.
void FindNames(INXTokenStringList* rows, INXStringList* names) {
    const auto codes = Create<NXTokenString, INXTokenStringPtr>();
    Check(codes->put_Separator(_bstr_t(L",")));
    ForEach(rows, [&](const _variant_t& element) {
        const INXTokenStringPtr row = V_DISPATCH(&element);
        long count = 0;
        Check(codes->put_Value(Token(row, 0)));
        Check(codes->get_Count(&count));
        if (count >= many) {
            Check(names->Add(Token(row, 2)));
        }
    });
}

/// A variant collection holds values of any type. Called like this, Add stores their bits only: what they refer to
/// stays the caller's own, and has to live as long as the collection.
void PrintFacts(long rowCount, const _bstr_t& firstName) {
    const _variant_t number = rowCount;
    const _variant_t text = firstName;
    const auto facts = Create<NXVariantCollection, INXVariantCollectionPtr>();
    Check(facts->Add(number, 0)); // position 0: at the end
    Check(facts->Add(text, 0));
    ForEach(facts.GetInterfacePtr(), [](const _variant_t& fact) { std::wcout << L"fact: " << _bstr_t(fact) << L'\n'; });
}

/// Writes the names to a file, and counts them there.
void WriteNames(INXFileStream* file, const _bstr_t& path, INXStringList* names) {
    if (!Open(file, path)) { // Open opens existing files only, Clear creates one (or empties it)
        std::wcout << L"a new file\n";
    }
    Check(file->Clear());
    Open(file, path);
    int written = 0;
    ForEach(names, [&](const _variant_t& name) {
        VARIANT_BOOL done = VARIANT_FALSE;
        Check(file->WriteLine(V_BSTR(&name), &done));
        written += done != VARIANT_FALSE ? 1 : 0;
    });

    Open(file, path);
    int found = 0;
    ForEachLine(file, [&](BSTR line) { found += SysStringLen(line) > 0 ? 1 : 0; }); // but not the extra empty line
    Check(file->Close());
    std::wcout << written << L" lines written, " << found << L" read back\n";
}

void Run(const wchar_t* table, const wchar_t* newFile) {
    const auto file = Create<NXFileStream, INXFileStreamPtr>();
    const auto rows = Create<NXTokenStringList, INXTokenStringListPtr>();
    const auto names = Create<NXStringList, INXStringListPtr>();
    if (!Open(file, table)) {
        _com_issue_error(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    }
    ReadRows(file, rows);
    FindNames(rows, names);

    long rowCount = 0;
    long nameCount = 0;
    Check(rows->get_Count(&rowCount));
    Check(names->get_Count(&nameCount));
    std::wcout << nameCount << L" of " << rowCount << L" zones are shared by " << many << L" countries or more:\n";
    ForEach(names.GetInterfacePtr(), [](const _variant_t& name) { std::wcout << L"  " << V_BSTR(&name) << L'\n'; });

    _bstr_t name;
    Check(names->get_Item(0, name.GetAddress()));
    PrintFacts(rowCount, name);
    try { // indices count from 0, so this one is one too large
        Check(names->get_Item(static_cast<int>(nameCount), name.GetAddress()));
    } catch (const _com_error& error) {
        std::wcout << L"error 0x" << std::hex << error.Error() << std::dec << L": " << error.Description() << L'\n';
    }
    WriteNames(file, newFile, names);
}

} // namespace

extern "C" int wmain(int argc, wchar_t** argv) {
    if (argc != 3) {
        std::wcerr << L"usage: zones TABLE NEW-FILE\n";
        return 1;
    }
    int status = 0;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    try {
        Run(argv[1], argv[2]);
    } catch (const _com_error& error) {
        std::wcerr << L"failed: 0x" << std::hex << error.Error() << L'\n';
        status = 1;
    }
    CoUninitialize(); // all objects have gone
    return status;
}
