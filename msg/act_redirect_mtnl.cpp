// The MTNL redirection.

#include "msg/message.h"

SLOTS(MQC_act_redirect_mtnl, SLOT(head), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4))
COMPACT_ENCODER(MQC_act_redirect_mtnl, 9274)
FULL_ENCODER(MQC_act_redirect_mtnl)
