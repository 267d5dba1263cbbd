// SPDX-License-Identifier: Apache-2.0
//
// One channel from one sample rate to another, as a stream (libsoxr, its high quality). Equal rates pass through untouched, bit for bit.
#ifndef WVAD_WVAD_RESAMPLER_H_
#define WVAD_WVAD_RESAMPLER_H_

#include <cstddef>
#include <string>
#include <vector>

struct soxr;

namespace TSEG::tool {

constexpr int kLowestRate = 1000;
constexpr int kHighestRate = 768000;

// Throws Failure(kBadRate) naming `who` if `rate_hz` cannot be resampled.
void CheckRate(const std::string& who, int rate_hz);

class Resampler {
 public:
  Resampler(int from_hz, int to_hz);
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  // Appends to `out` what `count` more samples give. The filter's delay is made up for: sample n of the output stands at n / to_hz.
  void Process(const float* in, size_t count, std::vector<float>* out);
  // Appends what is still inside; nothing may follow.
  void Finish(std::vector<float>* out);

 private:
  void Run(const float* in, size_t count, std::vector<float>* out);

  double ratio_;
  soxr* filter_ = nullptr;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RESAMPLER_H_
