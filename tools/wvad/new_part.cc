// SPDX-License-Identifier: Apache-2.0
//
// The part of a NewFile, locked and marked, and how it gets its name, by POSIX. (windows/new_part.cc is that of Windows.)
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "wvad/failure.h"
#include "wvad/new_file.h"

namespace TSEG::tool {
namespace {

// Marks what is being written: no file of anybody else has this bit, which means nothing on files.
constexpr mode_t kUnfinished = S_ISVTX;

// Whether `path` is the name of what is open, and not of something that has come in its place.
bool IsNamed(int descriptor, const std::string& path) {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
         opened.st_dev == named.st_dev;
}

// Renames without replacing anything, in one step where the file system can, and else in two.
int RenameToFree(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) return errno;
  struct stat ignored {};
  if (lstat(to.c_str(), &ignored) == 0) return EEXIST;
  return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

// What was written reaches the disk before the name does: behind a loss of power there is then the old file or the whole new one. File
// systems that cannot be told to (EINVAL, ENOTSUP, EROFS) do without.
int ToDisk(int descriptor) {
  while (fsync(descriptor) != 0) {
    if (errno == EINTR) continue;
    return errno == EINVAL || errno == ENOTSUP || errno == EROFS ? 0 : errno;
  }
  return 0;
}

}  // namespace

void NewFile::OpenPart() {
  // Between the opening and the lock another run may have published or removed the file, which then is not what the name means any more.
  constexpr int kTries = 20;
  for (int i = 0; i < kTries; ++i) {
    if (TryToOpenPart()) return;
  }
  throw Failure(ExitCode::kOutput, path_ + ": is being written by another run");
}

// False where it is to be tried again.
bool NewFile::TryToOpenPart() {
  const int descriptor = open(part_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666 | kUnfinished);
  if (descriptor < 0 && errno == EEXIST) {
    RemoveLeftover();
    return false;
  }
  if (descriptor < 0) Fail(errno);
  const bool locked = flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;  // not every file system has locks
  if (!locked || !IsNamed(descriptor, part_)) {                                           // another run took it for a leftover
    close(descriptor);
    return false;
  }
  struct stat opened {};
  if (fstat(descriptor, &opened) == 0) mode_ = opened.st_mode & 0777U;
  struct stat before {};
  if (stat(target_.c_str(), &before) == 0) mode_ = before.st_mode & 0777U;
  descriptor_ = descriptor;
  doomed_.emplace(part_);
  return true;
}

void NewFile::RemoveLeftover() {
  const int descriptor = open(part_.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0 && errno == ENOENT) return;
  struct stat there {};
  const bool ours = descriptor >= 0 && fstat(descriptor, &there) == 0 && S_ISREG(there.st_mode) && (there.st_mode & kUnfinished) != 0 &&
                    there.st_uid == geteuid() && there.st_nlink == 1;
  const bool locked = ours && flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  if (ours && !locked && IsNamed(descriptor, part_)) unlink(part_.c_str());
  if (descriptor >= 0) close(descriptor);
  if (locked) throw Failure(ExitCode::kOutput, path_ + ": is being written by another run");
  if (!ours) throw Failure(ExitCode::kOutput, path_ + ": cannot be written, since " + part_ + " is in the way");
}

NewFile::~NewFile() {
  if (descriptor_ < 0) return;
  unlink(part_.c_str());
  close(descriptor_);
}

void NewFile::WriteAt(int64_t offset, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = pwrite(descriptor_, bytes.data(), bytes.size(), offset);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail(errno);
    bytes.remove_prefix(static_cast<size_t>(written));
    offset += written;
  }
}

// The name changes while the file is still locked, so that no other run takes the part for a leftover.
void NewFile::Publish() {
  const int descriptor = descriptor_;
  descriptor_ = -1;
  // Some file systems tell only when a descriptor is closed that there was no room; that of a copy leaves the lock.
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
  int error = ToDisk(descriptor);
  if (copy >= 0 && close(copy) != 0 && error == 0) error = errno;
  // The mark stays until the name is there: a process may be killed in between, and the next one has to know the part.
  fchmod(descriptor, mode_ | kUnfinished);
  if (error == 0) error = replace_ ? (rename(part_.c_str(), target_.c_str()) == 0 ? 0 : errno) : RenameToFree(part_, target_);
  if (error == 0) {
    fchmod(descriptor, mode_);
  } else {
    unlink(part_.c_str());
  }
  doomed_.reset();
  close(descriptor);
  if (error == 0) return;
  if (error == EEXIST) throw Failure(ExitCode::kOutput, ExistsAlready(path_));
  Fail(error);
}

}  // namespace TSEG::tool
