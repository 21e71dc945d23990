#include "doctor/registry.h"

#include <cwchar>
#include <memory>
#include <type_traits>
#include <utility>

namespace doctor {

namespace {

struct KeyCloser {
    void operator()(HKEY key) const noexcept { RegCloseKey(key); }
};
using KeyOwner = std::unique_ptr<std::remove_pointer_t<HKEY>, KeyCloser>;

std::wstring FullKey(const std::wstring& key) {
    return classesKey + (L'\\' + key);
}

LSTATUS Open(Scope scope, const std::wstring& key, REGSAM rights, KeyOwner& opened) {
    HKEY raw = nullptr;
    const LSTATUS status = RegOpenKeyExW(RootOf(scope), FullKey(key).c_str(), 0, rights, &raw);
    opened.reset(raw);
    return status;
}

/// The system has two error codes for a missing key or value.
LSTATUS NormalizeMissing(LSTATUS status) noexcept {
    return status == ERROR_PATH_NOT_FOUND ? LSTATUS{ERROR_FILE_NOT_FOUND} : status;
}

EntryFact ReadEntry(Scope scope, Entry entry) {
    EntryFact fact;
    if (entry.kind == EntryKind::key) {
        KeyOwner key;
        fact.status = NormalizeMissing(Open(scope, entry.key, KEY_QUERY_VALUE, key));
    } else {
        RegistryValue value = ReadValue(scope, entry.key, entry.name);
        const bool isPath = entry.kind == EntryKind::serverPath || entry.kind == EntryKind::libraryPath;
        fact.status = isPath && value.text.empty() && value.status == ERROR_SUCCESS ? LSTATUS{ERROR_FILE_NOT_FOUND}
                                                                                    : value.status;
        fact.value = std::move(value.text);
    }
    fact.entry = std::move(entry);
    return fact;
}

Access32 ReadAccess32(Scope scope) {
    const std::wstring key = ClassKey(*classRows.front().clsid);
    if (ReadValue(scope, view32 + key + L"\\InprocServer32", L"").status == ERROR_SUCCESS) {
        return Access32::inProcess;
    }
    const RegistryValue appId = ReadValue(scope, key, L"AppID");
    if (appId.status == ERROR_SUCCESS &&
        ReadValue(scope, L"AppID\\" + appId.text, L"DllSurrogate").status == ERROR_SUCCESS) {
        return Access32::surrogate;
    }
    return Access32::none;
}

} // namespace

RegistryValue ReadValue(Scope scope, const std::wstring& key, const std::wstring& name) {
    KeyOwner opened;
    RegistryValue value;
    value.status = NormalizeMissing(Open(scope, key, KEY_QUERY_VALUE, opened));
    if (value.status != ERROR_SUCCESS) {
        return value;
    }
    DWORD size = MAX_PATH * sizeof(wchar_t);
    do {
        value.text.resize(size / sizeof(wchar_t));
        value.status =
            RegGetValueW(opened.get(), nullptr, name.c_str(), RRF_RT_REG_SZ, nullptr, value.text.data(), &size);
    } while (value.status == ERROR_MORE_DATA);
    value.text.resize(std::wcslen(value.text.c_str()));
    return value;
}

bool HasKey(Scope scope, const std::wstring& key) {
    KeyOwner opened;
    return NormalizeMissing(Open(scope, key, KEY_QUERY_VALUE, opened)) != ERROR_FILE_NOT_FOUND;
}

ScopeFacts ReadScope(Scope scope) {
    ScopeFacts facts;
    std::size_t classIndex = 0;
    for (Entry& entry : EntriesOf(L"", 0)) {
        EntryFact fact = ReadEntry(scope, std::move(entry));
        if (fact.entry.kind == EntryKind::serverPath) {
            if (fact.status == ERROR_SUCCESS) {
                facts.servers[classIndex] = fact.value;
            }
            ++classIndex;
        }
        facts.entries.push_back(std::move(fact));
    }
    for (std::size_t i = 0; i < classRows.size(); ++i) {
        facts.treatAs[i] = HasKey(scope, ClassKey(*classRows[i].clsid) + L"\\TreatAs");
    }
    facts.access32 = ReadAccess32(scope);
    return facts;
}

LSTATUS WriteEntry(Scope scope, const Entry& entry) {
    HKEY raw = nullptr;
    const LSTATUS status = RegCreateKeyExW(RootOf(scope), FullKey(entry.key).c_str(), 0, nullptr,
                                           REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr, &raw, nullptr);
    const KeyOwner key(raw);
    if (status != ERROR_SUCCESS || entry.kind == EntryKind::key) {
        return status;
    }
    const auto size = static_cast<DWORD>((entry.value.size() + 1) * sizeof(wchar_t));
    return RegSetValueExW(key.get(), entry.name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(entry.value.c_str()),
                          size);
}

LSTATUS RemoveTree(Scope scope, const std::wstring& key) {
    const LSTATUS status = NormalizeMissing(RegDeleteTreeW(RootOf(scope), FullKey(key).c_str()));
    return status == ERROR_FILE_NOT_FOUND ? LSTATUS{ERROR_SUCCESS} : status;
}

LSTATUS RemoveIfEmpty(Scope scope, const std::wstring& key) {
    KeyOwner opened;
    LSTATUS status = NormalizeMissing(Open(scope, key, KEY_READ, opened));
    DWORD subKeys = 0;
    DWORD values = 0;
    if (status == ERROR_SUCCESS) {
        status = RegQueryInfoKeyW(opened.get(), nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr, &values, nullptr,
                                  nullptr, nullptr, nullptr);
    }
    if (status != ERROR_SUCCESS || subKeys > 0 || values > 0) {
        return status == ERROR_FILE_NOT_FOUND ? LSTATUS{ERROR_SUCCESS} : status;
    }
    opened.reset();
    return RegDeleteKeyW(RootOf(scope), FullKey(key).c_str());
}

} // namespace doctor
