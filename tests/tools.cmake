# What single tests need of the machine. Looked for on the machine that builds.
find_program(TARN_CHROMIUM chromium)
find_program(TARN_OPENSSL openssl)
find_program(TARN_PKG_CONFIG pkg-config)
find_program(TARN_TSHARK tshark)
find_program(TARN_VALGRIND valgrind)
find_path(TARN_FLATBUFFERS_INCLUDE flatbuffers/flatbuffers.h NO_CMAKE_FIND_ROOT_PATH)
find_path(TARN_PROTOBUF_INCLUDE google/protobuf/message.h NO_CMAKE_FIND_ROOT_PATH)

# The distribution's own first: its packages bring modules to that one.
find_program(TARN_PYTHON python3 HINTS /usr/bin)
foreach(module flatbuffers grpc jsonschema pytest)
  execute_process(COMMAND ${TARN_PYTHON} -c "import ${module}" RESULT_VARIABLE result OUTPUT_QUIET
                  ERROR_QUIET)
  string(COMPARE EQUAL "${result}" 0 TARN_PYTHON_${module})
endforeach()
set(script_environment PYTHON=${TARN_PYTHON})

# Tests that install take a prefix of their own, which absolute places would not obey.
set(can_install ${TARN_INSTALL})
foreach(kind BIN DATA INCLUDE LIB MAN)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}DIR}")
    set(can_install OFF)
  endif()
endforeach()
if(NOT can_install)
  message(STATUS "Left out: tests that install, which need TARN_INSTALL=ON and relative places")
endif()
