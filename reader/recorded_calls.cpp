#include "reader/recorded_calls.h"

#include <utility>

namespace reader {
namespace {

// How far behind its request an end is looked for while calls are read.
constexpr std::uint64_t nearPackets = 4'096;
constexpr std::size_t mostBytes = std::size_t{65} << 20;  // of a message
constexpr std::uint64_t nearBytes = mostBytes + mostBytes / 2;
constexpr std::size_t mostMethods = 1'000;

Call::End endOf(const Packet& packet) {
  return {packet.time, static_cast<std::uint32_t>(packet.number)};
}

}  // namespace

std::size_t RecordedCalls::Hash::operator()(const Key& key) const {
  return static_cast<std::size_t>((key.sequence + (key.process << 40)) * 0x9E3779B97F4A7C15u);
}

std::string RecordedCalls::rewind() {
  std::string fault = recording_.rewind();
  if (!fault.empty()) return fault;
  far_.clear();
  findFarEnds();
  waiting_.clear();
  open_.clear();
  here_ = {};
  missing_ = endsAlone_ = 0;
  isAtEnd_ = false;
  return recording_.rewind();
}

void RecordedCalls::findFarEnds() {
  open_.clear();
  here_ = {};
  for (Packet packet; recording_.next(packet); count(packet)) {
    const Key key = {packet.process, packet.sequence};
    if (packet.kind == PacketKind::request) {
      ++here_.number;
      open_[key] = here_;
      note(packet.method);
    } else if (packet.kind == PacketKind::end) {
      const auto found = open_.find(key);
      if (found == open_.end()) continue;
      if (isFar(found->second)) far_.emplace(found->second.number, endOf(packet));
      open_.erase(found);
    }
  }
}

void RecordedCalls::note(std::string_view method) {
  if (methods_.size() < mostMethods && !methods_.contains(method)) methods_.emplace(method);
}

bool RecordedCalls::next(Call& call) {
  while (waiting_.empty() || !isReady(waiting_.front())) {
    Packet packet;
    if (!isAtEnd_ && recording_.next(packet)) {
      take(packet);
    } else {
      isAtEnd_ = true;
      if (waiting_.empty()) return false;
    }
  }
  call = std::move(waiting_.front().call);
  waiting_.pop_front();
  return true;
}

bool RecordedCalls::isReady(const Waiting& waiting) const {
  if (isAtEnd_ || isFar(waiting.place)) return true;
  return waiting.call.end && (!waiting.hasParts || waiting.call.isWhole());
}

void RecordedCalls::take(const Packet& packet) {
  if (packet.kind == PacketKind::request) request(packet);
  if (packet.kind == PacketKind::part) part(packet);
  if (packet.kind == PacketKind::end) end(packet);
  if (packet.kind == PacketKind::missing) missing_ += packet.number;
  count(packet);
}

void RecordedCalls::request(const Packet& packet) {
  ++here_.number;
  open_[{packet.process, packet.sequence}] = here_;
  const auto size = static_cast<std::uint32_t>(packet.number);
  const std::span<const std::uint8_t> bytes =
      packet.bytes.first(std::min<std::size_t>(size, packet.bytes.size()));
  Call call = {here_.number,
               packet.time,
               packet.process,
               packet.thread,
               packet.sequence,
               packet.variant,
               std::string(packet.method),
               size,
               {bytes.begin(), bytes.end()},
               {}};
  const auto far = far_.find(here_.number);
  if (far != far_.end()) call.end = far->second;
  const bool hasParts = packet.isWhole && !bytes.empty() && bytes.size() < size;
  waiting_.push_back({std::move(call), here_, hasParts});
}

void RecordedCalls::part(const Packet& packet) {
  Waiting* const waiting = waitingFor({packet.process, packet.sequence});
  if (waiting == nullptr) return;
  std::vector<std::uint8_t>& message = waiting->call.message;
  const std::size_t size = message.size() + packet.bytes.size();
  if (packet.number != message.size() || size > waiting->call.size || size > mostBytes) return;
  message.insert(message.end(), packet.bytes.begin(), packet.bytes.end());
}

void RecordedCalls::end(const Packet& packet) {
  const Key key = {packet.process, packet.sequence};
  if (open_.count(key) == 0) {
    ++endsAlone_;
    return;
  }
  Waiting* const waiting = waitingFor(key);
  if (waiting != nullptr) waiting->call.end = endOf(packet);
  open_.erase(key);
}

/// The call of that key, nullptr when it is not among those that wait.
RecordedCalls::Waiting* RecordedCalls::waitingFor(const Key& key) {
  const auto found = open_.find(key);
  if (found == open_.end() || waiting_.empty()) return nullptr;
  const std::uint64_t first = waiting_.front().place.number;
  return found->second.number < first ? nullptr : &waiting_[found->second.number - first];
}

void RecordedCalls::count(const Packet& packet) {
  ++here_.packets;
  here_.bytes += packet.bytes.size();
}

bool RecordedCalls::isFar(const Place& place) const {
  return here_.packets - place.packets > nearPackets || here_.bytes - place.bytes > nearBytes;
}

}  // namespace reader
