# Cross build for 32-bit ARM (armhf) with Debian's cross compiler and multiarch packages:
#   cmake -S . -B build/armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake
# Jansson and GoogleTest come from libjansson-dev:armhf and libgtest-dev:armhf; the tests run under
# qemu-user through CMAKE_CROSSCOMPILING_EMULATOR.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(TOLVI_ARMHF_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${TOLVI_ARMHF_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${TOLVI_ARMHF_TRIPLE}-g++)

# Multiarch layout: armhf libraries live in /usr/lib/arm-linux-gnueabihf, headers in /usr/include.
# With the library architecture set, find_library and find_package look there and never pick the
# build machine's own libraries.
set(CMAKE_LIBRARY_ARCHITECTURE ${TOLVI_ARMHF_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# pkg-config must describe the armhf Jansson, not the build machine's.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${TOLVI_ARMHF_TRIPLE}/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

# The cross toolchain's own C and C++ runtime sits in /usr/arm-linux-gnueabihf/lib. Its loader and
# libc must be used together, so qemu takes its root there; the multiarch directory adds Jansson.
set(TOLVI_ARMHF_RUNTIME /usr/${TOLVI_ARMHF_TRIPLE})
set(CMAKE_CROSSCOMPILING_EMULATOR
    qemu-arm -L ${TOLVI_ARMHF_RUNTIME}
    -E LD_LIBRARY_PATH=${TOLVI_ARMHF_RUNTIME}/lib:/usr/lib/${TOLVI_ARMHF_TRIPLE}
    CACHE STRING "Runs armhf programs on the build machine")
