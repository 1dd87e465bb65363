#include "methods/json.h"

#include <cstdint>
#include <utility>

namespace methods {
namespace {

bool isArray(const Field& field) {
  return field.kind != Kind::scalar && field.kind != Kind::table;
}

const char* expectedFor(const Field& field) {
  if (field.kind == Kind::scalar) return "a number";
  if (field.kind == Kind::table) return "an object";
  return Request::takesHex(field) ? "an array or hexadecimal bytes" : "an array";
}

std::string rangeFault(const Leaf& leaf, const Field& field) {
  return notInRange(leaf.number ? std::to_string(*leaf.number) : leaf.text, largestOf(field.width));
}

}  // namespace

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

}  // namespace methods
