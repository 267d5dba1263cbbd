// SPDX-License-Identifier: Apache-2.0
//
// Writes a two-dimensional array as an .npy file, format version 1.0:
//
//   0  "\x93NUMPY"  6  version 1, 0  8  header length, 16-bit little-endian  10  header text, padded with blanks, line feed at byte 64*k
//   then the rows, little-endian: '<f4', or '<f2' with halves rounded to the nearest, ties to even.
#ifndef WVAD_TOOLS_BLOCKS_NPY_FILE_H_
#define WVAD_TOOLS_BLOCKS_NPY_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace TSEG::blocks {

// The bits of `value` as a half. Values beyond the range of a half become its greatest finite value with the sign, not infinity: a
// feature that large is cut, not lost. Not-a-number stays not-a-number.
uint16_t HalfBits(float value);

// The bytes before the first row of an array of `rows` x `columns`. Their number is the same for any `rows` up to 10^18 of the same
// `columns`, so that a file that grows can have its count put in at the end.
std::string NpyHeader(uint64_t rows, size_t columns, bool half);

// Writes `values` as rows of `columns`; the number of rows follows. False if the file cannot be written.
bool WriteNpy(const std::string& path, const std::vector<float>& values, size_t columns, bool half);

}  // namespace TSEG::blocks

#endif  // WVAD_TOOLS_BLOCKS_NPY_FILE_H_
