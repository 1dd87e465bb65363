#ifndef PLATFORM_GRPC_QUEUE_H
#define PLATFORM_GRPC_QUEUE_H

#include <deque>
#include <vector>

#include "platform/grpc/stream_call.h"

namespace delivery {

/// The calls of a stream in their order: first those that were sent, then those that wait. Their
/// ends are handed on in the same order. Guarded by the stream's mutex.
class Queue {
 public:
  void add(const std::shared_ptr<StreamCall>& call);

  bool hasWaiting() const { return sent_ < calls_.size(); }
  bool hasUnanswered() const { return sent_ > 0; }
  /// Calls that were sent have ended without an answer, which may still come.
  bool hasLate() const { return late_ > 0; }
  std::size_t late() const { return late_; }

  /// Calls to send together: all that wait, or as many as one message should hold.
  std::vector<std::shared_ptr<StreamCall>> take();
  /// Ends the call; an answer to one that has ended is dropped. Returns false if no such answer is
  /// due. To be followed by flush().
  bool answer(u64 sequence, Result&& result);
  /// Has the callbacks of the calls run that were answered.
  void flush();
  /// Ends the call unless it has ended: it may have been acted on if it was sent, or not.
  void stop(StreamCall& call, const Result& ifSent, const Result& ifNot);
  /// Ends the calls that were sent, and forgets them; the others stay.
  void endSent(const Result& result);
  /// Ends those that wait, when none were sent.
  void endWaiting(const Result& result);

 private:
  struct Entry {
    u64 sequence;
    std::shared_ptr<StreamCall> call;  ///< until its end was handed on
    bool isOver = false;               ///< no answer is due any more
  };

  std::deque<Entry>::iterator find(u64 sequence);
  static void end(const Entry& entry, Result&& result);
  void settle();
  void compact();

  std::deque<Entry> calls_;
  std::size_t sent_ = 0;      // so many were sent
  std::size_t handedOn_ = 0;  // the ends of so many
  std::size_t late_ = 0;      // so many of these have no answer yet
  CallList called_;           // whose callbacks are to run
};

}  // namespace delivery

#endif
