#include "shared/recording.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "shared/printable.h"
#include "shared/report.h"
#include "shared/section.h"

namespace shared {
namespace {

constexpr u32 formatVersion = 1;
constexpr Dissector noDissector = {};
constexpr std::int64_t pause = 100'000'000;  // nanoseconds between two attempts to go on
constexpr u32 partSize = longestPacket - PacketHead::most;

[[gnu::tls_model("initial-exec")]] constinit thread_local struct {
  u32 process;
  std::size_t size;
  u8 text[40];
} thread = {};

/// "process 12 thread 34", made once: the number of a thread is a system call.
std::string_view threadOf(u32 process) {
  if (thread.process != process) {
    const auto number = static_cast<u32>(::gettid());
    const u8* const end = addText(thread.text, "process", process, "thread", number);
    thread.size = static_cast<std::size_t>(end - thread.text);
    thread.process = process;
  }
  return {reinterpret_cast<const char*>(thread.text), thread.size};
}

timespec wallClock() {
  timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

/// False also where the clock was set back.
bool isWithinPause(const timespec& since, const timespec& now) {
  const std::int64_t passed =
      (now.tv_sec - since.tv_sec) * 1'000'000'000 + (now.tv_nsec - since.tv_nsec);
  return passed >= 0 && passed < pause;
}

/// Not in the user's language: its words come from a file, into memory from the heap.
const char* reasonOf(int error) {
  if (error == EEXIST) return "a file that is no recording is in the way";
#if __GLIBC_PREREQ(2, 32)
  if (const char* const reason = ::strerrordesc_np(error)) return reason;
#endif
  return "it cannot be written";
}

void complain(const char* path, int error) {
  const NoCancellation around;
  reportAtOnce("%s: %s; until this changes, calls are missing in the recording", path,
               reasonOf(error));
}

iovec part(std::span<const u8> bytes) {
  return {const_cast<u8*>(bytes.data()), bytes.size()};
}

}  // namespace

std::string_view nameOf(CallVariant variant) {
  switch (variant) {
    case CallVariant::sync:
      return "sync";
    case CallVariant::async:
      return "async";
    case CallVariant::oneway:
      break;
  }
  return "oneway";
}

int Recording::setUp(std::string_view path, u64 bytes) {
  process_ = static_cast<u32>(::getpid());
  return files_.setUp(path, bytes);
}

void Recording::close() {
  const Section section(mutex_);
  if (section.isEntered()) files_.close();
}

void Recording::inChild() {
  mutex_ = PTHREAD_MUTEX_INITIALIZER;  // another thread of the parent may have held it
  process_ = static_cast<u32>(::getpid());
  missing_ = 0;
  stopped_ = {};
  files_.inChild();
}

u64 Recording::request(CallVariant variant, std::string_view method, std::span<const u8> message,
                       u32 size) {
  const Section section(mutex_);
  if (!section.isEntered()) return miss(), 0;
  const timespec now = wallClock();
  const u64 heads = (message.size() / partSize + 3) * PacketHead::most;
  if (message.size() + heads > files_.longest()) message = {};
  const u64 sequence = ++sequence_;
  if (!prepare(now, message.size() + heads)) return 0;

  const bool isWhole = !message.empty() && message.size() <= partSize;
  PacketHead head(now, isWhole ? Dissector{method, "_request"} : noDissector);
  head.setText(nameOf(variant), sequence, method, threadOf(process_), "bytes", size);
  return settle(now, appendRequest(now, head, sequence, method, message)) ? sequence : 0;
}

/// A message that is too long for a packet travels in several.
int Recording::appendRequest(const timespec& now, PacketHead& head, u64 sequence,
                             std::string_view method, std::span<const u8> message) {
  const u64 start = files_.size();
  int error = append(head, message.first(std::min<std::size_t>(partSize, message.size())));
  for (std::size_t from = partSize; error == 0 && from < message.size(); from += partSize) {
    PacketHead next(now, noDissector);
    next.setText("part", sequence, method, threadOf(process_), "from", from);
    error =
        append(next, message.subspan(from, std::min(message.size() - from, std::size_t{partSize})));
  }
  if (error != 0 && files_.size() > start) files_.cutTo(start);
  return error;
}

void Recording::end(u64 sequence, std::string_view method, u32 status) {
  if (sequence == 0) return;
  const Section section(mutex_);
  if (!section.isEntered()) return miss();
  const timespec now = wallClock();
  if (!prepare(now, u64{2} * PacketHead::most)) return;
  PacketHead head(now, {method, "_response"});
  head.setText("end", sequence, method, threadOf(process_), "status", status);
  settle(now, append(head, replyOf(status)));
}

/// Makes the recording ready for so many bytes.
bool Recording::prepare(const timespec& now, u64 size) {
  if (stopped_.tv_sec != 0 && isWithinPause(stopped_, now)) return miss(), false;
  u64 lost = 0;
  int error = files_.reserve(size, now.tv_sec, lost);
  if (lost > 0) missing_.fetch_add(lost, std::memory_order_relaxed);
  if (error == 0 && files_.isNew()) error = begin(now);
  const u64 missing = missing_.load(std::memory_order_relaxed);
  if (error == 0 && missing > 0) error = admit(missing, now);
  return error == 0 || settle(now, error);
}

int Recording::begin(const timespec& now) {
  char name[longestName];
  const std::size_t size = showIn(name, program_invocation_short_name);
  PacketHead head(now, noDissector);
  const std::string_view program(name, size);
  head.setText("begin", formatVersion, "process", process_, "program", program);
  head.complete({});
  const iovec parts[] = {part(recordingHead), part(head.bytes())};
  return files_.append(parts);
}

int Recording::admit(u64 missing, const timespec& now) {
  PacketHead head(now, noDissector);
  head.setText("missing", missing, "process", process_);
  const int error = append(head, {});
  if (error == 0) missing_.fetch_sub(missing, std::memory_order_relaxed);
  return error;
}

int Recording::append(PacketHead& head, std::span<const u8> message) {
  if (head.complete(message)) message = {};
  const iovec parts[] = {part(head.bytes()), part(message)};
  return files_.append(std::span(parts, message.empty() ? 1 : 2));
}

/// Whether there was no error. The first one stops the recording, until a call's packet is written.
bool Recording::settle(const timespec& now, int error) {
  if (error == 0) {
    stopped_ = {};
    return true;
  }
  miss();
  if (stopped_.tv_sec == 0) complain(files_.path(), error);
  stopped_ = now;
  return false;
}

}  // namespace shared
