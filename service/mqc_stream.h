/**
 * @file mqc_stream.h
 * @brief The stream of MqcFesIntf, over which calls arrive in order; `mqc_service.h` includes it.
 *
 * A service overrides one method more, and the calls of the stream go to its other methods:
 *
 *     grpc::Status stream(grpc::ServerContext* context, mqc::Stream* stream) override {
 *       return mqc::serveStream(*this, context, stream);
 *     }
 */
#ifndef MQC_STREAM_H
#define MQC_STREAM_H

/// Version of this header: major * 10000 + minor * 100 + patch.
#define MQC_STREAM_VERSION 10100

#include <grpcpp/server_context.h>
#include <grpcpp/support/method_handler.h>
#include <grpcpp/support/sync_stream.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "mqc_methods.h"
#include "mqc_service.h"
#include "mqc_stream_generated.h"

class MqcFesIntf;  // flatc's

namespace mqc {

/// What flatc's code passes to a service's method `stream`.
using Stream = grpc::ServerReaderWriter<flatbuffers::grpc::Message<MqcAnswers>,
                                        flatbuffers::grpc::Message<MqcCalls>>;

/// The parts of a service's side of the stream, for services that do not use flatc's.
namespace streams {

/// The answers that wait for a caller; while there are so many, no further call is handled.
inline constexpr std::size_t mostAnswers = 10'000;
/// Longer reasons are cut, in bytes.
inline constexpr std::size_t longestReason = 1000;
/// A message of answers is ended at this size, in bytes; the limit is 1 MiB.
inline constexpr std::size_t fullMessage = std::size_t{1} << 19;

/// This process's instance number: random, not 0.
inline std::uint64_t instance() {
  static const std::uint64_t number = [] {
    std::random_device random;
    return std::uint64_t{random()} << 32 | random() | 1;
  }();
  return number;
}

/// A call that arrived. What it points at is the message's, which CallReader holds.
struct Call {
  std::uint64_t sequence = 0;             ///< that its answer has
  std::string_view method;                ///< its name, known or not
  MqcVariant variant = MqcVariant_Sync;   ///< who waits for the answer
  const std::uint8_t* message = nullptr;  ///< nullptr: the call has none
  std::size_t size = 0;                   ///< of the message, in bytes
};

/// What a call has come to: its method's status, or a gRPC status that is not OK.
struct Answer {
  std::uint64_t sequence = 0;  ///< the call's
  std::uint32_t status = 0;    ///< the method's, if the call is OK
  grpc::Status fault;          ///< see answerable()
};

namespace detail {

/// The start of an MqcCalls, whose calls are checked one by one.
struct Envelope : private flatbuffers::Table {
  using Calls = flatbuffers::Vector<flatbuffers::Offset<MqcCall>>;
  const Calls* calls() const { return GetPointer<const Calls*>(MqcCalls::VT_CALLS); }
  bool Verify(flatbuffers::Verifier& check) const {
    return VerifyTableStart(check) && VerifyOffset(check, MqcCalls::VT_CALLS) &&
           check.VerifyVector(calls());
  }
};

/// The start of an MqcCall.
struct Numbered : private flatbuffers::Table {
  std::uint64_t sequence() const { return GetField<std::uint64_t>(MqcCall::VT_SEQUENCE, 0); }
  bool Verify(flatbuffers::Verifier& check) const {
    return VerifyTableStart(check) &&
           VerifyField<std::uint64_t>(check, MqcCall::VT_SEQUENCE, sizeof(std::uint64_t));
  }
};

inline grpc::Status invalid(const char* reason) {
  return grpc::Status(grpc::StatusCode::INVALID_ARGUMENT, reason);
}

}  // namespace detail

/// Reads the calls in a message of a stream.
class CallReader {
 public:
  /// @param message the bytes of an MqcCalls, or what arrived in its place
  /// @param last    the sequence number of the stream's call before, at first 0; must outlive this
  CallReader(grpc::Slice message, std::uint64_t& last)
      : message_(std::move(message)), last_(&last) {
    flatbuffers::Verifier check = verifier(message_.begin(), message_.size());
    if (!check.VerifyBuffer<detail::Envelope>(nullptr)) return;
    calls_ = flatbuffers::GetRoot<detail::Envelope>(message_.begin())->calls();
    size_ = calls_ == nullptr ? 0 : calls_->size();
  }
  CallReader(const CallReader&) = delete;
  CallReader& operator=(const CallReader&) = delete;

  /// Whether there is another call. A damaged message has one.
  bool isMore() const { return next_ < size_; }

  /// Takes the next call.
  ///
  /// @return OK; otherwise the call's answer, to which its sequence number belongs: it is not to be
  /// acted on
  grpc::Status next(Call& call) {
    call = Call();
    const auto* const at =
        calls_ == nullptr ? nullptr : reinterpret_cast<const std::uint8_t*>(calls_->Get(next_));
    ++next_;
    grpc::Status status = read(at, call);
    if (call.sequence > *last_) *last_ = call.sequence;
    return status;
  }

