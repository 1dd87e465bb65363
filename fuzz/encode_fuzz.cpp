// Turns any bytes into a record of some method and compares its encodings with the model. The first
// byte picks the method, the record's bytes follow, the rest is the buffer of a method that borrows
// one.

#include <deque>
#include <memory>
#include <span>

#include "fuzz.h"
#include "wire.h"

namespace {

/// The record's own pointer only decides whether there is a buffer.
void pointAtTail(u8* record, const records::Values& values, std::span<const u8> tail) {
  for (const records::Slot& slot : values.buffers) {
    const records::Buffer given = records::loadBuffer(record + slot.offset, slot);
    if (given.data == nullptr) continue;
    records::storeBuffer(record + slot.offset, slot, {tail.data(), static_cast<u32>(tail.size())});
  }
}

void run(wire::Encoders& target, std::span<const u8> input) {
  std::vector<u8> record(target.table.recordSize);
  const std::size_t given = std::min(input.size(), record.size());
  std::copy_n(input.begin(), given, record.begin());
  const std::size_t left = input.size() - given;
  const std::unique_ptr<u8[]> tail(new u8[left]);
  std::copy_n(input.begin() + static_cast<std::ptrdiff_t>(given), left, tail.get());
  pointAtTail(record.data(), target.values, {tail.get(), left});
  const std::string error = target.check(record.data());
  require(error.empty(), error.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
  static std::deque<wire::Encoders> targets(methods::all.begin(), methods::all.end());
  if (size != 0) run(targets[data[0] % targets.size()], {data + 1, size - 1});
  return 0;
}
