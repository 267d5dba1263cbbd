// SPDX-License-Identifier: Apache-2.0
//
// The SHA-256 of a file, as `sha256sum` prints it.
#ifndef WVAD_WVAD_CHECKSUM_H_
#define WVAD_WVAD_CHECKSUM_H_

#include <string>

namespace TSEG::tool {

// In 64 hexadecimal digits. Throws Failure(kNoFile) where the file cannot be read.
std::string Sha256Of(const std::string& path);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_CHECKSUM_H_
