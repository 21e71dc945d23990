/// Small replacements for functions of libstdc++: the terminate handler, and the functions that throw.
///
/// libstdc++'s terminate handler prints the type of the exception and needs a demangler and a formatter: 69 KB. Its
/// throwing functions are one object file, which needs all standard exceptions and std::string: 56 KB.
///
/// If the linker reports that some of these are also defined in functexcept.o, new code uses another function of
/// <bits/functexcept.h>: add it here.

#include <cstdlib>
#include <exception>
#include <new>

#include <bits/functexcept.h>

/// Called when an exception leaves a noexcept function, for example. Ends the process without a message.
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

// The others are thrown for mistakes in the DLL's own code, such as an invalid offset, or for impossible lengths.
// Late-bound callers get E_UNEXPECTED for any std::exception, so the type does not matter.

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
