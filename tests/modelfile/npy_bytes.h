// SPDX-License-Identifier: Apache-2.0
//
// Arrays as the bytes of .npy files, sound ones and others.
#ifndef WVAD_TESTS_MODELFILE_NPY_BYTES_H_
#define WVAD_TESTS_MODELFILE_NPY_BYTES_H_

#include <string>
#include <vector>

#include "modelfile/modelfile.h"

namespace TSEG::modelfile {

// The bytes of a .npy file of version 1.
inline Bytes Npy(const std::string& dictionary, const std::string& data) {
  std::string header = dictionary;
  while ((10 + header.size() + 1) % 64 != 0) header += ' ';
  header += '\n';
  std::string file = "\x93NUMPY";
  file += '\x01';
  file += '\x00';
  file += static_cast<char>(header.size() & 0xFF);
  file += static_cast<char>(header.size() >> 8);
  file += header + data;
  return Bytes(file.begin(), file.end());
}

template <typename T>
std::string Raw(const std::vector<T>& values) {
  return std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
}

inline std::string Dictionary(const std::string& descr, const std::string& shape) {
  return "{'descr': '" + descr + "', 'fortran_order': False, 'shape': " + shape + ", }";
}

}  // namespace TSEG::modelfile

#endif  // WVAD_TESTS_MODELFILE_NPY_BYTES_H_
