# What `cmake --install` puts in place, in three components (the Debian packages of
# debian/ split them further: one package per library, the tool, the emulator):
#   runtime      the two shared libraries: libvexozeph.so.1 and libvexoplatform.so.1
#   development  public headers, the .so links, pkg-config files, the CMake package
#   tools        the command-line tool vexozeph and the zeph-cloud emulator, with their man pages
include(CMakePackageConfigHelpers)

set(VEXOZEPH_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vexozeph)
set(VEXOZEPH_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The library finds the platform library beside itself wherever the tree is put (a
# program's own run path does not reach the libraries it loads); LD_LIBRARY_PATH still
# comes first, so a port's platform library can be tried without reinstalling.
set_target_properties(vexozeph PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS vexozeph vexoplatform EXPORT vexozephTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vexozeph ${PROJECT_SOURCE_DIR}/platform/include/vexo_platform
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# find_package(vexozeph): the imported targets vexozeph::vexozeph and vexozeph::vexoplatform.
install(EXPORT vexozephTargets NAMESPACE vexozeph:: DESTINATION ${VEXOZEPH_CMAKE_DIR}
  COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/vexozephConfig.cmake.in
  ${PROJECT_BINARY_DIR}/vexozephConfig.cmake INSTALL_DESTINATION ${VEXOZEPH_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vexozephConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vexozephConfig.cmake ${PROJECT_BINARY_DIR}/vexozephConfigVersion.cmake
  DESTINATION ${VEXOZEPH_CMAKE_DIR} COMPONENT development)

# pkg-config files find their prefix from their own place (${pcfiledir}), so a tree
# installed with --prefix or DESTDIR anywhere is used as it lies.
file(RELATIVE_PATH VEXOZEPH_PC_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" VEXOZEPH_PC_TO_PREFIX "${VEXOZEPH_PC_TO_PREFIX}")
foreach(pc vexozeph vexoplatform)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${VEXOZEPH_PKGCONFIG_DIR}
    COMPONENT development)
endforeach()

install(TARGETS vexozeph-cli zeph-cloud RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(FILES ${PROJECT_SOURCE_DIR}/tools/vexozeph/vexozeph.1
  ${PROJECT_SOURCE_DIR}/tools/zeph-cloud/zeph-cloud.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
