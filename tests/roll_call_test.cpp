// All methods against methods.txt: sizes, names, lines, descriptors, the three call variants and
// parameter errors.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "methods/functions.h"
#include "recorder.h"

using recorder::platform;

namespace {

/// A line of methods.txt.
struct Row {
  std::string method, encoder;
  u32 recordSize, line, compactLeast, compactMost, fullWritten, fullSize, cleared;
};

std::vector<Row> readRows() {
  std::vector<Row> rows;
  std::ifstream file(METHODS);
  for (std::string text; std::getline(file, text);) {
    if (text.empty() || text[0] == '#') continue;
    std::istringstream in(text);
    Row row = {};
    in >> row.method >> row.recordSize >> row.encoder >> row.line >> row.compactLeast >>
        row.compactMost >> row.fullWritten >> row.fullSize >> row.cleared;
    const bool whole = in && (in >> std::ws).eof();
    EXPECT_TRUE(whole) << METHODS ": " << text;
    if (whole) rows.push_back(row);
  }
  return rows;
}

/// A method under test: its row, exports and descriptor, and a recorder without records.
struct Case {
  Case(const Row& line, const methods::Functions& found)
      : row(line), exports(found), desc(recorder::describe(found.setIdl)) {
    platform = {};
  }

  /// A record with all bytes set to one value, but with no buffer behind the batch request.
  const void* record(u8 byte) {
    record_.assign(row.recordSize, byte);
    if (row.fullSize == 0) std::memset(&record_[offsetof(MQC_BrkBatchMsg, f3)], 0, 8);
    return record_.data();
  }
  /// The compact encoding of a record, written into exactly as many bytes.
  const u8* pack(const void* req, u32 length) {
    out_.assign(length, 0xA5);
    PackBuf cursor = {out_.data(), &length};
    EXPECT_EQ(length, desc.pack(nullptr, req));
    EXPECT_EQ(length, desc.pack(&cursor, req));
    return out_.data();
  }

  const Row& row;
  const methods::Functions& exports;
  const IdlMsgDesc desc;

 private:
  std::vector<u8> record_, out_;
};

/// Runs a test for every method that has a row.
template <class Test>
void forEachMethod(Test test) {
  const std::vector<Row> rows = readRows();
  for (const methods::Method& method : methods::all) {
    SCOPED_TRACE(method.name);
    const auto row = std::ranges::find(rows, method.name, &Row::method);
    if (row != rows.end()) test(Case(*row, methods::functionsOf(method)));
  }
}

void callback(u32, void*) {}

}  // namespace

TEST(RollCall, HasARowForEachMethodInOrder) {
  std::vector<Row> rows = readRows();
  rows.resize(std::max(rows.size(), methods::all.size()));
  std::map<u32, std::string> encoders;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string method = i < methods::all.size() ? methods::all[i].name : "no method";
    ASSERT_EQ(method, rows[i].method) << "in row " << i + 1 << " of " METHODS;
    EXPECT_EQ(methods::all[i].request->recordSize, rows[i].recordSize) << method << ", its record";
    const auto line = encoders.emplace(rows[i].line, rows[i].encoder).first;
    EXPECT_EQ(line->second, rows[i].encoder) << "have line " << rows[i].line << " both";
  }
}

TEST(RollCall, EncodersAndTheRangeOfTheirSizes) {
  forEachMethod([](Case method) {
    const Row& row = method.row;
    const IdlMsgDesc& desc = method.desc;
    EXPECT_TRUE(desc.slot0 == nullptr && desc.slot2 == nullptr && desc.slot3 == nullptr);
    EXPECT_TRUE((desc.packFull != nullptr) == (row.fullSize != 0) &&
                (desc.fullSize != nullptr) == (row.fullSize != 0));
    method.pack(method.record(0), row.compactLeast);
    method.pack(method.record(0xFF), row.compactMost);
    if (row.fullSize == 0) return;
    EXPECT_EQ(row.fullSize, method.desc.fullSize());
    for (const u8 fill : {u8{0xA5}, u8{0x5A}}) {
      std::vector<u8> out(row.fullSize, fill);
      EXPECT_EQ(0u, method.desc.packFull(out.data(), method.record(0xFF)));
      EXPECT_NE(fill, out[row.fullWritten - 1]) << "the vtable's last byte is never this one";
      EXPECT_EQ(row.fullSize - row.fullWritten,
                std::count(out.begin() + row.fullWritten, out.end(), fill));
    }
  });
}

