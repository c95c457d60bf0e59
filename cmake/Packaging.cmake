# SPDX-License-Identifier: MIT
# Debian packages from this build: `cpack -G DEB` in the build folder makes the runtime package
# (library, its default definition, the Designer plugin, brennvox10-info) and the development package
# (headers, CMake package, pkg-config file, and the API reference when BRENNVOX10_BUILD_DOCS built it),
# which depends on exactly this runtime.
set(CPACK_PACKAGE_NAME brennvox10)
set(CPACK_PACKAGE_VENDOR "Brennvox10")
set(CPACK_PACKAGE_CONTACT "Brennvox10 developers <brennvox10@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)

# Each package carries the licence where Debian looks for it.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libbrennvox10-1
  RENAME copyright COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libbrennvox10-dev
  RENAME copyright COMPONENT dev)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libbrennvox10-1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Data-bound list controls for Qt Widgets: the shared library, its default list definition, the Qt Designer plugin and brennvox10-info")
# Computed from the files by dpkg-shlibdeps; our own library, which the Designer plugin needs,
# is found in the package being built.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libbrennvox10-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DESCRIPTION "Data-bound list controls for Qt Widgets: headers, CMake package, pkg-config file and the API reference")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libbrennvox10-1 (= ${PROJECT_VERSION}), qt6-base-dev")

include(CPack)
