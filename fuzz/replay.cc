// SPDX-License-Identifier: MIT
// main() of a fuzz target without a fuzzer: runs it once over every file of the folders that are named.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/target.h"

int main(int argc, char **argv) {
  size_t files = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const fuzz::bytes data((std::istreambuf_iterator<char>(file)), {});
      std::fprintf(stderr, "%s: %zu bytes\n", entry.path().c_str(), data.size());
      LLVMFuzzerTestOneInput(data.data(), data.size());
      ++files;
    }
  }
  std::fprintf(stderr, "%zu inputs replayed\n", files);
  return files == 0 ? 1 : 0;
}
