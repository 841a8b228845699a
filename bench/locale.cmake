# Locale object loading: a full UTF-8 CTYPE automaton, time and memory.
if(TARGET kwa_writers)
  add_executable(kwa_locale_bench ${CMAKE_CURRENT_LIST_DIR}/locale_bench.cpp
                 ${CMAKE_SOURCE_DIR}/tests/locale/locale_fixtures.cpp)
  target_include_directories(kwa_locale_bench PRIVATE ${CMAKE_SOURCE_DIR}/tests/locale)
  target_link_libraries(kwa_locale_bench PRIVATE kwa_core kwa_writers benchmark::benchmark)
endif()
