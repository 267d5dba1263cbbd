// SPDX-License-Identifier: Apache-2.0
#include "wvad/new_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

constexpr const char* kExists = "exists already; --force replaces it";

// Renames without replacing anything, in one step where the file system can, and else in two.
int RenameToFree(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) return errno;
  struct stat ignored {};
  if (lstat(to.c_str(), &ignored) == 0) return EEXIST;
  return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

}  // namespace

NewFile::NewFile(const std::string& path, bool replace)
    : path_(path), part_(path + "." + std::to_string(getpid()) + ".part"), replace_(replace) {
  struct stat found {};
  if (stat(path.c_str(), &found) == 0) {
    if (S_ISDIR(found.st_mode)) Fail(EISDIR);
    if (!S_ISREG(found.st_mode)) throw Failure(ExitCode::kOutput, path + ": is not an ordinary file");
    if (!replace) throw Failure(ExitCode::kOutput, path + ": " + kExists);
  }
  descriptor_ = open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor_ < 0) Fail(errno);
}

NewFile::~NewFile() {
  if (descriptor_ >= 0) {
    close(descriptor_);
    unlink(part_.c_str());
  }
}

void NewFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail(errno);
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

void NewFile::WriteAt(long offset, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = pwrite(descriptor_, bytes.data(), bytes.size(), offset);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail(errno);
    bytes.remove_prefix(static_cast<size_t>(written));
    offset += written;
  }
}

void NewFile::Publish() {
  const int descriptor = descriptor_;
  descriptor_ = -1;
  // Some file systems tell only here that there was no room.
  int error = close(descriptor) == 0 ? 0 : errno;
  if (error == 0) error = replace_ ? (rename(part_.c_str(), path_.c_str()) == 0 ? 0 : errno) : RenameToFree(part_, path_);
  if (error == 0) return;
  unlink(part_.c_str());
  if (error == EEXIST) throw Failure(ExitCode::kOutput, path_ + ": " + kExists);
  Fail(error);
}

void NewFile::Fail(int error) const { throw Failure(ExitCode::kOutput, path_ + ": cannot be written: " + std::strerror(error)); }

bool IsSpecialFile(const std::string& path) {
  struct stat found {};
  return stat(path.c_str(), &found) == 0 && !S_ISREG(found.st_mode) && !S_ISDIR(found.st_mode);
}

void WriteNewFile(const std::string& path, bool replace, std::string_view bytes) {
  NewFile file(path, replace);
  file.Write(bytes);
  file.Publish();
}

}  // namespace TSEG::tool
