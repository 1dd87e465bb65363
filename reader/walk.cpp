#include "reader/walk.h"

#include <flatbuffers/flatbuffers.h>

#include <algorithm>

namespace reader {
namespace {

using flatbuffers::FieldDef;
using flatbuffers::StructDef;

constexpr std::size_t wordSize = 4;          // of the root offset, offset fields, counts
constexpr std::size_t vtableHeaderSize = 4;  // vtable size, table size
constexpr std::uint32_t blockWord = 4;  // what a full message and each of its blocks begin with
constexpr std::size_t maxTableSize = 0xFFFF;  // what 16 bits can say

constexpr std::size_t roundUp(std::size_t size, std::size_t multiple) {
  return (size + multiple - 1) / multiple * multiple;
}

flatbuffers::Verifier::Options unaligned() {
  flatbuffers::Verifier::Options options;
  options.check_alignment = false;
  return options;
}

bool isTable(const FieldDef& field) {
  return field.value.type.base_type == flatbuffers::BASE_TYPE_STRUCT;
}

/// The required number of a vector's elements; none for a caller's buffer.
std::optional<std::uint32_t> fixedCount(const FieldDef& field) {
  const flatbuffers::Value* const count = field.attributes.Lookup("count");
  if (count == nullptr) return std::nullopt;
  return static_cast<std::uint32_t>(std::stoul(count->constant));
}

/// In hexadecimal; printf() is slow for every item of a message.
std::string hex(std::size_t value, std::size_t digits) {
  std::string text;
  for (; value > 0 || text.size() < digits; value /= 16) text += "0123456789ABCDEF"[value % 16];
  std::reverse(text.begin(), text.end());
  return text;
}

std::string scalarText(flatbuffers::BaseType type, std::uint32_t value) {
  std::string text = flatbuffers::kTypeNames[type];
  text.append(1, ' ').append(std::to_string(value));
  if (value > 9) text.append(" (0x").append(hex(value, 1)).append(1, ')');
  return text;
}

/// The walk's position: the table or field that it follows.
struct Place {
  std::string path;
  unsigned depth;

  Place field(const FieldDef& def) const {
    return {path.empty() ? def.name : path + '.' + def.name, depth + 1};
  }
  Place element(std::uint32_t i) const { return {path + '[' + std::to_string(i) + ']', depth + 1}; }
  Place inside() const { return {path, depth + 1}; }
};

/// A table that is followed: its position, and its vtable.
struct Frame {
  const StructDef& def;
  std::size_t start;
  std::size_t vtable;
  std::size_t vtableEnd;
};

class Walk {
 public:
  Walk(Bytes message, std::vector<Item>& items)
      : bytes_(message), verifier_(message.data(), message.size(), unaligned()), items_(items) {}

  void message(const StructDef& def) {
    full_ = word<std::uint32_t>(0, "the root offset") == blockWord;
    const std::size_t start = target(0, {"", 0}, Kind::rootOffset);
    table(def, start, {"", 0});
    cover();
  }

 private:
  void add(std::size_t position, std::size_t length, Kind kind, const Place& place,
           const std::string& value, std::size_t width = 0) {
    items_.push_back(
        {position, length, kind, place.path, value, place.depth, static_cast<unsigned>(width)});
  }

  template <class Word>
  Word word(std::size_t position, const std::string& what) const {
    return static_cast<Word>(wordOf(sizeof(Word), position, what));
  }

  std::uint32_t wordOf(std::size_t width, std::size_t position, const std::string& what) const {
    if (!verifier_.Verify(position, width)) {
      throw Fault{position, what + " reaches past the end"};
    }
    return number(bytes_.data() + position, width);
  }

  /// The target of the offset at the position.
  std::size_t target(std::size_t position, const Place& place, Kind kind) {
    const std::size_t offset = verifier_.VerifyOffset(position);
    if (offset == 0) throw Fault{position, "the offset to " + name(place) + " points outside"};
    add(position, wordSize, kind, place, at(position + offset));
    return position + offset;
  }

  static std::string name(const Place& place) {
    return place.path.empty() ? "the table" : place.path;
  }

