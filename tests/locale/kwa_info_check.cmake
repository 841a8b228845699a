# Runs "kwa info" on the fixture locales and checks its output and its
# messages. Variables: KWA (the command), DATA (the fixture root).
set(ENV{KESTAVORDIR} "${DATA}")
unset(ENV{KW_PATH})
unset(ENV{KW_ALL})
unset(ENV{KW_LANG})

function(expect_run expected_rc out_var err_var)
  execute_process(COMMAND ${KWA} ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL expected_rc)
    message(FATAL_ERROR "kwa ${ARGN}: exit ${rc}, expected ${expected_rc}\n${out}\n${err}")
  endif()
  set(${out_var} "${out}" PARENT_SCOPE)
  set(${err_var} "${err}" PARENT_SCOPE)
endfunction()

function(expect_line text line)
  string(FIND "${text}" "${line}\n" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "missing line: ${line}\n--- output ---\n${text}")
  endif()
endfunction()

expect_run(0 out err info en_us.819)
foreach(line
    [[abday_1="Sun"]] [[day_1="Sunday"]] [[mon_12="December"]] [[abmon_1="Jan"]]
    [[d_t_fmt="%a %b %e %H:%M:%S %Y"]] [[radixchar="."]] [[thousep=","]] [[yesexpr="^[yY].*"]]
    [[alt_digits="zero;one;two"]] [[codeset="8859-1"]] [[calendar="gregorian\n"]]
    [[mon_grouping=3;3]] [[int_frac_digits=2]] [[currency_symbol="$"]] [[mb_cur_max=1]])
  expect_line("${out}" "${line}")
endforeach()
string(FIND "${out}" "mon_13=" at)
if(NOT at EQUAL -1)
  message(FATAL_ERROR "month beyond the set printed")
endif()

expect_run(0 out err info)
expect_line("${out}" [[locale="KW_CTYPE = default.lco ; KW_COLLATE = default.lco ; KW_NUMERIC = default.lco ; KW_MONETARY = default.lco ; KW_TIME = default.lco ; KW_MESSAGES = default.lco ; "]])
expect_line("${out}" [[int_frac_digits=127]])

expect_run(0 out err info ja_jp.utf8)
expect_line("${out}" "abmon_1=\"1月\"")

expect_run(1 out err info fr_fr.819)
string(FIND "${err}" "cannot load locale \"fr_fr.819\" (fr_fr/0333.lco): no locale object found" at)
if(at EQUAL -1)
  message(FATAL_ERROR "unexpected message: ${err}")
endif()

expect_run(2 out err info en_us)
string(FIND "${err}" "bad locale specification \"en_us\"" at)
if(at EQUAL -1)
  message(FATAL_ERROR "unexpected message: ${err}")
endif()

expect_run(1 out err info "${DATA}bad/bad_calendar/default.lco")
string(FIND "${err}" "an unknown calendar (error 50)" at)
if(at EQUAL -1)
  message(FATAL_ERROR "unexpected message: ${err}")
endif()
