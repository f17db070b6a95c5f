# The shape of libvorlan64 that every build of it has, the stub included: its soname, by which the
# program finds it, and the operations of include/vorlan.h as its only symbols.
set(VORLAN_INTERFACE_VERSION 11.0)
set(map ${PROJECT_SOURCE_DIR}/cmake/vorlan64.map)
set_target_properties(vorlan64 PROPERTIES
  VERSION ${VORLAN_INTERFACE_VERSION} SOVERSION ${VORLAN_INTERFACE_VERSION} INSTALL_RPATH ""
  LINK_DEPENDS ${map})
target_link_options(vorlan64 PRIVATE
  -Wl,--version-script=${map} -Wl,--exclude-libs,ALL -Wl,-Bsymbolic ${VORLAN_RUNTIME_OPTIONS})
# Sanitizers' own symbols are found only in the program.
if(NOT VORLAN_SANITIZE)
  target_link_options(vorlan64 PRIVATE -Wl,-z,defs)
endif()
