/// The state that the C++ run-time library keeps for each thread while it raises exceptions, in thread-local memory of
/// the loader's.
///
/// The run-time library's own version asks for memory, and for a thread-local index, when a thread raises its first
/// exception in this DLL. Without memory that ends the process, so no thread could report that memory has run out; and
/// the index stays behind when the DLL is unloaded. The loader reserves this memory with the thread, or when it loads
/// the DLL, and frees it again.

#include <cstddef>
#include <cstdint>

#include <cxxabi.h>
#include <windows.h>

extern "C" {
extern ULONG _tls_index; // NOLINT(bugprone-reserved-identifier): the C run-time library's names
extern char* _tls_start; // NOLINT(bugprone-reserved-identifier)
}

namespace __cxxabiv1 {

/// As the run-time library knows it.
struct __cxa_eh_globals {
    void* caughtExceptions;
    unsigned int uncaughtExceptions;
};

namespace {

/// What each thread gets a copy of. Never touched itself.
__attribute__((section(".tls$nuvolex"))) __cxa_eh_globals initialState = {};

} // namespace

extern "C" __cxa_eh_globals* __cxa_get_globals() noexcept {
    // A thread's blocks of thread-local memory, one for each module. Compiled programs rely on where they are.
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
