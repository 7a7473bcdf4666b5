# 32-bit ARM with Debian's g++-arm-linux-gnueabihf. What is built runs here under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# GCC notes where its calling convention changed with version 7; all of ours comes from one compiler.
add_compile_options(-Wno-psabi)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;/usr/arm-linux-gnueabihf)

# GoogleTest's sources, a package for every machine, lie on this one.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
