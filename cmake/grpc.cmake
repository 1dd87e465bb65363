# gRPC and FlatBuffers, where the compiler has them for the machine that it builds for. Asked of the
# compiler alone: find_package could take the building machine's libraries for another machine's.
include(CheckCXXSourceCompiles)

set(grpc_libraries grpc++ grpc gpr absl_synchronization)
set(CMAKE_REQUIRED_LIBRARIES ${grpc_libraries})
check_cxx_source_compiles(
  "#include <flatbuffers/flatbuffers.h>
  #include <grpcpp/generic/generic_stub.h>
  int main() { grpc::CompletionQueue queue; }"
  TARN_HAS_GRPC)
unset(CMAKE_REQUIRED_LIBRARIES)

if(TARN_HAS_GRPC)
  add_library(tarn_grpc INTERFACE)
  target_link_libraries(tarn_grpc INTERFACE ${grpc_libraries})
else()
  message(STATUS "tarn_platform_grpc is left out: libgrpc++-dev, libflatbuffers-dev are missing")
endif()
