# Run by cpack on each staged tree before it is packed. A Debian package has compressed manual pages and
# a compressed changelog, a file with the licences, and no search path in its programs, since its
# library lies where the system looks.
if(NOT CPACK_GENERATOR STREQUAL DEB)
  return()
endif()
set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX})
set(documents ${root}/share/doc/${CPACK_PACKAGE_NAME})

file(RENAME ${documents}/third-party-notices.md ${documents}/copyright)
file(RENAME ${documents}/CHANGELOG.md ${documents}/changelog)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${documents}/changelog.Debian
"${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Package of version ${CPACK_PACKAGE_VERSION}; its changes are in changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  ${now}
")
file(COPY ${CMAKE_CURRENT_LIST_DIR}/lintian-overrides DESTINATION ${root}/share/lintian/overrides)
file(RENAME ${root}/share/lintian/overrides/lintian-overrides
  ${root}/share/lintian/overrides/${CPACK_PACKAGE_NAME})

# Debian's zsh looks for the completions of packages in a folder of its own.
file(MAKE_DIRECTORY ${root}/share/zsh/vendor-completions)
file(RENAME ${root}/share/zsh/site-functions/_vorlan ${root}/share/zsh/vendor-completions/_vorlan)
file(REMOVE_RECURSE ${root}/share/zsh/site-functions)

file(GLOB pages ${root}/share/man/*/*)
foreach(page IN LISTS pages ITEMS ${documents}/changelog ${documents}/changelog.Debian)
  execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

file(GLOB programs ${root}/bin/*)
foreach(program IN LISTS programs)
  file(RPATH_REMOVE FILE ${program})
endforeach()
