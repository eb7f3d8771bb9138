# 64-bit ARM appliances (ARMv8-A, AArch64): cmake -DCMAKE_TOOLCHAIN_FILE=<this file>
# [-DVEXOZEPH_SYSROOT=<the SDK's sysroot>]. See docs/porting.md, "Cross-building".
set(VEXOZEPH_CROSS_TRIPLET aarch64-linux-gnu)
set(VEXOZEPH_CROSS_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/cross-linux-gnu.cmake)
