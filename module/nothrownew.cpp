/// The DLL's own `new (std::nothrow)`, which makes objects and text records.
///
/// The run-time library's raises an exception and catches it again. But to raise its first one, a thread needs memory
/// too, and a thread that gets none then does not return.

#include <cstdlib>
#include <new>

// Both give memory that the run-time library's operators delete free.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(size); // NOLINT(cppcoreguidelines-no-malloc)
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
