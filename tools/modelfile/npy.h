// SPDX-License-Identifier: Apache-2.0
//
// Reads a NumPy .npy file of one or two dimensions: little-endian '<f4', '<f8', '<i2', '<i4', rows one after another ("C order").
#ifndef WVAD_MODELFILE_NPY_H_
#define WVAD_MODELFILE_NPY_H_

#include <cstdint>
#include <string>
#include <vector>

#include "modelfile/modelfile.h"

namespace TSEG::modelfile {

struct NpyArray {
  std::string descr;           // "<f4" and so on
  std::vector<int64_t> shape;  // one or two dimensions
  std::vector<double> data;
};

// Throws std::runtime_error with what is wrong.
NpyArray ParseNpy(const Bytes& file);

}  // namespace TSEG::modelfile

#endif  // WVAD_MODELFILE_NPY_H_
