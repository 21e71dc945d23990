// A compiled client: it calls through the vtable and needs nothing of Nuvolex but the header nuvolex.h, which is
// generated from the automation contract.
//
//     nuvolex_example_client.exe FILE
//
// FILE is examples/data/elements.txt: the chemical elements, one per line, in columns of fixed width. The DLL has to be
// registered. <comdef.h> brings smart pointers (_com_ptr_t) and owners for strings (_bstr_t) and VARIANTs (_variant_t).

#include <iostream>
#include <iterator>

#include <windows.h>

#include <comdef.h>

#include "nuvolex.h"

// IUnknownPtr and so on: each holds one reference and releases it in the end.
_COM_SMARTPTR_TYPEDEF(IUnknown, __uuidof(IUnknown));
_COM_SMARTPTR_TYPEDEF(IEnumVARIANT, __uuidof(IEnumVARIANT));
_COM_SMARTPTR_TYPEDEF(INXString, __uuidof(INXString));
_COM_SMARTPTR_TYPEDEF(INXFileStream, __uuidof(INXFileStream));
_COM_SMARTPTR_TYPEDEF(INXStringList, __uuidof(INXStringList));
_COM_SMARTPTR_TYPEDEF(INXTokenString, __uuidof(INXTokenString));
_COM_SMARTPTR_TYPEDEF(INXTokenStringList, __uuidof(INXTokenStringList));

namespace {

/// Keeps COM initialised for this thread; objects must be gone before it is.
class Apartment {
  public:
    Apartment() {
        if (const HRESULT hr = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); FAILED(hr)) {
            _com_issue_error(hr);
        }
    }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
    ~Apartment() { CoUninitialize(); }
};

/// For calls that are not expected to fail. Raises what the thread's error record tells, or the bare HRESULT.
void Check(HRESULT hr) {
    if (FAILED(hr)) {
        IErrorInfo* record = nullptr;
        GetErrorInfo(0, &record);
        _com_raise_error(hr, record);
    }
}

/// A new object of the class `Class` of nuvolex.h.
template <class Class, class Pointer> Pointer Create() {
    Pointer object;
    Check(object.CreateInstance(__uuidof(Class)));
    return object;
}

/// Takes over a string that a call returned. With one exception (below) strings that come out are the caller's to free.
_bstr_t Owned(BSTR text) {
    return {text, false};
}

std::wostream& operator<<(std::wostream& out, const _bstr_t& text) {
    return out << (text.length() > 0 ? static_cast<const wchar_t*>(text) : L"");
}

/// The characters of a line from `start` on, without the blanks around them.
_bstr_t Column(INXString* part, BSTR line, int start, int length) {
    BSTR text = nullptr;
    int trimmed = 0;
    Check(part->put_Value(line)); // strings that go in are copied
    Check(part->Mid(start, length, &text));
    Check(part->put_Value(Owned(text)));
    Check(part->Trim(&trimmed));
    Check(part->get_Value(&text));
    return Owned(text);
}

/// Appends the English names of the elements to `names`, and symbol and weight of each to `rows`.
void ReadElements(const _bstr_t& path, INXStringList* names, INXTokenStringList* rows) {
    const auto file = Create<NXFileStream, INXFileStreamPtr>();
    const auto part = Create<NXString, INXStringPtr>();
    VARIANT_BOOL open = VARIANT_FALSE;
    Check(file->Open(path, VARIANT_FALSE, &open));
    if (open == VARIANT_FALSE) { // a file stream tells by its results what went wrong, never by an error
        _com_issue_error(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    }
    VARIANT_BOOL atEnd = VARIANT_FALSE;
    while (atEnd == VARIANT_FALSE) {
        // ReadNextLine lends: the string is the stream's own. Do not free it, and copy it if it has to outlive the
        // stream's next call.
        BSTR line = nullptr;
        Check(file->ReadNextLine(&line));
        Check(file->IsEOF(&atEnd));
        if (SysStringLen(line) == 0) { // after the last line end there is one more line, which is empty
            continue;
        }
        Check(names->Add(Column(part, line, 7, 13)));

        // AddNew of this list lends too: the reference is the list's own, so no smart pointer takes it over. The
        // pointer is good as long as the entry is in the list. (INXFileStreamList::AddNew gives a reference.)
        INXTokenString* row = nullptr;
        Check(rows->AddNew(&row));
        Check(row->put_Separator(_bstr_t(L";")));
        Check(row->Add(Column(part, line, 4, 2)));
        Check(row->Add(Column(part, line, 21, 6)));
    }
}

/// Asks for an entry that is not there and shows what a client can learn of the failure.
void ShowIndexError(INXStringList* names) {
    long count = 0;
    Check(names->get_Count(&count));
    BSTR text = nullptr;
    try {
        Check(names->get_Item(count, &text)); // indices count from 0
    } catch (const _com_error& error) {
        std::wcout << L"Item(" << count << L") fails with 0x" << std::hex << error.Error() << std::dec << L", \""
                   << error.Description() << L"\", says " << error.Source() << L'\n';
    }
}

/// Walks a list as `For Each` does, but with several entries a call. Returns how many entries it met.
unsigned long Walk(INXStringList* names) {
    IUnknownPtr unknown;
    Check(names->get__NewEnum(&unknown));
    const IEnumVARIANTPtr walk = unknown;
    unsigned long met = 0;
    HRESULT more = S_OK;
    while (more == S_OK) { // S_FALSE: fewer than asked for, the end
        _variant_t several[25];
        unsigned long fetched = 0;
        more = walk->Next(std::size(several), several, &fetched);
        Check(more);
        if (fetched > 0) {
            std::wcout << L"  " << fetched << L" at once, " << V_BSTR(&several[0]) << L" to "
                       << V_BSTR(&several[fetched - 1]) << L'\n';
        }
        met += fetched;
    }
    return met;
}

void Run(const _bstr_t& path) {
    const Apartment apartment;
    const auto names = Create<NXStringList, INXStringListPtr>();
    const auto rows = Create<NXTokenStringList, INXTokenStringListPtr>();
    ReadElements(path, names, rows);

    long count = 0;
    Check(rows->get_Count(&count));
    INXTokenStringPtr last; // get_Item gives a reference, as everything does but AddNew
    Check(rows->get_Item(count - 1, &last));
    BSTR joined = nullptr;
    Check(last->get_Value(&joined));
    std::wcout << count << L" rows, the last is " << Owned(joined) << L'\n';

    ShowIndexError(names);
    const unsigned long met = Walk(names);
    // Only a program that came to its end prints this.
    std::wcout << L"Done: " << count << L" rows, " << met << L" names.\n";
}

} // namespace

extern "C" int wmain(int argc, wchar_t** argv) {
    if (argc != 2) {
        std::wcerr << L"usage: nuvolex_example_client FILE\n";
        return 2;
    }
    try {
        Run(argv[1]);
        return 0;
    } catch (const _com_error& error) {
        std::wcerr << L"failed: 0x" << std::hex << error.Error() << L'\n';
        return 1;
    }
}
