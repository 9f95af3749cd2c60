# Debian packages of the three components, made by cpack; see script/package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR Quorva)
set(CPACK_PACKAGE_CONTACT "Quorva maintainers <maintainers@quorva.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has one of its own, the first line of its description
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL server library development)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(control "${PROJECT_SOURCE_DIR}/packaging/debian")

set(CPACK_DEBIAN_SERVER_PACKAGE_NAME quorva)
set(CPACK_DEBIAN_SERVER_PACKAGE_SECTION database)
set(CPACK_DEBIAN_SERVER_DESCRIPTION "table server for the applications of one machine
Quorva keeps tables with a hash key and a range key in Berkeley DB
environments, and serves them on 127.0.0.1 in length-prefixed JSON messages:
single items, conditional updates, range queries, scans, atomic batches,
backups while it serves.

This package has the server as a service of systemd, the tool quorvactl and,
as a second service, the API over HTTP.")
set(CPACK_DEBIAN_SERVER_PACKAGE_CONTROL_EXTRA
    "${control}/server/postinst;${control}/server/prerm;${control}/server/postrm;${control}/server/conffiles")
set(CPACK_DEBIAN_SERVER_PACKAGE_SUGGESTS logrotate)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/etc.cmake")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libquorva-client${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "client library of the table server Quorva
For C++ programs that use Qt Core: connections to a Quorva server, requests,
paging through queries and scans.")
configure_file("${control}/library/shlibs.in" packaging/shlibs @ONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    "${control}/library/postinst;${control}/library/postrm;${control}/library/triggers;${CMAKE_CURRENT_BINARY_DIR}/packaging/shlibs")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libquorva-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libquorva-client${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), qt6-base-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "client library of the table server Quorva - development files
Headers, the CMake package Quorva and an example for programs that use
libquorva-client.")
include(CPack)
