// mqc_bench times every contestant on every subject, as a Google Benchmark program.
// mqc_bench --list tells what the subjects are, --instructions counts instead of timing.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>

#include "bench/calls.h"
#include "bench/contestants.h"
#include "bench/instructions.h"

namespace bench {
namespace {

template <class Encoder>
void timeEncoder(benchmark::State& state, Encoder encoder) {
  u64 total = 0;
  u32 i = 0;
  for (auto _ : state) {
    total += encoder(i++);
    benchmark::ClobberMemory();
  }
  if (!encoder.isRight(i, total)) state.SkipWithError("wrong output");
}

template <u32 (*call)(const void*)>
void timeCall(benchmark::State& state) {
  const MQC_ClassifierTemplate record = {};
  u32 status = 0;
  for (auto _ : state) {
    status |= call(&record);
    benchmark::ClobberMemory();
  }
  if (status != 0) state.SkipWithError("wrong status");
}

void registerSubjects(const Subjects& subjects) {
  for (const auto& subject : subjects) {
    forEachContestant(*subject, [&](const std::string& who, const auto& encoder) {
      benchmark::RegisterBenchmark(
          (who + "/" + subject->name).c_str(),
          [encoder](benchmark::State& state) { timeEncoder(state, encoder); });
    });
  }
}

void registerCalls() {
  benchmark::RegisterBenchmark("call/stub/one", timeCall<callOneStub>);
  benchmark::RegisterBenchmark("call/stub/all", timeCall<callAllStubs>);
  benchmark::RegisterBenchmark("call/runtime/one", timeCall<callRuntime>);
  benchmark::RegisterBenchmark("call/runtime/all", timeCall<callRuntimeForAll>);
}

void list(const Subjects& subjects) {
  for (const auto& subject : subjects) {
    const u64 records = subject->records.count;
    std::printf(
        "%s %u %u %.1f %u %08x\n", subject->name.c_str(), subject->records.size,
        fieldCount(*subject->message->table),
        static_cast<double>(subject->compact.totalAfter(records)) / static_cast<double>(records),
        subject->message->fullWritten, subject->compact.checksum());
  }
}

int run(int argc, char** argv) {
  const std::vector<Message> rows = messages();
  const Subjects subjects = makeSubjects(rows);
  const Subjects batches = makeBatches(rows);
  const char* const mode = argc > 1 ? argv[1] : "";
  if (std::strcmp(mode, "--list") == 0) {
    list(subjects);
    return 0;
  }
  if (std::strcmp(mode, "--instructions") == 0) {
    countInstructions(subjects);
    countInstructions(batches);
    countCallInstructions();
    return 0;
  }
  registerSubjects(subjects);
  registerSubjects(batches);
  registerCalls();
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
