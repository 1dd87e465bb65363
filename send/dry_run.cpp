#include "send/dry_run.h"

#include "send/check.h"
#include "send/encoded.h"
#include "shared/capture.h"
#include "shared/output.h"

namespace send {
namespace {

bool writeOne(const Encoded& message, const std::string& path) {
  shared::Output output(path);
  output.write({reinterpret_cast<const char*>(message.encoding.bytes()), message.encoding.size()});
  return output.close();
}

class DryRun {
 public:
  DryRun(const Library& library, const Options& options)
      : library_(library),
        options_(options),
        isChecked_(options.replay.isChecked),
        isWritten_(!isChecked_ || !options.output.empty()) {}

  bool run(Requests& requests) {
    const bool toFolder = isWritten_ && options_.isSeveral();
    if (toFolder && captures_.setDir(options_.output.c_str()) != TARN_STATUS_OK) return false;
    bool isFine = true;
    while (const auto entry = isFine ? requests.next() : nullptr) {
      if (isChecked_) check(*entry);
      isFine = !isWritten_ || write(*entry);
    }
    const bool isShown = !isChecked_ || differences_.close();
    return isShown && isFine && isSame_;
  }

 private:
  /// Prints what differs from the recording.
  void check(const Entry& entry) {
    const std::string line = messageDifference(library_, entry);
    differences_.write(line);
    isSame_ = isSame_ && line.empty();
  }

  bool write(const Entry& entry) {
    Encoded message;
    if (!encode(library_, options_.channel.full, entry, message)) return false;
    return options_.isSeveral() ? capture(message, entry.method->name)
                                : writeOne(message, options_.output);
  }

  bool capture(const Encoded& message, const char* method) {
    const std::span<const u8> none;
    return captures_.write(method, message.isFull ? none : message.bytes(),
                           message.isFull ? message.bytes() : none) == TARN_STATUS_OK;
  }

  const Library& library_;
  const Options& options_;
  const bool isChecked_;
  const bool isWritten_;
  shared::Capture captures_;
  shared::Output differences_{""};
  bool isSame_ = true;
};

}  // namespace

bool encodeAll(const Library& library, const Options& options, Requests& requests) {
  return DryRun(library, options).run(requests);
}

}  // namespace send
