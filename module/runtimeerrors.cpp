/// What the C++ runtime of this DLL does when an exception is never caught, and what the standard library throws.
///
/// These replace functions of libstdc++ that need large parts of it. Its terminate handler prints the name of the
/// exception's type, with a demangler and a formatter: 69 KB. Its throwing functions are one object file, which needs
/// all of the standard exceptions and, for their messages, both kinds of std::string: 56 KB.
///
/// Only the functions that the DLL uses are here. When the linker reports that some are also defined in functexcept.o,
/// new code uses another function of <bits/functexcept.h>: add it here.

#include <cstdlib>
#include <exception>
#include <new>

#include <bits/functexcept.h>

/// Called when an exception leaves a function that is noexcept, for example. Ends the process as the handler of
/// libstdc++ does, without its message on stderr.
void __gnu_cxx::__verbose_terminate_handler() {
    std::abort();
}

namespace std {

void __throw_bad_alloc() {
    throw bad_alloc();
}

void __throw_bad_array_new_length() {
    throw bad_array_new_length();
}

// The others mean a mistake in the DLL's own code, such as an offset beyond the end of a string, or a length that no
// memory can hold. Late-bound callers get E_UNEXPECTED for any std::exception, so the exact type does not matter.

void __throw_length_error(const char* /*what*/) {
    throw exception();
}

void __throw_logic_error(const char* /*what*/) {
    throw exception();
}

void __throw_out_of_range_fmt(const char* /*format*/, ...) {
    throw exception();
}

} // namespace std
