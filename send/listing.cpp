#include "send/listing.h"

#include "methods/fields.h"

namespace send {
namespace {

using methods::Kind;
using methods::Slot;
using methods::Table;

/// What text repeated so often is, with the separator between.
std::string repeated(const std::string& text, u32 count, const std::string& separator) {
  std::string all;
  for (u32 i = 0; i < count; ++i) all += (i > 0 ? separator : "") + text;
  return all;
}

std::string sampleOf(const Table& table, const std::string& indent);

std::string sampleOf(const Slot& slot, const std::string& indent) {
  const bool isBytes = slot.width == 1;
  switch (slot.kind) {
    case Kind::scalar:
      return "0";
    case Kind::buffer:
      return "\"\"";
    case Kind::vector:
      return isBytes ? '"' + repeated("00", slot.count, ":") + '"'
                     : "[" + repeated("0", slot.count, ", ") + "]";
    case Kind::table:
      return sampleOf(*slot.table, indent);
    default:
      const std::string deeper = indent + "  ";
      return "[" + deeper + repeated(sampleOf(*slot.table, deeper), slot.count, "," + deeper) +
             indent + "]";
  }
}

/// @param indent a line's end, and the spaces before the table's own last line
std::string sampleOf(const Table& table, const std::string& indent) {
  const std::string deeper = indent + "  ";
  std::string text = "{";
  for (const Slot& slot : table.slots) {
    text += (&slot == table.slots.data() ? "" : ",") + deeper + '"';
    text.append(slot.name).append("\": ").append(sampleOf(slot, deeper));
  }
  return text + indent + '}';
}

std::string typeOf(const Slot& slot) {
  const std::string word = "u" + std::to_string(8 * slot.width);
  if (slot.kind == Kind::buffer) return "u8[]";
  return slot.kind == Kind::scalar ? word : word + methods::brackets(slot.count);
}

void addFields(const Table& table, const std::string& prefix, std::string& text) {
  for (const Slot& slot : table.slots) {
    const std::string path = prefix + std::string(slot.name);
    if (slot.table == nullptr) {
      text += path + ' ' + typeOf(slot) + '\n';
    } else if (slot.kind == Kind::table) {
      addFields(*slot.table, path + '.', text);
    } else {
      for (u32 i = 0; i < slot.count; ++i) {
        addFields(*slot.table, path + methods::brackets(i) + '.', text);
      }
    }
  }
}

}  // namespace

std::string sampleOf(const methods::Method& method) {
  return sampleOf(*method.request, "\n") + '\n';
}

std::string fieldsOf(const methods::Method& method) {
  std::string text;
  addFields(*method.request, "", text);
  return text;
}

std::string listMethods() {
  std::string text;
  for (const methods::Method& method : methods::all) {
    text += std::string(method.name) + ' ' + method.request->name + '\n';
  }
  return text;
}

}  // namespace send
