#ifndef METHODS_FUNCTIONS_H
#define METHODS_FUNCTIONS_H

// The exports of every method, called with any request. Who includes this links the library.

#include <cstddef>

#include "methods/methods.h"

namespace methods {

/// The four exports of a method; req is its request record.
struct Functions {
  u32 (*call)(const void* req, void* opt);
  u32 (*async)(const void* req, RpcAsyncCallback cb, void* userData, void* opt);
  u32 (*oneway)(const void* req, void* opt);
  void (*setIdl)(IdlMsgDesc* desc);
};

#define ROW(m, Type)                                                                              \
  {[](const void* req, void* opt) { return MqcFesIntf_##m(static_cast<const Type*>(req), opt); }, \
   [](const void* req, RpcAsyncCallback cb, void* userData, void* opt) {                          \
     return MqcFesIntf_##m##_async(static_cast<const Type*>(req), cb, userData, opt);             \
   },                                                                                             \
   [](const void* req, void* opt) {                                                               \
     return MqcFesIntf_##m##_oneway(static_cast<const Type*>(req), opt);                          \
   },                                                                                             \
   MqcFesIntf_##m##SetIdl},
/// In the order of the roll call.
inline constexpr Functions functions[] = {MQC_FES_INTF_METHODS(ROW, ROW)};
#undef ROW

/// Those of a method of the roll call.
inline const Functions& functionsOf(const Method& method) {
  return functions[&method - all.data()];
}

}  // namespace methods

#endif
