// Rules of how requests are answered: requests of every method in both encodings against them, and
// the scripts of tests/scripts.txt.

#include "script/script.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <thread>

#include "wire.h"

namespace {

using script::Answer;
using std::chrono::milliseconds;
using Message = std::vector<u8>;

/// A file that is gone with it.
class File {
 public:
  explicit File(const std::string& text) {
    const int file = ::mkstemp(path.data());
    EXPECT_GE(file, 0);
    ::close(file);
    std::ofstream(path, std::ios::binary) << text;
  }
  ~File() { ::unlink(path.c_str()); }

  std::string path = testing::TempDir() + "scriptXXXXXX";
};

/// A script of these rules.
struct Rules {
  explicit Rules(const std::string& rules) {
    EXPECT_EQ(script.read(File("{\"rules\": [" + rules + "]}").path), "") << rules;
  }

  /// The answer as a text: "5", "grpc 14", "dropped", "garbage", with " +300" for its delay.
  std::string take(std::string_view method, std::span<const u8> message, int now = 0) {
    const auto answer = script.take(method, message, beginning + milliseconds(now));
    if (!answer) return "nothing";
    const std::string number = std::to_string(answer->number);
    const std::string kinds[] = {number, "grpc " + number, "dropped", "garbage"};
    const std::string delay = std::to_string(answer->delay.count());
    return kinds[static_cast<int>(answer->kind)] + (delay == "0" ? "" : " +" + delay);
  }

