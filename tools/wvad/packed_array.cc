// SPDX-License-Identifier: Apache-2.0
#include "wvad/packed_array.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <new>

namespace TSEG::tool {

static_assert(std::endian::native == std::endian::little);

std::string Base64(std::string_view bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t at = 0; at < bytes.size(); at += 3) {
    const size_t count = std::min<size_t>(3, bytes.size() - at);
    uint32_t group = 0;
    for (size_t i = 0; i < 3; ++i) group = group << 8 | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    for (size_t i = 0; i < 4; ++i) text += i <= count ? kDigits[group >> (18 - 6 * i) & 63U] : '=';
  }
  return text;
}

std::string Packed(std::string_view bytes) {
  uLongf length = compressBound(static_cast<uLong>(bytes.size()));
  std::string packed(length, '\0');
  const int code = compress2(reinterpret_cast<Bytef*>(packed.data()), &length, reinterpret_cast<const Bytef*>(bytes.data()),
                             static_cast<uLong>(bytes.size()), Z_DEFAULT_COMPRESSION);
  if (code != Z_OK) throw std::bad_alloc();  // the one way to fail with room enough
  packed.resize(length);
  return Base64(packed);
}

}  // namespace TSEG::tool
