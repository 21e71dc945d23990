/// Files in tests: a folder for them, and functions that write and read their bytes.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

namespace support {

struct HandleCloser {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

/// Owns the handle of an open file or pipe; null when there is none.
using FileHandle = std::unique_ptr<HANDLE, HandleCloser>;

/// Opens a file. Null if that fails.
inline FileHandle OpenFile(const std::wstring& path, DWORD access, DWORD sharing, DWORD disposition = OPEN_EXISTING) {
    const HANDLE handle = CreateFileW(path.c_str(), access, sharing, nullptr, disposition, 0, nullptr);
    return FileHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

/// Whether nobody has the file open.
inline bool IsClosed(const std::wstring& path) {
    return OpenFile(path, GENERIC_READ, 0) != nullptr;
}

inline bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

/// The extended-length form of an absolute path.
inline std::wstring Extended(const std::wstring& path) {
    return L"\\\\?\\" + path;
}

/// Creates or replaces a file with these bytes. Others may have it open.
inline void WriteBytes(const std::wstring& path, std::string_view bytes) {
    const FileHandle file = OpenFile(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, CREATE_ALWAYS);
    DWORD written = 0;
    EXPECT_TRUE(file != nullptr &&
                WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
                written == bytes.size());
}

/// All bytes of a file. Others may have it open.
inline std::string ReadBytes(const std::wstring& path) {
    const FileHandle file = OpenFile(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
    LARGE_INTEGER size = {};
    if (file == nullptr || !GetFileSizeEx(file.get(), &size)) {
        ADD_FAILURE() << "cannot read the file";
        return {};
    }
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) &&
                read == bytes.size());
    return bytes;
}

/// The names in a folder, sorted.
inline std::vector<std::wstring> NamesIn(const std::wstring& folder) {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW entry = {};
    const HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        return names;
    }
    do {
        const std::wstring_view name = entry.cFileName;
        if (name != L"." && name != L"..") {
            names.emplace_back(name);
        }
    } while (FindNextFileW(search, &entry));
    FindClose(search);
    std::sort(names.begin(), names.end());
    return names;
}

/// A new folder, which the destructor removes with its contents. No file in it may be open then.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        wchar_t parent[MAX_PATH + 1] = {};
        GetTempPathW(MAX_PATH + 1, parent);
        const std::wstring start = parent + (L"nuvolex-" + std::to_wstring(GetCurrentProcessId()) + L'-');
        int number = 0;
        do {
            m_path = start + std::to_wstring(++number);
        } while (!CreateDirectoryW(m_path.c_str(), nullptr) && GetLastError() == ERROR_ALREADY_EXISTS);
        EXPECT_TRUE(Exists(m_path));
    }
    ~TemporaryFolder() { EXPECT_TRUE(Remove(Extended(m_path))); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::wstring& Path() const noexcept { return m_path; }
    [[nodiscard]] std::wstring operator/(std::wstring_view name) const { return m_path + L'\\' + std::wstring(name); }

  private:
    static bool Remove(const std::wstring& path) {
        if (DeleteFileW(path.c_str())) {
            return true;
        }
        for (const std::wstring& name : NamesIn(path)) {
            Remove(path + L'\\' + name);
        }
        return RemoveDirectoryW(path.c_str());
    }

    std::wstring m_path;
};

} // namespace support
