# 64-bit Arm with Debian's cross compiler; programs run under qemu-user.
#
# TIMECODE_SYSROOT: a folder with Debian packages of that machine, as scripts/arm-apps.sh makes it. Without it there is
# what comes with the cross compiler: the C and C++ libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TIMECODE_SYSROOT)
if(TIMECODE_SYSROOT)
    set(CMAKE_SYSROOT ${TIMECODE_SYSROOT})
    set(root ${TIMECODE_SYSROOT})
    set(ENV{PKG_CONFIG_SYSROOT_DIR} ${root})
    set(ENV{PKG_CONFIG_LIBDIR} ${root}/usr/lib/aarch64-linux-gnu/pkgconfig)
else()
    set(root /usr/aarch64-linux-gnu)
    # The libraries that pkg-config knows are the build machine's own.
    set(ENV{PKG_CONFIG_LIBDIR} ${root}/lib/pkgconfig)
endif()
set(CMAKE_FIND_ROOT_PATH ${root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${root})
