# Cross build for Linux on aarch64 with Debian's compiler; tests run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
# The C library that the tests were built with, where Debian's own for arm64 is installed as well: the
# emulated loader would find that one first.
set(CMAKE_BUILD_RPATH /usr/aarch64-linux-gnu/lib)
