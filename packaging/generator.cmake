# Read by cpack before it packs, once per generator.
cmake_policy(VERSION 3.21)

# The top entry of the Debian changelog names the revision, the maintainer and the date. As with dpkg-buildpackage, the date is that of
# every file in the package, unless the caller sets SOURCE_DATE_EPOCH (reproducible-builds.org).
file(STRINGS ${CPACK_QV_PACKAGING}/debian/changelog changelog)
list(GET changelog 0 newest)
list(FILTER changelog INCLUDE REGEX "^ -- ")
list(GET changelog 0 trailer)
if(NOT newest MATCHES "^qv \\(([^)-]+)-([^)-]+)\\) ")
  message(FATAL_ERROR "packaging/debian/changelog: no version in \"${newest}\"")
endif()
if(NOT CMAKE_MATCH_1 STREQUAL CPACK_PACKAGE_VERSION)
  message(FATAL_ERROR "packaging/debian/changelog is at ${CMAKE_MATCH_1}, the project at ${CPACK_PACKAGE_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_2})
if(NOT trailer MATCHES "^ -- (.*>)  (.*)$")
  message(FATAL_ERROR "packaging/debian/changelog: no maintainer and date in \"${trailer}\"")
endif()
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CMAKE_MATCH_1}")
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND date -d ${CMAKE_MATCH_2} +%s
    OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${epoch})
endif()

# CPACK_QV_PART=plot, on cpack's command line or of a package preset, packs qvcancheck-plot instead.
if(NOT CPACK_QV_PART STREQUAL "plot")
  set(CPACK_QV_PART qv)
endif()
if(NOT CPACK_INSTALLED_DIRECTORIES)
  set(CPACK_INSTALL_CMAKE_PROJECTS ${CPACK_QV_PROJECT} ${CPACK_QV_PART} /)
endif()

execute_process(COMMAND ${CPACK_QV_COMPILER} -dumpmachine
  OUTPUT_VARIABLE machine OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

if(CPACK_GENERATOR STREQUAL "DEB")
  if(CPACK_QV_FORM STREQUAL "-static")
    message(FATAL_ERROR "a static build makes no .deb: Debian's programs use its libraries")
  endif()
  execute_process(COMMAND dpkg-architecture --host-type ${machine} --query DEB_HOST_ARCH
    OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(CPACK_QV_PART STREQUAL "plot")
    include(${CPACK_QV_PACKAGING}/debian/plot.cmake)
  elseif(CPACK_DEBIAN_PACKAGE_ARCHITECTURE STREQUAL "amd64")
    # A desk draws what its boards have told; a board gets neither Python nor matplotlib by it.
    string(APPEND CPACK_DEBIAN_PACKAGE_RECOMMENDS ", qv-plot")
  endif()
  # Where Debian's programs live, whatever prefix the build has.
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_PRE_BUILD_SCRIPTS ${CPACK_QV_PACKAGING}/debian/stage.cmake)
else()
  set(CPACK_POST_BUILD_SCRIPTS ${CPACK_QV_PACKAGING}/tarball.cmake)
  if(NOT CPACK_INSTALLED_DIRECTORIES)
    # qv-0.1.0-arm-linux-gnueabihf-static/bin/qvcan: unpacks below any prefix.
    set(CPACK_PACKAGE_FILE_NAME qv-${CPACK_PACKAGE_VERSION}-${machine}${CPACK_QV_FORM})
    set(CPACK_PACKAGING_INSTALL_PREFIX /)
  endif()
endif()
