// SPDX-License-Identifier: Apache-2.0
#include "wvad/file_system.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>

#include "wvad/system.h"

namespace TSEG::tool {
namespace {

FileLook LookOf(const struct stat& found) {
  FileLook look;
  look.kind = S_ISREG(found.st_mode) ? FileKind::kFile : S_ISDIR(found.st_mode) ? FileKind::kFolder : FileKind::kSpecial;
  look.device = found.st_dev;
  look.inode = found.st_ino;
  return look;
}

}  // namespace

std::filesystem::path PathOf(const std::string& name) { return name; }

std::string NameOf(const std::filesystem::path& path) { return path.string(); }

std::string SlashedNameOf(const std::filesystem::path& path) { return path.string(); }

FileLook LookAt(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) == 0) return LookOf(found);
  FileLook look;
  if (lstat(path.c_str(), &found) == 0) look.kind = FileKind::kDanglingLink;
  return look;
}

FileLook LookAtDescriptor(int descriptor) {
  struct stat found {};
  return fstat(descriptor, &found) == 0 ? LookOf(found) : FileLook();
}

uint64_t SizeOf(const std::string& path) {
  struct stat found {};
  return stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode) ? static_cast<uint64_t>(found.st_size) : 0;
}

bool IsNewer(const std::string& path, const std::string& than) {
  struct stat one {};
  struct stat other {};
  if (stat(path.c_str(), &one) != 0 || stat(than.c_str(), &other) != 0 || !S_ISREG(one.st_mode) || !S_ISREG(other.st_mode)) return false;
  if (one.st_mtim.tv_sec != other.st_mtim.tv_sec) return one.st_mtim.tv_sec > other.st_mtim.tv_sec;
  return one.st_mtim.tv_nsec > other.st_mtim.tv_nsec;
}

bool MatchesPattern(const std::string& pattern, const std::string& text) {
  return fnmatch(pattern.c_str(), text.c_str(), FNM_PATHNAME | FNM_PERIOD) == 0;
}

std::vector<std::string> NamesOf(const std::string& argument) { return {argument}; }

std::string FoldedName(const std::string& path) { return path; }

std::optional<int> DescriptorNamed(const std::string& path) {
  if (path == "/dev/stdout") return STDOUT_FILENO;
  if (path == "/dev/stderr") return STDERR_FILENO;
  for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
    if (path.compare(0, folder.size(), folder) != 0) continue;
    int number = -1;
    const char* end = path.data() + path.size();
    const auto [stop, error] = std::from_chars(path.data() + folder.size(), end, number);
    if (error == std::errc() && stop == end && number >= 0) return number;
  }
  return std::nullopt;
}

int OpenForReading(const std::string& path) {
  // A named pipe that nobody writes to would hold this call, and a signal that comes just before it would find nothing to break off:
  // ReadSome waits for the writer, and looks.
  return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
}

long ReadSome(int descriptor, void* out, size_t count) {
  // A signal wakes one thread, which need not be this one.
  constexpr int kLookMs = 100;
  while (!ReadingStopped()) {
    pollfd ready = {descriptor, POLLIN, 0};
    const int found = poll(&ready, 1, kLookMs);
    // A signal that came while nothing did: reading now would wait without looking again.
    if (found == 0 || (found < 0 && errno == EINTR)) continue;
    const ssize_t got = read(descriptor, out, count);
    if (got >= 0) return got;
    if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) return -1;
  }
  return 0;
}

long ReadSomeAt(int descriptor, uint64_t offset, void* out, size_t count) {
  for (;;) {
    const ssize_t got = pread(descriptor, out, count, static_cast<off_t>(offset));
    if (got >= 0 || errno != EINTR) return got;
  }
}

uint64_t LengthOf(int descriptor) {
  struct stat found {};
  return fstat(descriptor, &found) == 0 ? static_cast<uint64_t>(found.st_size) : 0;
}

uint64_t PositionOf(int descriptor) {
  const off_t position = lseek(descriptor, 0, SEEK_CUR);
  return position > 0 ? static_cast<uint64_t>(position) : 0;
}

int MakeEmptyFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor < 0) return errno;
  close(descriptor);
  return 0;
}

int OpenSpecial(const std::string& path) { return open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY); }

void CloseDescriptor(int descriptor) { close(descriptor); }

int WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<size_t>(written));
      continue;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      pollfd room = {descriptor, POLLOUT, 0};
      poll(&room, 1, -1);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

}  // namespace TSEG::tool
