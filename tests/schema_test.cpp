// The schema for stock readers and the slot lists say the same: tables, fields, ids and types; and
// its service has the methods of the roll call.

#include <flatbuffers/reflection_generated.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "methods.h"

namespace {

using codec::Kind;
using codec::SlotInfo;
using codec::TableInfo;

/// A table's fields, one a line: id, name, type.
using Tables = std::map<std::string, std::string>;

std::string line(u32 id, const std::string& name, const std::string& type) {
  return std::to_string(id) + " " + name + ": " + type + "\n";
}

std::string typeOf(const SlotInfo& slot) {
  static const std::map<u32, std::string> words = {{1, "UByte"}, {2, "UShort"}, {4, "UInt"}};
  const std::string element = slot.table != nullptr ? slot.table->name : words.at(slot.width);
  if (slot.kind == Kind::scalar || slot.kind == Kind::table) return element;
  return "[" + element + "]" + (slot.kind == Kind::buffer ? "" : std::to_string(slot.count));
}

/// Adds a slot list and those of its nested tables. A member's name is the last in parentheses.
void addSlotList(Tables& tables, const TableInfo& info) {
  static const std::regex memberName(R"((\w+)\))");
  const std::string members = info.members;
  std::sregex_iterator member(members.begin(), members.end(), memberName);
  std::string fields;
  for (u32 i = 0; i < info.slotCount; ++i, ++member) {
    fields += line(i, member->str(1), typeOf(info.slots[i]));
    if (info.slots[i].table != nullptr) addSlotList(tables, *info.slots[i].table);
  }
  EXPECT_EQ(std::sregex_iterator(), member) << info.name;
  tables[info.name] = fields;
}

std::string typeOf(const reflection::Schema& schema, const reflection::Field& field) {
  const reflection::Type& type = *field.type();
  const auto named = [&](reflection::BaseType base) -> std::string {
    if (base != reflection::Obj) return reflection::EnumNameBaseType(base);
    return schema.objects()->Get(static_cast<u32>(type.index()))->name()->str();
  };
  if (type.base_type() != reflection::Vector) return named(type.base_type());
  const std::string element = named(type.element());
  const auto* attributes = field.attributes();
  const auto* count = attributes != nullptr ? attributes->LookupByKey("count") : nullptr;
  return "[" + element + "]" + (count != nullptr ? count->value()->str() : "");
}

std::string fieldsOf(const reflection::Schema& schema, const reflection::Object& object) {
  std::map<u32, std::string> lines;
  for (const reflection::Field* field : *object.fields()) {
    lines[field->id()] = line(field->id(), field->name()->str(), typeOf(schema, *field));
    EXPECT_EQ(0, field->default_integer()) << "an absent scalar is zero";
    EXPECT_FALSE(field->required() || field->deprecated());
  }
  std::string fields;
  for (const auto& [id, text] : lines) fields += text;
  return fields;
}

const reflection::Schema& readSchema() {
  static std::string bytes;
  std::ifstream file(TARN_BINARY_SCHEMA, std::ios::binary);
  bytes.assign(std::istreambuf_iterator<char>(file), {});
  flatbuffers::Verifier verifier(reinterpret_cast<const u8*>(bytes.data()), bytes.size());
  EXPECT_TRUE(reflection::VerifySchemaBuffer(verifier)) << TARN_BINARY_SCHEMA;
  return *reflection::GetSchema(bytes.data());
}

TEST(Schema, SaysWhatTheSlotListsSay) {
  const reflection::Schema& schema = readSchema();
  Tables inSchema;
  for (const reflection::Object* object : *schema.objects()) {
    EXPECT_FALSE(object->is_struct()) << object->name()->str();
    inSchema[object->name()->str()] = fieldsOf(schema, *object);
  }
  Tables inSlotLists = {{"MqcReply", line(0, "status", "UInt")}};
  for (const Method& method : methods) addSlotList(inSlotLists, *method.table);

  for (const auto& [name, fields] : inSlotLists) EXPECT_EQ(fields, inSchema[name]) << name;
  EXPECT_EQ(inSlotLists.size(), inSchema.size());
}

TEST(Schema, ServesTheRollCall) {
  const reflection::Schema& schema = readSchema();
  ASSERT_EQ(1u, schema.services()->size());
  const reflection::Service& service = *schema.services()->Get(0);
  EXPECT_EQ("MqcFesIntf", service.name()->str());
  std::vector<std::string> inSchema;
  for (const reflection::RPCCall* call : *service.calls()) {
    inSchema.push_back(call->name()->str() + " " + call->request()->name()->str());
    EXPECT_EQ("MqcReply", call->response()->name()->str());
  }
  std::vector<std::string> inRollCall;
  for (const Method& method : methods) {
    inRollCall.push_back(std::string(method.name) + " " + method.type);
  }
  EXPECT_EQ(inRollCall, inSchema);
}

}  // namespace
