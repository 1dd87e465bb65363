// Many threads on shared records: the encoders of every method, with parameter errors between.

#include <atomic>
#include <thread>

#include "methods.h"
#include "records.h"
#include "wire.h"

namespace {

struct Job {
  IdlMsgDesc desc;
  std::vector<u8> record;
  wire::Bytes compact;
  wire::Bytes full;
};

std::vector<Job> makeJobs() {
  std::vector<Job> jobs;
  for (const Method& method : methods) {
    records::Maker maker(method, 7);
    const u8* const record = maker.make(0x5555555555555555);
    Job job = {wire::describe(method.setIdl), {record, record + method.recordSize}, {}, {}};
    // The maker owns the bytes that a batch request would borrow.
    for (const codec::SlotInfo& slot : maker.values.buffers) {
      records::storeBuffer(&job.record[slot.offset], slot, {nullptr, 0});
    }
    job.compact = wire::compact(job.desc, job.record.data());
    if (job.desc.packFull != nullptr) job.full = wire::full(job.desc, job.record.data());
    jobs.push_back(job);
  }
  return jobs;
}

bool encodesAsBefore(const Job& job, bool withError) {
  wire::Bytes out(2048);
  u32 capacity = static_cast<u32>(out.size());
  PackBuf cursor = {out.data(), &capacity};
  const u32 length = job.desc.pack(&cursor, job.record.data());
  if (wire::Bytes(out.begin(), out.begin() + length) != job.compact) return false;
  if (job.desc.pack(nullptr, job.record.data()) != length) return false;
  wire::Bytes full(job.full.size());
  if (job.desc.packFull != nullptr) job.desc.packFull(full.data(), job.record.data());
  if (full != job.full) return false;
  capacity = 3;
  return !withError || job.desc.pack(&cursor, job.record.data()) == 0;
}

}  // namespace

TEST(Threads, EncodeSharedRecordsAlike) {
  const std::vector<Job> jobs = makeJobs();
  constexpr int threads = 8;
  constexpr int rounds = 50;
  std::atomic<int> ready = 0;
  std::atomic<int> alike = 0;
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back([&] {
      ++ready;
      while (ready < threads) std::this_thread::yield();
      for (int round = 0; round < rounds; ++round) {
        for (const Job& job : jobs) alike += encodesAsBefore(job, round == 0);
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
  EXPECT_EQ(threads * rounds * static_cast<int>(jobs.size()), alike);
}
