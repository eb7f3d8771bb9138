# Installs the build tree into a staging prefix with `cmake --install` and checks it and
# its consumers (consumers.cmake). The installed tool must find the installed libraries
# by itself, so it runs with no library path.
# BUILD: the build directory; SOURCE: this directory; WORK: a scratch directory;
# C_COMPILER, CXX_COMPILER: the compilers; SANITIZE: ON when the build is instrumented
# (the consumers then need the sanitizer runtimes too).
foreach(var BUILD SOURCE WORK C_COMPILER CXX_COMPILER)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is required")
  endif()
endforeach()

file(REMOVE_RECURSE "${WORK}")
set(PREFIX "${WORK}/staging")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cmake --install failed (${rc}):\n${out}")
endif()
foreach(path bin/vexozeph bin/zeph-cloud share/man/man1/vexozeph.1 share/man/man1/zeph-cloud.1)
  if(NOT EXISTS "${PREFIX}/${path}")
    message(FATAL_ERROR "${path} is not installed")
  endif()
endforeach()
set(TOOL_ENV "")
include(${CMAKE_CURRENT_LIST_DIR}/consumers.cmake)
