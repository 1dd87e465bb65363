/*
 * Sends one request of every method in each of the three ways to the service at TARN_GRPC_TARGET:
 * the same code as send_all, linked with the platform that delivers over gRPC.
 *
 * usage: deliver_all
 */
#include <stdio.h>

#include "every_method.h"

int main(int argc, char** argv) {
  (void)argv;
  if (argc > 1) {
    fprintf(stderr, "usage: deliver_all\n");
    return 2;
  }
  return sendEveryMethod();
}
