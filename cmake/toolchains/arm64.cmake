# Cross builds for 64-bit Arm Linux, on the Debian 12 sysroot that `scripts/setup.sh --arm64` makes.
# What is built runs under QEMU's user emulation; QEMU_CPU in the environment chooses the processor.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

get_filename_component(CMAKE_SYSROOT
  "${CMAKE_CURRENT_LIST_DIR}/../../build/arm64-sysroot" ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
  "${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

# With -L, an absolute path that the emulated program opens is looked for in the sysroot first. So
# it finds its libraries, and a processor described as an Arm one in /proc/cpuinfo.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static -L "${CMAKE_SYSROOT}")
# Emulated programs start slowly: ctest lists their tests when it needs them, not every link.
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