// By calls that name the exact room.
TEST(RollCall, SlotArraysAreClearedByThePlatform) {
  forEachMethod([](Case method) {
    const void* const record = method.record(0);
    const u8* vtable = method.pack(record, method.row.compactLeast) + 4;
    EXPECT_EQ(method.row.cleared, platform.cleared.size()) << "the last column of methods.txt";
    for (const recorder::Cleared& call : platform.cleared) {
      const std::size_t slots = vtable[0] + 256u * vtable[1] - 4;
      EXPECT_EQ((recorder::Cleared{vtable + 4, slots, 0, slots}), call);
      vtable += slots + 4 + vtable[2] + 256u * vtable[3];
    }
  });
}

TEST(RollCall, BatchBufferIsCopiedByThePlatform) {
  platform = {};
  const u8 bytes[5] = {1, 2, 3, 4, 5};
  const MQC_BrkBatchMsg record = {.f0 = 1, .f3_len = 5, .f3 = bytes};
  u8 out[64];
  u32 capacity = sizeof out;
  PackBuf cursor = {out, &capacity};
  EXPECT_EQ(37u, recorder::describe(MqcFesIntf_ProcMqcBatchMsgSetIdl).pack(&cursor, &record));
  const std::vector<recorder::Cleared> expected = {{out + 32, 5, 0, 5}};
  EXPECT_EQ(expected, platform.copied);
}

TEST(RollCall, CallsHandTheRequestToTheRuntime) {
  forEachMethod([](Case method) {
    const void* const record = method.record(0);
    int option = 0;
    int user = 0;
    platform.status = 0xFEDCBA98;
    EXPECT_EQ(platform.status, method.exports.call(record, &option));
    EXPECT_EQ(platform.status, method.exports.async(record, callback, &user, &option));
    EXPECT_EQ(platform.status, method.exports.oneway(record, &option));

    using Sent = recorder::Sent;
    const u64 size = method.row.recordSize;
    const std::string name = "MqcFesIntf." + method.row.method;
    const IdlMsgDesc& desc = method.desc;
    const std::vector<Sent> expected = {
        {"sync", platform.handle, record, size, name, desc, nullptr, nullptr},
        {"async", platform.handle, record, size, name, desc, callback, &user},
        {"oneway", platform.handle, record, 0, name, desc, nullptr, nullptr}};
    EXPECT_TRUE(expected == platform.sent);
    EXPECT_EQ(std::vector<RpcServerAddr*>(3, &g_stServerAddr_MqcFesIntf), platform.addresses);
    EXPECT_EQ(std::vector<void*>(3, &option), platform.options);
  });
}

TEST(RollCall, OnlyOnewayRefusesNull) {
  forEachMethod([](Case method) {
    const void* const record = method.record(0);
    const methods::Functions& exports = method.exports;
    EXPECT_EQ(0u, exports.call(nullptr, nullptr));
    EXPECT_EQ(0u, exports.async(nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(2u, platform.sent.size());
    EXPECT_EQ(22u, exports.oneway(nullptr, nullptr));
    EXPECT_EQ(3u, platform.addresses.size()) << "the handle is requested all the same";
    platform.handle = nullptr;
    EXPECT_EQ(22u, exports.oneway(record, nullptr));
    EXPECT_EQ(2u, platform.sent.size());
    EXPECT_EQ(0u, exports.call(record, nullptr));
    EXPECT_EQ(0u, exports.async(record, nullptr, nullptr, nullptr));
    EXPECT_EQ(4u, platform.sent.size());
  });
}

TEST(RollCall, ParameterErrorIsLogged) {
  forEachMethod([](Case method) {
    std::vector<u8> out(3, 0xA5);
    u32 capacity = 3;
    PackBuf cursor = {out.data(), &capacity};
    EXPECT_EQ(0u, method.desc.pack(&cursor, method.record(0)));
    EXPECT_EQ(std::vector<u8>(3, 0xA5), out);
    EXPECT_EQ(0u, method.desc.pack(nullptr, nullptr)) << "a size query logs nothing";
    const std::vector<std::string> expected = {
        "VELTA VELTA_TORVAL_SERIAL 25088 2 22 '' " + method.row.encoder + ':' +
        std::to_string(method.row.line) + " [VELTA]:Param invalid(nonNull, 3, nonNull)"};
    EXPECT_EQ(expected, platform.logged);
  });
}
