# The charmap-object writer, part of kwa_writers.
target_sources(kwa_writers PRIVATE ${CMAKE_CURRENT_LIST_DIR}/cmo_writer.cpp ${CMAKE_CURRENT_LIST_DIR}/charmap_source.cpp)
