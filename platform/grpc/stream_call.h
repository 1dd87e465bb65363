#ifndef PLATFORM_GRPC_STREAM_CALL_H
#define PLATFORM_GRPC_STREAM_CALL_H

#include <string_view>
#include <utility>

#include "platform/grpc/call.h"

namespace delivery {

/// A call that travels over its channel's stream.
class StreamCall final : public Call {
 public:
  StreamCall(std::shared_ptr<Channel> to, const MethodId& method, Clock::time_point when,
             const Ending& whose, Message&& message)
      : Call(std::move(to), method, when, whose, message.size), message_(std::move(message)) {}

  template <class... Parts>
  static std::shared_ptr<StreamCall> make(Parts&&... parts) {
    return std::make_shared<StreamCall>(std::forward<Parts>(parts)...);
  }
  /// Hands the message over. Returns a status; throws on allocation failure.
  static u32 send(const std::shared_ptr<StreamCall>& call);

  void stop(grpc::StatusCode why) override;

  std::string_view method() const { return std::string_view(path).substr(path.rfind('/') + 1); }
  const Message& message() const { return message_; }
  void dropMessage() { message_ = {}; }

 private:
  friend class Queue;
  enum class Phase { waiting, sent, ended };
  Phase phase_ = Phase::ended;  // until it is in the queue; guarded by the stream's mutex
  Message message_;
};

}  // namespace delivery

#endif
