#include "core/nkfile.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr std::wstring_view extendedPrefix = L"\\\\?\\";

/// Whether the path has that prefix, or names a device.
bool HasDevicePrefix(std::wstring_view path) noexcept {
    return path.starts_with(extendedPrefix) || path.starts_with(L"\\\\.\\");
}

HANDLE OpenHandle(const wchar_t* path, DWORD access, DWORD disposition) {
    if (path == nullptr) {
        return INVALID_HANDLE_VALUE;
    }
    return CreateFileW(ToExtendedLengthPath(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

} // namespace

std::wstring ToExtendedLengthPath(const wchar_t* path) {
    if (HasDevicePrefix(path)) {
        return path;
    }
    const DWORD capacity = GetFullPathNameW(path, 0, nullptr, nullptr);
    std::wstring full(capacity, L'\0');
    full.resize(GetFullPathNameW(path, capacity, full.data(), nullptr));
    if (full.size() < MAX_PATH) {
        return path;
    }
    if (HasDevicePrefix(full)) { // was given with forward slashes
        return full;
    }
    if (full.starts_with(L"\\\\")) {
        return std::wstring(extendedPrefix) + L"UNC" + full.substr(1);
    }
    return std::wstring(extendedPrefix) + full;
}

bool CNKFile::Open(const wchar_t* path) {
    Close();
    m_handle = OpenHandle(path, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING);
    return IsOpen();
}

bool CNKFile::CreateEmpty(const wchar_t* path) {
    const HANDLE handle = OpenHandle(path, GENERIC_WRITE, CREATE_ALWAYS);
    return handle != INVALID_HANDLE_VALUE && CloseHandle(handle) != FALSE;
}

void CNKFile::Close() noexcept {
    if (IsOpen()) {
        CloseHandle(std::exchange(m_handle, INVALID_HANDLE_VALUE));
    }
    m_bufferStart = m_filePointer = 0;
    m_next = m_end = 0;
}

std::string_view CNKFile::Peek(std::size_t wanted) {
    if (m_end - m_next < wanted) {
        if (m_buffer == nullptr) {
            m_buffer = std::make_unique_for_overwrite<char[]>(bufferSize);
        }
        std::memmove(m_buffer.get(), m_buffer.get() + m_next, m_end - m_next);
        m_bufferStart += static_cast<std::int64_t>(m_next);
        m_end -= m_next;
        m_next = 0;
        DWORD read = 0;
        do {
            if (!MoveFilePointer(m_bufferStart + static_cast<std::int64_t>(m_end)) ||
                ReadFile(m_handle, m_buffer.get() + m_end, static_cast<DWORD>(bufferSize - m_end), &read, nullptr) ==
                    FALSE) {
                read = 0;
            }
            m_end += read;
            m_filePointer += read;
        } while (m_end < wanted && read > 0);
    }
    return Buffered();
}

void CNKFile::DiscardBuffer() noexcept {
    m_bufferStart = GetPosition();
    m_next = m_end = 0;
}

bool CNKFile::Write(std::string_view bytes) noexcept {
    DiscardBuffer(); // the write may overwrite what it has
    while (!bytes.empty()) {
        DWORD written = 0;
        const auto chunk = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1U << 30));
        if (!MoveFilePointer(m_bufferStart) || WriteFile(m_handle, bytes.data(), chunk, &written, nullptr) == FALSE ||
            written == 0) {
            m_filePointer = -1;
            return false;
        }
        m_bufferStart += written;
        m_filePointer += written;
        bytes.remove_prefix(written);
    }
    return true;
}

/// Moves the system's file pointer. Usually it is there already, which saves the call.
bool CNKFile::MoveFilePointer(std::int64_t position) noexcept {
    if (m_filePointer != position) {
        LARGE_INTEGER distance = {};
        distance.QuadPart = position;
        if (SetFilePointerEx(m_handle, distance, nullptr, FILE_BEGIN) == FALSE) {
            return false;
        }
        m_filePointer = position;
    }
    return true;
}

bool CNKFile::SetPosition(std::int64_t position) noexcept {
    if (position < 0) {
        return false;
    }
    const std::int64_t inBuffer = position - m_bufferStart;
    if (inBuffer >= 0 && inBuffer <= static_cast<std::int64_t>(m_end)) {
        m_next = static_cast<std::size_t>(inBuffer);
    } else {
        m_bufferStart = position;
        m_next = m_end = 0;
    }
    return true;
}

std::int64_t CNKFile::GetSize() const noexcept {
    LARGE_INTEGER size{};
    GetFileSizeEx(m_handle, &size);
    return size.QuadPart;
}
