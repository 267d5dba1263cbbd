// SPDX-License-Identifier: Apache-2.0
#include "wvad/flac_source.h"

#include <FLAC/stream_decoder.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "wvad/failure.h"
#include "wvad/report_json.h"
#include "wvad/second_recording.h"

namespace TSEG::tool {
namespace {

class FlacSource : public AudioSource {
 public:
  FlacSource(const std::string& name, std::unique_ptr<ByteSource> bytes) : bytes_(std::move(bytes)), decoder_(FLAC__stream_decoder_new()) {
    if (decoder_ == nullptr) throw Failure(ExitCode::kInternal, name + ": no FLAC decoder can be made");
    FLAC__stream_decoder_set_md5_checking(decoder_.get(), 1);
    const bool started = FLAC__stream_decoder_init_stream(decoder_.get(), ReadBytes, nullptr, Tell, nullptr, nullptr, TakeFrame, TakeHeader,
                                                          NoteError, this) == FLAC__STREAM_DECODER_INIT_STATUS_OK;
    const bool read = started && FLAC__stream_decoder_process_until_end_of_metadata(decoder_.get()) != 0;
    if (failure_) throw *failure_;
    if (!read || rate_hz_ <= 0)
      throw Failure(ExitCode::kNotAudio, name + ": not an audio file that can be read (a FLAC without its header)");
  }

  int rate_hz() const override { return rate_hz_; }
  int channels() const override { return channels_; }
  int64_t frames() const override { return frames_; }
  SampleDepth depth() const override { return DepthOfBits(bits_); }

  size_t Read(float* out, size_t count) override {
    const size_t channels = static_cast<size_t>(channels_);
    size_t got = 0;
    while (got < count) {
      if (const size_t more = TakeReady(out + got * channels, (count - got) * channels) / channels; more > 0) {
        got += more;
      } else if (at_end_) {
        break;
      } else {
        Decode();
      }
    }
    return got;
  }

  std::string damage() override {
    const double rate = rate_hz_;
    std::string text;
    if (missing_ > 0) text = "damaged: " + Fixed(static_cast<double>(missing_) / rate, 2) + " s could not be decoded and count as silence";
    if (frames_ > 0 && decoded_ < frames_) {
      text += (text.empty() ? "" : "; ") +
              ("cut short: " + PartOf(static_cast<double>(decoded_) / rate, static_cast<double>(frames_) / rate)) + " s are there";
    }
    if (another_) {
      text += (text.empty() ? "" : "; ") + kSeveralRecordings + Fixed(static_cast<double>(decoded_) / rate, 2) + " s could be heard";
    }
    if (text.empty() && (errors_ > 0 || wrong_checksum_)) text = "damaged: the sound is not what the FLAC's checksum says";
    return text;
  }

 private:
  struct Delete {
    void operator()(FLAC__StreamDecoder* decoder) const { FLAC__stream_decoder_delete(decoder); }
  };
  static FlacSource& Of(void* user) { return *static_cast<FlacSource*>(user); }

  // Exceptions must not cross the decoder: a failure is kept until it has returned.
  static FLAC__StreamDecoderReadStatus ReadBytes(const FLAC__StreamDecoder*, FLAC__byte* out, size_t* count, void* user) {
    FlacSource& self = Of(user);
    try {
      *count = self.bytes_->ReadAt(self.position_, out, *count);
    } catch (const Failure& failure) {
      self.failure_ = failure;
      return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
    }
    self.position_ += *count;
    return *count > 0 ? FLAC__STREAM_DECODER_READ_STATUS_CONTINUE : FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM;
  }

  static FLAC__StreamDecoderTellStatus Tell(const FLAC__StreamDecoder*, FLAC__uint64* position, void* user) {
    *position = Of(user).position_;
    return FLAC__STREAM_DECODER_TELL_STATUS_OK;
  }

  static void TakeHeader(const FLAC__StreamDecoder*, const FLAC__StreamMetadata* metadata, void* user) {
    if (metadata->type != FLAC__METADATA_TYPE_STREAMINFO) return;
    FlacSource& self = Of(user);
    self.rate_hz_ = static_cast<int>(metadata->data.stream_info.sample_rate);
    self.channels_ = static_cast<int>(metadata->data.stream_info.channels);
    self.bits_ = static_cast<int>(metadata->data.stream_info.bits_per_sample);
    if (metadata->data.stream_info.total_samples > 0) self.frames_ = static_cast<int64_t>(metadata->data.stream_info.total_samples);
  }

  static FLAC__StreamDecoderWriteStatus TakeFrame(const FLAC__StreamDecoder*, const FLAC__Frame* frame, const FLAC__int32* const* samples,
                                                  void* user) {
    Of(user).Take(*frame, samples);
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
  }

