// SPDX-License-Identifier: Apache-2.0
//
// Made signals, and the files and streams that the tests feed them through.
#ifndef WVAD_WVAD_SIGNALS_H_
#define WVAD_WVAD_SIGNALS_H_

#include <sndfile.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/bursts.h"

namespace TSEG::tool::testing {

using testing_support::Bursts;
using testing_support::kLoud;

// `interleaved` as a file that libsndfile writes.
inline void WriteAudio(const std::string& path, const std::vector<int16_t>& interleaved, int rate_hz = 16000, int channels = 1,
                       int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16) {
  SF_INFO info{};
  info.samplerate = rate_hz;
  info.channels = channels;
  info.format = format;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  if (file == nullptr) throw std::runtime_error(path + ": " + sf_strerror(nullptr));
  sf_write_short(file, interleaved.data(), static_cast<sf_count_t>(interleaved.size()));
  sf_close(file);
}

}  // namespace TSEG::tool::testing

#endif  // WVAD_WVAD_SIGNALS_H_
