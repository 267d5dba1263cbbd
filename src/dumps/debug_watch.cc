// SPDX-License-Identifier: Apache-2.0
//
// DebugWatch: recording grows its buffer as needed; comparing walks a reference that is laid out like its file, data from offset 12 on.
#include "dumps/debug_watch.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <new>
#include <optional>

#include "dumps/htk_file.h"
#include "log/log.h"
#include "platform/platform.h"

namespace TSEG {
namespace {

enum WatchMode : uint32_t { kRecording = 0, kComparing = 1, kNeverArmed = 2 };
constexpr int64_t kDataAt = htk::kHtkHeaderBytes;
constexpr int32_t kMaxBytes = std::numeric_limits<int32_t>::max();

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Counts on, and stays at the greatest count once there.
int32_t AddBytes(int32_t used, int32_t bytes) { return used > kMaxBytes - bytes ? kMaxBytes : used + bytes; }

// The whole file into `data`, as many bytes as `data` has room for; a file that cannot be opened leaves `data` as it is. What has no length
// is not opened at all: it may be a pipe, and then the opening would wait.
void ReadRaw(const std::string& path, std::vector<uint8_t>* data) {
  if (data->empty()) return;
  const File file(std::fopen(path.c_str(), "rb"));
  if (file) (void)!std::fread(data->data(), 1, data->size(), file.get());
}

// The data of the dump `path` behind a gap of 12 bytes; the gap alone for a file that cannot be parsed. Gives the size by the dump's
// header, gap included: a dump that was cut short is the smaller one in `data`, and what is missing differs from anything.
uint32_t ReadHtk(const std::string& path, std::vector<uint8_t>* data) {
  htk::HtkFile htk_file;
  htk::HTK_parse(&htk_file, path.c_str());
  const std::unique_ptr<void, decltype(&std::free)> owner(htk_file.pData, &std::free);
  const size_t bytes =
      htk_file.pData == nullptr ? 0 : static_cast<size_t>(htk_file.nElements) * static_cast<size_t>(htk::ElementBytes(htk_file.nType));
  const uint64_t in_file = platform::FileSize(path).value_or(0);
  const size_t held = in_file > static_cast<uint64_t>(kDataAt)
                          ? static_cast<size_t>(std::min<uint64_t>(bytes, in_file - static_cast<uint64_t>(kDataAt)))
                          : 0;
  data->assign(static_cast<size_t>(kDataAt) + held, 0);
  if (held != 0) std::memcpy(data->data() + kDataAt, htk_file.pData, held);
  return static_cast<uint32_t>(static_cast<size_t>(kDataAt) + bytes);
}

// The second form of a dump: header in the machine's byte order, data as it is.
void WriteRaw(const std::string& path, const uint8_t* data, int32_t used, uint32_t item_bytes, uint32_t per_record) {
  const uint32_t record_bytes = item_bytes * per_record;
  const uint32_t n_samples = record_bytes == 0 ? 0 : static_cast<uint32_t>(used) / record_bytes;
  const uint16_t size_and_kind[2] = {static_cast<uint16_t>(record_bytes), static_cast<uint16_t>(htk::kHtkUser)};
  platform::AppendFile file;
  if (file.Open(path, true) != 0) return;
  file.Write(reinterpret_cast<const char*>(&n_samples), sizeof(n_samples));
  file.Write(reinterpret_cast<const char*>(&item_bytes), sizeof(item_bytes));
  file.Write(reinterpret_cast<const char*>(size_and_kind), sizeof(size_and_kind));
  file.Write(reinterpret_cast<const char*>(data), static_cast<size_t>(used));
}

}  // namespace

DebugWatch::DebugWatch(const char* watch_name, uint32_t item_size) : name(watch_name), nItemSize(item_size) {}

DebugWatch::~DebugWatch() {
  if (bOn == 0) return;
  nSubIndex = 0;
  try {
    stop();
  } catch (const std::exception&) {
    // A dump that cannot be written for want of memory is lost; the instance goes all the same.
  }
}

void DebugWatch::arm(const std::string& session, bool on) {
  pData = std::vector<uint8_t>();
  bOn = on ? 1 : 0;
  nUsed = 0;
  if (!on) return;
  sid = session;
  path = name + "_" + sid + ".sub_" + std::to_string(nSubIndex) + ".txt";
  if (platform::KindOfPath(path) == platform::PathKind::kFile) {
    nMode = kComparing;
    nFileSize = static_cast<uint32_t>(platform::FileSize(path).value_or(0));
    try {
      if (nItemSize != 4 && bForceHtk == 0) {
        pData.assign(nFileSize, 0);
        ReadRaw(path, &pData);
      } else {
        nFileSize = ReadHtk(path, &pData);
      }
    } catch (const std::bad_alloc&) {
      pData = std::vector<uint8_t>();  // a reference too large to hold: everything differs from it
    }
  } else {
    nMode = kRecording;
    pData.assign(static_cast<size_t>(nCapacity), 0);
  }
}

void DebugWatch::add(const void* data, int32_t nBytes) {
  if (bOn == 0 || nBytes < 0) return;
  if (nMode == kRecording) {
    if (nBytes > kMaxBytes - nUsed) {  // more than a dump can count
      WVAD_LOG_ERROR("Debug watch err, file=%s len=%d used=%d", path.c_str(), nBytes, nUsed);
      return;
    }
    const int32_t total = nUsed + nBytes;
    // One doubling when the buffer is reached, more for a record that is longer than that.
    if (total >= nCapacity) {
      do {
        nCapacity = nCapacity > kMaxBytes / 2 ? kMaxBytes : nCapacity * 2;
      } while (total > nCapacity);
      pData.resize(static_cast<size_t>(nCapacity));
    }
    if (nBytes != 0) std::memcpy(pData.data() + nUsed, data, static_cast<size_t>(nBytes));
    nUsed = total;
  } else if (nMode == kComparing) {
    const int64_t size = static_cast<int64_t>(nFileSize) - kDataAt;
    if (static_cast<int64_t>(nUsed) + nBytes > size) {
      WVAD_LOG_ERROR("Debug watch err, file=%s file_size = %d len=%d used=%d", path.c_str(), static_cast<int>(size), nBytes, nUsed);
    } else {
      const size_t at = static_cast<size_t>(kDataAt + nUsed);
      const bool held = at + static_cast<size_t>(nBytes) <= pData.size();
      if (nBytes != 0 && (!held || std::memcmp(data, pData.data() + at, static_cast<size_t>(nBytes)) != 0)) {
        std::fputs("comp err\n", stdout);
        WVAD_LOG_ERROR("Debug watch err, file=%s len=%d used=%d", path.c_str(), nBytes, nUsed);
      }
    }
    nUsed = AddBytes(nUsed, nBytes);
  }
}

void DebugWatch::stop() {
  if (bOn != 0 && nUsed > 0) {
    if (nMode == kRecording) {
      if (nItemSize == 4) {
        htk::HTK_write_buff(path.c_str(), pData.data(), nUsed, 4, static_cast<int>(nPerRecord));
      } else {
        WriteRaw(path, pData.data(), nUsed, nItemSize, nPerRecord);
      }
    } else if (nMode == kComparing && nUsed != static_cast<int64_t>(nFileSize) - kDataAt) {
      WVAD_LOG_ERROR("Watch Stop Assert %s filesize:%d used=%d", path.c_str(), static_cast<int>(nFileSize), nUsed);
    }
  }
  nUsed = 0;
}

void DebugWatch::roll() {
  const bool seen = nUsed > 0;
  stop();
  if (seen) ++nSubIndex;
  const std::string session = sid;
  arm(session, bOn != 0);
}

}  // namespace TSEG
