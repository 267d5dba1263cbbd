// SPDX-License-Identifier: Apache-2.0
//
// Reader and writer of HTK dumps. The reader takes any file: a header that promises more than can be is refused, and where the file is
// shorter than promised, zeros stand for the rest.
#include "dumps/htk_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "base/wrap.h"
#include "log/log.h"
#include "platform/platform.h"

namespace TSEG::htk {
namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

uint32_t LoadBig32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 |
         static_cast<uint32_t>(p[3]);
}
uint32_t LoadBig16(const uint8_t* p) { return static_cast<uint32_t>(p[0]) << 8 | static_cast<uint32_t>(p[1]); }
void StoreBig32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}
void StoreBig16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v >> 8);
  p[1] = static_cast<uint8_t>(v);
}

void SwapElements4(uint8_t* data, size_t n) {
  for (size_t i = 0; i < n; ++i, data += 4) {
    std::swap(data[0], data[3]);
    std::swap(data[1], data[2]);
  }
}

}  // namespace

int32_t ElementBytes(int32_t nType) {
  switch (nType) {
    case 0:
    case 6:
      return 1;
    case 1:
    case 7:
      return 2;
    case 2:
    case 4:
    case 8:
      return 4;
    case 3:
    case 5:
    case 9:
      return 8;
    default:
      return 0;
  }
}

int HTK_parse(HtkFile* out, const char* path) {
  *out = HtkFile();
  if (!platform::IsReadable(path)) return WVAD_FAIL(-1, "-1", "%s | Open file %s error", "htk::HTK_parse", path);
  // A pipe has no length, and is not opened: that would wait for its other end.
  const bool has_header = platform::FileSize(path).value_or(0) >= kHtkHeaderBytes;
  const File file(has_header ? std::fopen(path, "rb") : nullptr);
  uint8_t header[kHtkHeaderBytes];
  if (!file || std::fread(header, 1, sizeof(header), file.get()) != sizeof(header)) {
    return WVAD_FAIL(-1, "-1", "%s | File %s is too short", "htk::HTK_parse", path);
  }
  out->nSamples = static_cast<int32_t>(LoadBig32(header));
  out->nType = static_cast<int32_t>(LoadBig32(header + 4));
  const uint32_t record_bytes = LoadBig16(header + 8);
  out->nSizeAndKind = record_bytes | LoadBig16(header + 10) << 16;
  const int64_t promised = static_cast<int64_t>(record_bytes) * out->nSamples;
  out->nElements = Low32(promised / 4);
  const int64_t element = ElementBytes(out->nType);
  if (element == 0) return WVAD_FAIL(-1, "-1", "htk data type error :%d", out->nType);
  // The element count is in fours whatever the type: narrow types give a part of the data, and 8-byte types ask for twice what there is.
  const int64_t wanted = promised / 4 * element;
  if (promised < 0 || wanted > std::numeric_limits<int32_t>::max() - kHtkHeaderBytes) {
    return WVAD_FAIL(-1, "-1", "%s | File %s cannot hold %d records of %u bytes", "htk::HTK_parse", path, out->nSamples, record_bytes);
  }
  uint8_t* data = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(wanted) + 1, 1));
  if (data == nullptr) return WVAD_FAIL(-1, "-1", "%s | No memory for file %s", "htk::HTK_parse", path);
  // Elements that the file does not hold stay zero.
  const size_t got = std::fread(data, 1, static_cast<size_t>(wanted), file.get());
  if (out->nType == 4) SwapElements4(data, got / 4);
  out->pData = data;
  return 0;
}

int HTK_write_buff(const char* path, const void* data, int nBytes, int nType, int nPerRecord) {
  // The test is against the type code, which for type 4 is the element size. Code 0 divides nothing and passes.
  if (nType != 0 && static_cast<int64_t>(nBytes) % nType != 0) {
    return WVAD_FAIL(-1, "-1", "HTK_write_buff| buffsize=%d is not mod dataytpe=%d ", nBytes, nType);  // (sic)
  }
  const int32_t element = ElementBytes(nType);
  if (element == 0) return WVAD_FAIL(-1, "-1", "try htk write data type error :%d", nType);
  if (nBytes < 0 || nPerRecord < 1) {
    return WVAD_FAIL(-1, "-1", "HTK_write_buff| buffsize=%d or record of %d elements is out of range", nBytes, nPerRecord);
  }
  const int32_t elements = nBytes / element;
  uint8_t header[kHtkHeaderBytes];
  StoreBig32(header, static_cast<uint32_t>(elements / nPerRecord));
  StoreBig32(header + 4, static_cast<uint32_t>(nType));
  StoreBig16(header + 8, static_cast<uint32_t>(element) * static_cast<uint32_t>(nPerRecord));
  StoreBig16(header + 10, static_cast<uint32_t>(kHtkUser));
  const uint8_t* bytes = static_cast<const uint8_t*>(data);
  std::vector<uint8_t> copy(bytes, bytes + static_cast<ptrdiff_t>(elements) * element);
  if (nType == 4) SwapElements4(copy.data(), static_cast<size_t>(elements));

  platform::AppendFile file;
  if (file.Open(path, true) != 0) return WVAD_FAIL(-1, "-1", "%s | Open file %s error", "htk::HTK_write_buff", path);
  file.Write(reinterpret_cast<const char*>(header), sizeof(header));
  file.Write(reinterpret_cast<const char*>(copy.data()), copy.size());
  return 0;
}

}  // namespace TSEG::htk
