# The conversion-object and registry writers, part of kwa_writers.
target_sources(kwa_writers PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/cvo_writer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/registry_writer.cpp)
