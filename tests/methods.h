#ifndef TESTS_METHODS_H
#define TESTS_METHODS_H

// Every method as a row that a test can walk, in the order of the roll call.

#include "msg/encoders.h"

struct Method {
  const char* name;
  const char* type;
  u32 recordSize;
  void (*setIdl)(IdlMsgDesc* desc);
  const codec::TableInfo* table;
};

#define ROW(method, Type) \
  {#method, #Type, sizeof(Type), MqcFesIntf_##method##SetIdl, &Type##_table},
inline constexpr Method methods[] = {MQC_FES_INTF_METHODS(ROW, ROW)};
#undef ROW

#endif
