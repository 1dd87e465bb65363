#include "reader/number.h"

#include "methods/fields.h"

namespace reader {
namespace {

/// Reads words of a message; one outside fails all that follows.
class Words {
 public:
  explicit Words(Bytes message) : message_(message) {}

  std::uint32_t at(std::size_t position, std::size_t width) {
    isFine_ = isFine_ && position <= message_.size() && message_.size() - position >= width;
    return isFine_ ? number(message_.data() + position, width) : 0;
  }
  std::size_t target(std::size_t position) { return position + at(position, 4); }
  std::optional<std::uint32_t> result(std::uint32_t value) const {
    return isFine_ ? std::optional(value) : std::nullopt;
  }
  bool areFine() const { return isFine_; }

 private:
  Bytes message_;
  bool isFine_ = true;
};

std::size_t offsetOf(Words& words, std::size_t table, std::size_t entry) {
  const auto back = static_cast<std::int32_t>(words.at(table, 4));
  const std::size_t vtable = table - static_cast<std::size_t>(std::ptrdiff_t{back});
  return entry + 2 <= words.at(vtable, 2) ? words.at(vtable + entry, 2) : 0;
}

/// The place of a step's field in the vtable.
std::size_t entryOf(const methods::Step& step) {
  return 4 + 2 * static_cast<std::size_t>(step.slot - step.in->slots.data());
}

}  // namespace

std::string Number::find(const methods::Table& request, std::string_view path, Number& number) {
  std::vector<methods::Step> steps;
  std::string fault = methods::findSteps(request, path, steps);
  if (!fault.empty()) return fault;
  number.steps_.clear();
  for (const methods::Step& step : steps) {
    const std::size_t width = step.slot->table == nullptr ? step.slot->width : 0;
    number.steps_.push_back({entryOf(step), width, step.index});
  }
  const methods::Step& last = steps.back();
  const bool isNumber = last.index || last.slot->kind == methods::Kind::scalar;
  if (isNumber && last.slot->table == nullptr) return "";
  return std::string(path) + ": it is no number; an array takes an index";
}

std::optional<std::uint32_t> Number::in(Bytes message) const {
  Words words(message);
  std::size_t table = words.target(0);
  for (const Step& step : steps_) {
    const std::size_t offset = offsetOf(words, table, step.entry);
    const bool isScalar = step.width != 0 && !step.index;
    if (offset == 0) return isScalar ? words.result(0) : std::nullopt;
    std::size_t at = table + offset;
    if (step.index) {
      const std::size_t body = words.target(at);
      if (*step.index >= words.at(body, 4)) return std::nullopt;
      at = body + 4 + std::size_t{*step.index} * (step.width != 0 ? step.width : 4);
    }
    if (step.width != 0) return words.result(words.at(at, step.width));
    table = words.target(at);
  }
  return std::nullopt;
}

}  // namespace reader
