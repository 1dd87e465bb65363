#include "send/input.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <optional>

#include "methods/json.h"
#include "methods/words.h"

namespace send {
namespace {

using methods::Leaf;

constexpr std::string_view variants[] = {"sync", "async", "oneway"};
constexpr std::size_t pieceSize = 65536;

/// Fills an entry from a line's object.
class LineListener : public methods::JsonListener {
 public:
  explicit LineListener(Entry& entry) : entry_(entry) {}

  /// Whether the request stood before its method, so that the line has to be read again.
  bool hasMissedRequest() const { return hasMissed_; }

  std::string onLeaf(const Leaf& leaf) override {
    if (isInRequest()) {
      begin();
      return request_ ? request_->onLeaf(leaf) : "";
    }
    if (depth_ == 0) return methods::unfit(leaf.type, "an object");
    if (std::string_view(leaf.type) != "string") return methods::unfit(leaf.type, "a string");
    return name_ == "method" ? readMethod(leaf.text) : readVariant(leaf.text);
  }

  std::string onStart(bool isObject) override {
    const char* const type = isObject ? "object" : "array";
    if (depth_ == 0 && !isObject) return methods::unfit(type, "an object");
    if (depth_ > 0 && !isInRequest()) return methods::unfit(type, "a string");
    begin();
    ++depth_;
    return request_ ? request_->onStart(isObject) : "";
  }

  std::string onName(const std::string& name) override {
    if (depth_ > 1) return request_ ? request_->onName(name) : "";
    name_ = name;
    const std::vector<std::string_view> known = {"method", "request", "variant"};
    const bool isKnown = std::ranges::find(known, name) != known.end();
    return isKnown ? "" : methods::noSuch("name", name, known);
  }

  std::string onEnd() override {
    --depth_;
    return depth_ > 0 && request_ ? request_->onEnd() : "";
  }

 private:
  bool isInRequest() const { return depth_ > 0 && name_ == "request"; }

  /// At the request's own value.
  void begin() {
    if (depth_ != 1) return;
    if (entry_.method == nullptr)
      hasMissed_ = true;
    else
      request_.emplace(*entry_.method, entry_.request);
  }

  std::string readMethod(const std::string& name) {
    entry_.method = methods::find(name);
    if (entry_.method == nullptr) return methods::shown(name) + ": " + methods::noSuchMethod(name);
    return "";
  }

  std::string readVariant(const std::string& name) {
    if (findVariant(name, entry_.variant)) return "";
    return "neither \"sync\" nor \"async\" nor \"oneway\"";
  }

  Entry& entry_;
  std::size_t depth_ = 0;
  std::string name_;  // in the line's object
  std::optional<methods::RequestListener> request_;
  bool hasMissed_ = false;
};

std::string readEntry(std::string_view text, Entry& entry) {
  LineListener first(entry);
  std::string fault = methods::readJson(text, first);
  if (!fault.empty()) return fault;
  if (entry.method == nullptr) return "method: it is missing";
  if (entry.request.isEmpty()) entry.request = methods::Request(*entry.method->request);
  if (!first.hasMissedRequest()) return "";
  LineListener second(entry);
  return methods::readJson(text, second);
}

std::string placeOf(const std::string& name, std::size_t line) {
  return name + ':' + std::to_string(line);
}

bool isJson(const std::string& word) {
  const std::size_t first = word.find_first_not_of(" \t\r\n");
  return word == "-" || (first != std::string::npos && word[first] == '{');
}

/// Reads the JSON before a request's words.
std::string readFirst(const std::string& word, Entry& entry) {
  if (word != "-") return methods::readRequest(*entry.method, word, entry.request);
  std::string text;
  std::string fault = readText("-", text);
  if (fault.empty()) fault = methods::readRequest(*entry.method, text, entry.request);
  return fault.empty() ? "" : "stdin: " + fault;
}

}  // namespace

std::shared_ptr<const Entry> ReadRequests::next() {
  if (at_ == entries_.size()) return nullptr;
  return std::make_shared<const Entry>(std::move(entries_[at_++]));
}

bool findVariant(std::string_view name, Variant& variant) {
  const auto found = std::ranges::find(variants, name);
  if (found != std::end(variants)) variant = static_cast<Variant>(found - std::begin(variants));
  return found != std::end(variants);
}

std::string readOne(const methods::Method& method, std::span<const std::string> words,
                    Entry& entry) {
  entry.method = &method;
  entry.request = methods::Request(*method.request);
  if (!words.empty() && isJson(words[0])) {
    std::string fault = readFirst(words[0], entry);
    if (!fault.empty()) return fault;
    words = words.subspan(1);
  }
  for (const std::string& word : words) {
    std::string fault = methods::setWord(method, word, entry.request);
    if (!fault.empty()) return fault;
  }
  return "";
}

std::string readText(const std::string& path, std::string& text) {
  std::FILE* const file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
  if (file == nullptr) return path + ": " + std::strerror(errno);
  std::size_t size = 0;
  do {
    text.resize(size + std::max(size, pieceSize));
    size += std::fread(text.data() + size, 1, text.size() - size, file);
  } while (size == text.size());
  text.resize(size);
  const int error = std::ferror(file) != 0 ? errno : 0;
  if (file != stdin) std::fclose(file);
  return error == 0 ? "" : path + ": " + std::strerror(error);
}

std::string readLines(std::string_view text, const std::string& name, Variant variant,
                      std::vector<Entry>& entries) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
    Entry entry{nullptr, {}, variant, number, {}};
    const std::string fault = readEntry(line, entry);
    if (!fault.empty()) return placeOf(name, number).append(": ").append(fault);
    entries.push_back(std::move(entry));
  }
  return "";
}

}  // namespace send
