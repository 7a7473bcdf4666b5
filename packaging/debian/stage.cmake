# Makes the staged tree what Debian policy wants of a binary package, and finds what it depends on. Read by cpack before it packs a .deb.
cmake_policy(VERSION 3.21)
set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr)
set(doc ${usr}/${CPACK_QV_DOCDIR})
if(CPACK_QV_PART STREQUAL "plot")
  set(doc ${usr}/share/doc/qv-plot)
  file(COPY ${CPACK_QV_PACKAGING}/debian/copyright DESTINATION ${doc})
endif()

# Policy 12.1 and 12.7: manual pages and changelogs are compressed with gzip -9; -n keeps the time out of them. The project's own
# changelog is changelog, that of the package changelog.Debian.
set(changelogs ${doc}/changelog.Debian)
if(EXISTS ${doc}/CHANGELOG.md)
  file(RENAME ${doc}/CHANGELOG.md ${doc}/changelog)
  list(APPEND changelogs ${doc}/changelog)
endif()
file(COPY_FILE ${CPACK_QV_PACKAGING}/debian/changelog ${doc}/changelog.Debian)
file(GLOB pages ${usr}/share/man/man*/*)
execute_process(COMMAND gzip -9n ${pages} ${changelogs} COMMAND_ERROR_IS_FATAL ANY)

# Debian's zsh looks for the completions of packages in a folder of its own.
if(EXISTS ${usr}/share/zsh/site-functions)
  file(RENAME ${usr}/share/zsh/site-functions ${usr}/share/zsh/vendor-completions)
endif()

# Folders have the modes that the umask of who packs gave them.
execute_process(COMMAND chmod -R u=rwX,go=rX ${usr} COMMAND_ERROR_IS_FATAL ANY)

if(CPACK_QV_PART STREQUAL "plot")
  return() # no programs of a compiler
endif()

# What strip leaves, and dh_strip does not: the compiler's name and notes that only tools of a build read.
file(GLOB programs ${usr}/bin/*)
execute_process(COMMAND ${CPACK_QV_STRIP} --remove-section=.comment --remove-section=.note ${programs} COMMAND_ERROR_IS_FATAL ANY)

# dpkg-shlibdeps by hand: CPACK_DEBIAN_PACKAGE_SHLIBDEPS does not find the libraries of a cross compiler.
set(work ${CPACK_TOPLEVEL_DIRECTORY}/shlibdeps)
file(REMOVE_RECURSE ${work})
file(WRITE ${work}/debian/control "Source: qv\nPackage: qv\nArchitecture: any\n")
set(arch ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
set(where)
execute_process(COMMAND dpkg --print-architecture
  OUTPUT_VARIABLE own OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
if(NOT arch STREQUAL own)
  # They belong to packages like libc6-armhf-cross, whose names no board knows: there it is libc6, of that version or a later one.
  foreach(package IN ITEMS libc6 libgcc-s1 libstdc++6)
    execute_process(COMMAND dpkg-query --show --showformat=\${Version} ${package}-${arch}-cross
      OUTPUT_VARIABLE version COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX REPLACE "-.*" "" version ${version})
    execute_process(COMMAND dpkg-query --control-show ${package}-${arch}-cross shlibs
      OUTPUT_VARIABLE libraries COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX REPLACE "([^ \n]+ [^ \n]+) [^\n]*" "\\1 ${package} (>= ${version})" libraries "${libraries}")
    file(APPEND ${work}/debian/shlibs.local "${libraries}")
  endforeach()
  execute_process(COMMAND ${CPACK_QV_COMPILER} -print-file-name=libc.so.6
    OUTPUT_VARIABLE libc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  file(REAL_PATH ${libc} libc)
  cmake_path(GET libc PARENT_PATH where)
  set(where -l${where})
  set(ENV{DEB_HOST_ARCH} ${arch})
endif()
# The folder tells dpkg-shlibdeps where a package begins.
file(MAKE_DIRECTORY ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/DEBIAN)
execute_process(COMMAND dpkg-shlibdeps ${where} -O ${programs} WORKING_DIRECTORY ${work}
  OUTPUT_VARIABLE depends OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/DEBIAN)
string(REPLACE "shlibs:Depends=" "" CPACK_DEBIAN_PACKAGE_DEPENDS "${depends}")
