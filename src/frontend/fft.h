// SPDX-License-Identifier: Apache-2.0
//
// The Fourier transform of real input behind one small interface. What computes it is chosen when the build is configured (WVAD_FFT):
// fft_fftw.cc, the only file that knows that library, or fft_builtin.cc over the transform of this tree.
//
//   X[k] = sum over n of x[n] * exp(-2*pi*i*k*n / size),  k = 0 .. size/2
//
// Planning is serialised over the whole process; a planned transform runs without a lock, on any buffers that keep the alignment.
#ifndef WVAD_FRONTEND_FFT_H_
#define WVAD_FRONTEND_FFT_H_

#include <complex>
#include <mutex>
#include <utility>

namespace TSEG {

// Held by whoever makes or unmakes the transforms of a front end: the planner of a library need not be re-entrant.
inline std::mutex& FrontEndLock() {
  static std::mutex lock;
  return lock;
}

class RealFft {
 public:
  static constexpr int kAlignment = 64;  // bytes, for both buffers of Execute

  RealFft() = default;  // unplanned
  // Plans for `size` points: 256, 512 or 1024, or with FFTW any even number. A failure leaves the object unplanned.
  explicit RealFft(int size);
  ~RealFft();
  RealFft(RealFft&& other) noexcept : plan_(std::exchange(other.plan_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  RealFft& operator=(RealFft&& other) noexcept {
    std::swap(plan_, other.plan_);
    std::swap(size_, other.size_);
    return *this;
  }

  // Transforms `in` [size], which keeps its values, into `out` [size/2 + 1]. Unplanned, it does nothing.
  void Execute(float* in, std::complex<float>* out) const;
  bool planned() const { return plan_ != nullptr; }
  int size() const { return size_; }

 private:
  void* plan_ = nullptr;
  int size_ = 0;
};

}  // namespace TSEG

#endif  // WVAD_FRONTEND_FFT_H_
