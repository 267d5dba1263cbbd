// SPDX-License-Identifier: Apache-2.0
//
// The rotation of a log file that has grown too large: its lines move into a file named by the time, and the oldest such file goes when
// there are enough. Runs under the logger's lock. Included where the template is instantiated.
#ifndef WVAD_LOG_LOG_IMPL_ROTATION_H_
#define WVAD_LOG_LOG_IMPL_ROTATION_H_

#include <algorithm>
#include <string>
#include <vector>

#include "log/log_impl.h"

namespace TSEG {

template <typename IO, typename LOCK, typename CFG>
int Log_Impl_T<IO, LOCK, CFG>::backup() {
  const Holder holder(this);
  if (pDevice == nullptr) return -1;
  std::string target = cfg_.szFile;
  if (!cfg_.overwrite()) {
    char time[kTimeSize];
    time_text(time, true, false);
    // The last "." of the whole path, even where it belongs to a folder's name: old files are found by these names.
    target = target.substr(0, target.rfind('.')) + "_" + time + ".log";
  }
  if (cfg_.maxcount() > 0) delete_oldest();
  if (cfg_.head()) write_tail(0);
  const int result = pDevice->backup(target.c_str());
  if (cfg_.head()) write_head(0);
  return result;
}

// One file at most goes, even where several are beyond the count.
template <typename IO, typename LOCK, typename CFG>
void Log_Impl_T<IO, LOCK, CFG>::delete_oldest() {
  const size_t slash = cfg_.szFile.find_last_of("/\\");
  const std::string folder = slash == std::string::npos ? std::string("./") : cfg_.szFile.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? cfg_.szFile : cfg_.szFile.substr(slash + 1);
  const std::string prefix = name.substr(0, name.rfind('.')) + "_";
  const std::string suffix = ".log";

  std::vector<std::string> matches;
  for (std::string& file : platform::ListFiles(platform::NormaliseSeparators(folder))) {
    const bool fits = file.size() >= prefix.size() + suffix.size() && file.starts_with(prefix) && file.ends_with(suffix);
    if (fits) matches.push_back(std::move(file));
  }
  if (matches.size() < static_cast<size_t>(cfg_.maxcount())) return;
  // The date in the name puts the oldest first.
  platform::RemoveFile(platform::NormaliseSeparators(folder) + *std::min_element(matches.begin(), matches.end()));
}

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_IMPL_ROTATION_H_
