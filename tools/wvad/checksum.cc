// SPDX-License-Identifier: Apache-2.0
#include "wvad/checksum.h"

#include <nettle/sha2.h>

#include <array>
#include <memory>
#include <vector>

#include "wvad/byte_source.h"

namespace TSEG::tool {

std::string Sha256Of(const std::string& path) { return Sha256Of(std::vector<std::string>{path}); }

std::string Sha256Of(const std::vector<std::string>& paths) {
  sha256_ctx context;
  sha256_init(&context);
  std::vector<char> block(1 << 16);
  for (const std::string& path : paths) {
    const std::unique_ptr<ByteSource> bytes = OpenBytes(path);
    for (uint64_t at = 0;;) {
      const size_t count = bytes->ReadAt(at, block.data(), block.size());
      if (count == 0) break;
      sha256_update(&context, count, reinterpret_cast<const uint8_t*>(block.data()));
      at += count;
    }
  }
  std::array<uint8_t, SHA256_DIGEST_SIZE> digest{};
  sha256_digest(&context, digest.size(), digest.data());
  std::string text;
  for (const uint8_t byte : digest) {
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

}  // namespace TSEG::tool
