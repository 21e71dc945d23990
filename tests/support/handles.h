/// Counts the open handles of a process, to find leaks.
#pragma once

#include <cstddef>
#include <cstdint>

#include <windows.h>

extern "C" { // of ntdll.dll; <windows.h> does not declare them
NTSTATUS NTAPI NtSuspendProcess(HANDLE process);
NTSTATUS NTAPI NtResumeProcess(HANDLE process);
}

namespace support {

namespace detail {

/// The number of values that are handles of a process.
inline std::size_t CountHandles(HANDLE process) {
    constexpr std::uintptr_t step = 4; // the lowest two bits of a handle are ignored
    constexpr std::size_t widestGap = 1024;
    std::size_t count = 0;
    std::size_t gap = 0;
    for (std::uintptr_t value = step; gap < widestGap; value += step) {
        HANDLE copy = nullptr;
        if (DuplicateHandle(process, reinterpret_cast<HANDLE>(value), GetCurrentProcess(), &copy, 0, FALSE,
                            DUPLICATE_SAME_ACCESS) != FALSE) {
            CloseHandle(copy);
            ++count;
            gap = 0;
        } else {
            ++gap;
        }
    }
    return count;
}

} // namespace detail

/// The number of handles that this process has open.
///
/// Tries one value after the other: Wine 8's GetProcessHandleCount always gives 0, and listing all handles of the
/// system crashes Wine's server if another process is starting or ending.
inline std::size_t OpenHandles() {
    return detail::CountHandles(GetCurrentProcess());
}

/// The same for another process, which is suspended meanwhile: each handle is copied for a moment, in which a file that
/// the process closes would stay open. `process` needs the rights to suspend it and to duplicate its handles.
inline std::size_t OpenHandles(HANDLE process) {
    NtSuspendProcess(process);
    const std::size_t count = detail::CountHandles(process);
    NtResumeProcess(process);
    return count;
}

} // namespace support
