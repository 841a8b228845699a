# Tests of locale handles, locale objects, creation and the information queries.

# The fixture locales, written at build time by our own writer.
set(KWA_LOCALE_TESTDATA "${CMAKE_BINARY_DIR}/testdata/locale/")
add_library(kwa_locale_fixture_sources STATIC ${CMAKE_CURRENT_LIST_DIR}/locale_fixtures.cpp)
target_link_libraries(kwa_locale_fixture_sources PUBLIC kwa_writers)
target_include_directories(kwa_locale_fixture_sources PUBLIC ${CMAKE_CURRENT_LIST_DIR})

add_executable(kwa_gen_locale_fixtures ${CMAKE_CURRENT_LIST_DIR}/gen_locale_fixtures.cpp)
target_link_libraries(kwa_gen_locale_fixtures PRIVATE kwa_locale_fixture_sources)

set(_locale_fixture_outputs
  ${KWA_LOCALE_TESTDATA}kwa/lc11/default.lco
  ${KWA_LOCALE_TESTDATA}kwa/lc11/en_us/0333.lco
  ${KWA_LOCALE_TESTDATA}kwa/lc11/xx_yy/ea61.lco
  ${KWA_LOCALE_TESTDATA}kwa/lc11/ja_jp/e01c.lco
  ${KWA_LOCALE_TESTDATA}kwa/cm3/registry
  ${KWA_LOCALE_TESTDATA}bad/truncated/default.lco)
add_custom_command(
  OUTPUT ${_locale_fixture_outputs}
  COMMAND kwa_gen_locale_fixtures ${KWA_LOCALE_TESTDATA}
  DEPENDS kwa_gen_locale_fixtures
  COMMENT "Writing the locale test objects")
add_custom_target(kwa_locale_fixtures DEPENDS ${_locale_fixture_outputs})

kwa_add_test(kwa_locale_tests
  ${CMAKE_CURRENT_LIST_DIR}/locale_test_support.cpp
  ${CMAKE_CURRENT_LIST_DIR}/handle_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/lco_reader_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/select_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/malformed_object_test.cpp)
target_link_libraries(kwa_locale_tests PRIVATE kwa_locale_fixture_sources)
target_compile_definitions(kwa_locale_tests PRIVATE KWA_LOCALE_TESTDATA="${KWA_LOCALE_TESTDATA}")
add_dependencies(kwa_locale_tests kwa_locale_fixtures)

# The kwa command over the same fixtures.
if(TARGET kwa)
  add_test(NAME kwa_info_command
    COMMAND ${CMAKE_COMMAND} -DKWA=$<TARGET_FILE:kwa> -DDATA=${KWA_LOCALE_TESTDATA}
            -P ${CMAKE_CURRENT_LIST_DIR}/kwa_info_check.cmake)
  set_tests_properties(kwa_info_command PROPERTIES DEPENDS kwa_locale_tests)
endif()
