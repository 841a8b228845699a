# Locale handles, locale objects, creation and cache, information queries.
target_sources(kwa_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/handle.cpp
  ${CMAKE_CURRENT_LIST_DIR}/handle_api.cpp
  ${CMAKE_CURRENT_LIST_DIR}/wide.cpp
  ${CMAKE_CURRENT_LIST_DIR}/lco_input.cpp
  ${CMAKE_CURRENT_LIST_DIR}/lco_reader.cpp
  ${CMAKE_CURRENT_LIST_DIR}/select.cpp
  ${CMAKE_CURRENT_LIST_DIR}/cache.cpp
  ${CMAKE_CURRENT_LIST_DIR}/info.cpp
  ${CMAKE_CURRENT_LIST_DIR}/info_api.cpp)
