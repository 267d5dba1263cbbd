// SPDX-License-Identifier: Apache-2.0
#include "stream/resampler.h"

#include <soxr.h>

#include <new>
#include <string>
#include <string_view>

#include "stream/refusal.h"

namespace TSEG::stream {
namespace {

// By its words, which is all that libsoxr gives.
bool SaysThatMemoryIsExhausted(soxr_error_t error) {
  return error != nullptr && (std::string_view(error) == "malloc failed" || std::string_view(error) == "out of memory");
}

}  // namespace

Resampler::Resampler(int from_hz, int to_hz, Filter filter) : ratio_(static_cast<double>(to_hz) / from_hz) {
  if (from_hz == to_hz) return;
  const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(filter == Filter::kHigh ? SOXR_HQ : SOXR_LQ, 0);
  soxr_runtime_spec_t one_thread = soxr_runtime_spec(1);
  // Blocks of the transform inside, as a power of two: what it waits for.
  if (filter == Filter::kShort) one_thread.log2_min_dft_size = 8;
  soxr_error_t error = nullptr;
  filter_ = soxr_create(from_hz, to_hz, 1, &error, &io, &quality, &one_thread);
  if (filter_ == nullptr) {
    if (SaysThatMemoryIsExhausted(error)) throw std::bad_alloc();
    throw Refusal(WVAD_E_FORMAT, "no resampling from " + std::to_string(from_hz) + " to " + std::to_string(to_hz) +
                                     " Hz: " + (error != nullptr ? error : "unknown reason"));
  }
}

Resampler::~Resampler() { soxr_delete(filter_); }

void Resampler::Process(const float* in, size_t count, std::vector<float>* out) {
  if (filter_ == nullptr) {
    out->insert(out->end(), in, in + count);
  } else if (count > 0) {
    Run(in, count, out);
  }
}

void Resampler::Finish(std::vector<float>* out) {
  if (filter_ != nullptr) Run(nullptr, 0, out);
}

void Resampler::Run(const float* in, size_t count, std::vector<float>* out) {
  const size_t room = static_cast<size_t>(static_cast<double>(count) * ratio_) + 1024;
  for (;;) {
    const size_t start = out->size();
    out->resize(start + room);
    size_t taken = 0;
    size_t made = 0;
    const soxr_error_t error = soxr_process(filter_, in, count, &taken, out->data() + start, room, &made);
    out->resize(start + made);
    if (error != nullptr) throw Refusal(WVAD_E_INTERNAL, std::string("resampling failed: ") + error);
    if (in != nullptr) in += taken;
    count -= taken;
    // Everything is in and the filter did not fill the room: nothing more comes now.
    if (count == 0 && made < room) return;
  }
}

}  // namespace TSEG::stream