  static constexpr std::chrono::steady_clock::time_point beginning{milliseconds(1000)};
  script::Script script;
};

Message bytesOf(const wire::Picture& picture) {
  Message bytes;
  for (const std::int16_t byte : picture) bytes.push_back(static_cast<u8>(std::max<int>(byte, 0)));
  return bytes;
}

/// A request in each encoding that its method has.
std::vector<Message> encoded(const methods::Method& method, const void* record) {
  wire::Encoders encoders(method);
  EXPECT_EQ(encoders.run(static_cast<const u8*>(record)), "");
  std::vector<Message> messages = {bytesOf(encoders.compact)};
  if (encoders.desc.packFull != nullptr) messages.push_back(bytesOf(encoders.full));
  return messages;
}

Message ruleMac(u8 f3) {
  MQC_RuleMac record = {};
  record.f3 = f3;
  return encoded(*methods::find("sendRuleMac"), &record)[0];
}

/// Calls f with the path of each number of a record, the place of its bytes, and their width.
template <class F>
void eachNumber(const methods::Table& table, u8* record, const std::string& in, F f) {
  for (const methods::Slot& slot : table.slots) {
    u8* at = record + slot.offset;
    const bool isBuffer = slot.kind == methods::Kind::buffer;
    if (isBuffer && !records::isSent(at, slot)) continue;
    const records::Buffer lent = isBuffer ? records::loadBuffer(at, slot) : records::Buffer{};
    if (isBuffer) at = const_cast<u8*>(lent.data);
    const bool isOne = slot.kind == methods::Kind::scalar || slot.kind == methods::Kind::table;
    for (u32 i = 0; i < (isBuffer ? lent.length : slot.count); ++i) {
      const std::string index = isOne ? "" : '[' + std::to_string(i) + ']';
      const std::string path = in + std::string(slot.name) + index;
      u8* const element = at + i * slot.width;
      if (slot.table != nullptr)
        eachNumber(*slot.table, element, path + '.', f);
      else
        f(path, element, slot.width);
    }
  }
}

TEST(Script, FindsEveryNumberOfEveryMethodInBothEncodings) {
  for (const methods::Method& method : methods::all) {
    records::Maker maker(*method.request, 22);
    std::string match;
    u8* const record = maker.make(0x5555'5555'5555'5555);
    std::vector<std::pair<u8*, u32>> numbers;
    eachNumber(*method.request, record, "", [&](const std::string& path, u8* at, u32 width) {
      numbers.emplace_back(at, width);
      match += (match.empty() ? "\"" : ", \"") + path +
               "\": " + std::to_string(records::loadWord(at, width));
    });
    Rules named("{\"method\": \"" + std::string(method.name) + "\", \"match\": {" + match +
                "}, \"answers\": [{\"status\": 7}]}");
    Rules unnamed("{\"match\": {" + match + "}, \"answers\": [{\"status\": 8}]}");
    for (const Message& message : encoded(method, record)) {
      EXPECT_EQ(named.take(method.name, message), "7") << method.name << ' ' << match;
      EXPECT_EQ(unnamed.take(method.name, message), "8") << method.name;
    }
    for (std::size_t i = 0; i < numbers.size(); i += 1 + numbers.size() / 20) {
      const auto [at, width] = numbers[i];
      const u32 kept = records::loadWord(at, width);
      records::storeWord(at, width, kept ^ 1);
      for (const Message& message : encoded(method, record)) {
        EXPECT_EQ(named.take(method.name, message), "nothing") << method.name << ", number " << i;
      }
      records::storeWord(at, width, kept);
    }
  }
}

TEST(Script, TheFirstRuleThatFitsCountsAndAnswers) {
  Rules rules(
      R"({"method": "sendRuleMac", "match": {"f3": 1}, "answers": [{"status": 1}], "expect": 2},
                 {"method": "sendRuleMac", "match": {"f3": 2}, "expect": 1},
                 {"method": "sendPolicyNode", "answers": [{"status": 3}], "expect": 0},
                 {"match": {"head.f0": 0}, "answers": [{"status": 4}], "expect": 1},
                 {"answers": [{"status": 5}], "expect": 1})");
  EXPECT_EQ(rules.take("sendRuleMac", ruleMac(1)), "1");
  EXPECT_EQ(rules.take("sendRuleMac", ruleMac(2)), "nothing") << "the rule has no answers";
  EXPECT_EQ(rules.take("sendRuleMac", ruleMac(3)), "4");
  EXPECT_EQ(rules.take("sendRuleMac", ruleMac(1)), "1");
  const MQC_ClassifierTemplate headless = {};
  const Message message = encoded(*methods::find("sendClassifierTemplate"), &headless)[0];
  EXPECT_EQ(rules.take("sendClassifierTemplate", message), "5") << "it has no head";
  EXPECT_EQ(rules.take("noSuchMethod", ruleMac(1)), "nothing");
  EXPECT_TRUE(rules.script.isAsExpected()) << rules.script.report();
}

TEST(Script, WhatAMessageLacksFitsNoRule) {
  Rules absent(R"({"match": {"f3": 0}, "answers": [{"status": 1}]})");
  EXPECT_EQ(absent.take("sendRuleMac", ruleMac(0)), "1") << "an absent scalar is zero";
  Rules buffer(
      R"({"match": {"f3[1]": 0}, "method": "ProcMqcBatchMsg", "answers": [{"status": 1}]})");
  u8 bytes[] = {8, 0};
  for (const u32 length : {0u, 1u, 2u}) {
    MQC_BrkBatchMsg batch = {};
    batch.f3_len = length;
    batch.f3 = length == 0 ? nullptr : bytes;
    Message message = encoded(*methods::find("ProcMqcBatchMsg"), &batch)[0];
    message.push_back(0);  // what lies behind the bytes is none of them
    EXPECT_EQ(buffer.take("ProcMqcBatchMsg", message), length == 2 ? "1" : "nothing") << length;
  }
}

TEST(Script, AFieldBehindTheVtableIsAbsent) {
  Rules rules(R"({"match": {"f2": 0}, "answers": [{"status": 1}]})");
  MQC_ClassifierTemplate record = {};
  record.f2 = 5;
  Message message = encoded(*methods::find("sendClassifierTemplate"), &record)[0];
  EXPECT_EQ(rules.take("sendClassifierTemplate", message), "nothing");
  constexpr std::size_t vtable = 4, sizeWithTwoFields = 8;
  message[vtable] = sizeWithTwoFields;
  EXPECT_EQ(rules.take("sendClassifierTemplate", message), "1");
}

TEST(Script, NothingBehindAMessageIsRead) {
  Rules rules(R"({"match": {"f0": 287454020}, "answers": [{"status": 1}]})");
  MQC_ClassifierTemplate record = {};
  record.f0 = 287'454'020;
  const u8 number[] = {0x44, 0x33, 0x22, 0x11};
  const Message message = encoded(*methods::find("sendClassifierTemplate"), &record)[0];
  const auto end =
      std::search(message.begin(), message.end(), number, std::end(number)) + 4 - message.begin();
  for (std::ptrdiff_t size = 0; size <= std::ssize(message); ++size) {
    const std::span<const u8> cut(message.data(), static_cast<std::size_t>(size));
    EXPECT_EQ(rules.take("sendClassifierTemplate", cut), size < end ? "nothing" : "1") << size;
  }
}

TEST(Script, AnswersTakeTurnsAndTheLastStays) {
  Rules rules(
      R"({"answers": [{"status": 5}, {"grpc": "UNAVAILABLE"}, {"drop": true}, {"garbage": true},
                              {"status": -0}, {"delay_ms": 300}, {"grpc": "CANCELLED", "delay_ms": 1}]},
                 {"answers": [{"status": 6}]})");
  for (int round = 0; round < 2; ++round) {
    for (const char* const answer :
         {"5", "grpc 14", "dropped", "garbage", "0", "0 +300", "grpc 1 +1", "grpc 1 +1"}) {
      EXPECT_EQ(rules.take("sendRuleMac", ruleMac(1)), answer);
    }
    rules.script.restart();
  }
}

