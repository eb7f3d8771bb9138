# What an installed tree must hold, and two consumers built against it with their own
# commands: a C program through pkg-config, a C++ project through find_package. Included
# by check_install.cmake (a `cmake --install` tree) and check_packages.cmake (the Debian
# packages unpacked).
# PREFIX: the installed prefix; SOURCE, WORK, C_COMPILER, CXX_COMPILER, SANITIZE as there;
# TOOL_ENV: what the installed tool's environment needs beyond the throwaway root.
function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

file(GLOB_RECURSE libdir_candidates "${PREFIX}/lib*/libvexozeph.so")
list(LENGTH libdir_candidates found)
if(NOT found EQUAL 1)
  message(FATAL_ERROR "libvexozeph.so is not installed under ${PREFIX}/lib*")
endif()
get_filename_component(libdir "${libdir_candidates}" DIRECTORY)
foreach(lib vexozeph vexoplatform)
  foreach(name lib${lib}.so lib${lib}.so.1)
    if(NOT IS_SYMLINK "${libdir}/${name}")
      message(FATAL_ERROR "${libdir}/${name} is not a link")
    endif()
  endforeach()
  file(GLOB real "${libdir}/lib${lib}.so.1.*")
  if(NOT real)
    message(FATAL_ERROR "the versioned lib${lib}.so.1.* is missing")
  endif()
endforeach()
foreach(path "${PREFIX}/include/vexozeph/vexozeph.h" "${PREFIX}/include/vexozeph/zeph_account.h"
             "${PREFIX}/include/vexo_platform/vlib_string.h" "${libdir}/pkgconfig/vexozeph.pc"
             "${libdir}/pkgconfig/vexoplatform.pc" "${libdir}/cmake/vexozeph/vexozephConfig.cmake")
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "${path} is not installed")
  endif()
endforeach()
if(EXISTS "${PREFIX}/include/internal")
  message(FATAL_ERROR "the library's internal headers must not be installed")
endif()

set(sanitize_flags "")
if(SANITIZE)
  set(sanitize_flags -fsanitize=address,undefined)
endif()
file(MAKE_DIRECTORY "${WORK}/root/tmp")
set(run_env "${CMAKE_COMMAND}" -E env "VEXOZEPH_ROOT=${WORK}/root")

run("the installed tool" ${run_env} ${TOOL_ENV} "${PREFIX}/bin/vexozeph" --version)
execute_process(COMMAND ${run_env} ${TOOL_ENV} "${PREFIX}/bin/vexozeph" status
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 3 OR NOT out MATCHES "not signed in")
  message(FATAL_ERROR "the installed tool in an empty root: status ${rc}\n${out}${err}")
endif()

# C through pkg-config.
set(ENV{PKG_CONFIG_PATH} "${libdir}/pkgconfig")
run("pkg-config" pkg-config --cflags --libs vexozeph)
string(STRIP "${last_output}" pkg_flags)
separate_arguments(pkg_flags UNIX_COMMAND "${pkg_flags}")
if(NOT pkg_flags MATCHES "-lvexoplatform")
  message(FATAL_ERROR "pkg-config's flags for vexozeph lack the platform library: ${pkg_flags}")
endif()
run("compiling the C consumer with pkg-config's flags" "${C_COMPILER}" -std=c11 -Wall -Wextra
    -Werror ${sanitize_flags} "${SOURCE}/c_consumer.c" ${pkg_flags} -o "${WORK}/c_consumer")
run("the C consumer" ${run_env} "LD_LIBRARY_PATH=${libdir}" "${WORK}/c_consumer")
message(STATUS "${last_output}")

# C++ through find_package.
set(cxx_build "${WORK}/cxx_build")
run("configuring the C++ consumer" "${CMAKE_COMMAND}" -S "${SOURCE}/cxx_consumer" -B "${cxx_build}"
    "-DCMAKE_PREFIX_PATH=${PREFIX}" "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
    "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror ${sanitize_flags}"
    "-DCMAKE_EXE_LINKER_FLAGS=${sanitize_flags}")
run("building the C++ consumer" "${CMAKE_COMMAND}" --build "${cxx_build}")
run("the C++ consumer" ${run_env} "LD_LIBRARY_PATH=${libdir}" "${cxx_build}/consumer")
message(STATUS "${last_output}")
