// SPDX-License-Identifier: Apache-2.0
#include "wvad/byte_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/system.h"
#include "wvad/temporary_file.h"

namespace TSEG::tool {
namespace {

[[noreturn]] void CannotRead(const std::string& name) {
  const std::string reason = std::strerror(errno);
  throw Failure(ExitCode::kNoFile, name + (name == "-" ? ": standard input cannot be read: " : ": cannot be read: ") + reason);
}

// A descriptor that is closed at the end, unless it is standard input.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ > kStandardInput) CloseDescriptor(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int number() const { return number_; }

 private:
  int number_;
};

class FileBytes : public ByteSource {
 public:
  FileBytes(const std::string& name, int descriptor) : name_(name), descriptor_(descriptor), base_(PositionOf(descriptor)) {}

  size_t ReadAt(uint64_t offset, void* out, size_t count) override {
    size_t got = 0;
    while (got < count) {
      const long more = ReadSomeAt(descriptor_.number(), base_ + offset + got, static_cast<char*>(out) + got, count - got);
      if (more < 0) CannotRead(name_);
      if (more == 0) break;
      got += static_cast<size_t>(more);
    }
    return got;
  }
  std::optional<uint64_t> length() const override {
    const uint64_t whole = LengthOf(descriptor_.number());
    return whole > base_ ? whole - base_ : 0;
  }

 private:
  std::string name_;
  Descriptor descriptor_;
  uint64_t base_;
};

class StreamBytes : public ByteSource {
 public:
  StreamBytes(const std::string& name, std::function<long(void* out, size_t count)> read) : name_(name), read_(std::move(read)) {}

  size_t ReadAt(uint64_t offset, void* out, size_t count) override {
    while (!ended_ && end_ < offset + count) Fetch(offset + count - end_);
    char* to = static_cast<char*>(out);
    size_t got = 0;
    while (got < count) {
      const size_t more = Copy(offset + got, to + got, count - got);
      if (more == 0) break;
      got += more;
    }
    return got;
  }
  std::optional<uint64_t> length() const override { return ended_ ? std::optional<uint64_t>(end_) : std::nullopt; }
  void KeepAll() override {
    if (all_) return;
    all_.emplace(name_);
    all_->Append(head_.data(), head_.size());
  }

 private:
  static constexpr size_t kKept = 1 << 20;

  // No more than is wanted: a live source brings the rest when its time has come.
  void Fetch(uint64_t wanted) {
    piece_.resize(static_cast<size_t>(std::min<uint64_t>(wanted, 65536)));
    const long got = read_(piece_.data(), piece_.size());
    if (got < 0) CannotRead(name_);
    ended_ = got == 0;
    const size_t count = static_cast<size_t>(got);
    if (head_.size() < kKept)
      head_.insert(head_.end(), piece_.begin(), piece_.begin() + std::min<long>(got, static_cast<long>(kKept - head_.size())));
    if (all_) all_->Append(piece_.data(), count);
    recent_.insert(recent_.end(), piece_.begin(), piece_.begin() + got);
    if (recent_.size() > 2 * kKept) recent_.erase(recent_.begin(), recent_.end() - static_cast<std::ptrdiff_t>(kKept));
    end_ += count;
  }
  size_t Copy(uint64_t offset, char* out, size_t count) {
    if (offset >= end_) return 0;
    count = static_cast<size_t>(std::min<uint64_t>(count, end_ - offset));
    if (offset < head_.size()) {
      count = std::min(count, head_.size() - static_cast<size_t>(offset));
      std::memcpy(out, head_.data() + offset, count);
      return count;
    }
    const uint64_t recent_begin = end_ - recent_.size();
    if (offset >= recent_begin) {
      std::memcpy(out, recent_.data() + (offset - recent_begin), count);
      return count;
    }
    return all_ ? all_->ReadAt(offset, out, count) : 0;
  }

  std::string name_;
  std::function<long(void* out, size_t count)> read_;
  uint64_t end_ = 0;  // bytes that have come
  bool ended_ = false;
  std::vector<char> head_;    // the first of them
  std::vector<char> recent_;  // the last of them
  std::optional<TemporaryFile> all_;
  std::vector<char> piece_;
};

int Open(const std::string& path) {
  switch (LookAt(path).kind) {
    case FileKind::kFolder:
      throw Failure(ExitCode::kNoFile, path + ": is a folder, not a file");
    case FileKind::kDanglingLink:
      throw Failure(ExitCode::kNoFile, path + ": leads nowhere (a link to a file that is missing)");
    default:
      break;
  }
  const int descriptor = OpenForReading(path);
  if (descriptor >= 0) return descriptor;
  if (errno == ENOENT) throw Failure(ExitCode::kNoFile, path + ": no such file");
  throw Failure(ExitCode::kNoFile, path + ": cannot be opened: " + std::strerror(errno));
}

}  // namespace

std::unique_ptr<ByteSource> OpenBytes(const std::string& path) {
  const int descriptor = path == "-" ? kStandardInput : Open(path);
  if (LookAtDescriptor(descriptor).kind == FileKind::kFile) return std::make_unique<FileBytes>(path, descriptor);
  return StreamOf(
      path, [held = std::make_shared<Descriptor>(descriptor)](void* out, size_t count) { return ReadSome(held->number(), out, count); });
}

std::unique_ptr<ByteSource> StreamOf(const std::string& name, std::function<long(void* out, size_t count)> read) {
  return std::make_unique<StreamBytes>(name, std::move(read));
}

std::string ReadWhole(const std::string& path, size_t most) {
  constexpr size_t kPiece = 1 << 16;
  constexpr size_t kLongestText = size_t{1} << 30;
  const std::unique_ptr<ByteSource> bytes = OpenBytes(path);
  std::string text;
  for (size_t count = 1; count > 0 && text.size() < most;) {
    const size_t begin = text.size();
    text.resize(begin + std::min(kPiece, most - begin));
    count = bytes->ReadAt(begin, text.data() + begin, text.size() - begin);
    text.resize(begin + count);
    if (most == SIZE_MAX && text.size() > kLongestText) throw Failure(ExitCode::kNoFile, path + ": is no text (over 1 GiB)");
  }
  if (Interrupted()) throw Failure(ExitCode::kInterrupted, path + ": interrupted");
  return text;
}

}  // namespace TSEG::tool
