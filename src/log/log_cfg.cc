// SPDX-License-Identifier: Apache-2.0
//
// Defaults of the log configuration, and its word tables.
#include "log/log_cfg.h"

#include <span>

#include "base/config_file.h"

namespace TSEG {
namespace {

struct WordRow {
  std::string_view words;  // divided by "," or ";"
  uint32_t mask;
};

constexpr WordRow kLevelWords[] = {
    {"low,warning", 7}, {"normal,medium,info", 15}, {"detail,debug", 63}, {"all,full", 0xFFFFFFFFu}, {"none", 0}};

constexpr WordRow kStyleWords[] = {{"short,simple", 61}, {"long,normal", 126}, {"all,full", 255}, {"none", 256}};

bool FindWord(std::span<const WordRow> table, std::string_view word, uint32_t* mask) {
  for (const WordRow& row : table) {
    for (std::string_view rest = row.words; !rest.empty();) {
      const size_t end = rest.find_first_of(",;");
      if (EqualsIgnoringCase(rest.substr(0, end), word)) {
        *mask = row.mask;
        return true;
      }
      rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
  }
  return false;
}

bool IsBinaryMode(int mode) { return mode == 1 || mode == 3; }

}  // namespace

Log_Cfg_T::Log_Cfg_T(const char* file, const char* title, int mode)
    : szFile(file != nullptr && file[0] != '\0' ? file : kDefaultFile),
      szTitle(title != nullptr && title[0] != '\0' ? title : kDefaultTitle),
      nStyle(IsBinaryMode(mode) ? kStyleNone : 255),
      nMode(mode),
      nCallerMode(mode) {}

bool LogLevelOfWord(std::string_view word, uint32_t* mask) { return FindWord(kLevelWords, word, mask); }

bool LogStyleOfWord(std::string_view word, uint32_t* mask) { return FindWord(kStyleWords, word, mask); }

}  // namespace TSEG
