// The common parts of platforms, tested through the loopback: memory functions, log lines, the
// check of encoders, captures.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <utility>

#include "platform.h"
#include "recording_writes.h"
#include "system_open.h"
#include "tarn/bounded_memory.h"
#include "tarn/rpc.h"

Writing writing;

extern "C" ssize_t write(int file, const void* bytes, size_t size) {
  if (file == STDERR_FILENO && writing.listens) {
    writing.heard.emplace_back(static_cast<const char*>(bytes), size);
    return static_cast<ssize_t>(size);
  }
  const bool interrupts = writing.most != SIZE_MAX && !writing.interrupted;
  writing.interrupted = interrupts;
  if (interrupts || writing.room == 0) {
    errno = interrupts ? EINTR : ENOSPC;
    return -1;
  }
  const std::size_t taken = std::min({size, writing.most, writing.room});
  if (writing.room != SIZE_MAX) writing.room -= taken;
  return syscall(SYS_write, file, bytes, taken);
}

ssize_t writeToRecording(int file, const Bytes& bytes) {
  return write(file, bytes.data(), bytes.size());
}

// An existing file belongs to somebody else.
extern "C" int open(const char* path, int flags, ...) {
  EXPECT_TRUE((flags & O_CREAT) == 0 || (flags & O_EXCL) != 0) << path;
  EXPECT_NE(flags & O_CLOEXEC, 0) << path;
  va_list rest;
  va_start(rest, flags);
  const int file = systemOpen(path, flags, rest);
  va_end(rest);
  return file;
}

