#ifndef TESTS_CHILDREN_H
#define TESTS_CHILDREN_H

// Asynchronous calls in tests of the loopback, and processes of their own for what ends or forks.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "mqc_fes_intf.h"

/// The result that an asynchronous call's callback received.
struct Ending {
  std::atomic<int> count = 0;
  std::atomic<u32> status = 0;
};

inline void complete(u32 status, void* userData) {
  Ending& ending = *static_cast<Ending*>(userData);
  ending.status = status;
  ++ending.count;
}

inline u32 sendAsync(Ending& ending) {
  const MQC_ClassifierTemplate request{};
  return MqcFesIntf_sendClassifierTemplate_async(&request, complete, &ending, nullptr);
}

/// In a child, receives a byte for each callback that runs.
inline int report = -1;

inline void post(RpcAsyncCallback callback) {
  const MQC_ClassifierTemplate request{};
  if (MqcFesIntf_sendClassifierTemplate_async(&request, callback, nullptr, nullptr) != 0) _exit(8);
}

inline pid_t forkForAMinute() {
  const pid_t child = fork();
  if (child == 0) alarm(60);
  return child;
}

/// Runs it in a process of its own, which exits with 7, and returns how many callbacks ran there.
inline std::size_t reportedIn(void (*run)()) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const pid_t child = forkForAMinute();
  if (child == 0) {
    report = ends[1];
    run();
    std::exit(7);
  }
  close(ends[1]);
  char bytes[16];
  std::size_t count = 0;
  for (ssize_t got = 0; (got = read(ends[0], bytes, sizeof bytes)) > 0;) count += std::size_t(got);
  close(ends[0]);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 7 << 8) << "not exited with 7";
  return count;
}

#endif
