// RoCEv2 and tunnel match rules.

#include "msg/message.h"

SLOTS(MQC_match_rocev2, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14),
      SLOT(f15), SLOT(f16), SLOT(f17), SLOT(f18), SLOT(f19))
COMPACT_ENCODER(MQC_match_rocev2, 3960)
FULL_ENCODER(MQC_match_rocev2)

SLOTS(MQC_match_tunnel, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14),
      SLOT(f15), SLOT(f16), SLOT(f17), SLOT(f18), SLOT(f19), SLOT(f20), SLOT(f21), SLOT(f22),
      SLOT(f23), SLOT(f24), SLOT(f25), SLOT(f26), SLOT(f27), SLOT(f28), SLOT(f29), SLOT(f30))
COMPACT_ENCODER(MQC_match_tunnel, 4444)
FULL_ENCODER(MQC_match_tunnel)
