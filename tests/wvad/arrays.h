// SPDX-License-Identifier: Apache-2.0
//
// Reads back what the program writes: arrays in the .npy form, and sound files.
#ifndef WVAD_WVAD_ARRAYS_H_
#define WVAD_WVAD_ARRAYS_H_

#include <sndfile.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace TSEG::tool::testing {

struct Array {
  unsigned long rows = 0, columns = 0;
  std::vector<float> values;
};

// Two dimensions of little-endian 32-bit floats, rows first; anything else throws.
inline Array ParseNpy(const std::string& bytes) {
  if (bytes.size() < 10 || bytes.compare(0, 8, std::string("\x93NUMPY\x01\x00", 8)) != 0) throw std::runtime_error("no array");
  const size_t start = 10 + static_cast<unsigned char>(bytes[8]) + 256U * static_cast<unsigned char>(bytes[9]);
  Array array;
  if (std::sscanf(bytes.c_str() + 10, "{'descr': '<f4', 'fortran_order': False, 'shape': (%lu, %lu), }", &array.rows, &array.columns) !=
          2 ||
      bytes.size() != start + array.rows * array.columns * sizeof(float)) {
    throw std::runtime_error("not the array that was expected");
  }
  array.values.resize(array.rows * array.columns);
  if (!array.values.empty()) std::memcpy(array.values.data(), bytes.data() + start, array.values.size() * sizeof(float));
  return array;
}

struct Sound {
  SF_INFO info{};
  std::vector<int16_t> samples;
};

inline Sound ReadSound(const std::string& path) {
  Sound sound;
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &sound.info);
  if (file == nullptr) throw std::runtime_error(path + ": " + sf_strerror(nullptr));
  sound.samples.resize(static_cast<size_t>(sound.info.frames * sound.info.channels));
  const sf_count_t got = sf_read_short(file, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
  sf_close(file);
  if (got != static_cast<sf_count_t>(sound.samples.size())) throw std::runtime_error(path + ": cut short");
  return sound;
}

}  // namespace TSEG::tool::testing

#endif  // WVAD_WVAD_ARRAYS_H_
