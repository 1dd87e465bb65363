# For scripts/mutate.py, which builds the tests again and again: what never changes is compiled once.
# contract_test and edges_test are left out: they put functions of their own before the C library's.
function(precompile_googletest)
  foreach(test codec_test golden_test grpc_test model_test platform_test
               roll_call_test schema_test setup_test)
    if(TARGET ${test})
      target_precompile_headers(${test} PRIVATE <gtest/gtest.h>)
    endif()
  endforeach()
  if(TARGET tarn_grpc)
    target_precompile_headers(tarn_grpc PRIVATE <grpcpp/generic/generic_stub.h>)
  endif()
endfunction()
cmake_language(DEFER CALL precompile_googletest)
