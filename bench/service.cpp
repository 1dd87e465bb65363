#include "service.h"

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server.h>

#include "service/mqc_service.h"

namespace {

grpc::ByteBuffer bufferOf(const flatbuffers::grpc::Message<mqc::MqcAnswers>& message) {
  return grpc::ByteBuffer(&message.BorrowSlice(), 1);
}

class Answer final : public grpc::ServerGenericBidiReactor {
 public:
  Answer() { StartRead(&request_); }
  void OnReadDone(bool) override {
    const auto reply = mqc::reply(0);
    reply_ = grpc::ByteBuffer(&reply.BorrowSlice(), 1);
    StartWriteAndFinish(&reply_, {}, grpc::Status::OK);
  }
  void OnDone() override { delete this; }

 private:
  grpc::ByteBuffer request_, reply_;
};

/// The calls of a stream: what waits while answers are written is answered in the next write.
class Stream final : public grpc::ServerGenericBidiReactor {
 public:
  Stream() {
    const std::lock_guard lock(mutex_);
    write(mqc::streams::greeting());
    StartRead(&incoming_);
  }
  void OnReadDone(bool ok) override;
  void OnWriteDone(bool) override {
    const std::lock_guard lock(mutex_);
    isWriting_ = false;
    proceed();
  }
  void OnDone() override { delete this; }

 private:
  void proceed() {
    if (isWriting_) return;
    if (!waiting_.empty()) return write(mqc::streams::takeAnswers(waiting_));
    if (isAllRead_) Finish(grpc::Status::OK);
  }
  void write(const flatbuffers::grpc::Message<mqc::MqcAnswers>& message) {
    outgoing_ = bufferOf(message);
    isWriting_ = true;
    StartWrite(&outgoing_);
  }

  grpc::ByteBuffer incoming_, outgoing_;
  std::uint64_t last_ = 0;
  std::mutex mutex_;  // guards what follows
  std::deque<mqc::streams::Answer> waiting_;
  bool isWriting_ = false, isAllRead_ = false;
};

void Stream::OnReadDone(bool ok) {
  std::deque<mqc::streams::Answer> answers;
  grpc::Slice bytes;
  if (ok && incoming_.DumpToSingleSlice(&bytes).ok()) {
    mqc::streams::CallReader reader(bytes, last_);
    while (reader.isMore()) {
      mqc::streams::Call call;
      answers.emplace_back().fault = reader.next(call);
      answers.back().sequence = call.sequence;
    }
  }
  const std::lock_guard lock(mutex_);
  waiting_.insert(waiting_.end(), answers.begin(), answers.end());
  isAllRead_ = !ok;
  proceed();
  if (ok) StartRead(&incoming_);
}

class Service final : public grpc::CallbackGenericService {
  grpc::ServerGenericBidiReactor* CreateReactor(
      grpc::GenericCallbackServerContext* context) override {
    if (context->method() == "/MqcFesIntf/stream") return new Stream;
    return new Answer;
  }
};

}  // namespace

int serve(const char* target) {
  Service service;
  grpc::ServerBuilder builder;
  builder.AddListeningPort(target, grpc::InsecureServerCredentials());
  builder.RegisterCallbackGenericService(&service);
  const std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
  if (server == nullptr) return 1;
  server->Wait();
  return 0;
}
