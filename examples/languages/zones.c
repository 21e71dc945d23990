/*
 * C: the time zones that ten countries or more share. The same program as the others in this folder, early-bound: it
 * calls through the vtables that nuvolex.h declares, and nuvolex_i.c defines the identifiers.
 *
 *     x86_64-w64-mingw32-gcc -municode -I ..\..\include zones.c ..\..\include\nuvolex_i.c -o zones.exe ^
 *         -lole32 -loleaut32 -luuid
 *     zones.exe ..\data\zones.tab shared.txt
 *
 * The first file is read, the second one written.
 */
#define COBJMACROS /* INXString_get_Value(object, ...) for object->lpVtbl->get_Value(object, ...) */
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

#include "nuvolex.h"

enum { MANY = 10 };

/* Ends the program if a call failed that should not. */
static void Check(HRESULT hr) {
    if (FAILED(hr)) {
        fwprintf(stderr, L"failed: 0x%08lx\n", (unsigned long)hr);
        exit(EXIT_FAILURE);
    }
}

static void* Create(REFCLSID class, REFIID id) {
    void* object = NULL;
    Check(CoCreateInstance(class, NULL, CLSCTX_INPROC_SERVER, id, &object));
    return object;
}

/* Strings that go in are copied; the caller frees its own. */
static BSTR NewString(const wchar_t* text) {
    const BSTR string = SysAllocString(text);
    Check(string != NULL ? S_OK : E_OUTOFMEMORY);
    return string;
}

static VARIANT_BOOL Open(INXFileStream* file, const wchar_t* path) {
    const BSTR name = NewString(path);
    VARIANT_BOOL open = VARIANT_FALSE;
    Check(INXFileStream_Open(file, name, VARIANT_FALSE, &open));
    SysFreeString(name);
    return open;
}

/* Reads a table: one row a line, split at tabs. */
static void ReadRows(INXFileStream* file, INXTokenStringList* rows) {
    const BSTR tab = NewString(L"\t");
    VARIANT_BOOL atEnd = VARIANT_FALSE;
    while (!atEnd) {
        BSTR line = NULL; /* ReadNextLine lends it: do not free it. It is valid until the stream reads again. */
        VARIANT_BOOL isComment = VARIANT_FALSE;
        Check(INXFileStream_ReadNextLine(file, &line));
        Check(INXFileStream_IsCommentLine(file, line, &isComment));
        if (!isComment) {               /* begins with "#", or is empty like the one after the last line end */
            INXTokenString* row = NULL; /* AddNew lends it: no Release, and AddRef if it has to outlive its entry. */
            Check(INXTokenStringList_AddNew(rows, &row));
            Check(INXTokenString_put_Separator(row, tab));
            Check(INXTokenString_put_Value(row, line));
        }
        Check(INXFileStream_IsEOF(file, &atEnd));
    }
    SysFreeString(tab);
}

/* Splits the first column at commas, and collects the names in the third. */
static void FindNames(INXTokenStringList* rows, INXStringList* names) {
    INXTokenString* codes = Create(&CLSID_NXTokenString, &IID_INXTokenString);
    const BSTR comma = NewString(L",");
    long count = 0;
    Check(INXTokenString_put_Separator(codes, comma));
    Check(INXTokenStringList_get_Count(rows, &count));
    for (long i = 0; i < count; ++i) {
        INXTokenString* row = NULL; /* the caller's to release, as all interface pointers that AddNew does not lend */
        BSTR column = NULL;         /* the caller's to free, as all strings that ReadNextLine does not lend */
        long codeCount = 0;
        Check(INXTokenStringList_get_Item(rows, i, &row));
        Check(INXTokenString_get_Token(row, 0, &column));
        Check(INXTokenString_put_Value(codes, column));
        SysFreeString(column);
        Check(INXTokenString_get_Count(codes, &codeCount));
        if (codeCount >= MANY) {
            Check(INXTokenString_get_Token(row, 2, &column));
            Check(INXStringList_Add(names, column));
            SysFreeString(column);
        }
        INXTokenString_Release(row);
    }
    SysFreeString(comma);
    INXTokenString_Release(codes);
}

/* Prints each element of a collection after `before`; releases the enumerator. */
static void PrintEach(const wchar_t* before, IUnknown* enumerator) {
    IEnumVARIANT* walk = NULL;
    VARIANT element;
    Check(IUnknown_QueryInterface(enumerator, &IID_IEnumVARIANT, (void**)&walk));
    IUnknown_Release(enumerator);
    VariantInit(&element);
    while (IEnumVARIANT_Next(walk, 1, &element, NULL) == S_OK) {
        Check(VariantChangeType(&element, &element, 0, VT_BSTR));
        wprintf(L"%ls%ls\n", before, V_BSTR(&element));
        VariantClear(&element); /* the elements are copies, which belong to the caller */
    }
    IEnumVARIANT_Release(walk);
}

