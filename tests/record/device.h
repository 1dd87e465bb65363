#ifndef TESTS_RECORD_DEVICE_H
#define TESTS_RECORD_DEVICE_H

// A platform that stands for a device's: it shows what it is handed, and its user runs the
// callbacks.

#include <vector>

#include "mqc_fes_intf.h"

struct Device {
  struct Call {
    void* handle;
    const void* req;
    u64 reqSize;  // 0 for one-way messages
    const MethodId* method;
    const IdlMsgDesc* desc;
  };
  std::vector<Call> calls;
  std::vector<AsyncCallCtx> contexts;  // of asynchronous calls
  u32 status = 0;
  u32 answer = 0;  // not 0: given to callbacks before an asynchronous call returns
};

extern "C" MQC_API Device* theDevice();

#endif
