# Locale object writer (used by the locale compiler and the test-data generators).
target_sources(kwa_writers PRIVATE ${CMAKE_CURRENT_LIST_DIR}/lco_writer.cpp)
