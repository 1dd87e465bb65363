// Writes docs/catalogue.md: the schema's methods, tables and fields, with their places in the
// records and the sizes that the encoders return.
//
// usage: catalogue SCHEMA_DIR

#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

#include "methods/functions.h"
#include "reader/schema.h"

namespace {

using flatbuffers::FieldDef;
using flatbuffers::StructDef;
using methods::Kind;
using methods::Method;
using methods::Slot;

/// Tables in the order in which requests need them, each once.
struct Table {
  const StructDef* def;
  const methods::Table* record;
  const Method* method;  ///< one with this request, nullptr for a nested table
};

/// With commas between thousands.
std::string grouped(u32 number) {
  const std::string digits = std::to_string(number);
  std::string text;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) text += ',';
    text += digits[i];
  }
  return text;
}

/// Documentation comments as one cell or one paragraph.
std::string prose(const std::vector<std::string>& comment) {
  std::string text;
  for (const std::string& line : comment) {
    const std::size_t start = line.find_first_not_of(' ');
    if (start == std::string::npos) continue;
    if (!text.empty()) text += ' ';
    for (const char c : line.substr(start)) {
      if (c == '|') text += '\\';
      text += c;
    }
  }
  return text;
}

std::string link(const std::string& table) {
  return "[" + table + "](#" + table + ")";
}

std::string elementOf(const Slot& slot) {
  if (slot.table != nullptr) return link(slot.table->name);
  return slot.width == 1 ? "`u8`" : slot.width == 2 ? "`u16`" : "`u32`";
}

std::string typeOf(const Slot& slot) {
  if (slot.kind == Kind::buffer) return "`u8*`, its `u32` length before it";
  std::string text = elementOf(slot);
  if (slot.kind == Kind::vector || slot.kind == Kind::tables) {
    text += " × " + std::to_string(slot.count);
  }
  return text;
}

std::string valuesOf(const Slot& slot) {
  if (slot.table != nullptr) return "";
  return "0 to " + grouped(static_cast<u32>((u64{1} << 8 * slot.width) - 1));
}

/// A record whose scalars and arrays are all zero or all ones; without a buffer, or with one byte.
u32 compactSize(const Method& method, u8 fill, bool withBuffer) {
  static u8 buffer[1];
  std::vector<u8> record(method.request->recordSize, fill);
  for (const Slot& slot : method.request->slots) {
    if (slot.kind != Kind::buffer) continue;
    const u32 length = withBuffer ? sizeof buffer : 0;
    const u8* const data = withBuffer ? buffer : nullptr;
    std::memcpy(&record[slot.offset], &length, sizeof length);
    std::memcpy(&record[slot.offset + slot.size - sizeof data], &data, sizeof data);
  }
  IdlMsgDesc desc;
  methods::functionsOf(method).setIdl(&desc);
  return desc.pack(nullptr, record.data());
}

std::string sizes(const Method& method) {
  const u32 smallest = compactSize(method, 0, false);
  const u32 largest = compactSize(method, 0xFF, false);
  const u32 forBuffer = compactSize(method, 0xFF, true) - largest;
  std::string text = " Compact encoding: " + std::to_string(smallest);
  if (largest > smallest) text += " to " + std::to_string(largest);
  text += " bytes";
  if (forBuffer > 0) text += "; a buffer takes its length and " + std::to_string(forBuffer - 1);
  IdlMsgDesc desc;
  methods::functionsOf(method).setIdl(&desc);
  if (desc.fullSize == nullptr) return text + ". No full encoding.";
  return text + ". Buffer for the full one: " + std::to_string(desc.fullSize()) + " bytes.";
}

bool hasMeanings(const StructDef& def) {
  for (const FieldDef* field : def.fields.vec) {
    if (!field->doc_comment.empty()) return true;
  }
  return false;
}

