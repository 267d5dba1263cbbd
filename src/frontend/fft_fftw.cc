// SPDX-License-Identifier: Apache-2.0
//
// RealFft over FFTW 3 in single precision.
#include <fftw3.h>

#include <mutex>

#include "buffers/aligned_buffer.h"
#include "frontend/fft.h"

namespace TSEG {
namespace {

// Held by whoever makes or unmakes a plan: the planner of the library is not re-entrant.
std::mutex& PlannerLock() {
  static std::mutex lock;
  return lock;
}

}  // namespace

RealFft::RealFft(int size) : size_(size) {
  AlignedBuffer<float> in(static_cast<size_t>(size), kAlignment);
  AlignedBuffer<float> out(static_cast<size_t>(size) + 2, kAlignment);
  const std::lock_guard<std::mutex> lock(PlannerLock());
  plan_ = fftwf_plan_dft_r2c_1d(size, in.data(), reinterpret_cast<fftwf_complex*>(out.data()), FFTW_ESTIMATE | FFTW_PRESERVE_INPUT);
}

RealFft::~RealFft() {
  if (plan_ == nullptr) return;
  const std::lock_guard<std::mutex> lock(PlannerLock());
  fftwf_destroy_plan(static_cast<fftwf_plan>(plan_));
}

void RealFft::Execute(float* in, std::complex<float>* out) const {
  if (plan_ == nullptr) return;
  fftwf_execute_dft_r2c(static_cast<fftwf_plan>(plan_), in, reinterpret_cast<fftwf_complex*>(out));
}

}  // namespace TSEG
