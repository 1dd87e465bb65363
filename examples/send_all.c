/*
 * Sends one request of every method in each of the three ways through the stand-in platform, and
 * shows what went out.
 *
 * usage: send_all [CAPTURE_DIR]     an existing directory that keeps the messages
 */
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include "mqc_fes_intf.h"
#include "platform/stand_in.h"

/* What the receiver saw of the last message. */
typedef struct Seen {
  u32 compactSize;
  u32 fullSize;
} Seen;

static u32 onMessage(const TarnMessage* message, void* userData) {
  Seen* seen = userData;
  seen->compactSize = message->compactSize;
  seen->fullSize = message->fullSize;
  return 0;
}

static void onCompletion(u32 status, void* userData) {
  u32* completed = userData; /* completions come one after another, on one thread */
  if (status == 0) ++*completed;
}

/* Every third word stays zero, as fields do that a configuration leaves alone. */
static void fill(void* record, size_t size) {
  u8* bytes = record;
  size_t i;
  for (i = 0; i < size; ++i) bytes[i] = i / 4 % 3 == 2 ? 0 : (u8)(i + 1);
}

static const u8 batch[] = "five requests in one";

#define FILL_RECORD(req) fill(&(req), sizeof(req))
#define FILL_BATCH(req)                                            \
  (memset(&(req), 0, sizeof(req)), (req).f0 = 5, (req).f3 = batch, \
   (req).f3_len = (u32)(sizeof batch - 1))

typedef struct Totals {
  u32 methods;
  u32 calls;
  u32 failed;
  u64 recordBytes;
  u64 compactBytes;
  u64 fullBytes;
} Totals;

static void report(const char* method, size_t recordSize, const Seen* seen, const u32 status[3],
                   Totals* totals) {
  char full[12] = "-";
  int i;
  if (seen->fullSize != 0) snprintf(full, sizeof full, "%" PRIu32, seen->fullSize);
  printf("%-26s %6zu %8" PRIu32 " %6s %6" PRIu32 " %6" PRIu32 " %8" PRIu32 "\n", method, recordSize,
         seen->compactSize, full, status[0], status[1], status[2]);
  ++totals->methods;
  totals->calls += 3;
  totals->recordBytes += recordSize;
  totals->compactBytes += seen->compactSize;
  totals->fullBytes += seen->fullSize;
  for (i = 0; i < 3; ++i) totals->failed += status[i] != 0;
}

#define DEFINE_SEND(method, Type, FILL)                                           \
  static void send_##method(const Seen* seen, u32* completed, Totals* totals) {   \
    Type req;                                                                     \
    u32 status[3];                                                                \
    FILL(req);                                                                    \
    status[0] = MqcFesIntf_##method(&req, NULL);                                  \
    status[1] = MqcFesIntf_##method##_async(&req, onCompletion, completed, NULL); \
    status[2] = MqcFesIntf_##method##_oneway(&req, NULL);                         \
    report(#method, sizeof req, seen, status, totals);                            \
  }
#define DEFINE_SEND_RECORD(method, Type) DEFINE_SEND(method, Type, FILL_RECORD)
#define DEFINE_SEND_BATCH(method, Type) DEFINE_SEND(method, Type, FILL_BATCH)
MQC_FES_INTF_METHODS(DEFINE_SEND_RECORD, DEFINE_SEND_BATCH)

int main(int argc, char** argv) {
  Seen seen = {0, 0};
  Totals totals = {0, 0, 0, 0, 0, 0};
  u32 completed = 0;
  if (argc > 2) {
    fprintf(stderr, "usage: send_all [CAPTURE_DIR]\n");
    return 2;
  }
  if (argc == 2 && TarnPlatform_setCaptureDir(argv[1]) != 0) return 1;
  TarnPlatform_setReceiver(onMessage, &seen);

  printf("%-26s %6s %8s %6s %6s %6s %8s\n", "method", "record", "compact", "full", "sync", "async",
         "one-way");
#define SEND(method, Type) send_##method(&seen, &completed, &totals);
  MQC_FES_INTF_METHODS(SEND, SEND)
#undef SEND

  TarnPlatform_drain();
  printf("\n%" PRIu32 " methods, %" PRIu32 " calls, %" PRIu32 " failed, %" PRIu32
         " asynchronous calls completed\n"
         "bytes of one request each: records %" PRIu64 ", compact %" PRIu64 ", full %" PRIu64 "\n",
         totals.methods, totals.calls, totals.failed, completed, totals.recordBytes,
         totals.compactBytes, totals.fullBytes);
  return totals.failed == 0 && completed == totals.methods ? 0 : 1;
}
