#include "service/stream.h"

#include <deque>
#include <optional>
#include <string>

#include "service/mqc_service.h"

namespace service {

using mqc::streams::Answer;

namespace {

shared::CallVariant variantOf(const mqc::streams::Call& call) {
  if (call.variant == mqc::MqcVariant_Async) return shared::CallVariant::async;
  if (call.variant == mqc::MqcVariant_Oneway) return shared::CallVariant::oneway;
  return shared::CallVariant::sync;
}

}  // namespace

/// One stream. The reactor owns itself until gRPC is done with it. Its calls are handled by whoever
/// brings them, a message or the place that a written message of answers has left; never by two
/// threads at a time.
class Stream final : public grpc::ServerGenericBidiReactor {
 public:
  explicit Stream(Streams& all) : all_(all) {
    const std::lock_guard lock(mutex_);
    write(mqc::streams::greeting());
    StartRead(&incoming_);
  }

  /// Answers what has arrived, and ends.
  void end() {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    proceed();
  }

  void OnReadDone(bool ok) override;
  void OnWriteDone(bool ok) override;
  void OnDone() override { all_.leave(this); }

 private:
  void handleCalls();
  Answer handle(const mqc::streams::Call& call);
  bool add(Answer answer);

  // These are called with the mutex held.
  void write(const flatbuffers::grpc::Message<mqc::MqcAnswers>& message);
  void proceed();

  Streams& all_;
  // Of the thread that handles calls.
  grpc::ByteBuffer incoming_;
  std::optional<mqc::streams::CallReader> reader_;
  std::uint64_t last_ = 0;

  std::mutex mutex_;  // guards what follows
  grpc::ByteBuffer outgoing_;
  std::deque<Answer> waiting_;
  bool isHandling_ = false;  // calls, or they wait for answers to be written
  bool isPaused_ = false;    // they wait
  bool isWriting_ = false;
  bool isBroken_ = false;  // nobody reads answers any more
  bool isAllRead_ = false;
  bool isEnding_ = false;
  bool isFinished_ = false;
};

/// Reads a message, or the end of the caller's side.
void Stream::OnReadDone(bool ok) {
  {
    const std::lock_guard lock(mutex_);
    if (isFinished_) return;  // a message that came too late is not acted on
    isAllRead_ = !ok;
    isHandling_ = ok;
    if (!ok) return proceed();
  }
  grpc::Slice bytes;
  if (!incoming_.DumpToSingleSlice(&bytes).ok()) bytes = grpc::Slice();
  incoming_.Clear();
  reader_.emplace(std::move(bytes), last_);
  handleCalls();
}

void Stream::OnWriteDone(bool ok) {
  {
    const std::lock_guard lock(mutex_);
    isWriting_ = false;
    isBroken_ = isBroken_ || !ok;
    if (isBroken_) waiting_.clear();
    proceed();
    if (!isPaused_ || waiting_.size() >= mqc::streams::mostAnswers) return;
    isPaused_ = false;
  }
  handleCalls();
}

/// Handles the calls of the message until none is left, or too many answers wait.
void Stream::handleCalls() {
  while (reader_->isMore()) {
    mqc::streams::Call call;
    Answer answer;
    answer.fault = reader_->next(call);
    if (answer.fault.ok()) {
      answer = handle(call);
    } else {
      all_.journal().takeFault(call.sequence, answer.fault);
    }
    answer.sequence = call.sequence;
    if (!add(std::move(answer))) return;
  }
  reader_.reset();
  const std::lock_guard lock(mutex_);
  isHandling_ = false;
  if (!isEnding_) return StartRead(&incoming_);
  proceed();
}

Answer Stream::handle(const mqc::streams::Call& call) {
  Journal& journal = all_.journal();
  Answer answer;
  const std::string name(mqc::streams::shortened(call.method));
  const reader::Schema::Method* const method = all_.schema().method(name);
  if (method == nullptr) {
    answer.fault = journal.takeUnknown(pathPrefix + name);
  } else if (call.message == nullptr) {
    answer.fault = journal.takeNothing(*method);
  } else {
    answer.fault = journal.take(*method, variantOf(call), std::to_string(call.sequence),
                                {call.message, call.size}, answer.status);
  }
  return answer;
}

/// Returns whether there is place for another answer; if not, OnWriteDone goes on.
bool Stream::add(Answer answer) {
  const std::lock_guard lock(mutex_);
  if (!isBroken_) waiting_.push_back(std::move(answer));
  proceed();
  isPaused_ = waiting_.size() >= mqc::streams::mostAnswers;
  return !isPaused_;
}

void Stream::write(const flatbuffers::grpc::Message<mqc::MqcAnswers>& message) {
  outgoing_ = grpc::ByteBuffer(&message.BorrowSlice(), 1);
  isWriting_ = true;
  StartWrite(&outgoing_);
}

/// Starts the next write, or finishes.
void Stream::proceed() {
  if (isWriting_) return;
  if (!waiting_.empty()) return write(mqc::streams::takeAnswers(waiting_));
  if (isHandling_ || isFinished_ || !(isAllRead_ || isEnding_)) return;
  isFinished_ = true;
  Finish(isAllRead_ ? grpc::Status::OK : ending());
}

grpc::Status ending() {
  return grpc::Status(grpc::StatusCode::UNAVAILABLE, "the service ends");
}

grpc::ServerGenericBidiReactor* Streams::open() {
  auto* const stream = new Stream(*this);
  const std::lock_guard lock(mutex_);
  open_.insert(stream);
  if (isEnding_) stream->end();
  return stream;
}

void Streams::end() {
  const std::lock_guard lock(mutex_);
  isEnding_ = true;
  for (Stream* const stream : open_) stream->end();
}

void Streams::leave(Stream* stream) {
  {
    const std::lock_guard lock(mutex_);
    open_.erase(stream);
  }
  delete stream;
  calls_.leave();
}

}  // namespace service
