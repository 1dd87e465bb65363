#include <unordered_map>

#include "inspect/calls.h"
#include "inspect/page.h"
#include "page/section.h"
#include "shared/printable.h"

namespace inspect {
namespace {

constexpr std::size_t mostCalls = 5'000;                 // a browser is slow with more
constexpr std::size_t mostText = std::size_t{16} << 20;  // of messages, in bytes

/// The page's calls, and what they sent: equal messages once.
class CallsPage {
 public:
  CallsPage(Calls& calls, shared::Output& output) : calls_(calls), output_(output) {}

  void add(const Call& call) {
    if (++count_ > mostCalls) return;
    if (count_ == 1) first_ = call.time;
    const std::uint64_t start = first_ / second * second;
    const double seconds = static_cast<double>(static_cast<std::int64_t>(call.time - start)) / 1e9;
    rows_ += rows_.empty() ? "\n[" : ",\n[";
    rows_ += std::to_string(call.number) + ',' + std::to_string(seconds) + ',' +
             std::to_string(call.process) + ',' + std::to_string(call.thread) + ',' +
             jsonText(call.method) + ",\"" + std::string(call.variant) + "\"," +
             std::to_string(call.size) + ',' +
             (call.end ? microseconds(call) + ',' + std::to_string(call.end->status) + ',' +
                             jsonText(meaningOf(call.end->status))
                       : "null,null,null") +
             ',' + std::to_string(sectionOf(call)) + ']';
  }

  /// The calls as JSON that can stand in a page.
  std::string data() const {
    const std::string json = "{\"start\": " + std::to_string(first_ / second) +
                             ", \"words\": " + jsonText(words()) + ", \"rows\": [" + rows_ + "]}";
    std::string safe;
    for (const char c : json) safe += c == '<' ? "\\u003c" : std::string(1, c);
    return safe;
  }

 private:
  std::string words() const {
    std::string text = count_ == 0 ? "No calls." : "Since " + timeText(first_, 6) + '.';
    if (count_ > mostCalls) {
      text += " The first " + std::to_string(mostCalls) + " of " + std::to_string(count_) +
              " calls; --since, --method and other options choose others.";
    }
    if (leftOut_ > 0) {
      text += " The fields of " + std::to_string(leftOut_) + " calls are left out.";
    }
    return text + " Choose a call for its bytes and fields; hover over either for the other.";
  }

  /// The number of the message's section, which is written if it is new; 0 for none.
  std::size_t sectionOf(const Call& call) {
    const auto [place, isNew] = sections_.try_emplace(
        call.method + '\n' + std::string(call.message.begin(), call.message.end()));
    if (!isNew) return place->second;
    if (text_ > mostText) {
      ++leftOut_;
      sections_.erase(place);
      return 0;
    }
    Message message;
    if (!calls_.walk(call, message)) return 0;
    message.name = shared::printable(call.method);
    place->second = ++written_;
    const std::string text = section(message, written_);
    text_ += text.size();
    output_.write("<template id=m" + std::to_string(written_) + '>' + text + "</template>\n");
    return written_;
  }

  Calls& calls_;
  shared::Output& output_;
  std::unordered_map<std::string, std::size_t> sections_;  // by method and bytes
  std::string rows_;
  std::uint64_t first_ = 0;
  std::size_t count_ = 0;
  std::size_t written_ = 0;
  std::size_t leftOut_ = 0;
  std::size_t text_ = 0;
};

}  // namespace

void writeCallsPage(Calls& calls, shared::Output& output) {
  output.write(page::start(callsTemplate));
  CallsPage page(calls, output);
  for (Call call; calls.next(call);) page.add(call);
  output.write("<script type=\"application/json\" id=\"calls\">" + page.data() + "</script>\n");
  output.write(page::end(callsTemplate));
}

}  // namespace inspect
