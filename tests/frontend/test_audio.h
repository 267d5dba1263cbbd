// SPDX-License-Identifier: Apache-2.0
//
// Audio made by formula, and the reading of number files, for the tests of the front end and the channel.
#ifndef WVAD_TESTS_FRONTEND_TEST_AUDIO_H_
#define WVAD_TESTS_FRONTEND_TEST_AUDIO_H_

#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

namespace TSEG::testing_support {

// White noise of the given amplitude from a linear congruential generator.
inline std::vector<int16_t> Noise(size_t samples, int amplitude, uint32_t seed = 1) {
  std::vector<int16_t> pcm(samples);
  for (int16_t& sample : pcm) {
    seed = seed * 1664525u + 1013904223u;
    sample = static_cast<int16_t>(static_cast<int>(seed >> 16) % (2 * amplitude + 1) - amplitude);
  }
  return pcm;
}

// A sum of `harmonics` equal cosines on multiples of `hz`.
inline std::vector<int16_t> Tone(size_t samples, double hz, int rate, double amplitude, int harmonics = 1) {
  std::vector<int16_t> pcm(samples);
  for (size_t i = 0; i < samples; ++i) {
    double v = 0;
    for (int h = 1; h <= harmonics; ++h) v += amplitude * std::cos(2 * std::numbers::pi * h * hz * static_cast<double>(i) / rate);
    pcm[i] = static_cast<int16_t>(std::lround(v));
  }
  return pcm;
}

// A voice-like mixture: a gliding harmonic tone that comes and goes, over noise.
inline std::vector<int16_t> Mixture(size_t samples, int rate, uint32_t seed = 1) {
  std::vector<int16_t> pcm = Noise(samples, 200, seed);
  double phase = 0;
  for (size_t i = 0; i < samples; ++i) {
    const double t = static_cast<double>(i) / rate;
    phase += 2 * std::numbers::pi * (150 + 60 * std::sin(2.1 * t)) / rate;
    const double level = 4000 * std::fmax(0.0, std::sin(4.7 * t));
    pcm[i] = static_cast<int16_t>(pcm[i] + level * (std::sin(phase) + 0.6 * std::sin(2 * phase) + 0.4 * std::sin(5 * phase)));
  }
  return pcm;
}

// A whole file of numbers in the byte order of the machine.
template <typename T>
std::vector<T> ReadNumbers(const std::string& name) {
  std::ifstream in(std::string(WVAD_TEST_DATA_DIR) + "/" + name, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + name);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<T> numbers(bytes.size() / sizeof(T));
  std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(T));
  return numbers;
}

}  // namespace TSEG::testing_support

#endif  // WVAD_TESTS_FRONTEND_TEST_AUDIO_H_
