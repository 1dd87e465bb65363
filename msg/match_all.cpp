// The match-all rule, the largest of the match family.

#include "msg/message.h"

SLOTS(MQC_match_all, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14),
      SLOT(f15), SLOT(f16), SLOT(f17), SLOT(f18), SLOT(f19), SLOT(f20), SLOT(f21), SLOT(f22),
      SLOT(f23), SLOT(f24), SLOT(f25), SLOT(f26), SLOT(f27), SLOT(f28), SLOT(f29), SLOT(f30),
      SLOT(f31), SLOT(f32), SLOT(f33), SLOT(f34), SLOT(f35), SLOT(f36), SLOT(f37), SLOT(f38),
      SLOT(f39), SLOT(f40), SLOT(f41), SLOT(f42), SLOT(f43), SLOT(f44), SLOT(f45), SLOT(f46),
      SLOT(f47), SLOT(f48), SLOT(f49), SLOT(f50), SLOT(f51), SLOT(f52), SLOT(f53), SLOT(f54),
      SLOT(f55), SLOT(f56), SLOT(f57), SLOT(f58), SLOT(f59), SLOT(f60), SLOT(f61))
COMPACT_ENCODER(MQC_match_all, 5879)
FULL_ENCODER(MQC_match_all)
