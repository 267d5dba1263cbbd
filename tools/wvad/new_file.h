// SPDX-License-Identifier: Apache-2.0
//
// A file that appears under its name only when it is whole. Until then it lies beside it as NAME.wvad-part (where NAME leaves no room for
// that, as its begin and a checksum of all of it), locked, which goes away if it is never published and if a signal ends the process. One
// that a killed process has left behind is known by its sticky bit and by being unlocked, and is used again; any other file of that name is
// left alone. What was under the name before stays untouched until then, and for good unless it may be replaced.
//
// A link stays a link: what it points to is replaced. The file that replaces another has its permissions.
//
// On Windows the part goes with the process that writes it, whatever ends that; a link is replaced itself, and a file has the permissions
// of its folder.
#ifndef WVAD_WVAD_NEW_FILE_H_
#define WVAD_WVAD_NEW_FILE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "wvad/output_rules.h"
#include "wvad/system.h"

namespace TSEG::tool {

// What `path` is called until it is whole.
constexpr std::string_view kPartEnding = ".wvad-part";
std::string NameOfPart(const std::string& path);

class NewFile {
 public:
  // Throws Failure(kOutput) if the rules forbid it, if `path` is a device or a pipe, if nothing can be made in the folder, or if another
  // run is writing this file.
  NewFile(const std::string& path, const OutputRules& rules);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // All three throw Failure(kOutput), naming the file and the reason (disk full, ...). WriteAt overwrites what has been written.
  void Write(std::string_view bytes);
  void WriteAt(int64_t offset, std::string_view bytes);
  // The file appears, once its bytes are on the disk. Fails where one of its name has appeared meanwhile and may not be replaced.
  void Publish();

  const std::string& path() const { return path_; }

 private:
  void OpenPart();
  bool TryToOpenPart();
  void RemoveLeftover();
  [[noreturn]] void Fail(int error) const;

  std::string path_;
  std::string target_;  // with links followed
  std::string part_;
  bool replace_;
  unsigned mode_ = 0;  // of the finished file
  std::optional<DoomedFile> doomed_;
  int descriptor_ = -1;
};

// Whether two outputs would come to lie in one file, however they are spelt, links followed, whether something is there or not.
bool AreOneFile(const std::string& one, const std::string& other);

// Writes a whole file.
void WriteNewFile(const std::string& path, const OutputRules& rules, std::string_view bytes);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_NEW_FILE_H_
