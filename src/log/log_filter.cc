// SPDX-License-Identifier: Apache-2.0
//
// Plain searches; the lists are short and usually empty.
#include "log/log_filter.h"

namespace TSEG {
namespace {

bool MatchesAny(const std::vector<std::string>& entries, const char* subject, std::string_view text) {
  for (const std::string& entry : entries) {
    if (subject != nullptr && entry == subject) return true;
    if (text.find(entry) != std::string_view::npos) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> SplitLogList(std::string_view list) {
  std::vector<std::string> entries;
  while (!list.empty()) {
    const size_t end = list.find_first_of(";,");
    const std::string_view entry = list.substr(0, end);
    if (!entry.empty()) entries.emplace_back(entry);
    list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
  }
  return entries;
}

bool LogFilter::Passes(const char* subject, std::string_view text) const {
  if (MatchesAny(exclude, subject, text)) return false;
  return include.empty() || MatchesAny(include, subject, text);
}

}  // namespace TSEG
