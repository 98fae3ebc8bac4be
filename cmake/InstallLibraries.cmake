# Installs the libraries with their headers and package files. Each component of an installation is
# named after the Debian package that is made from it (packaging/control).

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# While the major version is 0, each minor version may break callers.
set(abi_version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

foreach(directory CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
  if(IS_ABSOLUTE "${${directory}}")
    message(FATAL_ERROR
      "${directory} must be relative to CMAKE_INSTALL_PREFIX, so that an installation may move.")
  endif()
endforeach()

# install_pkgconfig(TARGET): installs the file for pkg-config. Only the installation knows the prefix.
function(install_pkgconfig target)
  set(prefix @CMAKE_INSTALL_PREFIX@)
  set(template ${PROJECT_BINARY_DIR}/${target}.pc.in)
  configure_file(cmake/${target}.pc.in ${template} @ONLY)
  set(file "\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig/${target}.pc")
  install(CODE "
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_PREFIX)
    configure_file(\"${template}\" \"\$ENV{DESTDIR}${file}\" @ONLY NO_SOURCE_PERMISSIONS)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"${file}\")"
    COMPONENT libfwk-dev)
endfunction()

# Installs the libraries and their headers, which keep their paths relative to the repository's root.
foreach(target fwk spf)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${abi_version}
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  install(TARGETS ${target} EXPORT fwk
    ARCHIVE COMPONENT libfwk-dev
    LIBRARY COMPONENT spfcheck NAMELINK_COMPONENT libfwk-dev
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/fwk COMPONENT libfwk-dev)
  install_pkgconfig(${target})
endforeach()

# find_package(fwk) gives fwk::fwk and fwk::spf.
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/fwk)
install(EXPORT fwk NAMESPACE fwk:: FILE fwkTargets.cmake
  DESTINATION ${package_directory} COMPONENT libfwk-dev)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/fwkConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES cmake/fwkConfig.cmake ${PROJECT_BINARY_DIR}/fwkConfigVersion.cmake
  DESTINATION ${package_directory} COMPONENT libfwk-dev)
