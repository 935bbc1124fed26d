# 32-bit little-endian MIPS, by Debian's cross compiler, g++-mipsel-linux-gnu. That package excludes g++-multilib, so ./check does not build
# this: cmake --preset mipsel does. For a device of another processor that has a gcc: copy it, and change the triplet, the
# processor and the emulator. cmake/armhf.cmake shows the same with clang.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(triplet mipsel-linux-gnu)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mipsel;-L;/usr/${triplet})
