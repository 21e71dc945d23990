# Generates from the automation contract, module/nuvolex.idl:
#   generated/nuvolex.h     interfaces and class identifiers for C++ clients
#   generated/nuvolex_i.c   the GUIDs themselves
#   generated/nuvolex.tlb   the type library that the DLL carries
# Defines the target nuvolex_contract (header and GUIDs) and NUVOLEX_TYPELIB, the path of the type library.

find_program(WIDL NAMES x86_64-w64-mingw32-widl widl REQUIRED)
find_program(PERL NAMES perl REQUIRED)
find_path(WIDL_IDL_DIR oaidl.idl PATHS /usr/include/wine/wine/windows NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_path(WIDL_TLB_DIR stdole2.tlb PATHS /usr/lib/x86_64-linux-gnu/wine/x86_64-windows
  NO_CMAKE_FIND_ROOT_PATH REQUIRED)

set(NUVOLEX_IDL "${PROJECT_SOURCE_DIR}/module/nuvolex.idl")
set(NUVOLEX_GENERATED_DIR "${PROJECT_BINARY_DIR}/generated")
set(NUVOLEX_TYPELIB "${NUVOLEX_GENERATED_DIR}/nuvolex.tlb")
file(MAKE_DIRECTORY "${NUVOLEX_GENERATED_DIR}")

set(widl ${WIDL} -m64 -I "${WIDL_IDL_DIR}" -L "${WIDL_TLB_DIR}")
add_custom_command(
  OUTPUT "${NUVOLEX_GENERATED_DIR}/nuvolex.h" "${NUVOLEX_GENERATED_DIR}/nuvolex_i.c" "${NUVOLEX_TYPELIB}"
  COMMAND ${widl} -h -o "${NUVOLEX_GENERATED_DIR}/nuvolex.h" nuvolex.idl
  COMMAND ${widl} -u -o "${NUVOLEX_GENERATED_DIR}/nuvolex_i.c" nuvolex.idl
  COMMAND ${widl} -t -o "${NUVOLEX_TYPELIB}" nuvolex.idl
  COMMAND ${PERL} "${PROJECT_SOURCE_DIR}/cmake/fix-typelib-time.pl" "${NUVOLEX_TYPELIB}"
  DEPENDS "${NUVOLEX_IDL}" "${PROJECT_SOURCE_DIR}/cmake/fix-typelib-time.pl"
  WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}/module" # widl writes the path of its source into the header
  COMMENT "Compiling the automation contract"
  VERBATIM)

set_source_files_properties("${NUVOLEX_GENERATED_DIR}/nuvolex_i.c" PROPERTIES LANGUAGE CXX)
add_library(nuvolex_contract STATIC "${NUVOLEX_GENERATED_DIR}/nuvolex_i.c" "${NUVOLEX_GENERATED_DIR}/nuvolex.h")
target_include_directories(nuvolex_contract SYSTEM INTERFACE "${NUVOLEX_GENERATED_DIR}")

# nuvolex_contract_guid(OUT DECLARATION): the GUID of a declaration in the contract, such as "coclass NXString".
function(nuvolex_contract_guid out declaration)
  file(READ "${NUVOLEX_IDL}" idl)
  string(REGEX MATCH "uuid\\(([-0-9A-F]+)\\)[^]]*\\][ \r\n\t]*${declaration}[ \r\n\t]" match "${idl}")
  if(NOT match)
    message(FATAL_ERROR "${NUVOLEX_IDL} declares no ${declaration}")
  endif()
  set(${out} "${CMAKE_MATCH_1}" PARENT_SCOPE)
endfunction()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${NUVOLEX_IDL}")

# The creatable classes, in the order in which they are registered. NXFoo implements the interface INXFoo.
set(NUVOLEX_CLASSES
  NXString NXTokenString NXStringList NXFileStream NXTokenStringList NXFileStreamList NXVariantCollection)

# nuvolex_class_description(OUT CLASS): the description of a class in the registry and the manifest. Clients rely on the
# one that differs.
function(nuvolex_class_description out class)
  set(${out} "${class} Class" PARENT_SCOPE)
  if(class STREQUAL "NXTokenStringList")
    set(${out} "${class}-Klasse" PARENT_SCOPE)
  endif()
endfunction()

# The AppID with which the system's surrogate process serves 32-bit programs.
set(NUVOLEX_SURROGATE_APPID "{A57D3BCE-C244-40C6-8164-1A7005B670A0}")
