// Classifier, behavior and policy templates.

#include "msg/message.h"

SLOTS(MQC_ClassifierTemplate, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6))
COMPACT_ENCODER(MQC_ClassifierTemplate, 1330)
FULL_ENCODER(MQC_ClassifierTemplate)

SLOTS(MQC_BehaviorTemplate, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(MQC_BehaviorTemplate, 1467)
FULL_ENCODER(MQC_BehaviorTemplate)

SLOTS(MQC_PolicyTemplate, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5))
COMPACT_ENCODER(MQC_PolicyTemplate, 1666)
FULL_ENCODER(MQC_PolicyTemplate)
