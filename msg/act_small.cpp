// Small actions, and the action that has a nested table of its own.

#include "msg/message.h"

SLOTS(MQC_act_filter, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_act_filter, 5995)
FULL_ENCODER(MQC_act_filter)

SLOTS(MQC_act_stat, SLOT(head), SLOT(f1), SLOT(f2))
COMPACT_ENCODER(MQC_act_stat, 6143)
FULL_ENCODER(MQC_act_stat)

SLOTS(MQC_act_vlan_stack, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_act_vlan_stack, 6288)
FULL_ENCODER(MQC_act_vlan_stack)

SLOTS(MQC_act_mac_learn, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_act_mac_learn, 6426)
FULL_ENCODER(MQC_act_mac_learn)

SLOTS(MQC_act_urpf, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_act_urpf, 6564)
FULL_ENCODER(MQC_act_urpf)

SLOTS(MQC_act_car_share, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_act_car_share, 7480)
FULL_ENCODER(MQC_act_car_share)

SLOTS(MQC_act_mirror, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
COMPACT_ENCODER(MQC_act_mirror, 7860)
FULL_ENCODER(MQC_act_mirror)

SLOTS(MQC_ACT_ANYFLOW, SLOT(head))
COMPACT_ENCODER(MQC_ACT_ANYFLOW, 9804)
FULL_ENCODER(MQC_ACT_ANYFLOW)

SLOTS(MqcActCommonData, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))

SLOTS(MQC_ActCommonMsg, SLOT(f0))
COMPACT_ENCODER(MQC_ActCommonMsg, 9916)
FULL_ENCODER(MQC_ActCommonMsg)
