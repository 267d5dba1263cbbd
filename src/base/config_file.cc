// SPDX-License-Identifier: Apache-2.0
//
// The configuration grammar: one pass over the text, line by line. Works on views of the caller's text; only the kept entries are copied.
#include "base/config_file.h"

#include <cstdlib>

#include "base/wrap.h"

namespace TSEG {
namespace {

// Characters of a line that are looked at; the rest of a longer line is dropped, not taken for a line of its own.
constexpr size_t kLineLimit = 10000;

bool IsBlankOrControl(char c) { return static_cast<unsigned char>(c) <= ' '; }

// `text` without the characters at both ends for which `drop` says yes.
template <typename Drop>
std::string_view Trim(std::string_view text, Drop drop) {
  while (!text.empty() && drop(text.front())) text.remove_prefix(1);
  while (!text.empty() && drop(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view TrimBlanks(std::string_view text) { return Trim(text, IsBlankOrControl); }

char FoldCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// A value without its opening quote, and without its last character if that is the same quote again.
std::string_view Unquote(std::string_view value) {
  if (value.empty() || (value.front() != '"' && value.front() != '\'')) return value;
  const char quote = value.front();
  value.remove_prefix(1);
  if (!value.empty() && value.back() == quote) value.remove_suffix(1);
  return value;
}

ConfigEntry SplitEntry(std::string_view line) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) return {std::string(line), std::string()};
  return {std::string(TrimBlanks(line.substr(0, equals))), std::string(Unquote(TrimBlanks(line.substr(equals + 1))))};
}

}  // namespace

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (FoldCase(a[i]) != FoldCase(b[i])) return false;
  }
  return true;
}

ConfigSection ConfigSection::Parse(std::string_view text, std::string_view name) {
  ConfigSection section;
  bool active = false;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);

    line = TrimBlanks(line.substr(0, kLineLimit));
    if (line.empty() || line.front() == '#' || line.front() == ';') continue;
    if (line.front() == '[') {
      const std::string_view title = Trim(line.substr(1), [](char c) { return c == ']' || IsBlankOrControl(c); });
      active = EqualsIgnoringCase(title, name);
    } else if (active) {
      section.entries_.push_back(SplitEntry(line));
    }
  }
  return section;
}

const std::string* ConfigSection::find(std::string_view key) const {
  for (const ConfigEntry& entry : entries_) {
    if (EqualsIgnoringCase(entry.key, key)) return &entry.value;
  }
  return nullptr;
}

const std::string* ConfigSection::find_set(std::string_view key) const {
  const std::string* value = find(key);
  return value != nullptr && !value->empty() ? value : nullptr;
}

int32_t ConfigInt(const std::string& value) { return Low32(std::strtoll(value.c_str(), nullptr, 0)); }

int32_t ConfigDecimal(const std::string& value) { return Low32(std::strtoll(value.c_str(), nullptr, 10)); }

float ConfigFloat(const std::string& value) { return static_cast<float>(std::strtod(value.c_str(), nullptr)); }

bool ConfigBool(const std::string& value) {
  if (value == "true") return true;
  if (value == "false" || value == "0") return false;
  return std::strtoll(value.c_str(), nullptr, 0) != 0;
}

std::string ConfigString(const std::string& value) {
  return std::string(Trim(value, [](char c) { return c == '"' || IsBlankOrControl(c); }));
}

}  // namespace TSEG
