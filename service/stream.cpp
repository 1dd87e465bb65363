#include "service/stream.h"

#include <deque>
#include <memory>
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

/// An answer has no bytes of its own to be damaged: one that is garbage has a code that gRPC has
/// not.
grpc::Status garbage() {
  return grpc::Status(grpc::StatusCode::DO_NOT_USE, "");
}

Answer answerOf(std::uint64_t sequence, const Taken& taken) {
  const bool isGarbage = taken.answer.kind == script::Answer::Kind::garbage;
  return {sequence, taken.answer.number, isGarbage ? garbage() : faultOf(taken)};
}

}  // namespace

/// One stream. Its calls are handled by whoever brings them, a message or the place that an answer
/// has left; never by two threads at a time.
class Stream final : public grpc::ServerGenericBidiReactor,
                     public std::enable_shared_from_this<Stream> {
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
  void OnCancel() override;
  void OnDone() override { all_.leave(shared_from_this()); }

 private:
  void handleCalls();
  bool handle(const mqc::streams::Call& call);
  bool respond(std::uint64_t sequence, Taken taken);
  bool add(Answer answer);
  void becomeDue(std::uint64_t sequence, const Taken& taken);
  bool endUnanswered(const Taken& taken);

  // These are called with the mutex held.
  void write(const flatbuffers::grpc::Message<mqc::MqcAnswers>& message);
  void proceed();
  bool hasPlace();
  bool resumes();

  Streams& all_;
  // Of the thread that handles calls.
  grpc::ByteBuffer incoming_;
  std::optional<mqc::streams::CallReader> reader_;
  std::uint64_t last_ = 0;

  std::mutex mutex_;  // guards what follows
  grpc::ByteBuffer outgoing_;
  std::deque<Answer> waiting_;
  std::size_t late_ = 0;     // answers whose time has not come
  bool isHandling_ = false;  // calls, or they wait for place
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
  // What has arrived stays: while calls wait for place, it is part of the memory for messages.
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
    if (!resumes()) return;
  }
  handleCalls();
}

/// The caller has gone: late answers are not waited for.
void Stream::OnCancel() {
  {
    const std::lock_guard lock(mutex_);
    isBroken_ = true;
  }
  all_.delays().hasten(this);
}

/// Handles the calls of the message until none is left, or too many answers wait.
void Stream::handleCalls() {
  while (reader_->isMore()) {
    mqc::streams::Call call;
    const grpc::Status fault = reader_->next(call);
    if (!fault.ok()) all_.journal().takeFault(call.sequence, fault);
    if (!(fault.ok() ? handle(call) : add({call.sequence, 0, fault}))) return;
  }
  reader_.reset();
  incoming_.Clear();
  const std::lock_guard lock(mutex_);
  isHandling_ = false;
  if (!isEnding_) return StartRead(&incoming_);
  proceed();
}

/// Returns whether there is place for another answer; if not, whoever makes place goes on.
bool Stream::handle(const mqc::streams::Call& call) {
  Journal& journal = all_.journal();
  const std::string name(mqc::streams::shortened(call.method));
  const reader::Schema::Method* const method = all_.schema().method(name);
  if (method == nullptr) {
    return add({call.sequence, 0, journal.takeUnknown(pathPrefix + name)});
  }
  if (call.message == nullptr) return add({call.sequence, 0, journal.takeNothing(*method)});
  return respond(call.sequence,
                 journal.take(*method, variantOf(call), std::to_string(call.sequence),
                              {call.message, call.size}));
}

bool Stream::respond(std::uint64_t sequence, Taken taken) {
  const auto when = timeOf(taken.answer);
  if (when == Delays::never) return endUnanswered(taken);
  if (!when) {
    all_.journal().ended(taken, true);
    return add(answerOf(sequence, taken));
  }
  const std::lock_guard lock(mutex_);
  if (isBroken_) return endUnanswered(taken);
  ++late_;
  all_.delays().later(*when, this, [self = shared_from_this(), sequence, taken = std::move(taken)] {
    self->becomeDue(sequence, taken);
  });
  isPaused_ = !hasPlace();
  return !isPaused_;
}

bool Stream::endUnanswered(const Taken& taken) {
  all_.journal().ended(taken, false);
  return true;
}

bool Stream::add(Answer answer) {
  const std::lock_guard lock(mutex_);
  if (!isBroken_) waiting_.push_back(std::move(answer));
  proceed();
  isPaused_ = !hasPlace();
  return !isPaused_;
}

/// Sends a late answer.
void Stream::becomeDue(std::uint64_t sequence, const Taken& taken) {
  {
    const std::lock_guard lock(mutex_);
    --late_;
    all_.journal().ended(taken, !isBroken_);
    if (!isBroken_) waiting_.push_back(answerOf(sequence, taken));
    proceed();
    if (!resumes()) return;
  }
  handleCalls();
}

void Stream::write(const flatbuffers::grpc::Message<mqc::MqcAnswers>& message) {
  outgoing_ = grpc::ByteBuffer(&message.BorrowSlice(), 1);
  isWriting_ = true;
  StartWrite(&outgoing_);
}

bool Stream::hasPlace() {
  return waiting_.size() + late_ < mqc::streams::mostAnswers;
}

/// Whether calls go on to be handled that waited for place.
bool Stream::resumes() {
  const bool isResumed = isPaused_ && hasPlace();
  if (isResumed) isPaused_ = false;
  return isResumed;
}

/// Starts the next write, or finishes.
void Stream::proceed() {
  if (isWriting_) return;
  if (!waiting_.empty()) return write(mqc::streams::takeAnswers(waiting_));
  if (isHandling_ || late_ > 0 || isFinished_ || !(isAllRead_ || isEnding_)) return;
  isFinished_ = true;
  Finish(isAllRead_ ? grpc::Status::OK : ending());
}

grpc::Status ending() {
  return grpc::Status(grpc::StatusCode::UNAVAILABLE, "the service ends");
}

grpc::ServerGenericBidiReactor* Streams::open() {
  const auto stream = std::make_shared<Stream>(*this);
  const std::lock_guard lock(mutex_);
  open_.insert(stream);
  if (isEnding_) stream->end();
  return stream.get();
}

void Streams::end() {
  const std::lock_guard lock(mutex_);
  isEnding_ = true;
  for (const auto& stream : open_) stream->end();
}

void Streams::leave(const std::shared_ptr<Stream>& stream) {
  {
    const std::lock_guard lock(mutex_);
    open_.erase(stream);
  }
  calls_.leave();
}

}  // namespace service
