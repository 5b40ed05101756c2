# What `cmake --install` places, and `cpack` packs.
if(universal_program)
  # The package for Macs is unpacked and used where it lies: what one starts stands in its top folder.
  install(PROGRAMS ${universal_program} packaging/macos/check-this-mac DESTINATION .)
else()
  # Started by its bare name the program ends at once: it changes to the folder in front of its name. So what stands on
  # PATH is one line that starts it by its full path.
  install(TARGETS LogCollectionTool RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR})
  configure_file(packaging/on-path.in ${PROJECT_BINARY_DIR}/on-path/LogCollectionTool @ONLY)
  install(PROGRAMS ${PROJECT_BINARY_DIR}/on-path/LogCollectionTool DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES packaging/LogCollectionTool.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

# In the same folders as in the sources, so that links between them hold.
install(FILES CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES docs/architecture.md docs/archive-layout.md docs/security.md docs/troubleshooting.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(FILES viewer/archive.html DESTINATION ${CMAKE_INSTALL_DOCDIR}/viewer)
# What others wrote and the program carries is to be named beside it.
if(LOGCOLLECT_SELF_CONTAINED)
  install(FILES packaging/third-party-notices.txt DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()
