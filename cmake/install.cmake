# What `cmake --install` puts where. The Debian packages are made of the components (packaging/debian/rules): libkxcert1 of
# runtime, libkxcert-fetch1 of fetch, libkxcert-dev of development, and kxcert of command.
include(CMakePackageConfigHelpers)
set(kxcert_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kxcert)
# Part of the system: no run paths, and configuration in /etc. Any other prefix can be moved as a whole.
string(REGEX MATCH "^/usr/?$" kxcert_in_system "${CMAKE_INSTALL_PREFIX}")
set(kxcert_conf_dir ${CMAKE_INSTALL_SYSCONFDIR}/kxcert)
if(kxcert_in_system)
  set(kxcert_conf_dir ${CMAKE_INSTALL_FULL_SYSCONFDIR}/kxcert)
endif()
set(KXCERT_UNIT_DIR lib/systemd/system CACHE STRING "Where systemd's units go, below the prefix or absolute")

install(TARGETS kxcert_shared EXPORT kxcertTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS kxcert_static EXPORT kxcertStaticTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(TARGETS kxcert_fetch_shared EXPORT kxcertFetchTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT fetch NAMELINK_COMPONENT development)
install(TARGETS kxcert_fetch_static EXPORT kxcertFetchStaticTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/kxcert DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN *.h)

# What the headers refer to.
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development FILES_MATCHING PATTERN *.md)

# find_package(kxcert) gives kxcert::kxcert; with COMPONENTS static also kxcert::kxcert_static, which
# needs libcrypto's own package; with COMPONENTS fetch kxcert::fetch; with both kxcert::fetch_static.
install(EXPORT kxcertTargets NAMESPACE kxcert:: DESTINATION ${kxcert_cmake_dir} COMPONENT development)
install(EXPORT kxcertStaticTargets NAMESPACE kxcert:: DESTINATION ${kxcert_cmake_dir} COMPONENT development)
install(EXPORT kxcertFetchTargets NAMESPACE kxcert:: DESTINATION ${kxcert_cmake_dir} COMPONENT development)
install(EXPORT kxcertFetchStaticTargets NAMESPACE kxcert:: DESTINATION ${kxcert_cmake_dir} COMPONENT development)
configure_package_config_file(cmake/kxcertConfig.cmake.in ${PROJECT_BINARY_DIR}/kxcertConfig.cmake
  INSTALL_DESTINATION ${kxcert_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kxcertConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kxcertConfig.cmake ${PROJECT_BINARY_DIR}/kxcertConfigVersion.cmake
  DESTINATION ${kxcert_cmake_dir} COMPONENT development)

# The prefix is found from the file's own place, so that an installed tree can be moved; in the system it is named, for
# pkg-config leaves out the compiler's own folders only when they are spelt as such.
file(RELATIVE_PATH kxcert_pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(PREPEND kxcert_pc_prefix "\${pcfiledir}/")
if(kxcert_in_system)
  set(kxcert_pc_prefix /usr)
endif()
configure_file(packaging/kxcert.pc.in ${PROJECT_BINARY_DIR}/kxcert.pc @ONLY)
configure_file(packaging/kxcert-fetch.pc.in ${PROJECT_BINARY_DIR}/kxcert-fetch.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kxcert.pc ${PROJECT_BINARY_DIR}/kxcert-fetch.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

if(NOT kxcert_in_system)   # there it finds the other library beside it
  set_target_properties(kxcert_fetch_shared PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()
if(KXCERT_BUILD_TOOLS)
  # Outside the system's folders the command finds the library beside it.
  if(NOT kxcert_in_system)
    file(RELATIVE_PATH kxcert_bin_to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
    set_target_properties(kxcert PROPERTIES INSTALL_RPATH "$ORIGIN/${kxcert_bin_to_lib}")
    file(RELATIVE_PATH kxcert_sbin_to_lib /${CMAKE_INSTALL_SBINDIR} /${CMAKE_INSTALL_LIBDIR})
    set_target_properties(kxcert-offloadd PROPERTIES INSTALL_RPATH "$ORIGIN/${kxcert_sbin_to_lib}")
  endif()
  install(TARGETS kxcert RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)
  install(TARGETS kxcert-offloadd RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT command)
  install(FILES packaging/conf/dh_groups DESTINATION ${kxcert_conf_dir} COMPONENT command)
  configure_file(packaging/kxcert-offloadd.service ${PROJECT_BINARY_DIR}/kxcert-offloadd.service @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/kxcert-offloadd.service DESTINATION ${KXCERT_UNIT_DIR} COMPONENT command)
  install(FILES packaging/man/kxcert.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT command)
  install(FILES packaging/man/kxcert-offloadd.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT command)
  install(FILES packaging/schema/kxcert.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/kxcert COMPONENT command)
  install(FILES packaging/completion/kxcert DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    COMPONENT command)
endif()
