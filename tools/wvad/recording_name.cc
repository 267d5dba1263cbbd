// SPDX-License-Identifier: Apache-2.0
#include "wvad/recording_name.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

#include "wvad/file_system.h"
#include "wvad/form_of_ending.h"
#include "wvad/media_source.h"

namespace TSEG::tool {
namespace {

constexpr const char* kNotUtf8 = "its bytes are not UTF-8";
constexpr const char* kLineBreak = "it has a line break";
constexpr const char* kSoundEndings[] = {".wav", ".flac", ".ogg", ".oga", ".opus", ".mp3", ".m4a", ".aac", ".aif", ".aiff",
                                         ".au",  ".caf",  ".w64", ".wma", ".amr",  ".mp4", ".mov", ".mkv", ".webm"};

// Takes one character off `text`; nothing where it is no UTF-8 (too long, a surrogate or beyond the last plane included).
std::optional<uint32_t> TakeCharacter(std::string_view* text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>((*text)[i]); };
  const unsigned char first = byte(0);
  const size_t length = first < 0x80 ? 1 : first < 0xc2 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : first < 0xf5 ? 4 : 0;
  if (length == 0 || text->size() < length) return std::nullopt;
  uint32_t character = length == 1 ? first : first & (0x7fU >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return std::nullopt;
    character = character << 6 | (byte(i) & 0x3fU);
  }
  const bool overlong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
  if (overlong || (character >= 0xd800 && character < 0xe000) || character > 0x10ffff) return std::nullopt;
  text->remove_prefix(length);
  return character;
}

// White space in the sense of Unicode, at which readers in several languages split a line.
bool IsBlank(uint32_t character) {
  constexpr uint32_t kSingle[] = {0x20, 0x85, 0xa0, 0x1680, 0x2028, 0x2029, 0x202f, 0x205f, 0x3000};
  return (character >= 0x9 && character <= 0xd) || (character >= 0x1c && character <= 0x1f) ||
         (character >= 0x2000 && character <= 0x200a) || std::find(std::begin(kSingle), std::end(kSingle), character) != std::end(kSingle);
}

bool HasLineBreak(const std::string& text) { return text.find_first_of("\n\r") != std::string::npos; }

}  // namespace

std::string RecordingId(const std::string& name) {
  if (name == "-") return "stdin";
  const std::string stem = NameOf(PathOf(name).stem());
  return stem.empty() ? "recording" : stem;
}

std::string AbsolutePath(const std::string& name) {
  if (IsAddress(name)) return name;
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(PathOf(name), error);
  return error ? name : NameOf(path.lexically_normal());
}

std::string FileUrl(const std::string& name) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  constexpr const char* kDigits = "0123456789ABCDEF";
  if (IsAddress(name)) return name;
  const std::filesystem::path path = PathOf(AbsolutePath(name));
  // A drive ("C:") stands behind a slash, a computer ("//name") in the place of the empty host.
  const std::string drive = SlashedNameOf(path.root_name());
  std::string url = drive.empty() ? "file://" : drive.starts_with("//") ? "file:" + drive : "file:///" + drive;
  for (const char c : SlashedNameOf(path).substr(drive.size())) {
    const auto byte = static_cast<unsigned char>(c);
    if (kPlain.find(c) != std::string_view::npos) {
      url += c;
    } else {
      url += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return url;
}

bool IsSoundName(const std::string& name) {
  return std::any_of(std::begin(kSoundEndings), std::end(kSoundEndings), [&](const char* ending) { return HasEnding(name, ending); });
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    if (!TakeCharacter(&text)) return false;
  }
  return true;
}

std::string AnyName(const std::string&) { return ""; }

std::string NoToken(const std::string& name) {
  const std::string id = RecordingId(name);
  if (id[0] == ';' || id[0] == '#') return "a line that begins so is a comment";
  for (std::string_view rest = id; !rest.empty();) {
    const std::optional<uint32_t> character = TakeCharacter(&rest);
    if (!character) return kNotUtf8;
    if (IsBlank(*character)) return "it has a blank";
    if (*character < 0x20 || *character == 0x7f) return "it has a control character";
  }
  return "";
}

std::string NoPath(const std::string& name) {
  if (name == "-") return "standard input is no file that others can open";
  return HasLineBreak(AbsolutePath(name)) ? kLineBreak : "";
}

std::string NoTextPath(const std::string& name) {
  if (name == "-") return "standard input is no file that others can open";
  return IsUtf8(AbsolutePath(name)) ? "" : kNotUtf8;
}

std::string NoTokenOrPath(const std::string& name) {
  const std::string reason = NoToken(name);
  return reason.empty() ? NoPath(name) : reason;
}

std::string NoLine(const std::string& name) {
  const std::string file = NameOf(PathOf(name).filename());
  return !IsUtf8(file) ? kNotUtf8 : HasLineBreak(file) ? kLineBreak : "";
}

std::string NoText(const std::string& name) { return IsUtf8(RecordingId(name)) ? "" : kNotUtf8; }

}  // namespace TSEG::tool
