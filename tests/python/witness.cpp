// Prints random requests of every method, a line each: the method, both encodings as hexadecimal,
// and the JSON that the schema reads from the compact one.
//
// usage: witness SCHEMAS RECORDS SEED

#include <cstdio>
#include <cstdlib>
#include <string>

#include "methods/functions.h"
#include "reader/schema.h"
#include "records.h"

namespace {

using Bytes = std::vector<u8>;

Bytes compactOf(const IdlMsgDesc& desc, const u8* record) {
  u32 capacity = desc.pack(nullptr, record);
  Bytes bytes(capacity);
  PackBuf cursor = {bytes.data(), &capacity};
  bytes.resize(desc.pack(&cursor, record));
  return bytes;
}

Bytes fullOf(const IdlMsgDesc& desc, const u8* record) {
  if (desc.packFull == nullptr) return {};
  Bytes bytes(desc.fullSize());
  desc.packFull(bytes.data(), record);
  return bytes;
}

void printHex(const Bytes& bytes) {
  for (const u8 byte : bytes) std::printf("%02x", byte);
  std::putchar('\t');
}

}  // namespace

int main(int argc, char** argv) {
  reader::Schema schema(-1);
  if (argc != 4 || !schema.load(argv[1]).empty()) return 2;
  for (const methods::Method& method : methods::all) {
    IdlMsgDesc desc;
    methods::functionsOf(method).setIdl(&desc);
    records::Maker maker(*method.request, std::strtoull(argv[3], nullptr, 10));
    for (u64 k = std::strtoull(argv[2], nullptr, 10); k-- > 0;) {
      const u8* const record = maker.make(maker.presence(k));
      const Bytes compact = compactOf(desc, record);
      std::printf("%s\t", method.name);
      printHex(compact);
      printHex(fullOf(desc, record));
      std::puts(schema.json(*schema.method(method.name), compact).c_str());
    }
  }
  return 0;
}
