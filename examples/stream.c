/*
 * Sends synchronous calls, one after another, to the service at TARN_GRPC_TARGET; prints each
 * change of their status, and at the end the number of calls with each status.
 *
 * usage: stream SECONDS
 */
#define _POSIX_C_SOURCE 200809L /* nanosleep; clock_gettime */

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "mqc_fes_intf.h"
#include "tarn/grpc.h"

enum { maxKinds = 16 };

typedef struct Kind {
  u32 status;
  u32 calls;
} Kind;

static double now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

/* Further statuses than there is room for are counted with the last. */
static void count(Kind kinds[maxKinds], u32 status) {
  int i = 0;
  while (i < maxKinds - 1 && kinds[i].calls != 0 && kinds[i].status != status) ++i;
  kinds[i].status = status;
  ++kinds[i].calls;
}

static void stream(double seconds, Kind kinds[maxKinds]) {
  const struct timespec pause = {0, 1000000};
  const double start = now();
  u32 last = 0;
  u32 calls = 0;
  while (now() - start < seconds) {
    MQC_port_group req = {0};
    u32 status;
    req.f0 = 7;
    req.f1 = calls;
    status = MqcFesIntf_qos_group_port(&req, NULL);
    if (calls++ == 0 || status != last) {
      printf("%6.3f s: status %" PRIu32 ", %s\n", now() - start, status,
             TarnGrpc_statusText(status));
    }
    last = status;
    count(kinds, status);
    nanosleep(&pause, NULL);
  }
}

int main(int argc, char** argv) {
  Kind kinds[maxKinds] = {{0, 0}};
  char* end = NULL;
  const double seconds = argc == 2 ? strtod(argv[1], &end) : 0;
  int i;
  if (argc != 2 || *end != '\0' || !(seconds > 0 && seconds <= 60)) {
    fprintf(stderr, "usage: stream SECONDS     at most 60\n");
    return 2;
  }
  setvbuf(stdout, NULL, _IOLBF, 0);
  stream(seconds, kinds);
  printf("\n%8s %10s\n", "calls", "status");
  for (i = 0; i < maxKinds && kinds[i].calls != 0; ++i) {
    printf("%8" PRIu32 " %10" PRIu32 "  %s\n", kinds[i].calls, kinds[i].status,
           TarnGrpc_statusText(kinds[i].status));
  }
  return 0;
}
