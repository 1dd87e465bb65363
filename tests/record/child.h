#ifndef TESTS_RECORD_CHILD_H
#define TESTS_RECORD_CHILD_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

/// In a child made by fork, whose status says whether what it expects came about.
inline void inChild(const std::function<void()>& run) {
  const pid_t child = ::fork();
  if (child == 0) {
    run();
    std::_Exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

#endif
