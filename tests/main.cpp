// A test program's main: a filter that matches nothing fails.

#include <gtest/gtest.h>

#include <cstdio>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const int failed = RUN_ALL_TESTS();
  if (testing::UnitTest::GetInstance()->test_to_run_count() != 0) return failed;
  std::fputs("no test has that name\n", stderr);
  return 1;
}
