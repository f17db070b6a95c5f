# What cmake --install leaves: bin/vorlancli, bin/vorlanserver, lib/libvorlan64.so.11.0,
# lib/libvorlan_remote.so, include/vorlan.h, the manual page.
install(TARGETS vorlancli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(VORLAN_OPTIMIZER)
  install(TARGETS vorlan64 LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
if(VORLAN_REMOTE)
  install(TARGETS vorlan_remote LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
if(VORLAN_SERVER)
  install(TARGETS vorlanserver RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/include/vorlan.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/docs/man/vorlancli.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
