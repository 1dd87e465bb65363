// Smoothing and batch messages.

#include "msg/message.h"

SLOTS(MQC_SmoothMsg, SLOT(f0), SLOT(f1))
COMPACT_ENCODER(MQC_SmoothMsg, 8569)
FULL_ENCODER(MQC_SmoothMsg)

SLOTS(MQC_BrkBatchMsg, SLOT(f0), SLOT(f1), SLOT(f2), BUFFER(f3_len, f3))
COMPACT_ENCODER(MQC_BrkBatchMsg, 10454)
