// Prints a file of the Python package: _table.py, the records and methods as data, or the stub of
// the module that makes records or methods of it.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "methods/methods.h"

namespace {

using methods::Kind;
using methods::Slot;
using methods::Table;

/// The record's class: its type without the prefix.
std::string className(const Table& table) {
  std::string type = table.name;
  for (const char* prefix : {"MQC_", "SPSA_", "Mqc"}) {
    const std::string before = prefix;
    if (type.rfind(before, 0) == 0) return type.substr(before.size());
  }
  return type;
}

void collect(const Table& table, std::vector<const Table*>& found) {
  if (std::find(found.begin(), found.end(), &table) != found.end()) return;
  for (const Slot& slot : table.slots) {
    if (slot.table != nullptr) collect(*slot.table, found);
  }
  found.push_back(&table);
}

/// Every record once, after the records that it holds.
std::vector<const Table*> records() {
  std::vector<const Table*> found;
  for (const methods::Method& method : methods::all) collect(*method.request, found);
  return found;
}

const char* kindName(Kind kind) {
  constexpr const char* names[] = {"scalar", "vector", "table", "tables", "buffer"};
  return names[static_cast<int>(kind)];
}

void printSlot(const Slot& slot) {
  const std::string table = slot.table == nullptr ? "None" : '"' + className(*slot.table) + '"';
  std::printf("        (\"%s\", \"%s\", %u, %u, %u, %s),\n", std::string(slot.name).c_str(),
              kindName(slot.kind), slot.width, slot.count, slot.offset, table.c_str());
}

void printTable() {
  std::puts("\"\"\"The records and methods of MqcFesIntf.\"\"\"\n");
  std::puts("# Class, type in C, size; name, kind, width, count, offset, class of each member.");
  std::puts("RECORDS = (");
  for (const Table* table : records()) {
    std::printf("    (\"%s\", \"%s\", %u, (\n", className(*table).c_str(), table->name,
                table->recordSize);
    for (const Slot& slot : table->slots) printSlot(slot);
    std::puts("    )),");
  }
  std::puts(")\n\n# Method and class of its request, in the order of the interface.\nMETHODS = (");
  for (const methods::Method& method : methods::all) {
    std::printf("    (\"%s\", \"%s\"),\n", method.name, className(*method.request).c_str());
  }
  std::puts(")");
}

bool isBytes(const Slot& slot) {
  return slot.kind == Kind::buffer || (slot.kind == Kind::vector && slot.width == 1);
}

/// What the attribute of a record is.
std::string attributeType(const Slot& slot) {
  if (isBytes(slot)) return "bytes";
  if (slot.kind == Kind::table) return className(*slot.table);
  if (slot.kind == Kind::tables) return "Tuple[" + className(*slot.table) + ", ...]";
  return slot.kind == Kind::vector ? "Tuple[int, ...]" : "int";
}

/// What a record and a method take for it.
std::string argumentType(const Slot& slot, const std::string& module) {
  if (isBytes(slot)) return "BytesLike";
  if (slot.kind == Kind::scalar) return "int";
  if (slot.kind == Kind::vector) return "Iterable[int]";
  const std::string one = "Union[" + module + className(*slot.table) + ", Mapping[str, Any]]";
  return slot.kind == Kind::table ? one : "Iterable[" + one + "]";
}

void printArguments(const Table& table, const std::string& module) {
  for (const Slot& slot : table.slots) {
    std::printf(", %s: %s = ...", std::string(slot.name).c_str(),
                argumentType(slot, module).c_str());
  }
}

void printRecord(const Table& table) {
  std::printf("\nclass %s(Record):\n", className(table).c_str());
  for (const Slot& slot : table.slots) {
    std::printf("    %s: %s\n", std::string(slot.name).c_str(), attributeType(slot).c_str());
  }
  std::printf("    def __init__(self, *");
  printArguments(table, "");
  std::puts(") -> None: ...");
}

void printRecords() {
  std::puts(
      "from typing import Any, Dict, Iterable, List, Mapping, Tuple, Type, Union\n\n"
      "from ._record import BytesLike, Record\n");
  for (const Table* table : records()) printRecord(*table);
  std::puts("\nRECORDS: Dict[str, Type[Record]]\n\n__all__: List[str] = [");
  for (const Table* table : records()) std::printf("    \"%s\",\n", className(*table).c_str());
  std::puts("]");
}

std::string stubName(const methods::Method& method) {
  return std::string("_") + method.name;
}

void printMethod(const methods::Method& method) {
  const std::string request = "records." + className(*method.request);
  std::printf("\nclass %s:\n    name: str\n    request: Type[%s]\n", stubName(method).c_str(),
              request.c_str());
  constexpr const char* ways[][2] = {
      {"__call__", "Status"}, {"submit", "Call"}, {"oneway", "Status"}};
  for (const auto& [way, result] : ways) {
    std::printf("    def %s(self, request: Union[%s, Mapping[str, Any], None] = ..., /, *", way,
                request.c_str());
    printArguments(*method.request, "records.");
    std::printf(") -> %s: ...\n", result);
  }
}

void printMethods() {
  std::puts(
      "from typing import Any, Dict, Iterable, Mapping, Type, Union\n\n"
      "from . import records\nfrom ._call import Call\nfrom ._record import BytesLike, Record\n"
      "from ._status import Status\n");
  for (const methods::Method& method : methods::all) printMethod(method);
  std::puts("\nclass Methods:");
  for (const methods::Method& method : methods::all) {
    std::printf("    %s: %s\n", method.name, stubName(method).c_str());
  }
  std::puts("\nREQUESTS: Dict[str, Type[Record]]");
}

}  // namespace

int main(int argc, char** argv) {
  const std::string file = argc == 2 ? argv[1] : "";
  if (file == "table") {
    printTable();
  } else if (file == "records") {
    printRecords();
  } else if (file == "methods") {
    printMethods();
  } else {
    std::fputs("usage: python_generate table|records|methods\n", stderr);
    return 2;
  }
  return 0;
}
