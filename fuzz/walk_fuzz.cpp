// Walks any bytes as a request of some method, which the first byte picks. A refused message has a
// place of damage; an accepted one is shown whole in every form, with the same JSON as FlatBuffers
// makes.

#include <algorithm>

#include "fuzz.h"
#include "inspect/annotate.h"
#include "page/section.h"

namespace {

struct Readers {
  reader::Schema onLines{2}, onOneLine{-1};
  flatbuffers::Parser other;

  Readers() {
    std::string text;
    const char* includes[] = {SCHEMAS, nullptr};
    other.opts.strict_json = other.opts.output_default_scalars_in_json = true;
    other.opts.indent_step = -1;
    require(onLines.load(SCHEMAS).empty() && onOneLine.load(SCHEMAS).empty() &&
                flatbuffers::LoadFile(SCHEMAS "/mqc_fes_intf.fbs", false, &text) &&
                other.Parse(text.c_str(), includes),
            "no schema");
  }
};

std::string dense(std::string text) {
  std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
  return text;
}

void checkJson(const Readers& readers, const page::Message& message) {
  std::string expected;
  const auto* const root = flatbuffers::GetRoot<flatbuffers::Table>(message.bytes.data());
  const std::string table = "mqc." + message.method->request->name;
  require(flatbuffers::GenerateTextFromTable(readers.other, root, table, &expected) &&
              readers.onOneLine.json(*message.method, message.bytes) == expected &&
              dense(readers.onLines.json(*message.method, message.bytes)) == dense(expected),
          "other JSON");
}

std::ptrdiff_t timesIn(std::string_view text, std::string_view part) {
  std::ptrdiff_t times = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++times;
  return times;
}

bool isClosed(const std::string& section) {
  return timesIn(section, "<") == 2 * timesIn(section, "</");
}

void checkForms(const page::Message& message) {
  std::string shown, bytes;
  inspect::annotate(message, [&](std::string_view line) { shown += line.substr(8, 24); });
  page::addHex(bytes, message.bytes);
  require(dense(shown) == dense(bytes), "annotated with other bytes");
  require(isClosed(page::section(message, 1)), "the page's elements are not closed");
}

void checkDamaged(const page::Message& message, const reader::Fault& fault) {
  const std::string section = page::section(message, fault);
  require(isClosed(section) && timesIn(section, "class=fault") == 1,
          "the damage is not marked once");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Readers readers;
  if (size == 0) return 0;
  const auto& methods = readers.onLines.methods();
  page::Message message{"", methods[data[0] % methods.size()], {data + 1, data + size}, {}};
  if (const auto fault = reader::walk(*message.method, message.bytes, message.items)) {
    require(fault->position < size && !fault->words.empty(), "damage without a place");
    checkDamaged(message, *fault);
    return 0;
  }
  checkJson(readers, message);
  checkForms(message);
  return 0;
}
