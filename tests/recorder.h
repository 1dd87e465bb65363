#ifndef TESTS_RECORDER_H
#define TESTS_RECORDER_H

// A platform that only records what the library asks of it. A test program that compiles
// recorder.cpp has these functions in place of the platform's; the log function is apart, in
// recorder_log.cpp, since a process may lack it.

#include <cstring>
#include <string>
#include <vector>

#include "tarn/rpc.h"

inline bool operator==(const IdlMsgDesc& a, const IdlMsgDesc& b) {
  return a.slot0 == b.slot0 && a.pack == b.pack && a.slot2 == b.slot2 && a.slot3 == b.slot3 &&
         a.packFull == b.packFull && a.fullSize == b.fullSize;
}

namespace recorder {

/// A method's descriptor, every slot of which has been written.
inline IdlMsgDesc describe(void (*setIdl)(IdlMsgDesc*)) {
  IdlMsgDesc desc;
  std::memset(&desc, 0xA5, sizeof desc);
  setIdl(&desc);
  return desc;
}

struct Sent {
  std::string function;
  void* handle;
  const void* req;
  u64 reqSize;         ///< 0 where no size travels
  std::string method;  ///< interface and name
  IdlMsgDesc desc;
  RpcAsyncCallback cb;
  void* userData;

  bool operator==(const Sent&) const = default;
};

struct Cleared {
  const void* dest;
  size_t max;
  int value;
  size_t count;

  bool operator==(const Cleared&) const = default;
};

/// The requests since the last reset, and the answers.
struct Platform {
  void* handle = this;
  u32 status = 0;

  std::vector<RpcServerAddr*> addresses;  ///< of each handle look-up
  std::vector<void*> options;
  std::vector<Sent> sent;
  std::vector<std::string> logged;  ///< module, number, level, code, text, function:line, message
  std::vector<Cleared> cleared;     ///< calls of memset_s
  std::vector<Cleared> copied;      ///< calls of memcpy_s, value unused
};

extern Platform platform;

}  // namespace recorder

#endif
