# The privileged helper daemons: quillmere-helper on Linux (systemd socket activation)
# and app.quillmere.helper on macOS (a launchd daemon over XPC).
include(GNUInstallDirs)

if(APPLE)
  # The app bundle embeds the daemon in Contents/MacOS and its launchd property list
  # (QM_HELPER_PLIST) in Contents/Library/LaunchDaemons, where SMAppService looks.
  add_executable(quillmere-helper ${PROJECT_SOURCE_DIR}/src/helper/darwin/main.mm
                                  ${PROJECT_SOURCE_DIR}/src/helper/darwin/ProcessRecords.cpp)
  target_link_libraries(quillmere-helper PRIVATE qm_processes ${FOUNDATION})
  set(QM_HELPER_PLIST ${PROJECT_SOURCE_DIR}/src/helper/darwin/app.quillmere.helper.plist)
  install(TARGETS quillmere-helper RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR})
  install(FILES ${QM_HELPER_PLIST} DESTINATION ${CMAKE_INSTALL_DATADIR}/quillmere/LaunchDaemons)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(LIBSYSTEMD REQUIRED IMPORTED_TARGET libsystemd)

  file(GLOB QM_HELPER_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/helper/linux/*.cpp)
  list(REMOVE_ITEM QM_HELPER_SOURCES ${PROJECT_SOURCE_DIR}/src/helper/linux/main.cpp)
  add_library(qm_helper STATIC ${QM_HELPER_SOURCES})
  target_link_libraries(qm_helper PUBLIC qm_processes qm_readers qm_model)

  add_executable(quillmere-helper ${PROJECT_SOURCE_DIR}/src/helper/linux/main.cpp)
  target_link_libraries(quillmere-helper PRIVATE qm_helper PkgConfig::LIBSYSTEMD)

  set(QM_HELPER_PATH ${CMAKE_INSTALL_FULL_LIBEXECDIR}/quillmere-helper)
  configure_file(${PROJECT_SOURCE_DIR}/data/systemd/quillmere-helper.service.in
                 ${CMAKE_BINARY_DIR}/quillmere-helper.service @ONLY)
  install(TARGETS quillmere-helper RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR})
  # systemd also reads units and sysusers files below /usr/local/lib.
  install(FILES ${PROJECT_SOURCE_DIR}/data/systemd/quillmere-helper.socket
                ${CMAKE_BINARY_DIR}/quillmere-helper.service
          DESTINATION lib/systemd/system)
  install(FILES ${PROJECT_SOURCE_DIR}/data/sysusers/quillmere.conf DESTINATION lib/sysusers.d)

  # The benchmark runs the real helper too.
  if(TARGET helper_bench)
    add_dependencies(helper_bench quillmere-helper)
    target_compile_definitions(helper_bench PRIVATE QM_HELPER_BINARY="$<TARGET_FILE:quillmere-helper>")
  endif()

  if(QUILLMERE_TESTS)
    qm_tests(helper qm_helper)
    if(TARGET test_helper)
      add_dependencies(test_helper quillmere-helper)
      target_compile_definitions(test_helper PRIVATE QM_HELPER_BINARY="$<TARGET_FILE:quillmere-helper>")
    endif()
  endif()
endif()
