// Hierarchical QoS: four requests of one schema.

#include "msg/message.h"

SLOTS(MQC_hqos_flow_que, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(MQC_hqos_flow_que, 10626)
FULL_ENCODER(MQC_hqos_flow_que)

SLOTS(MQC_hqos_user_que, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(MQC_hqos_user_que, 10788)
FULL_ENCODER(MQC_hqos_user_que)

SLOTS(MQC_hqos_policy, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(MQC_hqos_policy, 10950)
FULL_ENCODER(MQC_hqos_policy)

SLOTS(MQC_hqos_itp_policy, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(MQC_hqos_itp_policy, 11112)
FULL_ENCODER(MQC_hqos_itp_policy)
