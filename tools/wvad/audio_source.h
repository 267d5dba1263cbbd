// SPDX-License-Identifier: Apache-2.0
//
// Where audio comes from: a recording in whatever container, or raw samples. All give interleaved floats, 1.0 being full scale, in pieces
// of any size, and say at the end whether the recording was whole.
#ifndef WVAD_WVAD_AUDIO_SOURCE_H_
#define WVAD_WVAD_AUDIO_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "wvad/byte_source.h"

namespace TSEG::tool {

struct RawForm;

// What it takes to hold a recording's samples as they are: integers of so many bits, or 32-bit floats. What is compressed with loss counts
// as 16 bit.
enum class SampleDepth { k8, k16, k24, k32, kFloat };
// Integers of `bits` bits, of which the next higher form is taken.
constexpr SampleDepth DepthOfBits(int bits) {
  return bits <= 8 ? SampleDepth::k8 : bits <= 16 ? SampleDepth::k16 : bits <= 24 ? SampleDepth::k24 : SampleDepth::k32;
}

class AudioSource {
 public:
  virtual ~AudioSource() = default;
  virtual int rate_hz() const = 0;
  virtual int channels() const = 0;
  // Length in frames (one sample of each channel), -1 if the source does not know.
  virtual int64_t frames() const = 0;
  virtual SampleDepth depth() const { return SampleDepth::k16; }
  // Up to `count` frames into `out` (count x channels values); fewer only at the end, 0 behind it. What cannot be decoded is passed over.
  // Throws Failure(kNoFile) where the system cannot read.
  virtual size_t Read(float* out, size_t count) = 0;
  // What was wrong with the recording, in words for a person; empty if it was whole. Call behind its end.
  virtual std::string damage() { return ""; }
  // What else a listener should know of it, in words; empty for nothing. Call behind its end.
  virtual std::string note() const { return ""; }
};

// How raw samples are to be taken.
struct RawOptions {
  const RawForm* form = nullptr;  // everything is raw, in this form; null: standard input is where it starts with no container, 16 bit then
  int rate_hz = 16000;
  int channels = 1;
  bool described = false;  // the user has said one of the last two
};

struct SourceOptions {
  RawOptions raw;
  int track = 0;               // of several sound tracks, from 1; 0 for the default one
  bool allow_network = false;  // addresses may be opened, by name and by a playlist
};

// Opens the recording `name`, "-" for standard input. Throws Failure: kNoFile (missing, a folder, no right to read, an address), kNotAudio,
// kBadRate (also for a track that is not there).
std::unique_ptr<AudioSource> OpenAudio(const std::string& name, const SourceOptions& options);
// The same of bytes that are there already; `name` is for messages, and "-" for those of standard input.
std::unique_ptr<AudioSource> OpenAudio(const std::string& name, std::unique_ptr<ByteSource> bytes, const SourceOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_AUDIO_SOURCE_H_
