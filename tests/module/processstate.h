/// The resources that this process uses, to check that loading and unloading the DLL leaks none.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <ostream>

#include <windows.h>

#include <malloc.h>
#include <tlhelp32.h>

#include "tests/support/handles.h"

struct ProcessState {
    std::size_t blocks;       ///< in the C runtime's heap
    std::size_t bytes;        ///< of those blocks
    std::size_t processBytes; ///< in blocks of the process heap
    std::size_t handles;
    std::size_t modules;
    std::size_t localIndices; ///< TLS indices

    friend std::ostream& operator<<(std::ostream& out, const ProcessState& state) {
        return out << state.blocks << " blocks with " << state.bytes << " bytes, " << state.processBytes
                   << " bytes in the process heap, " << state.handles << " handles, " << state.modules << " modules, "
                   << state.localIndices << " thread-local indices";
    }
};

namespace detail {

inline void AddBlocks(HANDLE heap, std::size_t& count, std::size_t& bytes) {
    PROCESS_HEAP_ENTRY entry = {};
    HeapLock(heap);
    while (HeapWalk(heap, &entry) != FALSE) {
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
            ++count;
            bytes += entry.cbData;
        }
    }
    HeapUnlock(heap);
}

/// The number of TLS indices in use. Allocates all others for a moment to count them.
inline std::size_t TakenLocalIndices() {
    constexpr std::size_t all = TLS_MINIMUM_AVAILABLE + 1024;
    std::array<DWORD, all> others;
    std::size_t count = 0;
    for (DWORD index = TlsAlloc(); index != TLS_OUT_OF_INDEXES; index = TlsAlloc()) {
        others.at(count++) = index;
    }
    std::for_each_n(others.begin(), count, &TlsFree);
    return all - count;
}

inline std::size_t LoadedModules() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0);
    std::size_t count = 0;
    MODULEENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL found = Module32FirstW(snapshot, &entry); found != FALSE; found = Module32NextW(snapshot, &entry)) {
        ++count;
    }
    CloseHandle(snapshot);
    return count;
}

} // namespace detail

/// The current state. Frees what it allocates before it counts blocks.
inline ProcessState StateOfProcess() {
    ProcessState state = {};
    state.localIndices = detail::TakenLocalIndices();
    state.modules = detail::LoadedModules();
    state.handles = support::OpenHandles();
    std::size_t processBlocks = 0;
    detail::AddBlocks(GetProcessHeap(), processBlocks, state.processBytes);
    detail::AddBlocks(reinterpret_cast<HANDLE>(_get_heap_handle()), state.blocks, state.bytes);
    return state;
}
