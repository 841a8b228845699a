# Tests of code-set names, the registry and locale specifications.
kwa_add_test(kwa_names_tests
  ${CMAKE_CURRENT_LIST_DIR}/registry_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/locale_spec_test.cpp)