  /// Returns the end of the table: of its vectors in the compact encoding, of its block in the full
  /// one.
  std::size_t table(const StructDef& def, std::size_t start, const Place& place) {
    if (!verifier_.VerifyTableStart(bytes_.data() + start)) {
      throw Fault{start, name(place) + " has no vtable inside the message"};
    }
    const auto back = word<std::int32_t>(start, name(place));
    const std::size_t vtable = start - static_cast<std::size_t>(std::ptrdiff_t{back});
    const Frame frame{def, start, vtable, vtable + word<std::uint16_t>(vtable, "the vtable")};
    add(start, 0, Kind::table, place, def.name);
    vtableItems(frame, place.inside());
    add(start, wordSize, Kind::vtableOffset, place.inside(), at(vtable));
    std::size_t end = start + wordSize;
    for (const FieldDef* field : def.fields.vec) {
      end = std::max(end, this->field(frame, *field, place.field(*field)));
    }
    checkForm(frame, end);
    verifier_.EndTable();
    return full_ ? openBytes(frame, end, place.inside()) : end;
  }

  void vtableItems(const Frame& frame, const Place& place) {
    const std::size_t size = vtableHeaderSize + 2 * frame.def.fields.vec.size();
    if (frame.vtableEnd - frame.vtable != size) {
      throw Fault{frame.vtable, "a vtable of " + std::to_string(frame.vtableEnd - frame.vtable) +
                                    " bytes, that of " + frame.def.name + " has " +
                                    std::to_string(size)};
    }
    add(frame.vtable, 0, Kind::vtable, place, "");
    const Place entry = place.inside();
    add(frame.vtable, 2, Kind::vtableSize, entry, std::to_string(size));
    add(frame.vtable + 2, 2, Kind::tableSize, entry, std::to_string(tableSize(frame)));
    for (const FieldDef* field : frame.def.fields.vec) {
      const std::uint16_t offset = fieldOffset(frame, *field);
      const Place of{Place{place.path, 0}.field(*field).path, entry.depth};
      add(frame.vtable + field->value.offset, 2, Kind::fieldOffset, of,
          offset == 0 ? "absent" : at(frame.start + offset));
    }
  }

  std::size_t tableSize(const Frame& frame) const {
    return word<std::uint16_t>(frame.vtable + 2, "the table size");
  }

  std::uint16_t fieldOffset(const Frame& frame, const FieldDef& field) const {
    return word<std::uint16_t>(frame.vtable + field.value.offset, "the vtable");
  }

  /// Returns the end of the table's bytes.
  std::size_t field(const Frame& frame, const FieldDef& field, const Place& place) {
    const flatbuffers::Type& type = field.value.type;
    const std::uint16_t offset = fieldOffset(frame, field);
    if (offset == 0) return absent(frame, field, place);
    const std::size_t position = frame.start + offset;
    if (position > bytes_.size()) {
      throw Fault{frame.vtable + field.value.offset, place.path + " lies past the end"};
    }
    if (flatbuffers::IsScalar(type.base_type)) return scalar(type.base_type, position, place);
    const std::size_t body = target(position, place, Kind::offsetField);
    if (isTable(field)) {
      const std::size_t end = table(*type.struct_def, body, place.inside());
      return full_ ? end : position + wordSize;
    }
    return std::max(position + wordSize, vector(field, body, place.inside()));
  }

  /// Only the compact encoding leaves fields out, and never arrays or nested records.
  std::size_t absent(const Frame& frame, const FieldDef& field, const Place& place) {
    if (full_ || isTable(field) || fixedCount(field)) {
      throw Fault{frame.vtable + field.value.offset, place.path + " is missing"};
    }
    const bool isScalar = flatbuffers::IsScalar(field.value.type.base_type);
    add(frame.start, 0, Kind::absent, place,
        isScalar ? scalarText(field.value.type.base_type, 0) + ", absent" : "absent");
    return frame.start;
  }

  std::size_t scalar(flatbuffers::BaseType type, std::size_t position, const Place& place) {
    const std::size_t width = flatbuffers::SizeOf(type);
    const std::uint32_t value = wordOf(width, position, place.path);
    add(position, width, Kind::scalar, place, scalarText(type, value));
    return position + width;
  }

  /// Returns the end of the vector; in the full encoding, that of its tables.
  std::size_t vector(const FieldDef& field, std::size_t position, const Place& place) {
    const flatbuffers::Type element = field.value.type.VectorType();
    const bool ofTables = element.base_type == flatbuffers::BASE_TYPE_STRUCT;
    const std::size_t width = ofTables ? wordSize : flatbuffers::SizeOf(element.base_type);
    const auto count = word<std::uint32_t>(position, "the count of " + place.path);
    checkCount(field, count, position, place);
    if (!verifier_.VerifyVectorOrString(bytes_.data() + position, width)) {
      throw Fault{position,
                  place.path + " with " + std::to_string(count) + " elements reaches past the end"};
    }
    add(position, wordSize, Kind::count, place, std::to_string(count));
    const std::size_t first = position + wordSize;
    if (ofTables) return tables(*element.struct_def, first, count, place);
    add(first, count * width, Kind::elements, place, flatbuffers::kTypeNames[element.base_type],
        width);
    return first + count * width;
  }

