// Policy nodes, policy instances and rule MAC.

#include "msg/message.h"

SLOTS(MQC_PolicyNode, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6))
COMPACT_ENCODER(MQC_PolicyNode, 2037)
FULL_ENCODER(MQC_PolicyNode)

SLOTS(MQC_PolicyInst, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11))
COMPACT_ENCODER(MQC_PolicyInst, 2248)
FULL_ENCODER(MQC_PolicyInst)

SLOTS(MQC_RuleMac, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(MQC_RuleMac, 2399)
FULL_ENCODER(MQC_RuleMac)
