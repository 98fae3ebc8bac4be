# Installs the programs, and the manual pages and documents of programs and libraries.

install(TARGETS spfcheck spf-may-send spf-bulk COMPONENT spfcheck)
install(TARGETS spf-policyd RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT spf-policyd)
if(BUILD_SHARED_LIBS)
  file(RELATIVE_PATH bin_to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(spfcheck spf-may-send spf-bulk spf-policyd
    PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
endif()
install(FILES completion/spfcheck completion/spf-may-send completion/spf-bulk
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT spfcheck)
install(FILES ${PROJECT_BINARY_DIR}/man/spfcheck.1 ${PROJECT_BINARY_DIR}/man/spf-may-send.1
  ${PROJECT_BINARY_DIR}/man/spf-bulk.1
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT spfcheck)
install(FILES ${PROJECT_BINARY_DIR}/man/spf-policyd.8
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT spf-policyd)
install(FILES ${PROJECT_BINARY_DIR}/man/spf-policyd.conf.5
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT spf-policyd)
install(FILES ${PROJECT_BINARY_DIR}/man/fwk.3
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT libfwk-dev)

# The documents of both packages are placed as in the checkout, so that links between them work.
set(documents ${CMAKE_INSTALL_DATADIR}/doc/spfcheck)
install(FILES CHANGELOG.md SECURITY.md DESTINATION ${documents} COMPONENT spfcheck)
install(FILES docs/bulk.md DESTINATION ${documents}/docs COMPONENT spfcheck)
install(FILES docs/architecture.md docs/embedding.md
  DESTINATION ${documents}/docs COMPONENT libfwk-dev)
install(DIRECTORY examples
  DESTINATION ${documents} COMPONENT libfwk-dev
  FILES_MATCHING PATTERN "*.h" PATTERN "*.cpp")
