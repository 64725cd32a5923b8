# Builds for arm64 on another machine, with Debian's cross compiler and its libraries for arm64:
#   cmake --preset package --toolchain cmake/arm64.cmake -B build/arm64
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
