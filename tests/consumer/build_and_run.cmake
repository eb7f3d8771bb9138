# Builds tests/consumer/public_classes.cc the way a firmware team would, outside the
# project's targets: its own compile and link commands, the public headers copied to an
# include directory of their own, and the shared library through -L and -lvexozeph alone.
# Then runs it in an empty root.
# CXX: the compiler; SOURCE: the program; HEADERS: include/vexozeph; JSON_INCLUDE: the
# JsonCpp headers the public headers use; LIB_DIR: where libvexozeph.so is; WORK: a
# scratch directory; SANITIZE: ON when the library is built with the sanitizers;
# TARGET_FLAGS: what a cross build adds to both commands (its --sysroot); TARGET_LINK_FLAGS:
# what it adds to the link (where the library's own needed libraries are).
foreach(var CXX SOURCE HEADERS JSON_INCLUDE LIB_DIR WORK)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is required")
  endif()
endforeach()

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/include" "${WORK}/root/tmp")
file(COPY "${HEADERS}" DESTINATION "${WORK}/include")

set(flags -std=c++17 -Wall -Wextra -Werror ${TARGET_FLAGS})
if(SANITIZE)
  # The instrumented library needs the sanitizer runtimes in the program too.
  list(APPEND flags -fsanitize=address,undefined)
endif()
execute_process(
  COMMAND "${CXX}" ${flags} -I "${WORK}/include" -I "${JSON_INCLUDE}" -c "${SOURCE}"
          -o "${WORK}/consumer.o"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "compiling the consumer failed:\n${out}")
endif()
set(link_flags ${TARGET_FLAGS} ${TARGET_LINK_FLAGS})
if(SANITIZE)
  list(APPEND link_flags -fsanitize=address,undefined)
endif()
execute_process(
  COMMAND "${CXX}" ${link_flags} "${WORK}/consumer.o" -o "${WORK}/consumer" -L "${LIB_DIR}"
          -lvexozeph
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "linking the consumer with -lvexozeph failed:\n${out}")
endif()
execute_process(
  COMMAND "${CMAKE_COMMAND}" -E env "LD_LIBRARY_PATH=${LIB_DIR}" "VEXOZEPH_ROOT=${WORK}/root"
          "${WORK}/consumer"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the consumer failed (${rc}):\n${out}")
endif()
message(STATUS "${out}")
