# 32-bit ARM, hard-float: the ABI of the production target.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(KS_CROSS_TRIPLET arm-linux-gnueabihf)
set(KS_QEMU_ARCH arm)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
