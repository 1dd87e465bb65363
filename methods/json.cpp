#include "methods/json.h"

#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

namespace methods {
namespace {

using nlohmann::json;

constexpr int deepest = 16;

/// What is wrong with a text that is JSON.
struct Refused : std::runtime_error {
  using runtime_error::runtime_error;
};

/// Hears of a text's objects while they are parsed: the library keeps the last of equal names.
class Names {
 public:
  bool operator()(int depth, json::parse_event_t event, const json& parsed) {
    if (depth >= deepest) throw Refused("nested deeper than " + std::to_string(deepest));
    if (event == json::parse_event_t::object_start) open_.emplace_back();
    if (event == json::parse_event_t::object_end) open_.pop_back();
    if (event == json::parse_event_t::key) add(parsed.get_ref<const std::string&>());
    return true;
  }

 private:
  struct Object {
    std::set<std::string> names;
    std::string last;
  };

  void add(const std::string& name) {
    open_.back().last = name;
    if (open_.back().names.insert(name).second) return;
    std::string path;
    for (const Object& object : open_) path += (path.empty() ? "" : ".") + object.last;
    throw Refused(path + ": it stands twice in its object");
  }

  std::vector<Object> open_;
};

/// Without the library's own heading; on one line, where the line's number says nothing.
std::string wordsOf(const std::exception& error, bool onOneLine) {
  std::string words = error.what();
  words.erase(0, words.find("] ") + 2);
  const std::string first = "at line 1, column";
  const std::size_t line = words.find(first);
  if (onOneLine && line != std::string::npos) words.replace(line, first.size(), "at column");
  return words;
}

class Filling {
 public:
  explicit Filling(Request& request) : request_(request) {}

  /// @return what is wrong, behind the place in the table
  std::string table(const Table& table, u32 base, const json& value) {
    if (!value.is_object()) return placed(unfit(value, "an object"));
    for (const auto& [name, member] : value.items()) {
      const Slot* const slot = findSlot(table, name);
      if (slot == nullptr) return std::string(".") + noSuchField(table, name);
      const std::string fault = field(fieldOf(*slot, base), member);
      if (!fault.empty()) return std::string(".").append(name).append(fault);
    }
    return "";
  }

 private:
  static std::string unfit(const json& value, const char* expected) {
    return std::string(value.type_name()) + ", where " + expected + " is expected";
  }

  std::string field(const Field& field, const json& value) {
    if (field.kind == Kind::scalar) return placed(number(field, value));
    if (field.kind == Kind::table) return table(*field.table, field.offset, value);
    if (value.is_string() && Request::takesHex(field)) {
      return placed(request_.setHex(field, value.get_ref<const std::string&>()));
    }
    if (!value.is_array()) {
      const bool isBytes = Request::takesHex(field);
      return placed(unfit(value, isBytes ? "an array or hexadecimal bytes" : "an array"));
    }
    return field.kind == Kind::tables ? tables(field, value) : numbers(field, value);
  }

  std::string number(const Field& field, const json& value) {
    if (!value.is_number()) return unfit(value, "a number");
    if (!value.is_number_unsigned()) return notInRange(value.dump(), field);
    return request_.setNumber(field, value.get<u64>());
  }

  std::string tables(const Field& field, const json& value) {
    if (value.size() > field.count) return placed(tooLong(value.size(), field));
    for (u32 i = 0; i < value.size(); ++i) {
      const Field element = elementOf(field, i);
      const std::string fault = table(*element.table, element.offset, value[i]);
      if (!fault.empty()) return brackets(i) + fault;
    }
    return "";
  }

  std::string numbers(const Field& field, const json& value) {
    std::vector<u64> elements;
    elements.reserve(value.size());
    for (const json& element : value) {
      if (!element.is_number_unsigned()) {
        const std::string place = brackets(elements.size()) + ": ";
        if (!element.is_number()) return place + unfit(element, "a number");
        return place + notInRange(element.dump(), field);
      }
      elements.push_back(element.get<u64>());
    }
    return placed(request_.setNumbers(field, elements));
  }

  Request& request_;
};

}  // namespace

std::string parseJson(std::string_view text, json& value) try {
  Names names;
  value = json::parse(text, std::ref(names));
  return "";
} catch (const Refused& refused) {
  return refused.what();
} catch (const json::exception& error) {
  return wordsOf(error, text.find('\n') == std::string_view::npos);
}

std::string readRequest(const Method& method, const json& value, Request& request,
                        const std::string& place) {
  request = Request(*method.request);
  const std::string fault = Filling(request).table(*method.request, 0, value);
  if (fault.empty() || !place.empty()) return fault.empty() ? "" : place + fault;
  return fault.starts_with('.') ? fault.substr(1) : "the request" + fault;
}

}  // namespace methods
