#include "doctor/entries.h"

#include "doctor/classes.h"
#include "doctor/text.h"

namespace doctor {

namespace {

// The system's marshaler for interfaces described by a type library.
constexpr const wchar_t* libraryMarshaler = L"{00020424-0000-0000-C000-000000000046}";

std::wstring LibraryKey() {
    return L"TypeLib\\" + FormatGuid(LIBID_NUVOLEXLib) + L"\\1.0";
}

std::wstring InterfaceKey(REFIID iid) {
    return L"Interface\\" + FormatGuid(iid);
}

void AddClass(const ClassRow& row, const std::wstring& path, std::vector<Entry>& entries) {
    const std::wstring clsid = FormatGuid(*row.clsid);
    const std::wstring name = row.ProgId();
    const std::wstring versioned = name + L".1";
    const std::wstring key = ClassKey(*row.clsid);
    const std::wstring server = key + L"\\InprocServer32";
    entries.insert(entries.end(), {
                                      {versioned, L"", row.description},
                                      {versioned + L"\\CLSID", L"", clsid},
                                      {name, L"", row.description},
                                      {name + L"\\CLSID", L"", clsid},
                                      {key, L"", row.description},
                                      {key + L"\\ProgID", L"", versioned},
                                      {key + L"\\VersionIndependentProgID", L"", name},
                                      {server, L"", path, EntryKind::serverPath},
                                      {server, L"ThreadingModel", row.threadingModel},
                                  });
    if (!row.sparse) {
        entries.insert(entries.end(), {
                                          {name + L"\\CurVer", L"", versioned},
                                          {key + L"\\Programmable", L"", L"", EntryKind::key},
                                          {key + L"\\TypeLib", L"", FormatGuid(LIBID_NUVOLEXLib)},
                                      });
    }
}

/// The entries of an interface in a view: "" or view32. Only those of the 64-bit view are required.
void AddInterface(const ClassRow& row, const std::wstring& view, std::vector<Entry>& entries) {
    const std::wstring key = view + InterfaceKey(*row.iid);
    const bool required = view.empty();
    entries.insert(entries.end(),
                   {
                       {key, L"", std::wstring(L"I") + row.name, EntryKind::text, required},
                       {key + L"\\ProxyStubClsid", L"", libraryMarshaler, EntryKind::text, false},
                       {key + L"\\ProxyStubClsid32", L"", libraryMarshaler, EntryKind::text, required},
                       {key + L"\\TypeLib", L"", FormatGuid(LIBID_NUVOLEXLib), EntryKind::text, required},
                       {key + L"\\TypeLib", L"Version", L"1.0", EntryKind::text, required},
                   });
}

void AddLibrary(const std::wstring& path, WORD flags, std::vector<Entry>& entries) {
    const std::wstring key = LibraryKey();
    const std::wstring folder = path.substr(0, path.find_last_of(L'\\'));
    entries.insert(entries.end(), {
                                      {key, L"", libraryDescription},
                                      {key + L"\\409\\win64", L"", path, EntryKind::libraryPath},
                                      {key + L"\\FLAGS", L"", std::to_wstring(flags), EntryKind::detail, false},
                                      {key + L"\\HELPDIR", L"", folder, EntryKind::detail, false},
                                  });
}

} // namespace

HKEY RootOf(Scope scope) noexcept {
    return scope == Scope::user ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

std::wstring ClassKey(REFCLSID clsid) {
    return L"CLSID\\" + FormatGuid(clsid);
}

std::vector<Entry> EntriesOf(const std::wstring& path, WORD libraryFlags) {
    std::vector<Entry> entries;
    for (const ClassRow& row : classRows) {
        AddClass(row, path, entries);
    }
    AddLibrary(path, libraryFlags, entries);
    for (const ClassRow& row : classRows) {
        AddInterface(row, L"", entries);
        AddInterface(row, view32, entries);
    }
    return entries;
}

std::vector<std::wstring> OwnedKeys() {
    std::vector<std::wstring> keys = {LibraryKey(), std::wstring(L"AppID\\") + surrogateAppId};
    for (const ClassRow& row : classRows) {
        keys.insert(keys.end(), {row.ProgId() + L".1", row.ProgId(), ClassKey(*row.clsid), InterfaceKey(*row.iid),
                                 view32 + InterfaceKey(*row.iid)});
    }
    return keys;
}

} // namespace doctor
