// QoS groups and CAR settings.

#include "msg/message.h"

SLOTS(MQC_port_group, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
COMPACT_ENCODER(MQC_port_group, 10057)
FULL_ENCODER(MQC_port_group)

SLOTS(MQC_group_member, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14),
      SLOT(f15))
COMPACT_ENCODER(MQC_group_member, 10358)
FULL_ENCODER(MQC_group_member)

SLOTS(MQC_qos_car, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6), SLOT(f7),
      SLOT(f8), SLOT(f9), SLOT(f10), SLOT(f11), SLOT(f12), SLOT(f13), SLOT(f14), SLOT(f15),
      SLOT(f16), SLOT(f17))
COMPACT_ENCODER(MQC_qos_car, 7367)
FULL_ENCODER(MQC_qos_car)
