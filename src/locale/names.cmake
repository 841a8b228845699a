# Code-set names, the registry and locale specifications.
target_sources(kwa_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/registry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/registry_api.cpp
  ${CMAKE_CURRENT_LIST_DIR}/locale_spec.cpp
  ${CMAKE_CURRENT_LIST_DIR}/locale_spec_api.cpp)