TEST(Script, AnAnswerHoldsForItsTimeFromItsFirstUse) {
  Rules rules(
      R"({"answers": [{"status": 1}, {"status": 2, "for_ms": 1000}, {"status": 3, "for_ms": 0},
                              {"status": 4, "for_ms": 10}, {"status": 5}]})");
  const auto at = [&](int now) { return rules.take("sendRuleMac", ruleMac(1), now); };
  EXPECT_EQ(at(500), "1");
  EXPECT_EQ(at(2000), "2") << "its time begins now";
  EXPECT_EQ(at(2000), "2");
  EXPECT_EQ(at(2999), "2");
  EXPECT_EQ(at(3000), "3");
  EXPECT_EQ(at(3000), "4");
  EXPECT_EQ(at(3009), "4");
  rules.script.restart();
  EXPECT_EQ(at(9000), "1");
  EXPECT_EQ(at(9001), "2");
  EXPECT_EQ(at(20000), "3");
  EXPECT_EQ(at(20000), "4");
  EXPECT_EQ(at(20010), "5");
  EXPECT_EQ(at(90000), "5");
}

TEST(Script, ReportsWhatWasExpectedAndWhatCame) {
  Rules rules(
      "{\"method\": \"sendRuleMac\", \"match\": {\"f3\": 1}, \"expect\": 2},\n"
      "{\"method\": \"sendRuleMac\", \"match\": {\"f3\": 2}, \"expect\": {\"at_least\": 1}},\n"
      "{\"method\": \"sendRuleMac\", \"match\": {\"f3\": 3}},\n"
      "{\"expect\": {\"at_most\": 1}},\n\n"
      "{\"expect\": {\"at_least\": 0, \"at_most\": 3}},\n"
      "{\"expect\": {\"at_least\": 1, \"at_most\": 3}},\n"
      "{\"expect\": 0}");
  const auto report = [&] { return rules.script.report(); };
  const auto send = [&](u8 f3) { rules.take("sendRuleMac", ruleMac(f3)); };
  const std::string tail =
      "  every method (line 6)                expected at most 3, came 0\n"
      "  every method (line 7)                expected 1 to 3, came 0: DIFFERS\n"
      "  every method (line 8)                expected 0, came 0";
  for (const int f3 : {1, 3, 4}) send(static_cast<u8>(f3));
  EXPECT_EQ(report(),
            "  sendRuleMac (line 1)                 expected 2, came 1: DIFFERS\n"
            "  sendRuleMac (line 2)                 expected at least 1, came 0: DIFFERS\n"
            "  every method (line 4)                expected at most 1, came 1\n" +
                tail);
  for (const int f3 : {1, 1, 2, 2, 4}) send(static_cast<u8>(f3));
  EXPECT_EQ(report(),
            "  sendRuleMac (line 1)                 expected 2, came 3: DIFFERS\n"
            "  sendRuleMac (line 2)                 expected at least 1, came 2\n"
            "  every method (line 4)                expected at most 1, came 2: DIFFERS\n" +
                tail);
  EXPECT_FALSE(rules.script.isAsExpected());
  Rules silent("{\"method\": \"sendRuleMac\"}");
  silent.take("sendRuleMac", ruleMac(1));
  EXPECT_EQ(silent.script.report(), "");
  EXPECT_TRUE(silent.script.isAsExpected());
}

