// SPDX-License-Identifier: Apache-2.0
//
// PathFromAnywhere: a file by a path that is right from every folder.
//
// The library takes its model's path relative to its own folder, whose depth is the library's affair. Going up this often ends at the root
// from anywhere, since the root is its own parent. Where there is a root for each drive, only files on the library's drive are reached.
#ifndef WVAD_WVAD_PATH_FROM_ANYWHERE_H_
#define WVAD_WVAD_PATH_FROM_ANYWHERE_H_

#include <string>

namespace TSEG::tool {

// `absolute` begins with a separator, or with one behind the name of a drive.
inline std::string PathFromAnywhere(const std::string& absolute) {
  constexpr int kLevels = 64;
  std::string path;
  for (int i = 0; i < kLevels; ++i) path += "../";
  return path + absolute.substr(absolute.find_first_of("/\\") + 1);
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PATH_FROM_ANYWHERE_H_
