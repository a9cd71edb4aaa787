# Builds for arm64 Linux on another machine, with Debian's cross compiler and arm64 libraries (libicu-dev:arm64 and the
# like), which are installed beside the machine's own. Programs of the build run under qemu-user; QEMU_CPU in the environment
# names the processor.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
# The machine's own pkg-config finds the arm64 libraries here.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
