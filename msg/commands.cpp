// Traffic-policy mode, statistics reset and save commands.

#include "msg/message.h"

SLOTS(MQC_tp_update_mode, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(MQC_tp_update_mode, 9661)
FULL_ENCODER(MQC_tp_update_mode)

SLOTS(MQC_tp_reset_stat, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
COMPACT_ENCODER(MQC_tp_reset_stat, 8066)
FULL_ENCODER(MQC_tp_reset_stat)

SLOTS(MQC_reset_aclfail_record, SLOT(f0))
COMPACT_ENCODER(MQC_reset_aclfail_record, 8173)
FULL_ENCODER(MQC_reset_aclfail_record)

SLOTS(MQC_reset_ipcar_statis, SLOT(f0), SLOT(f1), SLOT(f2))
COMPACT_ENCODER(MQC_reset_ipcar_statis, 8318)
FULL_ENCODER(MQC_reset_ipcar_statis)

SLOTS(MQC_notify_save_acl_res, SLOT(f0))
COMPACT_ENCODER(MQC_notify_save_acl_res, 8448)
FULL_ENCODER(MQC_notify_save_acl_res)
