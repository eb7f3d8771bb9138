# Debian packages of the three install components (cmake/Install.cmake):
#   libvexozeph1     runtime: the two shared libraries
#   libvexozeph-dev  development files
#   vexozeph-tools   the command-line tool, its man page, the cloud emulator
# `cpack -G DEB` in the build directory writes them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vexozeph)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "libvexozeph")
set(CPACK_PACKAGE_CONTACT "libvexozeph maintainers <libvexozeph@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Links a network storage appliance to its owner's cloud account")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvexozeph1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "libvexozeph and its generic-Linux platform library\nlibvexozeph.so signs an appliance in to its owner's cloud account, keeps the account\nrecord and OAuth token files, and hands tokens to add-on packages. libvexoplatform.so\nprovides the appliance calls it makes on a generic Linux host.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvexozeph-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "development files of libvexozeph\nPublic headers, pkg-config files (vexozeph, vexoplatform) and the CMake package\n(find_package(vexozeph), target vexozeph::vexozeph).")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libvexozeph1 (= ${PROJECT_VERSION}), libjsoncpp-dev")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vexozeph-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
  "command-line tool of libvexozeph and its cloud emulator\nvexozeph signs the device in, shows the account and runs the periodic report;\nzeph-cloud stands in for the cloud services in tests and demonstrations.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libvexozeph1 (= ${PROJECT_VERSION})")

# Dependencies on the system's libraries come from dpkg-shlibdeps; the project's own two
# libraries are found in the build tree and depended on by name above.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/platform)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

include(CPack)
