// The delivery when no thread can be started. Not with sanitizers, which replace the same function.

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>

#include "grpc/service.h"

namespace {

std::atomic<int> threadsLeft = 1000;

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*run)(void*), void* argument) noexcept {
  static const auto create =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return threadsLeft-- > 0 ? create(thread, attributes, run, argument) : EAGAIN;
}

namespace {

using GrpcThreads = ServiceTest;

constexpr char refusal[] = "no thread could be started: Resource temporarily unavailable";

TEST_F(GrpcThreads, TooFewAreAStatus) {
  for (const int some : {0, 1, 2, 4}) {
    inChild([&] {
      threadsLeft = some;
      EXPECT_EQ(open(), nullptr);
      EXPECT_STREQ(TarnGrpc_lastError(), refusal);
      threadsLeft = 1000;
      EXPECT_EQ(call(open()), TARN_GRPC_TRANSPORT + 14);
    });
  }
}

TEST_F(GrpcThreads, CertificatesThatNobodyWouldFollowAreRefused) {
  ASSERT_EQ(exitStatus(start({SERVICE_DIR "/certificates.sh", dir})), 0);
  const std::string ca = dir / "ca.crt";
  inChild([&] {
    EXPECT_NE(open(), nullptr);
    threadsLeft = 0;
    EXPECT_EQ(open({.ca = ca.c_str()}), nullptr);
    EXPECT_STREQ(TarnGrpc_lastError(), refusal);
  });
}

}  // namespace
