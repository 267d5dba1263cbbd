// SPDX-License-Identifier: Apache-2.0
#include "wvad/foreign_bytes.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace TSEG::tool {
namespace {

using namespace std::string_view_literals;

struct Mark {
  std::string_view start;
  const char* kind;
};

constexpr Mark kMarks[] = {
    {"\x89PNG\r\n"sv, "a picture (PNG)"},
    {"\xFF\xD8\xFF\xE0"sv, "a picture (JPEG)"},
    {"\xFF\xD8\xFF\xE1"sv, "a picture (JPEG)"},
    {"GIF8"sv, "a picture (GIF)"},
    {"%PDF-"sv, "a document (PDF)"},
    {"\x1F\x8B\x08"sv, "compressed (gzip)"},
    {"PK\x03\x04"sv, "an archive (ZIP)"},
    {"BZh"sv, "compressed (bzip2)"},
    {"\xFD"sv
     "7zXZ\0"sv,
     "compressed (xz)"},
    {"\x28\xB5\x2F\xFD"sv, "compressed (zstd)"},
    {"\x7F"
     "ELF"sv,
     "a program (ELF)"},
};

bool IsText(unsigned char c) { return (c >= ' ' && c <= '~') || c == '\n' || c == '\r' || c == '\t'; }

}  // namespace

const char* ForeignKind(ByteSource& bytes) {
  constexpr size_t kLeastText = 16;
  std::array<char, 64> begin{};
  const std::string_view seen(begin.data(), bytes.ReadAt(0, begin.data(), begin.size()));
  for (const Mark& mark : kMarks) {
    if (seen.starts_with(mark.start)) return mark.kind;
  }
  const bool text = std::all_of(seen.begin(), seen.end(), [](char c) { return IsText(static_cast<unsigned char>(c)); });
  return text && seen.size() >= kLeastText ? "text" : nullptr;
}

}  // namespace TSEG::tool
