// SPDX-License-Identifier: Apache-2.0
//
// LibraryTest: the built shared library as a client has it: a copy in a folder of its own, with its model below it and its log
// configuration beside it.
//
// Every copy is loaded under a path of its own and so is an engine of its own, with nothing set and nothing read yet.
#ifndef WVAD_LIBRARY_LIBRARY_FIXTURE_H_
#define WVAD_LIBRARY_LIBRARY_FIXTURE_H_

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace TSEG::testing_support {

inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

class LibraryTest : public ::testing::Test {
 protected:
  LibraryTest() : previous_(std::filesystem::current_path()) {
    std::filesystem::create_directories(folder_.file("lib/vad"));
    std::filesystem::copy_file(WVAD_LIBRARY, folder_.file("lib/libwvad.so"));
    std::filesystem::current_path(folder_.path());
    Model(ReadBytes(WVAD_TEST_DATA_DIR "/models/dnn.bin"));
    Configure("");
  }
  ~LibraryTest() override {
    if (library_ != nullptr) Down();
    std::filesystem::current_path(previous_);
  }

  void Model(const std::string& bytes) { folder_.write("lib/vad/m.bin", bytes); }
  void Configure(const std::string& sections) { folder_.write("w_tseg.cfg", "[vad]\nwvad_param_model_name = m.bin\n" + sections); }
  void ConfigureLog(const std::string& entries) { folder_.write("lib/tseg.cfu", "[logger]\n" + entries); }

  int Up() { return Function<int (*)(void*)>("wVadInitialize")(nullptr); }
  int Down() { return Function<int (*)()>("wVadUninitialize")(); }

  std::string Log() const { return folder_.read("log/w_tseg.log"); }
  // The lines of the log without those that hold a part that differs from run to run.
  std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    std::istringstream text(Log());
    for (std::string line; std::getline(text, line);) {
      if (line.find(" msec.") == std::string::npos && line.find("load res cost time") == std::string::npos) lines.push_back(line);
    }
    return lines;
  }
  std::vector<std::string> LogFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.file("log"))) names.push_back(entry.path().filename());
    return names;
  }

  TempFolder folder_;

 private:
  // One of the exported functions; loads the copy at its first use.
  template <typename Pointer>
  Pointer Function(const char* name) {
    if (library_ == nullptr) library_ = ::dlopen(folder_.file("lib/libwvad.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) throw std::runtime_error(::dlerror());
    return reinterpret_cast<Pointer>(::dlsym(library_, name));
  }

  const std::filesystem::path previous_;
  void* library_ = nullptr;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_LIBRARY_LIBRARY_FIXTURE_H_
