/*
 * A C program that delivers over gRPC, as a caller writes it: nobody listens, which it is told.
 */
#include <stdio.h>

#include "mqc_fes_intf.h"
#include "platform/grpc.h"

int main(void) {
  MQC_ClassifierTemplate req = {0};
  TarnGrpcOptions options = {0};
  u32 status;
  options.target = "unix:/nobody/listens";
  status = MqcFesIntf_sendClassifierTemplate(&req, TarnGrpc_open(&options));
  printf("status %u: %s\n", status, TarnGrpc_lastError());
  return status != TARN_GRPC_TRANSPORT + 14;
}
