# Fails when the shared library exports anything beyond the documented interface: the C
# functions and the classes of namespace vexozeph (with their type information).
execute_process(COMMAND nm -D --defined-only ${LIB} OUTPUT_VARIABLE symbols RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIB}")
endif()
string(REPLACE "\n" ";" lines "${symbols}")
set(bad "")
foreach(line ${lines})
  string(REGEX REPLACE "^[0-9a-fA-F]* *[A-Za-z] " "" name "${line}")
  if(name STREQUAL "")
    continue()
  endif()
  if(name MATCHES "^VEXOZEPH" OR name MATCHES "^_Z[0-9]+VEXOZEPH" OR name MATCHES "^VEXOPaymentConfigGet$"
     OR name MATCHES "^(GetZephErrorMsg|printErrCode|GetErrorCodeFromAccountError|MapLibZephCenterErrorCode)$"
     OR name MATCHES "^_ZN8vexozeph" OR name MATCHES "^_ZNK8vexozeph"
     OR name MATCHES "^_ZT[ISV]N8vexozeph" OR name MATCHES "^_ZlsRSoRKN8vexozeph"
     OR name MATCHES "^_init$" OR name MATCHES "^_fini$")
    continue()
  endif()
  list(APPEND bad "${name}")
endforeach()
if(bad)
  message(FATAL_ERROR "unexpected exported symbols: ${bad}")
endif()
message(STATUS "exports ok")
