#include "send/replay.h"

#include "reader/recorded_calls.h"
#include "reader/walk.h"
#include "send/message.h"
#include "shared/report.h"

namespace send {
namespace {

using shared::report;

class Replay {
 public:
  Replay(const ReplayOptions& options, const reader::Schema& schema)
      : options_(options),
        schema_(schema),
        filter_(options.method, options.choice),
        calls_(recording_) {}

  /// Returns what keeps all of it from being read, or nothing.
  std::string open() {
    for (const std::string& file : options_.files) {
      std::string fault = recording_.add(file);
      if (!fault.empty()) return fault.insert(0, file + ": ");
    }
    return calls_.rewind();
  }

  bool read(bool keepsGoing, std::vector<Entry>& entries) {
    bool isSound = true;
    for (reader::Call call; (isSound || keepsGoing) && calls_.next(call);) {
      if (!filter_.takes(call)) continue;
      Entry& entry = entries.emplace_back();
      const std::string fault = fill(call, entry);
      if (fault.empty()) continue;
      entries.pop_back();
      refuse(call, fault);
      isSound = false;
    }
    if (!isSound && !keepsGoing) return false;
    return reportFiles() && isChoiceSound() && isSound;
  }

 private:
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

  bool isChoiceSound() const {
    const std::string fault = filter_.fault();
    if (!fault.empty()) report("%s", fault.c_str());
    return fault.empty();
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
  const reader::Schema& schema_;
  reader::Recording recording_;
  reader::Filter filter_;
  reader::RecordedCalls calls_;
  std::vector<reader::Item> items_;
};

}  // namespace

bool readReplay(const ReplayOptions& options, bool keepsGoing, std::vector<Entry>& entries) {
  static auto& schema = *new reader::Schema(-1);  // entries refer to it
  std::string fault = schema.load();
  Replay replay(options, schema);
  if (fault.empty()) fault = replay.open();
  if (fault.empty()) return replay.read(keepsGoing, entries);
  report("%s", fault.c_str());
  return false;
}

}  // namespace send
