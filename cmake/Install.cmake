# Where `cmake --install` (and `make install`, and the .deb) puts the command line's
# companions: its man page, shell completions, the systemd user unit for the recorder
# and the licence. Paths follow each tool's standard place below the prefix, so a
# /usr/local install is found as well as a /usr one.
include(GNUInstallDirs)

# Man pages are installed compressed, as Debian's policy and man-db expect; without
# gzip the plain page works as well.
find_program(QM_GZIP gzip)
if(QM_GZIP)
  set(QM_MANPAGE ${CMAKE_BINARY_DIR}/quillmere.1.gz)
  add_custom_command(OUTPUT ${QM_MANPAGE}
    COMMAND ${QM_GZIP} -9 -n -c ${PROJECT_SOURCE_DIR}/data/quillmere.1 > ${QM_MANPAGE}
    DEPENDS ${PROJECT_SOURCE_DIR}/data/quillmere.1 VERBATIM)
  add_custom_target(quillmere_manpage ALL DEPENDS ${QM_MANPAGE})
else()
  set(QM_MANPAGE ${PROJECT_SOURCE_DIR}/data/quillmere.1)
endif()
install(FILES ${QM_MANPAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

install(FILES ${PROJECT_SOURCE_DIR}/data/completions/quillmere.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quillmere)
install(FILES ${PROJECT_SOURCE_DIR}/data/completions/_quillmere
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
install(FILES ${PROJECT_SOURCE_DIR}/data/completions/quillmere.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)

if(NOT APPLE)
  # systemd looks for user units in <prefix>/lib/systemd/user for /usr and /usr/local.
  set(QM_BINDIR ${CMAKE_INSTALL_FULL_BINDIR})
  configure_file(${PROJECT_SOURCE_DIR}/data/systemd/quillmere.service.in
                 ${CMAKE_BINARY_DIR}/quillmere.service @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/quillmere.service DESTINATION lib/systemd/user)
endif()

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/quillmere)
