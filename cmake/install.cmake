# What `cmake --install` lays out, by component.
include(CMakePackageConfigHelpers)

# Nothing installed names the prefix: each file finds the others from where it lies itself; only absolute
# places are named.
set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tarn_cli_mqc)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(platform_header_dir ${CMAKE_INSTALL_INCLUDEDIR}/tarn)
set(generated ${PROJECT_BINARY_DIR}/installed)

# pc_place(<result> <folder>): as .pc files name it
function(pc_place result folder)
  if(NOT IS_ABSOLUTE "${folder}")
    string(PREPEND folder "\${prefix}/")
  endif()
  set(${result} ${folder} PARENT_SCOPE)
endfunction()
pc_place(pc_libdir ${CMAKE_INSTALL_LIBDIR})
pc_place(pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
pc_place(pc_datadir ${data_dir})
set(pc_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE "${pkgconfig_dir}")
  file(RELATIVE_PATH up /prefix/${pkgconfig_dir} /prefix)
  string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${up}")
endif()

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
install(FILES include/mqc_fes_intf.h include/mqc_methods.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
set(promises ${PROJECT_SOURCE_DIR}/platform/include/tarn)
install(FILES ${promises}/bounded_memory.h ${promises}/log.h ${promises}/rpc.h ${promises}/status.h
        DESTINATION ${platform_header_dir} COMPONENT development)
install(FILES schema/mqc_fes_intf.fbs schema/mqc_fes_intf_service.fbs schema/mqc_reply.fbs
              schema/mqc_stream.fbs schema/mqc_script.schema.json DESTINATION ${data_dir}/schema COMPONENT development)
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
if(TARGET tarn_grpc)
  install(FILES service/mqc_service.h service/mqc_stream.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
endif()
install(FILES service/mqc_fes_intf.lua DESTINATION ${data_dir}/service COMPONENT development)

# serve
if(TARGET tarn_serve)
  install(TARGETS tarn_serve RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT serve)
  install(FILES docs/man/tarn-serve.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT serve)
endif()

# send
if(TARGET tarn_send)
  install(TARGETS tarn_send RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT send)
  install(FILES send/completion.bash RENAME tarn-send COMPONENT send
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES docs/man/tarn-send.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT send)
endif()

# python
if(TARGET tarn_python)
  set(TARN_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Where Python finds packages, relative to the prefix")
  install(FILES ${python_files} DESTINATION ${TARN_PYTHON_DIR}/tarn_mqc COMPONENT python)
endif()

# record
install(TARGETS tarn_record LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT record)

# loopback and grpc: platforms, each with its header

# install_platform(<target> <component> <header>)
function(install_platform target component header)
  configure_file(cmake/${target}.pc.in ${generated}/${target}.pc @ONLY)
  install(
    TARGETS ${target}
    EXPORT ${target}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
    INCLUDES
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(FILES ${promises}/${header} DESTINATION ${platform_header_dir} COMPONENT ${component})
  install(FILES ${generated}/${target}.pc DESTINATION ${pkgconfig_dir} COMPONENT ${component})
  install(
    EXPORT ${target}
    FILE ${target}-targets.cmake
    NAMESPACE tarn_cli_mqc::
    DESTINATION ${cmake_dir}
    COMPONENT ${component})
endfunction()

install_platform(tarn_loopback loopback loopback.h)
if(TARGET tarn_grpc)
  install_platform(tarn_grpc grpc grpc.h)
endif()
