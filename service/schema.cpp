#include "service/schema.h"

#include <flatbuffers/util.h>

#include <algorithm>

#include "service/mqc_service.h"

namespace service {
namespace {

using flatbuffers::Table;
using flatbuffers::Verifier;
using Tables = flatbuffers::Vector<flatbuffers::Offset<Table>>;

bool verifyTable(Verifier& verifier, const flatbuffers::StructDef& def, const Table& table);

bool verifyTables(Verifier& verifier, const flatbuffers::StructDef& def, const Tables& tables) {
  if (!verifier.VerifyVector(&tables)) return false;
  return std::all_of(tables.begin(), tables.end(),
                     [&](const Table* table) { return verifyTable(verifier, def, *table); });
}

bool verifyField(Verifier& verifier, const flatbuffers::FieldDef& field, const Table& table) {
  const flatbuffers::Type& type = field.value.type;
  const std::uint8_t* const place = table.GetAddressOf(field.value.offset);
  if (place == nullptr) return true;
  if (flatbuffers::IsScalar(type.base_type)) {
    return verifier.VerifyFromPointer(place, flatbuffers::InlineSize(type));
  }
  if (!table.VerifyOffset(verifier, field.value.offset)) return false;
  const std::uint8_t* const target = table.GetPointer<const std::uint8_t*>(field.value.offset);
  if (type.base_type == flatbuffers::BASE_TYPE_STRUCT) {
    return verifyTable(verifier, *type.struct_def, *reinterpret_cast<const Table*>(target));
  }
  if (type.element == flatbuffers::BASE_TYPE_STRUCT) {
    return verifyTables(verifier, *type.struct_def, *reinterpret_cast<const Tables*>(target));
  }
  return verifier.VerifyVectorOrString(target, flatbuffers::SizeOf(type.element));
}

// What FlatBuffers itself offers for a schema that is read at run time asks for alignment.
bool verifyTable(Verifier& verifier, const flatbuffers::StructDef& def, const Table& table) {
  if (!table.VerifyTableStart(verifier)) return false;
  const auto& fields = def.fields.vec;
  return std::all_of(fields.begin(), fields.end(),
                     [&](const auto* field) { return verifyField(verifier, *field, table); }) &&
         verifier.EndTable();
}

}  // namespace

std::string Schema::load(const std::string& dir) {
  const std::string path = dir + "/mqc_fes_intf_service.fbs";
  std::string text;
  if (!flatbuffers::LoadFile(path.c_str(), false, &text)) return path + ": cannot be read";
  parser_.opts.strict_json = true;
  parser_.opts.output_default_scalars_in_json = true;
  parser_.opts.indent_step = -1;  // all on one line
  const char* includes[] = {dir.c_str(), nullptr};
  if (!parser_.Parse(text.c_str(), includes, path.c_str())) return parser_.error_;
  return parser_.services_.vec.size() == 1 ? "" : path + ": not one service";
}

const Schema::Method* Schema::method(const std::string& name) const {
  return service()->calls.Lookup(name);
}

std::size_t Schema::methodCount() const {
  return service()->calls.vec.size();
}

bool Schema::verify(const Method& method, Bytes message) {
  Verifier verifier = mqc::verifier(message.data(), message.size());
  return verifier.VerifyOffset(0) != 0 &&
         verifyTable(verifier, *method.request, *flatbuffers::GetRoot<Table>(message.data()));
}

std::string Schema::json(const Method& method, Bytes message) const {
  std::string text;
  const Table* const root = flatbuffers::GetRoot<Table>(message.data());
  if (!flatbuffers::GenerateTextFromTable(parser_, root, method.request->name, &text)) return "";
  return text;
}

}  // namespace service
