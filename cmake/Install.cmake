# What cmake --install leaves: the programs, the optimizer library with its client of servers, what a
# program needs that uses the library (header, pkg-config, CMake), manual pages, documents, examples.

install(TARGETS vorlancli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(VORLAN_COMPANION)
  install(TARGETS vorlan RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(VORLAN_SERVER)
  install(TARGETS vorlanserver RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(VORLAN_REMOTE)
  install(TARGETS vorlan_remote LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/include/vorlan.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

if(VORLAN_OPTIMIZER)
  install(TARGETS vorlan64 LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

  # Relative to where the file lies, so that the tree can be installed by --prefix and moved.
  include(CMakePackageConfigHelpers)
  set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/vorlan64)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/vorlan64Config.cmake.in vorlan64Config.cmake
    INSTALL_DESTINATION ${package_folder} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
  write_basic_package_version_file(vorlan64ConfigVersion.cmake
    VERSION ${VORLAN_INTERFACE_VERSION} COMPATIBILITY ExactVersion)
  install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/vorlan64Config.cmake ${CMAKE_CURRENT_BINARY_DIR}/vorlan64ConfigVersion.cmake
    DESTINATION ${package_folder})

  # pkg-config replaces ${pcfiledir} by the folder of the file.
  file(RELATIVE_PATH to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" to_prefix "${to_prefix}")
  configure_file(${PROJECT_SOURCE_DIR}/packaging/vorlan64.pc.in vorlan64.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vorlan64.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
  FILES_MATCHING PATTERN "*.1")

# The pages of formats, parameters and codes are made from the documents that are installed as well.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  set(manuals ${CMAKE_CURRENT_BINARY_DIR}/man)
  file(MAKE_DIRECTORY ${manuals})  # what is not built is not installed
  file(GLOB manual_sources CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/docs/*.md ${PROJECT_SOURCE_DIR}/docs/formats/*.md)
  add_custom_command(OUTPUT ${manuals}/made
    COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/scripts/make-manuals ${PROJECT_SOURCE_DIR}/docs ${manuals}
    COMMAND ${CMAKE_COMMAND} -E touch ${manuals}/made
    DEPENDS ${PROJECT_SOURCE_DIR}/scripts/make-manuals ${manual_sources} VERBATIM)
  add_custom_target(manuals ALL DEPENDS ${manuals}/made)
  foreach(section 5 7)
    install(DIRECTORY ${manuals}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
      FILES_MATCHING PATTERN "*.${section}")
  endforeach()
else()
  message(STATUS "no Python: the manual pages of formats, parameters and codes are left out")
endif()

if(VORLAN_COMPANION)
  set(completions ${PROJECT_SOURCE_DIR}/packaging/completions)
  install(FILES ${completions}/vorlan.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vorlan)
  install(FILES ${completions}/_vorlan DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
  install(FILES ${completions}/vorlan.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()
# The documents keep their places, so that the links between them hold, and their index its name.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR}
  PATTERN man EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python DESTINATION ${CMAKE_INSTALL_DATADIR}/vorlan
  FILES_MATCHING PATTERN "*.py")
install(FILES
  ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  ${PROJECT_SOURCE_DIR}/packaging/third-party-notices.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR})