void printTable(const Table& table) {
  const bool meanings = hasMeanings(*table.def);
  std::printf("\n<a id=\"%s\"></a>\n\n### %s\n\n", table.record->name, table.record->name);
  const std::string comment = prose(table.def->doc_comment);
  if (!comment.empty()) std::printf("%s\n\n", comment.c_str());
  std::printf("Record: %u bytes.", table.record->recordSize);
  if (table.method != nullptr) std::printf("%s", sizes(*table.method).c_str());
  std::printf(
      "\n\n| slot | field | type | record offset | bytes | values "
      "|%s\n|--:|---|---|--:|--:|---|%s\n",
      meanings ? " meaning |" : "", meanings ? "---|" : "");
  for (u32 i = 0; i < table.record->slots.size(); ++i) {
    const Slot& slot = table.record->slots[i];
    const FieldDef& field = *table.def->fields.vec[i];
    std::printf("| %u | `%s` | %s | %u | %u | %s |", i, field.name.c_str(), typeOf(slot).c_str(),
                slot.offset, slot.size, valuesOf(slot).c_str());
    if (meanings) std::printf(" %s |", prose(field.doc_comment).c_str());
    std::printf("\n");
  }
}

class Catalogue {
 public:
  /// Adds a method; returns whether roll call and schema agree on it.
  bool add(const Method& method, const reader::Schema::Method& found) {
    if (method.name != found.name || method.request->name != found.request->name) return false;
    addTable(*found.request, *method.request, &method);
    methods_ += "| `" + found.name + "` | " + link(found.request->name) + " | " +
                prose(found.doc_comment) + " |\n";
    return true;
  }

  void print() const {
    std::printf(
        "## Methods\n\nIn the order of the roll call.\n\n| method | request | meaning "
        "|\n|---|---|---|\n%s",
        methods_.c_str());
    std::printf("\n## Requests\n");
    for (const Table& table : tables_) {
      if (table.method != nullptr) printTable(table);
    }
    std::printf("\n## Nested tables\n");
    for (const Table& table : tables_) {
      if (table.method == nullptr) printTable(table);
    }
  }

 private:
  void addTable(const StructDef& def, const methods::Table& record, const Method* method) {
    for (const Table& table : tables_) {
      if (table.def == &def) return;
    }
    tables_.push_back({&def, &record, method});
    for (u32 i = 0; i < record.slots.size(); ++i) {
      if (record.slots[i].table == nullptr) continue;
      addTable(*def.fields.vec[i]->value.type.struct_def, *record.slots[i].table, nullptr);
    }
  }

  std::vector<Table> tables_;
  std::string methods_;
};

/// Returns what is wrong, or nothing.
std::string fill(Catalogue& catalogue, reader::Schema& schema, const char* dir) {
  std::string fault = schema.load(dir);
  if (!fault.empty()) return fault;
  const auto& found = schema.methods();
  if (found.size() != methods::all.size()) return "roll call and schema differ in length";
  for (std::size_t i = 0; i < found.size(); ++i) {
    const Method& method = methods::all[i];
    if (!catalogue.add(method, *found[i])) {
      return std::string("roll call and schema differ at ") + method.name;
    }
  }
  return "";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: catalogue SCHEMA_DIR\n");
    return 2;
  }
  reader::Schema schema(-1);
  Catalogue catalogue;
  if (const std::string fault = fill(catalogue, schema, argv[1]); !fault.empty()) {
    std::fprintf(stderr, "catalogue: %s\n", fault.c_str());
    return 1;
  }
  std::printf(
      "# Catalogue\n\n"
      "Every method with its request, every table with its fields. Made by `scripts/docs.sh` from\n"
      "`schema/`, the records and the encoders: change those, not this page.\n\n"
      "A field is named after its slot; its meaning is defined by the service. Write meanings "
      "down\n"
      "as documentation comments (`///`) before tables, fields and methods in `schema/*.fbs`: "
      "they\n"
      "appear here, those of fields in a column of their own. Offsets and sizes are bytes of the "
      "record.\n\n");
  catalogue.print();
  return 0;
}
