include(GNUInstallDirs)

install(TARGETS cvtoss32 RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(CVTOSS_KIT)
  install(TARGETS cvkit RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES docs/cvkit.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES packaging/cvkit.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME cvkit)
  install(FILES packaging/cvkit.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()
install(FILES docs/cvtoss32.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES docs/cvtoss32.cfg.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)
# Laid out as in the tree, so that the documents find each other.
file(GLOB documents CONFIGURE_DEPENDS docs/*.md docs/*.png)
install(FILES README.md LICENSE CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(DIRECTORY examples packaging DESTINATION ${CMAKE_INSTALL_DOCDIR}
  USE_SOURCE_PERMISSIONS
  PATTERN "__pycache__" EXCLUDE PATTERN "packaging/debian" EXCLUDE PATTERN "packaging/windows" EXCLUDE)
