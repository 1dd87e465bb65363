# gRPC, FlatBuffers and others, where the compiler has them for the machine that it builds for. Asked of the
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

set(tls_libraries ssl crypto)
set(http_libraries cpp-httplib)
# With which Debian builds it: what its types hold depends on them.
set(http_definitions CPPHTTPLIB_OPENSSL_SUPPORT CPPHTTPLIB_ZLIB_SUPPORT CPPHTTPLIB_BROTLI_SUPPORT)
list(TRANSFORM http_definitions REPLACE "(.+)" "#define \\1\n" OUTPUT_VARIABLE http_macros)
list(JOIN http_macros "" http_macros)
set(grpc_libraries grpc++ grpc gpr absl_synchronization)
if(TARN_GRPC OR TARN_SERVICE OR TARN_TOOLS)
  tarn_check_program(TARN_FINDS_FLATBUFFERS flatbuffers
                     "#include <flatbuffers/idl.h>
                     int main() { flatbuffers::Parser parser; }")
endif()
tarn_check_program(TARN_FINDS_JSON ""
                   "#include <nlohmann/json.hpp>
                   int main() { nlohmann::json value; }")
if(TARN_TOOLS)
  tarn_check_program(TARN_FINDS_PCAP pcap
                     "#include <pcap/pcap.h>
                     int main() { return pcap_fopen_offline_with_tstamp_precision(nullptr, 0, nullptr) != nullptr; }")
endif()
if(TARN_GRPC OR TARN_SERVICE)
  tarn_check_program(TARN_FINDS_TLS "${tls_libraries}"
                     "#include <openssl/ssl.h>
                     int main() { SSL_CTX_free(nullptr); }")
  tarn_check_program(TARN_FINDS_GRPC "${grpc_libraries}"
                     "#include <grpcpp/generic/generic_stub.h>
                     int main() { grpc::CompletionQueue queue; }")
endif()
if(TARN_SERVICE)
  tarn_check_program(TARN_FINDS_HTTP "${http_libraries}"
                     "${http_macros}
                     #include <httplib.h>
                     int main() { httplib::Server server; }")
endif()
find_program(TARN_FLATC flatc)
set(grpc_needs TARN_FINDS_GRPC libgrpc++-dev TARN_FINDS_TLS libssl-dev TARN_FINDS_FLATBUFFERS
               libflatbuffers-dev TARN_FLATC flatbuffers-compiler)

tarn_part(TARN_HAS_GRPC tarn_grpc TARN_GRPC ${grpc_needs})
tarn_part(TARN_HAS_TOOLS tarn-inspect TARN_TOOLS TARN_FINDS_FLATBUFFERS libflatbuffers-dev
          TARN_FINDS_PCAP libpcap-dev)
tarn_part(TARN_HAS_SEND tarn-send TARN_TOOLS TARN_FINDS_JSON nlohmann-json3-dev
          TARN_FINDS_FLATBUFFERS libflatbuffers-dev TARN_FINDS_PCAP libpcap-dev)
tarn_part(TARN_HAS_SERVICE tarn-serve TARN_SERVICE ${grpc_needs}
          TARN_FINDS_JSON nlohmann-json3-dev TARN_FINDS_HTTP libcpp-httplib-dev)
# Rules of answers: the service cannot do without, the loopback can.
set(script AUTO)
tarn_part(TARN_HAS_SCRIPT tarn_script script TARN_FINDS_JSON nlohmann-json3-dev)

if(TARN_HAS_GRPC OR TARN_HAS_SERVICE)
  add_library(grpc_and_tls INTERFACE)
  target_link_libraries(grpc_and_tls INTERFACE ${grpc_libraries} ${tls_libraries})
endif()
if(TARN_HAS_SERVICE)
  add_library(http_server INTERFACE)
  target_compile_definitions(http_server INTERFACE ${http_definitions})
  target_link_libraries(http_server INTERFACE ${http_libraries})
endif()
