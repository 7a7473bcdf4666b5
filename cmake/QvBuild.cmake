# What the options of the project add to the flags of whoever builds it (CXXFLAGS, LDFLAGS), for all code, that of GoogleTest included.

if(QV_HARDEN)
  add_compile_options(-D_FORTIFY_SOURCE=2 -fstack-protector-strong)
  add_link_options(-Wl,-z,relro,-z,now)
endif()

if(QV_SANITIZE)
  list(JOIN QV_SANITIZE "," sanitizers)
  add_compile_options(-O1 -g1 -fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${sanitizers})
endif()

if(QV_STATIC)
  # Debian's C library for armhf has no start file for a static program that is position-independent (rcrt1.o); that for arm64 has.
  include(CheckLinkerFlag)
  check_linker_flag(CXX -static-pie QV_HAVE_STATIC_PIE)
  if(QV_HAVE_STATIC_PIE)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    add_link_options(-static-pie)
  else()
    add_link_options(-static)
  endif()
  add_compile_options(-ffunction-sections -fdata-sections)
  add_link_options(-Wl,--gc-sections)
endif()
