# For scripts/mutate.py, which builds the tests again and again: what never changes is compiled once.
function(precompile_grpc)
  if(TARGET tarn_grpc)
    target_precompile_headers(tarn_grpc PRIVATE <grpcpp/generic/generic_stub.h>)
  endif()
endfunction()
cmake_language(DEFER CALL precompile_grpc)
