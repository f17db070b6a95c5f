# Packages of the installed tree: cpack in the build folder makes a tarball and, where dpkg is there, a
# Debian package. scripts/package builds both from a clean release build and checks them.
set(CPACK_PACKAGE_NAME vorlancli)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "the vorlan authors")
set(VORLAN_MAINTAINER "vorlan authors <vorlan@localhost>" CACHE STRING "Name and address in the packages")
set(CPACK_PACKAGE_CONTACT ${VORLAN_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "command line, library and service of an optimizer")
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR TGZ)
find_program(VORLAN_DPKG_DEB dpkg-deb)
if(VORLAN_DPKG_DEB)
  list(APPEND CPACK_GENERATOR DEB)
endif()

set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION math)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded by name, where dpkg-shlibdeps does not look.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "zlib1g, libzstd1")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libopenblas0-pthread | libopenblas0-serial | liblapack3, libmetis5")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/prepare-tree.cmake)
set(CPACK_PACKAGE_DESCRIPTION
"The program vorlancli reads an optimization problem, solves it here or on a
server, and writes solutions and result files. It takes linear, mixed-integer,
quadratic, conic and semidefinite models in MPS, LP, CBF, SDPA and task files.
With it come the optimizer as a library with a C interface, and vorlanserver,
which solves for others over HTTP.")
include(CPack)
