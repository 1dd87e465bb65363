// record_bench times what the recorder adds to a call: run it with TARN_RECORD and without. The
// platform does nothing.

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "tarn/rpc.h"

namespace {

using Send = decltype(&RPC_IdlSyncCallNoOutStub);

const MQC_RuleMac request = {.f1 = {1, 2, 3, 4, 5, 6}, .f3 = 37};
const MethodId method = {"MqcFesIntf", "sendRuleMac"};

IdlMsgDesc descriptor() {
  IdlMsgDesc desc;
  MqcFesIntf_sendRuleMacSetIdl(&desc);
  return desc;
}

void time(benchmark::State& state, Send send) {
  const IdlMsgDesc desc = descriptor();
  for (auto _ : state) {
    benchmark::DoNotOptimize(send(&state, &request, sizeof request, &method, &desc));
  }
}

/// The platform, reached without the recorder.
void direct(benchmark::State& state) {
  void* const platform = ::dlopen(PLATFORM, RTLD_NOW);
  if (platform == nullptr) return state.SkipWithError("no platform");
  time(state, reinterpret_cast<Send>(::dlsym(platform, "RPC_IdlSyncCallNoOutStub")));
}

void recorder(benchmark::State& state) {
  time(state, RPC_IdlSyncCallNoOutStub);
}

void encoding(benchmark::State& state) {
  const IdlMsgDesc desc = descriptor();
  std::array<u8, 256> out;
  for (auto _ : state) {
    u32 capacity = desc.pack(nullptr, &request);
    PackBuf cursor = {out.data(), &capacity};
    benchmark::DoNotOptimize(desc.pack(&cursor, &request));
  }
}

/// What the operating system takes for the packets of a call, whoever writes them, in files that
/// grow as the recorder's do.
void twoWrites(benchmark::State& state) {
  const char* const folder = std::getenv("TARN_RECORD_FOLDER");
  const int file = ::open(folder != nullptr ? folder : ".", O_TMPFILE | O_WRONLY | O_APPEND, 0600);
  if (file < 0) return state.SkipWithError("no file in TARN_RECORD_FOLDER");
  const std::array<u8, 193> bytes = {};
  constexpr std::size_t sizes[] = {193, 132};
  off_t place = 0;
  for (auto _ : state) {
    for (const std::size_t size : sizes) place += ::pwrite(file, bytes.data(), size, place);
    if (place > 16 * 1'048'576) place = ::ftruncate(file, 0);
  }
  ::close(file);
}

BENCHMARK(direct);
BENCHMARK(recorder);
BENCHMARK(encoding);
BENCHMARK(twoWrites);

}  // namespace

BENCHMARK_MAIN();
