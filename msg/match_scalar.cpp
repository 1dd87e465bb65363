// Match rules whose fields after the head are all scalars.

#include "msg/message.h"

SLOTS(MQC_match_acl, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
COMPACT_ENCODER(MQC_match_acl, 2607)
FULL_ENCODER(MQC_match_acl)

SLOTS(MQC_match_any, SLOT(head))
COMPACT_ENCODER(MQC_match_any, 2719)
FULL_ENCODER(MQC_match_any)

SLOTS(MQC_match_pri, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
COMPACT_ENCODER(MQC_match_pri, 2865)
FULL_ENCODER(MQC_match_pri)

SLOTS(MQC_match_ipid, SLOT(head), SLOT(f1), SLOT(f2))
COMPACT_ENCODER(MQC_match_ipid, 4945)
FULL_ENCODER(MQC_match_ipid)

SLOTS(MQC_match_tcp_flag, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_match_tcp_flag, 3024)
FULL_ENCODER(MQC_match_tcp_flag)

SLOTS(MQC_match_l2_proto, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_match_l2_proto, 3162)
FULL_ENCODER(MQC_match_l2_proto)

SLOTS(MQC_match_fwd_type, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_match_fwd_type, 3300)
FULL_ENCODER(MQC_match_fwd_type)

SLOTS(MQC_match_fwd_info, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_match_fwd_info, 3438)
FULL_ENCODER(MQC_match_fwd_info)

SLOTS(MQC_match_vlan, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
COMPACT_ENCODER(MQC_match_vlan, 3606)
FULL_ENCODER(MQC_match_vlan)

SLOTS(MQC_match_interface, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
COMPACT_ENCODER(MQC_match_interface, 4776)
FULL_ENCODER(MQC_match_interface)

SLOTS(MQC_match_local_id, SLOT(head), SLOT(f1))
COMPACT_ENCODER(MQC_match_local_id, 5090)
FULL_ENCODER(MQC_match_local_id)
