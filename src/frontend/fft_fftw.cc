// SPDX-License-Identifier: Apache-2.0
//
// RealFft over FFTW 3 in single precision.
#include <fftw3.h>

#include <atomic>

#include "buffers/aligned_buffer.h"
#include "frontend/fft.h"

namespace TSEG {
namespace {

// A word that one planner at a time turns from 0 to 1. It guards the library itself, whoever holds which other lock.
class PlannerSpinLock {
 public:
  PlannerSpinLock() {
    int idle = 0;
    while (!Word().compare_exchange_weak(idle, 1, std::memory_order_acquire)) idle = 0;
  }
  ~PlannerSpinLock() { Word().store(0, std::memory_order_release); }
  PlannerSpinLock(const PlannerSpinLock&) = delete;
  PlannerSpinLock& operator=(const PlannerSpinLock&) = delete;

 private:
  static std::atomic<int>& Word() {
    static std::atomic<int> word{0};
    return word;
  }
};

}  // namespace

RealFft::RealFft(int size) : size_(size) {
  AlignedBuffer<float> in(static_cast<size_t>(size), kAlignment);
  AlignedBuffer<float> out(static_cast<size_t>(size) + 2, kAlignment);
  PlannerSpinLock guard;
  plan_ = fftwf_plan_dft_r2c_1d(size, in.data(), reinterpret_cast<fftwf_complex*>(out.data()), FFTW_ESTIMATE | FFTW_PRESERVE_INPUT);
}

RealFft::~RealFft() {
  if (plan_ == nullptr) return;
  PlannerSpinLock guard;
  fftwf_destroy_plan(static_cast<fftwf_plan>(plan_));
}

void RealFft::Execute(float* in, std::complex<float>* out) const {
  if (plan_ == nullptr) return;
  fftwf_execute_dft_r2c(static_cast<fftwf_plan>(plan_), in, reinterpret_cast<fftwf_complex*>(out));
}

}  // namespace TSEG
