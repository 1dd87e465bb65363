/*
 * The first call: fills a classifier template, sends it in each of the three ways, and encodes it
 * by hand with the encoders that the library hands out.
 *
 * usage: first_call [CAPTURE_DIR]     an existing directory that keeps the messages
 */
#include <inttypes.h>
#include <stdio.h>

#include "mqc_fes_intf.h"
#include "tarn/loopback.h"

static void onCompletion(u32 status, void* userData) {
  *(u32*)userData = status;
}

static void dump(const char* title, const u8* bytes, u32 size) {
  u32 i;
  printf("%s, %" PRIu32 " bytes:\n", title, size);
  for (i = 0; i < size; ++i)
    printf("%s%02X", i % 16 == 0 ? (i == 0 ? "  " : "\n  ") : " ", bytes[i]);
  printf("\n");
}

static int encode(const MQC_ClassifierTemplate* req) {
  u8 compact[128];
  u8 full[128] = {0};
  u32 capacity = sizeof compact;
  PackBuf cursor = {compact, &capacity};
  IdlMsgDesc desc;
  u32 length;
  MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
  if (desc.pack(NULL, req) > sizeof compact || desc.fullSize() > sizeof full) return 1;
  length = desc.pack(&cursor, req);
  desc.packFull(full, req);
  dump("compact encoding", compact, length);
  dump("full encoding", full, desc.fullSize());
  return length == 0;
}

int main(int argc, char** argv) {
  MQC_ClassifierTemplate req = {0};
  u32 completion = UINT32_MAX;
  u32 sync;
  u32 async;
  u32 oneway;
  if (argc > 2) {
    fprintf(stderr, "usage: first_call [CAPTURE_DIR]\n");
    return 2;
  }
  if (argc == 2 && TarnLoopback_setCaptureDir(argv[1]) != 0) return 1;

  req.f0 = 7;
  req.f1[0] = 'A';
  req.f1[1] = 'B';
  req.f1[2] = 'C';
  req.f3 = 0x0102;
  req.f5 = 5;
  req.f6 = 0x11223344;

  sync = MqcFesIntf_sendClassifierTemplate(&req, NULL);
  async = MqcFesIntf_sendClassifierTemplate_async(&req, onCompletion, &completion, NULL);
  oneway = MqcFesIntf_sendClassifierTemplate_oneway(&req, NULL);
  TarnLoopback_drain();
  printf("sendClassifierTemplate, a record of %zu bytes\n", sizeof req);
  printf("status: synchronous %" PRIu32 ", asynchronous %" PRIu32 " (completed with %" PRIu32
         "), one-way %" PRIu32 "\n",
         sync, async, completion, oneway);
  return encode(&req) != 0 || sync != 0 || async != 0 || completion != 0 || oneway != 0;
}
