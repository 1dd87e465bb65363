// The four exports of every method, made from the roll call.

#include "msg/encoders.h"
#include "stubs/calls.h"

namespace stubs {

#define ROW(method, Type) method,
enum class Row : u32 { MQC_FES_INTF_METHODS(ROW, ROW) };
#undef ROW

}  // namespace stubs

#define FILL_BOTH(method, Type)                                                         \
  static void method##_fill(IdlMsgDesc* desc) {                                         \
    *desc = {nullptr, Type##_pack, nullptr, nullptr, Type##_packFull, Type##_fullSize}; \
  }

#define FILL_COMPACT(method, Type)                                      \
  static void method##_fill(IdlMsgDesc* desc) {                         \
    *desc = {nullptr, Type##_pack, nullptr, nullptr, nullptr, nullptr}; \
  }

MQC_FES_INTF_METHODS(FILL_BOTH, FILL_COMPACT)

#undef FILL_BOTH
#undef FILL_COMPACT

#define EXPORTS(method, Type)                                                           \
  u32 MqcFesIntf_##method(const Type* req, void* opt) {                                 \
    return stubs::call(req, opt, stubs::Row::method, method##_fill);                    \
  }                                                                                     \
  u32 MqcFesIntf_##method##_async(const Type* req, RpcAsyncCallback cb, void* userData, \
                                  void* opt) {                                          \
    return stubs::callAsync(req, cb, userData, opt, stubs::Row::method, method##_fill); \
  }                                                                                     \
  u32 MqcFesIntf_##method##_oneway(const Type* req, void* opt) {                        \
    return stubs::callOneway(req, opt, stubs::Row::method, method##_fill);              \
  }                                                                                     \
  void MqcFesIntf_##method##SetIdl(IdlMsgDesc* desc) {                                  \
    method##_fill(desc);                                                                \
  }

MQC_FES_INTF_METHODS(EXPORTS, EXPORTS)

#undef EXPORTS