  /// The bytes of a call's message, which share the stream's message.
  grpc::Slice bytesOf(const Call& call) const {
    const auto start = static_cast<std::size_t>(call.message - message_.begin());
    return message_.sub(start, start + call.size);
  }

 private:
  grpc::Status read(const std::uint8_t* at, Call& call) {
    if (at == nullptr || !holds<MqcCall>(at)) {
      const bool isNumbered = at != nullptr && holds<detail::Numbered>(at);
      if (isNumbered) call.sequence = reinterpret_cast<const detail::Numbered*>(at)->sequence();
      if (call.sequence <= *last_) call.sequence = *last_ + 1;
      return detail::invalid("damaged envelope");
    }
    const auto* const table = reinterpret_cast<const MqcCall*>(at);
    call.sequence = table->sequence();
    if (call.sequence <= *last_) return detail::invalid("out of sequence");
    if (table->method() != nullptr) call.method = table->method()->string_view();
    call.variant = table->variant();
    if (table->message() == nullptr) return grpc::Status::OK;
    call.message = table->message()->data();
    call.size = table->message()->size();
    // Calls that share bytes could be far more to handle than what was sent.
    bytes_ += call.size;
    return bytes_ <= message_.size() ? grpc::Status::OK : detail::invalid("damaged envelope");
  }

  template <class Table>
  bool holds(const std::uint8_t* at) const {
    flatbuffers::Verifier check = verifier(message_.begin(), message_.size());
    return reinterpret_cast<const Table*>(at)->Verify(check);
  }

  grpc::Slice message_;
  std::uint64_t* last_;
  const detail::Envelope::Calls* calls_ = nullptr;
  std::uint32_t size_ = 1;
  std::uint32_t next_ = 0;
  std::size_t bytes_ = 0;
};

/// A message without an answer, with which a stream begins.
inline flatbuffers::grpc::Message<MqcAnswers> greeting() {
  flatbuffers::grpc::MessageBuilder builder(64);
  builder.Finish(CreateMqcAnswers(builder, instance()));
  return builder.ReleaseMessage<MqcAnswers>();
}

/// The start of a text, whole characters.
inline std::string_view shortened(std::string_view text) {
  std::size_t size = std::min(text.size(), longestReason);
  while (size < text.size() && size > 0 && (text[size] & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

/// A status as an answer may have it, whatever code and reason a method has made up.
inline grpc::Status answerable(const grpc::Status& status) {
  const int code = status.error_code();
  const bool isKnown = code >= 0 && code <= grpc::StatusCode::UNAUTHENTICATED;
  const std::string reason = status.error_message();
  return grpc::Status(isKnown ? status.error_code() : grpc::StatusCode::UNKNOWN,
                      std::string(shortened(reason)));
}

/// Takes answers from the front, as many as a message holds, and makes it.
inline flatbuffers::grpc::Message<MqcAnswers> takeAnswers(std::deque<Answer>& waiting) {
  flatbuffers::grpc::MessageBuilder builder(waiting.size() < 16 ? 1024 : 65536);
  std::vector<flatbuffers::Offset<MqcAnswer>> made;
  for (; !waiting.empty() && builder.GetSize() + 4 * made.size() < fullMessage;
       waiting.pop_front()) {
    const Answer& answer = waiting.front();
    const std::string reason = answer.fault.error_message();
    made.push_back(CreateMqcAnswer(builder, answer.sequence, answer.status,
                                   static_cast<std::uint8_t>(answer.fault.error_code()),
                                   reason.empty() ? 0 : builder.CreateString(reason)));
  }
  builder.Finish(CreateMqcAnswers(builder, 0, builder.CreateVector(made)));
  return builder.ReleaseMessage<MqcAnswers>();
}

namespace detail {

/// A stream's answers on their way. What waits while a message is written goes out in the next.
class Answers {
 public:
  explicit Answers(Stream& stream) : stream_(stream) {}
  Answers(const Answers&) = delete;
  Answers& operator=(const Answers&) = delete;
  ~Answers() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      isEnded_ = true;
    }
    wake_.notify_one();
    if (writer_.joinable()) writer_.join();
  }

  /// Adds an answer; waits while too many do. It is written at once if further calls of the same
  /// message are to be handled, which may take long; by flush() otherwise.
  void add(Answer answer, bool isMore) {
    std::unique_lock<std::mutex> lock(mutex_);
    place_.wait(lock, [this] { return waiting_.size() < mostAnswers; });
    waiting_.push_back(std::move(answer));
    if (!isMore || isWriting_) return;
    if (!writer_.joinable()) writer_ = std::thread([this] { writeUntilEnded(); });
    wake_.notify_one();
  }

  /// Writes what waits, unless the writer is about it.
  void flush() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!isWriting_) write(lock);
  }

 private:
  void writeUntilEnded() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!isEnded_ || !waiting_.empty()) {
      if (!isWriting_) write(lock);
      wake_.wait(lock, [this] { return isEnded_ || (!isWriting_ && !waiting_.empty()); });
    }
  }

