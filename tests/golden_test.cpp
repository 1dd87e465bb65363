// Records and their bytes side by side, in tests/goldens/*.txt, read when the test runs. A golden
// is
//
//     METHOD...                    sends the same bytes by each of these methods
//       record  f0=7 f1=4142,30*00 head=1,0,3      members that are not zero
//       size    66                                 the result of the compact size query
//       compact 16000000 . 1200 3700 ...           as wire.h's expand() reads it
//       full    04000000 . C4FFFFFF ...
//
// where an array or a nested record lists its values from the first on, bytes in hexadecimal pairs,
// words as numbers, "n*" before what comes n times. "f3=" lends no bytes, "f3_len=7" sets a length
// without bytes or another one. A line that is indented further continues the one before.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "wire.h"

namespace {

struct Golden {
  std::string file;
  int line;
  std::map<std::string, std::string> text;  ///< of methods, record, size, compact, full
};

constexpr std::string_view keywords[] = {"record", "size", "compact", "full"};

void readGoldens(const std::filesystem::path& path, std::vector<Golden>& goldens) {
  std::ifstream file(path);
  std::string keyword;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (line.empty() || line[0] == '#') continue;
    const std::size_t indent = line.find_first_not_of(' ');
    std::size_t from = 0;
    if (indent == 0) {
      goldens.push_back({path, number, {}});
      keyword = "methods";
    } else if (indent == 2) {
      from = line.find(' ', indent);
      keyword = line.substr(indent, from - indent);
      if (std::ranges::count(keywords, keyword) == 0)
        ADD_FAILURE_AT(path.c_str(), number) << "no such keyword: " << keyword;
    }
    goldens.back().text[keyword] += line.substr(from) + ' ';
  }
}

/// The values that a text like "4142,30*00" or "1,2*0x300" lists.
std::vector<u32> listValues(const std::string& text, bool hexPairs) {
  std::vector<u32> values;
  for (const std::string& item : wire::items(text, ',')) {
    const std::size_t digits = hexPairs ? 2 : item.size();
    for (std::size_t i = 0; i < item.size(); i += digits)
      values.push_back(wire::number(item.substr(i, digits), hexPairs ? 16 : 0));
  }
  return values;
}

class Record {
 public:
  Record(const methods::Table& table, const std::string& members)
      : table_(table), bytes_(table.recordSize) {
    std::string joined;  // lists go on behind a comma, on the next line, too
    for (const char c : members) {
      if (c != ' ' || !joined.ends_with(',')) joined += c;
    }
    for (const std::string& member : wire::split(joined, ' ')) set(member);
  }
  const u8* data() const { return bytes_.data(); }

 private:
  void set(const std::string& member) {
    const std::size_t equals = member.find('=');
    std::string name = member.substr(0, equals);
    const std::string value = member.substr(equals + 1);
    const bool lengthAlone = name.ends_with("_len");
    if (lengthAlone) name.resize(name.size() - 4);
    const auto slot = std::ranges::find(table_.slots, name, &methods::Slot::name);
    ASSERT_NE(slot, table_.slots.end()) << "no member is called " << name;
    if (slot->kind == methods::Kind::buffer && !lengthAlone) return lend(*slot, value);
    store(*slot, value);
  }
  void store(const methods::Slot& slot, const std::string& value) {
    records::Values found;
    records::collect({"", 0, {&slot, 1}}, 0, found);
    std::vector<records::Word>& words = found.elements.empty() ? found.scalars : found.elements;
    if (slot.kind == methods::Kind::buffer) words = {{slot.offset, 4}};
    const std::vector<u32> values = listValues(value, words.size() > 1 && words[0].width == 1);
    ASSERT_LE(values.size(), words.size()) << value;
    for (std::size_t n = 0; n < values.size(); ++n) {
      records::storeWord(&bytes_[words[n].offset], words[n].width, values[n]);
    }
  }
  void lend(const methods::Slot& slot, const std::string& value) {
    const std::vector<u32> values = listValues(value, true);
    lent_.reset(new u8[values.size()]);  // of none no byte may be touched
    std::ranges::transform(values, lent_.get(), [](u32 byte) { return static_cast<u8>(byte); });
    records::storeBuffer(&bytes_[slot.offset], slot,
                         {lent_.get(), static_cast<u32>(values.size())});
  }

  const methods::Table& table_;
  std::vector<u8> bytes_;
  std::unique_ptr<u8[]> lent_;
};

std::string compare(Golden golden, const methods::Method& method) try {
  using model::Encoding;
  const Record record(*method.request, golden.text["record"]);
  wire::Encoders encoders(method);
  if (const std::string size = golden.text["size"]; !size.empty()) {
    const u32 query = encoders.desc.pack(nullptr, record.data());
    if (query != std::stoul(size)) return "size query returns " + std::to_string(query);
    if (!golden.text.contains("compact")) return "";
  }
  std::string wrong = encoders.run(record.data());
  const auto expect = [&](const char* form, Encoding::Form model, const model::Picture& found) {
    const std::string text = golden.text[form];
    if (!wrong.empty() || text.empty()) return;
    const Encoding meanings(model, *method.request, record.data());
    wrong = model::difference(wire::expand(text), found, meanings);
    if (!wrong.empty()) wrong = std::string(form) + ": " + wrong;
  };
  expect("compact", Encoding::compact, encoders.compact);
  expect("full", Encoding::full, encoders.full);
  const bool hasBytes = golden.text.contains("compact") || golden.text.contains("full");
  return hasBytes ? wrong : "a golden without bytes";
} catch (const std::invalid_argument& error) {
  return error.what();
}

}  // namespace

TEST(Goldens, AreWhatGoesOut) {
  std::vector<Golden> goldens;
  for (const auto& file : std::filesystem::directory_iterator(GOLDENS)) readGoldens(file, goldens);
  std::map<std::string, bool> compact, full;
  for (Golden& golden : goldens) {
    for (const std::string& name : wire::split(golden.text["methods"], ' ')) {
      const methods::Method* const method = methods::find(name);
      const std::string wrong = method != nullptr ? compare(golden, *method) : "no such method";
      if (!wrong.empty()) ADD_FAILURE_AT(golden.file.c_str(), golden.line) << name << ": " << wrong;
      compact[name] |= golden.text.contains("compact");
      full[name] |= golden.text.contains("full");
    }
  }
  for (const methods::Method& method : methods::all) {
    const bool whole = compact[method.name] &&
                       (full[method.name] || wire::Encoders(method).desc.packFull == nullptr);
    EXPECT_TRUE(whole) << method.name << " lacks a golden of an encoding in " GOLDENS;
  }
}
