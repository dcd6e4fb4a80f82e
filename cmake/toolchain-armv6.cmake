# Cross build for 32-bit ARMv6 (ARM11) Linux with Debian's arm-linux-gnueabi
# toolchain (packages gcc-arm-linux-gnueabi and g++-arm-linux-gnueabi):
# soft-float EABI, ARM (not Thumb) instructions.
#
#   cmake -S . -B build-armv6 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armv6.cmake
#
# When qemu-arm (Debian's qemu-user) is installed, target programs (test
# discovery, ctest) run under it with the toolchain's libraries. GoogleTest
# is compiled for the target from /usr/src/googletest (see tests/).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv6)

set(MP3D_CROSS_TRIPLE arm-linux-gnueabi)
set(MP3D_CROSS_ROOT /usr/${MP3D_CROSS_TRIPLE})
set(CMAKE_C_COMPILER ${MP3D_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${MP3D_CROSS_TRIPLE}-g++)
set(CMAKE_C_FLAGS_INIT "-march=armv6 -marm")
set(CMAKE_CXX_FLAGS_INIT "-march=armv6 -marm")

# Libraries and headers come from the toolchain's root only; programs (python,
# the emulator) from the build machine.
set(CMAKE_FIND_ROOT_PATH ${MP3D_CROSS_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# pkg-config must not offer the build machine's libraries (libmpg123 is not
# available for the target: the comparisons with it are skipped).
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${MP3D_CROSS_TRIPLE}/pkgconfig:${MP3D_CROSS_ROOT}/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

find_program(MP3D_QEMU_ARM qemu-arm)
if(MP3D_QEMU_ARM)
  # The cross root's libraries first, also where armel multiarch packages
  # are installed beside it.
  set(CMAKE_CROSSCOMPILING_EMULATOR
    "${MP3D_QEMU_ARM};-L;${MP3D_CROSS_ROOT};-E;LD_LIBRARY_PATH=${MP3D_CROSS_ROOT}/lib")
endif()