  static void NoteError(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus, void* user) {
    ++Of(user).errors_;
    Of(user).after_error_ = true;
  }

  static bool IsSilent(const FLAC__Frame& frame, const FLAC__int32* const* samples) {
    for (unsigned c = 0; c < frame.header.channels; ++c) {
      if (std::any_of(samples[c], samples[c] + frame.header.blocksize, [](FLAC__int32 sample) { return sample != 0; })) return false;
    }
    return true;
  }

  void Take(const FLAC__Frame& frame, const FLAC__int32* const* samples) {
    const size_t channels = static_cast<size_t>(channels_);
    if (frame.header.channels != channels) return;
    const auto begin = static_cast<int64_t>(frame.header.number.sample_number);
    const auto block = static_cast<int64_t>(frame.header.blocksize);
    // For what it lost the decoder gives frames of zeros; sound ends them.
    after_error_ = after_error_ && IsSilent(frame, samples);
    // Frames are counted within a recording, so that the first one cannot come again.
    another_ = begin == 0 && decoded_ > 0 && !after_error_;
    if (another_) return;
    if (after_error_) missing_ += block;
    // Behind a damaged place the count of samples has gone on. One that cannot be is that of a damaged frame.
    const int64_t furthest = frames_ > 0 ? frames_ : decoded_ + int64_t{3600} * rate_hz_;
    if (begin > decoded_ && begin <= furthest) {
      silence_ = (begin - decoded_) * channels_;
      missing_ += begin - decoded_;
      decoded_ = begin;
    }
    if (begin + block <= decoded_) return;
    const float scale = 1.0F / static_cast<float>(int64_t{1} << (frame.header.bits_per_sample - 1));
    for (int64_t i = std::max<int64_t>(0, decoded_ - begin); i < block; ++i) {
      for (size_t c = 0; c < channels; ++c) ready_.push_back(static_cast<float>(samples[c][i]) * scale);
    }
    decoded_ = std::max(decoded_, begin + block);
  }

  // Up to `count` values of what has been decoded: the silence, then the sound.
  size_t TakeReady(float* out, size_t count) {
    const size_t silent = static_cast<size_t>(std::min<int64_t>(silence_, static_cast<int64_t>(count)));
    std::fill_n(out, silent, 0.0F);
    silence_ -= static_cast<int64_t>(silent);
    const size_t values = std::min(count - silent, ready_.size() - taken_);
    std::copy_n(ready_.begin() + static_cast<std::ptrdiff_t>(taken_), values, out + silent);
    taken_ += values;
    return silent + values;
  }

  // Call when nothing is ready.
  void Decode() {
    ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(taken_));
    taken_ = 0;
    const bool going = FLAC__stream_decoder_process_single(decoder_.get()) != 0;
    if (failure_) throw *failure_;
    // Behind the last sample there may be anything, such as a tag.
    const bool complete = frames_ > 0 && decoded_ >= frames_;
    if (going && !complete && !another_ && FLAC__stream_decoder_get_state(decoder_.get()) != FLAC__STREAM_DECODER_END_OF_STREAM) return;
    at_end_ = true;
    FLAC__uint64 end = 0;
    if (complete && FLAC__stream_decoder_get_decode_position(decoder_.get(), &end) != 0)
      another_ = AnotherBegins(*bytes_, Container::kFlac, end, bytes_->length().value_or(position_));
    wrong_checksum_ = FLAC__stream_decoder_finish(decoder_.get()) == 0;
  }

  std::unique_ptr<ByteSource> bytes_;
  std::unique_ptr<FLAC__StreamDecoder, Delete> decoder_;
  uint64_t position_ = 0;
  int rate_hz_ = 0;
  int channels_ = 0;
  int bits_ = 16;
  int64_t frames_ = -1;
  int64_t decoded_ = 0;  // the place that has been reached, in frames
  int64_t missing_ = 0;
  int errors_ = 0;
  bool after_error_ = false;  // and no sound since
  bool wrong_checksum_ = false;
  bool another_ = false;  // begins behind this recording
  bool at_end_ = false;
  int64_t silence_ = 0;       // values of it before ready_, counted only: a damaged number may ask for hours
  std::vector<float> ready_;  // [taken_, size) not handed out yet
  size_t taken_ = 0;
  std::optional<Failure> failure_;
};

}  // namespace

std::unique_ptr<AudioSource> OpenFlac(const std::string& name, std::unique_ptr<ByteSource> bytes) {
  return std::make_unique<FlacSource>(name, std::move(bytes));
}

}  // namespace TSEG::tool
