// SPDX-License-Identifier: Apache-2.0
//
// The bytes of a recording as FFmpeg's libraries read them.
#ifndef WVAD_WVAD_FFMPEG_BYTE_IO_H_
#define WVAD_WVAD_FFMPEG_BYTE_IO_H_

#include <cstdint>
#include <exception>
#include <memory>

#include "wvad/byte_source.h"

struct AVIOContext;

namespace TSEG::tool {

class ByteIo {
 public:
  ByteIo(std::unique_ptr<ByteSource> bytes, bool seekable);
  ~ByteIo();
  ByteIo(const ByteIo&) = delete;
  ByteIo& operator=(const ByteIo&) = delete;

  AVIOContext* context() const { return context_; }
  // Exceptions must not cross the libraries: what reading threw is kept, and thrown here.
  void Rethrow() const;

 private:
  static int Read(void* user, uint8_t* out, int count);
  static int64_t Seek(void* user, int64_t offset, int whence);

  std::unique_ptr<ByteSource> bytes_;
  AVIOContext* context_ = nullptr;
  uint64_t position_ = 0;
  std::exception_ptr failure_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FFMPEG_BYTE_IO_H_
