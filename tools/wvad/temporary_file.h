// SPDX-License-Identifier: Apache-2.0
//
// Bytes that come only once and are wanted again, in a file without a name in the folder for temporary ones: that of TMPDIR where one can
// be made there, else /tmp; on Windows that of TMP. It is gone with the object, and with the process however that ends.
#ifndef WVAD_WVAD_TEMPORARY_FILE_H_
#define WVAD_WVAD_TEMPORARY_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace TSEG::tool {

class TemporaryFile {
 public:
  // `who` is for messages. Throws Failure(kOutput), naming the folder and the way round, where no file can be made.
  explicit TemporaryFile(const std::string& who);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Throws likewise where there is no room.
  void Append(const void* bytes, size_t count);
  // Up to `count` bytes from `offset`, fewer only at the end. Throws likewise where they cannot be read.
  size_t ReadAt(uint64_t offset, void* out, size_t count) const;

 private:
  [[noreturn]] void Fail(const char* what, int error) const;

  std::string who_;
  std::string folder_;
  int descriptor_ = -1;
  uint64_t length_ = 0;
};

// What is said behind the reason wherever a temporary file or folder is in want of room or rights.
extern const char* const kOtherFolderForTemporary;

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_TEMPORARY_FILE_H_
