// Walks any bytes as a request of some method, which the first byte picks. A refused message has a
// place of damage; an accepted one is shown whole in every form, with the same JSON as FlatBuffers
// makes.

#include <algorithm>

#include "fuzz.h"
#include "inspect/forms.h"

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

void checkJson(const Readers& readers, const inspect::Message& message) {
  std::string expected;
  const auto* const root = flatbuffers::GetRoot<flatbuffers::Table>(message.bytes.data());
  const std::string table = "mqc." + message.method->request->name;
  require(flatbuffers::GenerateTextFromTable(readers.other, root, table, &expected) &&
              readers.onOneLine.json(*message.method, message.bytes) == expected &&
              dense(readers.onLines.json(*message.method, message.bytes)) == dense(expected),
          "other JSON");
}

void checkForms(const inspect::Message& message) {
  std::string shown, bytes;
  inspect::annotate(message, [&](std::string_view line) { shown += line.substr(8, 24); });
  inspect::addHex(bytes, message.bytes);
  require(dense(shown) == dense(bytes), "annotated with other bytes");
  const std::string section = inspect::section(message, 1);
  const auto open = std::count(section.begin(), section.end(), '<');
  std::ptrdiff_t closed = 0;
  for (std::size_t at = 0; (at = section.find("</", at)) != std::string::npos; ++at) ++closed;
  require(open == 2 * closed, "the page's elements are not closed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Readers readers;
  if (size == 0) return 0;
  const auto& methods = readers.onLines.methods();
  inspect::Message message{"", methods[data[0] % methods.size()], {data + 1, data + size}, {}};
  if (const auto fault = reader::walk(*message.method, message.bytes, message.items)) {
    require(fault->position < size && !fault->words.empty(), "damage without a place");
    return 0;
  }
  checkJson(readers, message);
  checkForms(message);
  return 0;
}
