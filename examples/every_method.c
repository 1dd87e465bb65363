#define _POSIX_C_SOURCE 200809L /* nanosleep */

#include "every_method.h"

#include <inttypes.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "mqc_fes_intf.h"

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static u32 completed; /* asynchronous calls; guarded by mutex, as is succeeded */
static u32 succeeded; /* those that completed with 0 */

/* Runs on a thread of the platform. */
static void onCompletion(u32 status, void* userData) {
  (void)userData;
  pthread_mutex_lock(&mutex);
  ++completed;
  if (status == 0) ++succeeded;
  pthread_mutex_unlock(&mutex);
}

static int haveCompleted(u32 expected) {
  int result;
  pthread_mutex_lock(&mutex);
  result = completed >= expected;
  pthread_mutex_unlock(&mutex);
  return result;
}

/* Returns how many succeeded. */
static u32 waitForCompletions(u32 expected) {
  const struct timespec pause = {0, 10000000};
  u32 result;
  int round;
  for (round = 0; round < 2000 && !haveCompleted(expected); ++round) nanosleep(&pause, NULL);
  pthread_mutex_lock(&mutex);
  result = succeeded;
  pthread_mutex_unlock(&mutex);
  return result;
}

/* Every third word stays zero, as unused fields of a configuration do. */
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
  u32 begun; /* asynchronous calls that returned 0 */
  u64 recordBytes;
  u64 compactBytes;
  u64 fullBytes;
} Totals;

static void report(const char* method, const void* req, size_t recordSize, const IdlMsgDesc* desc,
                   const u32 status[3], Totals* totals) {
  const u32 compactSize = desc->pack(NULL, req);
  const u32 fullSize = desc->fullSize != NULL ? desc->fullSize() : 0;
  char full[12] = "-";
  int i;
  if (fullSize != 0) snprintf(full, sizeof full, "%" PRIu32, fullSize);
  printf("%-26s %6zu %8" PRIu32 " %6s %6" PRIu32 " %6" PRIu32 " %8" PRIu32 "\n", method, recordSize,
         compactSize, full, status[0], status[1], status[2]);
  ++totals->methods;
  totals->calls += 3;
  totals->begun += status[1] == 0;
  totals->recordBytes += recordSize;
  totals->compactBytes += compactSize;
  totals->fullBytes += fullSize;
  for (i = 0; i < 3; ++i) totals->failed += status[i] != 0;
}

#define DEFINE_SEND(method, Type, FILL)                                      \
  static void send_##method(Totals* totals) {                                \
    Type req;                                                                \
    u32 status[3];                                                           \
    IdlMsgDesc desc;                                                         \
    FILL(req);                                                               \
    status[0] = MqcFesIntf_##method(&req, NULL);                             \
    status[1] = MqcFesIntf_##method##_async(&req, onCompletion, NULL, NULL); \
    status[2] = MqcFesIntf_##method##_oneway(&req, NULL);                    \
    MqcFesIntf_##method##SetIdl(&desc);                                      \
    report(#method, &req, sizeof req, &desc, status, totals);                \
  }
#define DEFINE_SEND_RECORD(method, Type) DEFINE_SEND(method, Type, FILL_RECORD)
#define DEFINE_SEND_BATCH(method, Type) DEFINE_SEND(method, Type, FILL_BATCH)
MQC_FES_INTF_METHODS(DEFINE_SEND_RECORD, DEFINE_SEND_BATCH)

int sendEveryMethod(void) {
  Totals totals = {0};
  u32 good;
  printf("%-26s %6s %8s %6s %6s %6s %8s\n", "method", "record", "compact", "full", "sync", "async",
         "one-way");
#define SEND(method, Type) send_##method(&totals);
  MQC_FES_INTF_METHODS(SEND, SEND)
#undef SEND

  good = waitForCompletions(totals.begun);
  printf("\n%" PRIu32 " methods, %" PRIu32 " calls, %" PRIu32 " failed, %" PRIu32
         " asynchronous calls completed\n"
         "bytes of one request each: records %" PRIu64 ", compact %" PRIu64 ", full %" PRIu64 "\n",
         totals.methods, totals.calls, totals.failed, good, totals.recordBytes, totals.compactBytes,
         totals.fullBytes);
  return totals.failed == 0 && good == totals.methods ? 0 : 1;
}