namespace {

TEST(BoundedMemory, KeepsAnnexK) {
  constexpr std::size_t tooLarge = (SIZE_MAX >> 1) + 1;
  const Bytes untouched{1, 2, 3, 4}, zero(4, 0), nines(4, 9);
  struct Row {
    const char* what;
    int (*run)(u8* dest);
    bool fails;
    Bytes after;
  };
  const Row rows[] = {
      {"set", [](u8* d) { return memset_s(d, tooLarge - 1, 0x109, 2); }, false, {9, 9, 3, 4}},
      {"set all", [](u8* d) { return memset_s(d, 4, 9, 4); }, false, nines},
      {"set nothing", [](u8* d) { return memset_s(d, 4, 9, 0); }, false, untouched},
      {"set at NULL", [](u8*) { return memset_s(nullptr, 4, 9, 0); }, true, untouched},
      {"set too much", [](u8* d) { return memset_s(d, 4, 9, 5); }, true, nines},
      {"set negative count", [](u8* d) { return memset_s(d, 4, 9, SIZE_MAX); }, true, nines},
      {"set negative max", [](u8* d) { return memset_s(d, tooLarge, 9, 1); }, true, untouched},
      {"copy", [](u8* d) { return memcpy_s(d, 4, "\5\6", 2); }, false, {5, 6, 3, 4}},
      {"copy nothing", [](u8* d) { return memcpy_s(d, 4, d, 0); }, false, untouched},
      {"copy to NULL", [](u8* d) { return memcpy_s(nullptr, 4, d, 1); }, true, untouched},
      {"copy NULL", [](u8* d) { return memcpy_s(d, 4, nullptr, 0); }, true, zero},
      {"copy too much", [](u8* d) { return memcpy_s(d, 4, "abcdef", 5); }, true, zero},
      {"copy negative max", [](u8* d) { return memcpy_s(d, tooLarge, "a", 1); }, true, untouched},
      {"copy neighbour", [](u8* d) { return memcpy_s(d, 2, d + 2, 2); }, false, {3, 4, 3, 4}},
      {"overlap from behind", [](u8* d) { return memcpy_s(d, 4, d + 1, 2); }, true, zero},
      {"overlap from before", [](u8* d) { return memcpy_s(d + 1, 3, d, 2); }, true, {1, 0, 0, 0}},
      {"overlap with itself", [](u8* d) { return memcpy_s(d, 4, d, 1); }, true, zero},
  };
  for (const Row& row : rows) {
    Bytes dest = untouched;
    EXPECT_EQ(row.run(dest.data()) != 0, row.fails) << row.what;
    EXPECT_EQ(dest, row.after) << row.what;
  }
}

TEST_F(Platform, LogsOneLineForARecord) {
  IdlMsgDesc desc;
  MqcFesIntf_sendClassifierTemplateSetIdl(&desc);
  u32 capacity = 3;
  u8 buffer[3];
  PackBuf cursor = {buffer, &capacity};
  EXPECT_EQ(complaintOf(0, [&] { return desc.pack(&cursor, &request); }),
            "VELTA/VELTA_TORVAL_SERIAL level 2 code 22 MQC_ClassifierTemplate_pack:1330 "
            "[VELTA]:Param invalid(nonNull, 3, nonNull)\n");
}

TEST_F(Platform, LogsWhatMayBeMissing) {
  const KvrOsalLogWriteFn log = logFunction();
  const LogModule module = {"M", "S", 0};
  EXPECT_EQ(complaintOf(0, [&] { return log(&module, 1, 2, "text ", 3, "f", "%s %d", "x", 4); }),
            "M/S level 1 code 2 f:3 text x 4\n");
  EXPECT_EQ(complaintOf(0, [&] { return log(nullptr, 1, 2, nullptr, 3, nullptr, "%s", ""); }),
            "-/- level 1 code 2 -:3 \n");
  EXPECT_EQ(complaintOf(0, [&] { return log(&module, 1, 2, "t", 3, "f", nullptr); }),
            "M/S level 1 code 2 f:3 t\n");
  const wchar_t unprintable[] = {0xDC00, 0};
  EXPECT_EQ(complaintOf(0, [&] { return log(&module, 1, 2, "", 3, "f", "%ls", unprintable); }),
            "M/S level 1 code 2 f:3 %ls\n");
}

TEST_F(Platform, ForeignTextIsShownOnOneLine) {
  const KvrOsalLogWriteFn log = logFunction();
  const std::pair<std::string, std::string> rows[] = {
      {"a line\nits\tend\r", "a line\\nits\\tend\\x0D"},
      {"\x1B[31m \x7F", "\\x1B[31m \\x7F"},
      {"C1: \u009B, \u009F; \u00A0 is none", "C1: \\u{9B}, \\u{9F}; \u00A0 is none"},
      {"\u202E\u2028\uFEFF\U000E0001", "\\u{202E}\\u{2028}\\u{FEFF}\\u{E0001}"},
      {"surrogate \xED\xA0\x80", "surrogate \\u{D800}"},
      {"none: \xFF\xF8\x80", "none: \\xFF\\xF8\\x80"},
      {"too long: \xC0\xAF\xE0\x80\xAF", "too long: \\xC0\\xAF\\xE0\\x80\\xAF"},
      {"too large: \xF4\x90\x80\x80", "too large: \\xF4\\x90\\x80\\x80"},
      {"cut off: \xE2\x82,\xE2\x82", "cut off: \\xE2\\x82,\\xE2\\x82"},
      {"\u00AD\u061C\u180E\u200B\u200F\u2028\u202E\u2060\u206F\uFEFF\uFFF9\uFFFB\U000E0000"
       "\U000E0FFF",
       "\\u{AD}\\u{61C}\\u{180E}\\u{200B}\\u{200F}\\u{2028}\\u{202E}\\u{2060}\\u{206F}\\u{FEFF}\\u{"
       "FFF9}\\u{FFFB}\\u{E0000}\\u{E0FFF}"},
      {"\u00AC\u00AE\u061B\u061D\u180D\u180F\u200A\u2010\u2027\u202F\u205F\u2070\uFEFE\uFF00\uFFF8"
       "\uFFFC\U000DFFFF\U000E1000",
       ""},
      {"kept: \\n \u00FC\u20AC\U0001F600\u2027\U0010FFFF", ""},
  };
  for (const auto& [text, escaped] : rows) {
    const std::string shown = escaped.empty() ? text : escaped;
    EXPECT_EQ(
        complaintOf(0, [&, &raw = text] { return log(nullptr, 1, 2, raw.c_str(), 3, "f", ""); }),
        "-/- level 1 code 2 f:3 " + shown + '\n');
    const std::string missing = dir / text;
    EXPECT_EQ(complaintOf(TARN_STATUS_CAPTURE,
                          [&] { return TarnLoopback_setCaptureDir(missing.c_str()); }),
              "tarn_loopback: capture directory " + (dir / shown).string() +
                  ": No such file or directory\n");
  }
  for (const char* sign : {"x", "\n"}) {  // the second is longer when it is shown
    std::string large;
    while (large.size() < 9'000) large += sign;
    const std::string line =
        complaintOf(0, [&] { return log(nullptr, 1, 2, "", 3, "f", "%s", large.c_str()); });
    EXPECT_GE(line.size(), 8'191u);
    EXPECT_LE(line.size(), 8'192u);
    EXPECT_EQ(line.substr(line.size() - 4), "...\n");
  }
}

/// What the scripted encoders do; by default they keep their contract.
struct Script {
  u32 query = 20, length = 20, written = 20, root = 16;
  u32 fullSize = 16, result = 0, fullWritten = 16, fullRoot = 12;
  bool hasFull = true, hasGetter = true;
};

Script script;

u32 scriptedWrite(u8* out, u32 bytes, u32 root, u32 result) {
  std::fill_n(out, bytes, u8{0});
  for (u32 i = 0; i < std::min(bytes, 4u); ++i) out[i] = static_cast<u8>(root >> 8 * i);
  return result;
}

u32 sendScripted(const Script& changed) {
  script = changed;
  const MethodId method = {"MqcFesIntf", "scripted"};
  IdlMsgDesc desc{};
  desc.pack = [](PackBuf* cursor, const void*) {
    if (cursor == nullptr) return script.query;
    return scriptedWrite(cursor->buf, script.written, script.root, script.length);
  };
  if (script.hasFull) {
    desc.packFull = [](u8* out, const void*) {
      return scriptedWrite(out, script.fullWritten, script.fullRoot, script.result);
    };
  }
  if (script.hasGetter) desc.fullSize = [] { return script.fullSize; };
  void* const handle = RPC_GetRpcInvoke(&g_stServerAddr_MqcFesIntf, nullptr);
  return RPC_IdlSyncCallNoOutStub(handle, &script, sizeof script, &method, &desc);
}

TEST_F(Platform, RefusesEncodersThatBreakTheirContract) {
  const std::pair<const char*, Script> rows[] = {
      {"compact size query failed", {.query = 0}},
      {"compact encoder failed", {.length = 0}},
      {"compact encoding has 21 bytes, its size query returned 20", {.length = 21}},
      {"compact encoding has 12 bytes, its size query returned 20", {.length = 12, .root = 8}},
      {"compact encoding has 20 bytes, its size query returned 29",
       {.query = 29, .hasFull = false, .hasGetter = false}},
      {"compact encoder wrote past its buffer", {.written = 21}},
      {"compact root offset points outside", {.root = 17}},
      {"compact root offset points outside", {.root = 3}},
      {"compact root offset points outside", {.root = 0x100 + 16}},
      {"compact root offset points outside", {.root = 0x10000 + 16}},
      {"compact root offset points outside", {.root = 0x1000000 + 16}},
      {"compact root offset points outside", {.query = 3, .length = 3, .written = 3}},
      {"full size is not a multiple of 8: 0", {.fullSize = 0}},
      {"full size is not a multiple of 8: 20", {.fullSize = 20}},
      {"full encoder failed: 65536", {.result = 65536}},
      {"full encoder wrote past its buffer", {.fullWritten = 17}},
      {"full root offset points outside", {.fullRoot = 13}},
      {"full encoder without size getter, or the reverse", {.hasFull = false}},
      {"full encoder without size getter, or the reverse", {.hasGetter = false}},
  };
  for (const auto& [complaint, faulty] : rows) {
    EXPECT_EQ(complaintOf(TARN_STATUS_ENCODING, [&row = faulty] { return sendScripted(row); }),
              std::string("tarn_loopback: scripted: ") + complaint + '\n');
  }
  EXPECT_EQ(TarnLoopback_delivered(TARN_VARIANT_SYNC), 0u);
  EXPECT_EQ(sendScripted({}), 0u);
  EXPECT_EQ(sendScripted({.fullSize = 65552, .fullWritten = 65552}), 0u);
  for (const u32 root : {300u, 70'000u, 0x1000001u}) {
    const u32 size = root + 4;
    EXPECT_EQ(sendScripted({.query = size, .length = size, .written = size, .root = root}), 0u);
  }
  Inbox inbox;
  TarnLoopback_setReceiver(receive, &inbox);
  EXPECT_EQ(sendScripted({.query = 8, .length = 8, .written = 4, .root = 4, .fullWritten = 4}), 0u);
  EXPECT_EQ(inbox.seen.at(0).compact, (Bytes{4, 0, 0, 0, 0xA5, 0xA5, 0xA5, 0xA5}));
  EXPECT_EQ(inbox.seen.at(0).full, (Bytes{12, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(sendScripted({.query = 28, .hasFull = false, .hasGetter = false}), 0u)
      << "an empty buffer left out";
}

TEST_F(Platform, CaptureNumbersOnAndOverwritesNothing) {
  Inbox inbox;
  TarnLoopback_setReceiver(receive, &inbox);
  for (const char* other : {"0003-x.full.bin", "0001-x.full.bin", "0006-other.full.bin", "12.txt",
                            "x0099-y.compact.bin", "0002-x.full.bin", "0004-x.full.bin"}) {
    std::ofstream(dir / other) << "kept";
  }
  ASSERT_EQ(TarnLoopback_setCaptureDir(dir.c_str()), 0u);
  std::ofstream(dir / "0007-sendClassifierTemplate.full.bin") << "another process's";
  fs::create_symlink(dir / "elsewhere", dir / "0008-sendClassifierTemplate.compact.bin");
  EXPECT_EQ(send(), 0u);
  const MQC_BrkBatchMsg empty = {0, 0, 0, 0, reinterpret_cast<const u8*>("")};
  EXPECT_EQ(MqcFesIntf_ProcMqcBatchMsg_oneway(&empty, nullptr), 0u);
  TarnLoopback_setCaptureDir(nullptr);
  EXPECT_EQ(send(), 0u);

  auto found = files();
  EXPECT_EQ(found.size(), 11u);
  EXPECT_EQ(found["0009-sendClassifierTemplate.compact.bin"], inbox.seen[0].compact);
  EXPECT_EQ(found["0009-sendClassifierTemplate.full.bin"], inbox.seen[0].full);
  EXPECT_EQ(found["0010-ProcMqcBatchMsg.compact.bin"].size(), 20u);
  EXPECT_EQ(found["0007-sendClassifierTemplate.full.bin"].size(), 17u);
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(fs::status(dir / "0010-ProcMqcBatchMsg.compact.bin").permissions(),
            fs::perms{0666u & ~mask});
}

TEST_F(Platform, CaptureWritesWhateverTheSystemTakesAtOnce) {
  Inbox inbox;
  TarnLoopback_setReceiver(receive, &inbox);
  std::ofstream(dir / "69999-other.full.bin") << "kept";
  const fs::path before = fs::current_path();
  fs::current_path(dir.parent_path());
  ASSERT_EQ(TarnLoopback_setCaptureDir(dir.filename().c_str()), 0u);
  fs::current_path(before);
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);  // as daemons do: the next file has its number
  writing.most = 7;
  EXPECT_EQ(send(), 0u);
  writing.most = SIZE_MAX;
  dup2(input, STDIN_FILENO);
  close(input);
  const std::map<std::string, Bytes> expected = {
      {"69999-other.full.bin", {'k', 'e', 'p', 't'}},
      {"70000-sendClassifierTemplate.compact.bin", inbox.seen.at(0).compact},
      {"70000-sendClassifierTemplate.full.bin", inbox.seen.at(0).full}};
  EXPECT_EQ(files(), expected);
}

TEST_F(Platform, CaptureFailsCallsWhileTheDirectoryCannotBeWritten) {
  std::ofstream(dir / "file") << "no directory";
  for (const fs::path& path : {dir / "file", dir / "missing", fs::path("/proc/self"), fs::path()}) {
    const std::string start = "tarn_loopback: capture directory " + path.string() + ": ";
    const auto set = [&] { return TarnLoopback_setCaptureDir(path.c_str()); };
    EXPECT_EQ(complaintOf(TARN_STATUS_CAPTURE, set).find(start), 0u);
    EXPECT_EQ(complaintOf(TARN_STATUS_CAPTURE, [&] { return send(); }).find(start), 0u);
  }
  EXPECT_EQ(TarnLoopback_delivered(TARN_VARIANT_SYNC), 0u);

  const std::string missing = dir / "missing";
  EXPECT_EQ(
      complaintOf(TARN_STATUS_CAPTURE, [&] { return TarnLoopback_setCaptureDir(missing.c_str()); }),
      "tarn_loopback: capture directory " + missing + ": No such file or directory\n");
  fs::create_directory(dir / "missing");
  std::ofstream(dir / "missing" / "12.txt") << "no capture";
  EXPECT_EQ(send(), 0u);
  EXPECT_TRUE(fs::exists(dir / "missing" / "0001-sendClassifierTemplate.full.bin"));
}

TEST_F(Platform, CaptureLeavesNothingOfAMessageThatDoesNotFit) {
  ASSERT_EQ(TarnLoopback_setCaptureDir(dir.c_str()), 0u);
  const int unused = dup(STDIN_FILENO);
  close(unused);
  for (const std::size_t room : {50u, 100u}) {
    writing.room = room;
    complaintOf(TARN_STATUS_CAPTURE, [&] { return send(); });
    writing.room = SIZE_MAX;
    EXPECT_TRUE(fs::is_empty(dir)) << "with room for " << room << " bytes";
  }
  EXPECT_EQ(send(), 0u);
  EXPECT_EQ(dup(STDIN_FILENO), unused) << "no descriptor is lost";
  close(unused);
}

}  // namespace
