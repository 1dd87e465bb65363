// The schema for stock FlatBuffers readers: it agrees with the slot lists and the roll call, and
// the code that flatc generates from it reads both encodings of every method.

#include <flatbuffers/flatbuffers.h>
#include <flatbuffers/minireflect.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "mqc_fes_intf_generated.h"
#include "wire.h"

namespace {

using methods::Kind;
using methods::Slot;
using methods::Table;

/// Tables' fields as the schema has them, without its line breaks.
using Tables = std::map<std::string, std::string>;

void addSlotList(Tables& tables, const Table& info) {
  static const std::map<u32, std::string> words = {{1, "ubyte"}, {2, "ushort"}, {4, "uint"}};
  std::string fields;
  for (u32 i = 0; i < info.slots.size(); ++i) {
    const Slot& slot = info.slots[i];
    if (slot.table != nullptr) addSlotList(tables, *slot.table);
    const std::string element = slot.table != nullptr ? slot.table->name : words.at(slot.width);
    const bool single = slot.kind == Kind::scalar || slot.kind == Kind::table;
    const bool counted = !single && slot.kind != Kind::buffer;
    fields += ' ' + std::string(slot.name) + ": " + (single ? element : '[' + element + ']') +
              " (id: " + std::to_string(i) +
              (counted ? ", count: " + std::to_string(slot.count) : "") + ");";
  }
  tables[info.name] = fields + ' ';
}

/// A schema's words without comments, with one blank before and behind each.
std::string schemaText(const char* name) {
  std::ifstream file(std::string(SCHEMAS) + name);
  std::string text;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line.substr(0, line.find("//")));
    for (std::string word; words >> word;) text += ' ' + word;
  }
  return text + ' ';
}

/// Takes the tables out of the text.
Tables takeTables(std::string& text) {
  Tables tables;
  const std::string_view head = " table ";
  for (std::size_t at = 0; (at = text.find(head)) != std::string::npos;) {
    const std::size_t name = at + head.size();
    const std::size_t open = text.find(" {", at), close = text.find('}', at);
    if (open > close || close == std::string::npos) break;  // stays, and is seen there
    tables[text.substr(name, open - name)] = text.substr(open + 2, close - open - 2);
    text.erase(at, close + 1 - at);
  }
  return tables;
}

TEST(Schema, SaysWhatTheSlotListsSay) {
  std::string schema = schemaText("/mqc_fes_intf.fbs");
  Tables inSchema = takeTables(schema), inSlotLists;
  EXPECT_EQ(" attribute \"count\"; namespace mqc; ", schema);
  for (const methods::Method& method : methods::all) addSlotList(inSlotLists, *method.request);
  for (const auto& [name, fields] : inSlotLists) EXPECT_EQ(fields, inSchema[name]) << name;
  EXPECT_EQ(inSlotLists.size(), inSchema.size());
}

TEST(Schema, ServesTheRollCall) {
  const std::string service = schemaText("/mqc_fes_intf_service.fbs");
  std::string methodsText;
  for (const methods::Method& method : methods::all) {
    const std::string row =
        std::string(method.name) + "(mqc." + method.request->name + "): mqc.MqcReply; ";
    ASSERT_NE(service.find(row), std::string::npos) << "the service's schema lacks " << row;
    methodsText += row;
  }
  EXPECT_EQ(
      " include \"mqc_fes_intf.fbs\"; include \"mqc_reply.fbs\"; include \"mqc_stream.fbs\"; "
      "rpc_service MqcFesIntf { " +
          methodsText + "stream(mqc.MqcCalls): mqc.MqcAnswers (streaming: \"bidi\"); } ",
      service);
  EXPECT_EQ(" namespace mqc; table MqcReply { status: uint (id: 0); } ",
            schemaText("/mqc_reply.fbs"));
}

struct Stock {
  const flatbuffers::TypeTable* (*table)();
  bool (*verify)(flatbuffers::Verifier& verifier);
};

#define ROW(method, Type) \
  {mqc::Type##TypeTable,  \
   [](flatbuffers::Verifier& verifier) { return verifier.VerifyBuffer<mqc::Type>(nullptr); }},
constexpr Stock stockTables[] = {MQC_FES_INTF_METHODS(ROW, ROW)};
#undef ROW

/// A record as FlatBuffers shows a table: all its values, or only those that are not zero.
std::string shown(const Table& info, const u8* record, bool zeros) {
  std::string fields;
  for (const Slot& slot : info.slots) {
    const u8* const member = record + slot.offset;
    const bool scalar = slot.kind == Kind::scalar;
    if (scalar ? !zeros && records::loadWord(member, slot.width) == 0
               : !records::isSent(member, slot)) {
      continue;
    }
    const records::Buffer from = slot.kind == Kind::buffer ? records::loadBuffer(member, slot)
                                                           : records::Buffer{member, slot.count};
    std::string values;
    for (u32 n = 0; n < from.length; ++n) {
      const u8* const at = from.data + n * slot.width;
      values += (n == 0 ? "" : ", ") + (slot.table != nullptr
                                            ? shown(*slot.table, at, zeros)
                                            : std::to_string(records::loadWord(at, slot.width)));
    }
    const bool single = scalar || slot.kind == Kind::table;
    fields += (fields.empty() ? "" : ", ") + std::string(slot.name) + ": " +
              (single ? values : "[ " + values + " ]");
  }
  return "{ " + fields + " }";
}

std::string asStockReaderShows(const Stock& tables, const model::Picture& picture) {
  std::vector<u8> bytes;
  for (const std::int16_t byte : picture) bytes.push_back(static_cast<u8>(std::max<int>(byte, 0)));
  flatbuffers::Verifier::Options options;
  options.check_alignment = false;
  flatbuffers::Verifier verifier(bytes.data(), bytes.size(), options);
  if (!tables.verify(verifier)) return "refused by the verifier";
  return flatbuffers::FlatBufferToString(bytes.data(), tables.table(), false, false);
}

TEST(Schema, ReadsBothEncodings) {
  for (const methods::Method& method : methods::all) {
    const Stock& tables = stockTables[&method - methods::all.data()];
    records::Maker maker(*method.request, 11);
    wire::Encoders encoders(method);
    for (u64 k = 0; k < 64 && !HasFailure(); ++k) {
      const u8* const record = maker.make(maker.presence(k * 331));
      ASSERT_EQ("", encoders.run(record)) << method.name;
      ASSERT_EQ(shown(*method.request, record, false), asStockReaderShows(tables, encoders.compact))
          << method.name;
      if (encoders.desc.packFull == nullptr) continue;
      ASSERT_EQ(shown(*method.request, record, true), asStockReaderShows(tables, encoders.full))
          << method.name;
    }
  }
}

}  // namespace
