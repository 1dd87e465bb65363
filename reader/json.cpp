#include <array>
#include <charconv>

#include "reader/schema.h"
#include "reader/walk.h"

namespace reader {
namespace {

using flatbuffers::FieldDef;
using flatbuffers::StructDef;
using flatbuffers::Table;

constexpr std::size_t pieceSize = 65536;

/// Follows a table by the schema and writes its JSON piece by piece.
class Json {
 public:
  Json(int indent, const Write& write) : indent_(indent), write_(write) {}

  void message(const StructDef& def, const Table& root) {
    table(def, root, 0);
    line(0);
    write_(text_);
  }

 private:
  bool onLines() const { return indent_ >= 0; }

  void line(unsigned depth) {
    if (onLines()) text_ += '\n' + std::string(depth * static_cast<std::size_t>(indent_), ' ');
  }

  void table(const StructDef& def, const Table& table, unsigned depth) {
    const char* before = "{";
    for (const FieldDef* field : def.fields.vec) {
      const bool isScalar = flatbuffers::IsScalar(field->value.type.base_type);
      if (!isScalar && !table.CheckField(field->value.offset)) continue;
      text_ += before;
      line(depth + 1);
      text_ += '"' + field->name + "\": ";
      value(field->value.type, table.GetAddressOf(field->value.offset), depth + 1);
      before = ",";
    }
    line(depth);
    text_ += '}';
  }

  /// @param at its position, nullptr for an absent scalar
  void value(const flatbuffers::Type& type, const std::uint8_t* at, unsigned depth) {
    if (flatbuffers::IsScalar(type.base_type)) {
      add(at == nullptr ? 0 : number(at, flatbuffers::SizeOf(type.base_type)));
      return;
    }
    const std::uint8_t* const body = at + number(at, sizeof(flatbuffers::uoffset_t));
    if (type.base_type == flatbuffers::BASE_TYPE_STRUCT) {
      table(*type.struct_def, *reinterpret_cast<const Table*>(body), depth);
    } else {
      vector(type.VectorType(), body, depth);
    }
  }

  void vector(const flatbuffers::Type& element, const std::uint8_t* body, unsigned depth) {
    const bool onOne = flatbuffers::IsScalar(element.base_type);
    const std::size_t width = onOne ? flatbuffers::SizeOf(element.base_type) : 4;
    const std::uint32_t count = number(body, 4);
    text_ += '[';
    for (std::uint32_t i = 0; i < count; ++i) {
      if (i > 0) text_ += ',';
      between(onOne, depth + 1);
      value(element, body + 4 + i * width, depth + 1);
      if (text_.size() >= pieceSize) flush();
    }
    between(onOne, depth);
    text_ += ']';
  }

  void between(bool onOne, unsigned depth) {
    if (!onOne)
      line(depth);
    else if (onLines())
      text_ += ' ';
  }

  void add(std::uint32_t value) {
    std::array<char, 16> digits{};
    text_.append(digits.data(), std::to_chars(digits.begin(), digits.end(), value).ptr);
  }

  void flush() {
    write_(text_);
    text_.clear();
  }

  int indent_;
  const Write& write_;
  std::string text_;
};

}  // namespace

void Schema::json(const Method& method, Bytes message, const Write& write) const {
  Json(indent_, write).message(*method.request, *flatbuffers::GetRoot<Table>(message.data()));
}

std::string Schema::json(const Method& method, Bytes message) const {
  std::string text;
  json(method, message, [&text](std::string_view piece) { text += piece; });
  return text;
}

}  // namespace reader
