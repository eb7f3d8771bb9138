# 32-bit ARM appliances (ARMv7-A, hard float): cmake -DCMAKE_TOOLCHAIN_FILE=<this file>
# [-DVEXOZEPH_SYSROOT=<the SDK's sysroot>]. See docs/porting.md, "Cross-building".
set(VEXOZEPH_CROSS_TRIPLET arm-linux-gnueabihf)
set(VEXOZEPH_CROSS_PROCESSOR arm)
include(${CMAKE_CURRENT_LIST_DIR}/cross-linux-gnu.cmake)
