# What CPack makes: a .deb, a .tar.gz that unpacks below any prefix, and the source tarball. docs/packages.md has the commands.
set(CPACK_PACKAGE_NAME qv)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "test tool for CAN buses: answer, send a pattern, or read")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR TGZ)

# What depends on the generator or asks Debian's tools is decided when cpack runs, so that configuring needs none of them.
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/generator.cmake)
set(CPACK_QV_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)
set(CPACK_QV_COMPILER ${CMAKE_CXX_COMPILER})
set(CPACK_QV_STRIP ${CMAKE_STRIP})
set(CPACK_QV_DOCDIR ${CMAKE_INSTALL_DOCDIR})
if(QV_STATIC)
  set(CPACK_QV_FORM -static)
endif()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
# ip sets the interface up. The can-utils are the peers that the manual pages name.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS iproute2)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS can-utils)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Put one node of qv on each end of a CAN bus: one answers every frame with
a complemented copy, one sends a self-checking counter pattern with a gap,
jitter and injected errors, one just reads.
.
qvcan speaks SocketCAN, CAN FD included. qvcandev does the same on a device
file that carries trace records, and qvbus is a bus in user space for it.
qvcancheck judges the pattern, on a bus or in recordings: lost, repeated,
reordered or corrupted, and on whose account.")

# The tree as it is kept, without what .gitignore names. The expressions are matched against whole paths, so those of folders are bound
# to this one: who keeps his projects below build/ gets a tarball, too.
string(REGEX REPLACE "[][+.*()^$?|\\\\]" "\\\\\\0" here ${PROJECT_SOURCE_DIR})
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME qv-${PROJECT_VERSION})
set(CPACK_SOURCE_IGNORE_FILES
  "^${here}/\\.git(/|$)" "^${here}/build/" "^${here}/CMakeUserPresets\\.json$" "/__pycache__/" "/\\.pytest_cache/")

# What runs on the board is one component, and what draws on the desk another: docs/packages.md says who gets what.
set(CPACK_QV_PROJECT ${PROJECT_BINARY_DIR} qv)

include(CPack)
