#include "send/message.h"

#include <flatbuffers/flatbuffers.h>

#include <algorithm>

namespace send {
namespace {

using methods::Field;
using methods::Kind;
using methods::Request;
using reader::number;

constexpr u32 wordSize = 4;

std::string readTable(const u8* at, const methods::Table& table, u32 base, Request& request);

std::string readElements(const u8* count, const Field& array, Request& request) {
  const u32 elements = number(count, wordSize);
  const u8* const first = count + wordSize;
  if (Request::takesHex(array)) return request.setBytes(array, {first, first + elements});
  if (elements > array.count) return methods::tooLong(elements, array);
  const std::size_t width = array.kind == Kind::tables ? wordSize : array.width;
  for (u32 i = 0; i < elements; ++i) {
    const u8* const at = first + i * width;
    const Field element = methods::elementOf(array, i);
    const std::string fault =
        element.kind == Kind::scalar
            ? request.setNumber(element, number(at, width))
            : readTable(at + number(at, wordSize), *element.table, element.offset, request);
    if (!fault.empty()) return methods::brackets(i) + methods::placed(fault);
  }
  return "";
}

/// @param at the field's own bytes: a number or an offset
std::string readField(const u8* at, const Field& field, Request& request) {
  if (field.kind == Kind::scalar) return request.setNumber(field, number(at, field.width));
  const u8* const body = at + number(at, wordSize);
  if (field.kind == Kind::table) return readTable(body, *field.table, field.offset, request);
  return readElements(body, field, request);
}

std::string readTable(const u8* at, const methods::Table& table, u32 base, Request& request) {
  const auto& read = *reinterpret_cast<const flatbuffers::Table*>(at);
  flatbuffers::voffset_t entry = flatbuffers::FieldIndexToOffset(0);
  for (const methods::Slot& slot : table.slots) {
    const u8* const found = read.GetAddressOf(entry);
    entry = static_cast<flatbuffers::voffset_t>(entry + sizeof entry);
    if (found == nullptr) continue;
    const std::string fault = readField(found, methods::fieldOf(slot, base), request);
    if (!fault.empty()) return std::string(slot.name) + methods::placed(fault);
  }
  return "";
}

}  // namespace

std::string readMessage(const methods::Method& method, reader::Bytes message, Request& request) {
  request = Request(*method.request);
  return readTable(message.data() + number(message.data(), wordSize), *method.request, 0, request);
}

std::string firstDifference(reader::Bytes message, reader::Bytes walked,
                            const std::vector<reader::Item>& items) {
  for (const reader::Item* item : reader::byPosition(items)) {
    if (item->kind == reader::Kind::gap) continue;
    const reader::Bytes expected = walked.subspan(item->position, item->length);
    const reader::Bytes rest = message.subspan(std::min(item->position, message.size()));
    const auto differ = std::ranges::mismatch(expected, rest);
    if (differ.in1 == expected.end()) continue;
    const auto inside = static_cast<std::size_t>(differ.in1 - expected.begin());
    return reader::at(item->position + inside) + (item->path.empty() ? "" : ", ") + item->path;
  }
  return message.size() == walked.size() ? "" : reader::at(walked.size());
}

}  // namespace send
