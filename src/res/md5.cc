// SPDX-License-Identifier: Apache-2.0
//
// On the digest that Boost.UUID carries. Older versions hand it out as four words in the machine's order, newer ones as bytes.
#include "res/md5.h"

#include <boost/uuid/detail/md5.hpp>
#include <boost/version.hpp>
#include <cstdio>
#include <cstring>

namespace TSEG {

std::string Md5Hex(const void* data, uint64_t length) {
  boost::uuids::detail::md5 md5;
  // The library keeps its bit count in two words of which the lower counts 29 bits of bytes, so one call stays well below that.
  constexpr uint64_t kPiece = uint64_t{1} << 28;
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (uint64_t done = 0; done < length; done += kPiece) {
    md5.process_bytes(bytes + done, static_cast<size_t>(length - done < kPiece ? length - done : kPiece));
  }
  boost::uuids::detail::md5::digest_type digest;
  md5.get_digest(digest);

  unsigned char ordered[16];
  static_assert(sizeof digest == sizeof ordered);
#if BOOST_VERSION >= 108600
  std::memcpy(ordered, &digest, sizeof ordered);  // bytes in their published order
#else
  // Four words, each in the order of the machine.
  for (int i = 0; i < 16; ++i) ordered[i] = static_cast<unsigned char>(digest[i / 4] >> (24 - 8 * (i % 4)));
#endif
  std::string text;
  for (const unsigned char byte : ordered) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += pair;
  }
  return text;
}

}  // namespace TSEG
