# Timing of the locale compiler (needs the system's locale sources).
if(TARGET kwa_localedef_lib AND EXISTS ${KWA_I18N_DIR}/locales/ja_JP)
  add_executable(kwa_compiler_bench ${CMAKE_SOURCE_DIR}/tools/localedef/compile_bench.cpp)
  target_link_libraries(kwa_compiler_bench PRIVATE kwa_localedef_lib benchmark::benchmark
                        benchmark::benchmark_main)
endif()
