// SPDX-License-Identifier: Apache-2.0
//
// Samples without a container: the forms that they come in, and a source of them.
#ifndef WVAD_WVAD_RAW_SOURCE_H_
#define WVAD_WVAD_RAW_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "wvad/audio_source.h"
#include "wvad/byte_source.h"

namespace TSEG::tool {

struct RawForm {
  const char* name;
  const char* words;
  int wave_format;  // of a WAV file that holds it: 1 integer, 3 float, 6 A-law, 7 mu-law
  size_t bytes;     // of a sample
  float (*decode)(const unsigned char* sample);
};

// All little-endian. The first one is the default.
std::span<const RawForm> RawForms();
// That of a WAV file, null for one that is none.
const RawForm* RawFormOfWave(int wave_format, size_t sample_bytes);

// Samples from `offset` on to the end. An unfinished frame there is dropped.
std::unique_ptr<AudioSource> MakeRawSource(std::unique_ptr<ByteSource> bytes, uint64_t offset, const RawForm& form, int rate_hz,
                                           int channels);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RAW_SOURCE_H_
