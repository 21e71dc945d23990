/// How many handles a process has open, to find those that are never closed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include <windows.h>

namespace support {

/// The handles that a process has open. (Wine 8's GetProcessHandleCount succeeds and always gives 0.)
inline std::size_t OpenHandles(DWORD processId) {
    struct Entry {
        void* object;
        ULONG_PTR processId;
        ULONG_PTR handle;
        ULONG others[4];
    };
    struct Header {
        ULONG_PTR count;
        ULONG_PTR reserved;
    };
    constexpr ULONG extendedHandleInformation = 64;
    using Query = LONG NTAPI(ULONG what, void* buffer, ULONG size, ULONG* needed);
    auto* const query = reinterpret_cast<Query*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll"), "NtQuerySystemInformation")));
    std::vector<std::byte> buffer(1 << 16);
    ULONG needed = 0;
    while (query(extendedHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), &needed) < 0) {
        buffer.resize(buffer.size() * 2);
    }
    const auto* const header = reinterpret_cast<const Header*>(buffer.data());
    const auto* const entries = reinterpret_cast<const Entry*>(header + 1);
    return static_cast<std::size_t>(std::count_if(
        entries, entries + header->count, [processId](const Entry& entry) { return entry.processId == processId; }));
}

} // namespace support
