# The two Debian packages that `cpack` makes of the components of Install.cmake.

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL tool development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_CONTACT "The spfcheck developers <spfcheck@localhost>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME spfcheck)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION mail)
# The tool is linked statically, unless the libraries are shared.
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ${BUILD_SHARED_LIBS})
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS parallel)
# The first line is the short description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_COMPONENT_TOOL_DESCRIPTION
  "${PROJECT_DESCRIPTION}
Tells whether a host may send mail for a domain, and what DNS holds for it.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libfwk-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "C++20 framework of sockets, DNS client and logger - development files
Headers and libraries for programs of your own: the check, and the framework under it of sockets,
a DNS client, a logger, locks, threads, dates and strings.")
if(BUILD_SHARED_LIBS)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "spfcheck (= ${PROJECT_VERSION})")
endif()
include(CPack)
