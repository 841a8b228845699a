# Tests of the locale compiler's readers and writers.
if(TARGET kwa_localedef_lib)
  kwa_add_test(kwa_localedef_tests
    ${CMAKE_CURRENT_LIST_DIR}/source_reader_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/compiler_test.cpp)
  target_link_libraries(kwa_localedef_tests PRIVATE kwa_localedef_lib)

  add_test(NAME kwa_localedef_cli
           COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:kwa-localedef>
                   -DWORK=${CMAKE_CURRENT_BINARY_DIR}/cli_test_work
                   -P ${CMAKE_CURRENT_LIST_DIR}/cli_test.cmake)

  # The bundled locales against glibc's localedef as a second opinion.
  if(TARGET kwa_data)
    kwa_add_test(kwa_localedef_glibc_tests ${CMAKE_CURRENT_LIST_DIR}/glibc_compare_test.cpp)
    target_link_libraries(kwa_localedef_glibc_tests PRIVATE kwa_localedef_lib)
    add_dependencies(kwa_localedef_glibc_tests kwa_data)
    # glibc's localedef runs once per bundled locale: the slowest suite.
    set_tests_properties(kwa_localedef_glibc_tests PROPERTIES LABELS "glibc" TIMEOUT 900)
  endif()
endif()
