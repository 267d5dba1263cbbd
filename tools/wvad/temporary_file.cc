// SPDX-License-Identifier: Apache-2.0
#include "wvad/temporary_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

// A file that never has a name, or that loses it at once where the file system knows no such files.
int OpenNameless(const std::string& folder) {
  const int nameless = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (nameless >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) return nameless;
  std::string name = folder + "/wvad-XXXXXX";
  const int named = mkostemp(name.data(), O_CLOEXEC);
  if (named >= 0) unlink(name.c_str());
  return named;
}

}  // namespace

const char* const kOtherFolderForTemporary = "; set TMPDIR to a folder with room";

TemporaryFile::TemporaryFile(const std::string& who) : who_(who) {
  const char* wanted = getenv("TMPDIR");
  if (wanted != nullptr && wanted[0] != '\0') {
    folder_ = wanted;
    descriptor_ = OpenNameless(folder_);
  }
  if (descriptor_ >= 0) return;
  folder_ = "/tmp";
  descriptor_ = OpenNameless(folder_);
  if (descriptor_ < 0) Fail("made", errno);
}

TemporaryFile::~TemporaryFile() { close(descriptor_); }

void TemporaryFile::Fail(const char* what, int error) const {
  throw Failure(ExitCode::kOutput, who_ + ": is kept in a temporary file in " + folder_ + " meanwhile, which cannot be " + what + ": " +
                                       std::strerror(error) + kOtherFolderForTemporary);
}

void TemporaryFile::Append(const void* bytes, size_t count) {
  const char* from = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t written = pwrite(descriptor_, from, count, static_cast<off_t>(length_));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail("written", errno);
    from += written;
    count -= static_cast<size_t>(written);
    length_ += static_cast<uint64_t>(written);
  }
}

size_t TemporaryFile::ReadAt(uint64_t offset, void* out, size_t count) const {
  size_t got = 0;
  while (got < count) {
    const ssize_t more = pread(descriptor_, static_cast<char*>(out) + got, count - got, static_cast<off_t>(offset + got));
    if (more < 0 && errno == EINTR) continue;
    if (more < 0) Fail("read", errno);
    if (more == 0) break;
    got += static_cast<size_t>(more);
  }
  return got;
}

}  // namespace TSEG::tool
