// SPDX-License-Identifier: Apache-2.0
//
// Names by patterns on Windows: letters of either case, and what the command line's own shells leave to the program.
#include <algorithm>

#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"
#include "wvad/file_system.h"
#include "wvad/windows/pattern.h"

namespace TSEG::tool {
namespace {

using platform::Wide;

std::wstring Folded(const std::string& text) { return Wide(FoldedName(text)); }

// Backslashes divide folders, and have become those of FoldedName.
std::wstring WithSlashes(std::wstring text) {
  std::replace(text.begin(), text.end(), L'\\', L'/');
  return text;
}

}  // namespace

bool MatchesPattern(const std::string& pattern, const std::string& text) {
  const std::wstring folded_pattern = WithSlashes(Folded(pattern));
  const std::wstring folded_text = WithSlashes(Folded(text));
  return MatchesFrom<wchar_t>(folded_pattern, folded_text);
}

std::vector<std::string> NamesOf(const std::string& argument) {
  const size_t name = argument.find_last_of("\\/:") + 1;
  const bool is_pattern = argument.find_first_of("*?", name) != std::string::npos && argument.find("://") == std::string::npos;
  std::vector<std::string> names;
  WIN32_FIND_DATAW item{};
  const HANDLE listing = is_pattern ? ::FindFirstFileExW(Wide(argument.substr(0, name) + "*").c_str(), FindExInfoBasic, &item,
                                                         FindExSearchNameMatch, nullptr, 0)
                                    : INVALID_HANDLE_VALUE;
  if (listing == INVALID_HANDLE_VALUE) return {argument};
  do {
    const std::string found = platform::Utf8(item.cFileName);
    if (found != "." && found != ".." && MatchesPattern(argument.substr(name), found)) names.push_back(argument.substr(0, name) + found);
  } while (::FindNextFileW(listing, &item) != 0);
  ::FindClose(listing);
  std::sort(names.begin(), names.end());
  return names.empty() ? std::vector<std::string>{argument} : names;
}

}  // namespace TSEG::tool
