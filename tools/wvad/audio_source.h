// SPDX-License-Identifier: Apache-2.0
//
// Where audio comes from: a file that libsndfile reads, or raw PCM on standard input. Both give interleaved floats, 1.0 being full
// scale, in pieces of any size.
#ifndef WVAD_WVAD_AUDIO_SOURCE_H_
#define WVAD_WVAD_AUDIO_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace TSEG::tool {

class AudioSource {
 public:
  virtual ~AudioSource() = default;
  virtual int rate_hz() const = 0;
  virtual int channels() const = 0;
  // Length in frames (one sample of each channel), -1 if the source does not know.
  virtual int64_t frames() const = 0;
  // Up to `count` frames into `out` (count x channels values); fewer only at the end, 0 behind it. Throws Failure(kNotAudio) when the audio
  // is damaged on the way.
  virtual size_t Read(float* out, size_t count) = 0;
};

// Opens `path`. Throws Failure: kNoFile (missing, a folder, no right to read), kNotAudio, kBadRate.
std::unique_ptr<AudioSource> OpenAudioFile(const std::string& path);

// 16-bit signed little-endian PCM on standard input. An odd byte or an unfinished frame at the end is dropped.
std::unique_ptr<AudioSource> OpenStandardInput(int rate_hz, int channels);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_AUDIO_SOURCE_H_
