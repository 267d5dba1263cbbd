// SPDX-License-Identifier: Apache-2.0
#include "blocks/npy_file.h"

#include <bit>
#include <cmath>
#include <fstream>

namespace TSEG::blocks {

uint16_t HalfBits(float value) {
  const uint32_t bits = std::bit_cast<uint32_t>(value);
  const uint32_t sign = (bits >> 16) & 0x8000u;
  if (std::isnan(value)) return static_cast<uint16_t>(sign | 0x7E00u);
  const float magnitude = std::fabs(value);
  if (magnitude >= 65504.0f) return static_cast<uint16_t>(sign | 0x7BFFu);
  if (magnitude < 6.103515625e-05f) {  // below the smallest normal half: units of 2^-24, to the nearest even
    return static_cast<uint16_t>(sign | static_cast<uint32_t>(std::lrint(static_cast<double>(magnitude) * 16777216.0)));
  }
  uint32_t half = (std::bit_cast<uint32_t>(magnitude) - 0x38000000u);  // exponent bias 127 to 15
  half += 0x0FFFu + ((half >> 13) & 1u);                               // to the nearest even; a carry moves the exponent up
  half >>= 13;
  return static_cast<uint16_t>(sign | (half > 0x7BFFu ? 0x7BFFu : half));
}

std::string NpyHeader(uint64_t rows, size_t columns, bool half) {
  std::string header = std::string("{'descr': '") + (half ? "<f2" : "<f4") + "', 'fortran_order': False, 'shape': (" +
                       std::to_string(rows) + ", " + std::to_string(columns) + "), }";
  header.append((64 - (10 + header.size() + 1) % 64) % 64, ' ');
  header.push_back('\n');
  const char prefix[10] = {
      '\x93', 'N', 'U', 'M', 'P', 'Y', 1, 0, static_cast<char>(header.size() & 0xFF), static_cast<char>(header.size() >> 8)};
  return std::string(prefix, sizeof prefix) + header;
}

bool WriteNpy(const std::string& path, const std::vector<float>& values, size_t columns, bool half) {
  const size_t rows = columns == 0 ? 0 : values.size() / columns;
  const std::string header = NpyHeader(rows, columns, half);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(header.data(), static_cast<std::streamsize>(header.size()));
  if (half) {
    std::vector<uint16_t> halves(rows * columns);
    for (size_t i = 0; i < halves.size(); ++i) halves[i] = HalfBits(values[i]);
    out.write(reinterpret_cast<const char*>(halves.data()), static_cast<std::streamsize>(halves.size() * sizeof(uint16_t)));
  } else {
    out.write(reinterpret_cast<const char*>(values.data()), static_cast<std::streamsize>(rows * columns * sizeof(float)));
  }
  out.close();
  return static_cast<bool>(out);
}

}  // namespace TSEG::blocks
