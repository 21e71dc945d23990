# Links the programs of this directory and those below with lld, in half a second instead of 25 with GNU's linker. clang
# calls it, since Debian's GCC calls only its own linker; the libraries are still GCC's.

find_program(NUVOLEX_CLANG clang++ REQUIRED)
find_program(NUVOLEX_LLD ld.lld REQUIRED)
execute_process(COMMAND ${triplet}-g++-posix -print-libgcc-file-name
  OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET libgcc PARENT_PATH gcc_folder)

# -Brepro: reproducible output.
string(JOIN " " CMAKE_CXX_LINK_EXECUTABLE
  "${NUVOLEX_CLANG}" --target=${triplet} -fuse-ld=lld "-L${gcc_folder}" -static -pthread -Wl,-Xlink=-Brepro
  "<LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES>")
set(CMAKE_EXE_LINKER_FLAGS "") # those of the other linker
# CMake's default options for whole archives are unknown to this lld.
set(CMAKE_CXX_LINK_LIBRARY_USING_WHOLE_ARCHIVE "-Wl,--whole-archive <LIBRARY> -Wl,--no-whole-archive")
set(CMAKE_CXX_LINK_LIBRARY_USING_WHOLE_ARCHIVE_SUPPORTED TRUE)
