# What `cmake --install` puts where, and the Debian packages made of it: libkxcert1 (component runtime),
# libkxcert-fetch1 (fetch), libkxcert-dev (development) and kxcert (command).
include(CMakePackageConfigHelpers)
set(kxcert_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kxcert)

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

# The prefix is found from the file's own place, so that an installed tree can be moved.
file(RELATIVE_PATH kxcert_pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(packaging/kxcert.pc.in ${PROJECT_BINARY_DIR}/kxcert.pc @ONLY)
configure_file(packaging/kxcert-fetch.pc.in ${PROJECT_BINARY_DIR}/kxcert-fetch.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kxcert.pc ${PROJECT_BINARY_DIR}/kxcert-fetch.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")   # there it finds the other library beside it
  set_target_properties(kxcert_fetch_shared PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()
if(KXCERT_BUILD_TOOLS)
  # Outside the system's folders the command finds the library beside it.
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH kxcert_bin_to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
    set_target_properties(kxcert PROPERTIES INSTALL_RPATH "$ORIGIN/${kxcert_bin_to_lib}")
    file(RELATIVE_PATH kxcert_sbin_to_lib /${CMAKE_INSTALL_SBINDIR} /${CMAKE_INSTALL_LIBDIR})
    set_target_properties(kxcert-offloadd PROPERTIES INSTALL_RPATH "$ORIGIN/${kxcert_sbin_to_lib}")
  endif()
  install(TARGETS kxcert RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)
  install(TARGETS kxcert-offloadd RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT command)
  install(FILES packaging/conf/dh_groups DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/kxcert COMPONENT command)
  configure_file(packaging/kxcert-offloadd.service ${PROJECT_BINARY_DIR}/kxcert-offloadd.service @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/kxcert-offloadd.service DESTINATION lib/systemd/system COMPONENT command)
  install(FILES packaging/man/kxcert.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT command)
  install(FILES packaging/man/kxcert-offloadd.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT command)
  install(FILES packaging/schema/kxcert.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/kxcert COMPONENT command)
  install(FILES packaging/completion/kxcert DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    COMPONENT command)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kxcert)
set(CPACK_PACKAGE_CONTACT "kxcert maintainers <kxcert@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "X.509 certificates: decode, compare, validate chains")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime fetch development command)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/src/fetch)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkxcert1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_FETCH_PACKAGE_NAME libkxcert-fetch1)
set(CPACK_DEBIAN_FETCH_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_FETCH_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkxcert-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME kxcert)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION utils)
include(CPack)
cpack_add_component(runtime REQUIRED DESCRIPTION "The shared library of kxcert.")
cpack_add_component(fetch DEPENDS runtime DESCRIPTION "The shared library of kxcert that fetches.")
cpack_add_component(development DEPENDS runtime fetch
  DESCRIPTION "Headers, static library and package files for programs that use kxcert.")
cpack_add_component(command DEPENDS runtime DESCRIPTION "The command kxcert for administrators.")
