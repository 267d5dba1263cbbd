// SPDX-License-Identifier: Apache-2.0
#include "wvad/ffmpeg/byte_io.h"

#include <cstdio>
#include <new>
#include <utility>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

namespace TSEG::tool {

ByteIo::ByteIo(std::unique_ptr<ByteSource> bytes, bool seekable) : bytes_(std::move(bytes)) {
  // From a stream no more than a moment is read at once, so that a live one is heard while it comes.
  const int piece = seekable ? 32768 : 1024;
  auto* buffer = static_cast<unsigned char*>(av_malloc(static_cast<size_t>(piece)));
  if (buffer != nullptr) context_ = avio_alloc_context(buffer, piece, 0, this, Read, nullptr, seekable ? Seek : nullptr);
  if (context_ != nullptr) return;
  av_free(buffer);
  throw std::bad_alloc();
}

ByteIo::~ByteIo() {
  av_freep(&context_->buffer);
  avio_context_free(&context_);
}

void ByteIo::Rethrow() const {
  if (failure_) std::rethrow_exception(failure_);
}

int ByteIo::Read(void* user, uint8_t* out, int count) {
  ByteIo& self = *static_cast<ByteIo*>(user);
  size_t got = 0;
  try {
    got = self.bytes_->ReadAt(self.position_, out, static_cast<size_t>(count));
  } catch (...) {
    self.failure_ = std::current_exception();
    return AVERROR(EIO);
  }
  self.position_ += got;
  return got > 0 ? static_cast<int>(got) : AVERROR_EOF;
}

int64_t ByteIo::Seek(void* user, int64_t offset, int whence) {
  ByteIo& self = *static_cast<ByteIo*>(user);
  const auto length = static_cast<int64_t>(self.bytes_->length().value_or(0));
  if ((whence & AVSEEK_SIZE) != 0) return length;
  const int64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? static_cast<int64_t>(self.position_) : length;
  if (base + offset < 0) return AVERROR(EINVAL);
  self.position_ = static_cast<uint64_t>(base + offset);
  return base + offset;
}

}  // namespace TSEG::tool
