// SPDX-License-Identifier: Apache-2.0
//
// ConfigSection: one section of a configuration file in the engine's own grammar, and the conversions of its values.
//
// The text is read line by line, a line up to 10000 characters; blanks and control characters (below 32) go from both ends; empty lines and
// lines that begin with '#' or ';' are skipped; '[name]' opens a section, compared without case; other lines of the active section are
// entries 'key = value', split at the first '='; a value that begins with a quote loses it, and loses the last character too if it is the
// same quote. Entries keep file order, duplicates included. Any bytes are accepted; nothing throws but the run-time's allocation failure.
#ifndef WVAD_BASE_CONFIG_FILE_H_
#define WVAD_BASE_CONFIG_FILE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace TSEG {

struct ConfigEntry {
  std::string key;
  std::string value;
};

class ConfigSection {
 public:
  // Takes the section `name` out of `text`.
  static ConfigSection Parse(std::string_view text, std::string_view name);

  const std::vector<ConfigEntry>& entries() const& { return entries_; }
  std::vector<ConfigEntry> entries() && { return std::move(entries_); }
  // The value of the first entry whose key equals `key` without case; null if there is none.
  const std::string* find(std::string_view key) const;
  // The same, but null also for an empty value: such an entry leaves the parameter as it was.
  const std::string* find_set(std::string_view key) const;

 private:
  std::vector<ConfigEntry> entries_;
};

// Value conversions. A value that does not parse gives 0 with no message.
int32_t ConfigInt(const std::string& value);         // strtoll, base 0 ("0x10" is 16, "010" is 8), the low 32 bits
int32_t ConfigDecimal(const std::string& value);     // strtoll, base 10
float ConfigFloat(const std::string& value);         // strtod, rounded to single
bool ConfigBool(const std::string& value);           // "true" true; "false", "0" false; else strtoll (base 0) non-zero
std::string ConfigString(const std::string& value);  // double quotes, blanks and control characters removed at both ends

// Whether two texts are equal with A to Z folded.
bool EqualsIgnoringCase(std::string_view a, std::string_view b);

}  // namespace TSEG

#endif  // WVAD_BASE_CONFIG_FILE_H_
