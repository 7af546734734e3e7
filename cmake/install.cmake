# What cmake --install puts where. The whole may be moved afterwards, except the service unit: it
# names the daemon and veskshow by their absolute paths.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The programs
install(TARGETS veskctl veskshow DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS vesk_sup DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(DIRECTORY packaging/completion/
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

# The sender's library, for a compiler, for pkg-config and for find_package()
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vesk_client)
set(generated ${CMAKE_CURRENT_BINARY_DIR}/packaging)
install(TARGETS vesk_client vesk_client_shared EXPORT vesk_client
  DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES client/vesk_client.h client/vesk_client.hpp
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

file(RELATIVE_PATH VESK_UP_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(packaging/vesk_client.pc.in ${generated}/vesk_client.pc @ONLY)
install(FILES ${generated}/vesk_client.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(EXPORT vesk_client NAMESPACE vesk:: FILE vesk_client-targets.cmake
  DESTINATION ${package_dir})
configure_package_config_file(packaging/vesk_client-config.cmake.in
  ${generated}/vesk_client-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${generated}/vesk_client-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${generated}/vesk_client-config.cmake ${generated}/vesk_client-config-version.cmake
  DESTINATION ${package_dir})

# The service, which names two programs. Its prefix may be chosen as late as by cmake --install --prefix.
install(CODE "
  cmake_path(APPEND CMAKE_INSTALL_PREFIX \"${CMAKE_INSTALL_SBINDIR}\" vesk_sup
             OUTPUT_VARIABLE VESK_SUP)
  cmake_path(APPEND CMAKE_INSTALL_PREFIX \"${CMAKE_INSTALL_BINDIR}\" veskshow
             OUTPUT_VARIABLE VESKSHOW)
  configure_file(\"${CMAKE_CURRENT_SOURCE_DIR}/packaging/vesk.service.in\"
                 \"${generated}/vesk.service\" @ONLY)
")
install(FILES ${generated}/vesk.service DESTINATION lib/systemd/system)
install(PROGRAMS packaging/kytemount DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/vesk)

# The pages
foreach(section 1 3 5 8)
  install(DIRECTORY docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
    FILES_MATCHING PATTERN "*.${section}")
endforeach()
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}
  FILES_MATCHING PATTERN "*.md" PATTERN man EXCLUDE PATTERN examples EXCLUDE)
install(DIRECTORY docs/examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