  void checkCount(const FieldDef& field, std::uint32_t count, std::size_t position,
                  const Place& place) const {
    const auto expected = fixedCount(field);
    if (expected && count != *expected) {
      throw Fault{position, place.path + " has " + std::to_string(count) + " elements, not " +
                                std::to_string(*expected)};
    }
    if (!expected && full_) throw Fault{position, place.path + " is not part of any full encoding"};
  }

  std::size_t tables(const StructDef& def, std::size_t first, std::uint32_t count,
                     const Place& place) {
    std::size_t end = first + count * wordSize;
    for (std::uint32_t i = 0; i < count; ++i) {
      const Place element = place.element(i);
      const std::size_t start = target(first + i * wordSize, element, Kind::tableOffset);
      if (full_) add(start - wordSize, wordSize, Kind::blockOffset, element, at(start));
      const std::size_t tableEnd = table(def, start, element.inside());
      if (full_) end = std::max(end, tableEnd);
    }
    return end;
  }

  void checkForm(const Frame& frame, std::size_t end) const {
    const std::size_t size = end - frame.start;
    if (tableSize(frame) != std::min(size, maxTableSize)) {
      throw Fault{frame.vtable + 2, "a table size of " + std::to_string(tableSize(frame)) +
                                        ", the table has " + std::to_string(size)};
    }
    const bool inPlace =
        full_ ? frame.vtable == frame.start + roundUp(size, 4) : frame.vtableEnd == frame.start;
    if (!inPlace) throw Fault{frame.start, "the vtable is not where the encoding puts it"};
    if (full_ && word<std::uint32_t>(frame.start - wordSize, "the block") != blockWord) {
      throw Fault{frame.start - wordSize, "not the 4 that a block begins with"};
    }
  }

  /// Adds the gaps before the vtable and at the end of the block, and returns that end.
  std::size_t openBytes(const Frame& frame, std::size_t end, const Place& place) {
    const std::size_t block = frame.start - wordSize;
    const std::size_t blockEnd = block + roundUp(frame.vtableEnd - block, 8);
    if (blockEnd > bytes_.size()) {
      throw Fault{bytes_.size(), "the message ends, its last block at " + at(blockEnd)};
    }
    addGap(end, frame.vtable, place);
    addGap(frame.vtableEnd, blockEnd, place);
    return blockEnd;
  }

  void addGap(std::size_t from, std::size_t end, const Place& place) {
    if (from != end) add(from, end - from, Kind::gap, place, "");
  }

  /// Each byte belongs to exactly one item.
  void cover() const {
    std::size_t next = 0;
    for (const Item* item : byPosition(items_)) {
      if (item->position < next) throw Fault{item->position, "bytes that belong to two fields"};
      if (item->position > next) throw Fault{next, stray(item->position - next)};
      next += item->length;
    }
    if (next != bytes_.size()) throw Fault{next, stray(bytes_.size() - next) + ", at the end"};
  }

  static std::string stray(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " byte belongs" : " bytes belong") + " to nothing";
  }

  Bytes bytes_;
  flatbuffers::Verifier verifier_;
  std::vector<Item>& items_;
  bool full_ = false;
};

}  // namespace

bool isFull(Bytes message) {
  return flatbuffers::ReadScalar<std::uint32_t>(message.data()) == blockWord;
}

std::optional<Fault> walk(const Schema::Method& method, Bytes message, std::vector<Item>& items) {
  if (message.size() > maxMessageBytes) return Fault{maxMessageBytes, "longer than any message"};
  items.clear();
  try {
    Walk(message, items).message(*method.request);
  } catch (const Fault& fault) {
    return fault;
  }
  return std::nullopt;
}

std::vector<const Item*> byPosition(const std::vector<Item>& items) {
  std::vector<const Item*> sorted;
  for (const Item& item : items) {
    if (item.length != 0) sorted.push_back(&item);
  }
  std::sort(sorted.begin(), sorted.end(),
            [](const Item* a, const Item* b) { return a->position < b->position; });
  return sorted;
}

std::string at(std::size_t position) {
  return '+' + hex(position, 2);
}

}  // namespace reader
