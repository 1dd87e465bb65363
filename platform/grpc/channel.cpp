#include "platform/grpc/channel.h"

#include <grpcpp/create_channel.h>
#include <pthread.h>

#include <atomic>
#include <mutex>
#include <set>
#include <utility>

#include "platform/grpc/completions.h"
#include "platform/grpc/failure.h"

namespace platform {
namespace {

constexpr int maxReplyBytes = 64 * 1024;
constexpr int leastBackoffMs = 100;
constexpr int mostBackoffMs = 2'000;
constexpr int connectMs = 5'000;
constexpr int keepaliveMs = 20'000;

std::atomic<bool> forked = false;

/// Never destroyed: calls and the runtime's thread outlive exit().
struct Channels {
  std::mutex mutex;
  std::set<void*> opened;
  bool ready = false;
};

Channels& channels() {
  static Channels* const only = new Channels;
  return *only;
}

// Registered when the library is loaded: a fork waits until a channel that is being made is there,
// and so knows of it.
const int watched =
    pthread_atfork([] { channels().mutex.lock(); }, [] { channels().mutex.unlock(); },
                   [] {
                     forked = channels().ready;
                     channels().mutex.unlock();
                   });

/// The mutex is held, so that no fork comes between. Tried anew by the next call where it throws.
void makeReady() {
  if (channels().ready) return;
  if (watched != 0) throw std::bad_alloc();
  completions().start();
  channels().ready = true;
}

grpc::ChannelArguments argumentsOf(const Settings& settings) {
  grpc::ChannelArguments arguments;
  arguments.SetMaxReceiveMessageSize(maxReplyBytes);
  arguments.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS, leastBackoffMs);
  // Its name notwithstanding: how long an attempt to connect may take, TLS handshake included.
  arguments.SetInt(GRPC_ARG_MIN_RECONNECT_BACKOFF_MS, connectMs);
  arguments.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, mostBackoffMs);
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, keepaliveMs);
  arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
  if (!settings.serverName.empty()) arguments.SetSslTargetNameOverride(settings.serverName);
  return arguments;
}

std::shared_ptr<grpc::ChannelCredentials> credentialsOf(const Settings& settings) {
  if (settings.ca.empty()) return grpc::InsecureChannelCredentials();
  return grpc::SslCredentials({settings.ca, settings.key, settings.cert});
}

}  // namespace

Channel::Channel(Settings settings) : settings_(std::move(settings)) {
  const auto channel =
      grpc::CreateCustomChannel(settings_.target, credentialsOf(settings_), argumentsOf(settings_));
  // A channel of a target or certificates that gRPC cannot read is born failed.
  if (channel->GetState(false) != GRPC_CHANNEL_IDLE) {
    throw SetupError("gRPC makes no sense of target '" + settings_.target +
                     "' or its certificates");
  }
  stub_ = std::make_unique<grpc::GenericStub>(channel);
}

bool Channel::enter() {
  const std::lock_guard lock(mutex_);
  if (inFlight_ == settings_.maxInFlight) return false;
  ++inFlight_;
  return true;
}

void Channel::leave() {
  const std::lock_guard lock(mutex_);
  --inFlight_;
}

Channel* defaultChannel(RpcServerAddr& addr) {
  // The first of the bytes that are the runtime's, aligned as the record is.
  const std::atomic_ref<Channel*> kept(*reinterpret_cast<Channel**>(addr.runtime));
  if (Channel* const channel = kept.load(std::memory_order_acquire)) return channel;
  const std::lock_guard lock(channels().mutex);
  Channel* channel = kept.load(std::memory_order_acquire);
  if (channel != nullptr) return channel;
  Settings settings = settingsOfEnvironment();
  makeReady();
  channel = new Channel(std::move(settings));
  kept.store(channel, std::memory_order_release);
  return channel;
}

Channel* openChannel(const TarnGrpcOptions& options) {
  const std::lock_guard lock(channels().mutex);
  Settings settings = settingsOf(options);
  makeReady();
  auto channel = std::make_unique<Channel>(std::move(settings));
  channels().opened.insert(channel.get());
  return channel.release();
}

Channel* openedChannel(void* opt) {
  const std::lock_guard lock(channels().mutex);
  if (channels().opened.count(opt) == 0) throw SetupError("opt does not come from TarnGrpc_open");
  return static_cast<Channel*>(opt);
}

bool isForked() {
  return forked;
}

}  // namespace platform
