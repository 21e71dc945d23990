# Registry files that let the system's surrogate process, dllhost.exe, host the classes for 32-bit programs, and that
# remove these entries.

set(CLASSES_KEY "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes")
set(APPID_KEY "${CLASSES_KEY}\\AppID\\${NUVOLEX_SURROGATE_APPID}")
set(CLASSES_WITH "")
set(CLASSES_WITHOUT "")
foreach(CLASS IN LISTS NUVOLEX_CLASSES)
  nuvolex_contract_guid(CLSID "coclass ${CLASS}")
  set(KEY "[${CLASSES_KEY}\\CLSID\\{${CLSID}}]")
  string(APPEND CLASSES_WITH "\n${KEY}\n\"AppID\"=\"${NUVOLEX_SURROGATE_APPID}\"\n")
  string(APPEND CLASSES_WITHOUT "\n${KEY}\n\"AppID\"=-\n")
endforeach()
foreach(NAME surrogate surrogate-remove)
  configure_file(${NAME}.reg.in "${PROJECT_BINARY_DIR}/${NAME}.reg" @ONLY NEWLINE_STYLE WIN32)
endforeach()
