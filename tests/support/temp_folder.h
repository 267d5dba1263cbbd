// SPDX-License-Identifier: Apache-2.0
//
// TempFolder: a fresh folder for one test, removed with everything in it at the end. The folder's permissions may have been taken away
// meanwhile; they are given back first.
#ifndef WVAD_SUPPORT_TEMP_FOLDER_H_
#define WVAD_SUPPORT_TEMP_FOLDER_H_

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace TSEG::testing_support {

class TempFolder {
 public:
  TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "wvad-test-XXXXXX").string();
    if (!Make(&name)) throw std::runtime_error("no temporary folder");
    path_ = name;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // Without a trailing separator.
  const std::string& path() const { return path_; }
  // The path of `name` inside the folder.
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  // Writes `text` into `name`, making the folders on the way; gives its path.
  std::string write(const std::string& name, const std::string& text) const {
    const std::string target = file(name);
    std::filesystem::create_directories(std::filesystem::path(target).parent_path());
    std::ofstream(target, std::ios::binary | std::ios::trunc) << text;
    return target;
  }
  // The bytes of `name`, empty if it is missing.
  std::string read(const std::string& name) const {
    std::ifstream in(file(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  // Puts other letters for the six last and makes the folder, which is new.
  static bool Make(std::string* name) {
#if defined(_WIN32)
    return _mktemp_s(name->data(), name->size() + 1) == 0 && std::filesystem::create_directory(*name);
#else
    return mkdtemp(name->data()) != nullptr;
#endif
  }

  std::string path_;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_TEMP_FOLDER_H_
