// SPDX-License-Identifier: Apache-2.0
//
// Made signals, and the files and streams that the tests feed them through.
#ifndef WVAD_WVAD_SIGNALS_H_
#define WVAD_WVAD_SIGNALS_H_

#include <sndfile.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace TSEG::tool::testing {

constexpr int16_t kLoud = 8000;

// A square wave of amplitude kLoud (period 20 ms) inside the given spans of seconds, digital silence elsewhere.
//
// With the energy model a burst from a to b seconds is found as the sentence from a - 0.30 to b + 0.20, at 16000 Hz: the first frame whose
// 25 ms window reaches into it is frame 100a - 2; two frames are held over, so speech is seen from 100a on and the begin margin of 30
// frames goes before it. The last window that holds any of it begins at 100b - 1, the fall is seen at 100b, and the end margin of 20 frames
// follows.
inline std::vector<int16_t> Bursts(double length_s, const std::vector<std::pair<double, double>>& spans, int rate_hz = 16000) {
  std::vector<int16_t> signal(static_cast<size_t>(length_s * rate_hz + 0.5), 0);
  const int half_period = rate_hz / 100;
  for (const auto& [begin, end] : spans) {
    for (size_t i = static_cast<size_t>(begin * rate_hz + 0.5); i < static_cast<size_t>(end * rate_hz + 0.5) && i < signal.size(); ++i) {
      signal[i] = (static_cast<int>(i) / half_period) % 2 == 0 ? kLoud : static_cast<int16_t>(-kLoud);
    }
  }
  return signal;
}

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
