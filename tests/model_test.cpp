// Encodes records of every method, and compares both encodings with the model, byte by byte.

#include <gtest/gtest.h>

#include <thread>

#include "wire.h"

namespace {

/// Runs for every method; reports a method once, with the first record that fails.
template <class Run>
void forEachMethod(Run run) {
  for (const methods::Method& method : methods::all) {
    records::Maker maker(*method.request, 0x4D5143);
    wire::Encoders encoders(method);
    EXPECT_EQ("", run(maker, encoders));
  }
}

}  // namespace

TEST(Model, AllPresencePatternsOrManyRandomOnes) {
  forEachMethod([](records::Maker& maker, wire::Encoders& encoders) {
    const std::size_t scalars = maker.values.scalars.size();
    const u64 count = scalars > 16 ? 20'000 : std::max<u64>(u64{1} << scalars, 1024);
    std::string wrong = scalars > 64 ? "more scalars than bits of a pattern" : "";
    for (u64 k = 0; k < count && wrong.empty(); ++k) {
      wrong = encoders.check(maker.make(maker.presence(k)));
    }
    return wrong;
  });
}

TEST(Model, SeveralThreadsAtOnce) {
  const auto checkAll = [] {
    forEachMethod([](records::Maker& maker, wire::Encoders& encoders) {
      std::string wrong;
      for (u64 k = 0; k < 300 && wrong.empty(); ++k) {
        wrong = encoders.check(maker.make(maker.presence(k * 331)));
      }
      return wrong;
    });
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(checkAll);
  for (std::thread& thread : threads) thread.join();
}

// From 65,511 bytes with all scalars, and from 65,523 with none, the table outgrows its 16-bit
// size.
TEST(Model, BuffersOfAllLengths) {
  wire::Encoders encoders(*methods::find("ProcMqcBatchMsg"));
  std::vector<u32> lengths = {0, 1, 2, 3, 255, 256, 32'767, 32'768, 70'000, 1u << 20};
  for (u32 length = 65'500; length < 65'550; ++length) lengths.push_back(length);
  records::Random random(7);
  for (const u32 length : lengths) {
    std::vector<u8> bytes(std::max(length, 1u));
    for (u8& byte : bytes) byte = static_cast<u8>(random.next());
    for (const u32 presence : {0u, 5u, 7u}) {
      const MQC_BrkBatchMsg record = {presence & 1, presence & 2, presence & 4, length,
                                      bytes.data()};
      ASSERT_EQ("", encoders.check(reinterpret_cast<const u8*>(&record))) << length;
    }
  }
}
