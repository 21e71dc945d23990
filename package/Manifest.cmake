# The manifest for clients that use the DLL without registration, under two names. Windows looks for a dependency of a
# program under the assembly's name: Nuvolex.Automation.manifest. The assembly is not called nuvolex, since Windows would then
# find nuvolex.dll first and fail because that contains no manifest. nuvolex.manifest is for callers of CreateActCtx.

set(NUVOLEX_ASSEMBLY Nuvolex.Automation)

# One class has a different threading model in its registry script (module/), and so in the manifest.
nuvolex_contract_guid(LIBID "library NUVOLEXLib")
set(COM_CLASSES "")
set(PROXIES "")
foreach(CLASS IN LISTS NUVOLEX_CLASSES)
  nuvolex_contract_guid(CLSID "coclass ${CLASS}")
  nuvolex_contract_guid(IID "interface I${CLASS}")
  nuvolex_class_description(DESCRIPTION ${CLASS})
  set(THREADING_MODEL Apartment)
  if(CLASS STREQUAL "NXTokenStringList")
    set(THREADING_MODEL Both)
  endif()
  string(APPEND COM_CLASSES "
    <comClass description=\"${DESCRIPTION}\" clsid=\"{${CLSID}}\" threadingModel=\"${THREADING_MODEL}\"
              tlbid=\"{${LIBID}}\" progid=\"Nuvolex.${CLASS}.1\">
      <progid>Nuvolex.${CLASS}</progid>
    </comClass>")
  string(APPEND PROXIES "
  <comInterfaceExternalProxyStub name=\"I${CLASS}\" iid=\"{${IID}}\" tlbid=\"{${LIBID}}\"
                                 baseInterface=\"{00020400-0000-0000-C000-000000000046}\"
                                 proxyStubClsid32=\"{00020424-0000-0000-C000-000000000046}\"/>")
endforeach()
foreach(NAME ${NUVOLEX_ASSEMBLY} nuvolex)
  configure_file(nuvolex.manifest.in "${PROJECT_BINARY_DIR}/${NAME}.manifest" @ONLY NEWLINE_STYLE WIN32)
endforeach()
# The manifest of a client: a template for users.
configure_file(client.manifest.in "${PROJECT_BINARY_DIR}/client.manifest" @ONLY NEWLINE_STYLE WIN32)
