# 32-bit x86 with Debian's g++-i686-linux-gnu: the target's data model (ILP32), under the host's sanitizers and at the host's speed.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)

set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)

# Doubles as on ARM: 64 bits wide in every step, not 80.
add_compile_options(-msse2 -mfpmath=sse)

# The programs run here without a runner. The compiler's package brings its own loader and libraries, sanitizers included; those of
# the machine, if it has any for i386, are others. Old tags: the path holds for what a library loads, too (pthread_exit: libgcc_s).
add_link_options(-Wl,--dynamic-linker=/usr/i686-linux-gnu/lib/ld-linux.so.2
  -Wl,-rpath,/usr/i686-linux-gnu/lib -Wl,--disable-new-dtags)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
