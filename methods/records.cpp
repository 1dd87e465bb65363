// Prints the layout of every record that a caller fills, nested ones included, a line each: type
// and size, then name, offset and width of each member.

#include <cstdio>
#include <set>

#include "methods/methods.h"

namespace {

using methods::Kind;
using methods::Slot;
using methods::Table;

void printMember(std::string_view name, const char* suffix, u32 offset, u32 width) {
  std::printf("  %.*s%s %u %u", static_cast<int>(name.size()), name.data(), suffix, offset, width);
}

void printSlot(const Slot& slot) {
  if (slot.kind != Kind::buffer) return printMember(slot.name, "", slot.offset, slot.size);
  const u32 pointer = slot.offset + slot.size - u32{sizeof(u8*)};
  printMember(slot.name, "_len", slot.offset, sizeof(u32));
  printMember(slot.name, "", pointer, sizeof(u8*));
}

void print(const Table& table, std::set<const Table*>& printed) {
  if (!printed.insert(&table).second) return;
  for (const Slot& slot : table.slots) {
    if (slot.table != nullptr) print(*slot.table, printed);
  }
  std::printf("%s %u", table.name, table.recordSize);
  for (const Slot& slot : table.slots) printSlot(slot);
  std::printf("\n");
}

}  // namespace

int main() {
  std::puts("# Made by scripts/abi.sh --update: record, size; each member, its offset, width.");
  std::set<const Table*> printed;
  for (const methods::Method& method : methods::all) print(*method.request, printed);
  return 0;
}
