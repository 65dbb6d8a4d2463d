# Debian packages through CPack, split the way Debian splits a library:
#   libvokymem1      libvokymem.so.1*, alone, so a product can ship its own
#                    allocator package in its place;
#   libvokyutil1     libvokyutil.so.1*;
#   libvokyutil-dev  headers, the unversioned .so links, the CMake package and
#                    vokyutil.pc, for exactly this version of both libraries;
#   kyutil           the tool, its manual page and its bash completion.
# `ci/package.sh` builds them from the package preset.
set(KY_PACKAGE_CONTACT "vokyutil maintainers <vokyutil@localhost>"
  CACHE STRING "Maintainer field of the Debian packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vokyutil)
set(CPACK_PACKAGE_VENDOR "vokyutil")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${KY_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL mem util dev)
if(TARGET kyutil)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Dependencies on the C and C++ runtimes come from dpkg-shlibdeps; the
# libraries' own shlibs files let packages built against them do the same.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(KY_DEB_VERSION "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

set(CPACK_DEBIAN_MEM_PACKAGE_NAME libvokymem${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_MEM_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_MEM_DESCRIPTION "vokyutil allocator hooks\n\
ky_malloc, ky_free and ky_realloc, through which libvokyutil allocates every\n\
block it hands to a caller. A product may replace this package with its own\n\
allocator exporting the same three entries.")

# Any package named libvokymem1 serves, so a replacement allocator does too.
set(CPACK_DEBIAN_UTIL_PACKAGE_NAME libvokyutil${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_UTIL_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_UTIL_PACKAGE_DEPENDS "libvokymem${PROJECT_VERSION_MAJOR}")
set(CPACK_COMPONENT_UTIL_DESCRIPTION "vokyutil utility runtime\n\
Bounded byte strings, Unicode transcoding, logging to files shared by\n\
processes and platform services for long-running Linux servers, with flat C\n\
entries and C++ classes and templates.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvokyutil-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "libvokyutil${PROJECT_VERSION_MAJOR} (= ${KY_DEB_VERSION}), libvokymem${PROJECT_VERSION_MAJOR} (= ${KY_DEB_VERSION})")
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEV_DESCRIPTION "vokyutil development files\n\
Headers, the link-time libraries, the CMake package (find_package(vokyutil))\n\
and the pkg-config file (vokyutil.pc) for building against libvokyutil.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME kyutil)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
# dpkg-shlibdeps finds libvokyutil.so.1 in the build tree, not in a package.
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libvokyutil${PROJECT_VERSION_MAJOR} (>= ${KY_DEB_VERSION})")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "vokyutil command-line tool\n\
kyutil calls the library from the shell: message templates, transcoding, log\n\
records and hex dumps. With its manual page and bash completion.")

include(CPack)