/* A variant collection holds values of any type. Called like this, Add stores their bits only. */
static void PrintFacts(long rowCount, INXStringList* names) {
    INXVariantCollection* facts = Create(&CLSID_NXVariantCollection, &IID_INXVariantCollection);
    IUnknown* enumerator = NULL;
    VARIANT number;
    VARIANT text;
    VariantInit(&number);
    V_VT(&number) = VT_I4;
    V_I4(&number) = rowCount;
    VariantInit(&text);
    V_VT(&text) = VT_BSTR;
    Check(INXStringList_get_Item(names, 0, &V_BSTR(&text)));
    Check(INXVariantCollection_Add(facts, number, 0)); /* position 0: at the end */
    Check(INXVariantCollection_Add(facts, text, 0));
    Check(INXVariantCollection_get__NewEnum(facts, &enumerator));
    PrintEach(L"fact: ", enumerator);
    INXVariantCollection_Release(facts);
    VariantClear(&text); /* still the caller's own: free it, but not before the collection has gone */
}

/* Asks for an entry that does not exist. */
static void ShowIndexError(INXStringList* names, long index) {
    BSTR name = NULL;
    const HRESULT hr = INXStringList_get_Item(names, index, &name);
    IErrorInfo* record = NULL;
    if (FAILED(hr) && GetErrorInfo(0, &record) == S_OK) {
        BSTR description = NULL;
        Check(IErrorInfo_GetDescription(record, &description));
        wprintf(L"error 0x%lx: %ls\n", (unsigned long)hr, description);
        SysFreeString(description);
        IErrorInfo_Release(record);
    }
}

/* Writes the names to a file, and counts them there. */
static void WriteNames(INXFileStream* file, const wchar_t* path, INXStringList* names, long nameCount) {
    VARIANT_BOOL atEnd = VARIANT_FALSE;
    int written = 0;
    int found = 0;
    if (!Open(file, path)) { /* Open opens existing files only, Clear creates one (or empties it) */
        wprintf(L"a new file\n");
    }
    Check(INXFileStream_Clear(file));
    Open(file, path);
    for (long i = 0; i < nameCount; ++i) {
        BSTR name = NULL;
        VARIANT_BOOL done = VARIANT_FALSE;
        Check(INXStringList_get_Item(names, i, &name));
        Check(INXFileStream_WriteLine(file, name, &done));
        SysFreeString(name);
        written += done ? 1 : 0;
    }
    Open(file, path);
    while (!atEnd) {
        BSTR line = NULL; /* lent */
        Check(INXFileStream_ReadNextLine(file, &line));
        found += SysStringLen(line) > 0 ? 1 : 0; /* not the extra empty line after the last line end */
        Check(INXFileStream_IsEOF(file, &atEnd));
    }
    Check(INXFileStream_Close(file));
    wprintf(L"%d lines written, %d read back\n", written, found);
}

int wmain(int argc, wchar_t** argv) {
    if (argc != 3) {
        fwprintf(stderr, L"usage: zones TABLE NEW-FILE\n");
        return EXIT_FAILURE;
    }
    Check(CoInitializeEx(NULL, COINIT_APARTMENTTHREADED));
    INXFileStream* file = Create(&CLSID_NXFileStream, &IID_INXFileStream);
    INXTokenStringList* rows = Create(&CLSID_NXTokenStringList, &IID_INXTokenStringList);
    INXStringList* names = Create(&CLSID_NXStringList, &IID_INXStringList);
    IUnknown* enumerator = NULL;
    long rowCount = 0;
    long nameCount = 0;
    if (!Open(file, argv[1])) {
        fwprintf(stderr, L"cannot open %ls\n", argv[1]);
        return EXIT_FAILURE;
    }
    ReadRows(file, rows);
    FindNames(rows, names);
    Check(INXTokenStringList_get_Count(rows, &rowCount));
    Check(INXStringList_get_Count(names, &nameCount));
    wprintf(L"%ld of %ld zones are shared by %d countries or more:\n", nameCount, rowCount, MANY);
    Check(INXStringList_get__NewEnum(names, &enumerator));
    PrintEach(L"  ", enumerator);
    PrintFacts(rowCount, names);
    ShowIndexError(names, nameCount); /* indices count from 0, so this one is one too large */
    WriteNames(file, argv[2], names, nameCount);
    INXStringList_Release(names);
    INXTokenStringList_Release(rows);
    INXFileStream_Release(file);
    CoUninitialize();
    return EXIT_SUCCESS;
}
