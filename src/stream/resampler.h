// SPDX-License-Identifier: Apache-2.0
//
// One channel from one sample rate to another, as a stream (libsoxr). Equal rates pass through untouched, bit for bit.
#ifndef WVAD_STREAM_RESAMPLER_H_
#define WVAD_STREAM_RESAMPLER_H_

#include <cstddef>
#include <vector>

struct soxr;

namespace TSEG::stream {

class Resampler {
 public:
  // kHigh keeps all that the lower of the two rates can hold and delays by 40 to 115 ms; kShort loses the highest quarter of it and delays
  // by 5 to 30 ms.
  enum class Filter { kHigh, kShort };
  // Throws Refusal(WVAD_E_FORMAT) for rates that the library behind it does not take; std::bad_alloc without memory for the filter.
  Resampler(int from_hz, int to_hz, Filter filter = Filter::kHigh);
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  // Appends to `out` what `count` more samples give. The filter's delay is made up for: sample n of the output stands at n / to_hz.
  // Throws Refusal(WVAD_E_INTERNAL) where the filter fails, as Finish does.
  void Process(const float* in, size_t count, std::vector<float>* out);
  // Appends what is still inside; nothing may follow.
  void Finish(std::vector<float>* out);

 private:
  void Run(const float* in, size_t count, std::vector<float>* out);

  double ratio_;
  soxr* filter_ = nullptr;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_RESAMPLER_H_
