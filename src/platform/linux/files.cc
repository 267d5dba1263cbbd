// SPDX-License-Identifier: Apache-2.0
//
// Files and paths. Nothing here waits: what might be a pipe is opened without waiting for its other end.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include "platform/linux/descriptor.h"
#include "platform/linux/write_fully.h"
#include "platform/platform.h"

namespace TSEG::platform {
namespace {

// What is read of something that has no length of its own (a device, a pipe).
constexpr size_t kStreamLimit = size_t{1} << 20;

bool Look(const std::string& path, struct stat* out) { return ::stat(path.c_str(), out) == 0; }

// Reads up to `limit` bytes behind what `text` holds. False on a read error.
bool ReadUpTo(int descriptor, size_t limit, std::string* text) {
  std::array<char, 16384> block;
  while (text->size() < limit) {
    const size_t wanted = std::min(block.size(), limit - text->size());
    const ssize_t got = ::read(descriptor, block.data(), wanted);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno == EAGAIN;
    if (got == 0) return true;
    text->append(block.data(), static_cast<size_t>(got));
  }
  return true;
}

}  // namespace

PathKind KindOfPath(const std::string& path) {
  struct stat info {};
  if (!Look(path, &info)) return PathKind::kMissing;
  return S_ISDIR(info.st_mode) ? PathKind::kDirectory : PathKind::kFile;
}

bool IsReadable(const std::string& path) {
  if (KindOfPath(path) != PathKind::kFile) return false;
  return Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)).ok();
}

std::optional<uint64_t> FileSize(const std::string& path) {
  struct stat info {};
  if (!Look(path, &info) || S_ISDIR(info.st_mode)) return std::nullopt;
  return static_cast<uint64_t>(info.st_size);
}

int64_t ModificationTime(const std::string& path) {
  struct stat info {};
  if (!Look(path, &info)) return 0;
  return static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
}

std::optional<std::string> ReadWholeFile(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat info {};
  if (!file.ok() || ::fstat(file.get(), &info) != 0 || S_ISDIR(info.st_mode)) return std::nullopt;
  std::string text;
  const size_t limit = S_ISREG(info.st_mode) ? text.max_size() : kStreamLimit;
  if (!ReadUpTo(file.get(), limit, &text)) return std::nullopt;
  return text;
}

bool MakeFolders(const std::string& path) {
  // Each prefix that ends before a separator, then the whole; what exists already is no failure as long as it is a folder.
  for (size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const std::string level = path.substr(0, end);
    if (!level.empty() && KindOfPath(level) != PathKind::kDirectory && ::mkdir(level.c_str(), 0777) != 0 &&
        KindOfPath(level) != PathKind::kDirectory) {
      return false;
    }
    if (end == std::string::npos) break;
  }
  return true;
}

bool CopyFileOver(const std::string& from, const std::string& to) {
  const Descriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat info {};
  if (!source.ok() || ::fstat(source.get(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  struct stat target_info {};
  if (Look(to, &target_info) && target_info.st_dev == info.st_dev && target_info.st_ino == info.st_ino) return false;

  const Descriptor target(::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, info.st_mode & 0777));
  if (!target.ok()) return false;
  std::array<char, 65536> block;
  for (;;) {
    const ssize_t got = ::read(source.get(), block.data(), block.size());
    if (got < 0 && errno == EINTR) continue;
    if (got == 0) return true;
    if (got < 0 || WriteFully(target.get(), block.data(), static_cast<size_t>(got)) != 0) {
      // Half a copy would look like a whole one, and would keep a full disk full.
      ::unlink(to.c_str());
      return false;
    }
  }
}

bool RemoveFile(const std::string& path) { return ::unlink(path.c_str()) == 0; }

std::vector<std::string> ListFiles(const std::string& folder) {
  std::vector<std::string> names;
  DIR* listing = ::opendir(folder.c_str());
  if (listing == nullptr) return names;
  while (const dirent* item = ::readdir(listing)) {
    struct stat info {};
    // Some file systems do not tell the kind in the listing, and a link has to be followed; so each is looked at.
    if (::fstatat(::dirfd(listing), item->d_name, &info, 0) == 0 && S_ISREG(info.st_mode)) names.emplace_back(item->d_name);
  }
  ::closedir(listing);
  return names;
}

std::string NormaliseSeparators(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

bool IsAbsolutePath(const std::string& path) { return !path.empty() && path.front() == '/'; }

}  // namespace TSEG::platform
