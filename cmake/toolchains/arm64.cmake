# 64-bit ARM.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(KS_CROSS_TRIPLET aarch64-linux-gnu)
set(KS_QEMU_ARCH aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
