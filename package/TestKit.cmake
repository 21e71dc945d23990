# The test kit: `cmake --install build/release --component testkit --prefix FOLDER` makes a folder of all tests, which
# must be built before, and the program that runs them on Windows. stage.cmake takes the tests from CTest.

add_executable(nuvolex_testrunner
  testkit/machine.cpp testkit/outcome.cpp testkit/process.cpp testkit/redaction.cpp testkit/testrunner.cpp)
target_link_libraries(nuvolex_testrunner PRIVATE nuvolex_options nuvolex_link)
target_link_options(nuvolex_testrunner PRIVATE -municode) # its main function is wmain
set_target_properties(nuvolex_testrunner PROPERTIES OUTPUT_NAME testrunner)
nuvolex_compile_as_one(nuvolex_testrunner)
configure_file(testkit/README.txt.in testkit/README.txt @ONLY NEWLINE_STYLE WIN32)
configure_file(testkit/run-tests.cmd testkit/run-tests.cmd @ONLY NEWLINE_STYLE WIN32)

set(kit COMPONENT testkit EXCLUDE_FROM_ALL)
install(TARGETS nuvolex_testrunner RUNTIME DESTINATION bin ${kit})
install(FILES $<TARGET_FILE:nuvolex> "${NUVOLEX_TYPELIB}" DESTINATION bin ${kit})
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/testkit/README.txt" "${CMAKE_CURRENT_BINARY_DIR}/testkit/run-tests.cmd"
  "${CMAKE_CURRENT_BINARY_DIR}/LICENSE.txt" "${CMAKE_CURRENT_BINARY_DIR}/THIRD-PARTY.txt"
  DESTINATION . ${kit})
install(CODE "
  set(TITLE \"Nuvolex ${PROJECT_VERSION} test kit\")
  set(CTEST \"${CMAKE_CTEST_COMMAND}\")
  set(SOURCE_DIR \"${PROJECT_SOURCE_DIR}\")
  set(BINARY_DIR \"${PROJECT_BINARY_DIR}\")" ${kit})
install(SCRIPT testkit/stage.cmake ${kit})
