# Builds the Debian packages with CPack and checks that each component went into its own
# package with the right files and dependencies.
# BUILD: the build directory; WORK: a scratch directory.
foreach(var BUILD WORK)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is required")
  endif()
endforeach()

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
get_filename_component(cmake_dir "${CMAKE_COMMAND}" DIRECTORY)
execute_process(COMMAND "${cmake_dir}/cpack" -G DEB --config "${BUILD}/CPackConfig.cmake" -B "${WORK}"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cpack failed (${rc}):\n${out}")
endif()

# package name -> a file it must hold, a file it must not hold, a dependency it must name
set(checks
  "libvexozeph1|./usr/lib/libvexozeph.so.1|./usr/include/vexozeph/vexozeph.h|libcurl"
  "libvexozeph-dev|./usr/include/vexozeph/vexozeph.h|./usr/lib/libvexozeph.so.1.|libvexozeph1 (="
  "libvexozeph-dev|./usr/lib/pkgconfig/vexozeph.pc|./usr/bin/vexozeph|libvexozeph1 (="
  "libvexozeph-dev|./usr/lib/cmake/vexozeph/vexozephConfig.cmake|./usr/bin/zeph-cloud|libvexozeph1 (="
  "vexozeph-tools|./usr/bin/vexozeph|./usr/lib/libvexozeph.so|libvexozeph1 (="
  "vexozeph-tools|./usr/share/man/man1/vexozeph.1|./usr/include/vexozeph/vexozeph.h|libvexozeph1 (="
  "vexozeph-tools|./usr/bin/zeph-cloud|./usr/lib/libvexoplatform.so|libvexozeph1 (=")
foreach(check ${checks})
  string(REPLACE "|" ";" parts "${check}")
  list(GET parts 0 package)
  list(GET parts 1 holds)
  list(GET parts 2 lacks)
  list(GET parts 3 depends)
  file(GLOB deb "${WORK}/${package}_*.deb")
  if(NOT deb)
    message(FATAL_ERROR "no package ${package} was built:\n${out}")
  endif()
  execute_process(COMMAND dpkg-deb -c "${deb}" OUTPUT_VARIABLE listing RESULT_VARIABLE rc)
  execute_process(COMMAND dpkg-deb --field "${deb}" Depends OUTPUT_VARIABLE deps)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "dpkg-deb cannot read ${deb}")
  endif()
  string(FIND "${listing}" " ${holds}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${package} lacks ${holds}:\n${listing}")
  endif()
  string(FIND "${listing}" " ${lacks}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "${package} must not hold ${lacks}:\n${listing}")
  endif()
  string(FIND "${deps}" "${depends}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${package} does not depend on ${depends}: ${deps}")
  endif()
endforeach()
