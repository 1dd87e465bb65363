#include "bench/instructions.h"

#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstdlib>

#include "bench/calls.h"
#include "bench/contestants.h"

namespace bench {
namespace {

constexpr u32 turns = 64;

/// The first round binds symbols and is not counted.
template <class Turn>
void count(const std::string& name, Turn turn) {
  for (u32 i = 0; i < turns; ++i) turn(i);
  CALLGRIND_ZERO_STATS;
  for (u32 i = 0; i < turns; ++i) {
    turn(i);
    asm volatile("" ::: "memory");
  }
  CALLGRIND_DUMP_STATS_AT(name.c_str());
}

template <class Encoder>
void countEncoder(const std::string& name, Encoder encoder) {
  u64 total = 0;
  count(name, [&](u32 i) { total += encoder(i); });
  if (!encoder.isRight(turns, total / 2)) {
    std::fprintf(stderr, "mqc_bench: %s: wrong output\n", name.c_str());
    std::exit(1);
  }
}

}  // namespace

void countInstructions(const Subjects& subjects) {
  countEncoder("nobody/nothing/none", Nobody(*subjects.front()));
  for (const auto& subject : subjects) {
    forEachContestant(*subject, [&](const std::string& who, const auto& encoder) {
      countEncoder(who + "/" + subject->name, encoder);
    });
  }
}

void countCallInstructions() {
  const MQC_ClassifierTemplate record = {};
  count("call/stub/one", [&](u32) { callOneStub(&record); });
  count("call/stub/all", [&](u32) { callAllStubs(&record); });
  count("call/runtime/one", [&](u32) { callRuntime(&record); });
  count("call/runtime/all", [&](u32) { callRuntimeForAll(&record); });
}

}  // namespace bench
