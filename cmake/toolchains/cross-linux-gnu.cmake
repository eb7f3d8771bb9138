# Shared body of the cross toolchain files beside it: a GNU/Linux target built with a GCC
# cross compiler named after its triplet. The per-architecture file sets
# VEXOZEPH_CROSS_TRIPLET and VEXOZEPH_CROSS_PROCESSOR, then includes this one.
#
# The target's libraries and headers come from one of two places:
#   - a sysroot: VEXOZEPH_SYSROOT (a cache variable or an environment variable) names a
#     directory laid out like the target's root (usr/include, usr/lib/<triplet>, ...), as a
#     firmware SDK provides or as `./dev cross` assembles from Debian's target packages;
#   - without one, the build machine's multiarch directories (/usr/lib/<triplet>,
#     /usr/include/<triplet>), where `apt-get install libfoo-dev:<arch>` puts them.
# Nothing of the build machine's own architecture is searched for libraries or headers,
# and nothing built here is run while building.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${VEXOZEPH_CROSS_PROCESSOR})
set(CMAKE_LIBRARY_ARCHITECTURE ${VEXOZEPH_CROSS_TRIPLET})

# The compilers: Debian's cross compilers by default; an SDK's own by -DCMAKE_C_COMPILER=
# and -DCMAKE_CXX_COMPILER=, or by a different prefix (VEXOZEPH_CROSS_COMPILER_PREFIX, for
# example /opt/sdk/bin/arm-linux-gnueabihf-).
if(NOT VEXOZEPH_CROSS_COMPILER_PREFIX)
  set(VEXOZEPH_CROSS_COMPILER_PREFIX "${VEXOZEPH_CROSS_TRIPLET}-")
endif()
if(NOT CMAKE_C_COMPILER)
  set(CMAKE_C_COMPILER "${VEXOZEPH_CROSS_COMPILER_PREFIX}gcc")
endif()
if(NOT CMAKE_CXX_COMPILER)
  set(CMAKE_CXX_COMPILER "${VEXOZEPH_CROSS_COMPILER_PREFIX}g++")
endif()

if(NOT VEXOZEPH_SYSROOT AND DEFINED ENV{VEXOZEPH_SYSROOT})
  set(VEXOZEPH_SYSROOT "$ENV{VEXOZEPH_SYSROOT}")
endif()
# The checks CMake compiles while configuring read this file again and need the same answer.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VEXOZEPH_SYSROOT VEXOZEPH_CROSS_COMPILER_PREFIX)

if(VEXOZEPH_SYSROOT)
  set(CMAKE_SYSROOT "${VEXOZEPH_SYSROOT}")
  set(_vexozeph_pc_root "${VEXOZEPH_SYSROOT}")
  set(ENV{PKG_CONFIG_SYSROOT_DIR} "${VEXOZEPH_SYSROOT}")
else()
  set(_vexozeph_pc_root "")
  unset(ENV{PKG_CONFIG_SYSROOT_DIR})
endif()
# pkg-config reads the target's .pc files only, never the build machine's.
set(ENV{PKG_CONFIG_LIBDIR}
    "${_vexozeph_pc_root}/usr/lib/${VEXOZEPH_CROSS_TRIPLET}/pkgconfig:${_vexozeph_pc_root}/usr/share/pkgconfig")
unset(ENV{PKG_CONFIG_PATH})

# Programs (pkg-config, valgrind, ...) are the build machine's; everything linked or
# included is the target's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
