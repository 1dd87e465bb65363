// The four exports of every method, made from the roll call.

#include "msg/encoders.h"
#include "stubs/calls.h"

namespace stubs {

#define ROW(method, Type) method,
enum class Row : u32 { MQC_FES_INTF_METHODS(ROW, ROW) };
#undef ROW

}  // namespace stubs

// Member by member: a whole descriptor would become constant data with three relocations.
[[gnu::always_inline]] static inline void fillDesc(IdlMsgDesc* desc, IdlPackFn pack,
                                                   IdlPackFullFn packFull, IdlFullSizeFn fullSize) {
  desc->slot0 = nullptr;
  desc->pack = pack;
  desc->slot2 = nullptr;
  desc->slot3 = nullptr;
  desc->packFull = packFull;
  desc->fullSize = fullSize;
}

#define FILL_BOTH(method, Type)                                    \
  static void method##_fill(IdlMsgDesc* desc) {                    \
    fillDesc(desc, Type##_pack, Type##_packFull, Type##_fullSize); \
  }

#define FILL_COMPACT(method, Type)                 \
  static void method##_fill(IdlMsgDesc* desc) {    \
    fillDesc(desc, Type##_pack, nullptr, nullptr); \
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
