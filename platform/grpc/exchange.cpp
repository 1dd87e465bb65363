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
  it.self_ = exchange;
  it.stream_->StartCall(it.started_.tag());
}

void Exchange::read() {
  stream_->Read(&incoming_, received_.tag());
}

void Exchange::write(const grpc::ByteBuffer& message) {
  const SignalsBlocked blocked;
  stream_->Write(message, sent_.tag());
}

void Exchange::endWriting() {
  const SignalsBlocked blocked;
  stream_->WritesDone(sent_.tag());
}

void Exchange::finish() {
  stream_->Finish(&status_, finished_.tag());
}

void Exchange::cancel() {
  const SignalsBlocked blocked;
  context_.TryCancel();
}

std::shared_ptr<Exchange> Exchange::release() {
  return std::move(self_);
}

}  // namespace delivery
