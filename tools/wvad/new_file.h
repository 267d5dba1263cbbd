// SPDX-License-Identifier: Apache-2.0
//
// A file that appears under its name only when it is whole. Until then it lies beside it as NAME.<process>.part, which goes away if it is
// never published. What was under the name before stays untouched until then, and for good unless it may be replaced.
#ifndef WVAD_WVAD_NEW_FILE_H_
#define WVAD_WVAD_NEW_FILE_H_

#include <string>
#include <string_view>

namespace TSEG::tool {

class NewFile {
 public:
  // `replace`: a file of that name may be replaced. Throws Failure(kOutput) if nothing can be made in the folder.
  NewFile(const std::string& path, bool replace);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // All three throw Failure(kOutput), naming the file and the reason (disk full, ...). WriteAt overwrites what has been written.
  void Write(std::string_view bytes);
  void WriteAt(long offset, std::string_view bytes);
  // The file appears. Fails where one of its name has appeared meanwhile and may not be replaced.
  void Publish();

  const std::string& path() const { return path_; }

 private:
  [[noreturn]] void Fail(int error) const;

  std::string path_;
  std::string part_;
  bool replace_;
  int descriptor_ = -1;
};

// Something that is there and is neither an ordinary file nor a folder: a device, a pipe.
bool IsSpecialFile(const std::string& path);

// Writes a whole file.
void WriteNewFile(const std::string& path, bool replace, std::string_view bytes);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_NEW_FILE_H_
