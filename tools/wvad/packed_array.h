// SPDX-License-Identifier: Apache-2.0
//
// Bytes as a web page takes them: compressed in the zlib format (RFC 1950), which browsers expand by themselves ("deflate"), and in base64
// (RFC 4648).
#ifndef WVAD_WVAD_PACKED_ARRAY_H_
#define WVAD_WVAD_PACKED_ARRAY_H_

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace TSEG::tool {

std::string Base64(std::string_view bytes);
std::string Packed(std::string_view bytes);

// The values as they lie in memory, which is little-endian on every system that the program is built for.
template <typename Value>
std::string PackedArray(const std::vector<Value>& values) {
  static_assert(std::is_trivially_copyable_v<Value>);
  return Packed({reinterpret_cast<const char*>(values.data()), values.size() * sizeof(Value)});
}

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PACKED_ARRAY_H_
