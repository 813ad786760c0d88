# cmake --install: the program, the library, the C header, a CMake package
# (find_package(Vellmark) gives Vellmark::vellmark) and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS vellmark RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS vellmark_library EXPORT VellmarkTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/vellmark/vellmark.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vellmark)
if(WIN32)
  install(FILES src/exports/Vellmark.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

set(VELLMARK_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Vellmark)
install(EXPORT VellmarkTargets NAMESPACE Vellmark:: DESTINATION ${VELLMARK_CMAKE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VellmarkConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/VellmarkConfig.cmake INSTALL_DESTINATION ${VELLMARK_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VellmarkConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VellmarkConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/VellmarkConfigVersion.cmake DESTINATION ${VELLMARK_CMAKE_DIR})

# The pkg-config file finds the prefix from its own place, so an installed tree can move.
file(RELATIVE_PATH VELLMARK_PC_UP "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${CMAKE_CURRENT_LIST_DIR}/vellmark.pc.in ${CMAKE_CURRENT_BINARY_DIR}/vellmark.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vellmark.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The man page exists only where help2man ran (see manpage.cmake).
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vellmark.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 OPTIONAL)
install(FILES cli/vellmark.bash-completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  RENAME vellmark)
