# 32-bit little-endian MIPS, with Debian's cross compiler g++-mipsel-linux-gnu. This package conflicts with
# g++-multilib, so ./check does not use this preset. For another processor with gcc, copy this file and change the
# triplet, the processor and the emulator. cmake/armhf.cmake is an example with clang.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(triplet mipsel-linux-gnu)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel;-L;/usr/${triplet})
