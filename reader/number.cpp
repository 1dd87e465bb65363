#include "reader/number.h"

#include <charconv>

#include "reader/walk.h"

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

/// Takes "[INDEX]" from the end of a word; false where it is no index.
bool takeIndex(std::string_view& word, std::optional<std::uint32_t>& index) {
  const std::size_t open = word.find('[');
  if (open == std::string_view::npos) return true;
  const std::string_view digits = word.substr(open + 1);
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), value);
  if (error != std::errc{} || std::string_view(end, digits.end()) != "]") return false;
  index = value;
  word = word.substr(0, open);
  return true;
}

}  // namespace

/// Goes from a table to that of the field, nullptr for that of a number.
std::optional<Number::Step> Number::stepTo(const flatbuffers::StructDef*& in,
                                           std::string_view word) {
  Step step = {};
  if (in == nullptr || !takeIndex(word, step.index)) return std::nullopt;
  const flatbuffers::FieldDef* const field = in->fields.Lookup(std::string(word));
  if (field == nullptr) return std::nullopt;
  flatbuffers::Type type = field->value.type;
  const bool isVector = type.base_type == flatbuffers::BASE_TYPE_VECTOR;
  if (isVector != step.index.has_value()) return std::nullopt;
  if (isVector) type = type.VectorType();
  step.entry = field->value.offset;
  step.width = flatbuffers::IsScalar(type.base_type) ? flatbuffers::SizeOf(type.base_type) : 0;
  in = step.width == 0 ? type.struct_def : nullptr;
  return step;
}

std::optional<Number> Number::find(const Schema::Method& method, std::string_view path) {
  Number found;
  const flatbuffers::StructDef* in = method.request;
  for (bool isLast = false; !isLast;) {
    const std::string_view word = path.substr(0, path.find('.'));
    isLast = word.size() == path.size();
    path.remove_prefix(isLast ? word.size() : word.size() + 1);
    const auto step = stepTo(in, word);
    if (!step) return std::nullopt;
    found.steps_.push_back(*step);
  }
  return in == nullptr ? std::optional(found) : std::nullopt;
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
