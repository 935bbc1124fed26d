# 32-bit ARM with hardware floating point, with clang and Debian's cross libraries (libc6-dev-armhf-cross,
# libstdc++-12-dev-armhf-cross, lld-19). For another processor, copy this file and change the triplet, the processor and
# the emulator. cmake/mipsel.cmake is an example with gcc.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabihf)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET ${triplet})
set(CMAKE_CXX_COMPILER_TARGET ${triplet})
add_link_options(-fuse-ld=lld-19)
set(CMAKE_STRIP llvm-strip-19)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;/usr/${triplet})
