// Turns any bytes into a record of some method, encodes it and reads it back. The first byte picks
// the method, the record's bytes follow, the rest is the buffer of a method that borrows one.

#include <cstdio>
#include <cstdlib>
#include <deque>

#include "read_back.h"

namespace {

/// The record's own pointer only tells whether there is a buffer.
void pointAtTail(u8* record, const records::Values& values, std::span<const u8> tail) {
  for (const records::SlotInfo& slot : values.buffers) {
    const records::Buffer given = records::loadBuffer(record + slot.offset, slot);
    if (given.data == nullptr) continue;
    records::storeBuffer(record + slot.offset, slot, {tail.data(), static_cast<u32>(tail.size())});
  }
}

struct Target {
  explicit Target(const Method& told) : method(told), check(told) {
    records::collect(*told.table, 0, values);
  }

  const Method& method;
  read_back::Check check;
  records::Values values;
};

void run(const Target& target, std::span<const u8> input) {
  const std::size_t given = std::min<std::size_t>(input.size(), target.method.recordSize);
  std::vector<u8> record(target.method.recordSize);
  std::copy_n(input.begin(), given, record.begin());
  const std::size_t left = input.size() - given;
  const std::unique_ptr<u8[]> tail(new u8[left]);
  std::copy_n(input.begin() + static_cast<std::ptrdiff_t>(given), left, tail.get());
  pointAtTail(record.data(), target.values, {tail.get(), left});
  const std::string error = target.check(record.data());
  if (error.empty()) return;
  std::fprintf(stderr, "%s\n", error.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
  static const std::deque<Target> targets(std::begin(methods), std::end(methods));
  if (size != 0) run(targets[data[0] % targets.size()], {data + 1, size - 1});
  return 0;
}
