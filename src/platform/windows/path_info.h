// SPDX-License-Identifier: Apache-2.0
//
// What stands at a path, links followed: the one look that the questions of files.cc are answered from.
#ifndef WVAD_PLATFORM_WINDOWS_PATH_INFO_H_
#define WVAD_PLATFORM_WINDOWS_PATH_INFO_H_

#include <cstdint>
#include <optional>
#include <string>

namespace TSEG::platform {

struct PathInfo {
  bool is_folder = false;
  bool is_plain_file = false;  // neither of the two: a device or a pipe, for which the rest is 0
  uint64_t size = 0;           // bytes
  int64_t changed_ns = 0;      // since 1970-01-01 UTC
  uint32_t volume = 0;         // with `index` the same for all names of one file
  uint64_t index = 0;
};

// Nothing for what is not there or cannot be looked at.
std::optional<PathInfo> LookAt(const std::wstring& path);

}  // namespace TSEG::platform

#endif  // WVAD_PLATFORM_WINDOWS_PATH_INFO_H_
