// SPDX-License-Identifier: Apache-2.0
#include "wvad/new_file.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "wvad/failure.h"
#include "wvad/file_system.h"

namespace TSEG::tool {
namespace {

// Where the links of `path` lead, whether something is there or not; `path` itself if it is no link.
std::string FollowLinks(const std::string& path) {
  constexpr int kMostLinks = 40;  // more is a circle, which the opening will find
  std::filesystem::path place = PathOf(path);
  std::error_code error;
  for (int i = 0; i < kMostLinks && std::filesystem::is_symlink(place, error); ++i) {
    const std::filesystem::path next = std::filesystem::read_symlink(place, error);
    if (error) break;
    place = place.parent_path() / next;
  }
  return NameOf(place);
}

}  // namespace

std::string NameOfPart(const std::string& path) {
  constexpr size_t kLongestName = 255;  // that file systems take
  const size_t slash = path.find_last_of(kSeparators);
  const size_t begin = slash == std::string::npos ? 0 : slash + 1;
  if (path.size() - begin + kPartEnding.size() <= kLongestName) return path + std::string(kPartEnding);
  // FNV-1a: the same name has the same part in each run, and two names of one folder hardly ever one.
  uint64_t checksum = 14695981039346656037U;
  for (const char c : path.substr(begin)) checksum = (checksum ^ static_cast<unsigned char>(c)) * 1099511628211U;
  char digits[18];
  std::snprintf(digits, sizeof digits, "~%016llx", static_cast<unsigned long long>(checksum));
  size_t end = begin + kLongestName - kPartEnding.size() - (sizeof digits - 1);
  while ((static_cast<unsigned char>(path[end]) & 0xC0U) == 0x80U) --end;  // not within a letter
  return path.substr(0, end) + digits + std::string(kPartEnding);
}

NewFile::NewFile(const std::string& path, const OutputRules& rules)
    : path_(path), target_(FollowLinks(path)), part_(NameOfPart(target_)), replace_(rules.replace()) {
  rules.Check(path);
  rules.CheckPart(part_);
  if (LookAt(path).kind == FileKind::kSpecial) throw Failure(ExitCode::kOutput, path + ": is not an ordinary file");
  OpenPart();
}

void NewFile::Write(std::string_view bytes) {
  if (const int error = WriteAll(descriptor_, bytes); error != 0) Fail(error);
}

void NewFile::Fail(int error) const { throw Failure(ExitCode::kOutput, path_ + ": cannot be written: " + std::strerror(error)); }

bool AreOneFile(const std::string& one, const std::string& other) {
  const auto place = [](const std::string& path) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::absolute(PathOf(FollowLinks(path)), error);
    return std::filesystem::weakly_canonical(target.parent_path(), error) / target.filename();
  };
  return FoldedName(NameOf(place(one))) == FoldedName(NameOf(place(other)));
}

void WriteNewFile(const std::string& path, const OutputRules& rules, std::string_view bytes) {
  NewFile file(path, rules);
  file.Write(bytes);
  file.Publish();
}

}  // namespace TSEG::tool
