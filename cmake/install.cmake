# What `cmake --install` puts where, in components that are packages later: the library, what is needed to build against
# it, and the program. The folders are GNUInstallDirs'; DESTDIR and the prefix are kept to.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TOLVA_CMAKE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/tolva)
set(runtime libtolva${PROJECT_VERSION_MAJOR})

install(TARGETS tolva_shared EXPORT tolva
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${runtime} NAMELINK_COMPONENT libtolva-dev)
install(TARGETS tolva_static tolva_headers EXPORT tolva
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libtolva-dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tolva DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT libtolva-dev)

# find_package(tolva) gives tolva::tolva and tolva::tolva_static.
install(EXPORT tolva NAMESPACE tolva:: FILE tolvaConfig.cmake DESTINATION ${TOLVA_CMAKE_FOLDER} COMPONENT libtolva-dev)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tolvaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tolvaConfigVersion.cmake DESTINATION ${TOLVA_CMAKE_FOLDER} COMPONENT libtolva-dev)

# Relative to the file itself, so that an installed tree may be moved.
file(RELATIVE_PATH to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH to_libraries ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH to_headers ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(${PROJECT_SOURCE_DIR}/cmake/tolva.pc.in ${PROJECT_BINARY_DIR}/tolva.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tolva.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libtolva-dev)

if(TOLVA_PROGRAM)
  install(TARGETS tolva_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tolva)
  set(made ${PROJECT_BINARY_DIR}/cli)
  install(FILES ${made}/tolva.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tolva)
  install(FILES ${made}/tolva.bash RENAME tolva COMPONENT tolva
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions)
  # Where zsh looks is its maker's choice; Debian's own packages have vendor-completions.
  set(TOLVA_ZSH_FOLDER ${CMAKE_INSTALL_DATAROOTDIR}/zsh/site-functions CACHE STRING "Completion of zsh goes here")
  install(FILES ${made}/_tolva DESTINATION ${TOLVA_ZSH_FOLDER} COMPONENT tolva)
endif()

include(cmake/packages.cmake)
