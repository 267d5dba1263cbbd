// SPDX-License-Identifier: Apache-2.0
//
// The subject filter: texts that drop a message and texts that let it pass. Constant once read, so any thread may ask.
#ifndef WVAD_LOG_LOG_FILTER_H_
#define WVAD_LOG_LOG_FILTER_H_

#include <string>
#include <string_view>
#include <vector>

namespace TSEG {

// The texts of a list divided by ";" or ",", as they stand; empty ones, which would match everything, are left out.
std::vector<std::string> SplitLogList(std::string_view list);

struct LogFilter {
  std::vector<std::string> include;
  std::vector<std::string> exclude;

  // Exclude first: an entry equal to the subject, or contained in the text, drops. Then an empty include list passes everything; otherwise
  // only a subject equal to an entry, or a text containing one, passes. `subject` may be null.
  bool Passes(const char* subject, std::string_view text) const;
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_FILTER_H_
