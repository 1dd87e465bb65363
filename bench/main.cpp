// mqc_bench times every contestant on every subject, as a Google Benchmark program; an iteration is
// 4096 turns. mqc_bench --list lists the messages; with --instructions callgrind, which must
// run the program, writes a profile of 64 turns for each contestant and subject instead.

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "bench/contestants.h"
#include "tarn/rpc.h"

namespace bench {
namespace {

/// Enough for counting instructions, whose number does not depend on earlier turns.
constexpr u32 countedTurns = 64;

template <class Encode>
u64 takeTurns(u32 turns, const Encode& encode) {
  u64 sum = 0;
  for (u32 i = 0; i < turns; ++i) {
    sum += encode(i);
    benchmark::ClobberMemory();
  }
  return sum;
}

/// Other work of the process, as the branch predictor sees it: unpredictable branches.
template <std::size_t... I>
void branchAtRandom(std::index_sequence<I...>, u32 rounds) {
  static std::mt19937_64 random;
  const auto branch = [](bool taken) {
    if (taken) asm volatile("nop");
  };
  for (u32 i = 0; i < rounds; ++i) {
    const u64 bits = random();
    (branch(bits >> I & 1), ...);
  }
}

/// Seconds of so many turns with warm caches and a branch predictor that has seen other work since;
/// otherwise it would have learnt even 4096 records after some ten passes.
template <class Encode>
double timeTurns(const Encode& encode, u64& sum) {
  takeTurns(manyRecords, encode);
  branchAtRandom(std::make_index_sequence<64>{}, 4096);
  const auto start = std::chrono::steady_clock::now();
  sum += takeTurns(manyRecords, encode);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Time {
  template <class Encode>
  void operator()(const std::string& name, const Contestant<Encode>& contestant) const {
    const auto time = [contestant](benchmark::State& state) {
      u64 sum = 0;
      for (auto _ : state) state.SetIterationTime(timeTurns(contestant.encode, sum));
      const auto turns = static_cast<u64>(state.iterations()) * manyRecords;
      state.SetItemsProcessed(static_cast<std::int64_t>(turns));
      if (!contestant.isRight(turns, sum)) state.SkipWithError("wrong output");
    };
    benchmark::RegisterBenchmark(name.c_str(), time)->UseManualTime()->Iterations(1);
  }
};

struct CountInstructions {
  template <class Encode>
  void operator()(const std::string& name, const Contestant<Encode>& contestant) const {
    takeTurns(countedTurns, contestant.encode);  // binds symbols
    CALLGRIND_ZERO_STATS;
    const u64 sum = takeTurns(countedTurns, contestant.encode);
    CALLGRIND_DUMP_STATS_AT(name.c_str());
    if (contestant.isRight(countedTurns, sum)) return;
    std::fprintf(stderr, "mqc_bench: %s: wrong output\n", name.c_str());
    std::exit(1);
  }
};

const MQC_ClassifierTemplate request = {};

/// The synchronous stub of every method in turn.
u32 callAllStubs() {
  u32 status = 0;
#define CALL(method, Type) \
  status |=                \
      MqcFesIntf_##method(static_cast<const Type*>(static_cast<const void*>(&request)), nullptr);
  MQC_FES_INTF_METHODS(CALL, CALL)
#undef CALL
  return status;
}

/// What a stub calls, called directly.
u32 callRuntime() {
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, nullptr);
  return RPC_IdlSyncCallNoOutStub(handle, &request, sizeof request, nullptr, nullptr);
}

/// The same, once for each method.
u32 callRuntimeForAll() {
  u32 status = 0;
#define CALL(method, Type) status |= callRuntime();
  MQC_FES_INTF_METHODS(CALL, CALL)
#undef CALL
  return status;
}

template <class Measure>
void measureAll(const Subjects& subjects, Measure measure) {
  for (const auto& subject : subjects) {
    for (const Pattern& pattern : subject->patterns) forEachContestant(*subject, pattern, measure);
  }
  static Encodings nothing;
  nothing.add(nullptr, 0);
  const auto enter = [&](const char* name, auto call) {
    measure(name, Contestant<decltype(call)>{call, &nothing, 1});
  };
  enter("call/stub/all", [](u32) { return callAllStubs(); });
  enter("call/runtime/all", [](u32) { return callRuntimeForAll(); });
  enter("call/nothing/one", [](u32) { return 0u; });
}

u32 checksumOf(const Encodings& encodings, u32 count, u32 seed) {
  const u8* const bytes = encodings.bytes(0);
  for (u32 i = 0; i < encodings.total(count); ++i) seed = (seed ^ bytes[i]) * 16777619u;
  return seed;
}

/// Of each subject, in its longest run: name, bytes of a record, mean bytes of its encodings.
void list(const Subjects& subjects) {
  for (const auto& subject : subjects) {
    const auto& [name, count] = subject->patterns.back();
    const methods::Table& table = *subject->message->table;
    u32 sum = checksumOf(subject->compact, count, 2166136261u);
    if (subject->message->fullWritten != 0) sum = checksumOf(subject->full, count, sum);
    std::printf("%s/%s %u %.1f %u %08x\n", table.name, name.c_str(), table.recordSize,
                1.0 * subject->compact.total(count) / count, subject->message->fullWritten, sum);
  }
}

int run(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  const bool counts = mode == "--instructions";
  const std::vector<Message> rows = messages();
  const Subjects subjects = makeSubjects(rows, counts ? countedTurns : manyRecords);
  if (mode == "--list") list(subjects);
  if (counts) measureAll(subjects, CountInstructions{});
  if (counts || mode == "--list") return 0;
  measureAll(subjects, Time{});
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  return bench::run(argc, argv);
}
