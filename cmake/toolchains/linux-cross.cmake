# Cross build for a Debian multiarch target: KS_CROSS_TRIPLET names the target
# (set by the per-target files beside this one). The compiler is Debian's cross
# g++, its C library comes with it; SQLCipher and GoogleTest come from the
# sysroot that `tools/install-deps.sh <arch>` unpacks into build/sysroot.
# Tests run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${KS_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${KS_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${KS_CROSS_TRIPLET})

get_filename_component(KS_CROSS_SYSROOT
                       "${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${KS_CROSS_TRIPLET}" ABSOLUTE)
if(NOT EXISTS "${KS_CROSS_SYSROOT}/usr/include/sqlcipher")
  message(FATAL_ERROR "no target libraries in ${KS_CROSS_SYSROOT}: run tools/install-deps.sh first")
endif()
set(ks_cross_libdir "${KS_CROSS_SYSROOT}/usr/lib/${KS_CROSS_TRIPLET}")

# The sysroot holds only the unpacked packages, not a C library: the compiler
# keeps its own headers and libraries, and the sysroot is searched beside them.
set(CMAKE_FIND_ROOT_PATH "${KS_CROSS_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES "${KS_CROSS_SYSROOT}/usr/include")
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES "${KS_CROSS_SYSROOT}/usr/include")
# libsqlcipher needs libcrypto from the same place.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Wl,-rpath-link,${ks_cross_libdir}")
endforeach()

set(ENV{PKG_CONFIG_LIBDIR} "${ks_cross_libdir}/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${KS_CROSS_SYSROOT}")

find_program(KS_QEMU qemu-${KS_QEMU_ARCH})
if(KS_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${KS_QEMU} -L /usr/${KS_CROSS_TRIPLET} -E LD_LIBRARY_PATH=${ks_cross_libdir})
endif()
