# Checks the Debian packages that tests/install/build-debs built: what each holds, what it
# must not hold and what it depends on; then unpacks them all into one tree and builds
# the consumers against it (consumers.cmake).
# DEBS: the directory of the .deb files; WORK: a scratch directory; SOURCE, C_COMPILER,
# CXX_COMPILER as in consumers.cmake.
foreach(var DEBS WORK SOURCE C_COMPILER CXX_COMPILER)
  if(NOT ${var})
    message(FATAL_ERROR "${var} is required")
  endif()
endforeach()

# package | a path it must hold | a path it must not hold | a dependency it must name
set(checks
  "libvexozeph1|/libvexozeph.so.1.|/libvexoplatform.so.1|libvexoplatform1 (>= 1.0.0)"
  "libvexozeph1|/libvexozeph.so.1 ->|/usr/include/|libcurl"
  "libvexoplatform1|/libvexoplatform.so.1.|/libvexozeph.so|libjsoncpp"
  "libvexozeph-dev|/usr/include/vexozeph/vexozeph.h|/libvexozeph.so.1.|libvexozeph1 (= "
  "libvexozeph-dev|/usr/include/vexo_platform/vlib_string.h|/usr/bin/|libvexoplatform1 (= "
  "libvexozeph-dev|/pkgconfig/vexozeph.pc|/usr/include/internal|libjsoncpp-dev"
  "libvexozeph-dev|/cmake/vexozeph/vexozephConfig.cmake|/usr/bin/|libvexozeph1 (= "
  "vexozeph|/usr/bin/vexozeph|/usr/bin/zeph-cloud|libvexozeph1 (>= 1.0.0)"
  "vexozeph|/usr/share/man/man1/vexozeph.1.gz|/libvexozeph.so|libvexoplatform1 (>= 1.0.0)"
  "zeph-cloud|/usr/bin/zeph-cloud|/usr/bin/vexozeph|libssl"
  "zeph-cloud|/usr/share/man/man1/zeph-cloud.1.gz|/libvexozeph.so|libjsoncpp")
file(REMOVE_RECURSE "${WORK}")
foreach(check ${checks})
  string(REPLACE "|" ";" parts "${check}")
  list(GET parts 0 package)
  list(GET parts 1 holds)
  list(GET parts 2 lacks)
  list(GET parts 3 depends)
  file(GLOB deb "${DEBS}/${package}_*.deb")
  if(NOT deb)
    message(FATAL_ERROR "no package ${package} was built in ${DEBS}")
  endif()
  execute_process(COMMAND dpkg-deb -c "${deb}" OUTPUT_VARIABLE listing RESULT_VARIABLE rc)
  execute_process(COMMAND dpkg-deb --field "${deb}" Depends OUTPUT_VARIABLE deps)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "dpkg-deb cannot read ${deb}")
  endif()
  string(FIND "${listing}" "${holds}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${package} lacks ${holds}:\n${listing}")
  endif()
  string(FIND "${listing}" "${lacks}" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "${package} must not hold ${lacks}:\n${listing}")
  endif()
  string(FIND "${deps}" "${depends}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${package} does not depend on ${depends}: ${deps}")
  endif()
endforeach()

# The packages unpacked together, as dpkg would lay them out.
file(MAKE_DIRECTORY "${WORK}/unpacked")
file(GLOB debs "${DEBS}/*.deb")
foreach(deb ${debs})
  execute_process(COMMAND dpkg-deb -x "${deb}" "${WORK}/unpacked" RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "dpkg-deb cannot unpack ${deb}")
  endif()
endforeach()
set(PREFIX "${WORK}/unpacked/usr")
# Installed on a device, the libraries are on the default search path; unpacked here,
# they are not.
file(GLOB_RECURSE zeph_lib "${PREFIX}/lib/*/libvexozeph.so.1")
get_filename_component(zeph_libdir "${zeph_lib}" DIRECTORY)
set(TOOL_ENV "LD_LIBRARY_PATH=${zeph_libdir}")
include(${CMAKE_CURRENT_LIST_DIR}/consumers.cmake)