TEST(Script, ThreadsShareASequence) {
  constexpr int threads = 4, calls = 500;
  std::string answers;
  for (int i = 1; i <= threads * calls; ++i) {
    answers += (i == 1 ? "{\"status\": " : ", {\"status\": ") + std::to_string(i) + '}';
  }
  Rules rules("{\"answers\": [" + answers + "], \"expect\": " + std::to_string(threads * calls) +
              '}');
  Rules watched(R"({"expect": {"at_least": 0}})");
  const Message message = ruleMac(1);
  std::vector<std::map<std::string, int>> came(threads);
  std::vector<std::thread> running;
  for (auto& mine : came) {
    running.emplace_back([&] {
      for (int i = 0; i < calls; ++i) {
        ++mine[rules.take("sendRuleMac", message)];
        watched.take("sendRuleMac", message);
      }
    });
  }
  for (int i = 0; i < calls; ++i) {
    EXPECT_TRUE(watched.script.isAsExpected());
    EXPECT_NE(watched.script.report(), "");
    watched.script.restart();
  }
  for (std::thread& thread : running) thread.join();
  std::map<std::string, int> all;
  for (const auto& mine : came) all.insert(mine.begin(), mine.end());
  EXPECT_EQ(all.size(), std::size_t{threads * calls}) << "each answer once";
  EXPECT_TRUE(rules.script.isAsExpected()) << rules.script.report();
}

/// What reading a script says, behind the file's name; "" where it is good.
std::string faultOf(const std::string& path) {
  script::Script script;
  const std::string fault = script.read(path);
  EXPECT_EQ(script.take("sendRuleMac", ruleMac(1)).has_value() && !fault.empty(), false);
  if (fault.empty()) return "";
  EXPECT_EQ(fault.find('\n'), std::string::npos) << fault;
  EXPECT_EQ(fault.substr(0, path.size() + 2), path + ": ");
  return fault.substr(path.size() + 2);
}

/// The texts of a file that begin behind a line with this beginning, by the rest of that line, and
/// end before a line with this end.
std::vector<std::pair<std::string, std::string>> textsOf(const char* path,
                                                         std::string_view beginning,
                                                         std::string_view end) {
  std::vector<std::pair<std::string, std::string>> texts;
  std::ifstream file(path);
  bool isInText = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(end)) isInText = false;
    if (isInText) texts.back().second += line + '\n';
    if (!line.starts_with(beginning)) continue;
    texts.emplace_back(line.substr(beginning.size()), "");
    isInText = true;
  }
  return texts;
}

TEST(Script, FilesAreGoodOrRefusedWithTheirLine) {
  const auto scripts = textsOf(SCRIPTS, "--- ", "--- ");
  EXPECT_GT(scripts.size(), 50u);
  for (const auto& [verdict, text] : scripts) {
    const std::string words = verdict.substr(std::min(verdict.size(), verdict.find(' ') + 1));
    EXPECT_EQ(faultOf(File(text).path), verdict == "good" ? "" : words) << text;
  }
  const auto shown = textsOf(SCRIPTING, "```json", "```");
  EXPECT_GT(shown.size(), 1u);
  for (const auto& [none, text] : shown) EXPECT_EQ(faultOf(File(text).path), "") << text;
}

TEST(Script, FilesThatAreNoTextAreRefused) {
  EXPECT_EQ(faultOf("/no/such/file"), "No such file or directory");
  EXPECT_EQ(faultOf(testing::TempDir()), "Is a directory");
  EXPECT_EQ(faultOf(File("").path), "it is empty");
  const std::string good = "{\"rules\": [{}]}";
  EXPECT_EQ(faultOf(File(good + std::string((1 << 20) - good.size(), ' ')).path), "");
  EXPECT_EQ(faultOf(File(good + std::string((1 << 20) - good.size() + 1, ' ')).path),
            "it has more than 1048576 bytes");
  EXPECT_EQ(faultOf(File(std::string("{\n\0}", 4)).path), "line 2: a zero byte at offset 2");
}

}  // namespace
