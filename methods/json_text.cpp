#include "methods/json_text.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "methods/fields.h"

namespace methods {
namespace {

using nlohmann::json;

constexpr std::size_t deepest = 16;

/// Without the library's own heading, and without the line where that says nothing.
std::string wordsOf(const std::exception& error, bool namesLine) {
  std::string words = error.what();
  words.erase(0, words.find("] ") + 2);
  const std::size_t line = words.find("line ");
  const std::size_t column = words.find("column ");
  if (!namesLine && line < column && column != std::string::npos) words.erase(line, column - line);
  return words;
}

/// Goes through a text, and counts its lines: a line end belongs to the line that it ends.
class Counting {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  struct Lines {
    std::size_t* line;  // of the last character read
    bool hasEnded = false;
  };

  Counting(const char* at, Lines& lines) : at_(at), lines_(&lines) {}

  reference operator*() const { return *at_; }
  Counting& operator++() {
    if (lines_->hasEnded) ++*lines_->line;
    lines_->hasEnded = *at_++ == '\n';
    return *this;
  }
  bool operator==(const Counting& other) const { return at_ == other.at_; }

 private:
  const char* at_;
  Lines* lines_;
};

/// Passes on what the parser finds, and knows where it is.
class Reader : public json::json_sax_t {
 public:
  Reader(bool namesLine, JsonListener& listener) : namesLine_(namesLine), listener_(listener) {}

  const std::string& fault() const { return fault_; }

  bool null() override { return leaf({"null", {}, ""}); }
  bool boolean(bool value) override { return leaf({"boolean", {}, value ? "true" : "false"}); }
  bool number_integer(json::number_integer_t value) override {
    return value < 0 ? leaf({"number", {}, std::to_string(value)}) : number_unsigned(0);  // -0
  }
  bool number_unsigned(json::number_unsigned_t value) override {
    return leaf({"number", value, ""});
  }
  bool number_float(json::number_float_t, const std::string& text) override {
    return leaf({"number", {}, text});
  }
  bool string(std::string& text) override { return leaf({"string", {}, text}); }
  bool binary(json::binary_t&) override { return false; }  // no part of a text

  bool start_object(std::size_t) override { return start(true); }
  bool start_array(std::size_t) override { return start(false); }
  bool end_object() override { return end(); }
  bool end_array() override { return end(); }

  bool key(std::string& name) override {
    open_.back().name = shown(name);
    if (!open_.back().names.insert(name).second) return refuse("it stands twice in its object");
    return hears(listener_.onName(name));
  }

  bool parse_error(std::size_t, const std::string&, const json::exception& error) override {
    fault_ = wordsOf(error, namesLine_);
    return false;
  }

 private:
  struct Open {
    bool isObject;
    std::set<std::string> names;
    std::string name;
    std::size_t count = 0;  // elements that have begun
  };

  std::string place() const {
    std::string path;
    for (const Open& open : open_) {
      if (open.isObject && !path.empty()) path += '.';
      path += open.isObject ? open.name : brackets(open.count - 1);
    }
    return path;
  }

  bool refuse(const std::string& words) {
    fault_ = place();
    fault_ += (fault_.empty() ? "" : ": ") + words;
    return false;
  }

  bool hears(const std::string& fault) { return fault.empty() || refuse(fault); }

  void begin() {
    if (!open_.empty()) ++open_.back().count;
  }

  bool leaf(const Leaf& leaf) {
    begin();
    return hears(listener_.onLeaf(leaf));
  }

  bool start(bool isObject) {
    begin();
    if (open_.size() == deepest) return refuse("nested deeper than " + std::to_string(deepest));
    if (!hears(listener_.onStart(isObject))) return false;
    open_.push_back({isObject, {}, "", 0});
    return true;
  }

  bool end() {
    open_.pop_back();
    return hears(listener_.onEnd());
  }

  const bool namesLine_;
  JsonListener& listener_;
  std::vector<Open> open_;
  std::string fault_;
};

}  // namespace

std::string readJson(std::string_view text, JsonListener& listener, std::size_t* line) {
  const bool namesLine = line == nullptr && text.find('\n') != std::string_view::npos;
  std::size_t own = 0;
  if (line == nullptr) line = &own;
  *line = 1;
  // The parser would take it for the text's end, whatever follows.
  const std::size_t zero = text.find('\0');
  if (zero != std::string_view::npos) {
    *line += static_cast<std::size_t>(std::count(text.begin(), text.begin() + zero, '\n'));
    return "a zero byte at offset " + std::to_string(zero);
  }
  Reader reader(namesLine, listener);
  Counting::Lines lines = {line};
  const char* const end = text.data() + text.size();
  json::sax_parse(Counting(text.data(), lines), Counting(end, lines), &reader);
  return reader.fault();
}

std::string unfit(const char* found, const char* expected) {
  return std::string(found) + ", where " + expected + " is expected";
}

const char* typeOf(bool isObject) {
  return isObject ? "object" : "array";
}

}  // namespace methods
