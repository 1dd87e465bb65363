/* A unit test of a process's own code against the loopback. */
#include <stdio.h>
#include <string.h>

#include "mqc_fes_intf.h"
#include "tarn/loopback.h"

/* The code under test: sets a port's QoS group and returns whether that succeeded. */
static int joinGroup(u32 port, u32 group) {
  MQC_port_group req = {0};
  req.f0 = port;
  req.f1 = group;
  return MqcFesIntf_qos_group_port(&req, NULL) == 0;
}

/* What was sent. */
typedef struct Seen {
  int messages;
  char method[32];
  TarnVariant variant;
  u8 compact[64];
  u32 compactSize;
} Seen;

static u32 keep(const TarnMessage* message, void* userData) {
  Seen* seen = userData;
  ++seen->messages;
  snprintf(seen->method, sizeof seen->method, "%s", message->method.methodName);
  seen->variant = message->variant;
  seen->compactSize = message->compactSize;
  if (message->compactSize <= sizeof seen->compact) {
    memcpy(seen->compact, message->compact, message->compactSize);
  }
  return 0; /* the status of the call */
}

static int failures;

static void check(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "failed: %s\n", what);
  ++failures;
}

static void sendsTheGroup(void) {
  static const u8 expected[] = {18, 0, 0, 0,  14, 0, 12, 0, 4, 0, 8, 0, 0, 0, 0,
                                0,  0, 0, 14, 0,  0, 0,  7, 0, 0, 0, 3, 0, 0, 0};
  Seen seen = {0};
  TarnLoopback_reset();
  TarnLoopback_setReceiver(keep, &seen);
  check(joinGroup(7, 3), "a group is joined");
  check(seen.messages == 1 && strcmp(seen.method, "qos_group_port") == 0, "one request went out");
  check(seen.variant == TARN_VARIANT_SYNC, "it was sent synchronously");
  check(seen.compactSize == sizeof expected && memcmp(seen.compact, expected, sizeof expected) == 0,
        "it names port and group");
}

static void reportsARefusal(void) {
  TarnLoopback_reset();
  TarnLoopback_setStatus(1);
  check(!joinGroup(7, 3), "a refused group is reported");
}

static void reportsAMissingService(void) {
  TarnLoopback_reset();
  TarnLoopback_setHandleAvailable(0);
  check(!joinGroup(7, 3), "a missing service is reported");
  check(TarnLoopback_delivered(TARN_VARIANT_SYNC) == 0, "nothing was delivered");
}

int main(void) {
  sendsTheGroup();
  reportsARefusal();
  reportsAMissingService();
  if (failures == 0) printf("all tests passed\n");
  return failures != 0;
}
