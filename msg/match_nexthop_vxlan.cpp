// Next-hop and VXLAN match rules.

#include "msg/message.h"

SLOTS(MQC_match_nexthop, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
COMPACT_ENCODER(MQC_match_nexthop, 9482)
FULL_ENCODER(MQC_match_nexthop)

SLOTS(MQC_match_vxlan_rsv, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(MQC_match_vxlan_rsv, 4589)
FULL_ENCODER(MQC_match_vxlan_rsv)
