# Debian packages of what is installed, by cpack: the library, what is needed to build against it, the program,
# and the plugins for Qt that are built. CMAKE_INSTALL_PREFIX=/usr makes a tree as Debian has it: see scripts/debs.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tolva)
set(CPACK_PACKAGE_VENDOR tolva)
set(CPACK_PACKAGE_CONTACT "The tolva developers <tolva@example.org>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
# The project's own would stand above that of each package.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL ${runtime} libtolva-dev)
if(TOLVA_PROGRAM)
  list(APPEND CPACK_COMPONENTS_ALL tolva)
endif()
foreach(qt IN LISTS qt_versions)
  list(APPEND CPACK_COMPONENTS_ALL qt${qt}-tolva)
endforeach()
set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# name, section, what it depends on beside its libraries, one line about it, lines about it
function(debian_package name section depends summary text)
  string(TOUPPER ${name} component)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${component}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
  install(FILES ${PROJECT_BINARY_DIR}/packages/copyright ${PROJECT_BINARY_DIR}/packages/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} COMPONENT ${name})
endfunction()
debian_package(${runtime} libs "" "GIF export filter for graphics applications"
  "A shared library that a graphics application loads and drives as an output\ndevice: it collects the picture, scales it, reduces it to 256 colours and\nwrites GIF89a.")
debian_package(libtolva-dev libdevel "${runtime} ${same_version}" "GIF export filter, development files"
  "Headers, the static library, and what pkg-config and CMake need to build a\nhost of the GIF export filter libtolva.")
debian_package(tolva graphics "${runtime} ${same_version}" "Turns pictures into GIFs"
  "Exports PNG, JPEG and PNM pictures as GIFs through libtolva, with palettes\nkept exactly where they fit, fitted ones and error diffusion where they\ndo not.")
foreach(qt IN LISTS qt_versions)
  debian_package(qt${qt}-tolva graphics "" "Saves GIFs from Qt ${qt} programs"
    "An image-format plugin for Qt ${qt}, which reads GIFs by itself and cannot\nwrite them. Every program that saves pictures through Qt finds it.")
endforeach()
# What other packages have to depend on that are linked with the library, and that the loader's cache is made anew.
file(WRITE ${PROJECT_BINARY_DIR}/packages/shlibs "libtolva ${PROJECT_VERSION_MAJOR} ${runtime} (>= ${PROJECT_VERSION})\n")
file(WRITE ${PROJECT_BINARY_DIR}/packages/triggers "activate-noawait ldconfig\n")
string(TOUPPER ${runtime} component)
set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/packages/shlibs ${PROJECT_BINARY_DIR}/packages/triggers)
set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_STRICT_PERMISSION ON)

configure_file(${PROJECT_SOURCE_DIR}/cmake/copyright.in ${PROJECT_BINARY_DIR}/packages/copyright @ONLY)
configure_file(${PROJECT_SOURCE_DIR}/cmake/changelog.in ${PROJECT_BINARY_DIR}/packages/changelog.Debian @ONLY)
file(ARCHIVE_CREATE OUTPUT ${PROJECT_BINARY_DIR}/packages/changelog.Debian.gz
  PATHS ${PROJECT_BINARY_DIR}/packages/changelog.Debian FORMAT raw COMPRESSION GZip COMPRESSION_LEVEL 9)
include(CPack)
