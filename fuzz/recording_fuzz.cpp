// Reads any bytes as a recording: each call is one of its requests, and its bytes are within its
// size.

#include <unistd.h>

#include "fuzz.h"
#include "reader/recorded_calls.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  int ends[2];
  if (size > 60'000) return 0;  // what a pipe takes at once
  require(::pipe(ends) == 0 && ::write(ends[1], data, size) == static_cast<ssize_t>(size),
          "no pipe");
  ::close(ends[1]);
  reader::PacketFile file("input");
  reader::Recording recording;
  if (!file.open(ends[0], {}).empty()) return 0;
  recording.add(std::move(file));
  reader::RecordedCalls calls(recording);
  require(calls.rewind().empty(), "it cannot be read twice");
  std::uint64_t number = 0;
  for (reader::Call call; calls.next(call);) {
    require(call.number == ++number && call.message.size() <= call.size && !call.method.empty() &&
                !call.variant.empty(),
            "not a call");
  }
  return 0;
}
