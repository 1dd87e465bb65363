# What `cmake --install` lays out, in three components, and the Debian package of each.
include(CMakePackageConfigHelpers)

# Nothing installed names the prefix: each file finds the others from where it lies itself.
set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tarn_cli_mqc)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(data_dir ${CMAKE_INSTALL_DATADIR}/tarn_cli_mqc)
set(platform_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/tarn_platform)
file(RELATIVE_PATH prefix_from_pkgconfig /prefix/${pkgconfig_dir} /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
file(RELATIVE_PATH data_from_bin /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${data_dir})
file(RELATIVE_PATH include_from_data /prefix/${data_dir}/include
     /prefix/${CMAKE_INSTALL_INCLUDEDIR})
set(generated ${PROJECT_BINARY_DIR}/installed)

# runtime
install(
  TARGETS tarn_cli_mqc
  EXPORT tarn_cli_mqc
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
  INCLUDES
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# development
configure_file(cmake/tarn_cli_mqc.pc.in ${generated}/tarn_cli_mqc.pc @ONLY)
configure_package_config_file(
  cmake/tarn_cli_mqc-config.cmake.in ${generated}/tarn_cli_mqc-config.cmake
  INSTALL_DESTINATION ${cmake_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${generated}/tarn_cli_mqc-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES include/mqc_fes_intf.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES schema/mqc_fes_intf.fbs DESTINATION ${data_dir}/schema COMPONENT development)
install(FILES ${generated}/tarn_cli_mqc.pc DESTINATION ${pkgconfig_dir} COMPONENT development)
install(FILES ${generated}/tarn_cli_mqc-config.cmake ${generated}/tarn_cli_mqc-config-version.cmake
        DESTINATION ${cmake_dir} COMPONENT development)
install(
  EXPORT tarn_cli_mqc
  FILE tarn_cli_mqc-targets.cmake
  NAMESPACE tarn_cli_mqc::
  DESTINATION ${cmake_dir}
  COMPONENT development)

# tarn-inspect: scripts/inspect.sh, which looks for header and schema beside its own folder.
configure_file(cmake/tarn-inspect.in ${generated}/tarn-inspect @ONLY)
file(CREATE_LINK ${include_from_data}/mqc_fes_intf.h ${generated}/mqc_fes_intf.h SYMBOLIC)
install(PROGRAMS ${generated}/tarn-inspect DESTINATION ${CMAKE_INSTALL_BINDIR}
        COMPONENT development)
install(PROGRAMS scripts/inspect.sh DESTINATION ${data_dir}/scripts COMPONENT development)
install(FILES scripts/annotated.awk DESTINATION ${data_dir}/scripts COMPONENT development)
install(FILES cmake/inspect_packages.sh DESTINATION ${data_dir}/scripts RENAME packages.sh
        COMPONENT development)
install(FILES ${generated}/mqc_fes_intf.h DESTINATION ${data_dir}/include COMPONENT development)

# standin
configure_file(cmake/tarn_platform.pc.in ${generated}/tarn_platform.pc @ONLY)
install(
  TARGETS tarn_platform
  EXPORT tarn_platform
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT standin
  INCLUDES
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${platform_include_dir})
install(FILES platform/bounded_memory.h platform/log.h platform/rpc.h platform/stand_in.h
              platform/status.h
        DESTINATION ${platform_include_dir}/platform COMPONENT standin)
install(FILES ${generated}/tarn_platform.pc DESTINATION ${pkgconfig_dir} COMPONENT standin)
install(
  EXPORT tarn_platform
  FILE tarn_platform-targets.cmake
  NAMESPACE tarn_cli_mqc::
  DESTINATION ${cmake_dir}
  COMPONENT standin)

# Debian packages
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime development standin)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT "libtarn_cli_mqc maintainers <maintainers@localhost>"
    CACHE STRING "Maintainer of the Debian packages")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

# Each package's own description says it all.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

# Asked by CPack, dpkg would tell the machine that builds.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
endif()

# dpkg-shlibdeps names the packages of a cross compiler's libraries, which no device has.
set(runtime_needs "")
set(standin_needs "")
if(CMAKE_CROSSCOMPILING)
  set(runtime_needs "libc6 (>= 2.34)")
  set(standin_needs ", libc6 (>= 2.32), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
else()
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_STANDIN_PACKAGE_SHLIBDEPS ON)
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libtarn-cli-mqc)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${runtime_needs}")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "client library for modular QoS configuration over RPC
Sends the 55 requests of the interface MqcFesIntf through a device's RPC
runtime. The runtime and the functions memset_s and memcpy_s come from the
process that loads the library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtarn-cli-mqc-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libtarn-cli-mqc (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS flatbuffers-compiler)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS libtarn-platform-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "client library for modular QoS configuration - development
Header, FlatBuffers schema of the messages, pkg-config file and CMake package
of libtarn_cli_mqc, and tarn-inspect, which shows captured messages. A program
links a platform besides: on a workstation that of libtarn-platform-dev.")

set(CPACK_DEBIAN_STANDIN_PACKAGE_NAME libtarn-platform-dev)
set(CPACK_DEBIAN_STANDIN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_STANDIN_PACKAGE_DEPENDS
    "libtarn-cli-mqc-dev (= ${PROJECT_VERSION})${standin_needs}")
set(CPACK_DEBIAN_STANDIN_DESCRIPTION
    "stand-in for a device's platform under libtarn_cli_mqc
Library and headers for unit tests on a workstation: an RPC runtime that checks
every message and hands it to the test, a log function, memset_s and memcpy_s.")

include(CPack)
