/*
 * A program as a caller writes it, in C and in C++: sends a classifier template in each of the
 * three ways and looks at what the loopback received.
 *
 * usage: caller CAPTURE_DIR
 */
#include <stdio.h>
#include <string.h>

#include "mqc_fes_intf.h"
#include "tarn/loopback.h"

typedef struct Seen {
  unsigned messages;
  unsigned good;
} Seen;

/* The message's root offset and vtable: f1, which always goes, then f3 and f6, which are not 0. */
static const u8 head[] = {22, 0, 0, 0, 18, 0, 50, 0, 0, 0, 10, 0, 0, 0, 4, 0, 0, 0, 0, 0, 6, 0};

static u32 onMessage(const TarnMessage* message, void* userData) {
  Seen* seen = (Seen*)userData;
  seen->good += strcmp(message->method.interfaceName, "MqcFesIntf") == 0 &&
                strcmp(message->method.methodName, "sendClassifierTemplate") == 0 &&
                message->variant == (TarnVariant)seen->messages && message->compactSize == 72 &&
                memcmp(message->compact, head, sizeof head) == 0 && message->fullSize == 88;
  return 40 + seen->messages++;
}

int main(int argc, char** argv) {
  MQC_ClassifierTemplate req;
  Seen seen = {0, 0};
  u32 sync, async, oneway;
  if (argc != 2 || TarnLoopback_setCaptureDir(argv[1]) != 0) return 2;
  TarnLoopback_setReceiver(onMessage, &seen);

  memset(&req, 0, sizeof req);
  req.f3 = 0x0102;
  req.f6 = 0x11223344;
  sync = MqcFesIntf_sendClassifierTemplate(&req, NULL);
  async = MqcFesIntf_sendClassifierTemplate_async(&req, NULL, NULL, NULL);
  oneway = MqcFesIntf_sendClassifierTemplate_oneway(&req, NULL);

  printf("statuses %u %u %u, %u of %u messages as sent\n", sync, async, oneway, seen.good,
         seen.messages);
  return !(sync == 40 && async == 41 && oneway == 42 && seen.good == 3 && seen.messages == 3);
}
