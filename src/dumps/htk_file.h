// SPDX-License-Identifier: Apache-2.0
//
// The HTK parameter file as this engine reads and writes it. Big-endian throughout for the header and for values of type 4:
//
//   0  4  nSamples    number of records, signed
//   4  4  sampPeriod  here not a period but a data type code
//   8  2  sampSize    bytes per record
//  10  2  parmKind    always 9, "USER"
//  12     data        nSamples * sampSize bytes
//
// Type codes: 0 and 6 are elements of 1 byte, 1 and 7 of 2, 2, 4 and 8 of 4, 3, 5 and 9 of 8. Failures log two lines and give -1. No state.
#ifndef WVAD_DUMPS_HTK_FILE_H_
#define WVAD_DUMPS_HTK_FILE_H_

#include <cstdint>

namespace TSEG::htk {

constexpr int32_t kHtkUser = 9;
constexpr int32_t kHtkHeaderBytes = 12;

struct HtkFile {
  int32_t nSamples = 0;
  int32_t nType = 0;
  uint32_t nSizeAndKind = 0;  // sampSize in the low half, parmKind in the high half
  int32_t nElements = 0;      // 4-byte elements that the header promises: sampSize * nSamples / 4
  void* pData = nullptr;      // nElements elements of the type, from malloc; the caller frees it
};

// Bytes of one element of type `nType`, 0 for a code outside the table.
int32_t ElementBytes(int32_t nType);

// Reads the file `path`. 0, or -1 with no data: the file cannot be opened or has no header, its type is unknown, or no file can hold what
// its header says. What is missing of a file that was cut short reads as zeros.
int HTK_parse(HtkFile* out, const char* path);

// Writes `nBytes` of elements of type `nType` at `data` as records of `nPerRecord` elements. 0 or -1.
int HTK_write_buff(const char* path, const void* data, int nBytes, int nType, int nPerRecord);

}  // namespace TSEG::htk

#endif  // WVAD_DUMPS_HTK_FILE_H_
