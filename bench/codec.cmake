# Codec throughput against the C library's multibyte conversions.
if(TARGET kwa_writers)
  add_executable(kwa_codec_bench ${CMAKE_CURRENT_LIST_DIR}/codec_bench.cpp)
  target_link_libraries(kwa_codec_bench PRIVATE kwa_core kwa_writers benchmark::benchmark)
endif()
