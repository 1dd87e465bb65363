// CAR and remark actions.

#include "msg/message.h"

SLOTS(MQC_act_car, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6), SLOT(f7),
      SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14), SLOT(f15),
      SLOT(f16), SLOT(f17), SLOT(f18), SLOT(f19), SLOT(f20), SLOT(f21), SLOT(f22), SLOT(f23),
      SLOT(f24), SLOT(f25))
COMPACT_ENCODER(MQC_act_car, 7093)
FULL_ENCODER(MQC_act_car)

SLOTS(MQC_act_remark, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10))
COMPACT_ENCODER(MQC_act_remark, 7714)
FULL_ENCODER(MQC_act_remark)
