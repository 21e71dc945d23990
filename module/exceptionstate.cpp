/// The C++ runtime's exception state of each thread, in thread-local storage of the loader.
///
/// The runtime's own version allocates memory and a TLS index when a thread throws for the first time in this DLL. If
/// out of memory, that ends the process; and the index leaks when the DLL is unloaded. The loader allocates this
/// storage when it creates the thread or loads the DLL, and frees it.

#include <cstddef>
#include <cstdint>

#include <cxxabi.h>
#include <windows.h>

extern "C" {
extern ULONG _tls_index; // NOLINT(bugprone-reserved-identifier): the C runtime's names
extern char* _tls_start; // NOLINT(bugprone-reserved-identifier)
}

namespace __cxxabiv1 {

/// As in libstdc++.
struct __cxa_eh_globals {
    void* caughtExceptions;
    unsigned int uncaughtExceptions;
};

namespace {

/// The initial value of each thread's copy.
__attribute__((section(".tls$nuvolex"))) __cxa_eh_globals initialState = {};

} // namespace

extern "C" __cxa_eh_globals* __cxa_get_globals() noexcept {
    // The thread's TLS blocks, one per module. Their place in the TEB is part of the ABI.
    std::byte* const* blocks = nullptr;
    asm("movq %%gs:0x58, %0" : "=r"(blocks));
    const std::uintptr_t offset =
        reinterpret_cast<std::uintptr_t>(&initialState) - reinterpret_cast<std::uintptr_t>(&_tls_start);
    return reinterpret_cast<__cxa_eh_globals*>(blocks[_tls_index] + offset);
}

extern "C" __cxa_eh_globals* __cxa_get_globals_fast() noexcept {
    return __cxa_get_globals();
}

} // namespace __cxxabiv1
