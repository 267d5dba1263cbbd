// SPDX-License-Identifier: Apache-2.0
#include "wvad/mp3_source.h"

#include <mpg123.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "wvad/failure.h"
#include "wvad/mp3_frame.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

class Mp3Source : public AudioSource {
 public:
  Mp3Source(const std::string& name, std::unique_ptr<ByteSource> bytes) : name_(name), bytes_(std::move(bytes)) {
    mpg123_init();
    decoder_.reset(mpg123_new(nullptr, nullptr));
    if (decoder_ == nullptr) throw Failure(ExitCode::kInternal, name + ": no MP3 decoder can be made");
    mpg123_handle* decoder = decoder_.get();
    mpg123_param(decoder, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_FORCE_FLOAT, 0);
    mpg123_param(decoder, MPG123_RESYNC_LIMIT, -1, 0);
    mpg123_replace_reader_handle(decoder, ReadBytes, SeekBytes, nullptr);
    long rate_hz = 0;
    int encoding = 0;
    if (mpg123_open_handle(decoder, this) != MPG123_OK || mpg123_getformat(decoder, &rate_hz, &channels_, &encoding) != MPG123_OK) {
      if (failure_) throw *failure_;
      throw Failure(ExitCode::kNotAudio, name + ": not an audio file that can be read (no MP3 frame in it)");
    }
    rate_hz_ = static_cast<int>(rate_hz);
    if (bytes_->length()) frames_ = std::max<int64_t>(mpg123_length(decoder), -1);
    note_ = FindMp3Note(*bytes_);
  }

  int rate_hz() const override { return rate_hz_; }
  int channels() const override { return channels_; }
  int64_t frames() const override { return frames_; }

  size_t Read(float* out, size_t count) override {
    const size_t channels = static_cast<size_t>(channels_);
    while (!at_end_ && ready_.size() - taken_ < count * channels) Decode();
    const size_t values = std::min(count * channels, ready_.size() - taken_);
    std::copy_n(ready_.begin() + static_cast<std::ptrdiff_t>(taken_), values, out);
    taken_ += values;
    frames_read_ += static_cast<int64_t>(values / channels);
    return values / channels;
  }

  std::string damage() override {
    if (skipped_bytes_ > 0) return "damaged: " + std::to_string(skipped_bytes_) + " bytes of the MP3 are no frames and were skipped";
    const std::optional<uint64_t> length = bytes_->length();
    if (note_ && length && *length > note_->begin && *length < note_->end) {
      const double there = static_cast<double>(frames_read_) / rate_hz_;
      const double share = static_cast<double>(*length - note_->begin) / static_cast<double>(note_->end - note_->begin);
      return "cut short: " + Fixed(there, 2) + (share > 0 ? " of about " + Fixed(there / share, 2) : "") + " s are there";
    }
    if (length && *length < expected_) return "cut short: its last frame is not whole";
    if (trouble_ > 0) return "damaged: " + std::to_string(trouble_) + " MP3 frames could not be decoded";
    if (note_ && seekable_ && !NoteHolds(*bytes_, *note_)) return "damaged: the MP3 is not what its encoder's checksum says";
    return "";
  }

 private:
  struct Delete {
    void operator()(mpg123_handle* decoder) const { mpg123_delete(decoder); }
  };

  // Exceptions must not cross the decoder: a failure is kept until it has returned.
  static ssize_t ReadBytes(void* user, void* out, size_t count) {
    auto* self = static_cast<Mp3Source*>(user);
    try {
      const size_t got = self->bytes_->ReadAt(self->position_, out, count);
      self->position_ += got;
      return static_cast<ssize_t>(got);
    } catch (const Failure& failure) {
      self->failure_ = failure;
      return -1;
    }
  }
  static off_t SeekBytes(void* user, off_t offset, int whence) {
    auto* self = static_cast<Mp3Source*>(user);
    const std::optional<uint64_t> length = self->bytes_->length();
    self->seekable_ = length.has_value();
    if (!length) return -1;
    const off_t base = whence == SEEK_SET ? 0 : static_cast<off_t>(whence == SEEK_CUR ? self->position_ : *length);
    if (base + offset < 0) return -1;
    self->position_ = static_cast<uint64_t>(base + offset);
    return base + offset;
  }

  void Decode() {
    ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(taken_));
    taken_ = 0;
    off_t number = 0;
    unsigned char* audio = nullptr;
    size_t bytes = 0;
    const int result = mpg123_decode_frame(decoder_.get(), &number, &audio, &bytes);
    if (failure_) throw *failure_;
    if (result == MPG123_DONE || result == MPG123_NEED_MORE) at_end_ = true;
    if (result == MPG123_ERR) {
      // It has moved on or it never will.
      ++trouble_;
      at_end_ = position_ == position_of_trouble_;
      position_of_trouble_ = position_;
    }
    if (result == MPG123_OK || result == MPG123_NEW_FORMAT) FollowFrames();
    if (bytes == 0) return;
    const size_t values = bytes / sizeof(float);
    ready_.resize(ready_.size() + values);
    std::memcpy(ready_.data() + ready_.size() - values, audio, values * sizeof(float));
  }

  // Each frame begins where the one before it ends.
  void FollowFrames() {
    mpg123_frameinfo info{};
    const off_t position = mpg123_framepos(decoder_.get());
    if (position < 0 || mpg123_info(decoder_.get(), &info) != MPG123_OK || info.framesize <= 0) return;
    const auto begin = static_cast<uint64_t>(position);
    if (expected_ != 0 && begin > expected_) skipped_bytes_ += begin - expected_;
    if (begin + static_cast<uint64_t>(info.framesize) > expected_) expected_ = begin + static_cast<uint64_t>(info.framesize);
  }

  std::string name_;
  std::unique_ptr<ByteSource> bytes_;
  std::unique_ptr<mpg123_handle, Delete> decoder_;
  int rate_hz_ = 0;
  int channels_ = 0;
  int64_t frames_ = -1;
  int64_t frames_read_ = 0;
  std::vector<float> ready_;  // [taken_, size) not handed out yet
  size_t taken_ = 0;
  bool at_end_ = false;
  bool seekable_ = false;
  uint64_t position_ = 0;
  uint64_t position_of_trouble_ = 0;
  uint64_t expected_ = 0;  // where the next frame should begin
  uint64_t skipped_bytes_ = 0;
  int trouble_ = 0;
  std::optional<Mp3Note> note_;
  std::optional<Failure> failure_;
};

}  // namespace

std::unique_ptr<AudioSource> OpenMp3(const std::string& name, std::unique_ptr<ByteSource> bytes) {
  return std::make_unique<Mp3Source>(name, std::move(bytes));
}

}  // namespace TSEG::tool
