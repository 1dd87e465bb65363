# gRPC and FlatBuffers, where the compiler has them for the machine that it builds for. Asked of the
# compiler alone: find_package could take the building machine's libraries for another machine's.
include(CheckCXXSourceCompiles)

# tarn_check_program(<variable> <libraries> <source>): whether that compiles and links. What was missing is
# asked for again by the next configuration: it may have been installed since.
macro(tarn_check_program variable libraries source)
  if(NOT ${variable})
    unset(${variable} CACHE)
  endif()
  set(CMAKE_REQUIRED_LIBRARIES ${libraries})
  check_cxx_source_compiles("${source}" ${variable})
  unset(CMAKE_REQUIRED_LIBRARIES)
endmacro()

set(grpc_libraries grpc++ grpc gpr absl_synchronization ssl crypto)
option(TARN_WITH_GRPC "Deliver over gRPC, where its packages are" ON)
if(TARN_WITH_GRPC)
  tarn_check_program(
    TARN_HAS_GRPC "${grpc_libraries}"
    "#include <flatbuffers/flatbuffers.h>
    #include <grpcpp/generic/generic_stub.h>
    #include <openssl/ssl.h>
    int main() { grpc::CompletionQueue queue; SSL_CTX_free(nullptr); }")
else()
  set(TARN_HAS_GRPC OFF)
endif()

if(TARN_HAS_GRPC)
  add_library(grpc_and_tls INTERFACE)
  target_link_libraries(grpc_and_tls INTERFACE ${grpc_libraries})
else()
  message(STATUS "tarn_grpc is left out: libgrpc++-dev, libflatbuffers-dev or libssl-dev is missing, or TARN_WITH_GRPC is off")
endif()
