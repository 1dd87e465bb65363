// What a call costs in C, for Python to ask: with the minimal platform and the library, a shared
// object.

#include <chrono>

#include "methods/functions.h"

#pragma GCC visibility push(default)

/// Nanoseconds of a synchronous call of a method, by its place in the roll call.
extern "C" double nanosecondsOfCall(u32 method, const void* record, u32 turns) {
  const auto begin = std::chrono::steady_clock::now();
  u32 status = 0;
  for (u32 i = 0; i < turns; ++i) status |= methods::functions[method].call(record, nullptr);
  const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - begin;
  return status == 0 ? spent.count() / turns : -1;
}

#pragma GCC visibility pop