  void write(std::unique_lock<std::mutex>& lock) {
    isWriting_ = true;
    while (!waiting_.empty()) {
      std::deque<Answer> taken;
      taken.swap(waiting_);
      place_.notify_one();
      lock.unlock();
      while (!taken.empty()) stream_.Write(takeAnswers(taken));  // fails when the caller has gone
      lock.lock();
    }
    isWriting_ = false;
  }

  Stream& stream_;
  std::mutex mutex_;
  std::condition_variable wake_;   // the writer
  std::condition_variable place_;  // who adds
  std::deque<Answer> waiting_;
  bool isWriting_ = false;
  bool isEnded_ = false;
  std::thread writer_;  // started when it is needed
};

/// Calls a method of flatc's service with a message that arrived over the stream.
template <class Service, class Request>
Answer callMethod(grpc::Status (Service::*method)(grpc::ServerContext*,
                                                  const flatbuffers::grpc::Message<Request>*,
                                                  flatbuffers::grpc::Message<MqcReply>*),
                  Service& service, grpc::ServerContext* context, const grpc::Slice& bytes) {
  const flatbuffers::grpc::Message<Request> request(bytes);
  flatbuffers::grpc::Message<MqcReply> reply;
  Answer answer;
  answer.fault = answerable(grpc::internal::CatchingFunctionHandler(
      [&] { return (service.*method)(context, &request, &reply); }));
  if (!answer.fault.ok()) return answer;
  const MqcReply* const table = parse(reply);
  if (table != nullptr) {
    answer.status = table->status();
  } else {
    answer.fault = grpc::Status(grpc::StatusCode::INTERNAL, "no reply");
  }
  return answer;
}

/// Calls the method that a call names.
template <class Service>
Answer dispatch(Service& service, grpc::ServerContext* context, const Call& call,
                const CallReader& reader) {
  struct Row {
    std::string_view name;
    Answer (*method)(Service&, grpc::ServerContext*, const grpc::Slice&);
  };
#define MQC_STREAM_ROW(m, Type)                                                  \
  Row{#m, [](Service& to, grpc::ServerContext* with, const grpc::Slice& bytes) { \
        return callMethod(&Service::m, to, with, bytes);                         \
      }},
  static constexpr Row rows[] = {MQC_FES_INTF_METHODS(MQC_STREAM_ROW, MQC_STREAM_ROW)};
#undef MQC_STREAM_ROW
  const auto row = std::find_if(std::begin(rows), std::end(rows),
                                [&](const Row& each) { return each.name == call.method; });
  if (row == std::end(rows)) {
    return {0, 0, grpc::Status(grpc::StatusCode::UNIMPLEMENTED, "no such method")};
  }
  if (call.message == nullptr) return {0, 0, invalid("no message")};
  return row->method(service, context, reader.bytesOf(call));
}

}  // namespace detail
}  // namespace streams

/**
 * Serves a stream: hands its calls to the service's methods, one after the other in their order,
 * and sends the answers. Returns when the caller has ended its side and all answers are written, or
 * when the caller has gone.
 *
 * A method that returns a status other than OK, or throws, ends its call, not the stream. An answer
 * does not wait for later calls. The stream holds a thread of the server, and has another while
 * messages with several calls arrive. While 10,000 answers wait for the caller to read them, no
 * further call is handled.
 *
 * @param service the service, which derives from `MqcFesIntf::Service`
 * @param context the stream's, which every method receives
 * @param stream  what the method `stream` received
 * @return what the method `stream` returns
 */
template <class Service, class Interface = MqcFesIntf>
grpc::Status serveStream(Service& service, grpc::ServerContext* context, Stream* stream) {
  typename Interface::Service& methods = service;
  stream->Write(streams::greeting());
  streams::detail::Answers answers(*stream);
  std::uint64_t last = 0;
  // The message is let go before the next is waited for: it counts as memory in use.
  for (flatbuffers::grpc::Message<MqcCalls> message; stream->Read(&message);) {
    streams::CallReader reader(message.BorrowSlice(), last);
    message = flatbuffers::grpc::Message<MqcCalls>();
    while (reader.isMore()) {
      streams::Call call;
      streams::Answer answer;
      answer.fault = reader.next(call);
      if (answer.fault.ok()) answer = streams::detail::dispatch(methods, context, call, reader);
      answer.sequence = call.sequence;
      answers.add(std::move(answer), reader.isMore());
    }
    answers.flush();
  }
  return grpc::Status::OK;
}

}  // namespace mqc

#endif
