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

# install_library(TARGET HEADER...): installs the library and its headers, which keep their paths
# relative to the repository's root.
function(install_library target)
  list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/)
  target_sources(${target} PUBLIC
    FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARGN})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${abi_version}
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  install(TARGETS ${target} EXPORT fwk
    ARCHIVE COMPONENT libfwk-dev
    LIBRARY COMPONENT spfcheck NAMELINK_COMPONENT libfwk-dev
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/fwk COMPONENT libfwk-dev)
  install_pkgconfig(${target})
endfunction()

install_library(fwk
  framework/core/CacheMap.h
  framework/core/Exceptions.h
  framework/core/Export.h
  framework/core/Interlocked.h
  framework/core/Locks.h
  framework/core/Queue.h
  framework/core/StringFormat.h
  framework/core/ThreadAnnotations.h
  framework/core/ThreadedObject.h
  framework/core/Version.h
  framework/core/WaitSemaphore.h
  framework/Utilities/Boolean.h
  framework/Utilities/CalendarFields.h
  framework/Utilities/DateTime.h
  framework/Utilities/Encryption.h
  framework/Utilities/LineReader.h
  framework/Utilities/RandomString.h
  framework/Utilities/StringUtilities.h
  framework/config/Config.h
  framework/config/Environment.h
  framework/dns/AnswerWalk.h
  framework/dns/DNSSocket.h
  framework/dns/MessageCodec.h
  framework/dns/MessageReader.h
  framework/dns/NameServer.h
  framework/logging/LogFile.h
  framework/logging/LogSyslog.h
  framework/logging/Logger.h
  framework/net/AddressRecord.h
  framework/net/Socket.h
  framework/net/UDPSocket.h)
install_library(spf
  tool/BudgetException.h
  tool/BudgetedLookUp.h
  tool/CheckBudget.h
  tool/CheckObserver.h
  tool/DomainName.h
  tool/LookUp.h
  tool/Printable.h
  tool/RecordReport.h
  tool/ReplyFacts.h
  tool/SPFCheck.h
  tool/SPFTerm.h
  tool/SenderCheck.h)

# find_package(fwk) gives fwk::fwk and fwk::spf.
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/fwk)
install(EXPORT fwk NAMESPACE fwk:: FILE fwkTargets.cmake
  DESTINATION ${package_directory} COMPONENT libfwk-dev)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/fwkConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES cmake/fwkConfig.cmake ${PROJECT_BINARY_DIR}/fwkConfigVersion.cmake
  DESTINATION ${package_directory} COMPONENT libfwk-dev)
