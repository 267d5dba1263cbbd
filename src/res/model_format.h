// SPDX-License-Identifier: Apache-2.0
//
// The model resource file as bytes: offsets of the file prefix and of a section record, and the three shapes of the header.
//
//   prefix   0 .. nHeaderSize        szMagic at 44; a container also has szContainerMagic at 148, nFileSize at 368, nSections at 380 and
//                                    its section records of 24 bytes from 384 on
//   header   nHeaderSize ..          6232 (V1), 11416 (V2) or 13400 (V3) bytes, the shape told by the network type string at its offset 16
//   data     right behind            the variables in table order, nOuter rows of nInner elements each, no gaps and no alignment
//
// All numbers are little-endian. The header images below are copies of those bytes; nothing in them may be trusted before
// FindFlaw (header_check.h) has passed them.
#ifndef WVAD_RES_MODEL_FORMAT_H_
#define WVAD_RES_MODEL_FORMAT_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/byte_cursor.h"

namespace TSEG {

namespace platform {
class FileMapping;
}

static_assert(std::endian::native == std::endian::little, "model headers are copied as they stand in the file");

constexpr char kModelMagic[] = "orvalin";

// File prefix.
constexpr uint64_t kPrefixHeaderSize = 2;  // unsigned 16-bit
constexpr uint64_t kPrefixMagic = 44;      // 16 bytes
constexpr uint64_t kPrefixMagicBytes = 16;
constexpr uint64_t kPrefixContainerMagic = 148;  // 32 bytes
constexpr uint64_t kPrefixContainerMagicBytes = 32;
constexpr uint64_t kPrefixFileSize = 368;  // unsigned 64-bit, as two words
constexpr uint64_t kPrefixSections = 380;  // unsigned 16-bit
constexpr uint64_t kPrefixSectionTable = 384;

// Section record.
constexpr uint64_t kSectionBytes = 24;
constexpr uint64_t kSectionKind = 0;
constexpr uint64_t kSectionLength = 8;
constexpr uint64_t kSectionOffset = 16;
enum SectionKind : uint32_t { kSectionSkip = 0, kSectionModel = 1, kSectionGeneral = 2 };

constexpr int kMaxVars = 128;
constexpr int kMaxKeys = 32;
constexpr uint64_t kHeaderTypeOffset = 16;  // szMlpType inside of every header shape
constexpr size_t kHeaderTypeBytes = 32;

struct MlpResImageV1 {
  uint8_t not_read_0[16];
  char szMlpType[32];
  int32_t nVars;
  uint8_t not_read_52[32];
  int32_t nInner[kMaxVars];
  int32_t nOuter[kMaxVars];
  char szVarName[kMaxVars][16];
  char szDataType[kMaxVars][8];  // not read
  int32_t nShift[kMaxVars];
  int32_t not_read_4692[kMaxVars];
  int32_t nKeys;
  char szKey[kMaxKeys][16];
  char szValue[kMaxKeys][16];
};

struct MlpResImageV2 {
  uint8_t not_read_0[16];
  char szMlpType[32];
  int32_t nVars;
  uint8_t not_read_52[32];
  int32_t nInner[kMaxVars];
  int32_t nOuter[kMaxVars];
  char szVarName[kMaxVars][64];
  char szDataType[kMaxVars][8];
  float fScale[16];
  int32_t nKeys;
  char szKey[kMaxKeys][16];
  char szValue[kMaxKeys][16];
};

struct MlpResImageV3 {
  uint8_t not_read_0[16];
  char szMlpType[32];
  int32_t nVars;
  uint8_t not_read_52[32];
  int32_t nInner[kMaxVars];
  int32_t nOuter[kMaxVars];
  char szVarName[kMaxVars][64];
  char szDataType[kMaxVars][8];
  int32_t nShift16[kMaxVars];
  int32_t nAux16[kMaxVars];
  int32_t nShift8[kMaxVars];
  int32_t nAux8[kMaxVars];
  int32_t nKeys;
  char szKey[kMaxKeys][16];
  char szValue[kMaxKeys][16];
};

static_assert(sizeof(MlpResImageV1) == 6232 && offsetof(MlpResImageV1, nShift) == 4180 && offsetof(MlpResImageV1, nKeys) == 5204);
static_assert(sizeof(MlpResImageV2) == 11416 && offsetof(MlpResImageV2, fScale) == 10324 && offsetof(MlpResImageV2, nKeys) == 10388);
static_assert(sizeof(MlpResImageV3) == 13400 && offsetof(MlpResImageV3, nShift16) == 10324 && offsetof(MlpResImageV3, nKeys) == 12372);

// A copy of a header, with the view of the data block behind it.
template <class Image>
struct MlpResFileHeader : Image {
  ByteView data;
  const platform::FileMapping* mapping = nullptr;  // that of the file with these data; null where they are the caller's memory
};
using MlpResFileHeaderV1 = MlpResFileHeader<MlpResImageV1>;
using MlpResFileHeaderV2 = MlpResFileHeader<MlpResImageV2>;
using MlpResFileHeaderV3 = MlpResFileHeader<MlpResImageV3>;

// Copies the header at `offset` of `file` and sets its data view to the rest. False where the file is too short for it.
template <class Image>
bool CopyHeader(const ByteView& file, uint64_t offset, MlpResFileHeader<Image>* out) {
  const auto bytes = file.sub(offset, sizeof(Image));
  if (!bytes) return false;
  std::memcpy(static_cast<Image*>(out), bytes->data(), sizeof(Image));
  const uint64_t data = offset + sizeof(Image);
  out->data = *file.sub(data, file.size() - data);
  return true;
}

// A dimension as it stands in memory: 1 stays 1, anything else is rounded up to a multiple of 32.
constexpr int64_t PaddedDim(int64_t n) { return n == 1 ? 1 : (n + 31) / 32 * 32; }

// Data type codes of V2 and V3 variables.
enum MlpDataType : int {
  kTypeDouble = 0,
  kTypeFloat = 10,
  kTypeInt = 20,
  kTypeShort = 30,
  kTypeUshort = 40,
  kTypeUchar = 50,
  kTypeChar = 60,
  kTypeUnknown = 61
};

struct MlpDataTypeRow {
  MlpDataType code;
  const char* name;
  int bytes;
};
inline constexpr MlpDataTypeRow kMlpDataTypes[] = {{kTypeDouble, "double", 8}, {kTypeFloat, "float", 4},   {kTypeInt, "int", 4},
                                                   {kTypeShort, "short", 2},   {kTypeUshort, "ushort", 2}, {kTypeUchar, "uchar", 1},
                                                   {kTypeChar, "char", 1}};
// Bytes of an element, 0 for kTypeUnknown.
constexpr int MlpDataTypeBytes(int code) {
  for (const MlpDataTypeRow& row : kMlpDataTypes) {
    if (row.code == code) return row.bytes;
  }
  return 0;
}

// The network types that files name, in the order in which they are looked up.
struct MlpTypeRow {
  int32_t code;
  const char* name;
};
inline constexpr MlpTypeRow kMlpTypes[] = {
    {0, "MLP_RES_BN"},         {1, "MLP_RES_DNN"},         {2, "MLP_RES_DNN_APT"},      {3, "MLP_RES_RNN"},
    {10, "MLP_RES_RNN_CTC"},   {4, "MLP_RES_DNN_GENERAL"}, {5, "MLP_RES_DNN_LR"},       {6, "MLP_RES_DNN_TREE"},
    {7, "MLP_RES_DNN_LR_APT"}, {8, "MLP_RES_RNN_APT"},     {9, "MLP_RES_DNN_FIXPOINT"}, {11, "MLP_RES_DNN_IVEC"},
    {12, "MLP_RES_RNN_IVEC"},  {13, "MLP_RES_UBRNN"},      {14, "MLP_RES_UBRNN_APT"},   {15, "MLP_RES_BIRNN"},
    {16, "MLP_RES_BIRNN_CTC"}, {17, "MLP_RES_RNNCATDNN"},  {19, "MLP_RES_RNNCNNPAD28"}};

}  // namespace TSEG

#endif  // WVAD_RES_MODEL_FORMAT_H_
