// Spsa broker configuration.

#include "msg/message.h"

SLOTS(SPSA_BrkGlobalCfgMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8))
COMPACT_ENCODER(SPSA_BrkGlobalCfgMsg, 298)
FULL_ENCODER(SPSA_BrkGlobalCfgMsg)

SLOTS(SPSA_BrkSaPolicyMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(SPSA_BrkSaPolicyMsg, 435)
FULL_ENCODER(SPSA_BrkSaPolicyMsg)

SLOTS(SPSA_BrkSapActMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3), SLOT(f4), SLOT(f5), SLOT(f6),
      SLOT(f7), SLOT(f8))
COMPACT_ENCODER(SPSA_BrkSapActMsg, 673)
FULL_ENCODER(SPSA_BrkSapActMsg)

SLOTS(SPSA_BrkIfCfgMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(SPSA_BrkIfCfgMsg, 801)
FULL_ENCODER(SPSA_BrkIfCfgMsg)

SLOTS(SPSA_BrkWhiteListMsg, SLOT(f0), SLOT(f1), SLOT(f2), SLOT(f3))
COMPACT_ENCODER(SPSA_BrkWhiteListMsg, 1108)
FULL_ENCODER(SPSA_BrkWhiteListMsg)
