// SPDX-License-Identifier: Apache-2.0
//
// The SHA-256 of a file, as `sha256sum` prints it, and of several as it does for what `cat` makes of them.
#ifndef WVAD_WVAD_CHECKSUM_H_
#define WVAD_WVAD_CHECKSUM_H_

#include <string>
#include <vector>

namespace TSEG::tool {

// In 64 hexadecimal digits. Throws Failure(kNoFile) where a file cannot be read.
std::string Sha256Of(const std::string& path);
std::string Sha256Of(const std::vector<std::string>& paths);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_CHECKSUM_H_
