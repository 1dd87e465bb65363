#ifndef TESTS_RECORDER_H
#define TESTS_RECORDER_H

// A platform that only writes down what the library asks of it. A test program that compiles
// recorder.cpp gives the library these functions in place of the platform's; recorder_log.cpp, the
// log function, comes apart, since a process may lack it.

#include <string>
#include <vector>

#include "platform/rpc.h"

namespace recorder {

struct Sent {
  std::string function;
  void* handle;
  const void* req;
  u64 reqSize;  ///< 0 where no size travels
  MethodId method;
  IdlMsgDesc desc;
  RpcAsyncCallback cb;
  void* userData;
};

struct Logged {
  LogModule module;
  u32 level;
  u32 code;
  std::string text;
  u32 line;
  std::string function;
  std::string message;
};

struct Cleared {
  void* dest;
  size_t max;
  int value;
  size_t count;
};

/// What was asked since the last reset, and what to answer.
struct Platform {
  void* handle = this;
  u32 status = 0;

  std::vector<RpcServerAddr*> addresses;  ///< of each handle look-up
  std::vector<void*> options;
  std::vector<Sent> sent;
  std::vector<Logged> logged;
  std::vector<Cleared> cleared;  ///< calls of memset_s
  std::vector<Cleared> copied;   ///< calls of memcpy_s, value unused
};

extern Platform platform;

}  // namespace recorder

#endif
