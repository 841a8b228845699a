# Compares the dynamic symbols that the shared library defines with the
# functions that include/kwa.h declares, and fails on any difference in
# either direction and on any exported name outside kw_* and qrt_kw_*.
#
#   cmake -DNM=<nm> -DLIBRARY=<libqkw4n304.so> -DHEADER=<kwa.h> -P check_exports.cmake
#   cmake -DOBJDUMP=<objdump> -DLIBRARY=<qkw4n304.dll> -DHEADER=<kwa.h> -P check_exports.cmake
cmake_minimum_required(VERSION 3.25)

foreach(var LIBRARY HEADER)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "check_exports: ${var} is not set")
  endif()
endforeach()

set(exported "")
if(DEFINED OBJDUMP)
  # A Windows DLL: the names of its export table.
  execute_process(COMMAND "${OBJDUMP}" -p "${LIBRARY}"
                  OUTPUT_VARIABLE dump_out RESULT_VARIABLE dump_rc ERROR_VARIABLE dump_err)
  if(NOT dump_rc EQUAL 0)
    message(FATAL_ERROR "check_exports: ${OBJDUMP} failed: ${dump_err}")
  endif()
  string(REPLACE "\n" ";" dump_lines "${dump_out}")
  set(in_names FALSE)
  foreach(line IN LISTS dump_lines)
    if(line MATCHES "^\\[Ordinal/Name Pointer\\] Table")
      set(in_names TRUE)
    elseif(in_names AND line MATCHES "^[ \t]*\\[ *[0-9]+\\] (.+)$")
      list(APPEND exported "${CMAKE_MATCH_1}")
    elseif(in_names)
      set(in_names FALSE)
    endif()
  endforeach()
elseif(DEFINED NM)
  execute_process(COMMAND "${NM}" -D --defined-only "${LIBRARY}"
                  OUTPUT_VARIABLE nm_out RESULT_VARIABLE nm_rc ERROR_VARIABLE nm_err)
  if(NOT nm_rc EQUAL 0)
    message(FATAL_ERROR "check_exports: ${NM} failed: ${nm_err}")
  endif()
  # "<address> <type> <name>" per line; version nodes (type A) are not functions.
  string(REPLACE "\n" ";" nm_lines "${nm_out}")
  foreach(line IN LISTS nm_lines)
    if(line MATCHES "^[0-9a-fA-F]* *([A-Za-z]) ([^ @]+)")
      if(NOT CMAKE_MATCH_1 STREQUAL "A")
        list(APPEND exported "${CMAKE_MATCH_2}")
      endif()
    endif()
  endforeach()
else()
  message(FATAL_ERROR "check_exports: set NM (ELF) or OBJDUMP (DLL)")
endif()
list(REMOVE_DUPLICATES exported)

# Declarations: "KW_API <type> KW_CALL <name>(" once comments and
# preprocessor lines are gone (they mention the macros too).
file(READ "${HEADER}" header)
string(REGEX REPLACE "/\\*([^*]|\\*+[^*/])*\\*+/" " " header "${header}")
string(REGEX REPLACE "(^|\n)[ \t]*#[^\n]*" "\n" header "${header}")
string(REGEX MATCHALL "KW_API[^;(]*KW_CALL[ \t\r\n*]*[A-Za-z_][A-Za-z0-9_]*[ \t\r\n]*\\(" decls "${header}")
set(declared "")
foreach(decl IN LISTS decls)
  string(REGEX REPLACE ".*KW_CALL[ \t\r\n*]*([A-Za-z_][A-Za-z0-9_]*)[ \t\r\n]*\\($" "\\1" name "${decl}")
  list(APPEND declared "${name}")
endforeach()

set(problems "")
foreach(name IN LISTS exported)
  if(NOT name MATCHES "^(kw_|qrt_kw_)")
    string(APPEND problems "  exported without kw_/qrt_kw_ prefix: ${name}\n")
  endif()
  if(NOT name IN_LIST declared)
    string(APPEND problems "  exported but not declared in kwa.h: ${name}\n")
  endif()
endforeach()
foreach(name IN LISTS declared)
  if(NOT name IN_LIST exported)
    string(APPEND problems "  declared in kwa.h but not exported: ${name}\n")
  endif()
endforeach()
list(LENGTH declared n_declared)
list(LENGTH exported n_exported)
if(n_declared EQUAL 0)
  string(APPEND problems "  no declarations found in ${HEADER}\n")
endif()

if(problems)
  message(FATAL_ERROR "check_exports: interface mismatch\n${problems}")
endif()
message(STATUS "check_exports: ${n_exported} exported functions, all declared")
