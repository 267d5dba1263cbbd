// SPDX-License-Identifier: Apache-2.0
//
// Runs the fuzzer that it is linked with over files, without libFuzzer: every argument is a file or a folder of files. Exit code 0: all
// inputs went through; 2: there was none, or one could not be read. A finding ends the process.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

bool Replay(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!in.good() && !in.eof()) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  std::fprintf(stderr, "%s (%zu bytes)\n", path.c_str(), bytes.size());
  // A block of exactly that size, so that a sanitizer sees its end.
  const auto exact = std::make_unique<uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    const fs::path path = fs::absolute(argv[i], error);
    if (fs::is_directory(path, error)) {
      for (const fs::directory_entry& entry : fs::directory_iterator(path, error)) files.push_back(entry.path());
    } else {
      files.push_back(path);
    }
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    std::fprintf(stderr, "usage: %s FILE_OR_FOLDER...\n", argv[0]);
    return 2;
  }
  for (const fs::path& file : files) {
    if (!Replay(file)) return 2;
  }
  std::fprintf(stderr, "%zu inputs\n", files.size());
  return 0;
}
