# Compile and link options of all targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1 -D_GLIBCXX_ASSERTIONS")
set(CMAKE_CXX_FLAGS_COVERAGE "-O0 -DNDEBUG")

# For our own sources, not for third-party sources built with them.
add_library(nuvolex_options INTERFACE)
target_include_directories(nuvolex_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(nuvolex_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wcast-qual -Wcast-align -Wformat=2 -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast;-Woverloaded-virtual>
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond;-Wduplicated-branches;-Wlogical-op>
  # comutil.h tests what its operator new returns; GCC keeps that test only with -fcheck-new.
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fcheck-new>
  -ffunction-sections -fdata-sections
  # File names in messages do not depend on the build folder.
  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/="
  # Sanitizers cannot report on this target, so undefined behaviour traps.
  $<$<CONFIG:Debug>:-fsanitize=undefined;-fsanitize-undefined-trap-on-error>)
target_compile_definitions(nuvolex_options INTERFACE WINVER=0x0A00 _WIN32_WINNT=0x0A00)
# For tools/coverage. Tests are counted too, since they compile the product's headers. Counters are atomic, for threads.
target_compile_options(nuvolex_options INTERFACE "$<$<CONFIG:Coverage>:--coverage;-fprofile-update=atomic>")

# Link-time optimisation of the product, so that calls between the layers are inlined. The objects also have ordinary
# code, for programs that link the libraries, such as the tests.
add_library(nuvolex_whole INTERFACE)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(nuvolex_whole INTERFACE $<$<CONFIG:Release>:-flto=auto;-ffat-lto-objects>)
endif()

# Link options of every program and DLL: static runtimes, hardening, reproducible output.
add_library(nuvolex_link INTERFACE)
target_link_options(nuvolex_link INTERFACE
  -static -static-libgcc -static-libstdc++
  -Wl,--gc-sections,--dynamicbase,--high-entropy-va,--nxcompat,--no-insert-timestamp
  $<$<CONFIG:Coverage>:--coverage>
  $<$<CONFIG:Release>:-s>)

# nuvolex_compile_as_one(TARGET): compiles the sources of a target as one file, in a third of the time. Not in the preset
# `tidy`: clang-tidy and editors (.clangd) need the command of each file.
function(nuvolex_compile_as_one target)
  if(NOT CMAKE_CXX_CLANG_TIDY)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  endif()
endfunction()
