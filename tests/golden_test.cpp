// Records and their bytes side by side, in tests/goldens/*.txt. A golden is
//
//     METHOD...                    sends the same bytes by each of these methods
//       record  f0=7 f1=4142,30*00 head=1,0,3      members that are not zero
//       compact 16000000 . 1200 3700 ...           as wire.h's expand() reads it
//       full    04000000 . C4FFFFFF ...
//
// where an array or a nested record lists its values from the first on, bytes in hexadecimal pairs,
// words as numbers, "n*" before what comes n times. A line that is indented further goes on.

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>

#include "records.h"
#include "wire.h"

namespace {

struct Golden {
  std::string name;                         ///< file and line
  std::map<std::string, std::string> text;  ///< of methods, record, compact, full
};

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) {
    if (!part.empty()) parts.push_back(part);
  }
  return parts;
}

std::vector<Golden> readGoldens(const std::filesystem::path& path) {
  std::vector<Golden> goldens;
  std::ifstream file(path);
  std::string keyword;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (line.empty() || line[0] == '#') continue;
    const std::size_t indent = line.find_first_not_of(' ');
    std::size_t from = 0;
    if (indent == 0) {
      goldens.push_back({path.stem().string() + "_" + std::to_string(number), {}});
      keyword = "methods";
    } else if (indent == 2) {
      from = line.find(' ', indent);
      keyword = line.substr(indent, from - indent);
    }
    goldens.back().text[keyword] += line.substr(from) + ' ';
  }
  return goldens;
}

std::vector<Golden> allGoldens() {
  std::vector<Golden> goldens;
  for (const auto& entry : std::filesystem::directory_iterator(GOLDENS)) {
    for (Golden& golden : readGoldens(entry.path())) goldens.push_back(std::move(golden));
  }
  return goldens;
}

/// The words of a slot, those of nested records included, in their order.
void listWords(const codec::SlotInfo& slot, u32 base, std::vector<records::Word>& words) {
  for (u32 i = 0; i < slot.count; ++i) {
    const u32 at = base + slot.offset + i * slot.width;
    if (slot.table == nullptr) words.push_back({at, slot.width});
    for (u32 s = 0; slot.table != nullptr && s < slot.table->slotCount; ++s) {
      listWords(slot.table->slots[s], at, words);
    }
  }
}

/// The values that a text like "4142,30*00" or "1,2*0x300" lists.
std::vector<u32> listValues(const std::string& text, bool hexPairs) {
  std::vector<u32> values;
  for (std::string item : split(text, ',')) {
    const std::size_t star = item.find('*');
    const int times = star == std::string::npos ? 1 : std::stoi(item);
    if (star != std::string::npos) item = item.substr(star + 1);
    const std::size_t digits = hexPairs ? 2 : item.size();
    for (int n = 0; n < times; ++n) {
      for (std::size_t i = 0; i < item.size(); i += digits) {
        values.push_back(
            static_cast<u32>(std::stoul(item.substr(i, digits), nullptr, hexPairs ? 16 : 0)));
      }
    }
  }
  return values;
}

void setMember(const Method& method, const std::string& member, u8* record) {
  const std::size_t equals = member.find('=');
  const std::string name = member.substr(0, equals);
  const u32 slot = name == "head" ? 0 : static_cast<u32>(std::stoul(name.substr(1)));
  ASSERT_LT(slot, method.table->slotCount) << member;
  std::vector<records::Word> words;
  listWords(method.table->slots[slot], 0, words);
  const bool hexPairs = words.size() > 1 && words[0].width == 1;
  const std::vector<u32> values = listValues(member.substr(equals + 1), hexPairs);
  ASSERT_LE(values.size(), words.size()) << member;
  for (std::size_t i = 0; i < values.size(); ++i) {
    records::storeWord(record + words[i].offset, words[i].width, values[i]);
  }
}

const Method& methodCalled(const std::string& name) {
  for (const Method& method : methods) {
    if (name == method.name) return method;
  }
  ADD_FAILURE() << "no method is called " << name;
  return methods[0];
}

void PrintTo(const Golden& golden, std::ostream* out) {
  *out << golden.name;
}

class GoldenTest : public testing::TestWithParam<Golden> {};

}  // namespace

TEST_P(GoldenTest, Bytes) {
  Golden golden = GetParam();
  for (const std::string& name : split(golden.text["methods"], ' ')) {
    SCOPED_TRACE(name);
    const Method& method = methodCalled(name);
    wire::Guarded record(method.recordSize, 0);
    const std::string members = std::regex_replace(golden.text["record"], std::regex(", +"), ",");
    for (const std::string& member : split(members, ' ')) {
      setMember(method, member, record.data());
    }
    const IdlMsgDesc desc = wire::describe(method.setIdl);
    const auto expect = [&](const std::string& text, auto encode) {
      if (text.empty()) return;
      EXPECT_EQ(wire::expand(text),
                wire::show(encode(desc, record.data(), 0x00), encode(desc, record.data(), 0xFF)));
    };
    expect(golden.text["compact"], wire::compact);
    expect(golden.text["full"], wire::full);
    EXPECT_NE("", golden.text["compact"] + golden.text["full"]) << "a golden without bytes";
  }
}

INSTANTIATE_TEST_SUITE_P(All, GoldenTest, testing::ValuesIn(allGoldens()),
                         [](const auto& test) { return test.param.name; });

TEST(Goldens, CoverEveryMethodWithRecords) {
  std::map<std::string, int> found;
  for (Golden golden : allGoldens()) {
    for (const std::string& method : split(golden.text["methods"], ' ')) ++found[method];
  }
  for (const Method& method : methods) {
    if (std::string("ProcMqcBatchMsg") == method.name) continue;
    EXPECT_NE(0, found[method.name]) << method.name;
  }
}
