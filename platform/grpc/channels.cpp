#include "platform/grpc/channels.h"

#include <atomic>
#include <bit>
#include <shared_mutex>
#include <utility>

#include "platform/grpc/failure.h"
#include "platform/grpc/start.h"

namespace delivery {
namespace {

struct Entry {
  std::shared_ptr<Channel> channel;
  bool isClosing = false;
};

struct Registry {
  std::shared_mutex mutex;
  std::map<u64, Entry> channels;
  u64 last = 0;
};

/// Never destroyed: calls are made while the process ends.
Registry& registry() {
  static auto* const only = new Registry;
  return *only;
}

std::atomic<u64> defaultNumber = 0;  // 0: there is none

// Odd, so that it is no object's address.

void* handleOf(u64 number) {
  return std::bit_cast<void*>(2 * number + 1);
}

u64 numberOf(const void* handle) {
  const auto value = reinterpret_cast<std::uintptr_t>(handle);
  return value % 2 == 1 ? value / 2 : 0;
}

void forget(u64 number) {
  Registry& all = registry();
  std::unique_lock lock(all.mutex);
  const auto node = all.channels.extract(number);
  lock.unlock();  // before the channel may end
}

/// Prepares the process and makes a channel. Holds no lock meanwhile: gRPC may be slow.
u64 made(Settings settings) {
  makeReady();
  const auto channel = std::make_shared<Channel>(std::move(settings));
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  all.channels.emplace(all.last + 1, Entry{channel});
  return ++all.last;
}

}  // namespace

void* defaultHandle() {
  u64 number = defaultNumber;
  if (number != 0) return handleOf(number);
  // Of several made at once the first is used.
  const u64 own = made(settingsOfEnvironment());
  if (defaultNumber.compare_exchange_strong(number, own)) return handleOf(own);
  forget(own);
  return handleOf(number);
}

void* openHandle(const TarnGrpcOptions& options) {
  return handleOf(made(settingsOf(options)));
}

void* checkedHandle(void* opt) {
  if (opt == nullptr) return defaultHandle();
  if (channelOf(opt) != nullptr) return opt;
  Registry& all = registry();
  const std::shared_lock lock(all.mutex);
  const u64 number = numberOf(opt);
  throw SetupError(number != 0 && number <= all.last ? "opt is a channel that was closed"
                                                     : "opt does not come from TarnGrpc_open");
}

void* presentHandle(void* opt) {
  return opt == nullptr ? handleOf(defaultNumber) : opt;
}

std::shared_ptr<Channel> channelOf(void* handle) {
  Registry& all = registry();
  const std::shared_lock lock(all.mutex);
  const auto found = all.channels.find(numberOf(handle));
  return found == all.channels.end() || found->second.isClosing ? nullptr : found->second.channel;
}

std::shared_ptr<Channel> withdrawChannel(void* handle) {
  const u64 number = numberOf(handle);
  u64 expected = number;
  defaultNumber.compare_exchange_strong(expected, 0);  // first: the next call makes another
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  const auto found = all.channels.find(number);
  if (found == all.channels.end() || std::exchange(found->second.isClosing, true)) return nullptr;
  return found->second.channel;
}

void forgetChannel(void* handle) {
  forget(numberOf(handle));
}

std::shared_ptr<Channel> channelAfter(u64& number) {
  Registry& all = registry();
  const std::shared_lock lock(all.mutex);
  const auto found = all.channels.upper_bound(number);
  if (found == all.channels.end()) return nullptr;
  number = found->first;
  return found->second.channel;
}

}  // namespace delivery
