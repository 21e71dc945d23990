# The same target with a second compiler: clang, with GCC's headers, libraries and linker.
include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64-x86_64.cmake")

execute_process(COMMAND ${CMAKE_C_COMPILER} -print-libgcc-file-name
  OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET libgcc PARENT_PATH gcc_folder)

unset(NUVOLEX_DLL_LINKER) # this DLL is only for tests, so clang may link it
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${triplet})
set(CMAKE_CXX_COMPILER_TARGET ${triplet})

# What GCC does by itself for this libstdc++: std::mutex and std::thread need -pthread, and a function of the library
# compares std::type_info.
string(JOIN " " CMAKE_CXX_FLAGS_INIT
  -pthread
  -isystem "${gcc_folder}/include/c++"
  -isystem "${gcc_folder}/include/c++/${triplet}"
  -D__GXX_TYPEINFO_EQUALITY_INLINE=0
  -D__GXX_MERGED_TYPEINFO_NAMES=0)
# The linker warns about each type name in both the program and libstdc++: GCC pads them, clang does not.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-L${gcc_folder} -Wl,--no-warnings")
endforeach()
