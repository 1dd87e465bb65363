#include "methods/json.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>

namespace methods {
namespace {

using nlohmann::json;

constexpr std::size_t deepest = 16;

const char* typeOf(bool isObject) {
  return isObject ? "object" : "array";
}

/// Without the library's own heading; on one line, where the line's number says nothing.
std::string wordsOf(const std::exception& error, bool onOneLine) {
  std::string words = error.what();
  words.erase(0, words.find("] ") + 2);
  const std::string first = "at line 1, column";
  const std::size_t line = words.find(first);
  if (onOneLine && line != std::string::npos) words.replace(line, first.size(), "at column");
  return words;
}

/// Passes on what the parser finds, and knows where it is.
class Reader : public json::json_sax_t {
 public:
  Reader(bool onOneLine, JsonListener& listener) : onOneLine_(onOneLine), listener_(listener) {}

  const std::string& fault() const { return fault_; }

  bool null() override { return leaf({"null", {}, ""}); }
  bool boolean(bool) override { return leaf({"boolean", {}, ""}); }
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
    fault_ = wordsOf(error, onOneLine_);
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

  const bool onOneLine_;
  JsonListener& listener_;
  std::vector<Open> open_;
  std::string fault_;
};

bool isArray(const Field& field) {
  return field.kind != Kind::scalar && field.kind != Kind::table;
}

const char* expectedFor(const Field& field) {
  if (field.kind == Kind::scalar) return "a number";
  if (field.kind == Kind::table) return "an object";
  return Request::takesHex(field) ? "an array or hexadecimal bytes" : "an array";
}

std::string rangeFault(const Leaf& leaf, const Field& field) {
  return notInRange(leaf.number ? std::to_string(*leaf.number) : leaf.text, field);
}

}  // namespace

std::string readJson(std::string_view text, JsonListener& listener) {
  // The parser would take it for the text's end, whatever follows.
  const std::size_t zero = text.find('\0');
  if (zero != std::string_view::npos) return "a zero byte at offset " + std::to_string(zero);
  Reader reader(text.find('\n') == std::string_view::npos, listener);
  json::sax_parse(text, &reader);
  return reader.fault();
}

RequestListener::RequestListener(const Method& method, Request& request)
    : request_(request), next_{Kind::table, method.request->recordSize, 1, 0, 0, method.request} {
  request = Request(*method.request);
}

/// The field that a value goes to.
std::string RequestListener::takeNext(Field& field) {
  field = next_;
  if (open_.empty() || open_.back().field.kind == Kind::table) return "";
  Open& array = open_.back();
  if (array.count == array.field.count) {
    return "the array has " + std::to_string(array.field.count) + " elements";
  }
  field = elementOf(array.field, array.count++);
  return "";
}

std::string RequestListener::onLeaf(const Leaf& leaf) {
  if (!open_.empty() && open_.back().field.kind == Kind::buffer) return addByte(leaf);
  Field field{};
  std::string fault = takeNext(field);
  if (!fault.empty()) return fault;
  const std::string_view type = leaf.type;
  if (type == "string" && Request::takesHex(field)) return request_.setHex(field, leaf.text);
  if (type != "number" || field.kind != Kind::scalar) return unfit(leaf.type, expectedFor(field));
  return leaf.number ? request_.setNumber(field, *leaf.number) : rangeFault(leaf, field);
}

std::string RequestListener::addByte(const Leaf& leaf) {
  const Field byte = {Kind::scalar, 1, 1, 0, 1, nullptr};
  if (std::string_view(leaf.type) != "number") return unfit(leaf.type, expectedFor(byte));
  if (!leaf.number || *leaf.number > UINT8_MAX) return rangeFault(leaf, byte);
  open_.back().bytes.push_back(static_cast<u8>(*leaf.number));
  return "";
}

std::string RequestListener::onStart(bool isObject) {
  if (!open_.empty() && open_.back().field.kind == Kind::buffer) {
    return unfit(typeOf(isObject), "a number");
  }
  Field field{};
  std::string fault = takeNext(field);
  if (!fault.empty()) return fault;
  if (isObject ? field.kind != Kind::table : !isArray(field)) {
    return unfit(typeOf(isObject), expectedFor(field));
  }
  open_.push_back({field, 0, {}});
  return "";
}

std::string RequestListener::onName(const std::string& name) {
  const Field& record = open_.back().field;
  const Slot* const slot = findSlot(*record.table, name);
  if (slot == nullptr) return noSuchField(*record.table, name);
  next_ = fieldOf(*slot, record.offset);
  return "";
}

std::string RequestListener::onEnd() {
  const Open ended = std::move(open_.back());
  open_.pop_back();
  return ended.field.kind == Kind::buffer ? request_.setBytes(ended.field, ended.bytes) : "";
}

std::string readRequest(const Method& method, std::string_view text, Request& request) {
  RequestListener listener(method, request);
  return readJson(text, listener);
}

std::string unfit(const char* found, const char* expected) {
  return std::string(found) + ", where " + expected + " is expected";
}

}  // namespace methods
