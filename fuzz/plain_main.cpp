// Drives the fuzz target without a fuzzing engine: with files, then with random inputs that are
// the same in every run.
//
//     encode_fuzz_plain <inputs> [<file>...]

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "records.h"

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size);

namespace {

void runFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  if (bytes.empty()) {
    std::fprintf(stderr, "%s: nothing to read\n", path);
    std::exit(2);
  }
  LLVMFuzzerTestOneInput(reinterpret_cast<const u8*>(bytes.data()), bytes.size());
}

/// Zero bytes come singly and in words, so that scalars of every width are often zero.
std::vector<u8> randomInput(records::Random& random) {
  std::vector<u8> bytes(random.below(random.below(4) == 0 ? 1024 : 128));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const bool startsZeroWord = i % 4 == 1 && random.below(3) == 0;
    if (startsZeroWord) i += 4;
    if (i < bytes.size() && random.below(4) != 0) bytes[i] = static_cast<u8>(random.next());
  }
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 2; i < argc; ++i) runFile(argv[i]);
  records::Random random(20);
  const unsigned long inputs = argc < 2 ? 0 : std::strtoul(argv[1], nullptr, 10);
  for (unsigned long n = 0; n < inputs; ++n) {
    const std::vector<u8> input = randomInput(random);
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%d files, %lu inputs\n", argc < 2 ? 0 : argc - 2, inputs);
  return inputs == 0 ? 2 : 0;
}
