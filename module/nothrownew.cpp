/// The DLL's own `new (std::nothrow)`, which makes objects and text records.
///
/// The run-time library's raises an exception and catches it again. But to raise its first one, a thread needs memory
/// too, and where there is none the run-time library ends the process.

#include <cstdlib>
#include <new>

// Memory that the run-time library's operator delete frees.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(size); // NOLINT(cppcoreguidelines-no-malloc)
}
