#include "platform/grpc/exchange.h"

#include "platform/grpc/poller.h"
#include "platform/grpc/signals.h"

namespace delivery {
namespace {

const char streamPath[] = "/MqcFesIntf/stream";

}  // namespace

Exchange::Exchange(std::shared_ptr<Channel> channel)
    : channel_(std::move(channel)),
      started_(*this, &Stream::started),
      received_(*this, &Stream::received),
      sent_(*this, &Stream::sent),
      finished_(*this, &Stream::finished) {
  context_.set_wait_for_ready(channel_->settings().waitForReady);
}

std::shared_ptr<Exchange> Exchange::make(std::shared_ptr<Channel> channel) {
  const auto destroy = [](const Exchange* exchange) {
    const SignalsBlocked blocked;
    delete exchange;
  };
  return {new Exchange(std::move(channel)), destroy};
}

void Exchange::start(const std::shared_ptr<Exchange>& exchange) {
  Exchange& it = *exchange;
  const SignalsBlocked blocked;
  it.stream_ = it.channel_->stub().PrepareCall(&it.context_, streamPath, &poller().queue());
  {
    const std::lock_guard lock(it.mutex_);
    it.self_ = exchange;
  }
  it.stream_->StartCall(it.tag(it.started_));
}

void Exchange::read() {
  stream_->Read(&incoming_, tag(received_));
}

void Exchange::write(const grpc::ByteBuffer& message) {
  const SignalsBlocked blocked;
  stream_->Write(message, tag(sent_));
}

void Exchange::endWriting() {
  const SignalsBlocked blocked;
  stream_->WritesDone(tag(sent_));
}

void Exchange::finish() {
  stream_->Finish(&status_, tag(finished_));
}

void Exchange::cancel() {
  const SignalsBlocked blocked;
  context_.TryCancel();
}

void Exchange::pass(void (Stream::*report)(Exchange&, bool), bool ok) {
  { const std::lock_guard lock(mutex_); }
  (channel_->stream().*report)(*this, ok);
}

std::shared_ptr<Exchange> Exchange::release() {
  const std::lock_guard lock(mutex_);
  return std::move(self_);
}

}  // namespace delivery
