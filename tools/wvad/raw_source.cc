// SPDX-License-Identifier: Apache-2.0
#include "wvad/raw_source.h"

#include <cstring>
#include <utility>
#include <vector>

namespace TSEG::tool {
namespace {

float DecodeU8(const unsigned char* b) { return static_cast<float>(static_cast<int>(b[0]) - 128) / 128.0F; }

float DecodeS16(const unsigned char* b) { return static_cast<float>(static_cast<int16_t>(b[0] | b[1] << 8)) / 32768.0F; }

// Up to 32 bits in the upper bytes of a word, so that the sign is where it belongs.
float DecodeUpper(uint32_t word) { return static_cast<float>(static_cast<double>(static_cast<int32_t>(word)) / 2147483648.0); }

float DecodeS24(const unsigned char* b) {
  return DecodeUpper(static_cast<uint32_t>(b[0]) << 8 | static_cast<uint32_t>(b[1]) << 16 | static_cast<uint32_t>(b[2]) << 24);
}

float DecodeS32(const unsigned char* b) {
  return DecodeUpper(static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 | static_cast<uint32_t>(b[2]) << 16 |
                     static_cast<uint32_t>(b[3]) << 24);
}

float DecodeF32(const unsigned char* b) {
  float value = 0;
  std::memcpy(&value, b, sizeof value);
  return value;
}

// ITU-T G.711: sign, three bits of segment, four bits of step, all inverted (mu-law) or every other one (A-law).
float DecodeMuLaw(const unsigned char* b) {
  const int code = ~b[0] & 0xFF;
  const int magnitude = (((code & 0x0F) << 3) + 0x84) << ((code & 0x70) >> 4);
  return static_cast<float>((code & 0x80) != 0 ? 0x84 - magnitude : magnitude - 0x84) / 32768.0F;
}

float DecodeALaw(const unsigned char* b) {
  const int code = b[0] ^ 0x55;
  const int segment = (code & 0x70) >> 4;
  int magnitude = ((code & 0x0F) << 4) + 8;
  if (segment > 0) magnitude = (magnitude + 0x100) << (segment - 1);
  return static_cast<float>((code & 0x80) != 0 ? magnitude : -magnitude) / 32768.0F;
}

constexpr RawForm kForms[] = {
    {"s16", "16 bit", 1, 2, DecodeS16},       {"s24", "24 bit", 1, 3, DecodeS24},           {"s32", "32 bit", 1, 4, DecodeS32},
    {"f32", "32-bit float", 3, 4, DecodeF32}, {"u8", "8 bit without sign", 1, 1, DecodeU8}, {"mulaw", "G.711", 7, 1, DecodeMuLaw},
    {"alaw", "G.711", 6, 1, DecodeALaw},
};

class RawSource : public AudioSource {
 public:
  RawSource(std::unique_ptr<ByteSource> bytes, uint64_t offset, const RawForm& form, int rate_hz, int channels)
      : bytes_(std::move(bytes)), offset_(offset), form_(form), rate_hz_(rate_hz), channels_(channels) {
    if (const std::optional<uint64_t> length = bytes_->length())
      frames_ = length > offset ? static_cast<int64_t>((*length - offset) / FrameBytes()) : 0;
  }

  int rate_hz() const override { return rate_hz_; }
  int channels() const override { return channels_; }
  int64_t frames() const override { return frames_; }
  SampleDepth depth() const override {
    constexpr int kWaveFloat = 3;
    constexpr int kWaveInteger = 1;
    if (form_.wave_format == kWaveFloat) return SampleDepth::kFloat;
    return form_.wave_format == kWaveInteger ? DepthOfBits(static_cast<int>(8 * form_.bytes)) : SampleDepth::k16;
  }

  size_t Read(float* out, size_t count) override {
    buffer_.resize(count * FrameBytes());
    const size_t frames = bytes_->ReadAt(offset_, buffer_.data(), buffer_.size()) / FrameBytes();
    offset_ += frames * FrameBytes();
    for (size_t i = 0; i < frames * static_cast<size_t>(channels_); ++i) out[i] = form_.decode(buffer_.data() + i * form_.bytes);
    return frames;
  }

 private:
  size_t FrameBytes() const { return form_.bytes * static_cast<size_t>(channels_); }

  std::unique_ptr<ByteSource> bytes_;
  uint64_t offset_;
  const RawForm& form_;
  int rate_hz_;
  int channels_;
  int64_t frames_ = -1;
  std::vector<unsigned char> buffer_;
};

}  // namespace

std::span<const RawForm> RawForms() { return kForms; }

const RawForm* RawFormOfWave(int wave_format, size_t sample_bytes) {
  for (const RawForm& form : kForms) {
    if (form.wave_format == wave_format && form.bytes == sample_bytes) return &form;
  }
  return nullptr;
}

std::unique_ptr<AudioSource> MakeRawSource(std::unique_ptr<ByteSource> bytes, uint64_t offset, const RawForm& form, int rate_hz,
                                           int channels) {
  return std::make_unique<RawSource>(std::move(bytes), offset, form, rate_hz, channels);
}

}  // namespace TSEG::tool
