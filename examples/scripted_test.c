/*
 * A unit test of a process's own code against a service that refuses once, as a script states.
 *
 * usage: scripted_test SCRIPT      refused_once.json
 */
#include <stdio.h>
#include <string.h>

#include "mqc_fes_intf.h"
#include "tarn/loopback.h"

/* The code under test: sends rules, each once more if it is refused; returns how many were taken.
 */
static u32 sendRules(const MQC_RuleMac* rules, u32 count) {
  u32 taken = 0;
  u32 i;
  for (i = 0; i < count; ++i) {
    u32 status = MqcFesIntf_sendRuleMac(&rules[i], NULL);
    if (status != 0) status = MqcFesIntf_sendRuleMac(&rules[i], NULL);
    if (status == 0) ++taken;
  }
  return taken;
}

/* The last message that was sent, and how many were the same as the one before. */
typedef struct Sent {
  u32 repeated;
  u32 size;
  u8 last[MQC_RuleMac_COMPACT_MAX];
} Sent;

/* Sees every message, whatever the script answers. */
static u32 compare(const TarnMessage* message, void* userData) {
  Sent* sent = userData;
  if (message->compactSize > sizeof sent->last) return 0;
  if (message->compactSize == sent->size && memcmp(message->compact, sent->last, sent->size) == 0) {
    ++sent->repeated;
  }
  sent->size = message->compactSize;
  memcpy(sent->last, message->compact, sent->size);
  return 0;
}

static int failures;

static void check(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "failed: %s\n", what);
  ++failures;
}

static void sendsARefusedRuleAgain(const char* script) {
  MQC_RuleMac rules[2] = {0};
  Sent sent = {0};
  rules[0].f3 = 1;
  rules[1].f3 = 2;
  TarnLoopback_reset();
  check(TarnLoopback_setScript(script) == 0, "the script can be used");
  TarnLoopback_setReceiver(compare, &sent);
  check(sendRules(rules, 2) == 2, "both rules are taken");
  check(sent.repeated == 1, "the rule that was refused is sent again");
  check(TarnLoopback_checkScript() == 0, "three messages were sent");
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: scripted_test SCRIPT\n");
    return 2;
  }
  sendsARefusedRuleAgain(argv[1]);
  if (failures == 0) printf("all tests passed\n");
  return failures != 0;
}
