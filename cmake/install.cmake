# What `cmake --install` lays out, in components, and the Debian package of each.
include(CMakePackageConfigHelpers)

# Nothing installed names the prefix: each file finds the others from where it lies itself.
set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tarn_cli_mqc)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(data_dir ${CMAKE_INSTALL_DATADIR}/tarn_cli_mqc)
set(platform_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/tarn_platform)
file(RELATIVE_PATH prefix_from_pkgconfig /prefix/${pkgconfig_dir} /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
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
install(FILES platform/bounded_memory.h platform/log.h platform/rpc.h platform/status.h
        DESTINATION ${platform_include_dir}/platform COMPONENT development)
install(FILES schema/mqc_fes_intf.fbs schema/mqc_fes_intf_service.fbs schema/mqc_reply.fbs
        DESTINATION ${data_dir}/schema COMPONENT development)
install(FILES ${generated}/tarn_cli_mqc.pc DESTINATION ${pkgconfig_dir} COMPONENT development)
install(FILES ${generated}/tarn_cli_mqc-config.cmake ${generated}/tarn_cli_mqc-config-version.cmake
        DESTINATION ${cmake_dir} COMPONENT development)
install(
  EXPORT tarn_cli_mqc
  FILE tarn_cli_mqc-targets.cmake
  NAMESPACE tarn_cli_mqc::
  DESTINATION ${cmake_dir}
  COMPONENT development)

if(TARGET tarn_inspect)
  install(TARGETS tarn_inspect RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT development)
  install(FILES inspect/completion.bash RENAME tarn-inspect COMPONENT development
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES docs/man/tarn-inspect.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
          COMPONENT development)
endif()

# for services
install(FILES service/mqc_service.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES service/mqc_fes_intf.lua DESTINATION ${data_dir}/service COMPONENT development)

# standin and grpc: platforms, each with its header

# install_platform(<target> <component> <header>)
function(install_platform target component header)
  configure_file(cmake/${target}.pc.in ${generated}/${target}.pc @ONLY)
  install(
    TARGETS ${target}
    EXPORT ${target}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
    INCLUDES
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${platform_include_dir})
  install(FILES platform/${header} DESTINATION ${platform_include_dir}/platform
          COMPONENT ${component})
  install(FILES ${generated}/${target}.pc DESTINATION ${pkgconfig_dir} COMPONENT ${component})
  install(
    EXPORT ${target}
    FILE ${target}-targets.cmake
    NAMESPACE tarn_cli_mqc::
    DESTINATION ${cmake_dir}
    COMPONENT ${component})
endfunction()

install_platform(tarn_platform standin stand_in.h)
set(components runtime development standin)
if(TARN_HAS_GRPC)
  install_platform(tarn_platform_grpc grpc grpc.h)
  list(APPEND components grpc)
endif()
if(TARGET tarn_serve)
  install(TARGETS tarn_serve RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT serve)
  list(APPEND components serve)
endif()

# Debian packages
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${components})
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
set(development_needs "")
set(grpc_needs "")
set(serve_needs "")
if(CMAKE_CROSSCOMPILING)
  set(runtime_needs "libc6 (>= 2.34)")
  set(standin_needs ", libc6 (>= 2.32), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
  if(TARGET tarn_inspect)
    set(development_needs ", libc6 (>= 2.34), libflatbuffers2 (>= 1.10.0), libgcc-s1 (>= 3.0), "
                          "libstdc++6 (>= 12)")
    list(JOIN development_needs "" development_needs)
  endif()
  set(grpc_needs ", libabsl20220623 (>= 0~20220623.0-1), libc6 (>= 2.34), libgcc-s1 (>= 3.0), "
                 "libgrpc++1.51 (>= 1.51.1), libgrpc29 (>= 1.51.1), libstdc++6 (>= 9)")
  list(JOIN grpc_needs "" grpc_needs)
  string(REPLACE "libgcc" "libflatbuffers2 (>= 1.10.0), libgcc" serve_needs "${grpc_needs}")
  string(REPLACE "(>= 9)" "(>= 11)" serve_needs "${serve_needs}")
else()
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_STANDIN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_GRPC_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_SERVE_PACKAGE_SHLIBDEPS ON)
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
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libtarn-cli-mqc (= ${PROJECT_VERSION})${development_needs}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS flatbuffers-compiler)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libtarn-platform-dev, libtarn-platform-grpc")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "client library for modular QoS configuration - development
Headers of the library, of what it takes of a platform and for services,
FlatBuffers schema of messages and service, pkg-config file and CMake package,
tarn-inspect, which shows captured messages, and a Wireshark dissector. A
program links a platform besides: in tests that of libtarn-platform-dev, to
reach a service that of libtarn-platform-grpc.")
# They held headers that all platforms share.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_BREAKS "libtarn-platform-dev (<< 1.1.0)")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_REPLACES "libtarn-platform-dev (<< 1.1.0)")

set(CPACK_DEBIAN_STANDIN_PACKAGE_NAME libtarn-platform-dev)
set(CPACK_DEBIAN_STANDIN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_STANDIN_PACKAGE_DEPENDS
    "libtarn-cli-mqc-dev (= ${PROJECT_VERSION})${standin_needs}")
set(CPACK_DEBIAN_STANDIN_DESCRIPTION
    "stand-in for a device's platform under libtarn_cli_mqc
Library and headers for unit tests on a workstation: an RPC runtime that checks
every message and hands it to the test, a log function, memset_s and memcpy_s.")

set(CPACK_DEBIAN_GRPC_PACKAGE_NAME libtarn-platform-grpc)
set(CPACK_DEBIAN_GRPC_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_GRPC_PACKAGE_DEPENDS "libtarn-cli-mqc (= ${PROJECT_VERSION})${grpc_needs}")
set(CPACK_DEBIAN_GRPC_PACKAGE_SUGGESTS libtarn-cli-mqc-dev)
set(CPACK_DEBIAN_GRPC_DESCRIPTION
    "delivery over gRPC under libtarn_cli_mqc
Platform for machines without an RPC runtime of their own: carries every
request over gRPC to a service in another process or on another machine. With
its header, which needs those of libtarn-cli-mqc-dev.")

set(CPACK_DEBIAN_SERVE_PACKAGE_NAME tarn-serve)
set(CPACK_DEBIAN_SERVE_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_SERVE_PACKAGE_DEPENDS
    "libtarn-cli-mqc-dev (= ${PROJECT_VERSION})${serve_needs}")
set(CPACK_DEBIAN_SERVE_DESCRIPTION
    "service that shows the requests of MqcFesIntf
Takes requests of modular QoS configuration over gRPC from programs that link
libtarn_platform_grpc, prints and keeps them, and answers with statuses of
choice.")

include(CPack)
