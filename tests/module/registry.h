/// The registry as text, for comparison.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <windows.h>

/// The content of a key as lines: "key", "key = text" for its default value, "key [name] = text" for other values.
/// Values that are not REG_SZ are shown by type and size.
using RegistryLines = std::set<std::wstring>;

namespace detail {

inline std::wstring ValueText(DWORD type, const std::vector<wchar_t>& units, DWORD size) {
    const bool isText = type == REG_SZ && size >= sizeof(wchar_t) && size % sizeof(wchar_t) == 0 &&
                        std::find(units.begin(), units.end(), L'\0') - units.begin() ==
                            static_cast<std::ptrdiff_t>(size / sizeof(wchar_t) - 1);
    return isText ? std::wstring(units.data())
                  : L"(type " + std::to_wstring(type) + L", " + std::to_wstring(size) + L" bytes)";
}

/// `name` is a buffer for names: a new one for every key would take longer than reading the registry.
inline void AddLines(HKEY key, const std::wstring& path, std::vector<wchar_t>& name, RegistryLines& lines) {
    for (DWORD i = 0;; ++i) {
        auto length = static_cast<DWORD>(name.size());
        DWORD type = REG_NONE;
        DWORD size = 0;
        if (RegEnumValueW(key, i, name.data(), &length, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) {
            break;
        }
        std::vector<wchar_t> units(size / sizeof(wchar_t) + 2);
        RegQueryValueExW(key, name.data(), nullptr, &type, reinterpret_cast<BYTE*>(units.data()), &size);
        const std::wstring shownName = length == 0 ? L"" : L" [" + std::wstring(name.data()) + L"]";
        lines.insert(path + shownName + L" = " + ValueText(type, units, size));
    }
    for (DWORD i = 0;; ++i) {
        auto length = static_cast<DWORD>(name.size());
        if (RegEnumKeyExW(key, i, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            break;
        }
        const std::wstring subPath = (path.empty() ? L"" : path + L"\\") + name.data();
        lines.insert(subPath);
        HKEY subKey = nullptr;
        if (RegOpenKeyExW(key, name.data(), 0, KEY_READ, &subKey) == ERROR_SUCCESS) {
            AddLines(subKey, subPath, name, lines);
            RegCloseKey(subKey);
        }
    }
}

} // namespace detail

/// The content of HKEY_CLASSES_ROOT.
inline RegistryLines ClassesRoot() {
    constexpr std::size_t maxNameLength = 0x4000;
    RegistryLines lines;
    std::vector<wchar_t> name(maxNameLength);
    detail::AddLines(HKEY_CLASSES_ROOT, L"", name, lines);
    return lines;
}

/// The lines about one of `keys` or its subkeys.
inline RegistryLines Below(const std::vector<std::wstring>& keys, const RegistryLines& lines) {
    RegistryLines chosen;
    for (const std::wstring& line : lines) {
        const bool wanted = std::any_of(keys.begin(), keys.end(), [&line](const std::wstring& key) {
            return line.starts_with(key) &&
                   (line.size() == key.size() || line[key.size()] == L'\\' || line[key.size()] == L' ');
        });
        if (wanted) {
            chosen.insert(line);
        }
    }
    return chosen;
}

/// The lines that are not in `others`.
inline RegistryLines Without(const RegistryLines& lines, const RegistryLines& others) {
    RegistryLines rest;
    std::set_difference(lines.begin(), lines.end(), others.begin(), others.end(), std::inserter(rest, rest.end()));
    return rest;
}

/// Whether HKEY_CLASSES_ROOT has this key.
inline bool KeyExists(const std::wstring& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

/// The default value of a key below HKEY_CLASSES_ROOT; empty if there is none.
inline std::wstring DefaultValue(const std::wstring& path) {
    wchar_t text[1024] = {};
    DWORD size = sizeof(text);
    RegGetValueW(HKEY_CLASSES_ROOT, path.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

/// An open key below HKEY_CLASSES_ROOT, created if necessary.
class RegistryKey {
  public:
    explicit RegistryKey(const std::wstring& path, DWORD options = REG_OPTION_NON_VOLATILE) {
        RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, options, KEY_ALL_ACCESS, nullptr, &m_key, nullptr);
    }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;
    ~RegistryKey() { RegCloseKey(m_key); }

    /// An empty name means the default value.
    void SetText(const std::wstring& name, const std::wstring& text) const {
        RegSetValueExW(m_key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }

  private:
    HKEY m_key = nullptr;
};

/// Restricts everybody's rights to a key below HKEY_CLASSES_ROOT to `rights`; afterwards everybody has all. Wine 8
/// checks the rights to read and set values, but not those to create and delete keys.
class RestrictedKey {
  public:
    RestrictedKey(const std::wstring& path, ACCESS_MASK rights) {
        const LSTATUS status = RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, WRITE_DAC, &m_key);
        if (status != ERROR_SUCCESS || !AllowEverybody(rights)) {
            throw std::runtime_error("cannot restrict the rights to a key");
        }
    }
    RestrictedKey(const RestrictedKey&) = delete;
    RestrictedKey& operator=(const RestrictedKey&) = delete;
    ~RestrictedKey() {
        AllowEverybody(KEY_ALL_ACCESS);
        RegCloseKey(m_key);
    }

  private:
    bool AllowEverybody(ACCESS_MASK rights) const {
        std::array<BYTE, SECURITY_MAX_SID_SIZE> everybody = {};
        DWORD sidSize = sizeof(everybody);
        std::array<DWORD, 64> listMemory = {};
        auto* const list = reinterpret_cast<ACL*>(listMemory.data());
        SECURITY_DESCRIPTOR descriptor = {};
        return CreateWellKnownSid(WinWorldSid, nullptr, everybody.data(), &sidSize) != FALSE &&
               InitializeAcl(list, sizeof(listMemory), ACL_REVISION) != FALSE &&
               AddAccessAllowedAce(list, ACL_REVISION, rights, everybody.data()) != FALSE &&
               InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) != FALSE &&
               SetSecurityDescriptorDacl(&descriptor, TRUE, list, FALSE) != FALSE &&
               RegSetKeySecurity(m_key, DACL_SECURITY_INFORMATION, &descriptor) == ERROR_SUCCESS;
    }

    HKEY m_key = nullptr;
};
