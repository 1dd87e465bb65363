#include "send/replay.h"

#include "reader/recorded_calls.h"
#include "reader/walk.h"
#include "send/message.h"
#include "shared/report.h"

namespace send {
namespace {

using shared::report;

class Replay : public Requests {
 public:
  explicit Replay(const ReplayOptions& options)
      : options_(options), filter_(options.method, options.choice), calls_(recording_) {}

  /// Returns what keeps all of it from being read, or nothing.
  std::string open() {
    std::string fault = schema_.load();
    for (const std::string& file : options_.files) {
      if (!fault.empty()) return fault;
      fault = recording_.add(file);
      if (!fault.empty()) return fault.insert(0, file + ": ");
    }
    if (fault.empty()) fault = calls_.rewind();
    return fault.empty() ? filter_.fault(calls_.methods()) : fault;
  }

  /// Reads all calls, reports what is not sound, and goes to the first call.
  bool check(bool keepsGoing) {
    bool isSound = true;
    for (reader::Call call; (isSound || keepsGoing) && nextChosen(call);) {
      Entry entry;
      const std::string fault = fill(call, entry);
      if (!fault.empty()) refuse(call, fault);
      isSound = isSound && fault.empty();
      size_ += fault.empty() ? 1 : 0;
    }
    if (!isSound && !keepsGoing) return false;
    isSound = reportFiles() && isSound;
    const std::string fault = calls_.rewind();
    if (!fault.empty()) report("%s", fault.c_str());
    return isSound && fault.empty();
  }

  std::shared_ptr<const Entry> next() override {
    // A recording that still grows may have more by now.
    for (reader::Call call; made_ < size_ && nextChosen(call);) {
      const auto entry = std::make_shared<Entry>();
      if (!fill(call, *entry).empty()) continue;
      ++made_;
      return entry;
    }
    return nullptr;
  }

  std::size_t size() const override { return size_; }

 private:
  bool nextChosen(reader::Call& call) {
    while (calls_.next(call)) {
      if (filter_.takes(call)) return true;
    }
    return false;
  }

  std::string fill(reader::Call& call, Entry& entry) {
    entry.method = methods::find(call.method);
    const reader::Schema::Method* const method = schema_.method(call.method);
    if (entry.method == nullptr || method == nullptr) return methods::noSuchMethod(call.method);
    if (call.size == 0) return "it had no request, or one that could not be encoded";
    if (!call.isWhole()) {
      return std::to_string(call.message.size()) + " of " + std::to_string(call.size) +
             " bytes are recorded";
    }
    if (const auto fault = reader::walk(*method, call.message, items_)) {
      return reader::at(fault->position) + ": " + fault->words;
    }
    findVariant(call.variant, entry.variant);
    std::string fault = readMessage(*entry.method, call.message, entry.request);
    entry.recorded = {method, call.number, call.time, {}, {}};
    if (call.end) entry.recorded->status = call.end->status;
    if (options_.isChecked) entry.recorded->message = std::move(call.message);
    return fault;
  }

  void refuse(const reader::Call& call, const std::string& fault) const {
    const std::string name =
        options_.files.size() == 1 ? options_.files[0] : std::string("recordings");
    report("%s: call %s, %s: %s", name.c_str(), std::to_string(call.number).c_str(),
           methods::shown(call.method).c_str(), fault.c_str());
  }

  /// Returns whether no file is damaged.
  bool reportFiles() const {
    bool areSound = true;
    for (const reader::PacketFile& file : recording_.files()) {
      const std::string foreign = file.foreign();
      if (!foreign.empty()) report("%s: %s", file.path().c_str(), foreign.c_str());
      if (file.damage().empty()) continue;
      report("%s: damaged at %s", file.path().c_str(), file.damage().c_str());
      areSound = false;
    }
    if (calls_.missing() > 0) {
      report("%s packets are missing in what was recorded",
             std::to_string(calls_.missing()).c_str());
    }
    return areSound;
  }

  const ReplayOptions& options_;
  reader::Schema schema_{-1};
  reader::Recording recording_;
  reader::Filter filter_;
  reader::RecordedCalls calls_;
  std::vector<reader::Item> items_;
  std::size_t size_ = 0;  // calls that can be made
  std::size_t made_ = 0;
};

}  // namespace

std::unique_ptr<Requests> readReplay(const ReplayOptions& options, bool keepsGoing, bool& isSound) {
  auto replay = std::make_unique<Replay>(options);
  const std::string fault = replay->open();
  if (!fault.empty()) report("%s", fault.c_str());
  isSound = fault.empty() && replay->check(keepsGoing);
  return isSound || (fault.empty() && keepsGoing) ? std::move(replay) : nullptr;
}

}  // namespace send
