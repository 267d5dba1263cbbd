// SPDX-License-Identifier: Apache-2.0
//
// The MD5 digest of some bytes, as a label. Not for anything that has to be secure.
#ifndef WVAD_RES_MD5_H_
#define WVAD_RES_MD5_H_

#include <cstdint>
#include <string>

namespace TSEG {

// 32 lower-case hexadecimal characters.
std::string Md5Hex(const void* data, uint64_t length);

}  // namespace TSEG

#endif  // WVAD_RES_MD5_H_
