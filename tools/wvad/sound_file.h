// SPDX-License-Identifier: Apache-2.0
//
// A sound file of any length, written piece by piece (libsndfile) into a file that appears when it is whole: any rate and any number of
// channels that its kind holds, in as many bits as the recording had.
#ifndef WVAD_WVAD_SOUND_FILE_H_
#define WVAD_WVAD_SOUND_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "wvad/audio_source.h"
#include "wvad/new_file.h"

namespace TSEG::tool {

struct SoundFileKind {
  const char* name;
  const char* words;
  const char* ending;  // of files
  int container;       // libsndfile's
  // libsndfile's for each SampleDepth; that of a lower depth where the kind has no such one.
  int coding[5];
};

// The first one is the default. By its name, or by the ending that `path` has; null for any other.
std::span<const SoundFileKind> SoundFileKinds();
const SoundFileKind* SoundFileKindOfEnding(const std::string& path);

// Whether a file of this kind gives back the samples that were written.
bool IsLossless(const SoundFileKind& kind);

// Whether a file of this kind may hold no sound at all, and still be read by others.
bool CanBeEmpty(const SoundFileKind& kind);

// Throws Failure(kBadRate), naming `who`, where the kind cannot hold sound of this rate and so many channels.
void CheckSoundFile(const std::string& who, const SoundFileKind& kind, int rate_hz, int channels);

class SoundFile {
 public:
  // `file` is new and outlives this. No more than `most_frames` will be written: WAV takes its form for long sound (RF64) where these would
  // not fit into 4 GB. Throws Failure(kOutput).
  SoundFile(NewFile& file, const SoundFileKind& kind, SampleDepth depth, int rate_hz, int channels, int64_t most_frames);
  ~SoundFile();
  SoundFile(const SoundFile&) = delete;
  SoundFile& operator=(const SoundFile&) = delete;

  // `frames` of interleaved samples, 1.0 being full scale; integers get the nearest value in range. Throws Failure(kOutput), as Finish
  // does.
  void Write(const float* interleaved, size_t frames);
  // Writes what is still missing. Call once, before the file is published.
  void Finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SOUND_FILE_H_
